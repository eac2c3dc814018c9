#pragma once

#include "vorn_sync_files.h"

#include <QHash>
#include <QString>
#include <QVector>

// What one directory held when it was listed: names and kinds, read with error codes so that a listing that
// was cut short is never taken for a short directory. A value, used on the synchronizer's thread.
class VornSyncDirectoryListing
{
public:
    enum class Outcome {
        Complete,   // every entry was read
        Missing,    // there is no such directory
        Failed,     // the directory is there or not, but could not be read to its end
        Interrupted // the thread was asked to stop meanwhile
    };

    struct Entry
    {
        QString name;
        bool isPlainFile = false; // a regular file, or a link to one
        bool isHidden = false;    // leading dot
    };

    static VornSyncDirectoryListing read(const QString& directoryPath);

    Outcome outcome() const { return m_outcome; }
    bool isComplete() const { return m_outcome == Outcome::Complete; }
    // The system's reason when the outcome is Failed.
    QString errorText() const { return m_errorText; }

    // Every entry, of whatever kind, but those whose name has no representation in the locale.
    const QVector<Entry>& entries() const { return m_entries; }
    // The entry of that name, null when there is none.
    const Entry* find(const QString& name) const;
    // Plain files that are not hidden.
    int plainFileCount() const;

    // For a listing that is complete: whether the name was in it.
    VornSyncPresence presence(const QString& name) const;

private:
    void append(const QByteArray& nativeName, bool isPlainFile);

    Outcome m_outcome = Outcome::Missing;
    QString m_errorText;
    QVector<Entry> m_entries;
    QHash<QString, int> m_indexes;
};
