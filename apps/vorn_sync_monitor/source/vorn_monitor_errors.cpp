#include "vorn_monitor_errors.h"

#include "vorn_cli_session.h"

#include "vorn_sync_manager.h"

#include <algorithm>

namespace {

constexpr int kRefreshDelayMs = 100;    // the manager tells of each file; the eye needs no more than this
constexpr int kAnswersInATurn = 50;     // each asks the database; the window is to stay awake
constexpr int kPauseBetweenTurnsMs = 1; // for input and frames

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
    m_answerTimer.setInterval(kPauseBetweenTurnsMs);
    connect(&m_answerTimer, &QTimer::timeout, this, &VornMonitorErrors::giveNext);
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

void VornMonitorErrors::giveNext()
{
    QHash<VornCliFileKey, QPair<int, int>> now; // code and status
    const QVector<VornCliFileError> errors = m_session.errors();
    for (const VornCliFileError& error : errors)
        now.insert({error.alias, error.name}, {error.code, error.status});
    for (int i = 0; i < kAnswersInATurn && !m_confirmed.isEmpty(); ++i) {
        const QPair<VornCliAnswer, VornCliFileError> next = m_confirmed.takeLast();
        const VornCliFileError& file = next.second;
        const auto found = now.constFind({file.alias, file.name});
        if (found != now.cend() && *found == qMakePair(file.code, file.status))
            give(next.first, file);
    }
    if (!m_confirmed.isEmpty())
        m_answerTimer.start();
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
