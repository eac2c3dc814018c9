#include "vorn_sync_distant_marks.h"

#include "vorn_planted_bugs.h"
#include "vorn_sqlite_database.h"

namespace {

const QLatin1String kFindTable("SELECT name FROM sqlite_master WHERE type = 'table' AND name = "
                               "'distant_newer_marks'");

} // namespace

bool VornSyncDistantMarks::exists()
{
    QVariantList names;
    return m_database.executeQuery(names, kFindTable) && !names.isEmpty();
}

bool VornSyncDistantMarks::hasAny(bool& areAny)
{
    QVariantList found;
    if (!m_database.executeQuery(found, kFindTable))
        return false;
    areAny = !found.isEmpty();
    if (!areAny)
        return true;
    found.clear();
    if (!m_database.executeQuery(found, QStringLiteral("SELECT 1 FROM distant_newer_marks LIMIT 1")))
        return false;
    areAny = !found.isEmpty();
    return true;
}

bool VornSyncDistantMarks::set(int directoryId, const QString& fileName, qint64 localSize,
                               const QString& localLmd)
{
    static const QStringList columns = {
        QStringLiteral("file_name TEXT NOT NULL"), QStringLiteral("directories_id INTEGER NOT NULL"),
        QStringLiteral("local_size INTEGER NOT NULL"), QStringLiteral("local_lmd TEXT NOT NULL")};
    static const QStringList constraints = {
        QStringLiteral("PRIMARY KEY (file_name, directories_id)"),
        QStringLiteral("FOREIGN KEY (directories_id) REFERENCES directories(id) ON DELETE CASCADE")};

    if (VORN_PLANTED(forgetNewerDistant))
        return true;
    return (exists() ||
            m_database.createTable(QStringLiteral("distant_newer_marks"), columns, constraints)) &&
           m_database.executeQuery(
               QStringLiteral("INSERT OR REPLACE INTO distant_newer_marks "
                              "(file_name, directories_id, local_size, local_lmd) VALUES (?, ?, ?, ?)"),
               {fileName, directoryId, localSize, localLmd});
}

bool VornSyncDistantMarks::remove(int directoryId, const QString& fileName)
{
    return !exists() ||
           m_database.executeQuery(
               QStringLiteral("DELETE FROM distant_newer_marks WHERE file_name = ? AND directories_id = ?"),
               {fileName, directoryId});
}

bool VornSyncDistantMarks::rename(int directoryId, const QString& oldName, const QString& newName)
{
    return !exists() ||
           m_database.executeQuery(QStringLiteral("UPDATE OR REPLACE distant_newer_marks SET file_name = ? "
                                                  "WHERE file_name = ? AND directories_id = ?"),
                                   {newName, oldName, directoryId});
}
