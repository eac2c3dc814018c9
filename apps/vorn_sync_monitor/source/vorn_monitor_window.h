#pragma once

#include <QQmlApplicationEngine>

class QQuickWindow;
class VornMonitorHost;
class VornSyncManager;

// The window's QML with what it is bound to. Lives on the window's thread.
class VornMonitorWindow
{
    Q_DISABLE_COPY_MOVE(VornMonitorWindow)

public:
    // Both must outlive it.
    VornMonitorWindow(VornSyncManager& manager, VornMonitorHost& host);

    QQuickWindow* window() const; // null: the QML can't be loaded; the messages say why

private:
    QQmlApplicationEngine m_engine;
};
