#include "vorn_sync_migration.h"

#include "vorn_sqlite_database.h"
#include "vorn_sqlite_transaction.h"
#include "vorn_sync_error_revision.h"
#include "vorn_sync_files.h"
#include "vorn_sync_log.h"
#include "vorn_sync_progress_notes.h"
#include "vorn_sync_status_counts.h"
#include "vorn_sync_times.h"
#include "vorn_sync_types.h"

#include <QSqlQuery>

#include <algorithm>

namespace {

constexpr char kTag[] = "DB: ";
constexpr char kMethod[] = "initialize";
constexpr int kCurrentVersion = 3;

QString okText(bool done)
{
    return done ? QStringLiteral("OK") : QStringLiteral("FAILED");
}

// The file's place in a directory; empty where the name or the directory can't make one.
QString pathIn(const QVariant& directoryPath, const QVariant& fileName)
{
    const QString directory = directoryPath.toString();
    const QString name = fileName.toString();
    if (directory.isEmpty() || !VornSyncTypes::isValidFileName(name))
        return QString();
    return directory + QLatin1Char('/') + name;
}

QString lmdText(const VornSyncFileFacts& facts)
{
    return VornSyncTimes::toText(VornSyncTimes::fromSecs(facts.lmdSecs));
}

// The local file's own time where the file exists, otherwise what the old row says.
QVariant localLmd(const QVariant& localDirectory, const QVariant& fileName, const QVariant& lastSync)
{
    const QString path = pathIn(localDirectory, fileName);
    const VornSyncFileFacts facts = path.isEmpty() ? VornSyncFileFacts() : VornSyncFiles::facts(path);
    return facts.isPlainFile ? QVariant(lmdText(facts)) : lastSync;
}

// Of an up-to-date row. The empty text: the copy is surely missing.
QString distantLmd(const QVariant& distantDirectory, const QVariant& fileName)
{
    const QString path = pathIn(distantDirectory, fileName);
    const VornSyncFileFacts facts = path.isEmpty() ? VornSyncFileFacts() : VornSyncFiles::facts(path);
    if (facts.isPlainFile)
        return lmdText(facts);
    return facts.presence == VornSyncPresence::Absent ? QString(QLatin1String(""))
                                                      : VornSyncTypes::undefinedTimeText();
}

} // namespace

bool VornSyncMigration::run()
{
    // Old files may hold rows without a directory, which are kept as they are.
    VornSqliteTransaction transaction(m_database, VornSqliteTransaction::ForeignKeys::Unchecked);
    if (!transaction.isActive())
        return false;
    recogniseGeneration();
    if (!createTables())
        return false;
    if (m_isUpgradePending)
        addErrorCode();
    if (!addStatusChangedAt())
        return false;
    restoreDirectories(transaction);
    restoreFiles(transaction);
    // Without counts and notes everything still works, only slower and without a word on what waits; a failure
    // that ended the transaction shows below.
    VornSyncStatusCounts(m_database).install();
    VornSyncErrorRevision(m_database).install();
    VornSyncProgressNotes(m_database).install();
    return transaction.isActive() && transaction.commit();
}

// --- What is there --------------------------------------------------------------------------------------

void VornSyncMigration::recogniseGeneration()
{
    VornSqliteDatabase::Rows tables;
    if (!m_database.executeQuery(
            tables,
            QStringLiteral("SELECT name FROM sqlite_master WHERE type='table' AND name='schema_version'")))
        return;
    if (tables.isEmpty()) {
        takeOldTables();
        return;
    }
    VornSqliteDatabase::Rows versions;
    m_database.executeQuery(versions, QStringLiteral("SELECT version FROM schema_version"));
    if (versions.isEmpty())
        return;
    const int version = versions.first().value(QStringLiteral("version")).toInt();
    m_isUpgradePending = version < kCurrentVersion;
    if (m_isUpgradePending)
        VORN_SYNC_TRACE(
            kTag, kMethod,
            QStringLiteral("Schema v%1 found, upgrading file_tracking to v3 (adding error_code column)")
                .arg(version));
}

void VornSyncMigration::takeOldTables()
{
    VORN_SYNC_TRACE(kTag, kMethod, QStringLiteral("Old database schema detected, performing migration..."));
    // A brand-new file comes this way too: reading tables it does not have would be reported as an error.
    if (hasTable("file_tracking"))
        readOldFiles();
    if (hasTable("directories"))
        readOldDirectories();
    VORN_SYNC_TRACE(kTag, kMethod,
                    QStringLiteral("Found %1 files and %2 directories to migrate")
                        .arg(m_files.size())
                        .arg(m_directories.size()));
    m_database.executeQuery(QStringLiteral("DROP TABLE IF EXISTS file_tracking"));
    m_database.executeQuery(QStringLiteral("DROP TABLE IF EXISTS directories"));
    VORN_SYNC_TRACE(kTag, kMethod, QStringLiteral("Old tables dropped, creating new schema..."));
}

bool VornSyncMigration::hasTable(const char* name)
{
    QVariantList names;
    return m_database.executeQuery(
               names,
               QStringLiteral("SELECT name FROM sqlite_master WHERE type IN ('table', 'view') AND name = ?"),
               {QLatin1String(name)}) &&
           !names.isEmpty();
}

void VornSyncMigration::readOldFiles()
{
    const bool done = m_database.forEachRow(
        QStringLiteral(
            "SELECT file_name, directories_id, size, last_sync, status, deletion_date FROM file_tracking"),
        QVariantList(), [this](const QSqlQuery& row) {
            m_files.append(
                {row.value(0), row.value(1), row.value(2), row.value(3), row.value(4), row.value(5)});
        });
    if (!done)
        m_files.clear();
}

void VornSyncMigration::readOldDirectories()
{
    const bool done = m_database.forEachRow(
        QStringLiteral(
            "SELECT id, alias_name, local_path, distant_path, trash_path, available FROM directories"),
        QVariantList(), [this](const QSqlQuery& row) {
            m_directories.append(
                {row.value(0), row.value(1), row.value(2), row.value(3), row.value(4), row.value(5)});
        });
    if (!done)
        m_directories.clear();
}

// --- The current schema ---------------------------------------------------------------------------------

bool VornSyncMigration::createTables()
{
    const bool haveDirectories = m_database.createTable(
        QStringLiteral("directories"),
        {QStringLiteral("id INTEGER PRIMARY KEY AUTOINCREMENT"),
         QStringLiteral("alias_name TEXT UNIQUE NOT NULL"), QStringLiteral("local_path TEXT UNIQUE NOT NULL"),
         QStringLiteral("distant_path TEXT NOT NULL"), QStringLiteral("trash_path TEXT NOT NULL"),
         QStringLiteral("available BOOLEAN DEFAULT 0")},
        QStringList());
    const bool haveVersion = m_database.createTable(
        QStringLiteral("schema_version"), {QStringLiteral("version INTEGER PRIMARY KEY")}, QStringList());
    writeVersion();
    const bool haveFiles = m_database.createTable(
        QStringLiteral("file_tracking"),
        {QStringLiteral("file_name TEXT NOT NULL"), QStringLiteral("directories_id INTEGER NOT NULL"),
         QStringLiteral("size INTEGER"), QStringLiteral("local_lmd TEXT"), QStringLiteral("distant_lmd TEXT"),
         QStringLiteral("status INTEGER NOT NULL DEFAULT 0"), QStringLiteral("trashed_date TEXT"),
         QStringLiteral("error_code INTEGER NOT NULL DEFAULT 0"), QStringLiteral("status_changed_at TEXT")},
        {QStringLiteral("PRIMARY KEY (file_name, directories_id)"),
         QStringLiteral("FOREIGN KEY (directories_id) REFERENCES directories(id) ON DELETE CASCADE")});
    return haveDirectories && haveVersion && haveFiles;
}

void VornSyncMigration::writeVersion()
{
    QVariantList versions;
    if (!m_database.executeQuery(versions, QStringLiteral("SELECT version FROM schema_version")))
        return;
    if (versions.isEmpty())
        m_database.executeQuery(QStringLiteral("INSERT INTO schema_version (version) VALUES (?)"),
                                {kCurrentVersion});
    else if (versions.first().toInt() < kCurrentVersion)
        m_database.executeQuery(QStringLiteral("UPDATE schema_version SET version = ?"), {kCurrentVersion});
}

bool VornSyncMigration::hasColumn(const char* name)
{
    VornSqliteDatabase::Rows columns;
    m_database.executeQuery(columns, QStringLiteral("PRAGMA table_info(file_tracking)"));
    return std::any_of(columns.cbegin(), columns.cend(), [name](const QVariantMap& column) {
        return column.value(QStringLiteral("name")).toString() == QLatin1String(name);
    });
}

void VornSyncMigration::addErrorCode()
{
    if (hasColumn("error_code"))
        return;
    const bool done =
        m_database.executeQuery(
            QStringLiteral("ALTER TABLE file_tracking ADD COLUMN error_code INTEGER NOT NULL DEFAULT 0")) &&
        m_database.executeQuery(
            QStringLiteral("UPDATE file_tracking SET error_code = ? WHERE status = ? AND error_code = 0"),
            {int(ceSecUnknown), int(ceSfsError)});
    VORN_SYNC_TRACE(kTag, kMethod,
                    QStringLiteral("v2\u2192v3 migration: %1 (column added and historical Error rows tagged)")
                        .arg(okText(done)));
}

bool VornSyncMigration::addStatusChangedAt()
{
    if (hasColumn("status_changed_at"))
        return true;
    const bool done = m_database.executeQuery(
        QStringLiteral("ALTER TABLE file_tracking ADD COLUMN status_changed_at TEXT"));
    VORN_SYNC_TRACE(kTag, kMethod,
                    QStringLiteral("v3 extension: status_changed_at column added (%1)").arg(okText(done)));
    return done;
}

// --- The rows of the first generation -------------------------------------------------------------------

void VornSyncMigration::restoreDirectories(const VornSqliteTransaction& transaction)
{
    if (m_directories.isEmpty())
        return;
    VORN_SYNC_TRACE(kTag, kMethod,
                    QStringLiteral("Restoring %1 directories after migration...").arg(m_directories.size()));
    int restored = 0;
    for (const SavedDirectory& directory : qAsConst(m_directories)) {
        if (!transaction.isActive())
            return;
        if (m_database.executeQuery(
                QStringLiteral("INSERT INTO directories (id, alias_name, local_path, distant_path, "
                               "trash_path, available) VALUES (?, ?, ?, ?, ?, ?)"),
                {directory.id, directory.aliasName, directory.localPath, directory.distantPath,
                 directory.trashPath, directory.available}))
            ++restored;
    }
    VORN_SYNC_TRACE(kTag, kMethod,
                    QStringLiteral("Restored %1/%2 directories").arg(restored).arg(m_directories.size()));
}

void VornSyncMigration::restoreFiles(const VornSqliteTransaction& transaction)
{
    if (m_files.isEmpty())
        return;
    VORN_SYNC_TRACE(kTag, kMethod,
                    QStringLiteral("Restoring %1 files after migration...").arg(m_files.size()));
    int restored = 0;
    for (const SavedFile& file : qAsConst(m_files)) {
        if (!transaction.isActive())
            return;
        if (restoreFile(file))
            ++restored;
    }
    VORN_SYNC_TRACE(
        kTag, kMethod,
        QStringLiteral("Migration complete: %1/%2 files restored").arg(restored).arg(m_files.size()));
}

bool VornSyncMigration::restoreFile(const SavedFile& file)
{
    const SavedDirectory* directory = directoryOf(file);
    const QVariant localPath = directory ? directory->localPath : QVariant();
    const QVariant distantPath = directory ? directory->distantPath : QVariant();
    const bool isUpToDate = file.status.toInt() == ceSfsUpToDate;
    return m_database.executeQuery(
        QStringLiteral("INSERT INTO file_tracking (file_name, directories_id, size, local_lmd, distant_lmd, "
                       "status, trashed_date) VALUES (?, ?, ?, ?, ?, ?, ?)"),
        {file.fileName, file.directoryId, file.size, localLmd(localPath, file.fileName, file.lastSync),
         isUpToDate ? QVariant(distantLmd(distantPath, file.fileName)) : file.lastSync, file.status,
         file.deletionDate});
}

const VornSyncMigration::SavedDirectory* VornSyncMigration::directoryOf(const SavedFile& file) const
{
    const auto found =
        std::find_if(m_directories.cbegin(), m_directories.cend(),
                     [&](const SavedDirectory& directory) { return directory.id == file.directoryId; });
    return found == m_directories.cend() ? nullptr : &*found;
}
