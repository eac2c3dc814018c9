#pragma once

#include "vorn_sync_database.h"

#include <QVariantList>

#include <optional>
#include <vector>

// The files in error as the host sees them, kept as long as the database says that they are the same: with thousands
// of them, putting the list together would hold up the host's thread with every file that is sent. Used on one thread.
class VornSyncErrorList
{
    Q_DISABLE_COPY_MOVE(VornSyncErrorList)

public:
    VornSyncErrorList() = default;
    ~VornSyncErrorList() = default;

    // How many files are in error. `revision` was read before: a change in between gives a list that is read once
    // more for nothing, never one that is old. Without one, all is read anew.
    int count(VornSyncDatabase& database, const std::optional<qint64>& revision);
    // Brings the list up to that. Entries that are the same are shared with the list before.
    void update(VornSyncDatabase& database);

    // A map with the keys "aliasName", "fileName", "errorCode" and "status" for each file, by alias, then by name.
    const QVariantList& files() const { return m_files; }

private:
    void replace(std::vector<VornSyncErrorFile> listed);

    int m_count = 0;
    std::optional<qint64> m_countRevision;   // nothing when it has to be counted
    std::optional<qint64> m_revision;        // of the list; nothing when it has to be read
    std::vector<VornSyncErrorFile> m_listed; // what m_files was made of
    QVariantList m_files;
};
