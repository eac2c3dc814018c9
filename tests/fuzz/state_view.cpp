#include "state_view.h"

#include "outside_connection.h"
#include "sandbox.h"
#include "state_generations.h"
#include "vorn_sync_database.h"

#include <QDir>
#include <QSet>

namespace VornSyncFuzz {

namespace {

using Generation = StateView::Generation;

const QString kTables = QStringLiteral("SELECT name, sql FROM sqlite_master WHERE type = 'table' AND name IN "
                                       "('directories', 'file_tracking', 'schema_version') ORDER BY name");

// How the three tables of a generation are declared.
QStringList declarations(OutsideConnection& connection)
{
    QStringList result;
    for (const QStringList& row : connection.rows(kTables))
        result << row.join(QLatin1Char(' '));
    return result;
}

QMap<QString, Generation> knownDeclarations()
{
    QMap<QString, Generation> result;
    const QVector<Generation> generations = {Generation::First, Generation::Second, Generation::Third};
    const QString directory = Sandbox::instance().freshDirectory(QStringLiteral("known"));
    int number = 0;
    for (const StateGeneration& old : oldStateGenerations()) {
        const QString path = QStringLiteral("%1/%2").arg(directory, old.name);
        OutsideConnection connection(path);
        for (const QString& statement : old.statements)
            FUZZ_REQUIRE(connection.exec(statement), statement);
        result.insert(declarations(connection).join(QLatin1Char('\n')), generations.at(number++));
        // As this version makes it of an older one.
        FUZZ_REQUIRE(VornSyncDatabase(path).initialize(), path);
        result.insert(declarations(connection).join(QLatin1Char('\n')), Generation::Third);
    }
    const QString path = directory + QStringLiteral("/new");
    FUZZ_REQUIRE(VornSyncDatabase(path).initialize(), path);
    result.insert(declarations(*std::make_unique<OutsideConnection>(path)).join(QLatin1Char('\n')),
                  Generation::Third);
    return result;
}

Generation generationOf(OutsideConnection& connection, bool isEmpty)
{
    static const QMap<QString, Generation> known = knownDeclarations();
    if (isEmpty)
        return Generation::Empty;
    const Generation declared =
        known.value(declarations(connection).join(QLatin1Char('\n')), Generation::Other);
    // A column that the version says is there is not added any more.
    const QVector<QStringList> versions =
        connection.rows(QStringLiteral("SELECT version FROM schema_version"));
    const bool isOld = versions.size() == 1 && versions.first().first().toInt() < 3;
    return declared == Generation::Second && !isOld ? Generation::Other : declared;
}

bool isOwnObject(const QString& type, const QString& name, const QString& table)
{
    static const QSet<QString> tables = {
        QStringLiteral("directories"),          QStringLiteral("file_tracking"),
        QStringLiteral("schema_version"),       QStringLiteral("sqlite_sequence"),
        QStringLiteral("file_tracking_counts"), QStringLiteral("file_tracking_in_the_way"),
        QStringLiteral("distant_newer_marks")};
    if (type == QLatin1String("table"))
        return tables.contains(name) && name == table;
    // A changed byte here is a damage that SQLite's own check does not see.
    if (type == QLatin1String("index"))
        return name.startsWith(QStringLiteral("sqlite_autoindex_%1_").arg(table)) ||
               (name.startsWith(QLatin1String("file_tracking_")) && table == QLatin1String("file_tracking"));
    return type == QLatin1String("trigger") && name.startsWith(QLatin1String("file_tracking_counts_")) &&
           table == QLatin1String("file_tracking");
}

// Text that survives the way through UTF-16.
bool isCleanText(const QString& hex)
{
    const QByteArray bytes = QByteArray::fromHex(hex.toLatin1());
    return QString::fromUtf8(bytes).toUtf8() == bytes;
}

// A row that the first generation's restoring may refuse (a key or a status that is none) or may change (text
// that is no text) is not asked for.
QMap<QString, QString> firstFiles(OutsideConnection& connection)
{
    QMap<QString, QString> result;
    for (const QStringList& row : connection.rows(QStringLiteral(
             "SELECT hex(file_name), directories_id, typeof(size) || hex(size), status, "
             "typeof(deletion_date) || "
             "hex(deletion_date), hex(deletion_date) FROM file_tracking WHERE typeof(file_name) = 'text' AND "
             "typeof(directories_id) = 'integer' AND typeof(status) = 'integer' AND typeof(size) IN "
             "('integer', "
             "'null') AND typeof(deletion_date) IN ('text', 'null')"))) {
        if (isCleanText(row.at(0)) && isCleanText(row.at(5)))
            result.insert(row.at(0) + QLatin1Char('/') + row.at(1), row.mid(2, 3).join(QLatin1Char('|')));
    }
    return result;
}

QMap<QString, QString> laterFiles(OutsideConnection& connection)
{
    QMap<QString, QString> result;
    for (const QStringList& row :
         connection.rows(QStringLiteral("SELECT hex(file_name), directories_id, typeof(size) || hex(size), "
                                        "status, typeof(trashed_date) || "
                                        "hex(trashed_date), typeof(local_lmd) || hex(local_lmd), "
                                        "typeof(distant_lmd) || hex(distant_lmd) "
                                        "FROM file_tracking")))
        result.insert(row.at(0) + QLatin1Char('/') + row.at(1), row.mid(2).join(QLatin1Char('|')));
    return result;
}

QMap<QString, QString> directoryRows(OutsideConnection& connection, bool mustBeClean)
{
    QMap<QString, QString> result;
    for (const QStringList& row : connection.rows(QStringLiteral(
             "SELECT id, hex(alias_name), hex(local_path), hex(distant_path), hex(trash_path), available, "
             "typeof(alias_name) || typeof(local_path) || typeof(distant_path) || typeof(trash_path) "
             "FROM directories"))) {
        const bool isClean = row.last() == QLatin1String("texttexttexttext") && isCleanText(row.at(1)) &&
                             isCleanText(row.at(2)) && isCleanText(row.at(3)) && isCleanText(row.at(4));
        if (isClean || !mustBeClean)
            result.insert(row.at(0), row.mid(1).join(QLatin1Char('|')));
    }
    return result;
}

QStringList everything(OutsideConnection& connection)
{
    QStringList result;
    for (const QStringList& object : connection.rows(
             QStringLiteral("SELECT type, name, sql FROM sqlite_master ORDER BY type, name, sql"))) {
        result << object.join(QLatin1Char(' '));
        if (object.at(0) != QLatin1String("table"))
            continue;
        const QString name = QString(object.at(1)).replace(QLatin1Char('"'), QLatin1String("\"\""));
        for (const QStringList& row : connection.rows(QStringLiteral("SELECT * FROM \"%1\"").arg(name)))
            result << name + QLatin1String(": ") + row.join(QLatin1Char('|'));
    }
    return result;
}

} // namespace

StateView StateView::read(const QString& databasePath)
{
    OutsideConnection connection(databasePath);
    StateView result;
    const QVector<QStringList> objects =
        connection.rows(QStringLiteral("SELECT type, name, tbl_name FROM sqlite_master"), &result.isDatabase);
    result.isValid = result.isDatabase &&
                     connection.value(QStringLiteral("PRAGMA integrity_check")) == QLatin1String("ok");
    if (result.isDatabase)
        result.all = everything(connection);
    result.generation = generationOf(connection, objects.isEmpty());
    if (!result.isValid || result.generation == Generation::Other)
        return result;
    result.hasPlainSchema = std::all_of(objects.cbegin(), objects.cend(), [](const QStringList& object) {
        return isOwnObject(object.at(0), object.at(1), object.at(2));
    });
    if (result.generation == Generation::Empty)
        return result;
    const bool isFirst = result.generation == Generation::First;
    result.files = isFirst ? firstFiles(connection) : laterFiles(connection);
    result.directories = directoryRows(connection, isFirst);
    return result;
}

QString lostRows(const QMap<QString, QString>& before, const QMap<QString, QString>& after)
{
    QStringList result;
    for (auto row = before.cbegin(); row != before.cend(); ++row) {
        if (!after.contains(row.key()))
            result << QStringLiteral("gone: %1 (%2)").arg(row.key(), row.value());
        // The first generation has fewer columns.
        else if (!after.value(row.key()).startsWith(row.value()))
            result << QStringLiteral("changed: %1 (%2) to (%3)")
                          .arg(row.key(), row.value(), after.value(row.key()));
    }
    return result.join(QLatin1Char('\n'));
}

} // namespace VornSyncFuzz
