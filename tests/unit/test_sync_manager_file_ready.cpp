#include "sync_manager_access.h"

#include "file_calls.h"
#include "pair.h"
#include "raw_database.h"
#include "trace_capture.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QScopeGuard>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QTimerEvent>

#include <memory>
#include <sys/stat.h>

using namespace VornSyncTest;
using Access = VornSyncManagerTestAccess;

namespace {

constexpr int kNoCycleMs = 3600000;
constexpr int kWaitMs = 30000;
constexpr int kTimeoutMs = 15000;
const QString kManagerTag = QStringLiteral("Mngr: ");
const QString kName = QStringLiteral("f%1");

struct Gate
{
    QSemaphore isReached;
    QSemaphore mayGoOn;
};

// A manager with one pair that no pass looks at.
struct Fixture
{
    Fixture()
        : manager(
              new VornSyncManager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, QStringList(), nullptr))
        , ready(manager.get(), &VornSyncManager::fileReady)
        , errors(manager.get(), &VornSyncManager::errorOccurred)
    {
        manager->addDirectory(QStringLiteral("a"), pair.localPath(), pair.distantPath());
        manager->setDirectoryAvailability(QStringLiteral("a"), false);
        id = database().getDirectoryIdByAlias(QStringLiteral("a"));
    }
    ~Fixture()
    {
        for (const auto& gate : gates)
            gate->mayGoOn.release();
    }

    VornSyncDatabase& database() { return Access::database(*manager); }
    QString local(const QString& name = kName) const { return pair.local().filePath(name); }
    QString distant(const QString& name = kName) const { return pair.distant().filePath(name); }
    void ask(const QString& name = kName) { manager->requestFileReady(distant(name)); }
    QVariantList answer(bool found, const QString& name = kName) const { return {local(name), found}; }

    bool record(const QString& name = kName)
    {
        const QFileInfo localFile(local(name));
        return database().recordFileSync(id, name, localFile.size(), localFile.lastModified().toUTC(),
                                         QFileInfo(distant(name)).lastModified().toUTC());
    }
    // Keeps the worker from running anything until the gate is opened, at the latest by the fixture's end.
    std::shared_ptr<Gate> blockWorker()
    {
        auto gate = std::make_shared<Gate>();
        gates << gate;
        QMetaObject::invokeMethod(
            Access::worker(*manager),
            [gate] {
                gate->isReached.release();
                gate->mayGoOn.acquire();
            },
            Qt::QueuedConnection);
        return gate->isReached.tryAcquire(1, kWaitMs) ? gate : nullptr;
    }
    // What the time-out timer does when its time is over.
    bool fireTimeout()
    {
        QTimer* timer = Access::fileReadyTimer(*manager);
        QTimerEvent event(timer->timerId());
        return timer->isActive() && QCoreApplication::sendEvent(timer, &event);
    }

    Pair pair;
    QList<std::shared_ptr<Gate>> gates;
    std::unique_ptr<VornSyncManager> manager;
    QSignalSpy ready;
    QSignalSpy errors;
    int id = 0;
};

} // namespace

class TestSyncManagerFileReady : public QObject
{
    Q_OBJECT

private slots:
    void nullPublicPointer();
    void outsideOfEveryDirectory_data();
    void outsideOfEveryDirectory();
    void nameThatLeavesTheDirectory_data();
    void nameThatLeavesTheDirectory();
    void nowhere();
    void localAlone();
    void inTwoPairs();
    void notAPlainFile_data();
    void notAPlainFile();
    void bothUnrecorded();
    void bothAsRecorded();
    void bothChanged();
    void distantAlone();
    void distantNewer();
    void toleranceOfRealFiles_data();
    void toleranceOfRealFiles();
    void distantMarkedNewer();
    void markOfAChangedLocalFile_data();
    void markOfAChangedLocalFile();
    void distantChangedAfterTheCopyBegan();
    void distantGrowsDuringTheCopy();
    void localChangedAfterTheCopy();
    void localChangedToTheSameSizeAfterTheCopy();
    void localWrittenBeforeTheCopy_data();
    void localWrittenBeforeTheCopy();
    void localGoneAfterTheCopy();
    void tombstonedFileIsBroughtBack();
    void aFileAfterADeletedOneIsKept();
    void tombstoneSetWhileCopying();
    void countersFollow();
    void copyThatFails();
    void taskThatCannotBeCreated();
    void goneBetweenLookAndTask();
    void workerGone();
    void listensForOneRequestOnly();
    void otherTasksAnswerNothing();
    void timeout();
    void timeoutOfNothing();
    void lateEndOfATimedOutCopy();
    void timerRunsFromTheRequest();
    void servedInLine();
    void answeredAtOnceWhileACopyRuns();
    void answerAtOnceStartsNoSecondCopy();
    void sameFileTwice();
    void waitingRequestTimesOutToo();
    void slotAsksForTheNext();
    void slotAsksWhileOthersWait();
    void slotDeletesTheManager();
    void idle();
    void wipeWhileCopying();
    void wipedCopyTimesOut();
    void wipeWhileOthersWait();
    void resetWaitsForTheCopy();
    void resetWhileOthersWait();
    void pairRemovedWhileCopying();
    void destroyedWhileCopying();
};

void TestSyncManagerFileReady::nullPublicPointer()
{
    Pair pair;
    VornSyncManagerPrivate inside(pair.databasePath(), pair.trashRoot(), kNoCycleMs, QStringList(), nullptr);
    TraceCapture capture;
    inside.requestFileReady(QStringLiteral("/x"));
    QCOMPARE(capture.criticals().size(), 1);
    QVERIFY(capture.criticals().first().endsWith(
        QStringLiteral(" ;\t VornSyncManagerPrivate::requestFileReady: null public pointer")));
    QVERIFY(capture.criticals().first().contains(
        QStringLiteral(" ;\t libraries/lib_sync_library/source/vorn_sync_manager_p ;\t ")));
}

void TestSyncManagerFileReady::outsideOfEveryDirectory_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("found");
    QTest::newRow("there") << QStringLiteral("other/f") << true;
    QTest::newRow("not there") << QStringLiteral("other/g") << false;
    QTest::newRow("local side") << QStringLiteral("local/f") << true;
    QTest::newRow("deeper") << QStringLiteral("distant/deep/f") << true;
}

void TestSyncManagerFileReady::outsideOfEveryDirectory()
{
    QFETCH(QString, name);
    QFETCH(bool, found);
    Fixture fixture;
    const Side root(fixture.pair.rootPath());
    for (const char* file : {"other/f", "local/f", "distant/deep/f"})
        QVERIFY(root.write(QString::fromLatin1(file), "x"));
    TraceCapture capture;
    fixture.manager->requestFileReady(root.filePath(name));
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.ready.first(), QVariantList({root.filePath(name), found}));
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(kManagerTag),
                 QStringList{QStringLiteral("requestFileReady - Not a synced directory, using path as-is: ") +
                             root.filePath(name)});
    QVERIFY(fixture.manager->isIdle());
}

void TestSyncManagerFileReady::nameThatLeavesTheDirectory_data()
{
    QTest::addColumn<QString>("end");
    QTest::newRow("none") << QStringLiteral("/");
    QTest::newRow("dots") << QStringLiteral("/..");
    QTest::newRow("dot") << QStringLiteral("/.");
}

void TestSyncManagerFileReady::nameThatLeavesTheDirectory()
{
    QFETCH(QString, end);
    Fixture fixture;
    QVERIFY(QDir(fixture.pair.localPath()).removeRecursively());
    const QString path = fixture.pair.distantPath() + end;
    fixture.manager->requestFileReady(path);
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.ready.first(), QVariantList({path, true}));
    QVERIFY(fixture.manager->isIdle());
}

void TestSyncManagerFileReady::nowhere()
{
    Fixture fixture;
    TraceCapture capture;
    fixture.ask();
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.ready.first(), fixture.answer(false));
    if (!traceLinesBuiltIn())
        return;
    const QString facts = QStringLiteral("requestFileReady - Synced directory (id=") +
                          QString::number(fixture.id) + QStringLiteral("), local=") + fixture.local() +
                          QStringLiteral(" (exists=N), distant=") + fixture.distant() +
                          QStringLiteral(" (exists=N)");
    QCOMPARE(capture.linesOf(kManagerTag),
             QStringList({facts, QStringLiteral("requestFileReady - File not found anywhere")}));
}

void TestSyncManagerFileReady::localAlone()
{
    Fixture fixture;
    QVERIFY(fixture.pair.local().write(kName, "x"));
    TraceCapture capture;
    fixture.ask();
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.ready.first(), fixture.answer(true));
    if (!traceLinesBuiltIn())
        return;
    QVERIFY(capture.linesOf(kManagerTag).first().contains(fixture.local() + QStringLiteral(" (exists=Y)")));
    QVERIFY(capture.linesOf(kManagerTag).first().contains(fixture.distant() + QStringLiteral(" (exists=N)")));
    QCOMPARE(capture.linesOf(kManagerTag).last(),
             QStringLiteral("requestFileReady - Only local exists, using local"));
}

// Which of the two is meant can't be told: no look-up answers.
void TestSyncManagerFileReady::inTwoPairs()
{
    Fixture fixture;
    const Pair other;
    QVERIFY(
        fixture.manager->addDirectory(QStringLiteral("b"), other.localPath(), fixture.pair.distantPath()));
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    fixture.ask();
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.ready.first(), QVariantList({fixture.distant(), true}));
    QVERIFY(fixture.manager->isIdle());
}

void TestSyncManagerFileReady::notAPlainFile_data()
{
    QTest::addColumn<bool>("isFifo");
    QTest::newRow("FIFO") << true;
    QTest::newRow("directory") << false;
}

// Opening the FIFO would hold the worker up for ever.
void TestSyncManagerFileReady::notAPlainFile()
{
    QFETCH(bool, isFifo);
    Fixture fixture;
    if (isFifo)
        QVERIFY(::mkfifo(QFile::encodeName(fixture.distant()).constData(), 0600) == 0);
    else
        QVERIFY(fixture.pair.distant().makeDirectory(kName));
    TraceCapture capture;
    fixture.ask();
    QVERIFY(!fixture.ready.isEmpty() || fixture.ready.wait(kWaitMs));
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.ready.first(), fixture.answer(false));
    QVERIFY(fixture.manager->isIdle());
    QVERIFY(fixture.pair.local().names().isEmpty());
    QVERIFY(fixture.errors.isEmpty());
    if (!traceLinesBuiltIn())
        return;
    const QStringList lines = capture.linesOf(kManagerTag);
    QVERIFY(lines.contains(QStringLiteral("onFileReadyTaskDone - ERROR: Copy task failed for: ") +
                           fixture.local()));
    QVERIFY(!lines.filter(QStringLiteral("onFileReadyTaskDone - Task errors: ")).isEmpty());
}

void TestSyncManagerFileReady::bothUnrecorded()
{
    Fixture fixture;
    QVERIFY(fixture.pair.local().write(kName, "local"));
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    TraceCapture capture;
    fixture.ask();
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.ready.first(), fixture.answer(true));
    QVERIFY(fixture.manager->isIdle());
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(kManagerTag).last(),
                 QStringLiteral("requestFileReady - No sync record, using local"));
}

void TestSyncManagerFileReady::bothAsRecorded()
{
    Fixture fixture;
    QVERIFY(fixture.pair.local().write(kName, "x"));
    QVERIFY(fixture.pair.distant().write(kName, "x"));
    QVERIFY(fixture.record());
    TraceCapture capture;
    fixture.ask();
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.ready.first(), fixture.answer(true));
    QVERIFY(fixture.manager->isIdle());
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(kManagerTag).last(),
                 QStringLiteral("requestFileReady - Local is up to date or modified locally, using local"));
}

void TestSyncManagerFileReady::bothChanged()
{
    Fixture fixture;
    QVERIFY(fixture.pair.local().write(kName, "local"));
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    QVERIFY(fixture.record());
    const QDateTime later = QDateTime::currentDateTimeUtc().addSecs(10);
    QVERIFY(fixture.pair.local().setLmd(kName, later));
    QVERIFY(fixture.pair.distant().setLmd(kName, later));
    fixture.ask();
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.ready.first(), fixture.answer(true));
    QCOMPARE(fixture.pair.local().read(kName), QByteArray("local"));
    QVERIFY(fixture.manager->isIdle());
}

void TestSyncManagerFileReady::distantAlone()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    const QDateTime distantTime(QDate(2020, 1, 2), QTime(3, 4, 5), Qt::UTC);
    QVERIFY(fixture.pair.distant().setLmd(kName, distantTime));
    TraceCapture capture;
    fixture.ask();
    QVERIFY(fixture.ready.isEmpty());
    QVERIFY(!fixture.manager->isIdle());
    QVERIFY(fixture.ready.wait(kWaitMs));
    QCOMPARE(fixture.ready.first(), fixture.answer(true));
    QCOMPARE(fixture.pair.local().read(kName), QByteArray("distant"));
    const QVariantMap row = RawDatabase(fixture.pair.databasePath()).fileRow(fixture.id, kName);
    QCOMPARE(row.value(QStringLiteral("status")).toInt(), int(ceSfsUpToDate));
    QCOMPARE(row.value(QStringLiteral("size")).toInt(), 7);
    QCOMPARE(row.value(QStringLiteral("distant_lmd")).toString(), distantTime.toString(Qt::ISODate));
    const QDateTime localTime =
        QDateTime::fromString(row.value(QStringLiteral("local_lmd")).toString(), Qt::ISODate);
    QCOMPARE(localTime.toSecsSinceEpoch(), fixture.pair.local().lmd(kName).toSecsSinceEpoch());
    QVERIFY(row.value(QStringLiteral("local_lmd")).toString().endsWith(QLatin1Char('Z')));
    QVERIFY(!Access::fileReadyTimer(*fixture.manager)->isActive());
    QVERIFY(fixture.errors.isEmpty());
    if (!traceLinesBuiltIn())
        return;
    QCOMPARE(capture.linesOf(kManagerTag).at(1),
             QStringLiteral("requestFileReady - Only distant exists, copying to local"));
    QVERIFY(capture.linesOf(kManagerTag)
                .contains(QStringLiteral("onFileReadyTaskDone - Sync DB updated for: ") + kName));
}

void TestSyncManagerFileReady::distantNewer()
{
    Fixture fixture;
    QVERIFY(fixture.pair.local().write(kName, "old"));
    QVERIFY(fixture.pair.distant().write(kName, "old"));
    QVERIFY(fixture.record());
    QVERIFY(fixture.pair.distant().write(kName, "newer content"));
    QVERIFY(fixture.pair.distant().setLmd(kName, QDateTime::currentDateTimeUtc().addSecs(10)));
    const auto gate = fixture.blockWorker();
    QVERIFY(gate);
    TraceCapture capture;
    fixture.ask();
    // The local file is there until the copy replaces it.
    QCOMPARE(fixture.pair.local().read(kName), QByteArray("old"));
    gate->mayGoOn.release();
    QVERIFY(fixture.ready.wait(kWaitMs));
    QCOMPARE(fixture.ready.first(), fixture.answer(true));
    QCOMPARE(fixture.pair.local().read(kName), QByteArray("newer content"));
    QCOMPARE(fixture.pair.local().names(), QStringList{kName});
    if (traceLinesBuiltIn())
        QVERIFY(capture.linesOf(kManagerTag)
                    .contains(QStringLiteral(
                        "requestFileReady - Distant is newer (another ZEL modified it), copying to local")));
    // Recorded: the next request finds nothing to do.
    fixture.ready.clear();
    fixture.ask();
    QCOMPARE(fixture.ready.size(), 1);
}

void TestSyncManagerFileReady::toleranceOfRealFiles_data()
{
    QTest::addColumn<int>("localMs");   // later than recorded
    QTest::addColumn<int>("distantMs"); // likewise
    QTest::addColumn<bool>("isCopied");
    QTest::newRow("distant by 3000 ms") << 0 << 3000 << false;
    QTest::newRow("distant by 3001 ms") << 0 << 3001 << true;
    QTest::newRow("local by 3000 ms, distant by 3001 ms") << 3000 << 3001 << true;
    QTest::newRow("local by 3001 ms, distant by 3001 ms") << 3001 << 3001 << false;
}

void TestSyncManagerFileReady::toleranceOfRealFiles()
{
    QFETCH(int, localMs);
    QFETCH(int, distantMs);
    QFETCH(bool, isCopied);
    Fixture fixture;
    const QDateTime recorded(QDate(2024, 2, 29), QTime(12, 0), Qt::UTC);
    for (const Side& side : {fixture.pair.local(), fixture.pair.distant()})
        QVERIFY(side.write(kName, "old") && side.setLmd(kName, recorded));
    QVERIFY(fixture.record());
    QVERIFY(fixture.pair.distant().write(kName, "elsewhere"));
    QVERIFY(fixture.pair.distant().setLmd(kName, recorded.addMSecs(distantMs)));
    QVERIFY(fixture.pair.local().setLmd(kName, recorded.addMSecs(localMs)));
    fixture.ask();
    QCOMPARE(fixture.ready.isEmpty(), isCopied);
    QVERIFY(!isCopied || fixture.ready.wait(kWaitMs));
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.ready.first(), fixture.answer(true));
    QCOMPARE(fixture.pair.local().read(kName), QByteArray(isCopied ? "elsewhere" : "old"));
}

// Verification has found the distant copy grown, and has recorded its times as they are now.
static bool markNewer(Fixture& fixture)
{
    const QFileInfo local(fixture.local());
    const QFileInfo distant(fixture.distant());
    return fixture.record() && fixture.database().recordDistantGrown(
                                   fixture.id, kName, distant.size(), local.lastModified().toUTC(),
                                   distant.lastModified().toUTC(), local.size());
}

void TestSyncManagerFileReady::distantMarkedNewer()
{
    Fixture fixture;
    QVERIFY(fixture.pair.local().write(kName, "old"));
    QVERIFY(fixture.pair.distant().write(kName, "newer content"));
    QVERIFY(markNewer(fixture));
    fixture.ask();
    QVERIFY(fixture.ready.wait(kWaitMs));
    QCOMPARE(fixture.ready.first(), fixture.answer(true));
    QCOMPARE(fixture.pair.local().read(kName), QByteArray("newer content"));
    // Recorded: the mark is gone.
    VornSyncFileRow row;
    bool isFound = false;
    QVERIFY(fixture.database().readFileRow(fixture.id, kName, row, isFound));
    QVERIFY(isFound);
    QVERIFY(!row.isDistantNewer);
}

void TestSyncManagerFileReady::markOfAChangedLocalFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("laterSecs");
    QTest::newRow("another size") << QByteArray("changed here") << 0;
    QTest::newRow("another time") << QByteArray("new") << 2;
}

void TestSyncManagerFileReady::markOfAChangedLocalFile()
{
    QFETCH(QByteArray, content);
    QFETCH(int, laterSecs);
    Fixture fixture;
    QVERIFY(fixture.pair.local().write(kName, "old"));
    QVERIFY(fixture.pair.distant().write(kName, "newer content"));
    QVERIFY(markNewer(fixture));
    // Within the tolerance of the times, and still another file than the mark is about.
    const QDateTime time = fixture.pair.local().lmd(kName);
    QVERIFY(fixture.pair.local().write(kName, content));
    QVERIFY(fixture.pair.local().setLmd(kName, time.addSecs(laterSecs)));
    fixture.ask();
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.ready.first(), fixture.answer(true));
    QCOMPARE(fixture.pair.local().read(kName), content);
}

// A task of the file that has run, and is not yet known to have.
static pVornSyncTask runCopy(Fixture& fixture)
{
    const auto gate = fixture.blockWorker();
    fixture.ask();
    const pVornSyncTask task = Access::fileReadyTask(*fixture.manager);
    return gate && task && task->runtask() ? task : pVornSyncTask();
}

// The same for a file that is on the distant side alone.
static pVornSyncTask runCopyOfNew(Fixture& fixture)
{
    return fixture.pair.distant().write(kName, "distant") ? runCopy(fixture) : pVornSyncTask();
}

void TestSyncManagerFileReady::distantChangedAfterTheCopyBegan()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    const QDateTime time(QDate(2020, 1, 2), QTime(3, 4, 5), Qt::UTC);
    QVERIFY(fixture.pair.distant().setLmd(kName, time));
    const pVornSyncTask task = runCopy(fixture);
    QVERIFY(task);
    QVERIFY(fixture.pair.distant().write(kName, "newer content"));
    Access::fileReadyTaskDone(*fixture.manager, task, true);
    QCOMPARE(fixture.ready.size(), 1);
    const QVariantMap row = RawDatabase(fixture.pair.databasePath()).fileRow(fixture.id, kName);
    QCOMPARE(row.value(QStringLiteral("distant_lmd")).toString(), time.toString(Qt::ISODate));
    // The next request sees a newer distant copy.
    fixture.ask();
    QCOMPARE(fixture.ready.size(), 1);
    QVERIFY(Access::fileReadyTask(*fixture.manager));
}

// What the copy took along is more than it began with. Not recorded, it would be sent over what is still being written.
void TestSyncManagerFileReady::distantGrowsDuringTheCopy()
{
    FileCalls::watch(QFile::encodeName(QDir::tempPath()));
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    const QDateTime time(QDate(2020, 1, 2), QTime(3, 4, 5), Qt::UTC);
    QVERIFY(fixture.pair.distant().setLmd(kName, time));
    bool hasGrown = false;
    FileCalls::Hooks hooks;
    hooks.before = [&, path = QFile::encodeName(fixture.distant())](const FileCalls::Call& call) {
        if (call.path == path && qstrcmp(call.function, "open64") == 0 && !hasGrown)
            hasGrown = fixture.pair.distant().append(kName, ", and more");
        return 0;
    };
    FileCalls::setHooks(hooks);
    const auto unhook = qScopeGuard([] { FileCalls::setHooks(FileCalls::Hooks()); });
    const pVornSyncTask task = runCopy(fixture);
    QVERIFY(task && hasGrown);
    Access::fileReadyTaskDone(*fixture.manager, task, true);
    QCOMPARE(fixture.ready.first(), fixture.answer(true));
    QCOMPARE(fixture.pair.local().read(kName), QByteArray("distant, and more"));
    const QVariantMap row = RawDatabase(fixture.pair.databasePath()).fileRow(fixture.id, kName);
    QCOMPARE(row.value(QStringLiteral("size")).toInt(), 17);
    QCOMPARE(row.value(QStringLiteral("status")).toInt(), int(ceSfsUpToDate));
    QVERIFY(!fixture.database().isLocalFileChanged(fixture.id, kName, QFileInfo(fixture.local())));
    // The next request sees a newer distant copy.
    QCOMPARE(row.value(QStringLiteral("distant_lmd")).toString(), time.toString(Qt::ISODate));
}

void TestSyncManagerFileReady::localChangedAfterTheCopy()
{
    Fixture fixture;
    const pVornSyncTask task = runCopyOfNew(fixture);
    QVERIFY(task);
    QVERIFY(fixture.pair.local().append(kName, " changed here"));
    Access::fileReadyTaskDone(*fixture.manager, task, true);
    QCOMPARE(fixture.ready.first(), fixture.answer(true));
    QVERIFY(RawDatabase(fixture.pair.databasePath()).fileRow(fixture.id, kName).isEmpty());
}

void TestSyncManagerFileReady::localChangedToTheSameSizeAfterTheCopy()
{
    Fixture fixture;
    const pVornSyncTask task = runCopyOfNew(fixture);
    QVERIFY(task);
    QVERIFY(fixture.pair.local().write(kName, "changed"));
    QVERIFY(fixture.pair.local().setLmd(kName, QDateTime::currentDateTimeUtc().addSecs(10)));
    Access::fileReadyTaskDone(*fixture.manager, task, true);
    QCOMPARE(fixture.ready.first(), fixture.answer(true));
    QVERIFY(fixture.database().isLocalFileChanged(fixture.id, kName, QFileInfo(fixture.local())));
}

void TestSyncManagerFileReady::localWrittenBeforeTheCopy_data()
{
    QTest::addColumn<bool>("wasThere");
    QTest::newRow("a new file") << false;
    QTest::newRow("an edit") << true;
}

// The copy waits for its turn; what is written here meanwhile is not replaced.
void TestSyncManagerFileReady::localWrittenBeforeTheCopy()
{
    QFETCH(bool, wasThere);
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "old"));
    if (wasThere)
        QVERIFY(fixture.pair.local().write(kName, "old") && fixture.record());
    QVERIFY(fixture.pair.distant().setLmd(kName, QDateTime::currentDateTimeUtc().addSecs(10)));
    const auto gate = fixture.blockWorker();
    QVERIFY(gate);
    fixture.ask();
    QVERIFY(fixture.ready.isEmpty());
    QVERIFY(fixture.pair.local().write(kName, "written here"));
    gate->mayGoOn.release();
    QVERIFY(fixture.ready.wait(kWaitMs));
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.pair.local().read(kName), QByteArray("written here"));
    QCOMPARE(fixture.pair.local().names(), QStringList{kName});
}

void TestSyncManagerFileReady::localGoneAfterTheCopy()
{
    Fixture fixture;
    const pVornSyncTask task = runCopyOfNew(fixture);
    QVERIFY(task);
    QVERIFY(fixture.pair.local().remove(kName));
    Access::fileReadyTaskDone(*fixture.manager, task, true);
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.ready.first(), fixture.answer(false));
    QVERIFY(RawDatabase(fixture.pair.databasePath()).fileRow(fixture.id, kName).isEmpty());
    QVERIFY(fixture.manager->isIdle());
}

void TestSyncManagerFileReady::tombstonedFileIsBroughtBack()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    QVERIFY(fixture.database().setFileDeleted(fixture.id, kName));
    fixture.ask();
    QVERIFY(fixture.ready.wait(kWaitMs));
    QCOMPARE(fixture.ready.first(), fixture.answer(true));
    const QVariantMap row = RawDatabase(fixture.pair.databasePath()).fileRow(fixture.id, kName);
    QCOMPARE(row.value(QStringLiteral("status")).toInt(), int(ceSfsUpToDate));
    QVERIFY(row.value(QStringLiteral("trashed_date")).isNull());
}

// An older file was renamed to the name of a deleted one, which another workstation has written again: nobody else
// has what is in it.
void TestSyncManagerFileReady::aFileAfterADeletedOneIsKept()
{
    Fixture fixture;
    QVERIFY(fixture.pair.local().write(kName, "deleted"));
    QVERIFY(fixture.pair.distant().write(kName, "deleted"));
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QVERIFY(fixture.pair.local().setLmd(kName, now.addSecs(-60)));
    QVERIFY(fixture.pair.distant().setLmd(kName, now.addSecs(-60)));
    QVERIFY(fixture.record());
    QVERIFY(fixture.database().setFileDeleted(fixture.id, kName));
    QVERIFY(fixture.pair.local().write(kName, "nowhere else"));
    QVERIFY(fixture.pair.local().setLmd(kName, now.addSecs(-120)));
    QVERIFY(fixture.pair.distant().write(kName, "written again"));
    fixture.ask();
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.ready.first(), fixture.answer(true));
    QCOMPARE(fixture.pair.local().read(kName), QByteArray("nowhere else"));
}

// What the host said meanwhile is the younger word.
void TestSyncManagerFileReady::tombstoneSetWhileCopying()
{
    Fixture fixture;
    const pVornSyncTask task = runCopyOfNew(fixture);
    QVERIFY(task);
    fixture.manager->tombstoneLocalFile(QStringLiteral("a"), kName);
    Access::fileReadyTaskDone(*fixture.manager, task, true);
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.ready.first(), fixture.answer(true));
    QCOMPARE(fixture.database().getFileStatus(fixture.id, kName), int(ceSfsDeleted));
}

void TestSyncManagerFileReady::countersFollow()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    int doneAtTheAnswer = -1;
    connect(fixture.manager.get(), &VornSyncManager::fileReady, this,
            [&] { doneAtTheAnswer = fixture.manager->doneCount(); });
    fixture.ask();
    QVERIFY(fixture.ready.wait(kWaitMs));
    QCOMPARE(doneAtTheAnswer, 1);
}

void TestSyncManagerFileReady::copyThatFails()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    const auto gate = fixture.blockWorker();
    QVERIFY(gate);
    TraceCapture capture;
    fixture.ask();
    QVERIFY(fixture.pair.distant().remove(kName));
    gate->mayGoOn.release();
    QVERIFY(fixture.ready.wait(kWaitMs));
    QCOMPARE(fixture.ready.first(), fixture.answer(false));
    QVERIFY(fixture.manager->isIdle());
    QVERIFY(!RawDatabase(fixture.pair.databasePath())
                 .fileRow(fixture.id, kName)
                 .contains(QStringLiteral("status")));
    // Failures are traced; none goes to the host as an error.
    QVERIFY(fixture.errors.isEmpty());
    if (!traceLinesBuiltIn())
        return;
    const QStringList lines = capture.linesOf(kManagerTag);
    QVERIFY(lines.contains(QStringLiteral("onFileReadyTaskDone - ERROR: Copy task failed for: ") +
                           fixture.local()));
    QVERIFY(!lines.filter(QStringLiteral("onFileReadyTaskDone - Task errors: ")).isEmpty());
}

void TestSyncManagerFileReady::taskThatCannotBeCreated()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    QVERIFY(fixture.pair.distant().write(QStringLiteral("first"), "distant"));
    const auto gate = fixture.blockWorker();
    QVERIFY(gate);
    TraceCapture capture;
    fixture.ask(QStringLiteral("first"));
    fixture.ask();
    // Gone before its turn: found out again, and answered.
    QVERIFY(fixture.pair.distant().remove(kName));
    gate->mayGoOn.release();
    QTRY_COMPARE_WITH_TIMEOUT(fixture.ready.size(), 2, kWaitMs);
    QCOMPARE(fixture.ready.at(1), fixture.answer(false));
    QVERIFY(fixture.manager->isIdle());
}

static QString s_removedAtTheDecision;

static void removeAtTheDecision(QtMsgType, const QMessageLogContext&, const QString& message)
{
    if (message.endsWith(QStringLiteral("Only distant exists, copying to local")))
        QFile::remove(s_removedAtTheDecision);
}

void TestSyncManagerFileReady::goneBetweenLookAndTask()
{
    if (!traceLinesBuiltIn())
        QSKIP("trace lines are compiled out of this build");
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    // The trace line is the moment between the two.
    s_removedAtTheDecision = fixture.distant();
    const QtMessageHandler previous = qInstallMessageHandler(removeAtTheDecision);
    fixture.ask();
    qInstallMessageHandler(previous);
    QVERIFY(!fixture.pair.distant().exists(kName));
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.ready.first(), fixture.answer(false));
    QVERIFY(fixture.manager->isIdle());
    QVERIFY(!Access::fileReadyTimer(*fixture.manager)->isActive());
}

void TestSyncManagerFileReady::workerGone()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    Access::forgetWorker(*fixture.manager);
    TraceCapture capture;
    fixture.ask();
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.ready.first(), fixture.answer(false));
    QVERIFY(fixture.manager->isIdle());
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(kManagerTag).last(),
                 QStringLiteral("requestFileReady - ERROR: Cannot create copy task or worker unavailable"));
}

// True when the manager listened to the worker; it does not any more.
static bool cutOff(Fixture& fixture)
{
    return QObject::disconnect(Access::worker(*fixture.manager), &VornSyncWorker::taskDone,
                               Access::inside(*fixture.manager), nullptr);
}

void TestSyncManagerFileReady::listensForOneRequestOnly()
{
    Fixture fixture;
    for (const char* name : {"1", "2", "3"})
        QVERIFY(fixture.pair.distant().write(QString::fromLatin1(name), "distant"));
    QVERIFY(!cutOff(fixture));
    fixture.ask(QStringLiteral("1"));
    QVERIFY(fixture.ready.wait(kWaitMs));
    QVERIFY(!cutOff(fixture));
    QVERIFY(fixture.blockWorker());
    fixture.ask(QStringLiteral("2"));
    QVERIFY(fixture.fireTimeout());
    QCOMPARE(fixture.ready.size(), 2);
    QVERIFY(!cutOff(fixture));
    fixture.ask(QStringLiteral("3"));
    QVERIFY(cutOff(fixture));
}

void TestSyncManagerFileReady::otherTasksAnswerNothing()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    QVERIFY(fixture.pair.local().write(QStringLiteral("other"), "other"));
    QVERIFY(fixture.blockWorker());
    fixture.ask();
    const pVornSyncTask own = Access::fileReadyTask(*fixture.manager);
    QVERIFY(own);
    const pVornSyncTask other = VornSyncTask::create(fixture.local(QStringLiteral("other")),
                                                     fixture.distant(QStringLiteral("other")), ceStoCopy);
    QVERIFY(other);
    for (bool success : {true, false})
        Access::fileReadyTaskDone(*fixture.manager, other, success);
    Access::fileReadyTaskDone(*fixture.manager, pVornSyncTask(), true);
    QVERIFY(fixture.ready.isEmpty());
    QCOMPARE(Access::fileReadyTask(*fixture.manager), own);
    QVERIFY(Access::fileReadyTimer(*fixture.manager)->isActive());
    Access::fileReadyTaskDone(*fixture.manager, own, false);
    QCOMPARE(fixture.ready.size(), 1);
    // Its end, once more: too late.
    Access::fileReadyTaskDone(*fixture.manager, own, false);
    QCOMPARE(fixture.ready.size(), 1);
}

void TestSyncManagerFileReady::timeout()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    const auto gate = fixture.blockWorker();
    QVERIFY(gate);
    QTimer* timer = Access::fileReadyTimer(*fixture.manager);
    QVERIFY(timer->isSingleShot());
    QVERIFY(!timer->isActive());
    fixture.ask();
    QVERIFY(timer->isActive());
    QVERIFY(timer->interval() <= kTimeoutMs);
    QVERIFY(timer->interval() > kTimeoutMs / 2);
    TraceCapture capture;
    QVERIFY(fixture.fireTimeout());
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.ready.first(), fixture.answer(false));
    QVERIFY(fixture.manager->isIdle());
    QCOMPARE(capture.criticals().size(), 1);
    const QString critical = capture.criticals().first();
    QVERIFY2(
        critical.endsWith(
            QStringLiteral(" ;\t libraries/lib_sync_library/source/vorn_sync_manager_p ;\t 1206 ;\t "
                           "VornSyncManagerPrivate::onFileReadyTimeout: Copy operation timed out for: \"") +
            fixture.local() + QLatin1Char('"')),
        qPrintable(critical));
}

void TestSyncManagerFileReady::timeoutOfNothing()
{
    Fixture fixture;
    TraceCapture capture;
    QVERIFY(QMetaObject::invokeMethod(Access::inside(*fixture.manager), "onFileReadyTimeout"));
    QVERIFY(fixture.ready.isEmpty());
    QVERIFY(capture.criticals().isEmpty());
}

void TestSyncManagerFileReady::lateEndOfATimedOutCopy()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    QSignalSpy completed(fixture.manager.get(), &VornSyncManager::syncCompleted);
    const auto gate = fixture.blockWorker();
    QVERIFY(gate);
    fixture.ask();
    QVERIFY(fixture.fireTimeout());
    gate->mayGoOn.release();
    // The copy runs on; its end reaches the manager by the synchronizer alone.
    QVERIFY(completed.wait(kWaitMs));
    QCOMPARE(fixture.pair.local().read(kName), QByteArray("distant"));
    QCOMPARE(fixture.ready.size(), 1);
    QVERIFY(RawDatabase(fixture.pair.databasePath()).fileRow(fixture.id, kName).isEmpty());
}

void TestSyncManagerFileReady::timerRunsFromTheRequest()
{
    Fixture fixture;
    for (const char* name : {"1", "2"})
        QVERIFY(fixture.pair.distant().write(QString::fromLatin1(name), "distant"));
    const auto gate = fixture.blockWorker();
    QVERIFY(gate);
    fixture.ask(QStringLiteral("1"));
    fixture.ask(QStringLiteral("2"));
    QElapsedTimer sinceRequest;
    sinceRequest.start();
    constexpr int kLaterMs = 100;
    QVERIFY(QTest::qWaitFor([&sinceRequest] { return sinceRequest.elapsed() > kLaterMs; }, kWaitMs));
    QVERIFY(fixture.fireTimeout());
    QCOMPARE(fixture.ready.size(), 1);
    QCoreApplication::sendPostedEvents(Access::inside(*fixture.manager), QEvent::MetaCall);
    // The second one has its turn, and less time than the first had.
    QVERIFY(Access::fileReadyTask(*fixture.manager));
    QVERIFY(Access::fileReadyTimer(*fixture.manager)->interval() <= kTimeoutMs - kLaterMs);
}

void TestSyncManagerFileReady::servedInLine()
{
    Fixture fixture;
    const QStringList names = {QStringLiteral("c"), QStringLiteral("a"), QStringLiteral("b")};
    for (const QString& name : names)
        QVERIFY(fixture.pair.distant().write(name, "distant " + name.toUtf8()));
    for (const QString& name : names)
        fixture.ask(name);
    QVERIFY(fixture.ready.isEmpty());
    QCOMPARE(Access::waitingFileReadyRequests(*fixture.manager), 2);
    QTRY_COMPARE_WITH_TIMEOUT(fixture.ready.size(), 3, kWaitMs);
    for (int i = 0; i < names.size(); ++i) {
        QCOMPARE(fixture.ready.at(i), fixture.answer(true, names.at(i)));
        QCOMPARE(fixture.pair.local().read(names.at(i)), "distant " + names.at(i).toUtf8());
    }
    QVERIFY(fixture.manager->isIdle());
}

void TestSyncManagerFileReady::answeredAtOnceWhileACopyRuns()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    QVERIFY(fixture.pair.local().write(QStringLiteral("here"), "local"));
    QVERIFY(fixture.blockWorker());
    fixture.ask();
    fixture.ask(QStringLiteral("here"));
    fixture.ask(QStringLiteral("nowhere"));
    QCOMPARE(fixture.ready.size(), 2);
    QCOMPARE(fixture.ready.at(0), fixture.answer(true, QStringLiteral("here")));
    QCOMPARE(fixture.ready.at(1), fixture.answer(false, QStringLiteral("nowhere")));
    QCOMPARE(Access::fileReadyDirectoryId(*fixture.manager), fixture.id);
}

void TestSyncManagerFileReady::answerAtOnceStartsNoSecondCopy()
{
    Fixture fixture;
    for (const char* name : {"1", "2"})
        QVERIFY(fixture.pair.distant().write(QString::fromLatin1(name), "distant"));
    QVERIFY(fixture.blockWorker());
    fixture.ask(QStringLiteral("1"));
    const pVornSyncTask own = Access::fileReadyTask(*fixture.manager);
    fixture.ask(QStringLiteral("2"));
    fixture.ask(QStringLiteral("nowhere"));
    QCOMPARE(fixture.ready.size(), 1);
    QCoreApplication::sendPostedEvents(Access::inside(*fixture.manager), QEvent::MetaCall);
    QCOMPARE(Access::fileReadyTask(*fixture.manager), own);
    QCOMPARE(Access::waitingFileReadyRequests(*fixture.manager), 1);
}

void TestSyncManagerFileReady::sameFileTwice()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    TraceCapture capture;
    fixture.ask();
    fixture.ask();
    QTRY_COMPARE_WITH_TIMEOUT(fixture.ready.size(), 2, kWaitMs);
    QCOMPARE(fixture.ready.at(0), fixture.answer(true));
    QCOMPARE(fixture.ready.at(1), fixture.answer(true));
    // The first copy has brought what the second request wanted.
    if (traceLinesBuiltIn())
        QCOMPARE(capture.count(QStringLiteral("Wrkr: onAddTask")), 1);
}

void TestSyncManagerFileReady::waitingRequestTimesOutToo()
{
    Fixture fixture;
    for (const char* name : {"1", "2", "3"})
        QVERIFY(fixture.pair.distant().write(QString::fromLatin1(name), "distant"));
    QVERIFY(fixture.blockWorker());
    for (const char* name : {"1", "2", "3"})
        fixture.ask(QString::fromLatin1(name));
    Access::ageWaitingFileReadyRequests(*fixture.manager);
    TraceCapture capture;
    QVERIFY(fixture.fireTimeout());
    QTRY_COMPARE_WITH_TIMEOUT(fixture.ready.size(), 3, kWaitMs);
    for (int i = 0; i < 3; ++i)
        QCOMPARE(fixture.ready.at(i), fixture.answer(false, QString::number(i + 1)));
    QCOMPARE(capture.criticals().filter(QStringLiteral("1206")).size(), 3);
    QVERIFY(fixture.manager->isIdle());
}

void TestSyncManagerFileReady::slotAsksForTheNext()
{
    Fixture fixture;
    const QStringList names = {QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3")};
    for (const QString& name : names)
        QVERIFY(fixture.pair.distant().write(name, "distant"));
    connect(fixture.manager.get(), &VornSyncManager::fileReady, this, [&](const QString& path, bool) {
        // Idle again before the answer is out.
        QVERIFY(fixture.manager->isIdle());
        const auto next = names.indexOf(QFileInfo(path).fileName()) + 1;
        if (next < names.size())
            fixture.ask(names.at(next));
    });
    fixture.ask(names.first());
    QTRY_COMPARE_WITH_TIMEOUT(fixture.ready.size(), 3, kWaitMs);
    for (int i = 0; i < 3; ++i)
        QCOMPARE(fixture.ready.at(i), fixture.answer(true, names.at(i)));
}

// The one that asks in the answer comes last, and the manager is busy with those in line.
void TestSyncManagerFileReady::slotAsksWhileOthersWait()
{
    Fixture fixture;
    const QStringList names = {QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3")};
    for (const QString& name : names)
        QVERIFY(fixture.pair.distant().write(name, "distant"));
    bool wasBusy = false;
    connect(fixture.manager.get(), &VornSyncManager::fileReady, this, [&](const QString& path, bool) {
        if (path != fixture.local(names.first()))
            return;
        wasBusy = !fixture.manager->isIdle();
        fixture.ask(names.last());
    });
    fixture.ask(names.at(0));
    fixture.ask(names.at(1));
    QTRY_COMPARE_WITH_TIMEOUT(fixture.ready.size(), 3, kWaitMs);
    for (int i = 0; i < names.size(); ++i)
        QCOMPARE(fixture.ready.at(i), fixture.answer(true, names.at(i)));
    QVERIFY(wasBusy);
    QVERIFY(fixture.manager->isIdle());
}

void TestSyncManagerFileReady::slotDeletesTheManager()
{
    Fixture fixture;
    for (const char* name : {"1", "2"})
        QVERIFY(fixture.pair.distant().write(QString::fromLatin1(name), "distant"));
    const QPointer<VornSyncManager> watched = fixture.manager.get();
    connect(fixture.manager.get(), &VornSyncManager::fileReady, this, [&] { fixture.manager.reset(); });
    fixture.ask(QStringLiteral("1"));
    fixture.ask(QStringLiteral("2"));
    QTRY_VERIFY_WITH_TIMEOUT(watched.isNull(), kWaitMs);
    QCoreApplication::processEvents();
}

void TestSyncManagerFileReady::idle()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    QSignalSpy idle(fixture.manager.get(), &VornSyncManager::idleChanged);
    const auto gate = fixture.blockWorker();
    QVERIFY(gate);
    QVERIFY(fixture.manager->isIdle());
    fixture.ask();
    QVERIFY(!fixture.manager->isIdle());
    gate->mayGoOn.release();
    QVERIFY(fixture.ready.wait(kWaitMs));
    QVERIFY(fixture.manager->isIdle());
    QVERIFY(idle.isEmpty());
}

void TestSyncManagerFileReady::wipeWhileCopying()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    const auto gate = fixture.blockWorker();
    QVERIFY(gate);
    fixture.ask();
    QVERIFY(fixture.manager->wipeSyncDatabaseFile());
    QVERIFY(fixture.manager->isIdle());
    QVERIFY(fixture.manager->addDirectory(QStringLiteral("a"), fixture.pair.localPath(), fixture.distant()));
    gate->mayGoOn.release();
    QVERIFY(fixture.ready.wait(kWaitMs));
    QCOMPARE(fixture.ready.first(), fixture.answer(true));
    // What was copied for the old directory is not recorded for the new one of that id.
    QVERIFY(RawDatabase(fixture.pair.databasePath()).fileRow(fixture.id, kName).isEmpty());
}

void TestSyncManagerFileReady::wipedCopyTimesOut()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    QVERIFY(fixture.blockWorker());
    fixture.ask();
    QVERIFY(fixture.manager->wipeSyncDatabaseFile());
    QVERIFY(fixture.ready.isEmpty());
    TraceCapture capture;
    QVERIFY(fixture.fireTimeout());
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.ready.first(), fixture.answer(false));
    QCOMPARE(capture.criticals().filter(QStringLiteral("1206")).size(), 1);
    QVERIFY(fixture.manager->isIdle());
}

// Their directory is none of ours any more: the paths are answered as they are.
void TestSyncManagerFileReady::wipeWhileOthersWait()
{
    Fixture fixture;
    const QStringList names = {QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3")};
    for (const QString& name : names)
        QVERIFY(fixture.pair.distant().write(name, "distant"));
    const auto gate = fixture.blockWorker();
    QVERIFY(gate);
    for (const QString& name : names)
        fixture.ask(name);
    QVERIFY(fixture.manager->wipeSyncDatabaseFile());
    // Nor does a new request overtake the copy that still runs.
    QVERIFY(fixture.manager->addDirectory(QStringLiteral("b"), fixture.pair.localPath(),
                                          fixture.pair.distantPath()));
    fixture.ask(QStringLiteral("3"));
    QVERIFY(fixture.ready.isEmpty());
    QVERIFY(fixture.manager->delDirectory(QStringLiteral("b")));
    gate->mayGoOn.release();
    QTRY_COMPARE_WITH_TIMEOUT(fixture.ready.size(), 4, kWaitMs);
    QCOMPARE(fixture.ready.at(0), fixture.answer(true, names.at(0)));
    QCOMPARE(fixture.ready.at(1), QVariantList({fixture.distant(names.at(1)), true}));
    QCOMPARE(fixture.ready.at(2), QVariantList({fixture.distant(names.at(2)), true}));
    QCOMPARE(fixture.ready.at(3), QVariantList({fixture.distant(names.at(2)), true}));
    QVERIFY(fixture.manager->isIdle());
    QCOMPARE(fixture.pair.local().names(), QStringList{names.at(0)});
}

void TestSyncManagerFileReady::resetWaitsForTheCopy()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    fixture.ask();
    QVERIFY(!fixture.manager->isIdle());
    TraceCapture capture;
    QVERIFY(fixture.manager->resetSyncDatabase(kWaitMs));
    QCOMPARE(fixture.ready.size(), 1);
    QCOMPARE(fixture.ready.first(), fixture.answer(true));
    QVERIFY(!capture.contains(QStringLiteral("Drain timeout")));
    QCOMPARE(
        RawDatabase(fixture.pair.databasePath()).value(QStringLiteral("SELECT COUNT(*) FROM file_tracking")),
        QVariant(0));
}

void TestSyncManagerFileReady::resetWhileOthersWait()
{
    Fixture fixture;
    for (const char* name : {"1", "2"})
        QVERIFY(fixture.pair.distant().write(QString::fromLatin1(name), "distant"));
    for (const char* name : {"1", "2"})
        fixture.ask(QString::fromLatin1(name));
    QVERIFY(fixture.manager->resetSyncDatabase(kWaitMs));
    QCOMPARE(fixture.ready.size(), 2);
    QCOMPARE(fixture.ready.at(1), fixture.answer(true, QStringLiteral("2")));
    QVERIFY(fixture.manager->isIdle());
}

void TestSyncManagerFileReady::pairRemovedWhileCopying()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    const auto gate = fixture.blockWorker();
    QVERIFY(gate);
    fixture.ask();
    QVERIFY(fixture.manager->delDirectory(QStringLiteral("a")));
    gate->mayGoOn.release();
    QVERIFY(fixture.ready.wait(kWaitMs));
    QCOMPARE(fixture.ready.first(), fixture.answer(true));
    QVERIFY(fixture.errors.isEmpty());
}

void TestSyncManagerFileReady::destroyedWhileCopying()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(kName, "distant"));
    QVERIFY(fixture.pair.distant().write(QStringLiteral("2"), "distant"));
    fixture.ask();
    fixture.ask(QStringLiteral("2"));
    fixture.manager.reset();
    QCoreApplication::processEvents();
    QVERIFY(fixture.ready.isEmpty());
}

QTEST_GUILESS_MAIN(TestSyncManagerFileReady)
#include "test_sync_manager_file_ready.moc"
