#pragma once

#include "vorn_sqlite_writer_line.h"

#include <QObject>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QStringList>
#include <QVariantList>

#include <functional>
#include <unordered_map>

// One thread's connection to an SQLite file. Lives on that thread, and is used by no other one but to close a
// handle whose thread does not answer (see VornSqliteConnections).
class VornSqliteConnection : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornSqliteConnection)

public:
    using RowReader = std::function<void(const QSqlQuery& row)>;

    static constexpr int kBusyTimeoutMs = 5000; // another writer ahead is waited for, not reported

    // `registeredName` is the name Qt knows the connection by: unique in the process. `writers` is shared by all
    // connections to the file and outlives them.
    VornSqliteConnection(const QString& filePath, const QString& registeredName,
                         VornSqliteWriterLine& writers);
    ~VornSqliteConnection() override;

    bool open();
    void close();
    bool isOpen() const { return m_database.isOpen(); }
    // Another one for every opening of a file in this process.
    quint64 handleNumber() const { return m_handleNumber; }
    // Closes, and takes the name off Qt's list.
    void unregister();

    // One statement. SELECT, INSERT, UPDATE and DELETE are prepared once and kept. Opens the file if needed.
    bool run(const QString& sql, const QVariantList& values, const RowReader& reader);

    // Transactions nest: the outermost pair writes or undoes.
    bool begin();
    bool end(bool commit);
    bool isInTransaction() const { return m_transactionDepth > 0; }
    bool isTransactionBroken() const { return m_isTransactionBroken; }
    bool setForeignKeys(bool checked);
    // The length of the log, in pages, from which on a commit moves it into the file; 0: SQLite's own. For handles that are
    // opened from here on.
    void setCheckpointPages(int pages) { m_checkpointPages = pages; }
    // Of a handle that is open; one that is opened later has the usual one.
    void setBusyTimeoutMs(int milliseconds);

    // True after a failure that the handle may keep to itself: SQLite goes on read-only when it could not open one of
    // its files for writing, even when it could later.
    bool mustBeReopened() const { return m_mustBeReopened; }

    // Errors wait here until nothing is held any more.
    void addError(const QString& message) { m_errors << message; }
    QStringList takeErrors();
    int errorCount() const { return int(m_errors.size()); }
    void dropErrorsAfter(int count);

    // How many statements and transactions of the thread are under way, one within the other.
    int useDepth = 0;

private:
    struct KeptQuery
    {
        QSqlQuery query;
        int valueCount = 0;
    };

    bool configure();
    bool runQuietly(const QString& sql);
    bool runKept(const QString& sql, const QVariantList& values, const RowReader& reader);
    bool execute(QSqlQuery& query, const QVariantList& values, const RowReader& reader);
    void fail(const QSqlError& error);
    bool hasLostTransaction();

    const QString m_registeredName;
    VornSqliteWriterLine& m_writers;
    QSqlDatabase m_database;
    quint64 m_handleNumber = 0;
    std::unordered_map<QString, KeptQuery> m_kept; // by SQL text
    QStringList m_errors;
    int m_transactionDepth = 0;
    bool m_isTransactionBroken = false; // nothing can be written any more
    int m_checkpointPages = 0;
    bool m_isInWriterLine = false;
    bool m_mustRollBack = false; // a nested transaction was not committed
    bool m_mustBeReopened = false;
};
