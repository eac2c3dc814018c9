#pragma once

#include "vorn_cli_types.h"

// The pairs that a state directory remembers, by alias. Lives on the host's thread.
class VornCliPairList
{
public:
    explicit VornCliPairList(const QString& path);

    bool load();       // a missing file is an empty list
    bool save() const; // the old file stays whole until the new one is
    QString error() const { return m_error; }

    const QVector<VornCliPair>& pairs() const { return m_pairs; }
    const VornCliPair* byLocal(const QString& local) const; // null when there is none
    const VornCliPair* byAlias(const QString& alias) const;

    void put(const VornCliPair& pair); // adds it, or replaces the one with its alias

    void remove(const QString& alias);

    // An alias for a new local directory: its base name, with a number behind it when that is taken.
    static QString freeAlias(const QString& local, const QStringList& taken);

private:
    QString m_path;
    QVector<VornCliPair> m_pairs; // in the order in which they were added
    mutable QString m_error;
};
