#include "vorn_monitor_host.h"

#include "vorn_cli_mirror.h"
#include "vorn_cli_session.h"
#include "vorn_cli_text.h"

VornMonitorHost::VornMonitorHost(VornCliMirror& mirror, VornMonitorLog& log, const QString& theme,
                                 QObject* parent)
    : QObject(parent)
    , m_session(*mirror.session())
    , m_log(log)
    , m_statePath(mirror.state().path())
    , m_theme(theme)
    , m_pairEditor(mirror)
    , m_status(m_session, m_pairs)
    , m_errors(m_session)
{
    connect(&m_session, &VornCliSession::refreshed, this, &VornMonitorHost::refresh);
    connect(&m_session, &VornCliSession::pausedChanged, this, &VornMonitorHost::refresh);
    refresh();
}

QString VornMonitorHost::statePath() const
{
    return VornCliText::printable(m_statePath);
}

void VornMonitorHost::setPaused(bool paused)
{
    if (paused == m_session.isPaused() || m_session.isResetting()) // which pauses and resumes itself
        return;
    if (paused)
        m_session.pauseAll();
    else
        m_session.resumeAll();
}

void VornMonitorHost::setSuspended(const QString& alias, bool suspended)
{
    if (!m_session.isResetting())
        m_session.setSuspended(alias, suspended);
}

QString VornMonitorHost::printable(const QString& text) const
{
    return VornCliText::printable(text);
}

void VornMonitorHost::refresh()
{
    m_pairs.setPairs(m_session.pairStatuses());
    m_status.refresh();
}
