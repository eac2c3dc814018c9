#include "vorn_monitor_answers.h"

#include "vorn_monitor_error_group.h"

#include "vorn_cli_session.h"

#include "vorn_sync_manager.h"

#include <QElapsedTimer>

#include <algorithm>

namespace {

constexpr int kTurnMs = 8;        // half a frame: each answer asks the database on this thread
constexpr int kResetMs = 20;      // between two looks at a reset, in which nothing may be asked for
constexpr int kPatienceMs = 3000; // without progress: an answer has no effect when the file is busy

VornCliFileError errorOf(const QVariant& entry)
{
    const QVariantMap map = entry.toMap();
    VornCliFileError error;
    error.alias = map.value(QStringLiteral("aliasName")).toString();
    error.name = map.value(QStringLiteral("fileName")).toString();
    error.code = map.value(QStringLiteral("errorCode")).toInt();
    error.status = map.value(QStringLiteral("status")).toInt();
    return error;
}

} // namespace

VornMonitorAnswers::VornMonitorAnswers(VornCliSession& session, QObject* parent)
    : QObject(parent)
    , m_session(session)
{
    m_turnTimer.setSingleShot(true);
    connect(&m_turnTimer, &QTimer::timeout, this, &VornMonitorAnswers::giveSome);
    m_patienceTimer.setSingleShot(true);
    m_patienceTimer.setInterval(kPatienceMs);
    connect(&m_patienceTimer, &QTimer::timeout, this, &VornMonitorAnswers::settle);
    connect(&session, &VornCliSession::refreshed, this, &VornMonitorAnswers::lookForEffect);
}

void VornMonitorAnswers::add(VornCliAnswer answer, const QVector<VornCliFileError>& files)
{
    for (const VornCliFileError& file : files)
        m_waiting.push_back({answer, file});
    m_isBusy = true;
    m_errorCount = m_session.counters().errors;
    giveSome();
}

void VornMonitorAnswers::giveSome()
{
    if (m_session.isResetting()) {
        m_turnTimer.start(kResetMs);
        return;
    }
    QElapsedTimer turn;
    turn.start();
    while (!m_waiting.empty() && !turn.hasExpired(kTurnMs)) {
        const Answer next = m_waiting.front();
        m_waiting.pop_front();
        if (!isListed(next.file))
            continue;
        give(next);
        m_last = next.file;
    }
    if (!m_waiting.empty()) {
        m_turnTimer.start(0);
        return;
    }
    m_patienceTimer.start();
    lookForEffect();
}

void VornMonitorAnswers::give(const Answer& answer)
{
    const VornCliFileError& file = answer.file;
    switch (answer.answer) {
    case VornCliAnswer::ByHand:
        return;
    case VornCliAnswer::Retry:
    case VornCliAnswer::Acknowledge:
    case VornCliAnswer::Restore:
        m_session.act([&file](VornSyncManager& manager) { manager.retrySync(file.alias, file.name); });
        return;
    case VornCliAnswer::Trash:
        break;
    }
    VornCliPairStatus status;
    if (m_session.findPair(file.alias, &status))
        m_session.expect(status.pair.local + QLatin1Char('/') + file.name, VornCliOperation::Trash);
    m_session.act([&file](VornSyncManager& manager) { manager.moveToTrashFile(file.alias, file.name); });
}

void VornMonitorAnswers::lookForEffect()
{
    if (!m_isBusy || !m_waiting.empty())
        return;
    if (!isListed(m_last))
        return settle();
    const int errors = m_session.counters().errors;
    if (errors < m_errorCount)
        m_patienceTimer.start();
    m_errorCount = errors;
}

void VornMonitorAnswers::settle()
{
    m_patienceTimer.stop();
    m_isBusy = false;
    emit settled();
}

// Without going through the whole list, which is long when there is much to answer.
bool VornMonitorAnswers::isListed(const VornCliFileError& file) const
{
    if (m_session.manager() == nullptr)
        return false;
    const QVariantList listed = m_session.manager()->errorFiles();
    const auto found = std::lower_bound(listed.cbegin(), listed.cend(), file,
                                        [](const QVariant& entry, const VornCliFileError& one) {
                                            return VornMonitorErrorGroup::isListedBefore(errorOf(entry), one);
                                        });
    return found != listed.cend() && VornMonitorErrorGroup::isSameError(errorOf(*found), file);
}
