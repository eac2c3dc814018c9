#pragma once

#include "vorn_monitor_status.h"

#include <QAction>
#include <QMenu>
#include <QSystemTrayIcon>

class QWindow;
class VornMonitorHost;

// The state in the desktop's tray, with what is needed most. Lives on the window's thread.
class VornMonitorTray : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornMonitorTray)

public:
    // Both must outlive it.
    VornMonitorTray(VornMonitorHost& host, QWindow& window, QObject* parent = nullptr);

    // Where there is a tray the window may be closed without ending the mirror.
    bool isShown() const { return m_icon.isVisible(); }
    const QSystemTrayIcon& icon() const { return m_icon; }
    QMenu* menu() { return &m_menu; }

signals:
    void syncRequested();
    void quitRequested();

private:
    void refresh();
    void toggleWindow();

    VornMonitorHost& m_host;
    QWindow& m_window;
    QMenu m_menu;
    QAction* m_pause = nullptr; // the menu's
    QSystemTrayIcon m_icon;
    VornMonitorStatus::State m_shownState = VornMonitorStatus::State::UpToDate;
};
