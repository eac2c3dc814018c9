#pragma once

#include <QRegularExpression>
#include <QString>
#include <QStringList>
#include <QVector>

// The file names that are never sent, and what they say about the files beside them. Immutable once made;
// may be used from any thread.
class VornSyncExclusions
{
public:
    // Wildcard patterns for whole names, matched without regard to case. One that does not compile is dropped
    // with a warning, an empty one silently.
    explicit VornSyncExclusions(const QStringList& patterns);

    bool isEmpty() const { return exclusionPatterns.isEmpty(); }
    bool matches(const QString& fileName) const;

    // Lists the directory of one file for a side-car of it. True also when the listing was cut short.
    bool hasSideCarBeside(const QString& filePath) const;

    // True when one of `sortedNames`, other than the file's own, begins with the file's name: "data.db-wal"
    // says that "data.db" is being written.
    static bool hasSideCar(const QStringList& sortedNames, const QString& fileName);

private:
    // Most patterns are "*.tmp" or "~$*": for these a comparison does, at a tenth of an expression's cost.
    struct Pattern
    {
        enum class Kind { Whole, Prefix, Suffix, Expression };

        bool matches(const QString& fileName) const;

        Kind kind = Kind::Expression;
        QString literal; // ASCII, where every comparison of letters agrees
        QRegularExpression expression;
    };
    static Pattern compile(const QString& pattern);

    QVector<Pattern> exclusionPatterns;
};
