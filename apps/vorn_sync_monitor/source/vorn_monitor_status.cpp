#include "vorn_monitor_status.h"

#include "vorn_monitor_pairs.h"

#include "vorn_cli_session.h"

#include <QCoreApplication>

#include <algorithm>

VornMonitorStatus::VornMonitorStatus(VornCliSession& session, const VornMonitorPairs& pairs, QObject* parent)
    : QObject(parent)
    , m_session(session)
    , m_pairs(pairs)
{
    refresh();
}

QString VornMonitorStatus::text() const
{
    switch (m_state) {
    case State::UpToDate:
        return qtTrId("vorn_sync_monitor_state_up_to_date");
    case State::Working:
        return qtTrId("vorn_sync_monitor_state_working", m_remaining);
    case State::Paused:
        return qtTrId("vorn_sync_monitor_state_paused");
    case State::Away:
        return qtTrId("vorn_sync_monitor_state_away");
    case State::Attention:
        return qtTrId("vorn_sync_monitor_state_attention", m_errors);
    }
    return QString();
}

double VornMonitorStatus::progress() const
{
    return m_most == 0 ? 1.0 : 1.0 - double(m_remaining) / m_most;
}

bool VornMonitorStatus::isPaused() const
{
    return m_session.isPaused();
}

void VornMonitorStatus::refresh()
{
    const VornCliCounters counters = m_session.counters();
    m_errors = counters.errors;
    m_remaining = counters.pending + counters.inProgress;
    m_most = m_remaining == 0 ? 0 : std::max(m_most, m_remaining);
    m_state = currentState();
    emit changed();
}

// What concerns the user most.
VornMonitorStatus::State VornMonitorStatus::currentState() const
{
    if (isPaused())
        return State::Paused;
    if (m_errors > 0)
        return State::Attention;
    if (m_pairs.isAnyAway())
        return State::Away;
    return m_remaining > 0 ? State::Working : State::UpToDate;
}
