#pragma once

#include "vorn_cli_progress.h"

#include <optional>

class QJsonObject;

// How long something may take before it counts as stuck, in seconds.
struct VornCliLimits
{
    std::optional<qint64> waitSecs; // without a value: computed from what there is to do
    std::optional<qint64> unlistedSecs;
    std::optional<qint64> unverifiedSecs;
};

enum class VornCliFindingKind {
    Error,
    Wait,
    Deferral,
    Unexamined,
    LocalUnlisted,
    DistantUnlisted,
    Unverified
};

// Something that does not come forward: of a pair and a kind the one that has lasted longest.
struct VornCliFinding
{
    VornCliFindingKind kind = VornCliFindingKind::Error;
    QString alias;
    QString name;        // empty where it is about the pair
    int count = 1;       // of all such files of the pair, as far as they are named
    qint64 ageSecs = -1; // -1: nobody knows
    qint64 limitSecs = -1;
};

// Judges from what a state holds whether the mirror comes forward. The limits that are not given follow from the
// delays of the library. A value; any thread.
class VornCliGuard
{
public:
    VornCliGuard(const VornCliProgress& progress, const VornCliLimits& limits, qint64 nowSecs);

    QVector<VornCliFinding> findings() const { return m_findings; }
    bool isStuck() const; // anything but an error

    // Adds what was found to a status as data, and to its pairs the limits that they were judged by.
    void describe(QJsonObject* status) const;

private:
    struct Limit
    {
        qint64 secs = 0;
        qint64 earliestSecs = 0; // since the epoch: nothing counts as late for what it waited before
    };

    Limit limit(const std::optional<qint64>& given, qint64 computedSecs,
                const VornCliPairProgress& pair) const;
    Limit waitLimit(const VornCliPairProgress& pair) const;
    Limit unlistedLimit(const VornCliPairProgress& pair) const;
    Limit unverifiedLimit(const VornCliPairProgress& pair) const;
    void judge(const QString& alias, const VornCliPairProgress& pair);
    void judgeFiles(const QString& alias, const VornCliPairProgress& pair);
    void addIfLate(VornCliFinding finding, qint64 sinceSecs, const Limit& limit);
    bool isLate(qint64 sinceSecs, const Limit& limit) const;
    qint64 age(qint64 sinceSecs) const;
    int intervalMs(const VornCliPairProgress& pair) const;
    qint64 queueSecs() const;

    const VornCliProgress m_progress;
    const VornCliLimits m_limits;
    const qint64 m_nowSecs;
    QVector<VornCliFinding> m_findings; // by alias
};
