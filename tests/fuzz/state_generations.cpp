#include "state_generations.h"

namespace VornSyncFuzz {

namespace {

const QString kDirectories = QStringLiteral(
    "CREATE TABLE directories (id INTEGER PRIMARY KEY AUTOINCREMENT, alias_name TEXT UNIQUE NOT NULL, "
    "local_path TEXT UNIQUE NOT NULL, distant_path TEXT NOT NULL, trash_path TEXT NOT NULL, "
    "available BOOLEAN DEFAULT 0)");
const QString kDirectoryRows = QStringLiteral(
    "INSERT INTO directories (id, alias_name, local_path, distant_path, trash_path, available) "
    "VALUES (1, 'docs', '/nowhere/local', '/nowhere/distant', '/nowhere/trash/docs', 1), "
    "(7, 'été', '/nowhere/été', '/nowhere/distant', '/nowhere/trash/été', 0)");
const QString kVersion = QStringLiteral("CREATE TABLE schema_version (version INTEGER PRIMARY KEY)");

QString filesTable(const QString& moreColumns)
{
    return QStringLiteral("CREATE TABLE file_tracking (file_name TEXT NOT NULL, directories_id INTEGER NOT "
                          "NULL, size INTEGER, local_lmd TEXT, distant_lmd TEXT, status INTEGER NOT NULL "
                          "DEFAULT 0, trashed_date TEXT%1, PRIMARY KEY (file_name, directories_id), FOREIGN "
                          "KEY (directories_id) REFERENCES directories(id) ON DELETE CASCADE)")
        .arg(moreColumns);
}

// Up to date, waiting, under way, in error, trashed, deleted, and one whose directory is gone.
QString fileRows()
{
    return QStringLiteral(
        "INSERT INTO file_tracking (file_name, directories_id, size, local_lmd, distant_lmd, status, "
        "trashed_date) VALUES ('report.doc', 1, 12, '2024-03-01T10:00:00Z', 'UNDEFINED', 17, NULL), "
        "('a b', 1, 5000000000, '2024-03-01T10:00:00', '2024-03-01T12:00:00+02:00', 18, NULL), "
        "('%1', 1, 1, NULL, NULL, 20, NULL), ('ü\n', 1, 0, '', '', 128, NULL), "
        "('old', 7, 3, '2024-03-01T10:00:00Z', '', 33, '2024-03-02T10:00:00Z'), "
        "('gone', 7, NULL, NULL, NULL, 40, '2024-03-02T10:00:00Z'), ('orphan', 99, 3, NULL, NULL, 145, "
        "NULL)");
}

} // namespace

QVector<StateGeneration> oldStateGenerations()
{
    return {
        {QStringLiteral("first"),
         {kDirectories, kDirectoryRows,
          QStringLiteral(
              "CREATE TABLE file_tracking (file_name TEXT NOT NULL, directories_id INTEGER NOT NULL, "
              "size INTEGER, last_sync TEXT, status INTEGER, deletion_date TEXT, PRIMARY KEY "
              "(file_name, directories_id))"),
          QStringLiteral(
              "INSERT INTO file_tracking VALUES "
              "('report.doc', 1, 12, '2024-03-01T10:00:00', 17, NULL), "
              "('a b', 1, 5000000000, '2024-03-01T10:00:00', 18, NULL), "
              "('trashed', 7, 3, NULL, 33, '2024-03-02T10:00:00Z'), ('orphan', 99, 3, '', 17, NULL)")}},
        {QStringLiteral("second"),
         {kDirectories, kDirectoryRows, filesTable(QString()), fileRows(), kVersion,
          QStringLiteral("INSERT INTO schema_version VALUES (2)")}},
        {QStringLiteral("third"),
         {kDirectories, kDirectoryRows, filesTable(QStringLiteral(", error_code INTEGER NOT NULL DEFAULT 0")),
          fileRows(), kVersion, QStringLiteral("INSERT INTO schema_version VALUES (3)")}},
    };
}

} // namespace VornSyncFuzz
