#include "big_files.h"
#include "host.h"
#include "literals.h"
#include "mounts.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRandomGenerator>
#include <QTest>
#include <QThread>

#include <atomic>
#include <memory>
#include <sched.h>
#include <vector>

using namespace VornSyncTest;

namespace {

// Three threads, 2000 ms each, and some for a loaded machine.
constexpr qint64 kBoundMs = 6000 + 4000;
constexpr int kLoopCount = 50;

quint32 chosenSeed()
{
    bool isGiven = false;
    const quint32 given = qEnvironmentVariable("VORN_TEST_SEED").toUInt(&isGiven);
    return isGiven ? given : QRandomGenerator::global()->generate();
}

// Keeps a core busy while it lives.
class Load
{
    Q_DISABLE_COPY_MOVE(Load)

public:
    Load()
        : m_thread(QThread::create([this] {
            while (!m_isOver.load(std::memory_order_relaxed)) {
            }
        }))
    {
        m_thread->start();
    }
    ~Load()
    {
        m_isOver = true;
        m_thread->wait();
    }

private:
    std::atomic<bool> m_isOver{false};
    std::unique_ptr<QThread> m_thread;
};

constexpr qint64 kBigBytes = 512LL * 1024 * 1024;

// The thread that copies gets the processor only when nobody else wants it: under load a copy then takes as
// long as it likes. The kernel knows the thread by the first 15 characters of its name.
bool slowDownWorker()
{
    const QStringList threads = QDir("/proc/self/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& thread : threads) {
        QFile name("/proc/self/task/%1/comm"_s.arg(thread));
        if (!name.open(QIODevice::ReadOnly) || name.readAll().trimmed() != "SyncWorkerThrea")
            continue;
        const sched_param parameters = {};
        return ::sched_setscheduler(thread.toInt(), SCHED_IDLE, &parameters) == 0;
    }
    return false;
}

std::vector<std::unique_ptr<Load>> loadOnEveryCore()
{
    std::vector<std::unique_ptr<Load>> result;
    for (int i = 0; i < 2 * QThread::idealThreadCount(); ++i)
        result.push_back(std::make_unique<Load>());
    return result;
}

} // namespace

class TestDestruction : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void immediatelyAfterConstruction();
    void atAnyMoment();
    void whileABigFileIsSent();
    void aProcessMayEndBeforeItsUnfinishedCopy();
    void twoManagersDoNotMeet();

private:
    QRandomGenerator m_random;
};

void TestDestruction::initTestCase()
{
    const quint32 seed = chosenSeed();
    qInfo("VORN_TEST_SEED=%u", seed);
    m_random.seed(seed);
}

void TestDestruction::immediatelyAfterConstruction()
{
    Host host;
    const Load first;
    const Load second;
    for (int i = 0; i < kLoopCount; ++i) {
        host.create();
        if (i % 2 == 0)
            QVERIFY(host.registerPairs());
        host.stop();
    }
    QCOMPARE(host.errors(), QStringList());
    QCOMPARE(host.trace().criticals(), QStringList());
    QCOMPARE(host.trace().warnings(), QStringList());
    QCOMPARE(host.raw().integrityProblems(), QString());
}

void TestDestruction::atAnyMoment()
{
    HostOptions options;
    options.syncIntervalMs = 10; // a pass almost always runs
    Host host(options);
    for (int i = 0; i < 300; ++i)
        QVERIFY(host.local().write("file %1"_s.arg(i), QByteArray(i * 10, 'x')));
    const Load first;
    const Load second;
    qint64 longestMs = 0;
    for (int i = 0; i < kLoopCount; ++i) {
        QVERIFY(host.start());
        const qint64 delayMs = m_random.bounded(400);
        QElapsedTimer elapsed;
        elapsed.start();
        QVERIFY(waitFor([&] { return elapsed.elapsed() >= delayMs; })); // the moment is the point
        elapsed.restart();
        host.stop();
        longestMs = qMax(longestMs, elapsed.elapsed());
    }
    QVERIFY2(longestMs < kBoundMs, qPrintable(QString::number(longestMs)));
    QCOMPARE(host.errors(), QStringList());
    QCOMPARE(host.trace().criticals(), QStringList());
    QCOMPARE(host.trace().warnings(), QStringList());
    QCOMPARE(host.raw().integrityProblems(), QString());
    QCOMPARE(host.pair().temporaryFiles(), QStringList());
}

void TestDestruction::whileABigFileIsSent()
{
    Host host;
    TmpfsMount mount(host.pair().distantPath(), "size=600m"_s);
    if (!mount.isMounted())
        QSKIP(qPrintable(mount.reason()));
    QVERIFY(makeSparse(host.local().filePath("big.bin"_s), kBigBytes));
    QVERIFY(host.start());
    QVERIFY(waitFor(slowDownWorker)); // once it has taken its name
    auto load = loadOnEveryCore();
    // The copy has no name before it is complete.
    QVERIFY(waitFor([&] { return bytesIn(mount.path()) > 1024 * 1024; }));
    QElapsedTimer elapsed;
    elapsed.start();
    host.stop();
    const qint64 stopMs = elapsed.elapsed();
    QVERIFY2(stopMs < kBoundMs, qPrintable(QString::number(stopMs)));
    QVERIFY2(!host.distant().exists("big.bin"_s), "the copy was too quick to be in the way");
    QCOMPARE(host.takeErrors(), QStringList{"ERROR: Failed to stop worker thread"_s});

    // It ends by itself. What becomes of it is told to nobody.
    const int started = int(host.started().size());
    load.clear();
    QVERIFY(waitFor([&] { return host.distant().exists("big.bin"_s); }, 120000));
    QCOMPARE(host.started().size(), started);
    QCOMPARE(host.completed().size(), 0);
    QCOMPARE(host.errors(), QStringList());
    QCOMPARE(host.trace().criticals(), QStringList());
    QCOMPARE(host.raw().integrityProblems(), QString());

    QVERIFY(makeSparse(host.local().filePath("big.bin"_s), 1024 * 1024));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
}

// The same in a process of its own, whose event loop and static objects end under the unfinished copy.
void TestDestruction::aProcessMayEndBeforeItsUnfinishedCopy()
{
    Host host;
    TmpfsMount mount(host.pair().distantPath(), "size=600m"_s);
    if (!mount.isMounted())
        QSKIP(qPrintable(mount.reason()));
    QVERIFY(makeSparse(host.local().filePath("big.bin"_s), kBigBytes));
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    // Qt's own static objects (its text codec for one) are destroyed at exit under the thread that is left to its
    // copy: a race that the bounded shutdown accepts, and that a thread sanitizer would report.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("TSAN_OPTIONS"_s,
                       environment.value("TSAN_OPTIONS"_s) + " report_bugs=0 atexit_sleep_ms=0"_s);
    process.setProcessEnvironment(environment);
    process.start(QCoreApplication::applicationFilePath(),
                  {"--mirror-and-quit"_s, host.databasePath(), host.trashRoot(), host.pair().localPath(),
                   host.pair().distantPath()});
    QVERIFY2(process.waitForStarted(), qPrintable(process.errorString()));
    QVERIFY(process.waitForFinished(120000));
    const QByteArray output = process.readAll();
    QVERIFY2(process.exitStatus() == QProcess::NormalExit, output.constData());
    QVERIFY2(process.exitCode() == 0, output.constData());
    QVERIFY2(!host.distant().exists("big.bin"_s), "the copy was too quick to be in the way");
    QCOMPARE(host.raw().integrityProblems(), QString());

    QVERIFY(makeSparse(host.local().filePath("big.bin"_s), 1024 * 1024));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
}

void TestDestruction::twoManagersDoNotMeet()
{
    Host first;
    auto second = std::make_unique<Host>();
    for (int i = 0; i < 6; ++i) {
        QVERIFY(first.local().write("file %1"_s.arg(i), "first" + QByteArray(i, '1')));
        QVERIFY(second->local().write("file %1"_s.arg(i), "second" + QByteArray(i, '2')));
    }
    QVERIFY(first.start());
    QVERIFY(second->start());
    VERIFY_AT_REST(first);
    VERIFY_AT_REST(*second);
    QCOMPARE(first.completed().size(), 6);
    QCOMPARE(second->completed().size(), 6);
    for (int i = 0; i < 5; ++i) {
        second->stop();
        QVERIFY(first.local().append("file 1"_s, " more"));
        QVERIFY(second->start());
        QVERIFY(second->local().append("file 2"_s, " more"));
        VERIFY_AT_REST(first);
    }
    VERIFY_AT_REST(*second);
    second.reset();
    QVERIFY(first.local().append("file 3"_s, " more"));
    VERIFY_AT_REST(first);
}

namespace {

// Ends as soon as its copy has begun.
int mirrorAndQuit(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const auto load = loadOnEveryCore(); // outlives the manager
    VornSyncManager manager(arguments.at(2), arguments.at(3), 100, QStringList());
    if (!manager.addDirectory(Host::alias(), arguments.at(4), arguments.at(5)))
        return 1;
    if (!waitFor(slowDownWorker))
        return 3;
    const bool isRunning = waitFor([&] { return bytesIn(arguments.at(5)) > 1024 * 1024; });
    return isRunning ? 0 : 2;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 6 && qstrcmp(argv[1], "--mirror-and-quit") == 0)
        return mirrorAndQuit(argc, argv);
    QCoreApplication application(argc, argv);
    TestDestruction test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_destruction.moc"
