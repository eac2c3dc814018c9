#pragma once

#include <QRegularExpression>
#include <QString>
#include <QStringList>
#include <QVector>

// Which names the manager leaves out, by the rule it applies to its exclusion patterns. A value; any thread.
class VornCliExclusions
{
public:
    VornCliExclusions() = default;
    explicit VornCliExclusions(const QStringList& patterns);

    bool matches(const QString& name) const;    // one of the patterns
    bool isMirrored(const QString& name) const; // neither a pattern nor one of the fixed rules leaves it out

private:
    QVector<QRegularExpression> m_patterns;
};
