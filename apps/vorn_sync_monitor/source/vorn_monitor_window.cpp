#include "vorn_monitor_window.h"

#include "vorn_monitor_host.h"
#include "vorn_monitor_icon.h"

#include "vorn_sync_manager.h"

#include <QQmlContext>
#include <QQuickStyle>
#include <QQuickWindow>

#include <mutex>

namespace {

// For the process, before its first window.
void chooseLooks()
{
    // Where OpenGL is missing, as over some remote desktops, the other one ends the process.
    if (qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND"))
        QQuickWindow::setSceneGraphBackend(QStringLiteral("software"));
    QQuickStyle::setStyle(QStringLiteral("Fusion")); // follows the palette, and looks the same everywhere
}

} // namespace

VornMonitorWindow::VornMonitorWindow(VornSyncManager& manager, VornMonitorHost& host)
{
    static std::once_flag looks;
    std::call_once(looks, chooseLooks);
    m_engine.addImageProvider(QStringLiteral("status"), new VornMonitorIcon); // the engine's
    m_engine.rootContext()->setContextProperty(QStringLiteral("syncManager"), &manager);
    m_engine.rootContext()->setContextProperty(QStringLiteral("host"), &host);
    m_engine.load(QUrl(QStringLiteral("qrc:/vorn_monitor/Main.qml")));
}

QQuickWindow* VornMonitorWindow::window() const
{
    const QList<QObject*> roots = m_engine.rootObjects();
    return roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(roots.constFirst());
}
