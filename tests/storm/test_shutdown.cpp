#include "literals.h"
#include "thread_watch.h"
#include "throttled_host.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QProcessEnvironment>
#include <QSocketNotifier>
#include <QTest>
#include <QTimer>

#include <memory>
#include <unistd.h>

using namespace VornSyncTest;

namespace {

// Three threads, 2000 ms each, and some for a loaded machine.
constexpr qint64 kBoundMs = 6000 + 4000;

constexpr int kCycleMs = 30; // a pass almost always runs
constexpr int kBytesPerSecond = 256 * 1024;
constexpr int kBigBytes = 4 * kBytesPerSecond; // longer than a thread is waited for
constexpr int kTrackedFiles = 400;             // a pass or a verification of them is met in the middle
constexpr int kQueuedFiles = 6;

const QString kWorkerFailure = QStringLiteral("ERROR: Failed to stop worker thread");
const QString kSynchronizerFailure = QStringLiteral("ERROR: Failed to stop synchronizer thread");

enum class State {
    Idle,
    FirstPass,
    Copying,
    WaitingToRetry,
    Paused,
    FileReadyPending,
    Verifying,
    Resetting,
    RenameLocked,
    Queued,
};

bool isInACopy(State state)
{
    return state == State::Copying || state == State::FileReadyPending || state == State::Resetting;
}

} // namespace

Q_DECLARE_METATYPE(State)

class TestShutdown : public QObject
{
    Q_OBJECT

private slots:
    void inEveryState_data();
    void inEveryState();
    void ofAProcessWhoseShareHangs();
    void cleanup() { m_share.reset(); }

private:
    bool track(int count);
    bool start();
    bool bring(State state);
    bool bringCopy();
    bool bringFileReady();
    bool bringRetry();
    bool bringQueue();
    void shutDown(State state);
    QStringList heard() const;

    std::unique_ptr<ThrottledHost> m_share;
    qint64 m_shutdownMs = 0;
};

// --- The states -----------------------------------------------------------------------------------------

// Mirrored by an earlier run of the host.
bool TestShutdown::track(int count)
{
    const QDateTime time = QDateTime::currentDateTimeUtc().addDays(-1);
    Host& host = m_share->host;
    QStringList statements{"BEGIN"_s};
    for (int i = 0; i < count; ++i) {
        const QString name = "tracked %1"_s.arg(i);
        for (const Side* side : {&host.local(), &m_share->server()}) {
            if (!side->write(name, "tracked") || !side->setLmd(name, time))
                return false;
        }
        statements
            << "INSERT INTO file_tracking (file_name, directories_id, size, local_lmd, distant_lmd, status, "
               "error_code) VALUES ('%1', %2, 7, '%3', '%3', 17, 0)"_s.arg(
                   name, QString::number(host.directoryId()), time.toString(Qt::ISODate));
    }
    return host.raw().execAll(statements << "COMMIT"_s);
}

bool TestShutdown::start()
{
    Host& host = m_share->host;
    return host.local().write("small.txt"_s, "small") && host.start() && host.settle().isEmpty();
}

bool TestShutdown::bringCopy()
{
    Host& host = m_share->host;
    if (!host.local().write("big.bin"_s, QByteArray(kBigBytes, 'b')))
        return false;
    return waitFor([&] {
        return host.started().contains(host.local().filePath("big.bin"_s)) &&
               threadsThatWait(ThreadWait::ForAnswer).contains("SyncWorkerThrea"_s);
    });
}

bool TestShutdown::bringFileReady()
{
    Host& host = m_share->host;
    if (!m_share->server().write("theirs.bin"_s, QByteArray(kBigBytes, 't')))
        return false;
    host.manager()->requestFileReady(host.distant().filePath("theirs.bin"_s));
    return !host.manager()->isIdle() &&
           waitFor([&] { return threadsThatWait(ThreadWait::ForPage).contains("SyncWorkerThrea"_s); });
}

bool TestShutdown::bringRetry()
{
    return m_share->server().makeDirectory("blocked.txt"_s) &&
           m_share->host.local().write("blocked.txt"_s, "blocked") && waitFor([&] {
               return m_share->host.trace().contains("'blocked.txt' FAILED => Retry to do it (1 / 5)"_s);
           });
}

bool TestShutdown::bringQueue()
{
    Host& host = m_share->host;
    for (int i = 0; i < kQueuedFiles; ++i) {
        if (!host.local().write("queued %1"_s.arg(i), "queued"))
            return false;
    }
    const int started = int(host.started().size());
    return waitFor([&] { return host.started().size() > started; });
}

bool TestShutdown::bring(State state)
{
    Host& host = m_share->host;
    switch (state) {
    case State::Idle:
        return true;
    case State::FirstPass: {
        CycleWatch passes(host.local().path());
        host.stop();
        return track(kTrackedFiles) && host.start() && waitFor([&] { return passes.count() > 0; });
    }
    case State::Copying:
    case State::Resetting:
        return bringCopy();
    case State::WaitingToRetry:
        return bringRetry();
    case State::Paused:
        host.manager()->pauseAll();
        return host.local().append("small.txt"_s, " more");
    case State::FileReadyPending:
        return bringFileReady();
    case State::Verifying:
        host.stop();
        host.trace().clear();
        return track(kTrackedFiles) && host.start() &&
               waitFor([&] { return host.trace().contains("Refilled queue with"_s); });
    case State::RenameLocked:
        return waitFor(
            [&] { return host.manager()->lockForRename(Host::alias(), "small.txt"_s, "renamed.txt"_s); });
    case State::Queued:
        return bringQueue();
    }
    return false;
}

// --- The end --------------------------------------------------------------------------------------------

void TestShutdown::shutDown(State state)
{
    Host& host = m_share->host;
    QElapsedTimer clock;
    if (state != State::Resetting) {
        clock.start();
        host.stop();
        m_shutdownMs = clock.elapsed();
        return;
    }
    // From inside the loop in which the reset waits for the copy.
    bool isDeleted = false;
    QTimer::singleShot(0, &host, [&] {
        clock.start();
        VornSyncManager* manager = host.releaseManager();
        connect(manager, &QObject::destroyed, this, [&] { isDeleted = true; });
        manager->deleteLater();
    });
    QVERIFY(!host.manager()->resetSyncDatabase(kWaitMs));
    m_shutdownMs = clock.elapsed();
    QVERIFY(isDeleted);
}

QStringList TestShutdown::heard() const
{
    const Host& host = m_share->host;
    return {host.started().join(QLatin1Char('|')), QString::number(host.completed().size()),
            QString::number(host.idleChanges().size()), host.errors().join(QLatin1Char('|'))};
}

void TestShutdown::inEveryState_data()
{
    QTest::addColumn<State>("state");
    QTest::addColumn<bool>("isHanging");
    const QList<QPair<const char*, State>> states = {{"idle", State::Idle},
                                                     {"first pass", State::FirstPass},
                                                     {"copying", State::Copying},
                                                     {"waiting to retry", State::WaitingToRetry},
                                                     {"paused", State::Paused},
                                                     {"file-ready copy pending", State::FileReadyPending},
                                                     {"verifying", State::Verifying},
                                                     {"draining for a reset", State::Resetting},
                                                     {"rename locked", State::RenameLocked},
                                                     {"tasks queued", State::Queued}};
    for (const auto& [name, state] : states) {
        QTest::newRow(name) << state << false;
        QTest::addRow("%s, on a share that hangs", name) << state << true;
    }
}

void TestShutdown::inEveryState()
{
    QFETCH(State, state);
    QFETCH(bool, isHanging);
    if ((state == State::Verifying || state == State::WaitingToRetry) && !traceLinesBuiltIn())
        QSKIP("only a trace line tells when a verification begins, or the first run of a task fails");
    m_share = std::make_unique<ThrottledHost>(kCycleMs);
    Host& host = m_share->host;
    const QString reason = m_share->setRates({kBytesPerSecond, kBytesPerSecond});
    if (!reason.isEmpty())
        QSKIP(qPrintable(reason));
    QVERIFY(start());
    QVERIFY(bring(state));
    if (isHanging) {
        QVERIFY(m_share->freeze());
        // Paused, nothing looks at the share.
        if (state != State::Paused)
            QVERIFY(awaitHang());
    }
    const QStringList localBefore = host.local().names();

    shutDown(state);
    QVERIFY2(m_shutdownMs < kBoundMs, qPrintable(QString::number(m_shutdownMs)));
    QStringList failures = host.takeErrors();
    if (isHanging && state != State::Paused)
        QVERIFY(!failures.isEmpty());
    if (isInACopy(state))
        QVERIFY(failures.removeOne(kWorkerFailure));
    if (isHanging) {
        failures.removeOne(kWorkerFailure);
        failures.removeOne(kSynchronizerFailure);
    }
    QCOMPARE(failures, QStringList());

    // What was let go ends by itself, and nobody hears of it.
    const QStringList heardBefore = heard();
    m_share->thaw();
    QVERIFY(waitFor([] { return libraryThreads().isEmpty(); }, 4 * kWaitMs));
    // Whatever those threads posted before they ended.
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
    QCOMPARE(heard(), heardBefore);
    QCOMPARE(host.trace().criticals(), QStringList());
    QCOMPARE(host.trace().warnings(), QStringList());
    QCOMPARE(host.raw().integrityProblems(), QString());
    for (const QString& name : localBefore)
        QVERIFY2(host.local().exists(name), qPrintable(name));

    // The next start goes on from there.
    if (state == State::WaitingToRetry)
        QVERIFY(m_share->server().remove("blocked.txt"_s));
    QCOMPARE(m_share->setRates({}), QString());
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    host.stop();
}

// Its threads are in the share's hands when the process ends.
void TestShutdown::ofAProcessWhoseShareHangs()
{
    m_share = std::make_unique<ThrottledHost>(kCycleMs);
    Host& host = m_share->host;
    const QString reason = m_share->setRates({});
    if (!reason.isEmpty())
        QSKIP(qPrintable(reason));
    QVERIFY(host.local().write("small.txt"_s, "small"));
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    // To look for leaks a sanitizer stops every thread, which one in the share's hands does when that answers. And
    // Qt's own static objects are destroyed under it, which a thread sanitizer would report.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("ASAN_OPTIONS"_s, environment.value("ASAN_OPTIONS"_s) + ":detect_leaks=0"_s);
    environment.insert("TSAN_OPTIONS"_s,
                       environment.value("TSAN_OPTIONS"_s) + " report_bugs=0 atexit_sleep_ms=0"_s);
    process.setProcessEnvironment(environment);
    process.start(QCoreApplication::applicationFilePath(),
                  {"--mirror"_s, host.databasePath(), host.trashRoot(), host.pair().localPath(),
                   host.pair().distantPath()});
    QVERIFY2(process.waitForStarted(), qPrintable(process.errorString()));
    QVERIFY(waitFor([&] { return m_share->server().exists("small.txt"_s); }));
    QVERIFY(m_share->freeze());
    QVERIFY(awaitHang(process.processId()));
    QElapsedTimer clock;
    clock.start();
    process.closeWriteChannel(); // which asks it to end
    QVERIFY(process.waitForFinished(kWaitMs));
    QVERIFY2(clock.elapsed() < kBoundMs, qPrintable(QString::number(clock.elapsed())));
    const QByteArray output = process.readAll();
    QVERIFY2(process.exitStatus() == QProcess::NormalExit, output.constData());
    QVERIFY2(process.exitCode() == 0, output.constData());
    m_share->thaw();
    QCOMPARE(host.raw().integrityProblems(), QString());
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    host.stop();
}

namespace {

// Mirrors until its standard input is closed.
int mirror(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    VornSyncManager manager(arguments.at(2), arguments.at(3), kCycleMs, QStringList());
    if (!manager.addDirectory(Host::alias(), arguments.at(4), arguments.at(5)))
        return 1;
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &application, &QCoreApplication::quit);
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 6 && qstrcmp(argv[1], "--mirror") == 0)
        return mirror(argc, argv);
    QCoreApplication application(argc, argv);
    TestShutdown test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_shutdown.moc"
