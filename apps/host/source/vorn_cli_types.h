#pragma once

#include <QHash>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QVector>

// What the classes of the host hand each other.

// 0, 1 and 2 are what scripts test for; the others tell an operator what to look at.
enum VornCliExitCode {
    kExitOk = 0,             // done; all is up to date, or a continuous mirror was ended by a signal
    kExitNotUpToDate = 1,    // some files are in error or could not be mirrored
    kExitRefused = 1,        // the host refused a command, or it failed
    kExitUsage = 2,          // the command line asks for something that can't be done
    kExitNoHost = 3,         // a command found no host that runs on the state
    kExitStateUnusable = 4,  // the state directory or what is in it can't be used
    kExitAlreadyRunning = 5, // another instance uses the state directory
    kExitStuck = 6,          // nothing is in error, but something does not come forward
    kExitSignalBase = 128    // --once was ended by signal N before everything was settled: 128 + N
};

struct VornCliPair
{
    QString alias;
    QString local;
    QString distant;
};

// A pair as the host sees it at the moment.
struct VornCliPairStatus
{
    VornCliPair pair;
    bool localThere = true;
    bool distantThere = true;
    bool suspended = false; // by a command

    bool isAvailable() const { return localThere && distantThere && !suspended; }
};

enum class VornCliOperation { Copy, Trash, Rename };

// A file as the user knows it, the path that the manager's signals carry, and what is done with it.
struct VornCliFile
{
    QString alias;
    QString name;
    QString path;
    VornCliOperation operation = VornCliOperation::Copy;
};

using VornCliFileKey = QPair<QString, QString>; // alias, name

struct VornCliCounters
{
    int inProgress = 0;
    int pending = 0;
    int errors = 0;
    int done = 0;
};

inline bool operator==(const VornCliCounters& left, const VornCliCounters& right)
{
    return left.inProgress == right.inProgress && left.pending == right.pending &&
           left.errors == right.errors && left.done == right.done;
}

struct VornCliFileError
{
    QString alias;
    QString name;
    int code = 0;
    int status = 0; // the raw status number that the manager gives with it
    QString sentence;
};

enum class VornCliOutcome { UpToDate, NotUpToDate, Stopped, Interrupted };

// What is said at the end.
struct VornCliSummary
{
    VornCliOutcome outcome = VornCliOutcome::Stopped;
    VornCliCounters counters;
    QVector<VornCliFileError> errors;
    QStringList remarks; // sentences on what else is not up to date
    QStringList notes;   // sentences on what is left out by rule
};
