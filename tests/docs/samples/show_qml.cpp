#include <QFile>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTimer>
#include <vorn_sync_manager.h>

#include <algorithm>

namespace {

constexpr int kLookAgainMs = 20;
constexpr int kPatienceMs = 60000;

bool shows(const QQuickItem* item, const QString& name)
{
    const QList<QQuickItem*> children = item->childItems();
    return item->property("text").toString().contains(name) ||
           std::any_of(children.cbegin(), children.cend(),
                       [&name](const QQuickItem* child) { return shows(child, name); });
}

} // namespace

// Shows a sample until it shows a file in error: one that was sent and is then deleted. What the engine warns of, such
// as a name that is not there, is a failure.
int main(int argc, char** argv)
{
    QGuiApplication app(argc, argv);
    const QString root = app.arguments().at(2);
    const QString name = QStringLiteral("letter.txt");
    VornSyncManager manager(root + "/state.db", root + "/trash", 1000, {});
    if (!manager.addDirectory("documents", root + "/local", root + "/distant"))
        return 3;
    QObject::connect(&manager, &VornSyncManager::syncCompleted, &manager, [&manager, root, name] {
        QFile::remove(root + "/local/" + name);
        manager.requestSync();
    });

    QQmlApplicationEngine engine;
    QObject::connect(&engine, &QQmlEngine::warnings, &app, [] { qApp->exit(1); });
    engine.rootContext()->setContextProperty("mirror", &manager);
    engine.load(QUrl::fromLocalFile(app.arguments().at(1)));
    if (engine.rootObjects().isEmpty())
        return 1;
    const auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().constFirst());
    if (!window)
        return 4;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &app, [window, name] {
        if (shows(window->contentItem(), name))
            qApp->exit(0);
    });
    look.start(kLookAgainMs);
    QTimer::singleShot(kPatienceMs, &app, [] { qApp->exit(2); });
    return app.exec();
}
