#include "vorn_monitor_errors.h"

#include "vorn_cli_session.h"

#include <algorithm>

namespace {

constexpr int kRefreshDelayMs = 100; // the manager tells of each file; the eye needs no more than this
constexpr int kLongestDelayMs = 10000;

} // namespace

VornMonitorErrors::VornMonitorErrors(VornCliSession& session, QObject* parent)
    : QObject(parent)
    , m_session(session)
    , m_refreshDelayMs(kRefreshDelayMs)
    , m_answers(session)
{
    const QVector<VornMonitorErrorGroup::Kind> kinds = VornMonitorErrorGroup::kinds();
    for (const VornMonitorErrorGroup::Kind kind : kinds)
        m_groups.append(new VornMonitorErrorGroup(kind, this));
    m_refreshTimer.setSingleShot(true);
    connect(&m_refreshTimer, &QTimer::timeout, this, &VornMonitorErrors::refresh);
    connect(&session, &VornCliSession::refreshed, this, &VornMonitorErrors::awaitRefresh);
    connect(&m_answers, &VornMonitorAnswers::settled, this, &VornMonitorErrors::refresh);
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

void VornMonitorErrors::awaitRefresh()
{
    if (!m_refreshTimer.isActive())
        m_refreshTimer.start(m_refreshDelayMs);
}

// The list is long when there is much to answer, and reading it then would take longer than the answers do: while they
// are given it is read less and less often, and once more when they have taken effect.
void VornMonitorErrors::refresh()
{
    m_refreshTimer.stop();
    m_refreshDelayMs = m_answers.isBusy() ? std::min(2 * m_refreshDelayMs, kLongestDelayMs) : kRefreshDelayMs;
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
    m_answers.add(static_cast<VornCliAnswer>(answer), {file});
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
    m_answers.add(m_askedAnswer, m_asked);
    m_asked.clear();
}
