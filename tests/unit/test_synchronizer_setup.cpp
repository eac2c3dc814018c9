#include "disk_hooks.h"
#include "engine_fixture.h"
#include "wait.h"

#include <QFile>
#include <QMetaType>
#include <QRegularExpression>
#include <QTest>
#include <QThread>

#include <functional>
#include <memory>

Q_DECLARE_METATYPE(std::function<bool(VornSyncSynchronizer&)>)

using namespace VornSyncTest;

namespace {

const QString kNoDatabase = QStringLiteral("ERROR: Database not initialized in synchronizer");

// An engine without a database, with what it says.
struct Inert
{
    explicit Inert(const QStringList& patterns = QStringList())
        : sync(QStringLiteral("/t"), Engine::kShortIntervalMs, patterns)
    {
        QObject::connect(&sync, &VornSyncSynchronizer::errorOccurred, &sync,
                         [this](const QString& message) { errors << message; });
    }

    TraceCapture quiet;
    VornSyncSynchronizer sync;
    QStringList errors;
};

bool onAnotherThread(const std::function<void()>& function)
{
    const std::unique_ptr<QThread> thread(QThread::create(function));
    thread->start();
    return thread->wait(kWaitMs);
}

} // namespace

class TestSynchronizerSetup : public QObject
{
    Q_OBJECT

private slots:
    void creationAndDestruction_areTraced();
    void emptyPatternList_excludesNothing();
    void starTmp_matchesWholeNameWithoutCase();
    void wildcards_data();
    void wildcards();
    void badPattern_isWarnedAboutAndSkipped();
    void emptyPattern_isSkippedSilently();

    void sideCar_data();
    void sideCar();
    void sideCar_directoryOfTheSuffixedName_doesNotCount();
    void sideCar_missingDirectory_isNone();
    void sideCar_unreadableDirectory_mayHoldOne();

    void initialize_withoutDatabase();
    void initialize_sweepsAndClearsTrashDates();
    void sweep_coversEveryDirectoryAndSparesTombstones();
    void sweep_nothingToPurge_saysNothing();
    void sweep_failedDeletion_isNotCounted();

    void pathAskedForBeforeInitialize_isEmptyAndNotCached();
    void paths_areCached();
    void invalidateMinusOne_emptiesAllCaches();
    void invalidateThree_leavesOtherIdsCached();
    void emptyPath_isCachedToo();
    void invalidateFromAnotherThread();

    void everySlotWithoutDatabase_reportsIt_data();
    void everySlotWithoutDatabase_reportsIt();
    void abortAndNullTaskWithoutDatabase_areSilent();
    void emitError_tracesAndEmits();
    void invalidNames_areRefusedBySlots_data();
    void invalidNames_areRefusedBySlots();

    void keys_areComparedExactly();
    void destruction_leavesRowsInFlight();

    void idUsedAgain_observationsStartAnew();
    void idUsedAgain_renameLocksAreGone();
    void idUsedAgain_committedRenameIsGone();
    void idUsedAgain_deferredRemoveIsGone();
    void idUsedAgainByAnotherPair_itsFilesAreKept();
    void wipeThatFailed_deferredRemoveStays();
    void idUsedAgain_verifyQueueIsEmpty();
    void idUsedAgain_sideCarCountStartsAnew();
    void invalidatingARegisteredDirectory_keepsItsTables();
    void removedDirectory_losesItsTablesOnly();
};

void TestSynchronizerSetup::creationAndDestruction_areTraced()
{
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");
    TraceCapture trace;
    {
        const VornSyncSynchronizer sync("/some/%2/trash"_s, 300, {"*.tmp"_s, QString(), "[a"_s, "%1"_s});
        QCOMPARE(trace.debugLines(),
                 QStringList("[-- SYNC --]: Sync: VornSyncSynchronizer - Created with trash path: "
                             "/some/%2/trash, sync interval: 300 ms, exclusion patterns: *.tmp, , [a, %1"_s));
        trace.clear();
    }
    QCOMPARE(trace.debugLines(), QStringList("[-- SYNC --]: Sync: ~VornSyncSynchronizer - Destroyed"_s));
}

void TestSynchronizerSetup::emptyPatternList_excludesNothing()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(!engine.sync().matchesExclusionPattern("a.tmp"_s));
    QVERIFY(!engine.sync().matchesExclusionPattern(QString()));
    QVERIFY(engine.local().write("data.db"_s, "x"));
    QVERIFY(engine.local().write("data.db-wal"_s, "x"));
    QVERIFY(!engine.sync().hasActiveSideCar(engine.local().filePath("data.db"_s)));
    QVERIFY(engine.putRow("a.tmp"_s, RowSpec()));
    engine.sync().sweepExcludedRowsFromDatabase();
    QVERIFY(engine.hasRow("a.tmp"_s));
    COMPARE_NO_EVENTS(engine);
    COMPARE_NO_LINES(engine);
    QCOMPARE(engine.restProblems(), QString());
}

void TestSynchronizerSetup::starTmp_matchesWholeNameWithoutCase()
{
    const Inert inert({"*.TMP"_s});
    QVERIFY(inert.sync.matchesExclusionPattern("a.tmp"_s));
    QVERIFY(inert.sync.matchesExclusionPattern("A.Tmp"_s));
    QVERIFY(!inert.sync.matchesExclusionPattern("a.tmp.bak"_s));
    QVERIFY(!inert.sync.matchesExclusionPattern(QString()));
}

void TestSynchronizerSetup::wildcards_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("isExcluded");
    QTest::newRow("star") << "~*"_s
                          << "~$a.docx"_s << true;
    QTest::newRow("star is not everywhere") << "~*"_s
                                            << "a~"_s << false;
    QTest::newRow("question mark") << "a?.txt"_s
                                   << "ab.txt"_s << true;
    QTest::newRow("question mark is one character") << "a?.txt"_s
                                                    << "abc.txt"_s << false;
    QTest::newRow("class") << "a[0-9].txt"_s
                           << "a7.txt"_s << true;
    QTest::newRow("outside the class") << "a[0-9].txt"_s
                                       << "ax.txt"_s << false;
    QTest::newRow("dot is a dot") << "a.c"_s
                                  << "abc"_s << false;
    QTest::newRow("plus is a plus") << "a+"_s
                                    << "aa"_s << false;
    QTest::newRow("case, beyond ASCII") << "É*"_s
                                        << "été"_s << true;
    QTest::newRow("newline in the name") << "*.tmp"_s
                                         << "a\nb.tmp"_s << true;
    QTest::newRow("hidden") << ".*"_s
                            << ".hidden"_s << true;
}

void TestSynchronizerSetup::wildcards()
{
    QFETCH(QString, pattern);
    QFETCH(QString, name);
    QFETCH(bool, isExcluded);
    const Inert inert({pattern});
    QCOMPARE(inert.sync.matchesExclusionPattern(name), isExcluded);
}

void TestSynchronizerSetup::badPattern_isWarnedAboutAndSkipped()
{
    const QString reason =
        QRegularExpression(QRegularExpression::wildcardToRegularExpression("[a"_s)).errorString();
    QVERIFY(!reason.isEmpty());
    TraceCapture trace;
    const Inert inert({"[a"_s, "*.bak"_s});
    QCOMPARE(trace.warnings(), QStringList("VornSyncSynchronizer: ignoring invalid exclusion pattern \"[a\" "
                                           "reason: \"%1\""_s.arg(reason)));
    QVERIFY(inert.sync.matchesExclusionPattern("x.bak"_s));
    QVERIFY(!inert.sync.matchesExclusionPattern("[a"_s));
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf("Sync: "_s),
                 QStringList("VornSyncSynchronizer - Created with trash path: /t, sync interval: 300 ms, "
                             "exclusion patterns: [a, *.bak"_s));
}

void TestSynchronizerSetup::emptyPattern_isSkippedSilently()
{
    TraceCapture trace;
    const Inert inert({QString()});
    QCOMPARE(trace.warnings(), QStringList());
    QVERIFY(!inert.sync.matchesExclusionPattern("a"_s));
}

void TestSynchronizerSetup::sideCar_data()
{
    QTest::addColumn<QStringList>("patterns");
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QString>("asked");
    QTest::addColumn<bool>("isBusy");
    const QStringList sqlite{"*-wal"_s, "*-journal"_s};
    QTest::newRow("write-ahead log") << sqlite << QStringList{"data.db"_s, "data.db-wal"_s} << "data.db"_s
                                     << true;
    QTest::newRow("journal") << sqlite << QStringList{"data.db"_s, "data.db-journal"_s} << "data.db"_s
                             << true;
    QTest::newRow("sibling that no pattern excludes")
        << sqlite << QStringList{"data.db"_s, "data.db-shm"_s} << "data.db"_s << false;
    QTest::newRow("of another file") << sqlite << QStringList{"data.db"_s, "other.db-wal"_s} << "data.db"_s
                                     << false;
    QTest::newRow("prefix is case-sensitive")
        << sqlite << QStringList{"data.db"_s, "DATA.db-wal"_s} << "data.db"_s << false;
    QTest::newRow("the file itself does not count")
        << QStringList{"*.db"_s} << QStringList{"data.db"_s} << "data.db"_s << false;
    QTest::newRow("itself excluded, with a side-car")
        << QStringList{"data*"_s} << QStringList{"data.db"_s, "data.db2"_s} << "data.db"_s << true;
    QTest::newRow("the file need not exist") << sqlite << QStringList{"data.db-wal"_s} << "data.db"_s << true;
    QTest::newRow("names between in sorting order")
        << sqlite << QStringList{"data"_s, "data!x"_s, "data-wal"_s, "databank-wal"_s} << "data"_s << true;
    QTest::newRow("hidden sibling") << sqlite << QStringList{".data.db"_s, ".data.db-wal"_s} << ".data.db"_s
                                    << false;
    QTest::newRow("name with a percent sign") << sqlite << QStringList{"%1"_s, "%1-wal"_s} << "%1"_s << true;
}

void TestSynchronizerSetup::sideCar()
{
    QFETCH(QStringList, patterns);
    QFETCH(QStringList, names);
    QFETCH(QString, asked);
    QFETCH(bool, isBusy);
    const Pair pair;
    for (const QString& name : names)
        QVERIFY(pair.local().write(name, "x"));
    const Inert inert(patterns);
    QCOMPARE(inert.sync.hasActiveSideCar(pair.local().filePath(asked)), isBusy);
}

void TestSynchronizerSetup::sideCar_directoryOfTheSuffixedName_doesNotCount()
{
    const Pair pair;
    QVERIFY(pair.local().write("data.db"_s, "x"));
    QVERIFY(pair.local().makeDirectory("data.db-wal"_s));
    const Inert inert({"*-wal"_s});
    QVERIFY(!inert.sync.hasActiveSideCar(pair.local().filePath("data.db"_s)));
}

void TestSynchronizerSetup::sideCar_missingDirectory_isNone()
{
    const Pair pair;
    const Inert inert({"*"_s});
    QVERIFY(!inert.sync.hasActiveSideCar(pair.local().filePath("nowhere/data.db"_s)));
    QVERIFY(!inert.sync.hasActiveSideCar(QString()));
}

void TestSynchronizerSetup::sideCar_unreadableDirectory_mayHoldOne()
{
    const Pair pair;
    QVERIFY(pair.local().write("data.db"_s, "x"));
    const Inert inert({"*-wal"_s});
    QVERIFY(!inert.sync.hasActiveSideCar(pair.local().filePath("data.db"_s)));
    const FailingListing hook(pair.localPath(), 2, EIO);
    QVERIFY(inert.sync.hasActiveSideCar(pair.local().filePath("data.db"_s)));
}

void TestSynchronizerSetup::initialize_withoutDatabase()
{
    TraceCapture trace;
    Inert inert({"*.tmp"_s});
    trace.clear();
    inert.sync.initialize(nullptr);
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf("Sync: "_s), QStringList("initialize - Initialized with database"_s));
    QCOMPARE(inert.errors, QStringList());
}

void TestSynchronizerSetup::initialize_sweepsAndClearsTrashDates()
{
    Engine engine({"*.tmp"_s});
    QVERIFY(engine.start());
    RowSpec wrong;
    wrong.trashedDate = "2024-01-01T00:00:00Z"_s;
    RowSpec right = wrong;
    right.status = ceSfsTrashed;
    QVERIFY(engine.putRow("a.txt"_s, wrong));
    QVERIFY(engine.putRow("b.txt"_s, right));
    QVERIFY(engine.putRow("c.tmp"_s, RowSpec()));

    engine.sync().initialize(&engine.database());
    QVERIFY(engine.row("a.txt"_s).value("trashed_date"_s).isNull());
    QCOMPARE(engine.row("b.txt"_s).value("trashed_date"_s).toString(), "2024-01-01T00:00:00Z"_s);
    QVERIFY(!engine.hasRow("c.tmp"_s));
    COMPARE_LINES(engine, "initialize - Initialized with database"_s,
                  "sweepExcludedRowsFromDatabase - Purged 1 legacy rows matching exclusion patterns"_s);
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
}

void TestSynchronizerSetup::sweep_coversEveryDirectoryAndSparesTombstones()
{
    Engine engine({"*.tmp"_s});
    QVERIFY(engine.start());
    const int away = engine.addDirectory("away"_s, "/l2"_s, "/d2"_s, "/t2"_s);
    QVERIFY(engine.database().setDirectoryUnavailable(away));
    QVERIFY(engine.putRow("a.tmp"_s, RowSpec()));
    QVERIFY(engine.putRow("kept.txt"_s, RowSpec()));
    QVERIFY(engine.putRow(away, "b.TMP"_s, RowSpec()));
    RowSpec inError;
    inError.status = ceSfsUpToDate | ceSfsError;
    QVERIFY(engine.putRow("error.tmp"_s, inError));
    RowSpec tombstone;
    tombstone.status = ceSfsDeleted;
    QVERIFY(engine.putRow("deleted.tmp"_s, tombstone));
    tombstone.status = ceSfsTrashed;
    QVERIFY(engine.putRow("trashed.tmp"_s, tombstone));

    engine.sync().sweepExcludedRowsFromDatabase();
    QCOMPARE(engine.raw().rows("SELECT file_name FROM file_tracking ORDER BY file_name"_s).size(), 3);
    QVERIFY(engine.hasRow("kept.txt"_s));
    QVERIFY(engine.hasRow("deleted.tmp"_s));
    QVERIFY(engine.hasRow("trashed.tmp"_s));
    COMPARE_LINES(engine,
                  "sweepExcludedRowsFromDatabase - Purged 3 legacy rows matching exclusion patterns"_s);
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
}

void TestSynchronizerSetup::sweep_nothingToPurge_saysNothing()
{
    Engine engine({"*.tmp"_s});
    QVERIFY(engine.start());
    QVERIFY(engine.putRow("a.txt"_s, RowSpec()));
    engine.sync().sweepExcludedRowsFromDatabase();
    COMPARE_NO_LINES(engine);
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerSetup::sweep_failedDeletion_isNotCounted()
{
    Engine engine({"*.tmp"_s});
    QVERIFY(engine.start());
    QVERIFY(engine.putRow("a.tmp"_s, RowSpec()));
    QVERIFY(engine.putRow("b.tmp"_s, RowSpec()));
    QVERIFY(engine.raw().exec("CREATE TRIGGER refuse BEFORE DELETE ON file_tracking WHEN old.file_name = "
                              "'a.tmp' BEGIN SELECT RAISE(ABORT, 'refused'); END"_s));
    engine.sync().sweepExcludedRowsFromDatabase();
    QVERIFY(engine.hasRow("a.tmp"_s));
    QVERIFY(!engine.hasRow("b.tmp"_s));
    COMPARE_LINES(engine,
                  "sweepExcludedRowsFromDatabase - Purged 1 legacy rows matching exclusion patterns"_s);
}

void TestSynchronizerSetup::pathAskedForBeforeInitialize_isEmptyAndNotCached()
{
    Engine engine;
    QVERIFY(engine.database().initialize());
    const int id = engine.addDirectory("x"_s, "/l"_s, "/d"_s, "/t"_s);
    QCOMPARE(engine.sync().localDirPath(id), QString());
    QCOMPARE(engine.sync().distantDirPath(id), QString());
    QCOMPARE(engine.sync().trashDirPath(id), QString());
    engine.sync().initialize(&engine.database());
    QCOMPARE(engine.sync().localDirPath(id), "/l"_s);
    QCOMPARE(engine.sync().distantDirPath(id), "/d"_s);
    QCOMPARE(engine.sync().trashDirPath(id), "/t"_s);
}

void TestSynchronizerSetup::paths_areCached()
{
    Engine engine;
    QVERIFY(engine.start());
    QCOMPARE(engine.sync().localDirPath(engine.id()), engine.pair().localPath());
    QVERIFY(engine.raw().exec("UPDATE directories SET local_path = '/other'"_s));
    QCOMPARE(engine.sync().localDirPath(engine.id()), engine.pair().localPath());
}

void TestSynchronizerSetup::invalidateMinusOne_emptiesAllCaches()
{
    Engine engine;
    QVERIFY(engine.start());
    const int second = engine.addDirectory("second"_s, "/l2"_s, "/d2"_s, "/t2"_s);
    for (int id : {engine.id(), second}) {
        QVERIFY(!engine.sync().localDirPath(id).isEmpty());
        QVERIFY(!engine.sync().distantDirPath(id).isEmpty());
        QVERIFY(!engine.sync().trashDirPath(id).isEmpty());
    }
    QVERIFY(engine.raw().exec(
        "UPDATE directories SET local_path = 'l' || id, distant_path = 'd' || id, trash_path = 't' || id"_s));
    engine.sync().invalidateDirPathCache(-1);
    for (int id : {engine.id(), second}) {
        QCOMPARE(engine.sync().localDirPath(id), "l%1"_s.arg(id));
        QCOMPARE(engine.sync().distantDirPath(id), "d%1"_s.arg(id));
        QCOMPARE(engine.sync().trashDirPath(id), "t%1"_s.arg(id));
    }
}

void TestSynchronizerSetup::invalidateThree_leavesOtherIdsCached()
{
    Engine engine;
    QVERIFY(engine.start());
    const int second = engine.addDirectory("second"_s, "/l2"_s, "/d2"_s, "/t2"_s);
    const int third = engine.addDirectory("third"_s, "/l3"_s, "/d3"_s, "/t3"_s);
    QCOMPARE(third, 3);
    for (int id : {second, third})
        QCOMPARE(engine.sync().distantDirPath(id), "/d%1"_s.arg(id));
    QVERIFY(engine.raw().exec("UPDATE directories SET distant_path = 'new' || id"_s));
    engine.sync().invalidateDirPathCache(3);
    QCOMPARE(engine.sync().distantDirPath(second), "/d2"_s);
    QCOMPARE(engine.sync().distantDirPath(third), "new3"_s);
}

void TestSynchronizerSetup::emptyPath_isCachedToo()
{
    Engine engine;
    QVERIFY(engine.start());
    QCOMPARE(engine.sync().trashDirPath(9), QString());
    QVERIFY(
        engine.raw().exec("INSERT INTO directories (id, alias_name, local_path, distant_path, trash_path, "
                          "available) VALUES (9, 'nine', '/l9', '/d9', '/t9', 1)"_s));
    QCOMPARE(engine.sync().trashDirPath(9), QString());
    engine.sync().invalidateDirPathCache(9);
    QCOMPARE(engine.sync().trashDirPath(9), "/t9"_s);
}

void TestSynchronizerSetup::invalidateFromAnotherThread()
{
    Engine engine;
    QVERIFY(engine.start());
    QCOMPARE(engine.sync().localDirPath(engine.id()), engine.pair().localPath());
    QVERIFY(engine.sync().lockRename(engine.id(), "a"_s, "b"_s));
    QVERIFY(engine.database().reset());
    QVERIFY(onAnotherThread([&engine] { engine.sync().invalidateDirPathCache(); }));
    // The paths are gone at once; the engine's own tables follow on its thread.
    QCOMPARE(engine.sync().localDirPath(engine.id()), QString());
    QVERIFY(waitFor([&engine] { return !engine.sync().isRenameLocked(engine.id(), "a"_s); }));
}

void TestSynchronizerSetup::everySlotWithoutDatabase_reportsIt_data()
{
    using Call = std::function<bool(VornSyncSynchronizer&)>;
    QTest::addColumn<Call>("call");
    QTest::addColumn<QStringList>("linesBefore");
    const auto row = [](const char* name, const Call& call, const QStringList& linesBefore = QStringList()) {
        QTest::newRow(name) << call << linesBefore;
    };
    using Sync = VornSyncSynchronizer;
    row("synchronizeDirectory", [](Sync& s) { return s.synchronizeDirectory(1), false; }, {passStart(1)});
    row("periodicSynchronization", [](Sync& s) { return s.periodicSynchronization(), false; },
        {"periodicSynchronization - Start synchronisation (cycle #1, in-flight=0)"_s});
    row("resolveFilesError", [](Sync& s) { return s.resolveFilesError(1), false; });
    row("resolveFileError", [](Sync& s) { return s.resolveFileError(1, "a"_s, 128), false; });
    row("confirmFileDeletion", [](Sync& s) { return s.confirmFileDeletion(1, "a"_s), false; });
    row("lockRename", [](Sync& s) { return s.lockRename(1, "a"_s, "b"_s); });
    row("commitRename", [](Sync& s) { return s.commitRename(1, "a"_s, "b"_s); });
    row("notifyLocalFileChanged", [](Sync& s) { return s.notifyLocalFileChanged(1, "a"_s); });
    row("notifyLocalFileDeleted", [](Sync& s) { return s.notifyLocalFileDeleted(1, "a"_s); });
    row("moveToTrashFile", [](Sync& s) { return s.moveToTrashFile(1, "a"_s); });
    row("onTaskDone", [](Sync& s) { return s.onTaskDone(pVornSyncTask::create(nullptr), true), false; });
}

void TestSynchronizerSetup::everySlotWithoutDatabase_reportsIt()
{
    QFETCH(std::function<bool(VornSyncSynchronizer&)>, call);
    QFETCH(QStringList, linesBefore);
    TraceCapture trace;
    Inert inert;
    trace.clear();
    QVERIFY(!call(inert.sync));
    QCOMPARE(inert.errors, QStringList(kNoDatabase));
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf("Sync: "_s), linesBefore + QStringList("emitError - "_s + kNoDatabase));
    QVERIFY(!inert.sync.isRenameLocked(1, "a"_s));
    // The cycle's flag is down again: the next one starts, and is not refused as still running.
    trace.clear();
    inert.sync.periodicSynchronization();
    QVERIFY(!trace.contains("Skipped"_s));
}

void TestSynchronizerSetup::abortAndNullTaskWithoutDatabase_areSilent()
{
    TraceCapture trace;
    Inert inert;
    trace.clear();
    inert.sync.abortRename(1, "a"_s, "b"_s);
    inert.sync.onTaskDone(pVornSyncTask(), true);
    QCOMPARE(inert.errors, QStringList());
    QCOMPARE(trace.debugLines(), QStringList());
}

void TestSynchronizerSetup::emitError_tracesAndEmits()
{
    TraceCapture trace;
    Inert inert;
    trace.clear();
    inert.sync.emitError("ERROR: 100%1 'x'"_s);
    QCOMPARE(inert.errors, QStringList("ERROR: 100%1 'x'"_s));
    if (traceLinesBuiltIn())
        QCOMPARE(trace.debugLines(), QStringList("[-- SYNC --]: Sync: emitError - ERROR: 100%1 'x'"_s));
}

void TestSynchronizerSetup::invalidNames_areRefusedBySlots_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("dot") << "."_s;
    QTest::newRow("dot dot") << ".."_s;
    QTest::newRow("separator") << "a/b"_s;
    QTest::newRow("outside") << "../victim"_s;
    QTest::newRow("absolute") << "/etc/hostname"_s;
    QTest::newRow("NUL") << "a"_s + QChar(0) + "b"_s;
}

void TestSynchronizerSetup::invalidNames_areRefusedBySlots()
{
    QFETCH(QString, name);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(QFile(engine.pair().rootPath() + "/victim"_s).open(QIODevice::WriteOnly));
    VornSyncSynchronizer& sync = engine.sync();
    const int id = engine.id();
    const QString error =
        "error ERROR: Invalid file name: '%1' in directoryId: %2"_s.arg(name, QString::number(id));

    sync.confirmFileDeletion(id, name);
    COMPARE_EVENTS(engine, error);
    COMPARE_LINES(engine, "emitError - "_s + error.mid(6));
    sync.resolveFileError(id, name, ceSfsPendingSync | ceSfsError);
    COMPARE_EVENTS(engine, error);
    QVERIFY(!sync.notifyLocalFileChanged(id, name));
    COMPARE_EVENTS(engine, error);
    QVERIFY(!sync.notifyLocalFileDeleted(id, name));
    COMPARE_EVENTS(engine, error);
    QVERIFY(!sync.moveToTrashFile(id, name));
    COMPARE_EVENTS(engine, error);
    QVERIFY(!sync.lockRename(id, name, "b"_s));
    COMPARE_EVENTS(engine, error);
    QVERIFY(!sync.lockRename(id, "b"_s, name));
    COMPARE_EVENTS(engine, error);
    QVERIFY(!sync.isRenameLocked(id, "b"_s));
    QVERIFY(sync.lockRename(id, "b"_s, "c"_s));
    QVERIFY(!sync.commitRename(id, "b"_s, name));
    COMPARE_EVENTS(engine, error);

    QCOMPARE(engine.raw().value("SELECT COUNT(*) FROM file_tracking"_s).toInt(), 0);
    QVERIFY(QFile::exists(engine.pair().rootPath() + "/victim"_s));
    QCOMPARE(engine.restProblems(), QString());
}

void TestSynchronizerSetup::keys_areComparedExactly()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    VornSyncSynchronizer& sync = engine.sync();
    const int id = engine.id();
    QVERIFY(!sync.isFileInFlight(id, "a.txt"_s));
    QVERIFY(sync.copyToDistant(id, "a.txt"_s));
    QVERIFY(sync.isFileInFlight(id, "a.txt"_s));
    QVERIFY(!sync.isFileInFlight(id, "A.TXT"_s));
    QVERIFY(!sync.isFileInFlight(id + 1, "a.txt"_s));
    QVERIFY(sync.lockRename(id, "x"_s, "y"_s));
    for (const QString& name : {"x"_s, "y"_s})
        QVERIFY(sync.isRenameLocked(id, name));
    QVERIFY(!sync.isRenameLocked(id, "X"_s));
    QVERIFY(!sync.isRenameLocked(id + 1, "x"_s));
    bool inFlight = false;
    QVERIFY(onAnotherThread([&] { inFlight = sync.isFileInFlight(id, "a.txt"_s); }));
    QVERIFY(inFlight);
}

void TestSynchronizerSetup::destruction_leavesRowsInFlight()
{
    const TraceCapture quiet;
    Pair pair;
    VornSyncDatabase database(pair.databasePath());
    QVERIFY(database.initialize());
    const int id = database.addDirectory("x"_s, pair.localPath(), pair.distantPath(), pair.trashRoot());
    QVERIFY(pair.local().write("a.txt"_s, "x"));
    {
        VornSyncSynchronizer sync(pair.trashRoot(), 300, QStringList());
        sync.initialize(&database);
        QVERIFY(sync.copyToDistant(id, "a.txt"_s));
    }
    QCOMPARE(database.getFileStatus(id, "a.txt"_s), int(ceSfsSyncing));
    QVERIFY(!pair.distant().exists("a.txt"_s));
}

// What follows plays a wipe: the database is emptied, and the directory that is registered next gets the id
// of the old one.
namespace {

[[nodiscard]] bool wipe(Engine& engine)
{
    const int id = engine.id();
    const bool ok = engine.database().reset();
    engine.sync().invalidateDirPathCache();
    return ok && engine.addDirectory("again"_s, engine.pair().localPath(), engine.pair().distantPath(),
                                     engine.trash().path()) == id;
}

} // namespace

void TestSynchronizerSetup::idUsedAgain_observationsStartAnew()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    const QVariantMap row = engine.row("a.txt"_s);
    QVERIFY(engine.distant().remove("a.txt"_s));
    engine.pass(); // observed once
    QVERIFY(wipe(engine));
    RowSpec same;
    same.size = row.value("size"_s);
    same.localLmd = row.value("local_lmd"_s);
    same.distantLmd = row.value("distant_lmd"_s);
    QVERIFY(engine.putRow("a.txt"_s, same));
    engine.pass();
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    engine.pass();
    QCOMPARE(engine.state("a.txt"_s), "145/15"_s);
}

void TestSynchronizerSetup::idUsedAgain_renameLocksAreGone()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.sync().lockRename(engine.id(), "a"_s, "b"_s));
    QVERIFY(wipe(engine));
    QVERIFY(!engine.sync().isRenameLocked(engine.id(), "a"_s));
    QVERIFY(!engine.sync().isRenameLocked(engine.id(), "b"_s));
    engine.forget();
    QVERIFY(!engine.sync().commitRename(engine.id(), "a"_s, "b"_s));
    COMPARE_LINES(engine, "commitRename - REFUSED: no lock held for 'a' (dirId=1)"_s);
}

// The rename ends after the wipe: the new row of that name is another file's.
void TestSynchronizerSetup::idUsedAgain_committedRenameIsGone()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(engine.sync().lockRename(engine.id(), "a"_s, "b"_s));
    QVERIFY(engine.sync().commitRename(engine.id(), "a"_s, "b"_s));
    const pVornSyncTask rename = engine.takeTask();
    QVERIFY(wipe(engine));
    QVERIFY(engine.putRow("a"_s, RowSpec()));
    engine.forget();
    engine.sync().onTaskDone(rename, true);
    COMPARE_LINES(
        engine,
        "onTaskDone - Rename completion without pending entry for 'a' (dirId=1). BD update skipped."_s,
        "onTaskDone - Task on file '~/distant/a' FAIL (in-flight=0)."_s);
    QCOMPARE(engine.state("a"_s), "17/0"_s);
    QVERIFY(!engine.hasRow("b"_s));
}

void TestSynchronizerSetup::idUsedAgain_deferredRemoveIsGone()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(engine.id(), "a.txt"_s));
    QVERIFY(engine.sync().notifyLocalFileDeleted(engine.id(), "a.txt"_s));
    QVERIFY(wipe(engine));
    QVERIFY(engine.runNext());
    QVERIFY(engine.distant().exists("a.txt"_s));
    QVERIFY(!engine.sync().isFileInFlight(engine.id(), "a.txt"_s));
}

// The copy has ended before the engine hears of the wipe.
void TestSynchronizerSetup::idUsedAgainByAnotherPair_itsFilesAreKept()
{
    Engine engine;
    QVERIFY(engine.start());
    const Pair other;
    QVERIFY(other.distant().write("a.txt"_s, "of the other pair"));
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(engine.id(), "a.txt"_s));
    QVERIFY(engine.sync().notifyLocalFileDeleted(engine.id(), "a.txt"_s));
    QVERIFY(engine.database().reset());
    QCOMPARE(engine.addDirectory("other"_s, other.localPath(), other.distantPath(), other.trashRoot()),
             engine.id());
    QVERIFY(engine.runNext());
    QCOMPARE(other.distant().read("a.txt"_s), QByteArray("of the other pair"));
    QVERIFY(!engine.sync().isFileInFlight(engine.id(), "a.txt"_s));
}

// Its request comes all the same.
void TestSynchronizerSetup::wipeThatFailed_deferredRemoveStays()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(engine.id(), "a.txt"_s));
    QVERIFY(engine.sync().notifyLocalFileDeleted(engine.id(), "a.txt"_s));
    engine.sync().invalidateDirPathCache();
    QVERIFY(engine.runNext());
    QVERIFY(!engine.distant().exists("a.txt"_s));
}

void TestSynchronizerSetup::idUsedAgain_verifyQueueIsEmpty()
{
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");
    Engine engine(QStringList(), Engine::kShortIntervalMs);
    QVERIFY(engine.start());
    for (const QString& name : {"a"_s, "b"_s, "c"_s})
        QVERIFY(engine.send(name, "x"));
    {
        // Paced time is the point, and nothing is awaited: looking at the first file uses up the whole budget of 100 ms.
        StatHook slow(engine.local().filePath("a"_s), [] {
            QThread::msleep(150); // paced
            return 0;
        });
        engine.sync().verifyUpToDateFilesBudgeted();
    }
    QVERIFY(engine.trace().contains("Refilled queue with 3 files"_s));
    QVERIFY(wipe(engine));
    // Were "c" still queued, it would be verified before the queue is filled anew.
    QVERIFY(engine.send("c"_s, "x"));
    QVERIFY(engine.local().remove("c"_s));
    QVERIFY(waitFor([&engine] {
        engine.sync().verifyUpToDateFilesBudgeted();
        return engine.status("c"_s) != ceSfsUpToDate;
    }));
    QCOMPARE(engine.takeLines().value(0),
             "verifyUpToDateFilesBudgeted - Refilled queue with 1 files (budget 100 ms)"_s);
}

void TestSynchronizerSetup::idUsedAgain_sideCarCountStartsAnew()
{
    Engine engine({"*-wal"_s});
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.db"_s, "x"));
    QVERIFY(engine.local().write("a.db-wal"_s, "x"));
    const QString deferral =
        "'a.db' (dirId=1) has an active SQLite side-car; deferring retry %1/10 in 500 ms"_s;
    QVERIFY(engine.sync().copyToDistant(engine.id(), "a.db"_s));
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");
    QVERIFY(waitFor([&] { return engine.trace().contains(deferral.arg(2)); }));
    QVERIFY(wipe(engine));
    engine.forget();
    QVERIFY(engine.sync().copyToDistant(engine.id(), "a.db"_s));
    COMPARE_LINES(engine, "copyToDistant - "_s + deferral.arg(1));
}

void TestSynchronizerSetup::invalidatingARegisteredDirectory_keepsItsTables()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.sync().lockRename(engine.id(), "x"_s, "y"_s));
    QVERIFY(engine.distant().remove("a.txt"_s));
    engine.pass();
    engine.sync().invalidateDirPathCache(engine.id());
    QVERIFY(engine.sync().isRenameLocked(engine.id(), "x"_s));
    engine.pass();
    QCOMPARE(engine.state("a.txt"_s), "145/15"_s);
}

void TestSynchronizerSetup::removedDirectory_losesItsTablesOnly()
{
    Engine engine;
    QVERIFY(engine.start());
    const int second = engine.addDirectory("second"_s, "/l2"_s, "/d2"_s, "/t2"_s);
    QVERIFY(engine.sync().lockRename(engine.id(), "x"_s, "y"_s));
    QVERIFY(engine.sync().lockRename(second, "x"_s, "y"_s));
    QVERIFY(engine.database().deleteDirectory(second));
    engine.sync().invalidateDirPathCache(second);
    QVERIFY(!engine.sync().isRenameLocked(second, "x"_s));
    QVERIFY(engine.sync().isRenameLocked(engine.id(), "x"_s));
}

QTEST_GUILESS_MAIN(TestSynchronizerSetup)
#include "test_synchronizer_setup.moc"
