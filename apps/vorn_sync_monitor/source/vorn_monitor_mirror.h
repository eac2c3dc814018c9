#pragma once

#include "vorn_monitor_log.h"
#include "vorn_monitor_output.h"

#include "vorn_cli_mirror.h"

#include <memory>

class QQuickWindow;
class VornMonitorHost;
class VornMonitorTray;
class VornMonitorWindow;

// A mirror with its window and its place in the tray. Lives on the window's thread.
class VornMonitorMirror
{
    Q_DISABLE_COPY_MOVE(VornMonitorMirror)

public:
    // `options` must outlive it.
    explicit VornMonitorMirror(const VornCliMirrorOptions& options);
    ~VornMonitorMirror(); // takes the window away first: the manager's end may take seconds

    int open(); // gives an exit code, and an error when that is not kExitOk
    QString error() const { return m_error; }

    // All null until it is open.
    VornCliSession* session() const { return m_mirror.session(); }
    VornMonitorHost* host() const { return m_host.get(); }
    QQuickWindow* window() const;
    VornMonitorTray* tray() const { return m_tray.get(); }

private:
    int fail(int exitCode, const QString& error);

    const VornCliMirrorOptions& m_options;
    QString m_error;
    VornMonitorLog m_log;
    VornMonitorOutput m_output{m_log};
    VornCliMirror m_mirror;
    std::unique_ptr<VornMonitorHost> m_host;
    std::unique_ptr<VornMonitorWindow> m_window;
    std::unique_ptr<VornMonitorTray> m_tray;
};
