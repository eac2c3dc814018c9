// Changes to a state file that leave it a database more often than changed bytes do: statements, and bytes replaced
// in their place.

#include "outside_connection.h"
#include "sandbox.h"
#include "state_input.h"

#include <QStringList>

#include <random>

using namespace VornSyncFuzz;

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maximumSize);

namespace {

using Random = std::minstd_rand;

const char* const kTables[] = {"file_tracking",        "directories",         "schema_version",
                               "file_tracking_counts", "distant_newer_marks", "file_tracking_in_the_way"};
const char* const kColumns[] = {
    "file_name",    "directories_id", "size",      "local_lmd",     "distant_lmd", "status",
    "trashed_date", "error_code",     "last_sync", "deletion_date", "alias_name",  "local_path",
    "distant_path", "trash_path",     "available", "version",       "id",          "status_changed_at",
    "files"};
const char* const kValues[] = {"NULL",
                               "0",
                               "-1",
                               "1",
                               "2",
                               "3",
                               "7",
                               "17",
                               "18",
                               "20",
                               "33",
                               "34",
                               "36",
                               "40",
                               "66",
                               "68",
                               "128",
                               "145",
                               "148",
                               "99999999999",
                               "9223372036854775807",
                               "-9223372036854775808",
                               "1e308",
                               "''",
                               "'.'",
                               "'..'",
                               "'a/b'",
                               "'/'",
                               "'UNDEFINED'",
                               "'2024-03-01T10:00:00Z'",
                               "'2024-13-99T99:99:99'",
                               "x'00ff'",
                               "CAST(x'61006200' AS TEXT)",
                               "CAST(x'ff80fe' AS TEXT)",
                               "CAST(x'efbbbf61' AS TEXT)",
                               "zeroblob(3000)",
                               "'%1 %2 %n'",
                               "hex(zeroblob(600))",
                               "'report.doc'",
                               "'docs'",
                               "'/nowhere/local'",
                               "random()"};
// {t}, {c}, {v} and {n} are a table, a column, a value and a small number.
const char* const kStatements[] = {
    "UPDATE {t} SET {c} = {v}",
    "UPDATE {t} SET {c} = {v} WHERE rowid = {n}",
    "UPDATE OR REPLACE file_tracking SET {c} = {v} WHERE rowid = {n}",
    "INSERT INTO file_tracking (file_name, directories_id, {c}) VALUES ({v}, {n}, {v})",
    "INSERT INTO file_tracking (file_name, directories_id, status) VALUES ({v}, {n}, {v})",
    "INSERT INTO directories (alias_name, local_path, distant_path, trash_path) VALUES ({v}, {v}, {v}, {v})",
    "INSERT INTO schema_version VALUES ({v})",
    "DELETE FROM {t} WHERE rowid = {n}",
    "DELETE FROM {t}",
    "DROP TABLE {t}",
    "ALTER TABLE {t} RENAME TO other",
    "ALTER TABLE {t} RENAME COLUMN {c} TO other",
    "ALTER TABLE {t} DROP COLUMN {c}",
    "ALTER TABLE {t} ADD COLUMN {c} TEXT DEFAULT {v}",
    "CREATE TABLE {t} ({c}, {c}, {c})",
    "CREATE TABLE {t} (version)",
    "CREATE VIEW {t} AS SELECT {v} AS {c}, {v} AS {c}",
    "CREATE INDEX strange ON {t} ({c})",
    "CREATE UNIQUE INDEX strict ON {t} ({c})",
    "CREATE TRIGGER refusing BEFORE UPDATE ON {t} BEGIN SELECT RAISE(ABORT, 'no'); END",
    "CREATE TRIGGER refusing_rows BEFORE INSERT ON {t} BEGIN SELECT RAISE(ROLLBACK, 'no'); END",
    "CREATE TRIGGER ignoring BEFORE DELETE ON {t} BEGIN SELECT RAISE(IGNORE); END",
    "DROP TRIGGER file_tracking_counts_insert",
    "DROP INDEX file_tracking_not_up_to_date",
    "PRAGMA user_version = {n}",
    "PRAGMA auto_vacuum = 1",
    "PRAGMA page_size = 1024",
    "PRAGMA journal_mode = DELETE",
    "PRAGMA journal_mode = PERSIST",
    "VACUUM",
    "PRAGMA writable_schema = ON",
    "UPDATE sqlite_master SET sql = replace(sql, 'TEXT', 'BLOB') WHERE name = '{t}'",
    "UPDATE sqlite_master SET sql = replace(sql, 'NOT NULL', 'CHECK ({c} IS NOT {v})') WHERE name = '{t}'",
    "UPDATE sqlite_master SET rootpage = {n} WHERE name = '{t}'",
};

template<std::size_t Count> const char* any(const char* const (&items)[Count], Random& random)
{
    return items[random() % Count];
}

QString anyStatement(Random& random)
{
    QString result = QLatin1String(any(kStatements, random));
    const auto fill = [&](const char* mark, const auto& choose) {
        for (int at = result.indexOf(QLatin1String(mark)); at >= 0; at = result.indexOf(QLatin1String(mark)))
            result.replace(at, 3, choose());
    };
    fill("{t}", [&] { return QString(QLatin1String(any(kTables, random))); });
    fill("{c}", [&] { return QString(QLatin1String(any(kColumns, random))); });
    fill("{v}", [&] { return QString(QLatin1String(any(kValues, random))); });
    fill("{n}", [&] { return QString::number(random() % 9); });
    return result;
}

void runStatements(StateInput& input, Random& random)
{
    const QString path =
        Sandbox::instance().freshDirectory(QStringLiteral("mutation")) + QStringLiteral("/state.db");
    input.toFiles(path);
    OutsideConnection connection(path);
    // With the log still beside it when it is read, every other time.
    const bool isLogKept = random() % 2 == 0;
    connection.exec(isLogKept ? QStringLiteral("PRAGMA wal_autocheckpoint = 0")
                              : QStringLiteral("PRAGMA journal_mode = DELETE"));
    if (isLogKept)
        connection.exec(QStringLiteral("PRAGMA journal_mode = WAL"));
    for (unsigned count = 1 + random() % 3; count > 0; --count)
        connection.exec(anyStatement(random));
    input = StateInput::fromFiles(input.way, path);
}

void replaceBytes(QByteArray& bytes, Random& random)
{
    for (unsigned count = 1 + random() % 4; count > 0 && !bytes.isEmpty(); --count) {
        // The header is small and matters most.
        const unsigned length = random() % 4 == 0 ? qMin(bytes.size(), 108) : bytes.size();
        bytes[int(random() % length)] = char(random() % 3 == 0 ? 0xff * (random() % 2) : random());
    }
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maximumSize,
                                               unsigned seed)
{
    Random random(seed + 1);
    const unsigned choice = random() % 100;
    if (choice < 15 || size == 0)
        return LLVMFuzzerMutate(data, size, maximumSize);
    StateInput input = StateInput::fromBytes(data, size);
    if (choice < 60)
        runStatements(input, random);
    else if (choice < 85)
        replaceBytes(input.file, random);
    else if (choice < 95)
        replaceBytes(input.log, random);
    else
        input.way = quint8(random() % 4);
    const QByteArray bytes = input.toBytes();
    if (bytes.isEmpty() || std::size_t(bytes.size()) > maximumSize)
        return LLVMFuzzerMutate(data, size, maximumSize);
    std::copy(bytes.cbegin(), bytes.cend(), data);
    return std::size_t(bytes.size());
}
