#pragma once

#include <QHash>
#include <QString>
#include <QVector>

// What a state holds about whether anything comes forward. Times are seconds since the epoch; 0: never, or not
// known.

// A file that is at no rest: it waits to be sent or is being sent, or is in error.
struct VornCliFileWait
{
    QString name;
    int status = 0;
    int code = 0;     // of its error; of the last one, which was cleared
    qint64 since = 0; // when it was at rest last
    int tries = 0;
};

// A database that is not sent while it is being written.
struct VornCliFileDeferral
{
    QString name;
    qint64 since = 0;
    int times = 0; // how often a cycle has come by
};

struct VornCliPairProgress
{
    bool isNoted = false; // false: nothing is known of the pair
    qint64 since = 0;     // since when the pair is registered with its directories
    int intervalMs = 0;
    qint64 saturated = 0;   // when a cycle was left out for what was being sent
    qint64 localListed = 0; // to the end
    qint64 distantListed = 0;
    qint64 verified = 0; // every file that was up to date then was compared with both sides after it

    int unexaminedFiles = 0; // of which the disk does not say what they are
    QString unexaminedName;
    qint64 unexaminedSince = 0;
    int unansweredFiles = 0; // that the last verification could not compare
    QString unansweredName;

    // The counts are of all, the files those that have waited longest.
    int errorCount = 0;
    QVector<VornCliFileWait> errors;
    int waitCount = 0; // without those in error
    QVector<VornCliFileWait> waits;
    int deferralCount = 0;
    QVector<VornCliFileDeferral> deferrals;
};

struct VornCliProgress
{
    bool isReadable = true; // false: nothing of the state can be read
    bool isNoted = false;   // false: the state was never opened by a version that takes notes
    QHash<QString, VornCliPairProgress> pairs; // by alias
    int queuedFiles = 0;    // that wait or run, without those in error; they are sent one after the other
    qint64 queuedBytes = 0; // of their local files
    int upToDateFiles = 0;
};
