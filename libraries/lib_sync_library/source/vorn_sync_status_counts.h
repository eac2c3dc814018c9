#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QVariant>

class VornSqliteDatabase;

// How many rows of file_tracking have which status, kept by triggers of the file itself: right whoever writes
// the table, with whatever program, and read in microseconds where a count over the rows takes milliseconds.
// Holds no state; used by the thread that runs the operation.
class VornSyncStatusCounts
{
public:
    explicit VornSyncStatusCounts(VornSqliteDatabase& database)
        : m_database(database)
    {
    }

    // Creates indexes, triggers and counts as far as they are missing, and counts anew where they are wrong.
    // Inside the transaction that brings the schema up to date.
    bool install();

    // The triggers have these names, and are so many.
    static QString triggerPattern() { return QStringLiteral("file_tracking_counts_*"); }
    static int triggerCount();

    // What the counts say, which is right while the triggers are in place. False when they can't be read.
    bool count(const QList<int>& statuses, int& files);

    // "status IN (?, ...)", and what to bind to it.
    static QString isOneOf(const QList<int>& statuses, QVariantList& values);

private:
    using Counts = QMap<QString, qint64>; // by status, as text: a foreign program may have stored anything

    bool areCountsRight(bool& right);
    bool readCounts(const QString& sql, Counts& counts);
    bool recount();

    VornSqliteDatabase& m_database;
};
