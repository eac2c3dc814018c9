#include "mounts.h"
#include "pair.h"
#include "trace_capture.h"
#include "vorn_sync_task.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QPointer>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <cerrno>
#include <cstdio>
#include <functional>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace VornSyncTest;

namespace {

enum class RenameRefusal { None, OverExisting, Always };
RenameRefusal renameRefusal = RenameRefusal::None;

bool isRefused(const char* to)
{
    switch (renameRefusal) {
    case RenameRefusal::None:
        return false;
    case RenameRefusal::OverExisting:
        return ::access(to, F_OK) == 0;
    case RenameRefusal::Always:
        return true;
    }
    return false;
}

} // namespace

// The C++ library renames through this symbol, so the test can be a file system that refuses.
extern "C" __attribute__((visibility("default"))) int rename(const char* from, const char* to) noexcept
{
    if (isRefused(to)) {
        errno = EEXIST;
        return -1;
    }
    return ::renameat(AT_FDCWD, from, AT_FDCWD, to);
}

namespace {

constexpr qint64 kGiB = 1024LL * 1024 * 1024;

// The phases of one file's copy, as readings of the clock, when the copy is the first thing in a run.
constexpr int kOpenEnd = 2; // 0 is the start of the run, 1 that of the opening
constexpr int kCopyStart = 3;
constexpr int kCopyEnd = 4;
constexpr int kPlaceStart = 5; // the first phase after the size check
constexpr int kPlaceEnd = 6;
// The first phase of a rename.
constexpr int kRenameStart = 1;
constexpr int kRenameEnd = 2;

// A task whose clock the test turns: each reading may take time, and may do something meanwhile.
class ScriptedTask : public VornSyncTask
{
public:
    ScriptedTask(const QString& source, const QString& destination, SyncOperation operation)
        : VornSyncTask(nullptr)
    {
        setOperation(source, destination, operation);
    }

    void takes(int reading, qint64 ms) { m_durations.insert(reading, ms); }
    void at(int reading, std::function<void()> action) { m_actions.insert(reading, std::move(action)); }
    int readings() const { return m_reading; }

protected:
    qint64 nowMs() const override
    {
        const int reading = m_reading++;
        if (const auto action = m_actions.value(reading))
            action();
        m_now += m_durations.value(reading, 0);
        return m_now;
    }

private:
    QHash<int, qint64> m_durations;
    QHash<int, std::function<void()>> m_actions;
    mutable int m_reading = 0;
    mutable qint64 m_now = 1000;
};

bool makeFifo(const QString& path)
{
    return ::mkfifo(QFile::encodeName(path).constData(), 0666) == 0;
}

bool makeSocket(const QString& path)
{
    sockaddr_un address = {};
    const QByteArray name = QFile::encodeName(path);
    if (name.size() >= int(sizeof(address.sun_path)))
        return false;
    address.sun_family = AF_UNIX;
    std::copy(name.begin(), name.end(), address.sun_path);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const bool isBound = ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    ::close(fd);
    return isBound;
}

bool setMode(const QString& path, mode_t mode)
{
    return ::chmod(QFile::encodeName(path).constData(), mode) == 0;
}

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

QByteArray bytes(int count)
{
    QByteArray result(count, '\0');
    for (int i = 0; i < count; ++i)
        result[i] = char(i * 31 + i / 251);
    return result;
}

} // namespace

class TestSyncTask : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE void take(const pVornSyncTask& task) { m_taken = task; }

private slots:
    void initTestCase();
    void init();
    void cleanup();

    // Life cycle
    void isInertAtFirst();
    void createNeedsASource_data();
    void createNeedsASource();
    void createSetsTheFields();
    void travelsUnderItsName();
    void lastHolderDeletes();
    void remembersItsDispatch();
    void remembersTheSourceOfTheLastRun();
    void recordsAnErrorInOrder();
    void keepsMessagesOfEarlierRuns();

    // Summary
    void summary_data();
    void summary();
    void summaryOfAnUnknownOperation();
    void realClockCountsMilliseconds();

    // Destination check
    void emptyDestinationFailsSilently();
    void directoryAsDestinationFailsSilently_data();
    void directoryAsDestinationFailsSilently();
    void fifoAsDestinationFailsSilently();
    void danglingLinkAsDestinationFailsSilently();
    void missingDestinationDirectory();
    void untestableDestinationIsNotFresh();

    // Secured copy
    void freshCopy();
    void freshCopyHasNoSizeCheck();
    void freshCopyNeverOverwrites();
    void copyOntoExistingGoesThroughASibling();
    void newUuidWhenAllSlicesAreTaken();
    void slowCopy_data();
    void slowCopy();
    void sizesFourGiBApartPass();
    void sizeMismatch();
    void sizeMismatchIsNarrowed();
    void missingSource();
    void danglingLinkAsSource();
    void sourceVanishesBeforeTheCopy();
    void sourceGrowsBeforeTheCopy();
    void unreadableSource();
    void specialFilesAreNeverOpened_data();
    void specialFilesAreNeverOpened();
    void directoryAsSource();
    void destinationDirectoryVanishes();
    void unwritableDestinationDirectory_data();
    void unwritableDestinationDirectory();
    void unknownDestinationOfAStep();
    void fullDisk_data();
    void fullDisk();
    void noInodeLeft_data();
    void noInodeLeft();
    void oddNames_data();
    void oddNames();

    // Putting in place
    void placeIsOneRename();
    void slowPlace_data();
    void slowPlace();
    void refusedRenameFallsBack();
    void refusedRenameSlowPhases_data();
    void refusedRenameSlowPhases();
    void removalOfExistingFails();
    void renameIntoPlaceFails();
    void vanishedSiblingKeepsTheDestination();

    // Associated directory
    void carriesTheAssociatedDirectory();
    void carriesOneLevelOnly();
    void associatedDirectoryFollowsTheDestinationsName();
    void associatedDirectoryIsNeverScattered();
    void hiddenFileDragsNothing();
    void associatedCopyFailureGoesOn();
    void associatedDirectoryCannotBeMade();
    void associatedSubdirectoryCannotBeMade();
    void associatedDirectoryCannotBeListed();
    void associatedDirectorySlow_data();
    void associatedDirectorySlow();
    void failedCopyCarriesNothing();

    // Move
    void moveOfALoneFile();
    void moveCarriesTheAssociatedDirectory();
    void moveLeavesWhatItDidNotCarry();
    void moveTakesALinkedDirectoryByItsLink();
    void moveCannotRemoveTheAssociatedDirectory();
    void moveCannotRemoveAnEmptyDirectory();
    void moveIgnoresThatTheSourceStays();
    void moveOntoItselfKeepsTheFile();
    void failedMoveKeepsTheSource();

    // Move back
    void moveBackCopiesFromTheDestination();
    void moveBackWithoutDestination();

    // Rename
    void renames();
    void renameOfAnAbsentSource();
    void renameOfAnUnknownSourceFails();
    void renameReplacesAnExistingFile();
    void renameSlow_data();
    void renameSlow();
    void renameFallsBack();
    void renameFallsBackSlowly_data();
    void renameFallsBackSlowly();
    void renameCannotRemoveTheTarget();
    void renameFails();
    void renameKeepsTheTargetWhenTheSourceVanishes();
    void renameNeverRemovesTheSourceUnderAnotherName();
    void renameNeedsItsDirectory();

private:
    QString local(const QString& name) const { return m_pair->local().filePath(name); }
    QString distant(const QString& name) const { return m_pair->distant().filePath(name); }
    // Lets an ordinary user reach the pair, and write on the distant side.
    bool openToEverybody() const;

    QScopedPointer<Pair> m_pair;
    pVornSyncTask m_taken;
    QScopedPointer<QTemporaryDir> m_temporary;
};

// QFile::copy falls back to the system's directory for temporary files: watch one of our own.
void TestSyncTask::initTestCase()
{
    m_temporary.reset(new QTemporaryDir);
    QVERIFY(m_temporary->isValid());
    QVERIFY(setMode(m_temporary->path(), 01777));
    qputenv("TMPDIR", QFile::encodeName(m_temporary->path()));
    QCOMPARE(QDir::tempPath(), m_temporary->path());
}

void TestSyncTask::init()
{
    renameRefusal = RenameRefusal::None;
    m_pair.reset(new Pair);
    QVERIFY(m_pair->isValid());
}

// No test, whatever it breaks, may leave a temporary file.
void TestSyncTask::cleanup()
{
    renameRefusal = RenameRefusal::None;
    QCOMPARE(QDir(m_temporary->path()).entryList({text("qt_temp*")}, QDir::AllEntries | QDir::Hidden),
             QStringList());
    m_pair.reset();
}

bool TestSyncTask::openToEverybody() const
{
    return setMode(m_pair->rootPath(), 0755) && setMode(m_pair->localPath(), 0755) &&
           setMode(m_pair->distantPath(), 0777);
}

// ---- Life cycle ----

void TestSyncTask::isInertAtFirst()
{
    QObject parent;
    const VornSyncTask task(&parent);
    QCOMPARE(task.parent(), &parent);
    QCOMPARE(task.sourcePath(), QString());
    QCOMPARE(task.destinationPath(), QString());
    QCOMPARE(task.operation(), ceStoCopy);
    QCOMPARE(task.errorMessages(), QStringList());
    QCOMPARE(task.lastErrorMessage(), QString());
    QCOMPARE(task.errorCode(), ceSecNone);
    QCOMPARE(task.directoryId(), -1);
    QCOMPARE(task.fileName(), QString());
    QCOMPARE(task.runCount(), 0);
    QCOMPARE(task.sourceSizeAtStart(), qint64(-1));
}

void TestSyncTask::createNeedsASource_data()
{
    QTest::addColumn<int>("operation");
    QTest::newRow("copy") << int(ceStoCopy);
    QTest::newRow("move") << int(ceStoMove);
    QTest::newRow("move back") << int(ceStoMoveBack);
    QTest::newRow("rename") << int(ceStoRename);
}

void TestSyncTask::createNeedsASource()
{
    QFETCH(int, operation);
    QVERIFY(m_pair->distant().write(text("a.txt"), "distant"));
    const auto kind = SyncOperation(operation);
    QVERIFY(VornSyncTask::create(local(text("a.txt")), distant(text("a.txt")), kind).isNull());

    QVERIFY(m_pair->local().write(text("a.txt"), "local"));
    const pVornSyncTask task = VornSyncTask::create(local(text("a.txt")), distant(text("a.txt")), kind);
    QVERIFY(!task.isNull());
    QCOMPARE(task->operation(), kind);
}

void TestSyncTask::createSetsTheFields()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "a"));
    const pVornSyncTask task =
        VornSyncTask::create(local(text("a.txt")), distant(text("b.txt")), ceStoMoveBack);
    QVERIFY(!task.isNull());
    QCOMPARE(task->sourcePath(), local(text("a.txt")));
    QCOMPARE(task->destinationPath(), distant(text("b.txt")));
    QCOMPARE(task->operation(), ceStoMoveBack);
    QCOMPARE(task->parent(), nullptr);
    QCOMPARE(task->runCount(), 0);
}

void TestSyncTask::travelsUnderItsName()
{
    VornSyncTask::registerMetaType();
    const int id = QMetaType::type("pVornSyncTask");
    QVERIFY(id != QMetaType::UnknownType);
    QCOMPARE(id, qMetaTypeId<pVornSyncTask>());
    // A queued call asks by name what it has to carry.
    const pVornSyncTask task = VornSyncTask::create(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    QVERIFY(QMetaObject::invokeMethod(this, "take", Qt::QueuedConnection, Q_ARG(pVornSyncTask, task)));
    QCoreApplication::sendPostedEvents(this);
    QCOMPARE(m_taken, task);
    m_taken.reset();
    QVERIFY(VornSyncTask::staticMetaObject.indexOfSignal("errorOccurred(QString)") >= 0);
}

void TestSyncTask::lastHolderDeletes()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "a"));
    pVornSyncTask task = VornSyncTask::create(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    const QPointer<VornSyncTask> watched(task.data());
    pVornSyncTask other = task;
    task.reset();
    QVERIFY(watched);
    other.reset();
    QVERIFY(!watched);
}

void TestSyncTask::remembersItsDispatch()
{
    VornSyncTask task(nullptr);
    task.setDispatch(7, text("a %1.txt"));
    QCOMPARE(task.directoryId(), 7);
    QCOMPARE(task.fileName(), text("a %1.txt"));
}

void TestSyncTask::remembersTheSourceOfTheLastRun()
{
    const QDateTime first(QDate(2021, 3, 4), QTime(5, 6, 7, 250), Qt::UTC);
    QVERIFY(m_pair->local().write(text("a.txt"), "12345"));
    QVERIFY(m_pair->local().setLmd(text("a.txt"), first));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);

    QVERIFY(task.runtask());
    QCOMPARE(task.runCount(), 1);
    QCOMPARE(task.sourceSizeAtStart(), qint64(5));
    QCOMPARE(task.sourceLmdSecsAtStart(), first.toSecsSinceEpoch());
    QCOMPARE(task.sourceLmdNanosecsAtStart(), qint64(250000000));

    QVERIFY(m_pair->local().append(text("a.txt"), "678"));
    QVERIFY(m_pair->local().setLmd(text("a.txt"), first.addSecs(10)));
    QVERIFY(task.runtask());
    QCOMPARE(task.runCount(), 2);
    QCOMPARE(task.sourceSizeAtStart(), qint64(8));
    QCOMPARE(task.sourceLmdSecsAtStart(), first.toSecsSinceEpoch() + 10);

    QVERIFY(m_pair->local().remove(text("a.txt")));
    QVERIFY(!task.runtask());
    QCOMPARE(task.runCount(), 3);
    QCOMPARE(task.sourceSizeAtStart(), qint64(-1));
}

void TestSyncTask::recordsAnErrorInOrder()
{
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    QStringList messagesInSlot;
    SyncErrorCode codeInSlot = ceSecNone;
    connect(&task, &VornSyncTask::errorOccurred, &task, [&](const QString& message) {
        QCOMPARE(task.lastErrorMessage(), message);
        messagesInSlot = task.errorMessages();
        codeInSlot = task.errorCode();
    });
    QVERIFY(!task.runtask());
    QCOMPARE(messagesInSlot,
             QStringList(text("Source file does not exist: '%1'.").arg(local(text("a.txt")))));
    QCOMPARE(codeInSlot, ceSecLocalFileMissing);
}

void TestSyncTask::keepsMessagesOfEarlierRuns()
{
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    QSignalSpy errors(&task, &VornSyncTask::errorOccurred);
    QVERIFY(!task.runtask());
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorMessages().size(), 2);
    QCOMPARE(errors.count(), 2);

    QVERIFY(m_pair->local().write(text("a.txt"), "a"));
    QVERIFY(task.runtask());
    QCOMPARE(task.errorMessages().size(), 2);
    QCOMPARE(task.errorCode(), ceSecLocalFileMissing);
}

// ---- Summary ----

void TestSyncTask::summary_data()
{
    QTest::addColumn<int>("operation");
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("elapsedMs");
    QTest::addColumn<QString>("expected");

    const int mib = 1024 * 1024;
    QTest::newRow("copy")
        << int(ceStoCopy) << 5 * mib << 2000
        << "op=ceStoCopy src='%1' result=OK size=5242880 elapsed=2000 ms, throughput=2.50 MB/s";
    QTest::newRow("small file")
        << int(ceStoCopy) << 1024 << 1
        << "op=ceStoCopy src='%1' result=OK size=1024 elapsed=1 ms, throughput=0.98 MB/s";
    QTest::newRow("move")
        << int(ceStoMove) << mib << 1000
        << "op=ceStoMove src='%1' result=OK size=1048576 elapsed=1000 ms, throughput=1.00 MB/s";
    QTest::newRow("move back")
        << int(ceStoMoveBack) << mib << 500
        << "op=ceStoMoveBack src='%1' result=OK size=1048576 elapsed=500 ms, throughput=2.00 MB/s";
    QTest::newRow("rename") << int(ceStoRename) << mib << 150
                            << "op=ceStoRename src='%1' result=OK size=1048576 elapsed=150 ms";
    QTest::newRow("empty file") << int(ceStoCopy) << 0 << 100
                                << "op=ceStoCopy src='%1' result=OK size=0 elapsed=100 ms";
    QTest::newRow("no time") << int(ceStoCopy) << mib << 0
                             << "op=ceStoCopy src='%1' result=OK size=1048576 elapsed=0 ms";
}

void TestSyncTask::summary()
{
    QFETCH(int, operation);
    QFETCH(int, size);
    QFETCH(int, elapsedMs);
    QFETCH(QString, expected);
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");

    QVERIFY(m_pair->local().write(text("a.txt"), bytes(size)));
    if (operation == ceStoMoveBack)
        QVERIFY(m_pair->distant().write(text("a.txt"), bytes(size)));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), SyncOperation(operation));
    // The last reading: renames read twice between start and end, copies four times, and six onto a file.
    const int lastReading = operation == ceStoRename ? 3 : operation == ceStoMoveBack ? 7 : 5;
    task.takes(lastReading, elapsedMs);

    TraceCapture trace;
    QVERIFY(task.runtask());
    QCOMPARE(task.readings(), lastReading + 1);
    QCOMPARE(trace.linesOf(text("Task: ")).constLast(),
             QString(text("runtask - ") + expected).replace(text("%1"), local(text("a.txt"))));
    QCOMPARE(trace.count(text("runtask - ")), 1);
}

void TestSyncTask::summaryOfAnUnknownOperation()
{
    QVERIFY(m_pair->local().write(text("a.txt"), bytes(10)));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), SyncOperation(9));
    task.takes(1, 50);
    TraceCapture trace;
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorMessages(), QStringList());
    QCOMPARE(task.errorCode(), ceSecNone);
    QVERIFY(!m_pair->distant().exists(text("a.txt")));
    if (traceLinesBuiltIn())
        QCOMPARE(
            trace.debugLines(),
            QStringList(text("[-- SYNC --]: Task: runtask - op= src='%1' result=FAIL size=10 elapsed=50 ms")
                            .arg(local(text("a.txt")))));
}

void TestSyncTask::realClockCountsMilliseconds()
{
    struct ClockedTask : VornSyncTask
    {
        ClockedTask()
            : VornSyncTask(nullptr)
        {
        }
        qint64 read() const { return nowMs(); }
    };
    const ClockedTask task;
    QElapsedTimer timer;
    timer.start();
    const qint64 before = task.read();
    // Time is what is measured here: five milliseconds have to go by on both clocks.
    QTRY_VERIFY(timer.elapsed() > 5);
    const qint64 passed = task.read() - before;
    QVERIFY2(passed >= 4 && passed <= timer.elapsed() + 1, qPrintable(QString::number(passed)));
}

// ---- Destination check ----

void TestSyncTask::emptyDestinationFailsSilently()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "a"));
    ScriptedTask task(local(text("a.txt")), QString(), ceStoCopy);
    TraceCapture trace;
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorMessages(), QStringList());
    QCOMPARE(task.errorCode(), ceSecNone);
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf(text("Task: ")),
                 QStringList(text("runtask - op=ceStoCopy src='%1' result=FAIL size=1 elapsed=0 ms")
                                 .arg(local(text("a.txt")))));
}

void TestSyncTask::directoryAsDestinationFailsSilently_data()
{
    createNeedsASource_data();
}

void TestSyncTask::directoryAsDestinationFailsSilently()
{
    QFETCH(int, operation);
    QVERIFY(m_pair->local().write(text("a.txt"), "a"));
    QVERIFY(m_pair->distant().write(text("a.txt/inside"), "kept"));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), SyncOperation(operation));
    TraceCapture trace;
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorMessages(), QStringList());
    QCOMPARE(task.errorCode(), ceSecNone);
    QCOMPARE(m_pair->distant().read(text("a.txt/inside")), QByteArray("kept"));
    QCOMPARE(m_pair->local().read(text("a.txt")), QByteArray("a"));
    QCOMPARE(m_pair->distant().names(), QStringList(text("a.txt")));
    QCOMPARE(trace.count(text("already exists")), 0);
}

void TestSyncTask::fifoAsDestinationFailsSilently()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "a"));
    QVERIFY(makeFifo(distant(text("a.txt"))));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorMessages(), QStringList());
    QCOMPARE(m_pair->distant().names(), QStringList(text("a.txt")));
}

void TestSyncTask::danglingLinkAsDestinationFailsSilently()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "a"));
    QVERIFY(QFile::link(m_pair->rootPath() + text("/elsewhere"), distant(text("a.txt"))));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorMessages(), QStringList());
    QVERIFY(!QFile::exists(m_pair->rootPath() + text("/elsewhere")));
}

void TestSyncTask::missingDestinationDirectory()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "a"));
    const QString destination = distant(text("gone/a.txt"));
    ScriptedTask task(local(text("a.txt")), destination, ceStoCopy);
    QSignalSpy errors(&task, &VornSyncTask::errorOccurred);
    QVERIFY(!task.runtask());
    const QString expected =
        text("ERROR: Task can't run, destination path not available: '%1'.").arg(destination);
    QCOMPARE(task.errorMessages(), QStringList(expected));
    QCOMPARE(task.errorCode(), ceSecDistantDirMissing);
    QCOMPARE(errors.count(), 1);
    QCOMPARE(errors.first().first().toString(), expected);
    QVERIFY(!m_pair->distant().exists(text("gone")));
}

void TestSyncTask::untestableDestinationIsNotFresh()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "a"));
    QVERIFY(m_pair->distant().write(text("a.txt"), "kept"));
    QVERIFY(openToEverybody());
    QVERIFY(setMode(m_pair->distantPath(), 0666)); // may be listed, its entries may not be looked at
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    {
        const UnprivilegedScope user;
        if (!user.isActive())
            QSKIP("cannot become an ordinary user");
        QVERIFY(!task.runtask());
    }
    QCOMPARE(task.errorMessages(),
             QStringList(text("ERROR: Task can't run, destination path not available: '%1'.")
                             .arg(distant(text("a.txt")))));
    QCOMPARE(task.errorCode(), ceSecDistantDirMissing);
    QCOMPARE(m_pair->distant().read(text("a.txt")), QByteArray("kept"));
    QCOMPARE(m_pair->distant().names(), QStringList(text("a.txt")));
}

// ---- Secured copy ----

void TestSyncTask::freshCopy()
{
    const QByteArray content = bytes(300000);
    QVERIFY(m_pair->local().write(text("a.txt"), content));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    QSignalSpy errors(&task, &VornSyncTask::errorOccurred);
    TraceCapture trace;
    QVERIFY(task.runtask());
    QCOMPARE(m_pair->distant().read(text("a.txt")), content);
    QCOMPARE(m_pair->distant().names(), QStringList(text("a.txt")));
    QCOMPARE(task.errorCode(), ceSecNone);
    QVERIFY(errors.isEmpty());
    // Start, open, copy, end: no removal, no rename.
    QCOMPARE(task.readings(), 6);
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf(text("Task: ")),
                 QStringList(text("runtask - op=ceStoCopy src='%1' result=OK size=300000 elapsed=0 ms")
                                 .arg(local(text("a.txt")))));
}

void TestSyncTask::freshCopyHasNoSizeCheck()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "12345"));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    task.at(kCopyEnd, [this] { QVERIFY(m_pair->local().append(text("a.txt"), "67")); });
    QVERIFY(task.runtask());
    QCOMPARE(m_pair->distant().read(text("a.txt")), QByteArray("12345"));
    QCOMPARE(task.sourceSizeAtStart(), qint64(5));
}

void TestSyncTask::freshCopyNeverOverwrites()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "ours"));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    task.at(kCopyStart, [this] { QVERIFY(m_pair->distant().write(text("a.txt"), "another workstation's")); });
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorCode(), ceSecCopyFailed);
    QCOMPARE(m_pair->distant().read(text("a.txt")), QByteArray("another workstation's"));
    QCOMPARE(m_pair->distant().names(), QStringList(text("a.txt")));
}

void TestSyncTask::copyOntoExistingGoesThroughASibling()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "new content"));
    QVERIFY(m_pair->distant().write(text("a.txt"), "old"));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    QStringList namesBeforePlacing;
    QByteArray destinationBeforePlacing;
    task.at(kPlaceStart, [&] {
        namesBeforePlacing = m_pair->distant().names();
        destinationBeforePlacing = m_pair->distant().read(text("a.txt"));
    });
    TraceCapture trace;
    QVERIFY(task.runtask());

    QCOMPARE(destinationBeforePlacing, QByteArray("old"));
    QCOMPARE(namesBeforePlacing.size(), 2);
    QCOMPARE(namesBeforePlacing.first(), text("a.txt"));
    QVERIFY2(QRegularExpression(text("^a\\.txt\\.[0-9a-f]{4}$")).match(namesBeforePlacing.last()).hasMatch(),
             qPrintable(namesBeforePlacing.last()));
    QCOMPARE(m_pair->distant().names(), QStringList(text("a.txt")));
    QCOMPARE(m_pair->distant().read(text("a.txt")), QByteArray("new content"));
    QVERIFY(task.errorMessages().isEmpty());
    if (traceLinesBuiltIn())
        QCOMPARE(
            trace.linesOf(text("Task: ")),
            QStringList({text("checkFilePath - Warning: File 'a.txt' already exists, it will be replaced"),
                         text("runtask - op=ceStoCopy src='%1' result=OK size=11 elapsed=0 ms")
                             .arg(local(text("a.txt")))}));
}

void TestSyncTask::newUuidWhenAllSlicesAreTaken()
{
    // Eight free names of 65,536: a UUID has one of them among its slices once in some 290 times.
    const TmpfsMount disk(m_pair->distantPath(), text("size=64m,nr_inodes=100000"));
    QVERIFY(m_pair->local().write(text("a"), "new"));
    QVERIFY(m_pair->distant().write(text("a"), "old"));
    for (int i = 8; i < 0x10000; ++i) {
        const QString name = text("a.%1").arg(i, 4, 16, QLatin1Char('0'));
        QVERIFY(::symlink("taken", QFile::encodeName(distant(name)).constData()) == 0);
    }
    ScriptedTask task(local(text("a")), distant(text("a")), ceStoCopy);
    QStringList freeNames;
    task.at(kPlaceStart, [&] { freeNames = m_pair->distant().names().filter(text("a.000")).mid(0, 1); });
    QVERIFY(task.runtask());
    QVERIFY2(freeNames.value(0) < text("a.0008"), qPrintable(freeNames.value(0)));
    QCOMPARE(m_pair->distant().read(text("a")), QByteArray("new"));
    QCOMPARE(m_pair->distant().names().size(), 0x10000 - 8 + 1);
}

void TestSyncTask::slowCopy_data()
{
    QTest::addColumn<int>("openMs");
    QTest::addColumn<int>("copyMs");
    QTest::addColumn<bool>("isSlow");
    QTest::newRow("199 together") << 120 << 79 << false;
    QTest::newRow("200 together") << 120 << 80 << true;
    QTest::newRow("open alone") << 200 << 0 << true;
    QTest::newRow("copy alone") << 0 << 1234 << true;
}

void TestSyncTask::slowCopy()
{
    QFETCH(int, openMs);
    QFETCH(int, copyMs);
    QFETCH(bool, isSlow);
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");
    QVERIFY(m_pair->local().write(text("a.txt"), "a"));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    task.takes(kOpenEnd, openMs);
    task.takes(kCopyEnd, copyMs);
    TraceCapture trace;
    QVERIFY(task.runtask());
    const QString line = text("runSecuredCopy - phase=copy SLOW src='%1' openMs=%2 copyMs=%3")
                             .arg(local(text("a.txt")), QString::number(openMs), QString::number(copyMs));
    QCOMPARE(trace.linesOf(text("Task: ")).filter(text("phase=")),
             isSlow ? QStringList(line) : QStringList());
}

void TestSyncTask::sizesFourGiBApartPass()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "12345"));
    QVERIFY(m_pair->distant().write(text("a.txt"), "old"));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    task.at(kCopyEnd, [this] { QVERIFY(QFile::resize(local(text("a.txt")), 5 + 4 * kGiB)); });
    QVERIFY(task.runtask());
    QCOMPARE(m_pair->distant().read(text("a.txt")), QByteArray("12345"));
}

void TestSyncTask::sizeMismatch()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "12345"));
    QVERIFY(m_pair->distant().write(text("a.txt"), "old"));
    const QString source = local(text("a.txt"));
    ScriptedTask task(source, distant(text("a.txt")), ceStoCopy);
    task.at(kCopyEnd, [this] { QVERIFY(m_pair->local().append(text("a.txt"), "67")); });
    TraceCapture trace;
    QVERIFY(!task.runtask());
    QCOMPARE(
        task.errorMessages(),
        QStringList(
            text("Failure to copy file: '%1', file sizes are different. Source: 7, Temp: 5").arg(source)));
    QCOMPARE(task.errorCode(), ceSecCopySizeMismatch);
    QCOMPARE(m_pair->distant().read(text("a.txt")), QByteArray("old"));
    QCOMPARE(m_pair->distant().names(), QStringList(text("a.txt")));
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf(text("Task: ")).filter(text("phase=")),
                 QStringList(
                     text("runSecuredCopy - phase=sizeCheck FAIL src='%1' srcSize=7 tmpSize=5").arg(source)));
}

void TestSyncTask::sizeMismatchIsNarrowed()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "12345"));
    QVERIFY(m_pair->distant().write(text("a.txt"), "old"));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    task.at(kCopyEnd, [this] { QVERIFY(QFile::resize(local(text("a.txt")), 3 * kGiB)); });
    QVERIFY(!task.runtask());
    QCOMPARE(task.lastErrorMessage(),
             text("Failure to copy file: '%1', file sizes are different. Source: -1073741824, Temp: 5")
                 .arg(local(text("a.txt"))));
}

void TestSyncTask::missingSource()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "a"));
    QVERIFY(m_pair->distant().write(text("a.txt"), "old"));
    const pVornSyncTask task = VornSyncTask::create(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    QVERIFY(m_pair->local().remove(text("a.txt")));
    QVERIFY(!task->runtask());
    QCOMPARE(task->errorMessages(),
             QStringList(text("Source file does not exist: '%1'.").arg(local(text("a.txt")))));
    QCOMPARE(task->errorCode(), ceSecLocalFileMissing);
    QCOMPARE(m_pair->distant().read(text("a.txt")), QByteArray("old"));
}

void TestSyncTask::danglingLinkAsSource()
{
    QVERIFY(QFile::link(local(text("nowhere")), local(text("a.txt"))));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    QVERIFY(!task.runtask());
    QCOMPARE(task.lastErrorMessage(), text("Source file does not exist: '%1'.").arg(local(text("a.txt"))));
    QCOMPARE(m_pair->distant().names(), QStringList());
}

void TestSyncTask::sourceVanishesBeforeTheCopy()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "a"));
    QVERIFY(m_pair->distant().write(text("a.txt"), "old"));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    task.takes(kOpenEnd, 3);
    task.takes(kCopyEnd, 4);
    task.at(kCopyStart, [this] { QVERIFY(m_pair->local().remove(text("a.txt"))); });
    TraceCapture trace;
    QVERIFY(!task.runtask());

    QCOMPARE(task.errorMessages().size(), 1);
    const QRegularExpression message(text("^Failure to copy file: '%1' to '(%2\\.[0-9a-f]{4})'\\.$")
                                         .arg(local(text("a.txt")), distant(text("a.txt"))));
    const QRegularExpressionMatch match = message.match(task.lastErrorMessage());
    QVERIFY2(match.hasMatch(), qPrintable(task.lastErrorMessage()));
    QCOMPARE(task.errorCode(), ceSecCopyFailed);
    QCOMPARE(m_pair->distant().read(text("a.txt")), QByteArray("old"));
    QCOMPARE(m_pair->distant().names(), QStringList(text("a.txt")));
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf(text("Task: ")).filter(text("phase=")),
                 QStringList(text("runSecuredCopy - phase=copy FAIL src='%1' dst='%2' openMs=3 copyMs=4")
                                 .arg(local(text("a.txt")), match.captured(1))));
}

void TestSyncTask::sourceGrowsBeforeTheCopy()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "12345"));
    QVERIFY(m_pair->distant().write(text("a.txt"), "old"));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    task.at(kCopyStart, [this] { QVERIFY(m_pair->local().append(text("a.txt"), "67")); });
    QVERIFY(task.runtask());
    QCOMPARE(m_pair->distant().read(text("a.txt")), QByteArray("1234567"));
    QCOMPARE(task.sourceSizeAtStart(), qint64(5));
}

void TestSyncTask::unreadableSource()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "secret"));
    QVERIFY(setMode(local(text("a.txt")), 0600));
    QVERIFY(m_pair->distant().write(text("a.txt"), "old"));
    QVERIFY(openToEverybody());
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    TraceCapture trace;
    {
        const UnprivilegedScope user;
        if (!user.isActive())
            QSKIP("cannot become an ordinary user");
        QVERIFY(!task.runtask());
    }
    QCOMPARE(
        task.errorMessages(),
        QStringList(text("File can't be opened: '%1'. Error: Permission denied").arg(local(text("a.txt")))));
    QCOMPARE(task.errorCode(), ceSecLocalFileNotReadable);
    QCOMPARE(task.sourceSizeAtStart(), qint64(6));
    QCOMPARE(m_pair->distant().read(text("a.txt")), QByteArray("old"));
    QCOMPARE(m_pair->distant().names(), QStringList(text("a.txt")));
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf(text("Task: ")).filter(text("phase=")),
                 QStringList(text("runSecuredCopy - phase=open FAIL src='%1' err='Permission denied'")
                                 .arg(local(text("a.txt")))));
}

void TestSyncTask::specialFilesAreNeverOpened_data()
{
    QTest::addColumn<QString>("kind");
    QTest::newRow("fifo") << "fifo";
    QTest::newRow("socket") << "socket";
    QTest::newRow("device") << "device";
    QTest::newRow("link to a fifo") << "link";
}

// Opening the FIFO would block until the test's time is over.
void TestSyncTask::specialFilesAreNeverOpened()
{
    QFETCH(QString, kind);
    const QString source = kind == text("device") ? text("/dev/zero") : local(text("a.txt"));
    if (kind == text("fifo"))
        QVERIFY(makeFifo(source));
    if (kind == text("socket"))
        QVERIFY(makeSocket(source));
    if (kind == text("link"))
        QVERIFY(makeFifo(local(text("pipe"))) && QFile::link(local(text("pipe")), source));

    ScriptedTask task(source, distant(text("a.txt")), ceStoCopy);
    TraceCapture trace;
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorMessages(),
             QStringList(text("File can't be opened: '%1'. Error: Not a regular file").arg(source)));
    QCOMPARE(task.errorCode(), ceSecLocalFileNotReadable);
    QCOMPARE(task.sourceSizeAtStart(), qint64(-1));
    QCOMPARE(m_pair->distant().names(), QStringList());
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf(text("Task: ")).filter(text("phase=")),
                 QStringList(
                     text("runSecuredCopy - phase=open FAIL src='%1' err='Not a regular file'").arg(source)));
}

void TestSyncTask::directoryAsSource()
{
    QVERIFY(m_pair->local().write(text("a.txt/inside"), "kept"));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoMove);
    QVERIFY(!task.runtask());
    QFile directory(local(text("a.txt")));
    QVERIFY(!directory.open(QIODevice::ReadOnly));
    QCOMPARE(task.errorMessages(), QStringList(text("File can't be opened: '%1'. Error: %2")
                                                   .arg(local(text("a.txt")), directory.errorString())));
    QCOMPARE(task.errorCode(), ceSecLocalFileNotReadable);
    QVERIFY(m_pair->local().exists(text("a.txt/inside")));
    QCOMPARE(m_pair->distant().names(), QStringList());
}

void TestSyncTask::destinationDirectoryVanishes()
{
    // Only a move back gets past the first check: it looks at the destination, and copies to the source.
    QVERIFY(m_pair->distant().write(text("a.txt"), "a"));
    ScriptedTask task(local(text("gone/a.txt")), distant(text("a.txt")), ceStoMoveBack);
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorMessages(),
             QStringList(text("Destination directory does not exist: '%1'.").arg(local(text("gone")))));
    QCOMPARE(task.errorCode(), ceSecDistantDirMissing);
    QCOMPARE(m_pair->distant().read(text("a.txt")), QByteArray("a"));
}

void TestSyncTask::unwritableDestinationDirectory_data()
{
    QTest::addColumn<bool>("isExisting");
    QTest::newRow("fresh") << false;
    QTest::newRow("existing") << true;
}

void TestSyncTask::unwritableDestinationDirectory()
{
    QFETCH(bool, isExisting);
    QVERIFY(m_pair->local().write(text("a.txt"), "new"));
    if (isExisting)
        QVERIFY(m_pair->distant().write(text("a.txt"), "old"));
    QVERIFY(openToEverybody());
    QVERIFY(setMode(m_pair->distantPath(), 0555));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    {
        const UnprivilegedScope user;
        if (!user.isActive())
            QSKIP("cannot become an ordinary user");
        QVERIFY(!task.runtask());
    }
    QCOMPARE(task.errorMessages(),
             QStringList(text("Destination directory is not writable: '%1'.").arg(m_pair->distantPath())));
    QCOMPARE(task.errorCode(), ceSecDistantDirNotWritable);
    QCOMPARE(m_pair->distant().names(), isExisting ? QStringList(text("a.txt")) : QStringList());
    QCOMPARE(m_pair->distant().read(text("a.txt")), isExisting ? QByteArray("old") : QByteArray());
}

void TestSyncTask::unknownDestinationOfAStep()
{
    // A link to itself can't be followed: neither there nor missing.
    QVERIFY(QFile::link(local(text("a.txt")), local(text("a.txt"))));
    QVERIFY(m_pair->distant().write(text("a.txt"), "a"));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoMoveBack);
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorMessages(),
             QStringList(text("Destination path not available: '%1'.").arg(local(text("a.txt")))));
    QCOMPARE(task.errorCode(), ceSecDistantDirMissing);
    QCOMPARE(m_pair->distant().read(text("a.txt")), QByteArray("a"));
}

void TestSyncTask::fullDisk_data()
{
    unwritableDestinationDirectory_data();
}

void TestSyncTask::fullDisk()
{
    QFETCH(bool, isExisting);
    const TmpfsMount disk(m_pair->distantPath(), text("size=1m"));
    if (!disk.isMounted())
        QSKIP(qPrintable(disk.reason()));
    QVERIFY(m_pair->local().write(text("a.bin"), bytes(3 * 1024 * 1024)));
    if (isExisting)
        QVERIFY(m_pair->distant().write(text("a.bin"), "old"));

    ScriptedTask task(local(text("a.bin")), distant(text("a.bin")), ceStoCopy);
    QVERIFY(!task.runtask());
    const QRegularExpression message(text("^Failure to copy file: '%1' to '%2%3'\\.$")
                                         .arg(local(text("a.bin")), distant(text("a.bin")),
                                              isExisting ? text("\\.[0-9a-f]{4}") : QString()));
    QVERIFY2(message.match(task.lastErrorMessage()).hasMatch(), qPrintable(task.lastErrorMessage()));
    QCOMPARE(task.errorMessages().size(), 1);
    QCOMPARE(task.errorCode(), ceSecCopyFailed);
    QCOMPARE(m_pair->distant().names(), isExisting ? QStringList(text("a.bin")) : QStringList());
    QCOMPARE(m_pair->distant().read(text("a.bin")), isExisting ? QByteArray("old") : QByteArray());
}

void TestSyncTask::noInodeLeft_data()
{
    unwritableDestinationDirectory_data();
}

void TestSyncTask::noInodeLeft()
{
    QFETCH(bool, isExisting);
    const TmpfsMount disk(m_pair->distantPath(), text("size=1m,nr_inodes=2"));
    if (!disk.isMounted())
        QSKIP(qPrintable(disk.reason()));
    QVERIFY(m_pair->local().write(text("a.txt"), "new"));
    const QString occupant = isExisting ? text("a.txt") : text("other.txt");
    QVERIFY(m_pair->distant().write(occupant, "old"));

    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorCode(), ceSecCopyFailed);
    QCOMPARE(m_pair->distant().names(), QStringList(occupant));
    QCOMPARE(m_pair->distant().read(occupant), QByteArray("old"));
}

void TestSyncTask::oddNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("place holders") << "%1 %2%n 100% %L1.txt";
    QTest::newRow("quotes") << "it's \"quoted\" `here`.txt";
    QTest::newRow("newline") << "two\nlines\t.txt";
    QTest::newRow("leading dash") << "-rf --no.txt";
    QTest::newRow("unicode") << text("\xc3\xa9t\xc3\xa9 \xe6\x97\xa5\xe6\x9c\xac \xf0\x9f\x93\x81.txt");
    QTest::newRow("decomposed") << text("e\xcc\x81.txt");
    QTest::newRow("spaces") << "  a  ";
    QTest::newRow("wildcards") << "[a]*?{b}\\.txt";
    QTest::newRow("251 bytes") << QString(247, QLatin1Char('x')) + text(".txt");
    QTest::newRow("255 bytes") << QString(251, QLatin1Char('x')) + text(".txt");
    // 63 signs of four bytes each, then three more bytes: the cut must not fall into a surrogate pair.
    QTest::newRow("255 bytes of pairs") << text("abc") + text("\xf0\x9f\x93\x81").repeated(63);
    QTest::newRow("254 bytes of pairs") << text("ab") + text("\xf0\x9f\x93\x81").repeated(63);
}

void TestSyncTask::oddNames()
{
    QFETCH(QString, name);
    QVERIFY(m_pair->local().write(name, "first"));
    ScriptedTask fresh(local(name), distant(name), ceStoCopy);
    TraceCapture trace;
    QVERIFY2(fresh.runtask(), qPrintable(fresh.lastErrorMessage()));
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf(text("Task: ")),
                 QStringList(text("runtask - op=ceStoCopy src='") + local(name) +
                             text("' result=OK size=5 elapsed=0 ms")));

    QVERIFY(m_pair->local().write(name, "second one"));
    ScriptedTask again(local(name), distant(name), ceStoCopy);
    QVERIFY2(again.runtask(), qPrintable(again.lastErrorMessage()));
    QCOMPARE(m_pair->distant().read(name), QByteArray("second one"));
    QCOMPARE(m_pair->distant().names(), QStringList(name));

    ScriptedTask rename(distant(name), distant(text("plain")), ceStoRename);
    QVERIFY(rename.runtask());
    ScriptedTask back(distant(text("plain")), distant(name), ceStoRename);
    QVERIFY(back.runtask());
    QCOMPARE(m_pair->distant().names(), QStringList(name));

    QVERIFY(m_pair->local().remove(name));
    ScriptedTask missing(local(name), distant(name), ceStoCopy);
    QVERIFY(!missing.runtask());
    QCOMPARE(missing.lastErrorMessage(), text("Source file does not exist: '") + local(name) + text("'."));
}

// ---- Putting in place ----

void TestSyncTask::placeIsOneRename()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "new"));
    QVERIFY(m_pair->distant().write(text("a.txt"), "old"));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    bool wasThereBefore = false;
    bool isThereAfter = false;
    task.at(kPlaceStart, [&] { wasThereBefore = m_pair->distant().exists(text("a.txt")); });
    task.at(kPlaceEnd, [&] { isThereAfter = m_pair->distant().read(text("a.txt")) == "new"; });
    QVERIFY(task.runtask());
    QVERIFY(wasThereBefore);
    QVERIFY(isThereAfter);
    QCOMPARE(task.readings(), kPlaceEnd + 2); // one phase after the copy, then the end of the run
}

void TestSyncTask::slowPlace_data()
{
    QTest::addColumn<int>("renameMs");
    QTest::addColumn<bool>("isSlow");
    QTest::newRow("199") << 199 << false;
    QTest::newRow("200") << 200 << true;
}

void TestSyncTask::slowPlace()
{
    QFETCH(int, renameMs);
    QFETCH(bool, isSlow);
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");
    QVERIFY(m_pair->local().write(text("a.txt"), "new"));
    QVERIFY(m_pair->distant().write(text("a.txt"), "old"));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    task.takes(kPlaceEnd, renameMs);
    TraceCapture trace;
    QVERIFY(task.runtask());
    const QString line = text("runSecuredCopy - phase=renameTempToDest SLOW dst='%1' renameMs=200")
                             .arg(distant(text("a.txt")));
    QCOMPARE(trace.linesOf(text("Task: ")).filter(text("phase=")),
             isSlow ? QStringList(line) : QStringList());
}

void TestSyncTask::refusedRenameFallsBack()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "new"));
    QVERIFY(m_pair->distant().write(text("a.txt"), "old"));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    renameRefusal = RenameRefusal::OverExisting;
    TraceCapture trace;
    QVERIFY(task.runtask());
    QCOMPARE(m_pair->distant().read(text("a.txt")), QByteArray("new"));
    QCOMPARE(m_pair->distant().names(), QStringList(text("a.txt")));
    QCOMPARE(task.errorMessages(), QStringList());
    QCOMPARE(task.readings(), kPlaceEnd + 4 + 2); // refused rename, removal, rename
    QCOMPARE(trace.count(text("phase=")), 0);
}

void TestSyncTask::refusedRenameSlowPhases_data()
{
    QTest::addColumn<int>("removeMs");
    QTest::addColumn<int>("renameMs");
    QTest::newRow("quick") << 199 << 199;
    QTest::newRow("slow removal") << 200 << 0;
    QTest::newRow("slow rename") << 0 << 200;
    QTest::newRow("both slow") << 200 << 200;
}

void TestSyncTask::refusedRenameSlowPhases()
{
    QFETCH(int, removeMs);
    QFETCH(int, renameMs);
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");
    QVERIFY(m_pair->local().write(text("a.txt"), "new"));
    QVERIFY(m_pair->distant().write(text("a.txt"), "old"));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    renameRefusal = RenameRefusal::OverExisting;
    task.takes(kPlaceEnd, 700); // the refused attempt is no phase of its own
    task.takes(kPlaceEnd + 2, removeMs);
    task.takes(kPlaceEnd + 4, renameMs);
    TraceCapture trace;
    QVERIFY(task.runtask());

    QStringList expected;
    if (removeMs == 200)
        expected << text("runSecuredCopy - phase=removeExistingDest SLOW dst='%1' removeMs=200")
                        .arg(distant(text("a.txt")));
    if (renameMs == 200)
        expected << text("runSecuredCopy - phase=renameTempToDest SLOW dst='%1' renameMs=200")
                        .arg(distant(text("a.txt")));
    QCOMPARE(trace.linesOf(text("Task: ")).filter(text("phase=")), expected);
}

void TestSyncTask::removalOfExistingFails()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "new"));
    QVERIFY(m_pair->distant().write(text("a.txt"), "old"));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    task.at(kPlaceStart, [this] {
        QVERIFY(m_pair->distant().remove(text("a.txt")));
        QVERIFY(m_pair->distant().write(text("a.txt/inside"), "kept"));
    });
    task.takes(kPlaceEnd + 2, 12);
    TraceCapture trace;
    QVERIFY(!task.runtask());
    QCOMPARE(
        task.errorMessages(),
        QStringList(text("Failed to remove existing destination file: '%1'.").arg(distant(text("a.txt")))));
    QCOMPARE(task.errorCode(), ceSecRenameFailed);
    QCOMPARE(m_pair->distant().names(), QStringList(text("a.txt")));
    QCOMPARE(m_pair->distant().read(text("a.txt/inside")), QByteArray("kept"));
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf(text("Task: ")).filter(text("phase=")),
                 QStringList(text("runSecuredCopy - phase=removeExistingDest FAIL dst='%1' removeMs=12")
                                 .arg(distant(text("a.txt")))));
}

void TestSyncTask::renameIntoPlaceFails()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "new"));
    QVERIFY(m_pair->distant().write(text("a.txt"), "old"));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    renameRefusal = RenameRefusal::Always;
    task.takes(kPlaceEnd + 4, 34);
    TraceCapture trace;
    QVERIFY(!task.runtask());

    const QRegularExpression message(
        text("^Failed to rename temporary file to destination: '(%1\\.[0-9a-f]{4})' to '%1'\\.$")
            .arg(distant(text("a.txt"))));
    const QRegularExpressionMatch match = message.match(task.lastErrorMessage());
    QVERIFY2(match.hasMatch(), qPrintable(task.lastErrorMessage()));
    QCOMPARE(task.errorMessages().size(), 1);
    QCOMPARE(task.errorCode(), ceSecRenameFailed);
    QCOMPARE(m_pair->distant().names(), QStringList()); // required: removed, and the sibling cleaned up
    QCOMPARE(m_pair->local().read(text("a.txt")), QByteArray("new"));
    if (traceLinesBuiltIn())
        QCOMPARE(
            trace.linesOf(text("Task: ")).filter(text("phase=")),
            QStringList(text("runSecuredCopy - phase=renameTempToDest FAIL temp='%1' dst='%2' renameMs=34")
                            .arg(match.captured(1), distant(text("a.txt")))));
}

void TestSyncTask::vanishedSiblingKeepsTheDestination()
{
    QVERIFY(m_pair->local().write(text("a.txt"), "new"));
    QVERIFY(m_pair->distant().write(text("a.txt"), "old"));
    ScriptedTask task(local(text("a.txt")), distant(text("a.txt")), ceStoCopy);
    task.at(kPlaceStart, [this] { QVERIFY(m_pair->distant().remove(m_pair->distant().names().last())); });
    QVERIFY(!task.runtask());
    QVERIFY(task.lastErrorMessage().startsWith(text("Failed to rename temporary file to destination: '")));
    QCOMPARE(task.errorCode(), ceSecRenameFailed);
    QCOMPARE(m_pair->distant().names(), QStringList(text("a.txt")));
    QCOMPARE(m_pair->distant().read(text("a.txt")), QByteArray("old"));
}

// ---- Associated directory ----

void TestSyncTask::carriesTheAssociatedDirectory()
{
    const Side& side = m_pair->local();
    QVERIFY(side.write(text("report.doc"), "report"));
    QVERIFY(side.write(text("report/picture.png"), "picture"));
    QVERIFY(side.write(text("report/fonts/a.ttf"), "font"));
    QVERIFY(m_pair->distant().write(text("report/picture.png"), "older picture"));
    ScriptedTask task(local(text("report.doc")), distant(text("report.doc")), ceStoCopy);
    TraceCapture trace;
    QVERIFY(task.runtask());
    QCOMPARE(m_pair->distant().allFiles(),
             QStringList({text("report.doc"), text("report/fonts/a.ttf"), text("report/picture.png")}));
    QCOMPARE(m_pair->distant().read(text("report/picture.png")), QByteArray("picture"));
    QCOMPARE(side.allFiles().size(), 3);
    QCOMPARE(trace.count(text("handleAssociatedDirectory")), 0);
}

void TestSyncTask::carriesOneLevelOnly()
{
    const Side& side = m_pair->local();
    QVERIFY(side.write(text("a.doc"), "a"));
    QVERIFY(side.write(text("a/top"), "1"));
    QVERIFY(side.write(text("a/.hidden"), "2"));
    QVERIFY(side.write(text("a/sub/inner"), "3"));
    QVERIFY(side.write(text("a/sub/.hidden"), "4"));
    QVERIFY(side.write(text("a/sub/deep/file"), "5"));
    QVERIFY(side.makeDirectory(text("a/empty")));
    QVERIFY(side.makeDirectory(text("a/.hiddendir")));
    QVERIFY(makeFifo(local(text("a/pipe"))));
    QVERIFY(QFile::link(local(text("a/nowhere")), local(text("a/dangling"))));
    ScriptedTask task(local(text("a.doc")), distant(text("a.doc")), ceStoCopy);
    QVERIFY(task.runtask());
    QCOMPARE(m_pair->distant().allFiles(), QStringList({text("a.doc"), text("a/sub/inner"), text("a/top")}));
    QVERIFY(m_pair->distant().exists(text("a/empty")));
    QVERIFY(!m_pair->distant().exists(text("a/sub/deep")));
    QVERIFY(!m_pair->distant().exists(text("a/.hiddendir")));
    QVERIFY(!m_pair->distant().exists(text("a/pipe")));
    QVERIFY(!m_pair->distant().exists(text("a/dangling")));
}

void TestSyncTask::associatedDirectoryFollowsTheDestinationsName()
{
    QVERIFY(m_pair->local().write(text("a.tar.gz"), "a"));
    QVERIFY(m_pair->local().write(text("a.tar/file"), "1"));
    ScriptedTask task(local(text("a.tar.gz")), distant(text("b.c.zip")), ceStoCopy);
    QVERIFY(task.runtask());
    QCOMPARE(m_pair->distant().allFiles(), QStringList({text("b.c.zip"), text("b.c/file")}));
}

void TestSyncTask::associatedDirectoryIsNeverScattered()
{
    QVERIFY(m_pair->local().write(text("a.doc"), "a"));
    QVERIFY(m_pair->local().write(text("a/file"), "1"));
    const QStringList names{text(".doc"), text("..doc"), text("...doc")};
    for (const QString& name : names) {
        ScriptedTask task(local(text("a.doc")), distant(name), ceStoMove);
        QVERIFY(!task.runtask());
        QVERIFY2(task.lastErrorMessage().startsWith(text("Failed to create associated directory: ")),
                 qPrintable(task.lastErrorMessage()));
        QCOMPARE(task.errorCode(), ceSecAssocDirCopyFailed);
    }
    QCOMPARE(m_pair->distant().allFiles(), QStringList({text("...doc"), text("..doc"), text(".doc")}));
    QVERIFY(!QFile::exists(m_pair->rootPath() + text("/file")));
    QCOMPARE(m_pair->local().allFiles(), QStringList({text("a.doc"), text("a/file")}));
}

void TestSyncTask::hiddenFileDragsNothing()
{
    QVERIFY(m_pair->local().write(text(".bashrc"), "rc"));
    QVERIFY(m_pair->local().write(text("other"), "o"));
    ScriptedTask task(local(text(".bashrc")), distant(text(".bashrc")), ceStoMove);
    QVERIFY(task.runtask());
    QCOMPARE(m_pair->distant().allFiles(), QStringList(text(".bashrc")));
    QCOMPARE(m_pair->local().allFiles(), QStringList(text("other")));
}

void TestSyncTask::associatedCopyFailureGoesOn()
{
    const Side& side = m_pair->local();
    QVERIFY(side.write(text("a.doc"), "a"));
    for (const char* name : {"a/one", "a/two", "a/three", "a/sub/four", "a/sub/five"})
        QVERIFY(side.write(text(name), name));
    // Directories in the place of two files.
    QVERIFY(m_pair->distant().write(text("a/two/inside"), "kept"));
    QVERIFY(m_pair->distant().write(text("a/sub/four/inside"), "kept"));
    ScriptedTask task(local(text("a.doc")), distant(text("a.doc")), ceStoMove);
    TraceCapture trace;
    QVERIFY(!task.runtask());

    QStringList messages = task.errorMessages();
    messages.sort();
    QCOMPARE(messages,
             QStringList(
                 {text("Failed to remove existing destination file: '%1'.").arg(distant(text("a/sub/four"))),
                  text("Failed to remove existing destination file: '%1'.").arg(distant(text("a/two")))}));
    QCOMPARE(task.errorCode(), ceSecAssocDirCopyFailed);
    QCOMPARE(m_pair->distant().allFiles(),
             QStringList({text("a.doc"), text("a/one"), text("a/sub/five"), text("a/sub/four/inside"),
                          text("a/three"), text("a/two/inside")}));
    QCOMPARE(side.allFiles().size(), 6); // a move that failed removes nothing
    if (traceLinesBuiltIn())
        QCOMPARE(
            trace.linesOf(text("Task: ")).filter(text("handleAssociatedDirectory - ")),
            QStringList(text("handleAssociatedDirectory - srcDir='%1' result=FAIL entries=4 elapsed=0 ms")
                            .arg(local(text("a")))));
}

void TestSyncTask::associatedDirectoryCannotBeMade()
{
    QVERIFY(m_pair->local().write(text("a.doc"), "a"));
    QVERIFY(m_pair->local().write(text("a/one"), "1"));
    QVERIFY(m_pair->distant().write(text("a"), "a file in its place"));
    ScriptedTask task(local(text("a.doc")), distant(text("a.doc")), ceStoCopy);
    TraceCapture trace;
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorMessages(),
             QStringList(text("Failed to create associated directory: ") + distant(text("a"))));
    QCOMPARE(task.errorCode(), ceSecAssocDirCopyFailed);
    QCOMPARE(m_pair->distant().read(text("a")), QByteArray("a file in its place"));
    QCOMPARE(m_pair->distant().read(text("a.doc")), QByteArray("a"));
    QCOMPARE(trace.count(text("handleAssociatedDirectory")), 0);
}

void TestSyncTask::associatedSubdirectoryCannotBeMade()
{
    QVERIFY(m_pair->local().write(text("a.doc"), "a"));
    QVERIFY(m_pair->local().write(text("a/sub/one"), "1"));
    QVERIFY(m_pair->local().write(text("a/two"), "2"));
    QVERIFY(m_pair->distant().write(text("a/sub"), "a file in its place"));
    ScriptedTask task(local(text("a.doc")), distant(text("a.doc")), ceStoCopy);
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorMessages(),
             QStringList(text("Failed to create subdirectory: ") + distant(text("a/sub"))));
    QCOMPARE(task.errorCode(), ceSecAssocDirCopyFailed);
    QCOMPARE(m_pair->distant().read(text("a/sub")), QByteArray("a file in its place"));
    QCOMPARE(m_pair->distant().read(text("a/two")), QByteArray("2"));
}

void TestSyncTask::associatedDirectoryCannotBeListed()
{
    QVERIFY(m_pair->local().write(text("a.doc"), "a"));
    QVERIFY(m_pair->local().write(text("a/one"), "1"));
    QVERIFY(m_pair->local().write(text("b.doc"), "b"));
    QVERIFY(m_pair->local().write(text("b/sub/one"), "1"));
    QVERIFY(openToEverybody());
    QVERIFY(setMode(local(text("a")), 0700));
    QVERIFY(setMode(local(text("b/sub")), 0700));
    ScriptedTask top(local(text("a.doc")), distant(text("a.doc")), ceStoCopy);
    ScriptedTask sub(local(text("b.doc")), distant(text("b.doc")), ceStoCopy);
    {
        const UnprivilegedScope user;
        if (!user.isActive())
            QSKIP("cannot become an ordinary user");
        QVERIFY(!top.runtask());
        QVERIFY(!sub.runtask());
    }
    QCOMPARE(top.errorMessages(),
             QStringList(text("Failed to list associated directory: ") + local(text("a"))));
    QCOMPARE(top.errorCode(), ceSecAssocDirCopyFailed);
    QCOMPARE(sub.errorMessages(),
             QStringList(text("Failed to list associated directory: ") + local(text("b/sub"))));
}

void TestSyncTask::associatedDirectorySlow_data()
{
    slowPlace_data();
}

void TestSyncTask::associatedDirectorySlow()
{
    QFETCH(int, renameMs);
    QFETCH(bool, isSlow);
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");
    QVERIFY(m_pair->local().write(text("a.doc"), "a"));
    QVERIFY(m_pair->local().write(text("a/one"), "1"));
    QVERIFY(m_pair->local().makeDirectory(text("a/sub")));
    ScriptedTask task(local(text("a.doc")), distant(text("a.doc")), ceStoCopy);
    // The copy of the file reads up to kCopyEnd; the directory's start, its one file, then its end.
    task.takes(kCopyEnd + 6, renameMs);
    TraceCapture trace;
    QVERIFY(task.runtask());
    QCOMPARE(task.readings(), kCopyEnd + 8);
    const QString line = text("handleAssociatedDirectory - srcDir='%1' result=OK entries=2 elapsed=200 ms")
                             .arg(local(text("a")));
    QCOMPARE(trace.linesOf(text("Task: ")).filter(text("handleAssociatedDirectory - ")),
             isSlow ? QStringList(line) : QStringList());
}

void TestSyncTask::failedCopyCarriesNothing()
{
    QVERIFY(m_pair->local().write(text("a/one"), "1"));
    ScriptedTask task(local(text("a.doc")), distant(text("a.doc")), ceStoCopy);
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorCode(), ceSecLocalFileMissing);
    QCOMPARE(m_pair->distant().names(), QStringList());
}

// ---- Move ----

void TestSyncTask::moveOfALoneFile()
{
    QVERIFY(m_pair->local().write(text("a.doc"), "a"));
    QVERIFY(m_pair->local().write(text("b.doc"), "b"));
    ScriptedTask task(local(text("a.doc")), distant(text("a.doc")), ceStoMove);
    QVERIFY(task.runtask());
    QCOMPARE(m_pair->local().names(), QStringList(text("b.doc")));
    QCOMPARE(m_pair->distant().read(text("a.doc")), QByteArray("a"));
    QCOMPARE(task.errorMessages(), QStringList());
}

void TestSyncTask::moveCarriesTheAssociatedDirectory()
{
    QVERIFY(m_pair->local().write(text("a.doc"), "a"));
    QVERIFY(m_pair->local().write(text("a/one"), "1"));
    QVERIFY(m_pair->local().write(text("a/sub/two"), "2"));
    QVERIFY(m_pair->local().makeDirectory(text("a/empty")));
    ScriptedTask task(local(text("a.doc")), distant(text("a.doc")), ceStoMove);
    TraceCapture trace;
    QVERIFY(task.runtask());
    QCOMPARE(m_pair->local().names(), QStringList());
    QCOMPARE(m_pair->distant().allFiles(), QStringList({text("a.doc"), text("a/one"), text("a/sub/two")}));
    QCOMPARE(trace.count(text("not carried")), 0);
}

void TestSyncTask::moveLeavesWhatItDidNotCarry()
{
    QVERIFY(m_pair->local().write(text("a.doc"), "a"));
    QVERIFY(m_pair->local().write(text("a/one"), "1"));
    QVERIFY(m_pair->local().write(text("a/.hidden"), "2"));
    QVERIFY(m_pair->local().write(text("a/sub/three"), "3"));
    QVERIFY(m_pair->local().write(text("a/sub/deep/four"), "4"));
    QVERIFY(m_pair->local().write(text("a/all/five"), "5"));
    ScriptedTask task(local(text("a.doc")), distant(text("a.doc")), ceStoMove);
    TraceCapture trace;
    QVERIFY(task.runtask());
    QCOMPARE(task.errorMessages(), QStringList());
    QCOMPARE(m_pair->local().allFiles(), QStringList({text("a/.hidden"), text("a/sub/deep/four")}));
    QVERIFY(!m_pair->local().exists(text("a/all")));
    QCOMPARE(m_pair->distant().allFiles(),
             QStringList({text("a.doc"), text("a/all/five"), text("a/one"), text("a/sub/three")}));
    if (traceLinesBuiltIn())
        QCOMPARE(
            trace.linesOf(text("Task: ")).filter(text("not carried")),
            QStringList(text("runtask - Entries that were not carried stay in: '%1'").arg(local(text("a")))));
}

void TestSyncTask::moveTakesALinkedDirectoryByItsLink()
{
    const QString elsewhere = m_pair->rootPath() + text("/elsewhere");
    const Side other(elsewhere);
    QVERIFY(other.write(text("file"), "theirs"));
    QVERIFY(m_pair->local().write(text("a.doc"), "a"));
    QVERIFY(m_pair->local().makeDirectory(text("a")));
    QVERIFY(QFile::link(elsewhere, local(text("a/linked"))));
    QVERIFY(m_pair->local().write(text("b.doc"), "b"));
    QVERIFY(QFile::link(elsewhere, local(text("b"))));

    ScriptedTask inside(local(text("a.doc")), distant(text("a.doc")), ceStoMove);
    QVERIFY(inside.runtask());
    ScriptedTask itself(local(text("b.doc")), distant(text("b.doc")), ceStoMove);
    QVERIFY(itself.runtask());
    QCOMPARE(m_pair->local().names(), QStringList());
    QCOMPARE(other.read(text("file")), QByteArray("theirs"));
    QCOMPARE(m_pair->distant().allFiles(),
             QStringList({text("a.doc"), text("a/linked/file"), text("b.doc"), text("b/file")}));
}

void TestSyncTask::moveCannotRemoveTheAssociatedDirectory()
{
    QVERIFY(m_pair->local().write(text("a.doc"), "a"));
    QVERIFY(m_pair->local().write(text("a/one"), "1"));
    QVERIFY(openToEverybody());
    QVERIFY(setMode(m_pair->localPath(), 0777));
    ScriptedTask task(local(text("a.doc")), distant(text("a.doc")), ceStoMove);
    {
        const UnprivilegedScope user;
        if (!user.isActive())
            QSKIP("cannot become an ordinary user");
        QVERIFY(!task.runtask());
    }
    QCOMPARE(task.errorMessages(),
             QStringList(text("Failed to remove source directory: ") + local(text("a"))));
    QCOMPARE(task.errorCode(), ceSecLocalDirRemoveFailed);
    QCOMPARE(m_pair->local().allFiles(), QStringList(text("a/one")));
    QCOMPARE(m_pair->distant().allFiles(), QStringList({text("a.doc"), text("a/one")}));
}

void TestSyncTask::moveCannotRemoveAnEmptyDirectory()
{
    QVERIFY(m_pair->local().write(text("a.doc"), "a"));
    QVERIFY(m_pair->local().makeDirectory(text("a")));
    QVERIFY(openToEverybody());
    ScriptedTask task(local(text("a.doc")), distant(text("a.doc")), ceStoMove);
    {
        const UnprivilegedScope user;
        if (!user.isActive())
            QSKIP("cannot become an ordinary user");
        QVERIFY(!task.runtask());
    }
    QCOMPARE(task.errorMessages(),
             QStringList(text("Failed to remove source directory: ") + local(text("a"))));
    QCOMPARE(task.errorCode(), ceSecLocalDirRemoveFailed);
    QCOMPARE(m_pair->local().names(), QStringList({text("a"), text("a.doc")}));
}

void TestSyncTask::moveIgnoresThatTheSourceStays()
{
    QVERIFY(m_pair->local().write(text("a.doc"), "a"));
    QVERIFY(openToEverybody());
    ScriptedTask task(local(text("a.doc")), distant(text("a.doc")), ceStoMove);
    {
        const UnprivilegedScope user;
        if (!user.isActive())
            QSKIP("cannot become an ordinary user");
        QVERIFY(task.runtask());
    }
    QCOMPARE(task.errorMessages(), QStringList());
    QCOMPARE(m_pair->local().read(text("a.doc")), QByteArray("a"));
    QCOMPARE(m_pair->distant().read(text("a.doc")), QByteArray("a"));
}

void TestSyncTask::moveOntoItselfKeepsTheFile()
{
    QVERIFY(m_pair->local().write(text("a.doc"), "a"));
    const QString detour = m_pair->rootPath() + text("/detour");
    QVERIFY(QFile::link(m_pair->localPath(), detour));
    ScriptedTask there(local(text("a.doc")), detour + text("/a.doc"), ceStoMove);
    QVERIFY(there.runtask());
    QCOMPARE(m_pair->local().read(text("a.doc")), QByteArray("a"));
    ScriptedTask back(local(text("a.doc")), detour + text("/a.doc"), ceStoMoveBack);
    QVERIFY(back.runtask());
    QCOMPARE(m_pair->local().read(text("a.doc")), QByteArray("a"));
    QCOMPARE(m_pair->local().names(), QStringList(text("a.doc")));
}

void TestSyncTask::failedMoveKeepsTheSource()
{
    QVERIFY(m_pair->local().write(text("a.doc"), "a"));
    QVERIFY(m_pair->distant().write(text("a.doc"), "old"));
    ScriptedTask task(local(text("a.doc")), distant(text("a.doc")), ceStoMove);
    task.at(kCopyEnd, [this] { QVERIFY(m_pair->local().append(text("a.doc"), "b")); });
    QVERIFY(!task.runtask());
    QCOMPARE(m_pair->local().read(text("a.doc")), QByteArray("ab"));
    QCOMPARE(m_pair->distant().read(text("a.doc")), QByteArray("old"));
}

// ---- Move back ----

void TestSyncTask::moveBackCopiesFromTheDestination()
{
    QVERIFY(m_pair->local().write(text("a.doc"), "stale"));
    QVERIFY(m_pair->local().write(text("a/mine"), "1"));
    QVERIFY(m_pair->distant().write(text("a.doc"), "kept in the trash"));
    QVERIFY(m_pair->distant().write(text("a/theirs"), "2"));
    ScriptedTask task(local(text("a.doc")), distant(text("a.doc")), ceStoMoveBack);
    QVERIFY(task.runtask());
    QCOMPARE(m_pair->local().read(text("a.doc")), QByteArray("kept in the trash"));
    QCOMPARE(m_pair->local().allFiles(), QStringList({text("a.doc"), text("a/mine")}));
    QCOMPARE(m_pair->distant().allFiles(), QStringList(text("a/theirs")));
}

void TestSyncTask::moveBackWithoutDestination()
{
    QVERIFY(m_pair->local().write(text("a.doc"), "kept"));
    ScriptedTask task(local(text("a.doc")), distant(text("a.doc")), ceStoMoveBack);
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorMessages(),
             QStringList(text("Source file does not exist: '%1'.").arg(distant(text("a.doc")))));
    QCOMPARE(task.errorCode(), ceSecLocalFileMissing);
    QCOMPARE(m_pair->local().read(text("a.doc")), QByteArray("kept"));
}

// ---- Rename ----

void TestSyncTask::renames()
{
    QVERIFY(m_pair->distant().write(text("a.doc"), "a"));
    const QDateTime time(QDate(2020, 1, 2), QTime(3, 4, 5), Qt::UTC);
    QVERIFY(m_pair->distant().setLmd(text("a.doc"), time));
    ScriptedTask task(distant(text("a.doc")), distant(text("b.doc")), ceStoRename);
    TraceCapture trace;
    QVERIFY(task.runtask());
    QCOMPARE(m_pair->distant().names(), QStringList(text("b.doc")));
    QCOMPARE(m_pair->distant().lmd(text("b.doc")), time); // renamed, not copied
    QCOMPARE(task.readings(), kRenameEnd + 2);
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf(text("Task: ")),
                 QStringList(text("runtask - op=ceStoRename src='%1' result=OK size=1 elapsed=0 ms")
                                 .arg(distant(text("a.doc")))));
}

void TestSyncTask::renameOfAnAbsentSource()
{
    QVERIFY(m_pair->distant().write(text("b.doc"), "kept"));
    ScriptedTask task(distant(text("a.doc")), distant(text("b.doc")), ceStoRename);
    TraceCapture trace;
    QVERIFY(task.runtask());
    QCOMPARE(task.errorMessages(), QStringList());
    QCOMPARE(task.errorCode(), ceSecNone);
    QCOMPARE(m_pair->distant().read(text("b.doc")), QByteArray("kept"));
    if (traceLinesBuiltIn())
        QCOMPARE(
            trace.linesOf(text("Task: ")),
            QStringList(
                {text("checkFilePath - Warning: File 'b.doc' already exists, it will be replaced"),
                 text("doRename - Source already absent on distant, no-op: '%1'").arg(distant(text("a.doc"))),
                 text("runtask - op=ceStoRename src='%1' result=OK size=0 elapsed=0 ms")
                     .arg(distant(text("a.doc")))}));
}

void TestSyncTask::renameOfAnUnknownSourceFails()
{
    // The source's directory is away, as an unmounted share is: that does not make the source absent.
    QVERIFY(m_pair->distant().write(text("b.doc"), "kept"));
    const QString source = m_pair->rootPath() + text("/away/a.doc");
    ScriptedTask task(source, distant(text("b.doc")), ceStoRename);
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorMessages(), QStringList(text("ERROR: Failed to rename distant file from '%1' to '%2'.")
                                                   .arg(source, distant(text("b.doc")))));
    QCOMPARE(task.errorCode(), ceSecDistantRenameFailed);
    QCOMPARE(m_pair->distant().read(text("b.doc")), QByteArray("kept"));
}

void TestSyncTask::renameReplacesAnExistingFile()
{
    QVERIFY(m_pair->distant().write(text("a.doc"), "a"));
    QVERIFY(m_pair->distant().write(text("b.doc"), "b"));
    ScriptedTask task(distant(text("a.doc")), distant(text("b.doc")), ceStoRename);
    QVERIFY(task.runtask());
    QCOMPARE(m_pair->distant().names(), QStringList(text("b.doc")));
    QCOMPARE(m_pair->distant().read(text("b.doc")), QByteArray("a"));
    QCOMPARE(task.readings(), kRenameEnd + 2); // one rename over it, no removal
}

void TestSyncTask::renameSlow_data()
{
    slowPlace_data();
}

void TestSyncTask::renameSlow()
{
    QFETCH(int, renameMs);
    QFETCH(bool, isSlow);
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");
    QVERIFY(m_pair->distant().write(text("a.doc"), "a"));
    ScriptedTask task(distant(text("a.doc")), distant(text("b.doc")), ceStoRename);
    task.takes(kRenameEnd, renameMs);
    TraceCapture trace;
    QVERIFY(task.runtask());
    const QString line = text("doRename - phase=rename SLOW src='%1' dst='%2' renameMs=200")
                             .arg(distant(text("a.doc")), distant(text("b.doc")));
    QCOMPARE(trace.linesOf(text("Task: ")).filter(text("phase=")),
             isSlow ? QStringList(line) : QStringList());
}

void TestSyncTask::renameFallsBack()
{
    QVERIFY(m_pair->distant().write(text("a.doc"), "a"));
    QVERIFY(m_pair->distant().write(text("b.doc"), "b"));
    ScriptedTask task(distant(text("a.doc")), distant(text("b.doc")), ceStoRename);
    renameRefusal = RenameRefusal::OverExisting;
    QVERIFY(task.runtask());
    QCOMPARE(m_pair->distant().names(), QStringList(text("b.doc")));
    QCOMPARE(m_pair->distant().read(text("b.doc")), QByteArray("a"));
    QCOMPARE(task.errorMessages(), QStringList());
    QCOMPARE(task.readings(), kRenameEnd + 4 + 2);
}

void TestSyncTask::renameFallsBackSlowly_data()
{
    refusedRenameSlowPhases_data();
}

void TestSyncTask::renameFallsBackSlowly()
{
    QFETCH(int, removeMs);
    QFETCH(int, renameMs);
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");
    QVERIFY(m_pair->distant().write(text("a.doc"), "a"));
    QVERIFY(m_pair->distant().write(text("b.doc"), "b"));
    ScriptedTask task(distant(text("a.doc")), distant(text("b.doc")), ceStoRename);
    renameRefusal = RenameRefusal::OverExisting;
    task.takes(kRenameEnd + 2, removeMs);
    task.takes(kRenameEnd + 4, renameMs);
    TraceCapture trace;
    QVERIFY(task.runtask());

    QStringList expected;
    if (removeMs == 200)
        expected << text("doRename - phase=removeExistingDst SLOW dst='%1' removeMs=200")
                        .arg(distant(text("b.doc")));
    if (renameMs == 200)
        expected << text("doRename - phase=rename SLOW src='%1' dst='%2' renameMs=200")
                        .arg(distant(text("a.doc")), distant(text("b.doc")));
    QCOMPARE(trace.linesOf(text("Task: ")).filter(text("phase=")), expected);
}

void TestSyncTask::renameCannotRemoveTheTarget()
{
    QVERIFY(m_pair->distant().write(text("a.doc"), "a"));
    ScriptedTask task(distant(text("a.doc")), distant(text("b.doc")), ceStoRename);
    task.at(kRenameStart, [this] { QVERIFY(m_pair->distant().write(text("b.doc/inside"), "kept")); });
    task.takes(kRenameEnd + 2, 5);
    TraceCapture trace;
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorMessages(),
             QStringList(text("ERROR: Cannot remove existing destination before rename: '%1'.")
                             .arg(distant(text("b.doc")))));
    QCOMPARE(task.errorCode(), ceSecDistantRenameFailed);
    QCOMPARE(m_pair->distant().allFiles(), QStringList({text("a.doc"), text("b.doc/inside")}));
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf(text("Task: ")).filter(text("phase=")),
                 QStringList(text("doRename - phase=removeExistingDst FAIL dst='%1' removeMs=5")
                                 .arg(distant(text("b.doc")))));
}

void TestSyncTask::renameFails()
{
    QVERIFY(m_pair->distant().write(text("a.doc"), "a"));
    ScriptedTask task(distant(text("a.doc")), distant(text("b.doc")), ceStoRename);
    renameRefusal = RenameRefusal::Always;
    task.takes(kRenameEnd, 6);
    TraceCapture trace;
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorMessages(), QStringList(text("ERROR: Failed to rename distant file from '%1' to '%2'.")
                                                   .arg(distant(text("a.doc")), distant(text("b.doc")))));
    QCOMPARE(task.errorCode(), ceSecDistantRenameFailed);
    QCOMPARE(m_pair->distant().names(), QStringList(text("a.doc")));
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf(text("Task: ")).filter(text("phase=")),
                 QStringList(text("doRename - phase=rename FAIL src='%1' dst='%2' renameMs=6")
                                 .arg(distant(text("a.doc")), distant(text("b.doc")))));
}

void TestSyncTask::renameKeepsTheTargetWhenTheSourceVanishes()
{
    QVERIFY(m_pair->distant().write(text("a.doc"), "a"));
    QVERIFY(m_pair->distant().write(text("b.doc"), "b"));
    ScriptedTask task(distant(text("a.doc")), distant(text("b.doc")), ceStoRename);
    task.at(kRenameStart, [this] { QVERIFY(m_pair->distant().remove(text("a.doc"))); });
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorCode(), ceSecDistantRenameFailed);
    QCOMPARE(m_pair->distant().read(text("b.doc")), QByteArray("b"));
}

void TestSyncTask::renameNeverRemovesTheSourceUnderAnotherName()
{
    // What a case-insensitive share looks like: two names, one file, and a rename that is refused.
    QVERIFY(m_pair->distant().write(text("a.doc"), "the only copy"));
    const QString detour = m_pair->rootPath() + text("/detour");
    QVERIFY(QFile::link(m_pair->distantPath(), detour));
    ScriptedTask task(distant(text("a.doc")), detour + text("/a.doc"), ceStoRename);
    renameRefusal = RenameRefusal::OverExisting;
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorMessages(), QStringList(text("ERROR: Failed to rename distant file from '%1' to '%2'.")
                                                   .arg(distant(text("a.doc")), detour + text("/a.doc"))));
    QCOMPARE(m_pair->distant().read(text("a.doc")), QByteArray("the only copy"));
}

void TestSyncTask::renameNeedsItsDirectory()
{
    QVERIFY(m_pair->distant().write(text("a.doc"), "a"));
    ScriptedTask task(distant(text("a.doc")), distant(text("gone/b.doc")), ceStoRename);
    QVERIFY(!task.runtask());
    QCOMPARE(task.errorMessages(),
             QStringList(text("ERROR: Task can't run, destination path not available: '%1'.")
                             .arg(distant(text("gone/b.doc")))));
    QCOMPARE(task.errorCode(), ceSecDistantDirMissing);
    QCOMPARE(m_pair->distant().names(), QStringList(text("a.doc")));
}

QTEST_GUILESS_MAIN(TestSyncTask)
#include "test_sync_task.moc"
