#include "vorn_monitor_host.h"

#include "vorn_cli_session.h"
#include "vorn_cli_text.h"

VornMonitorHost::VornMonitorHost(VornCliSession& session, VornMonitorLog& log, const QString& statePath,
                                 const QString& theme, QObject* parent)
    : QObject(parent)
    , m_session(session)
    , m_log(log)
    , m_statePath(statePath)
    , m_theme(theme)
    , m_status(session, m_pairs)
    , m_errors(session)
{
    connect(&session, &VornCliSession::refreshed, this, &VornMonitorHost::refresh);
    connect(&session, &VornCliSession::pausedChanged, this, &VornMonitorHost::refresh);
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
