#include <vorn_sync_manager.h>

#include <QCoreApplication>
#include <QDebug>
#include <QTimer>

// A host in ten lines: mirrors ROOT/local to ROOT/distant until the first file has arrived.
int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QString root = app.arguments().at(1);
    VornSyncManager manager(root + "/state.sqlite", root + "/trash", 1000, {"*.tmp"}, nullptr);
    QObject::connect(&manager, &VornSyncManager::errorOccurred,
                     [](const QString& text) { qWarning() << text; });
    QObject::connect(&manager, &VornSyncManager::syncCompleted,
                     [](const QString&, bool ok) { qApp->exit(ok ? 0 : 1); });
    QTimer::singleShot(60000, &app, [] { qApp->exit(2); });
    return manager.addDirectory("files", root + "/local", root + "/distant") ? app.exec() : 3;
}
