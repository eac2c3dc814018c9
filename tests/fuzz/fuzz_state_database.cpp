// Any bytes as the state database: usable, or a clear error; what a valid file holds stays in it, what the library
// can't use stays as it was, and a wipe always brings a working empty one.

#include "outside_writes.h"
#include "sandbox.h"
#include "state_input.h"
#include "state_view.h"
#include "vorn_sync_database.h"
#include "vorn_sync_manager.h"
#include "vorn_sync_types.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>

using namespace VornSyncFuzz;

namespace {

constexpr int kNoCyclesMs = 600000;
constexpr std::size_t kMaximumBytes = 512 * 1024;

struct Outcome
{
    bool isUsable = false;
    QStringList errors;
};

// What the library does with any database that it took for usable; a file with strange rules of its own may refuse
// each step.
void useDatabase(VornSyncDatabase& database)
{
    const int id =
        database.addDirectory(QStringLiteral("new"), QStringLiteral("/nowhere/new"),
                              QStringLiteral("/nowhere/far"), QStringLiteral("/nowhere/trash/new"));
    const QString name = QStringLiteral("new.txt");
    const QDateTime now = QDateTime::currentDateTimeUtc();
    database.setFileStatus(id, name, ceSfsPendingSync, ceSecNone);
    database.updateStatusToProcess(id, name);
    database.recordFileSync(id, name, 3, now, now);
    database.recordDistantGrown(id, name, 4, now, now, 3);
    database.renameFileOverTombstone(id, name, QStringLiteral("newer.txt"));
    const QList<int> ids = database.getDirectoryIds(false);
    for (int known : ids) {
        QVector<VornSyncFileRow> rows;
        database.readDirectoryRows(known, [&rows](std::string_view rowName, const VornSyncFileRow& row) {
            rows.append(row);
            rows.last().fileName = QString::fromUtf8(rowName.data(), int(rowName.size()));
        });
        for (const VornSyncFileRow& row : rows) {
            VornSyncFileRow again;
            bool found = false;
            database.readFileRow(known, row.fileName, again, found);
            database.isFileNeedUpdate(known, row.fileName, QFileInfo(), QFileInfo());
        }
        database.getDirectoryTrashPath(known);
        database.getActiveFileNames(known);
        database.getTrashedFilesOlderThan(known, now);
        database.endChangeTracking();
    }
    database.cleanupOrphanedProcessingStates();
    database.cleanupStaleProcessingStates(VornSyncDatabase::StillActiveTest());
    database.cleanupInconsistentTrashedDates();
    database.countFilesByStatuses({ceSfsUnknown, ceSfsUpToDate});
    database.countFilesInError();
    database.getErrorFiles();
    database.setFileDeleted(id, QStringLiteral("newer.txt"));
    database.deleteDirectory(id);
}

void wipeDatabase(VornSyncDatabase& database)
{
    FUZZ_REQUIRE(database.reset(), QStringLiteral("the database class"));
    FUZZ_REQUIRE(database.getDirectoryIds(false).isEmpty(), QStringLiteral("after a reset"));
    FUZZ_REQUIRE(database.addDirectory(QStringLiteral("new"), QStringLiteral("/a"), QStringLiteral("/b"),
                                       QStringLiteral("/c")) > 0,
                 QStringLiteral("after a reset"));
}

Outcome openDatabase(const QString& path)
{
    Outcome outcome;
    VornSyncDatabase database(path);
    QObject::connect(&database, &VornSyncDatabase::errorOccurred, &database,
                     [&outcome](const QString& text) { outcome.errors << text; });
    outcome.isUsable = database.initialize();
    return outcome;
}

void useAndWipe(const QString& path, const StateInput& input)
{
    VornSyncDatabase database(path);
    if (database.initialize())
        useDatabase(database);
    if (input.isWipedAfterwards())
        wipeDatabase(database);
}

// The texts that the host hears.
QStringList runManager(const QString& path, const QString& trashRoot, const StateInput& input)
{
    QStringList errors;
    VornSyncManager manager(path, trashRoot, kNoCyclesMs, QStringList());
    QObject::connect(&manager, &VornSyncManager::errorOccurred, &manager,
                     [&errors](const QString& text) { errors << text; });
    QCoreApplication::sendPostedEvents();
    manager.retrySync(QStringLiteral("docs"), QStringLiteral("report.doc"));
    manager.notifyLocalFileDeleted(QStringLiteral("docs"), QStringLiteral("a b"));
    manager.isAliasDirectorySynchronised(QStringLiteral("docs"));
    manager.requestFileReady(QStringLiteral("/nowhere/distant/report.doc"));
    manager.pauseAll();
    manager.resumeAll();
    if (input.isWipedAfterwards()) {
        FUZZ_REQUIRE(manager.wipeSyncDatabaseFile(), QStringLiteral("the manager"));
        FUZZ_REQUIRE(manager.pendingCount() + manager.errorCount() + manager.doneCount() == 0,
                     QStringLiteral("counters after a wipe"));
    }
    QCoreApplication::sendPostedEvents();
    return errors;
}

// The rows of a manager's first moment: what was under way when a process ended is looked at anew, so states may
// differ; keys may not.
QMap<QString, QString> keysOf(const QMap<QString, QString>& rows)
{
    QMap<QString, QString> result;
    for (auto row = rows.cbegin(); row != rows.cend(); ++row)
        result.insert(row.key(), QString());
    return result;
}

// A log beside the file that SQLite takes for the file's own is carried over, whatever the two are together.
void requireUnchanged(const StateInput& input, const StateView& before, const QString& path)
{
    FUZZ_REQUIRE(before.isDatabase || !input.log.isEmpty() || readFile(path) == input.file,
                 QStringLiteral("a file that is no database was changed"));
}

// SQLite reads a file of a later format and refuses to write it; one whose text encoding is none it reads once.
bool hasPlainHeader(const StateInput& input)
{
    constexpr int formatOffset = 18;
    constexpr int encodingOffset = 56;
    const QByteArray format = input.file.mid(formatOffset, 2);
    const QByteArray encoding = input.file.mid(encodingOffset, 4);
    return input.log.isEmpty() && (input.file.isEmpty() || ((format == QByteArray::fromHex("0101") ||
                                                             format == QByteArray::fromHex("0202")) &&
                                                            encoding == QByteArray::fromHex("00000001")));
}

void checkManaged(const StateInput& input, const StateView& before, const QString& path,
                  const QString& copyPath)
{
    if (input.isWipedAfterwards())
        return;
    requireUnchanged(input, before, path);
    if (!before.isValid || !before.hasPlainSchema)
        return;
    StateInput::fromFiles(input.way, path).toFiles(copyPath);
    const StateView after = StateView::read(copyPath);
    const QString lost =
        lostRows(keysOf(before.files), after.files) + lostRows(keysOf(before.directories), after.directories);
    FUZZ_REQUIRE(lost.isEmpty(), lost);
}

void checkOpened(const StateInput& input, const StateView& before, const QString& path,
                 const QString& copyPath, const Outcome& outcome)
{
    const QString errors = outcome.errors.join(QLatin1Char('\n'));
    FUZZ_REQUIRE(outcome.isUsable || !outcome.errors.isEmpty(), QStringLiteral("a failure without a word"));
    if (!before.isDatabase) {
        FUZZ_REQUIRE(!outcome.isUsable,
                     QStringLiteral("usable, although SQLite says that it is no database"));
        requireUnchanged(input, before, path);
        return;
    }
    StateInput::fromFiles(input.way, path).toFiles(copyPath);
    const StateView after = StateView::read(copyPath);
    if (!outcome.isUsable && before.isValid)
        FUZZ_REQUIRE(after.all == before.all, errors);
    const bool isKnown =
        before.isValid && before.hasPlainSchema && before.generation != StateView::Generation::Other;
    if (!isKnown)
        return;
    FUZZ_REQUIRE(outcome.isUsable || !hasPlainHeader(input), errors);
    if (!outcome.isUsable)
        return;
    FUZZ_REQUIRE(after.isValid && after.generation == StateView::Generation::Third, errors);
    FUZZ_REQUIRE(lostRows(before.files, after.files).isEmpty(), lostRows(before.files, after.files));
    FUZZ_REQUIRE(lostRows(before.directories, after.directories).isEmpty(),
                 lostRows(before.directories, after.directories));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size > kMaximumBytes)
        return 0;
    const Sandbox& sandbox = Sandbox::instance();
    const StateInput input = StateInput::fromBytes(data, size);
    const QString state = sandbox.freshDirectory(QStringLiteral("state"));
    const QString path = state + QStringLiteral("/state.db");
    const QString copy = sandbox.freshDirectory(QStringLiteral("copy"));
    const QString copyPath = copy + QStringLiteral("/before.db");
    input.toFiles(path);
    input.toFiles(copyPath);
    const StateView before = StateView::read(copyPath);
    const OutsideWrites outsideWrites({state, copy});

    if (input.hasWholeManager()) {
        const QStringList errors = runManager(path, state + QStringLiteral("/trash"), input);
        FUZZ_REQUIRE(
            before.isDatabase ||
                errors.contains(QStringLiteral("ERROR: State database is not usable: '%1'.").arg(path)),
            errors.join(QLatin1Char('\n')));
        checkManaged(input, before, path, copy + QStringLiteral("/after.db"));
        return 0;
    }
    const Outcome outcome = openDatabase(path);
    checkOpened(input, before, path, copy + QStringLiteral("/after.db"), outcome);
    useAndWipe(path, input);
    return 0;
}
