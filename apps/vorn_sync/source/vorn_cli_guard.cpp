#include "vorn_cli_guard.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QStringList>

#include <algorithm>

namespace {

// The delays of the library that a file meets at worst.
constexpr qint64 kRetriesSecs = 10; // five runs, 1, 2, 3 and 4 s apart
constexpr qint64 kLongestStaleSecs =
    600;                             // that a failed copy counts as being sent after its error is cleared
constexpr qint64 kQueueStepMs = 200; // from one operation to the next
constexpr qint64 kSlowBytesPerSec = qint64{1024} * 1024; // a share that is slower wants a limit of its own
constexpr int kVerificationPeriodCycles = 6;
constexpr int kVerificationBudgetPercent = 20;
constexpr qint64 kVerificationBudgetMinimumMs = 100;
constexpr qint64 kSlowVerificationMs = 50; // for one file on a slow share

// How much of that is patience.
constexpr int kMissedRounds = 2;          // of trying, failing and waiting to be tried again
constexpr int kMissedCycles = 3;          // without a listing
constexpr qint64 kSlackSecs = 120;        // for a listing itself, and a machine that is busy
constexpr int kDefaultIntervalMs = 30000; // of a pair that no cycle has come by

qint64 secsUp(qint64 milliseconds)
{
    return (milliseconds + 999) / 1000;
}

const char* keyOf(VornCliFindingKind kind)
{
    switch (kind) {
    case VornCliFindingKind::Error:
        return "error";
    case VornCliFindingKind::Wait:
        return "waiting";
    case VornCliFindingKind::Deferral:
        return "deferred";
    case VornCliFindingKind::Unexamined:
        return "unexamined";
    case VornCliFindingKind::LocalUnlisted:
        return "local_unlisted";
    case VornCliFindingKind::DistantUnlisted:
        return "distant_unlisted";
    case VornCliFindingKind::Unverified:
        return "unverified";
    }
    return "";
}

QJsonObject toObject(const VornCliFinding& finding)
{
    QJsonObject object{{QStringLiteral("kind"), QLatin1String(keyOf(finding.kind))},
                       {QStringLiteral("alias"), finding.alias},
                       {QStringLiteral("count"), finding.count}};
    if (!finding.name.isEmpty())
        object.insert(QStringLiteral("file"), finding.name);
    if (finding.ageSecs >= 0)
        object.insert(QStringLiteral("age_s"), finding.ageSecs);
    if (finding.limitSecs >= 0)
        object.insert(QStringLiteral("limit_s"), finding.limitSecs);
    return object;
}

} // namespace

VornCliGuard::VornCliGuard(const VornCliProgress& progress, const VornCliLimits& limits, qint64 nowSecs)
    : m_progress(progress)
    , m_limits(limits)
    , m_nowSecs(nowSecs)
{
    if (!progress.isReadable || !progress.isNoted)
        return;
    QStringList aliases = progress.pairs.keys();
    aliases.sort();
    for (const QString& alias : qAsConst(aliases))
        judge(alias, *progress.pairs.constFind(alias));
}

bool VornCliGuard::isStuck() const
{
    return std::any_of(m_findings.cbegin(), m_findings.cend(), [](const VornCliFinding& finding) {
        return finding.kind != VornCliFindingKind::Error;
    });
}

// ---- Limits ---------------------------------------------------------------------------------------------

int VornCliGuard::intervalMs(const VornCliPairProgress& pair) const
{
    return pair.intervalMs > 0 ? pair.intervalMs : kDefaultIntervalMs;
}

// What is queued is sent one after the other.
qint64 VornCliGuard::queueSecs() const
{
    return secsUp(m_progress.queuedFiles * kQueueStepMs) + m_progress.queuedBytes / kSlowBytesPerSec;
}

// While much is sent, cycles are left out: what waits for one waits from the last such moment on. A limit that is
// given is meant as it is.
VornCliGuard::Limit VornCliGuard::limit(const std::optional<qint64>& given, qint64 computedSecs,
                                        const VornCliPairProgress& pair) const
{
    if (given)
        return {*given, 0};
    return {computedSecs + queueSecs(), std::min(pair.saturated, m_nowSecs)};
}

VornCliGuard::Limit VornCliGuard::waitLimit(const VornCliPairProgress& pair) const
{
    const qint64 roundSecs = 2 * secsUp(intervalMs(pair)) + kRetriesSecs + kLongestStaleSecs;
    return limit(m_limits.waitSecs, kMissedRounds * roundSecs, pair);
}

VornCliGuard::Limit VornCliGuard::unlistedLimit(const VornCliPairProgress& pair) const
{
    return limit(m_limits.unlistedSecs, kMissedCycles * secsUp(intervalMs(pair)) + kSlackSecs, pair);
}

// Just before a verification of all files ends, the beginning of the one before it lies two of them back.
VornCliGuard::Limit VornCliGuard::unverifiedLimit(const VornCliPairProgress& pair) const
{
    const qint64 budgetMs =
        std::max(kVerificationBudgetMinimumMs, qint64(intervalMs(pair)) * kVerificationBudgetPercent / 100);
    const qint64 turns = m_progress.upToDateFiles * kSlowVerificationMs / budgetMs + 1;
    const qint64 turnSecs = secsUp(qint64(kVerificationPeriodCycles) * intervalMs(pair));
    return limit(m_limits.unverifiedSecs, 2 * (turns + 1) * turnSecs + kSlackSecs, pair);
}

// ---- Judging --------------------------------------------------------------------------------------------

void VornCliGuard::judge(const QString& alias, const VornCliPairProgress& pair)
{
    using Kind = VornCliFindingKind;
    judgeFiles(alias, pair);
    if (!pair.isNoted) { // a pair that the state does not even hold was not listed for as long as it is away
        m_findings.append({Kind::LocalUnlisted, alias, QString(), 1, -1, unlistedLimit(pair).secs});
        return;
    }
    const auto sinceOr = [&pair](qint64 secs) { return secs == 0 ? pair.since : secs; };
    addIfLate({Kind::LocalUnlisted, alias, QString()}, sinceOr(pair.localListed), unlistedLimit(pair));
    addIfLate({Kind::DistantUnlisted, alias, QString()}, sinceOr(pair.distantListed), unlistedLimit(pair));
    VornCliFinding unverified{Kind::Unverified, alias, pair.unansweredName};
    unverified.count = pair.unansweredFiles;
    addIfLate(unverified, sinceOr(pair.verified), unverifiedLimit(pair));
    if (pair.unexaminedFiles > 0)
        addIfLate({Kind::Unexamined, alias, pair.unexaminedName, pair.unexaminedFiles}, pair.unexaminedSince,
                  waitLimit(pair));
}

void VornCliGuard::judgeFiles(const QString& alias, const VornCliPairProgress& pair)
{
    using Kind = VornCliFindingKind;
    const Limit limit = waitLimit(pair);
    const auto countLate = [&](const auto& files) {
        return static_cast<int>(std::count_if(files.cbegin(), files.cend(),
                                              [&](const auto& file) { return isLate(file.since, limit); }));
    };
    if (!pair.errors.isEmpty())
        m_findings.append({Kind::Error, alias, pair.errors.constFirst().name, pair.errorCount,
                           age(pair.errors.constFirst().since)});
    if (!pair.waits.isEmpty())
        addIfLate({Kind::Wait, alias, pair.waits.constFirst().name, countLate(pair.waits)},
                  pair.waits.constFirst().since, limit);
    if (!pair.deferrals.isEmpty())
        addIfLate({Kind::Deferral, alias, pair.deferrals.constFirst().name, countLate(pair.deferrals)},
                  pair.deferrals.constFirst().since, limit);
}

// A clock may have been set back.
qint64 VornCliGuard::age(qint64 sinceSecs) const
{
    return std::max<qint64>(0, m_nowSecs - sinceSecs);
}

bool VornCliGuard::isLate(qint64 sinceSecs, const Limit& limit) const
{
    return age(std::max(sinceSecs, limit.earliestSecs)) > limit.secs;
}

void VornCliGuard::addIfLate(VornCliFinding finding, qint64 sinceSecs, const Limit& limit)
{
    if (!isLate(sinceSecs, limit))
        return;
    finding.ageSecs = age(sinceSecs);
    finding.limitSecs = limit.secs;
    m_findings.append(finding);
}

// ---- As data --------------------------------------------------------------------------------------------

void VornCliGuard::describe(QJsonObject* status) const
{
    if (!m_progress.isReadable || !m_progress.isNoted)
        return;
    QJsonArray findings;
    for (const VornCliFinding& finding : m_findings)
        findings.append(toObject(finding));
    status->insert(QStringLiteral("findings"), findings);
    QJsonArray pairs = status->value(QLatin1String("pairs")).toArray();
    for (int i = 0; i < pairs.size(); ++i) {
        QJsonObject pair = pairs.at(i).toObject();
        const VornCliPairProgress progress =
            m_progress.pairs.value(pair.value(QLatin1String("alias")).toString());
        pair.insert(QStringLiteral("limits"),
                    QJsonObject{{QStringLiteral("wait_s"), waitLimit(progress).secs},
                                {QStringLiteral("unlisted_s"), unlistedLimit(progress).secs},
                                {QStringLiteral("unverified_s"), unverifiedLimit(progress).secs}});
        pairs.replace(i, pair);
    }
    status->insert(QStringLiteral("pairs"), pairs);
}
