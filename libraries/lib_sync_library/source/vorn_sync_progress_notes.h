#pragma once

#include <QSet>
#include <QString>
#include <QVariantMap>
#include <QtGlobal>

class VornSqliteDatabase;

// What is noted of one pass over a directory.
struct VornSyncPassNote
{
    int directoryId = -1;
    int syncIntervalMs = 0;
    bool isLocalListed = false; // to the end
    bool isDistantListed = false;

    bool isWhole = false; // every file was decided on; what follows is known only then
    int unexaminedFiles = 0;
    QString unexaminedName;      // of one of them
    QSet<QString> deferredNames; // databases that wait for being quiet
};

// What is noted of a verification that has gone through all files of a directory.
struct VornSyncRoundNote
{
    int directoryId = -1;
    qint64 beganAtSecs = 0; // since the epoch: what was up to date then has been looked at since
    int unansweredFiles = 0;
    QString unansweredName; // of one of them
};

// Notes from which somebody who looks at the database file can tell whether anything comes forward: when a
// side was last listed, since when a file waits and how often it was tried, what is put off, what was verified.
// No decision depends on them: a note that can't be written is left out without a word, and what it should
// have said grows old. Times are seconds since the epoch. Holds no state; used by the thread that runs the
// operation, outside its transactions but for install().
//
//   pair_progress   a row a directory; the row of a directory that is removed goes with it
//   file_waits      a row for each row of file_tracking that is at no rest, kept by triggers of the file itself
//   file_deferrals  a row for each database that can't be sent for its side-car, row in file_tracking or not
class VornSyncProgressNotes
{
public:
    explicit VornSyncProgressNotes(VornSqliteDatabase& database)
        : m_database(database)
    {
    }

    // Creates tables and triggers as far as they are missing, and rows for what has none. Inside the
    // transaction that brings the schema up to date.
    bool install();

    void notePass(const VornSyncPassNote& note);
    void noteRound(const VornSyncRoundNote& note);
    // A cycle was left out, since much is being sent and was sent meanwhile: whatever waits for it waits in line.
    void noteSaturation();
    // One more run of an operation. The first is counted where the file's status says that it begins.
    void noteRetry(int directoryId, const QString& fileName);
    void noteDeferral(int directoryId, const QString& fileName);

private:
    void noteListings(const VornSyncPassNote& note);
    void keepDeferrals(int directoryId, const QSet<QString>& fileNames);

    VornSqliteDatabase& m_database;
};
