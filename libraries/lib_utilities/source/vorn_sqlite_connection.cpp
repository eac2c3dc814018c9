#include "vorn_sqlite_connection.h"

#include "vorn_planted_bugs.h"
#include "vorn_sqlite_database.h"

#include <QSqlError>

#include <atomic>

namespace {

// SQLite's own names for the result codes that end a statement and nothing else. Any other failure (a full
// disk, an I/O error, a lock) may have ended the transaction around it.
constexpr int kSqliteError = 1;
constexpr int kSqliteReadOnly = 8;
constexpr int kSqliteIoError = 10;
constexpr int kSqliteCantOpen = 14;
constexpr int kSqliteProtocol = 15;
constexpr int kSqliteTooBig = 18;
constexpr int kSqliteConstraint = 19;
constexpr int kSqliteMismatch = 20;
constexpr int kSqliteMisuse = 21;
constexpr int kSqliteRange = 25;
constexpr int kPrimaryCodeMask = 0xff;

// Far above what one program prepares; a caller that writes its values into the SQL must not fill the memory.
constexpr std::size_t kMaximumKeptQueries = 256;

// 0: the driver's own failure, not SQLite's.
int primaryCode(const QSqlError& error)
{
    bool isNumber = false;
    const int code = error.nativeErrorCode().toInt(&isNumber);
    return isNumber && code > 0 ? code & kPrimaryCodeMask : 0;
}

bool mayOutliveItsCause(int code)
{
    return code == kSqliteReadOnly || code == kSqliteIoError || code == kSqliteCantOpen ||
           code == kSqliteProtocol;
}

bool endsStatementOnly(int code)
{
    switch (code) {
    case 0:
    case kSqliteError:
    case kSqliteTooBig:
    case kSqliteConstraint:
    case kSqliteMismatch:
    case kSqliteMisuse:
    case kSqliteRange:
        return true;
    default:
        return false;
    }
}

// Qt finds out a prepared statement's columns once: one that asks for all of them must not be kept, since the
// table may gain some.
bool asksForAllColumns(const QString& sql)
{
    return sql.startsWith(QLatin1String("SELECT *"), Qt::CaseInsensitive) ||
           sql.contains(QLatin1String(".*"));
}

// Qt keeps the values of the last row with the statement, and here one row may be as large as a table.
bool hasLargeRow(const QString& sql)
{
    return sql.contains(QLatin1String("group_concat("));
}

bool isKeptStatement(const QString& sql)
{
    if (asksForAllColumns(sql) || hasLargeRow(sql))
        return false;
    static const QLatin1String keywords[] = {
        QLatin1String("SELECT"), QLatin1String("INSERT"), QLatin1String("UPDATE"),  QLatin1String("DELETE"),
        QLatin1String("BEGIN"),  QLatin1String("COMMIT"), QLatin1String("ROLLBACK")};
    for (const QLatin1String& keyword : keywords) {
        if (sql.startsWith(keyword, Qt::CaseInsensitive))
            return true;
    }
    return false;
}

} // namespace

VornSqliteConnection::VornSqliteConnection(const QString& filePath, const QString& registeredName,
                                           VornSqliteWriterLine& writers)
    : m_registeredName(registeredName)
    , m_writers(writers)
    , m_database(QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), registeredName))
{
    m_database.setDatabaseName(filePath);
    m_database.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(kBusyTimeoutMs));
}

VornSqliteConnection::~VornSqliteConnection()
{
    unregister();
}

// --- Life of the handle ---------------------------------------------------------------------------------

bool VornSqliteConnection::open()
{
    if (m_database.isOpen())
        return true;
    if (!m_database.isValid()) {
        addError(QStringLiteral("The SQLite driver of Qt is not available"));
        return false;
    }
    if (!m_database.open()) {
        addError(m_database.lastError().text());
        return false;
    }
    static std::atomic<quint64> openings{0};
    m_handleNumber = ++openings;
    if (configure())
        return true;
    close();
    return false;
}

bool VornSqliteConnection::configure()
{
    QSqlQuery version(m_database);
    const bool isRead = version.exec(QStringLiteral("SELECT sqlite_version()")) && version.next();
    const QString text = isRead ? version.value(0).toString() : QString();
    version.finish();
    if (!VornSqliteDatabase::isSupportedSqliteVersion(text)) {
        addError(QStringLiteral("SQLite %1 is too old: version 3.24 or later is needed").arg(text));
        return false;
    }
    // A file system without shared memory refuses write-ahead logging, and a file that is no database
    // refuses everything: the statement that follows then says so.
    runQuietly(QStringLiteral("PRAGMA journal_mode=WAL"));
    runQuietly(QStringLiteral("PRAGMA synchronous=NORMAL"));
    if (m_checkpointPages > 0)
        runQuietly(QStringLiteral("PRAGMA wal_autocheckpoint=%1").arg(m_checkpointPages));
    return setForeignKeys(true);
}

void VornSqliteConnection::close()
{
    m_kept.clear();
    m_database.close();
    m_mustBeReopened = false;
}

void VornSqliteConnection::unregister()
{
    if (!m_database.isValid())
        return;
    close();
    m_database = QSqlDatabase();
    QSqlDatabase::removeDatabase(m_registeredName);
}

// --- Statements -----------------------------------------------------------------------------------------

bool VornSqliteConnection::run(const QString& sql, const QVariantList& values, const RowReader& reader)
{
    if (m_isTransactionBroken || !open())
        return false;
    // What is kept already need not be looked at again.
    if (m_kept.find(sql) != m_kept.end() || isKeptStatement(sql))
        return runKept(sql, values, reader);
    QSqlQuery query(m_database);
    query.setForwardOnly(true);
    if (query.prepare(sql))
        return execute(query, values, reader);
    fail(query.lastError());
    return false;
}

bool VornSqliteConnection::runKept(const QString& sql, const QVariantList& values, const RowReader& reader)
{
    auto kept = m_kept.find(sql);
    // Values bound before stay bound: a call with another number of them must not meet them.
    if (kept != m_kept.end() && kept->second.valueCount != values.size()) {
        m_kept.erase(kept);
        kept = m_kept.end();
    }
    if (kept == m_kept.end()) {
        if (m_kept.size() >= kMaximumKeptQueries)
            m_kept.clear();
        kept = m_kept.emplace(sql, KeptQuery{QSqlQuery(m_database), int(values.size())}).first;
        kept->second.query.setForwardOnly(true);
        if (!kept->second.query.prepare(sql)) {
            fail(kept->second.query.lastError());
            m_kept.erase(sql);
            return false;
        }
    }
    if (execute(kept->second.query, values, reader))
        return true;
    m_kept.erase(sql);
    return false;
}

bool VornSqliteConnection::execute(QSqlQuery& query, const QVariantList& values, const RowReader& reader)
{
    for (int i = 0; i < values.size(); ++i)
        query.bindValue(i, values.at(i));
    bool done = query.exec();
    if (done && reader) {
        while (query.next())
            reader(query);
        done = query.lastError().type() == QSqlError::NoError;
    }
    if (!done)
        fail(query.lastError());
    query.finish();
    return done;
}

bool VornSqliteConnection::runQuietly(const QString& sql)
{
    return QSqlQuery(m_database).exec(sql);
}

void VornSqliteConnection::fail(const QSqlError& error)
{
    addError(error.text());
    const int code = primaryCode(error);
    if (mayOutliveItsCause(code))
        m_mustBeReopened = true;
    if (m_transactionDepth > 0 && (!endsStatementOnly(code) || hasLostTransaction()))
        m_isTransactionBroken = true;
}

// A file may say itself, in a trigger or a conflict clause, that a failed statement undoes the whole transaction: what
// followed would then be written statement by statement. SQLite refuses to begin one only while one is active.
bool VornSqliteConnection::hasLostTransaction()
{
    return runQuietly(QStringLiteral("BEGIN")) && runQuietly(QStringLiteral("ROLLBACK"));
}

QStringList VornSqliteConnection::takeErrors()
{
    QStringList errors;
    errors.swap(m_errors);
    return errors;
}

void VornSqliteConnection::dropErrorsAfter(int count)
{
    while (m_errors.size() > count)
        m_errors.removeLast();
}

void VornSqliteConnection::setBusyTimeoutMs(int milliseconds)
{
    if (m_database.isOpen())
        runQuietly(QStringLiteral("PRAGMA busy_timeout=%1").arg(milliseconds));
}

// --- Transactions ---------------------------------------------------------------------------------------

bool VornSqliteConnection::begin()
{
    if (++m_transactionDepth > 1)
        return !m_isTransactionBroken;
    m_mustRollBack = false;
    m_isTransactionBroken = false;
    // Required: as a writer from the start. A transaction that becomes one later fails at once, without
    // waiting, when another writer was ahead.
    // Whoever holds up the line for too long is left to SQLite, which says that the file is locked.
    m_isInWriterLine = m_writers.enter(kBusyTimeoutMs);
    m_isTransactionBroken = !run(QStringLiteral("BEGIN IMMEDIATE"), QVariantList(), nullptr);
    return !m_isTransactionBroken;
}

bool VornSqliteConnection::end(bool commit)
{
    const bool isWritable = commit && !m_isTransactionBroken && !m_mustRollBack;
    if (!isWritable)
        m_mustRollBack = true;
    if (--m_transactionDepth > 0)
        return isWritable;
    m_isTransactionBroken = false;
    const bool isWritten = isWritable && run(QStringLiteral("COMMIT"), QVariantList(), nullptr);
    // Quietly: SQLite may have rolled back by itself, or there was nothing to roll back.
    if (!isWritten && m_database.isOpen())
        runQuietly(QStringLiteral("ROLLBACK"));
    if (m_isInWriterLine)
        m_writers.leave();
    m_isInWriterLine = false;
    return isWritten;
}

bool VornSqliteConnection::setForeignKeys(bool checked)
{
    return runQuietly(checked && !VORN_PLANTED(noForeignKeys) ? QStringLiteral("PRAGMA foreign_keys=ON")
                                                              : QStringLiteral("PRAGMA foreign_keys=OFF"));
}
