#include "vorn_monitor_errors.h"

#include "vorn_cli_session.h"

#include "vorn_sync_manager.h"

#include <algorithm>

namespace {

constexpr int kRefreshDelayMs = 100; // the manager tells of each file; the eye needs no more than this
constexpr int kMostInATurn = 200;    // answers; each asks the database on this thread
constexpr int kLongTurnMs = 100;     // from the answers to their effect: more of them would be felt
constexpr int kLookAgainMs = 20;     // whether they have taken effect
constexpr int kPatienceMs = 3000;    // an answer may have none, when the file is busy

} // namespace

VornMonitorErrors::VornMonitorErrors(VornCliSession& session, QObject* parent)
    : QObject(parent)
    , m_session(session)
{
    const QVector<VornMonitorErrorGroup::Kind> kinds = VornMonitorErrorGroup::kinds();
    for (const VornMonitorErrorGroup::Kind kind : kinds)
        m_groups.append(new VornMonitorErrorGroup(kind, this));
    m_refreshTimer.setSingleShot(true);
    m_refreshTimer.setInterval(kRefreshDelayMs);
    connect(&m_refreshTimer, &QTimer::timeout, this, &VornMonitorErrors::refresh);
    connect(&session, &VornCliSession::refreshed, this, [this] {
        if (!m_refreshTimer.isActive())
            m_refreshTimer.start();
    });
    m_answerTimer.setSingleShot(true);
    m_answerTimer.setInterval(kLookAgainMs);
    connect(&m_answerTimer, &QTimer::timeout, this, &VornMonitorErrors::giveNext);
    connect(session.manager(), &VornSyncManager::countersChanged, this,
            [this] { m_isListedCurrent = false; });
    refresh();
}

QList<QObject*> VornMonitorErrors::groups() const
{
    QList<QObject*> groups;
    for (VornMonitorErrorGroup* group : m_groups)
        groups.append(group);
    return groups;
}

int VornMonitorErrors::count() const
{
    int count = 0;
    for (const VornMonitorErrorGroup* group : m_groups)
        count += group->count();
    return count;
}

VornMonitorErrorGroup::Kind VornMonitorErrors::kindOf(const VornCliFileError& error)
{
    const QPair<int, int> key(error.code, error.status);
    const auto known = m_kinds.constFind(key);
    if (known != m_kinds.cend())
        return *known;
    return *m_kinds.insert(key, VornMonitorErrorGroup::kindOf(error));
}

void VornMonitorErrors::refresh()
{
    QHash<int, QVector<VornCliFileError>> files;
    const QVector<VornCliFileError> errors = m_session.errors();
    for (const VornCliFileError& error : errors)
        files[static_cast<int>(kindOf(error))].append(error);
    const QVector<VornMonitorErrorGroup::Kind> kinds = VornMonitorErrorGroup::kinds();
    for (int i = 0; i < kinds.size(); ++i)
        m_groups.at(i)->setFiles(files.value(static_cast<int>(kinds.at(i))));
    emit changed();
}

// ---- Answers --------------------------------------------------------------------------------------------

void VornMonitorErrors::give(int answer, const QString& alias, const QString& fileName, int errorCode,
                             int status)
{
    VornCliFileError file;
    file.alias = alias;
    file.name = fileName;
    file.code = errorCode;
    file.status = status;
    m_confirmed.append({static_cast<VornCliAnswer>(answer), file});
    giveNext();
}

int VornMonitorErrors::ask(QObject* group, int answer)
{
    const auto* asked = qobject_cast<VornMonitorErrorGroup*>(group);
    m_asked = asked == nullptr ? QVector<VornCliFileError>() : asked->files();
    m_askedAnswer = static_cast<VornCliAnswer>(answer);
    return static_cast<int>(m_asked.size());
}

void VornMonitorErrors::confirm()
{
    std::for_each(m_asked.crbegin(), m_asked.crend(), [this](const VornCliFileError& file) {
        m_confirmed.append({m_askedAnswer, file});
    });
    m_asked.clear();
    giveNext();
}

void VornMonitorErrors::lookAgain()
{
    if (m_isListedCurrent)
        return;
    m_isListedCurrent = true;
    m_listed.clear();
    const QVector<VornCliFileError> errors = m_session.errors();
    for (const VornCliFileError& error : errors)
        m_listed.insert({error.alias, error.name}, {error.code, error.status});
}

bool VornMonitorErrors::isAwaitingEffect() const
{
    return std::any_of(m_given.cbegin(), m_given.cend(), [this](const VornCliFileError& file) {
        return m_listed.value({file.alias, file.name}) == qMakePair(file.code, file.status);
    });
}

// The manager reads its whole list anew for each file that leaves it. So the next answers wait until the last ones
// have taken effect, and are as many as the window can bear.
void VornMonitorErrors::giveNext()
{
    lookAgain();
    if (m_session.isResetting() || (isAwaitingEffect() && !m_turnClock.hasExpired(kPatienceMs))) {
        m_answerTimer.start();
        return;
    }
    const bool wasLong = !m_given.isEmpty() && m_turnClock.hasExpired(kLongTurnMs);
    m_answersInATurn =
        wasLong ? std::max(1, m_answersInATurn / 2) : std::min(kMostInATurn, m_answersInATurn * 2);
    m_given.clear();
    m_turnClock.start();
    while (m_given.size() < m_answersInATurn && !m_confirmed.isEmpty()) {
        const QPair<VornCliAnswer, VornCliFileError> next = m_confirmed.takeLast();
        const VornCliFileError& file = next.second;
        const auto found = m_listed.constFind({file.alias, file.name});
        if (found == m_listed.cend() || *found != qMakePair(file.code, file.status))
            continue;
        give(next.first, file);
        m_given.append(file);
    }
    if (!m_confirmed.isEmpty())
        m_answerTimer.start();
    else
        m_given.clear();
}

void VornMonitorErrors::give(VornCliAnswer answer, const VornCliFileError& file)
{
    switch (answer) {
    case VornCliAnswer::ByHand:
        return;
    case VornCliAnswer::Retry:
    case VornCliAnswer::Acknowledge:
    case VornCliAnswer::Restore:
        m_session.act([&](VornSyncManager& manager) { manager.retrySync(file.alias, file.name); });
        return;
    case VornCliAnswer::Trash:
        break;
    }
    VornCliPairStatus status;
    if (m_session.findPair(file.alias, &status))
        m_session.expect(status.pair.local + QLatin1Char('/') + file.name, VornCliOperation::Trash);
    m_session.act([&](VornSyncManager& manager) { manager.moveToTrashFile(file.alias, file.name); });
}
