#include "vorn_monitor_tray.h"

#include "vorn_monitor_host.h"
#include "vorn_monitor_icon.h"

#include <QCoreApplication>
#include <QWindow>

VornMonitorTray::VornMonitorTray(VornMonitorHost& host, QWindow& window, QObject* parent)
    : QObject(parent)
    , m_host(host)
    , m_window(window)
{
    const auto addAction = [this](const char* name, const char* textId) {
        QAction* action = m_menu.addAction(qtTrId(textId));
        action->setObjectName(QLatin1String(name));
        return action;
    };
    connect(addAction("trayShow", "vorn_sync_monitor_show"), &QAction::triggered, this,
            &VornMonitorTray::toggleWindow);
    connect(addAction("traySync", "vorn_sync_monitor_sync"), &QAction::triggered, this,
            &VornMonitorTray::syncRequested);
    m_pause = addAction("trayPause", "vorn_sync_monitor_pause");
    m_pause->setCheckable(true);
    connect(m_pause, &QAction::triggered, this, [this](bool checked) { m_host.setPaused(checked); });
    m_menu.addSeparator();
    connect(addAction("trayQuit", "vorn_sync_monitor_quit"), &QAction::triggered, this,
            &VornMonitorTray::quitRequested);
    m_icon.setContextMenu(&m_menu);
    connect(&m_icon, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger)
            toggleWindow();
    });
    connect(host.status(), &VornMonitorStatus::changed, this, &VornMonitorTray::refresh);
    refresh();
    if (QSystemTrayIcon::isSystemTrayAvailable())
        m_icon.show();
}

void VornMonitorTray::refresh()
{
    const VornMonitorStatus& status = *m_host.status();
    if (m_icon.icon().isNull() || status.state() != m_shownState) { // each new icon flickers
        m_shownState = status.state();
        m_icon.setIcon(VornMonitorIcon::icon(m_shownState));
    }
    m_icon.setToolTip(QStringLiteral("VornSync: %1").arg(status.text()));
    m_pause->setChecked(status.isPaused());
}

void VornMonitorTray::toggleWindow()
{
    if (m_window.isVisible() && m_window.isActive()) {
        m_window.hide();
        return;
    }
    m_window.show();
    m_window.raise();
    m_window.requestActivate();
}
