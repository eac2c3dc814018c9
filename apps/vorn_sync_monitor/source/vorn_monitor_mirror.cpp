#include "vorn_monitor_mirror.h"

#include "vorn_monitor_host.h"
#include "vorn_monitor_icon.h"
#include "vorn_monitor_tray.h"
#include "vorn_monitor_window.h"

#include "vorn_cli_session.h"

#include "vorn_sync_manager.h"

#include <QApplication>
#include <QQuickWindow>

VornMonitorMirror::VornMonitorMirror(const VornCliMirrorOptions& options)
    : m_options(options)
    , m_mirror(options)
{
}

VornMonitorMirror::~VornMonitorMirror()
{
    m_tray.reset();
    m_window.reset();
    m_host.reset();
    if (session() != nullptr)
        session()->close();
}

int VornMonitorMirror::open()
{
    const int locked = m_mirror.lockState();
    if (locked != kExitOk)
        return fail(locked, m_mirror.error());
    const int opened = m_mirror.open(&m_output);
    if (opened != kExitOk)
        return fail(opened, (m_log.problems() << m_mirror.error()).join(QLatin1Char('\n')).trimmed());
    session()->start(false);

    QGuiApplication::setWindowIcon(VornMonitorIcon::icon(VornMonitorStatus::State::UpToDate));
    m_host = std::make_unique<VornMonitorHost>(m_mirror, m_log, m_options.theme());
    m_window = std::make_unique<VornMonitorWindow>(*session()->manager(), *m_host);
    if (window() == nullptr)
        return fail(kExitRefused, qtTrId("vorn_sync_monitor_window_refused"));
    m_tray = std::make_unique<VornMonitorTray>(*m_host, *window());
    QObject::connect(m_tray.get(), &VornMonitorTray::syncRequested, session()->manager(),
                     &VornSyncManager::requestSync);
    QObject::connect(m_tray.get(), &VornMonitorTray::quitRequested, qApp, &QCoreApplication::quit);
    QApplication::setQuitOnLastWindowClosed(!m_tray->isShown());
    return kExitOk;
}

QQuickWindow* VornMonitorMirror::window() const
{
    return m_window ? m_window->window() : nullptr;
}

int VornMonitorMirror::fail(int exitCode, const QString& error)
{
    m_error = error;
    return exitCode;
}
