#include "test_cli_support.h"

#include "pair.h"
#include "wait.h"

#include <QFile>
#include <QTest>
#include <QTimer>

#include <csignal>
#include <unistd.h>

using VornSyncTest::CliProcess;
using VornSyncTest::CliResult;
using VornSyncTest::CliWorld;
using VornSyncTest::JsonLines;
using VornSyncTest::kWaitMs;
using VornSyncTest::Side;

namespace {

// A running mirror of one pair whose cycle never comes round: what arrives was watched, or waited for.
struct RunningMirror
{
    CliWorld world;
    Side local{world.makeDirectory(QStringLiteral("local"))};
    Side distant{world.path(QStringLiteral("distant"))};
    CliProcess process;

    bool start(const QStringList& options)
    {
        return process.start(
            world.mirrorArguments(QStringList{QStringLiteral("--interval"), QStringLiteral("3600000"),
                                              local.path(), distant.path()} +
                                  options),
            world.environment());
    }

    // From a shell that ignores a signal, as scripts do for what they run in the background.
    bool startIgnoring(const QString& signalName)
    {
        const QString command = QStringLiteral("trap '' %1; exec \"$0\" \"$@\"").arg(signalName);
        world.makeDirectory(QStringLiteral("distant"));
        return process.start(
                   QStringLiteral("sh"),
                   QStringList{QStringLiteral("-c"), command, QStringLiteral(VORN_SYNC_PROGRAM)} +
                       world.mirrorArguments({QStringLiteral("--watch"), local.path(), distant.path()}),
                   world.environment()) &&
               process.waitForOut("Pair local:");
    }

    // Until the pass at the start is over: its file has arrived.
    bool startAndSettle(const QStringList& options)
    {
        world.makeDirectory(QStringLiteral("distant"));
        return local.write(QStringLiteral("first"), "first") && start(options) &&
               process.waitForOut("copied local/first\n");
    }

    bool hasArrived(const QString& name, const QByteArray& content) const
    {
        return distant.exists(name) && distant.read(name) == content;
    }
};

} // namespace

// "mirror" until a signal comes: watching, pairs that come and go, and the end.
class TestCliWatch : public QObject
{
    Q_OBJECT

private slots:
    void savedFileArrives();
    void changedFileArrives();
    void movedInFileArrives();
    void linkThatIsNeverClosedArrives();
    void openFileArrivesOnceQuiet();
    void steadyStreamHoldsNothingBack();
    void leavesOutWhatIsNotMirrored();
    void withoutWatchTheCycleFindsChanges();
    void distantDirectoryThatComesLater();
    void distantDirectoryThatGoesAndComesBack();
    void endsOnSignal_data();
    void endsOnSignal();
    void endsOnSigintInTheBackgroundOfAScript();
    void hangupIsLeftToNohup();
    void listsErrorsAtTheEnd();
};

void TestCliWatch::savedFileArrives()
{
    RunningMirror mirror;
    QVERIFY(mirror.startAndSettle({QStringLiteral("--watch")}));
    QVERIFY(mirror.local.write(QStringLiteral("saved"), "saved"));
    QTRY_VERIFY_WITH_TIMEOUT(mirror.hasArrived(QStringLiteral("saved"), "saved"), kWaitMs);
}

void TestCliWatch::changedFileArrives()
{
    RunningMirror mirror;
    QVERIFY(mirror.startAndSettle({QStringLiteral("--watch")}));
    QVERIFY(mirror.local.write(QStringLiteral("first"), "something else"));
    QTRY_VERIFY_WITH_TIMEOUT(mirror.hasArrived(QStringLiteral("first"), "something else"), kWaitMs);
}

void TestCliWatch::movedInFileArrives()
{
    RunningMirror mirror;
    QVERIFY(mirror.startAndSettle({QStringLiteral("--watch")}));
    const Side elsewhere(mirror.world.makeDirectory(QStringLiteral("elsewhere")));
    QVERIFY(elsewhere.write(QStringLiteral("moved"), "moved"));
    QVERIFY(QFile::rename(elsewhere.filePath(QStringLiteral("moved")),
                          mirror.local.filePath(QStringLiteral("moved"))));
    QTRY_VERIFY_WITH_TIMEOUT(mirror.hasArrived(QStringLiteral("moved"), "moved"), kWaitMs);
}

void TestCliWatch::linkThatIsNeverClosedArrives()
{
    RunningMirror mirror;
    QVERIFY(mirror.startAndSettle({QStringLiteral("--watch")}));
    const QByteArray from = QFile::encodeName(mirror.local.filePath(QStringLiteral("first")));
    const QByteArray to = QFile::encodeName(mirror.local.filePath(QStringLiteral("second name")));
    QCOMPARE(::link(from.constData(), to.constData()), 0);
    QTRY_VERIFY_WITH_TIMEOUT(mirror.hasArrived(QStringLiteral("second name"), "first"), kWaitMs);
}

void TestCliWatch::openFileArrivesOnceQuiet()
{
    RunningMirror mirror;
    QVERIFY(mirror.startAndSettle({QStringLiteral("--watch")}));
    QFile open(mirror.local.filePath(QStringLiteral("open")));
    QVERIFY(open.open(QIODevice::WriteOnly));
    QCOMPARE(open.write("so far"), qint64(6));
    QVERIFY(open.flush());
    QTRY_VERIFY_WITH_TIMEOUT(mirror.hasArrived(QStringLiteral("open"), "so far"), kWaitMs);
}

// The worker begins its countdown anew with every arrival; files saved at a steady pace must not hold back
// the first of them.
void TestCliWatch::steadyStreamHoldsNothingBack()
{
    RunningMirror mirror;
    QVERIFY(mirror.startAndSettle({QStringLiteral("--watch")}));
    int written = 0;
    QTimer stream; // the pace is the point: less than the 200 ms of the countdown
    stream.setInterval(100);
    connect(&stream, &QTimer::timeout, this, [&] {
        if (mirror.local.write(QStringLiteral("stream %1").arg(written, 4, 10, QLatin1Char('0')), "s"))
            ++written;
    });
    stream.start();
    QTRY_VERIFY_WITH_TIMEOUT(mirror.hasArrived(QStringLiteral("stream 0000"), "s"), kWaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(mirror.hasArrived(QStringLiteral("stream 0003"), "s"), kWaitMs);
    stream.stop();
    QTRY_COMPARE_WITH_TIMEOUT(mirror.distant.names().size(), written + 1, kWaitMs);
}

void TestCliWatch::leavesOutWhatIsNotMirrored()
{
    RunningMirror mirror;
    QVERIFY(mirror.startAndSettle(
        {QStringLiteral("--watch"), QStringLiteral("--exclude"), QStringLiteral("*.tmp")}));
    QVERIFY(mirror.local.write(QStringLiteral("draft.tmp"), "x"));
    QVERIFY(mirror.local.write(QStringLiteral(".hidden"), "x"));
    QVERIFY(mirror.local.write(QStringLiteral("qt_temp.Ab12xY"), "x"));
    QVERIFY(mirror.local.write(QStringLiteral("vanished"), "x"));
    QVERIFY(mirror.local.remove(QStringLiteral("vanished")));
    QVERIFY(mirror.local.makeDirectory(QStringLiteral("directory")));
    QVERIFY(VornSyncTest::makeFifo(mirror.local.filePath(QStringLiteral("fifo"))));
    QVERIFY(QFile::link(QStringLiteral("nowhere"), mirror.local.filePath(QStringLiteral("dangling"))));
    // Whatever is sent is sent in order, and links that are only created go last.
    QVERIFY(QFile::link(QStringLiteral("first"), mirror.local.filePath(QStringLiteral("last"))));
    QTRY_VERIFY_WITH_TIMEOUT(mirror.hasArrived(QStringLiteral("last"), "first"), kWaitMs);

    QVERIFY(mirror.process.sendSignal(SIGTERM));
    const CliResult result = mirror.process.waitForEnd();
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    QVERIFY2(result.err.isEmpty(), qPrintable(result.words()));
    const QStringList expected{QStringLiteral("first"), QStringLiteral("last")};
    QCOMPARE(mirror.distant.names(), expected);
}

void TestCliWatch::withoutWatchTheCycleFindsChanges()
{
    const CliWorld world;
    const Side local(world.makeDirectory(QStringLiteral("local")));
    const Side distant(world.makeDirectory(QStringLiteral("distant")));
    CliProcess process;
    QVERIFY(process.start(world.mirrorArguments({QStringLiteral("--interval"), QStringLiteral("300"),
                                                 local.path(), distant.path()}),
                          world.environment()));
    QVERIFY(process.waitForOut("Pair local:"));
    QVERIFY(local.write(QStringLiteral("later"), "later"));
    QVERIFY(process.waitForOut("copied local/later\n"));
    QCOMPARE(distant.read(QStringLiteral("later")), QByteArray("later"));
}

void TestCliWatch::distantDirectoryThatComesLater()
{
    RunningMirror mirror;
    QVERIFY(mirror.local.write(QStringLiteral("waiting"), "waiting"));
    QVERIFY(mirror.start({}));
    QVERIFY(mirror.process.waitForErr("Pair local: the distant directory is missing"));
    mirror.world.makeDirectory(QStringLiteral("distant"));
    QVERIFY(mirror.process.waitForOut("Pair local: both directories are there"));
    QTRY_VERIFY_WITH_TIMEOUT(mirror.hasArrived(QStringLiteral("waiting"), "waiting"), kWaitMs);
}

void TestCliWatch::distantDirectoryThatGoesAndComesBack()
{
    RunningMirror mirror;
    QVERIFY(mirror.startAndSettle({QStringLiteral("--watch")}));
    const QString aside = mirror.world.path(QStringLiteral("aside"));
    QVERIFY(QFile::rename(mirror.distant.path(), aside));
    QVERIFY(mirror.process.waitForErr("Pair local: the distant directory is missing"));
    QVERIFY(mirror.local.write(QStringLiteral("meanwhile"), "meanwhile"));
    QVERIFY(QFile::rename(aside, mirror.distant.path()));
    QVERIFY(mirror.process.waitForOut("Pair local: both directories are there"));
    QTRY_VERIFY_WITH_TIMEOUT(mirror.hasArrived(QStringLiteral("meanwhile"), "meanwhile"), kWaitMs);

    QVERIFY(mirror.process.sendSignal(SIGTERM));
    const CliResult result = mirror.process.waitForEnd();
    QVERIFY2(result.exitCode == 0 && !result.err.contains("in error"), qPrintable(result.words()));
}

void TestCliWatch::endsOnSignal_data()
{
    QTest::addColumn<int>("signalNumber");
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGHUP") << SIGHUP;
}

void TestCliWatch::endsOnSignal()
{
    QFETCH(int, signalNumber);
    RunningMirror mirror;
    QVERIFY(mirror.startAndSettle({QStringLiteral("--watch")}));
    QVERIFY(mirror.process.sendSignal(signalNumber));
    const CliResult result = mirror.process.waitForEnd();
    QVERIFY2(result.hasEnded && result.exitCode == 0, qPrintable(result.words()));
    QVERIFY2(result.out.endsWith("Stopped: 1 file is up to date.\n"), qPrintable(result.words()));
    QVERIFY(!Side(mirror.world.statePath()).exists(QStringLiteral("lock")));
}

void TestCliWatch::endsOnSigintInTheBackgroundOfAScript()
{
    RunningMirror mirror;
    QVERIFY(mirror.startIgnoring(QStringLiteral("INT")));
    QVERIFY(mirror.process.sendSignal(SIGINT));
    const CliResult result = mirror.process.waitForEnd();
    QVERIFY2(result.hasEnded && result.exitCode == 0, qPrintable(result.words()));
}

void TestCliWatch::hangupIsLeftToNohup()
{
    RunningMirror mirror;
    QVERIFY(mirror.startIgnoring(QStringLiteral("HUP")));
    QVERIFY(mirror.process.sendSignal(SIGHUP));
    QVERIFY(mirror.local.write(QStringLiteral("after"), "after"));
    QVERIFY(mirror.process.waitForOut("copied local/after\n"));
    QVERIFY(mirror.process.sendSignal(SIGTERM));
    const CliResult result = mirror.process.waitForEnd();
    QVERIFY2(result.hasEnded && result.exitCode == 0, qPrintable(result.words()));
}

void TestCliWatch::listsErrorsAtTheEnd()
{
    RunningMirror mirror;
    mirror.world.makeDirectory(QStringLiteral("distant"));
    QVERIFY(mirror.distant.makeDirectory(QStringLiteral("blocked")));
    QVERIFY(mirror.local.write(QStringLiteral("blocked"), "x"));
    QVERIFY(mirror.start({}));
    QVERIFY(mirror.process.waitForErr("failed local/blocked\n"));
    QVERIFY(mirror.process.sendSignal(SIGINT));
    const CliResult result = mirror.process.waitForEnd();
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    QVERIFY2(result.err.contains("  local/blocked: error 13: "), qPrintable(result.words()));
}

QTEST_GUILESS_MAIN(TestCliWatch)
#include "test_cli_watch.moc"
