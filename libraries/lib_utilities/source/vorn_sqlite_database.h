#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <memory>

// One SQLite file, usable from every thread: each thread that runs a statement gets a Qt SQL connection of
// its own, which is closed on that thread when the thread ends. The name given at construction is the one in
// signals and texts; the names registered with Qt are unique in the process.
class VornSqliteDatabase : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornSqliteDatabase)

public:
    using Row = QVariantMap;
    using Rows = QList<QVariantMap>;

    VornSqliteDatabase(const QString& filePath, const QString& connectionName, QObject* parent);
    ~VornSqliteDatabase() override;

    QString filePath() const;
    QString connectionName() const;

    // CREATE TABLE IF NOT EXISTS with the column definitions, then the constraints, joined by commas.
    bool createTable(const QString& tableName, const QStringList& columns, const QStringList& constraints);

    // Prepare, bind to the "?" placeholders in order, execute. Results are appended, never cleared.
    bool executeQuery(Rows& rows, const QString& sql, const QVariantList& values);
    bool executeQuery(QVariantList& firstColumn, const QString& sql, const QVariantList& values);
    bool executeQuery(const QString& sql, const QVariantList& values);

    // Closes the file on every thread, deletes it with its "-wal" and "-shm", opens a new empty one.
    bool resetFile();

signals:
    // A statement failed to prepare or to execute, or the file could not be opened. Emitted on the thread
    // that ran it, once the statement, its locks and its transaction are over.
    void databaseErrorOccurred(const QString& connectionName, const QString& message);
};
