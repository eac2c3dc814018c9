#include "fault_operations.h"

#include "file_calls.h"
#include "literals.h"
#include "raw_database.h"
#include "vorn_sync_error_resolution.h"

#include <QFileInfo>

namespace VornSyncTest {

namespace {

using Told = FaultOperation::Told;

// More than Qt buffers, so that a copy takes several writes.
constexpr int kOldSize = 40000;
constexpr int kNewSize = 50000;

QByteArray oldContent()
{
    return QByteArray(kOldSize, 'o');
}

QByteArray newContent()
{
    return QByteArray(kNewSize, 'n');
}

QByteArray otherContent()
{
    return "what nobody touches";
}

QByteArray theirContent()
{
    return "from another workstation";
}

QByteArray trashedContent()
{
    return "thrown away";
}

QDateTime later()
{
    return QDateTime(QDate(2024, 4, 1), QTime(10, 0), Qt::UTC);
}

FaultKeep keep(const QStringList& paths, const QList<QByteArray>& contents)
{
    return {paths, contents, false};
}

FaultKeep replaced(const QString& path, const QList<QByteArray>& contents)
{
    return {{path}, contents, true};
}

// What stands beside the file of every operation.
QVector<FaultKeep> bystanders()
{
    return {keep({"local/other.txt"_s}, {otherContent()}), keep({"distant/other.txt"_s}, {otherContent()}),
            keep({"distant/theirs.txt"_s}, {theirContent()}),
            keep({"trash/docs/old.txt"_s}, {trashedContent()}),
            keep({"distant/old.txt"_s}, {trashedContent()})};
}

bool prepareBystanders(FaultWorld& world)
{
    if (!world.send("other.txt"_s, otherContent()) ||
        !world.write(world.distant(), "theirs.txt"_s, theirContent()) ||
        !world.send("old.txt"_s, trashedContent()))
        return false;
    world.sync().moveToTrashFile(world.id(), "old.txt"_s);
    world.runTasks();
    const bool isTrashed = world.completedCount() == 1 && world.trash().exists("old.txt"_s);
    world.forget();
    return isTrashed;
}

bool prepareNew(FaultWorld& world)
{
    return prepareBystanders(world) && world.write(world.local(), "a.txt"_s, newContent());
}

bool prepareSent(FaultWorld& world)
{
    return prepareBystanders(world) && world.send("a.txt"_s, oldContent());
}

bool prepareChanged(FaultWorld& world)
{
    return prepareSent(world) && world.local().write("a.txt"_s, newContent()) &&
           world.local().setLmd("a.txt"_s, later());
}

bool prepareCompanions(FaultWorld& world, const QByteArray& content)
{
    return world.write(world.local(), "a/x.txt"_s, content) &&
           world.write(world.local(), "a/sub/y.txt"_s, content);
}

Told told(const FaultWorld& world)
{
    return world.completedCount() > 0 && world.failedCount() == 0 ? Told::Done : Told::Failed;
}

Told announce(FaultWorld& world)
{
    world.sync().notifyLocalFileChanged(world.id(), "a.txt"_s);
    world.runTasks();
    return told(world);
}

void announceAgain(FaultWorld& world)
{
    announce(world);
}

QString missedCompanions(FaultWorld& world)
{
    for (const QString& name : {"a/x.txt"_s, "a/sub/y.txt"_s}) {
        if (world.distant().read(name) != world.local().read(name))
            return "companion '%1' has not arrived"_s.arg(name);
    }
    return QString();
}

// --- Copies ---------------------------------------------------------------------------------------------

FaultOperation freshCopy()
{
    FaultOperation operation;
    operation.title = "Copy to a fresh name"_s;
    operation.prepare = prepareNew;
    operation.act = announce;
    operation.keeps = bystanders() << keep({"local/a.txt"_s}, {newContent()});
    return operation;
}

FaultOperation freshCopyWithCompanions()
{
    FaultOperation operation = freshCopy();
    operation.title = "Copy to a fresh name, with an associated directory"_s;
    operation.prepare = [](FaultWorld& world) {
        return prepareNew(world) && prepareCompanions(world, newContent());
    };
    operation.keeps << keep({"local/a/x.txt"_s}, {newContent()})
                    << keep({"local/a/sub/y.txt"_s}, {newContent()});
    operation.askAgain = announceAgain;
    operation.missedGoal = missedCompanions;
    return operation;
}

FaultOperation copyOver()
{
    FaultOperation operation;
    operation.title = "Copy over an existing file"_s;
    operation.prepare = prepareChanged;
    operation.act = announce;
    operation.keeps = bystanders() << keep({"local/a.txt"_s}, {newContent()})
                                   << replaced("distant/a.txt"_s, {oldContent(), newContent()});
    return operation;
}

FaultOperation copyOverWithCompanions()
{
    FaultOperation operation = copyOver();
    operation.title = "Copy over an existing file, with an associated directory"_s;
    operation.prepare = [](FaultWorld& world) {
        return prepareBystanders(world) && prepareCompanions(world, oldContent()) &&
               world.send("a.txt"_s, oldContent()) && prepareCompanions(world, newContent()) &&
               world.local().write("a.txt"_s, newContent()) && world.local().setLmd("a.txt"_s, later());
    };
    operation.keeps << keep({"local/a/x.txt"_s}, {newContent()})
                    << keep({"local/a/sub/y.txt"_s}, {newContent()})
                    << replaced("distant/a/x.txt"_s, {oldContent(), newContent()})
                    << replaced("distant/a/sub/y.txt"_s, {oldContent(), newContent()});
    operation.askAgain = announceAgain;
    operation.missedGoal = missedCompanions;
    return operation;
}

FaultOperation withoutSendfile(FaultOperation operation)
{
    operation.title += ", on a system without sendfile"_s;
    operation.isSendfileRefused = true;
    return operation;
}

// What a file-ready request does on the worker: a newer distant version replaces the local one.
Told fetchFile(FaultWorld& world)
{
    const QString local = world.local().filePath("a.txt"_s);
    const pVornSyncTask task = VornSyncTask::create(world.distant().filePath("a.txt"_s), local, ceStoCopy);
    if (!task)
        return Told::Failed;
    task->setExpectedDestination(VornSyncFiles::facts(local));
    if (!task->runtask())
        return Told::Failed;
    const QFileInfo file(local);
    if (file.size() != task->sourceSizeAtStart())
        return Told::Done; // what is not known is not recorded: the file is there
    const QDateTime distantLmd = QDateTime::fromSecsSinceEpoch(task->sourceLmdSecsAtStart(), Qt::UTC);
    const bool isRecorded = world.database().recordCopy(world.id(), "a.txt"_s, file.size(),
                                                        file.lastModified().toUTC(), distantLmd);
    return isRecorded ? Told::Done : Told::Failed;
}

FaultOperation fetch()
{
    FaultOperation operation;
    operation.title = "Fetch a newer distant file over the local one"_s;
    operation.prepare = [](FaultWorld& world) {
        return prepareSent(world) && world.distant().write("a.txt"_s, newContent()) &&
               world.distant().setLmd("a.txt"_s, later());
    };
    operation.act = fetchFile;
    operation.askAgain = [](FaultWorld& world) {
        if (world.local().read("a.txt"_s) != world.distant().read("a.txt"_s))
            fetchFile(world);
    };
    operation.isAskedFirst = true;
    operation.keeps = bystanders() << replaced("local/a.txt"_s, {oldContent(), newContent()})
                                   << keep({"distant/a.txt"_s}, {newContent()});
    return operation;
}

// The file is another workstation's alone.
FaultOperation fetchFresh()
{
    FaultOperation operation = fetch();
    operation.title = "Fetch a distant file that is not there locally"_s;
    operation.prepare = [](FaultWorld& world) {
        return prepareBystanders(world) && world.write(world.distant(), "a.txt"_s, newContent());
    };
    operation.keeps = bystanders() << keep({"distant/a.txt"_s}, {newContent()});
    return operation;
}

// --- Moves ----------------------------------------------------------------------------------------------

Told moveToTrash(FaultWorld& world)
{
    world.sync().moveToTrashFile(world.id(), "a.txt"_s);
    world.runTasks();
    return told(world);
}

void moveToTrashAgain(FaultWorld& world)
{
    if (world.local().exists("a.txt"_s))
        moveToTrash(world);
}

QString missedTrash(FaultWorld& world)
{
    const bool isMoved = !world.local().exists("a.txt"_s) && world.trash().exists("a.txt"_s);
    return isMoved ? QString() : "the file is not in the trash"_s;
}

FaultOperation move()
{
    FaultOperation operation;
    operation.title = "Move to the trash"_s;
    operation.prepare = prepareSent;
    operation.act = moveToTrash;
    operation.keeps = bystanders() << keep({"local/a.txt"_s, "trash/docs/a.txt"_s}, {oldContent()})
                                   << keep({"distant/a.txt"_s}, {oldContent()});
    operation.askAgain = moveToTrashAgain;
    operation.missedGoal = missedTrash;
    return operation;
}

FaultOperation moveOver()
{
    FaultOperation operation = move();
    operation.title = "Move to the trash, over an older file of the name"_s;
    operation.prepare = [](FaultWorld& world) {
        return prepareSent(world) && world.write(world.trash(), "a.txt"_s, trashedContent());
    };
    operation.keeps = bystanders() << keep({"local/a.txt"_s, "trash/docs/a.txt"_s}, {oldContent()})
                                   << keep({"distant/a.txt"_s}, {oldContent()})
                                   << replaced("trash/docs/a.txt"_s, {trashedContent(), oldContent()});
    return operation;
}

FaultOperation moveWithCompanions()
{
    FaultOperation operation = move();
    operation.title = "Move to the trash, with an associated directory"_s;
    operation.prepare = [](FaultWorld& world) {
        return prepareBystanders(world) && prepareCompanions(world, oldContent()) &&
               world.send("a.txt"_s, oldContent());
    };
    for (const QString& name : {"a/x.txt"_s, "a/sub/y.txt"_s})
        operation.keeps << keep({"local/"_s + name, "trash/docs/"_s + name}, {oldContent()})
                        << keep({"distant/"_s + name}, {oldContent()});
    return operation;
}

FaultOperation moveBack()
{
    FaultOperation operation;
    operation.title = "Move back"_s;
    operation.prepare = [](FaultWorld& world) {
        return prepareSent(world) && world.write(world.trash(), "a.txt"_s, trashedContent());
    };
    // Required: it runs from the local file to the trash, and its end reaches no directory.
    operation.act = [](FaultWorld& world) {
        const pVornSyncTask task = VornSyncTask::create(world.trash().filePath("a.txt"_s),
                                                        world.local().filePath("a.txt"_s), ceStoMoveBack);
        return task && task->runtask() ? Told::Done : Told::Failed;
    };
    operation.keeps = bystanders() << keep({"local/a.txt"_s, "trash/docs/a.txt"_s}, {oldContent()})
                                   << replaced("trash/docs/a.txt"_s, {trashedContent(), oldContent()})
                                   << keep({"distant/a.txt"_s}, {oldContent()});
    return operation;
}

// --- Renames --------------------------------------------------------------------------------------------

// The host's own rename of the local file is none of the calls that fail: it has happened when the lock is held.
Told renameFile(FaultWorld& world)
{
    if (!world.sync().lockRename(world.id(), "a.txt"_s, "b.txt"_s))
        return Told::Failed;
    {
        const FileCalls::Unseen unseen;
        world.local().rename("a.txt"_s, "b.txt"_s);
    }
    const bool isCommitted = world.sync().commitRename(world.id(), "a.txt"_s, "b.txt"_s);
    world.runTasks();
    if (world.completedCount() + world.failedCount() > 0)
        return told(world);
    return isCommitted ? Told::Done : Told::Failed;
}

void renameAgain(FaultWorld& world)
{
    if (world.local().exists("a.txt"_s))
        renameFile(world);
}

QString missedRename(FaultWorld& world)
{
    return world.distant().exists("b.txt"_s) ? QString() : "the new name is not on the distant side"_s;
}

FaultOperation rename()
{
    FaultOperation operation;
    operation.title = "Rename"_s;
    operation.prepare = prepareSent;
    operation.act = renameFile;
    operation.keeps = bystanders() << keep({"local/a.txt"_s, "local/b.txt"_s}, {oldContent()})
                                   << keep({"distant/a.txt"_s, "distant/b.txt"_s}, {oldContent()});
    operation.askAgain = renameAgain;
    operation.missedGoal = missedRename;
    return operation;
}

FaultOperation renameOver()
{
    FaultOperation operation = rename();
    operation.title = "Rename over a distant file"_s;
    operation.prepare = [](FaultWorld& world) {
        return prepareSent(world) && world.write(world.distant(), "b.txt"_s, theirContent());
    };
    return operation;
}

FaultOperation renameInDatabase()
{
    FaultOperation operation = rename();
    operation.title = "Rename of a file that has no distant copy"_s;
    operation.prepare = [](FaultWorld& world) {
        return prepareSent(world) && world.distant().remove("a.txt"_s);
    };
    operation.keeps = bystanders() << keep({"local/a.txt"_s, "local/b.txt"_s}, {oldContent()});
    return operation;
}

// --- Deletions ------------------------------------------------------------------------------------------

FaultOperation deletion()
{
    FaultOperation operation;
    operation.title = "Deletion that the host announces"_s;
    operation.prepare = [](FaultWorld& world) {
        return prepareSent(world) && world.local().remove("a.txt"_s);
    };
    operation.act = [](FaultWorld& world) {
        const bool isMarked = world.database().setFileDeleted(world.id(), "a.txt"_s);
        return world.sync().notifyLocalFileDeleted(world.id(), "a.txt"_s) && isMarked ? Told::Done
                                                                                      : Told::Failed;
    };
    operation.keeps = bystanders();
    operation.known = {oldContent()};
    operation.askAgain = [](FaultWorld& world) {
        if (!world.distant().exists("a.txt"_s))
            return;
        world.database().setFileDeleted(world.id(), "a.txt"_s);
        world.sync().notifyLocalFileDeleted(world.id(), "a.txt"_s);
    };
    operation.missedGoal = [](FaultWorld& world) {
        return world.distant().exists("a.txt"_s) ? "the distant file is still there"_s : QString();
    };
    return operation;
}

// --- What the engine does of itself ---------------------------------------------------------------------

// Each reason for which a pass acts, once.
bool prepareBusyPair(FaultWorld& world)
{
    bool isDone = prepareBystanders(world);
    for (const QString& name : {"changed.txt"_s, "examined.txt"_s, "undefined.txt"_s, "gone.txt"_s,
                                "back.txt"_s, "distantgone.txt"_s, "failed.txt"_s})
        isDone = isDone && world.send(name, oldContent());
    const QString setStatus = "UPDATE file_tracking SET status = ?, error_code = ? WHERE file_name = ?"_s;
    isDone = isDone && world.local().write("changed.txt"_s, newContent()) &&
             world.local().setLmd("changed.txt"_s, later()) &&
             world.write(world.local(), "new.txt"_s, newContent()) &&
             world.execute(setStatus, {int(ceSfsUnknown), 0, "examined.txt"_s}) &&
             world.execute(setStatus,
                           {ceSfsPendingSync | ceSfsError, int(ceSecTaskCreationFailed), "failed.txt"_s}) &&
             world.execute(setStatus, {int(ceSfsTrashed), 0, "back.txt"_s}) &&
             world.execute("UPDATE file_tracking SET distant_lmd = 'UNDEFINED' WHERE file_name = ?"_s,
                           {"undefined.txt"_s}) &&
             world.write(world.trash(), "back.txt"_s, oldContent()) && world.local().remove("gone.txt"_s) &&
             world.distant().remove("distantgone.txt"_s);
    return isDone;
}

QVector<FaultKeep> busyKeeps()
{
    return bystanders() << keep({"local/changed.txt"_s}, {newContent()})
                        << keep({"local/new.txt"_s}, {newContent()})
                        << keep({"distant/changed.txt"_s}, {oldContent(), newContent()})
                        << keep({"local/examined.txt"_s}, {oldContent()})
                        << keep({"distant/examined.txt"_s}, {oldContent()})
                        << keep({"local/undefined.txt"_s}, {oldContent()})
                        << keep({"distant/undefined.txt"_s}, {oldContent()})
                        << keep({"distant/gone.txt"_s}, {oldContent()})
                        << keep({"local/back.txt"_s}, {oldContent()})
                        << keep({"distant/back.txt"_s}, {oldContent()})
                        << keep({"local/failed.txt"_s}, {oldContent()})
                        << keep({"distant/failed.txt"_s}, {oldContent()})
                        << keep({"local/distantgone.txt"_s}, {oldContent()});
}

FaultOperation pass()
{
    FaultOperation operation;
    operation.title = "Directory pass with each reason to act"_s;
    operation.prepare = prepareBusyPair;
    operation.act = [](FaultWorld& world) {
        world.sync().synchronizeDirectory(world.id());
        return Told::Nothing;
    };
    operation.keeps = busyKeeps();
    return operation;
}

FaultOperation errorResolution()
{
    FaultOperation operation = pass();
    operation.title = "Errors taken up again at the begin of a cycle"_s;
    operation.act = [](FaultWorld& world) {
        world.sync().resolveFilesError(world.id());
        return Told::Nothing;
    };
    return operation;
}

FaultOperation quietPass()
{
    FaultOperation operation;
    operation.title = "Directory pass with nothing to do"_s;
    operation.prepare = prepareSent;
    operation.act = pass().act;
    operation.keeps = bystanders() << keep({"local/a.txt"_s}, {oldContent()})
                                   << keep({"distant/a.txt"_s}, {oldContent()});
    return operation;
}

FaultOperation verification()
{
    FaultOperation operation;
    operation.title = "Verification of files that are well, gone, shrunk, grown"_s;
    operation.prepare = [](FaultWorld& world) {
        bool isDone = prepareBystanders(world);
        for (const QString& name :
             {"well.txt"_s, "gone.txt"_s, "distantgone.txt"_s, "shrunk.txt"_s, "edited.txt"_s})
            isDone = isDone && world.send(name, oldContent());
        return isDone && world.local().remove("gone.txt"_s) && world.distant().remove("distantgone.txt"_s) &&
               world.distant().write("shrunk.txt"_s, "short") &&
               world.local().write("edited.txt"_s, newContent());
    };
    operation.act = [](FaultWorld& world) {
        world.sync().verifyUpToDateFilesBudgeted();
        return Told::Nothing;
    };
    operation.keeps = bystanders() << keep({"local/well.txt"_s}, {oldContent()})
                                   << keep({"distant/well.txt"_s}, {oldContent()})
                                   << keep({"distant/gone.txt"_s}, {oldContent()})
                                   << keep({"local/distantgone.txt"_s}, {oldContent()})
                                   << keep({"local/shrunk.txt"_s}, {oldContent()})
                                   << keep({"distant/shrunk.txt"_s}, {"short", oldContent()})
                                   << keep({"local/edited.txt"_s}, {newContent()});
    return operation;
}

FaultOperation purge()
{
    FaultOperation operation;
    operation.title = "Purge of the trash"_s;
    operation.prepare = [](FaultWorld& world) {
        return prepareSent(world) && moveToTrash(world) == Told::Done &&
               world.execute(
                   "UPDATE file_tracking SET trashed_date = '2020-01-01T00:00:00Z' WHERE file_name = ?"_s,
                   {"a.txt"_s});
    };
    operation.act = [](FaultWorld& world) {
        world.sync().purgeExpiredTrash();
        return Told::Nothing;
    };
    operation.keeps = bystanders() << keep({"distant/a.txt"_s}, {oldContent()});
    operation.askAgain = [](FaultWorld& world) { world.cycle(); };
    operation.missedGoal = [](FaultWorld& world) {
        const bool isPurged = !world.trash().exists("a.txt"_s) && !world.dump().contains("'a.txt'"_s);
        return isPurged ? QString() : "the file or its row is still there"_s;
    };
    return operation;
}

FaultOperation start()
{
    FaultOperation operation;
    operation.title = "Start on a database in which operations were cut off"_s;
    operation.prepare = [](FaultWorld& world) {
        return prepareBusyPair(world) &&
               world.execute("UPDATE file_tracking SET status = ? WHERE file_name = ?"_s,
                             {int(ceSfsSyncing), "changed.txt"_s}) &&
               world.execute(
                   "UPDATE file_tracking SET trashed_date = '2020-01-01T00:00:00Z' WHERE file_name = ?"_s,
                   {"examined.txt"_s});
    };
    operation.act = [](FaultWorld& world) { return world.start() ? Told::Done : Told::Failed; };
    operation.keeps = busyKeeps();
    operation.isStart = true;
    return operation;
}

// --- Changes of the database ----------------------------------------------------------------------------

constexpr int kOldRows = 30;

bool execute(const QString& file, const QStringList& statements)
{
    return RawDatabase(file).execAll(statements);
}

QString lines(const QString& file, const QString& select)
{
    RawDatabase raw(file);
    const QString text = raw.value("SELECT group_concat(line, char(10)) FROM (%1)"_s.arg(select)).toString();
    return raw.lastError().isEmpty() ? text : raw.lastError();
}

QString otherFile(const FaultWorld& world)
{
    return QFileInfo(world.databasePath()).path() + "/other.db"_s;
}

FaultOperation change(const QString& title, const std::function<bool(FaultWorld&)>& act,
                      const std::function<bool(FaultWorld&)>& prepare = nullptr)
{
    FaultOperation operation;
    operation.title = title;
    operation.prepare = [prepare](FaultWorld& world) {
        return prepareSent(world) && (!prepare || prepare(world));
    };
    operation.act = [act](FaultWorld& world) { return act(world) ? Told::Done : Told::Failed; };
    operation.contents = [](FaultWorld& world) { return world.dump(); };
    return operation;
}

std::function<bool(FaultWorld&)> withStatus(int status, int errorCode = ceSecNone)
{
    return [status, errorCode](FaultWorld& world) {
        return world.execute("UPDATE file_tracking SET status = ?, error_code = ?, status_changed_at = "
                             "'2020-01-01T00:00:00Z' WHERE file_name = 'a.txt'"_s,
                             {status, errorCode});
    };
}

QVector<FaultOperation> directoryChanges()
{
    return {change("Register a directory"_s,
                   [](FaultWorld& world) {
                       return world.database().addDirectory("b"_s, "/l"_s, "/d"_s, "/t"_s) > 0;
                   }),
            change("Register a directory again, with another distant path"_s,
                   [](FaultWorld& world) {
                       return world.database().addDirectory("docs"_s, world.local().path(), "/d"_s, "/t"_s) >
                              0;
                   }),
            change("Remove a directory and its rows"_s,
                   [](FaultWorld& world) { return world.database().deleteDirectory(world.id()); })};
}

QVector<FaultOperation> statusChanges()
{
    const auto db = [](FaultWorld& world) -> VornSyncDatabase& { return world.database(); };
    return {change("Status of a file without a row"_s,
                   [db](FaultWorld& w) { return db(w).setFileStatus(w.id(), "new"_s, ceSfsPendingSync, 0); }),
            change("Status while it is as expected"_s,
                   [db](FaultWorld& w) {
                       return db(w).setFileStatusIf(w.id(), "a.txt"_s, ceSfsUpToDate, ceSfsPendingSync);
                   }),
            change("Error while the status is as expected"_s,
                   [db](FaultWorld& w) {
                       return db(w).setFileErrorIf(w.id(), "a.txt"_s, ceSfsUpToDate, ceSecCopyFailed);
                   }),
            change(
                "Clear an error"_s, [db](FaultWorld& w) { return db(w).clearFileError(w.id(), "a.txt"_s); },
                withStatus(ceSfsUpToDate | ceSfsError, ceSecCopyFailed)),
            change(
                "Clear the error of a row that is obsolete"_s,
                [db](FaultWorld& w) {
                    VornSyncErrorResolution resolution(db(w), w.id(), "a.txt"_s, ceSfsSyncing | ceSfsError);
                    return resolution.examine("/nowhere"_s, "/nowhere"_s) || resolution.clear();
                },
                withStatus(ceSfsSyncing | ceSfsError, ceSecCopyFailed)),
            change(
                "Pending becomes in progress"_s,
                [db](FaultWorld& w) { return db(w).updateStatusToProcess(w.id(), "a.txt"_s); },
                withStatus(ceSfsPendingSync)),
            change("Trash a row"_s, [db](FaultWorld& w) { return db(w).setFileTrashed(w.id(), "a.txt"_s); }),
            change("Tombstone a file without a row"_s,
                   [db](FaultWorld& w) { return db(w).setFileDeleted(w.id(), "new"_s); }),
            change("Bring a row back from the trash"_s,
                   [db](FaultWorld& w) { return db(w).unmarkFileTrashed(w.id(), "old.txt"_s); })};
}

FaultOperation recording(const QString& title, const QString& name)
{
    const auto time = later();
    FaultOperation operation = change(title, [name, time](FaultWorld& world) {
        return world.database().recordFileSync(world.id(), name, 5, time, time);
    });
    operation.leaveFailed = [name](FaultWorld& world) {
        world.database().setFileStatus(world.id(), name, ceSfsError, ceSecUnknown);
    };
    return operation;
}

FaultOperation undefinedTime()
{
    FaultOperation operation = change("Find out an undefined distant time"_s, nullptr, [](FaultWorld& world) {
        return world.execute("UPDATE file_tracking SET distant_lmd = 'UNDEFINED'"_s);
    });
    // What is asked is whether the file must be copied: that the time was found out is nobody's answer.
    operation.act = [](FaultWorld& world) {
        world.database().isFileNeedUpdate(world.id(), "a.txt"_s, QFileInfo(world.local().filePath("a.txt"_s)),
                                          QFileInfo(world.distant().filePath("a.txt"_s)));
        return Told::Nothing;
    };
    return operation;
}

QVector<FaultOperation> recordings()
{
    const auto time = later();
    FaultOperation copy = recording("Record a copy"_s, "a.txt"_s);
    copy.act = [time](FaultWorld& world) {
        return world.database().recordCopy(world.id(), "a.txt"_s, 5, time, time) ? Told::Done : Told::Failed;
    };
    FaultOperation grown = recording("Record a distant file that grew, with its mark"_s, "a.txt"_s);
    grown.act = [time](FaultWorld& world) {
        return world.database().recordDistantGrown(world.id(), "a.txt"_s, 5, time, time, 3) ? Told::Done
                                                                                            : Told::Failed;
    };
    return {recording("Record a file with a row"_s, "a.txt"_s),
            recording("Record a file without a row"_s, "new"_s), copy, grown, undefinedTime()};
}

QVector<FaultOperation> rowChanges()
{
    const auto db = [](FaultWorld& world) -> VornSyncDatabase& { return world.database(); };
    const auto mark = [](FaultWorld& world) {
        return world.database().recordDistantGrown(world.id(), "a.txt"_s, kNewSize, later(), later(),
                                                   kOldSize);
    };
    return {
        change(
            "Rename a row and its mark"_s,
            [db](FaultWorld& w) { return db(w).renameFile(w.id(), "a.txt"_s, "b.txt"_s); }, mark),
        change("Rename a row over a tombstone"_s,
               [db](FaultWorld& w) { return db(w).renameFileOverTombstone(w.id(), "a.txt"_s, "old.txt"_s); }),
        change(
            "Remove a row and its mark"_s,
            [db](FaultWorld& w) { return db(w).removeFileSync(w.id(), "a.txt"_s); }, mark),
        change("Remove a tombstone"_s,
               [db](FaultWorld& w) { return db(w).removeTombstone(w.id(), "old.txt"_s); }),
        change(
            "Take up rows that a crash left in progress"_s,
            [db](FaultWorld& w) { return db(w).cleanupOrphanedProcessingStates() == 1; },
            withStatus(ceSfsSyncing)),
        change(
            "Take up rows that are stale"_s,
            [db](FaultWorld& w) {
                return db(w).cleanupStaleProcessingStates(VornSyncDatabase::StillActiveTest()) == 1;
            },
            withStatus(ceSfsPendingDelete)),
        change(
            "Clear trash dates that rows must not have"_s,
            [db](FaultWorld& w) { return db(w).cleanupInconsistentTrashedDates() == 1; },
            [](FaultWorld& world) {
                return world.execute("UPDATE file_tracking SET trashed_date = '2020' WHERE file_name = ?"_s,
                                     {"a.txt"_s});
            })};
}

// - Whole files

QString newerRows(FaultWorld& world)
{
    const QString file = otherFile(world);
    return lines(file,
                 "SELECT quote(file_name) || quote(size) || quote(local_lmd) || quote(status) AS line FROM "
                 "file_tracking ORDER BY file_name"_s) +
           lines(file, "SELECT quote(id) || quote(alias_name) AS line FROM directories ORDER BY id"_s);
}

// A file of the first generation is read in the words of the current one, so that before and after compare.
QString rowsOfAnyGeneration(FaultWorld& world)
{
    const QString file = otherFile(world);
    const bool isOld = RawDatabase(file)
                           .value("SELECT COUNT(*) FROM sqlite_master WHERE name = 'schema_version'"_s)
                           .toInt() == 0;
    if (!isOld)
        return newerRows(world);
    return "old: "_s +
           lines(file,
                 "SELECT quote(file_name) || quote(size) || quote(last_sync) || quote(status) AS line FROM "
                 "file_tracking ORDER BY file_name"_s) +
           lines(file, "SELECT quote(id) || quote(alias_name) AS line FROM directories ORDER BY id"_s);
}

bool initializeOther(FaultWorld& world)
{
    VornSyncDatabase database(otherFile(world));
    return database.initialize();
}

FaultOperation migration()
{
    FaultOperation operation =
        change("Migrate a file of the first generation"_s, initializeOther, [](FaultWorld& world) {
            return execute(
                otherFile(world),
                {"CREATE TABLE directories (id INTEGER PRIMARY KEY AUTOINCREMENT, alias_name TEXT UNIQUE NOT "
                 "NULL, "
                 "local_path TEXT UNIQUE NOT NULL, distant_path TEXT NOT NULL, trash_path TEXT NOT NULL, "
                 "available "
                 "BOOLEAN DEFAULT 0)"_s,
                 "INSERT INTO directories VALUES (3, 'a', '/no/l', '/no/d', '/no/t', 1)"_s,
                 "CREATE TABLE file_tracking (file_name TEXT NOT NULL, directories_id INTEGER NOT NULL, size "
                 "INTEGER, last_sync TEXT, status INTEGER, deletion_date TEXT, PRIMARY KEY (file_name, "
                 "directories_id))"_s,
                 "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1) INSERT INTO "
                 "file_tracking SELECT printf('%03d', i), 3, i, '2020-01-02T03:04:05', 17 + i % 2, NULL FROM n"_s
                     .replace("%1"_s, QString::number(kOldRows))});
        });
    operation.contents = rowsOfAnyGeneration;
    return operation;
}

FaultOperation upgrade()
{
    FaultOperation operation =
        change("Upgrade a file of the second generation"_s, initializeOther, [](FaultWorld& world) {
            return initializeOther(world) &&
                   execute(
                       otherFile(world),
                       {"UPDATE schema_version SET version = 2"_s, "DROP TABLE file_tracking"_s,
                        "CREATE TABLE file_tracking (file_name TEXT NOT NULL, directories_id INTEGER NOT "
                        "NULL, "
                        "size INTEGER, local_lmd TEXT, distant_lmd TEXT, status INTEGER NOT NULL DEFAULT 0, "
                        "trashed_date TEXT, PRIMARY KEY (file_name, directories_id), FOREIGN KEY "
                        "(directories_id) REFERENCES directories(id) ON DELETE CASCADE)"_s,
                        "INSERT INTO directories VALUES (3, 'a', '/no/l', '/no/d', '/no/t', 1)"_s,
                        "INSERT INTO file_tracking VALUES ('x', 3, 5, 'l', 'd', 17, NULL)"_s});
        });
    operation.contents = [](FaultWorld& world) {
        return newerRows(world) +
               lines(otherFile(world), "SELECT 'version ' || version AS line FROM schema_version"_s) +
               lines(otherFile(world), "SELECT name AS line FROM pragma_table_info('file_tracking')"_s);
    };
    return operation;
}

FaultOperation creation()
{
    FaultOperation operation = change("Create a new file"_s, initializeOther);
    operation.contents = [](FaultWorld& world) {
        return QFileInfo::exists(otherFile(world))
                   ? lines(otherFile(world), "SELECT name AS line FROM sqlite_master ORDER BY name"_s)
                   : QString();
    };
    return operation;
}

FaultOperation reset()
{
    return change("Reset"_s, [](FaultWorld& world) { return world.database().reset(); });
}

} // namespace

QVector<FaultOperation> taskOperations()
{
    return {freshCopy(),
            withoutSendfile(freshCopy()),
            freshCopyWithCompanions(),
            withoutSendfile(freshCopyWithCompanions()),
            copyOver(),
            withoutSendfile(copyOver()),
            copyOverWithCompanions(),
            fetch(),
            withoutSendfile(fetch()),
            fetchFresh(),
            withoutSendfile(fetchFresh()),
            move(),
            withoutSendfile(move()),
            moveOver(),
            moveWithCompanions(),
            withoutSendfile(moveWithCompanions()),
            moveBack(),
            rename(),
            renameOver(),
            renameInDatabase(),
            deletion()};
}

QVector<FaultOperation> engineOperations()
{
    return {pass(), quietPass(), errorResolution(), verification(), purge(), start()};
}

QVector<FaultOperation> databaseOperations()
{
    return directoryChanges() + statusChanges() + recordings() + rowChanges() +
           QVector<FaultOperation>{creation(), migration(), upgrade(), reset()};
}

} // namespace VornSyncTest
