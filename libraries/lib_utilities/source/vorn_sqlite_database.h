#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <memory>
#include <optional>

class QSqlQuery;
class VornSqliteConnection;
class VornSqliteConnections;

// What of a file is seen through one opening of it: another value as soon as any other handle, of this process or of
// another one, has committed something, and after every opening.
struct VornSqliteVersion
{
    quint64 handle = 0;
    qint64 foreignCommits = 0; // SQLite's data_version, which means something beside its own handle only

    bool operator==(const VornSqliteVersion& other) const
    {
        return handle == other.handle && foreignCommits == other.foreignCommits;
    }
};

// One SQLite file, usable from every thread: each thread that runs a statement gets a Qt SQL connection of
// its own, which is closed on that thread when the thread ends. The name given at construction is the one in
// signals and texts; the names registered with Qt are unique in the process.
//
// Every connection has foreign keys on, write-ahead logging where the file system allows it and a busy
// time-out of 5 s. Statements that belong together are put under a VornSqliteTransaction.
class VornSqliteDatabase : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornSqliteDatabase)

public:
    using Row = QVariantMap;
    using Rows = QList<QVariantMap>;
    using RowReader = std::function<void(const QSqlQuery& row)>;

    // Opens the file, creating it if absent. A failure to open leaves an object whose every operation tries
    // again and reports the failure.
    VornSqliteDatabase(const QString& filePath, const QString& connectionName, QObject* parent);

    // Closes the connections of all threads. No other thread may be inside a call.
    ~VornSqliteDatabase() override;

    QString filePath() const { return m_filePath; }
    QString connectionName() const { return m_connectionName; }

    // CREATE TABLE IF NOT EXISTS with the column definitions, then the constraints, joined by commas.
    bool createTable(const QString& tableName, const QStringList& columns, const QStringList& constraints);

    // Prepare, bind to the "?" placeholders in order, execute. Results are appended, never cleared; a null
    // column gives an invalid value.
    bool executeQuery(Rows& rows, const QString& sql, const QVariantList& values = QVariantList());
    bool executeQuery(QVariantList& firstColumn, const QString& sql,
                      const QVariantList& values = QVariantList());
    bool executeQuery(const QString& sql, const QVariantList& values = QVariantList());

    // As executeQuery, handing each row to `reader` where it stands: for results of many rows. The reader
    // must not call back into this object.
    bool forEachRow(const QString& sql, const QVariantList& values, const RowReader& reader);

    // Of the calling thread's handle; nothing when the file can't be read.
    std::optional<VornSqliteVersion> version();

    // Closes the file on every thread, deletes it with what SQLite keeps beside it ("-wal", "-shm",
    // "-journal"), opens a new empty one. Waits for running statements and lets none start meanwhile; other
    // threads go on with the new file. False when the file could not be removed (it is then open again as it
    // was), when the new one can't be opened, and inside a transaction of the calling thread. `prepare` runs
    // on the new file before any other thread's statement.
    bool resetFile(const std::function<void()>& prepare = nullptr);

    // What to bind for `text`: Qt binds a null text as NULL; to us it is an empty text.
    static QString boundText(const QString& text)
    {
        return text.isNull() ? QString(QLatin1String("")) : text;
    }

    // True for a version text ("3.40.1") that has all that the statements need: 3.24 or later.
    static bool isSupportedSqliteVersion(const QString& version);

signals:
    // A statement failed to prepare or to execute, or the file could not be opened. Emitted on the thread
    // that ran it, once the statement, its locks and its transaction are over.
    void databaseErrorOccurred(const QString& connectionName, const QString& message);

private:
    friend class VornSqliteSilence;
    friend class VornSqliteTransaction;
    class Use;

    // Every use of the calling thread's connection lies between these. leave() reports the errors when it
    // ends the outermost use: nothing is held then, and the receivers may do as they like.
    VornSqliteConnection& enter();
    void leave(VornSqliteConnection& connection);
    bool removeFiles() const;

    const QString m_filePath;
    const QString m_connectionName;
    const std::shared_ptr<VornSqliteConnections> m_connections;
};
