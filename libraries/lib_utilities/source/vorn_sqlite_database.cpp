#include "vorn_sqlite_database.h"

#include "vorn_sqlite_connection.h"
#include "vorn_sqlite_connections.h"

#include <QFile>
#include <QFileInfo>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QVector>
#include <QVersionNumber>

namespace {

// What SQLite may keep beside a file, in either journal mode.
const QLatin1String kSideFileSuffixes[] = {QLatin1String("-wal"), QLatin1String("-shm"),
                                           QLatin1String("-journal")};

bool removeIfPresent(const QString& path)
{
    return QFile::remove(path) || !QFileInfo::exists(path);
}

QVariant readValue(const QSqlQuery& row, int column)
{
    return row.isNull(column) ? QVariant() : row.value(column);
}

} // namespace

class VornSqliteDatabase::Use
{
    Q_DISABLE_COPY_MOVE(Use)

public:
    explicit Use(VornSqliteDatabase& usedDatabase)
        : database(usedDatabase)
        , connection(usedDatabase.enter())
    {
    }
    ~Use() { database.leave(connection); }

    VornSqliteDatabase& database;
    VornSqliteConnection& connection;
};

VornSqliteDatabase::VornSqliteDatabase(const QString& filePath, const QString& connectionName,
                                       QObject* parent)
    : QObject(parent)
    , m_filePath(filePath)
    , m_connectionName(connectionName)
    , m_connections(std::make_shared<VornSqliteConnections>(filePath, connectionName))
{
    Use(*this).connection.open();
}

VornSqliteDatabase::~VornSqliteDatabase()
{
    m_connections->closeAll();
}

VornSqliteConnection& VornSqliteDatabase::enter()
{
    return m_connections->enter();
}

void VornSqliteDatabase::leave(VornSqliteConnection& connection)
{
    const QStringList errors = m_connections->leave(connection);
    for (const QString& error : errors)
        emit databaseErrorOccurred(m_connectionName, error);
}

// --- Statements -----------------------------------------------------------------------------------------

bool VornSqliteDatabase::createTable(const QString& tableName, const QStringList& columns,
                                     const QStringList& constraints)
{
    const QString definitions = (columns + constraints).join(QLatin1String(", "));
    return executeQuery(QStringLiteral("CREATE TABLE IF NOT EXISTS %1 (%2)").arg(tableName, definitions));
}

bool VornSqliteDatabase::executeQuery(Rows& rows, const QString& sql, const QVariantList& values)
{
    QStringList names;
    return forEachRow(sql, values, [&](const QSqlQuery& row) {
        if (names.isEmpty()) {
            const QSqlRecord record = row.record();
            for (int column = 0; column < record.count(); ++column)
                names << record.fieldName(column);
        }
        Row map;
        for (int column = 0; column < names.size(); ++column)
            map.insert(names.at(column), readValue(row, column));
        rows << map;
    });
}

bool VornSqliteDatabase::executeQuery(QVariantList& firstColumn, const QString& sql,
                                      const QVariantList& values)
{
    return forEachRow(sql, values, [&](const QSqlQuery& row) { firstColumn << readValue(row, 0); });
}

bool VornSqliteDatabase::executeQuery(const QString& sql, const QVariantList& values)
{
    return forEachRow(sql, values, nullptr);
}

bool VornSqliteDatabase::forEachRow(const QString& sql, const QVariantList& values, const RowReader& reader)
{
    const Use use(*this);
    return use.connection.run(sql, values, reader);
}

std::optional<VornSqliteVersion> VornSqliteDatabase::version()
{
    const Use use(*this);
    QVariant commits;
    const bool done = use.connection.run(QStringLiteral("PRAGMA data_version"), {},
                                         [&commits](const QSqlQuery& row) { commits = row.value(0); });
    if (!done || commits.isNull())
        return std::nullopt;
    return VornSqliteVersion{use.connection.handleNumber(), commits.toLongLong()};
}

// --- Reset ----------------------------------------------------------------------------------------------

bool VornSqliteDatabase::resetFile(const std::function<void()>& prepare)
{
    const Use use(*this);
    if (use.connection.useDepth > 1) {
        use.connection.addError(QStringLiteral("The file can't be reset inside a transaction"));
        return false;
    }
    return m_connections->reset(
        use.connection, [this] { return removeFiles(); }, prepare);
}

// The database before what belongs to it: a "-wal" deleted first would take committed rows with it if the
// database then refused to go.
bool VornSqliteDatabase::removeFiles() const
{
    // SQLite keeps its side files beside the file that a link leads to.
    const QString canonicalPath = QFileInfo(m_filePath).canonicalFilePath();
    const QString path = canonicalPath.isEmpty() ? m_filePath : canonicalPath;
    if (!removeIfPresent(path))
        return false;
    bool areRemoved = true;
    for (const QLatin1String& suffix : kSideFileSuffixes)
        areRemoved = removeIfPresent(path + suffix) && areRemoved;
    return areRemoved;
}

bool VornSqliteDatabase::isSupportedSqliteVersion(const QString& version)
{
    // INSERT ... ON CONFLICT(...) DO NOTHING came with it.
    static const QVersionNumber oldest(3, 24);
    return QVersionNumber::fromString(version) >= oldest;
}
