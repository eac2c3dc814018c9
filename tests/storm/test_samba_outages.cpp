#include "host.h"
#include "literals.h"
#include "loop_watch.h"
#include "samba_share.h"
#include "thread_watch.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>

#include <memory>

using namespace VornSyncTest;

namespace {

constexpr int kCycleMs = 50;
constexpr int kFileCount = 6;
constexpr int kBigBytes = 200 * 1024 * 1024; // takes seconds
constexpr int kMiddleBytes = 20 * 1024 * 1024;
constexpr int kSlowMs = 120000;

// Three threads, 2000 ms each, and some for a loaded machine.
constexpr qint64 kBoundMs = 6000 + 4000;
// Tens of milliseconds are usual; a call that waited for the share would take until it is thawed.
constexpr int kLargestGapMs = 1500;
// The server says nothing for longer than a pass takes.
constexpr int kSilenceMs = 3000;

enum class Outage { Killed, Frozen };

const QString kSynchronizerFailure = QStringLiteral("ERROR: Failed to stop synchronizer thread");
const QString kWorkerFailure = QStringLiteral("ERROR: Failed to stop worker thread");

} // namespace

Q_DECLARE_METATYPE(Outage)

// The server of the share dies, or goes silent, at the worst moments.
class TestSambaOutages : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void inTheMiddleOfABigCopy_data();
    void inTheMiddleOfABigCopy();
    void duringAPass_data() { addOutages(); }
    void duringAPass();
    void atShutdown_data() { addOutages(); }
    void atShutdown();

private:
    static void addOutages();
    void mirrorSome();
    void begin(Outage outage);
    [[nodiscard]] bool end(Outage outage);
    qint64 largestOnServer() const;
    void removeLeftovers();
    // What the server holds, byte for byte; empty when it is what the local directory holds.
    QString serverProblem() const;

    std::unique_ptr<SambaShare> m_share;
    std::unique_ptr<Host> m_host;
};

void TestSambaOutages::init()
{
    m_share = std::make_unique<SambaShare>();
    if (!m_share->start())
        QSKIP(qPrintable("no Samba share: "_s + m_share->reason()));
    HostOptions options;
    options.distantPath = m_share->mountedPath();
    options.syncIntervalMs = kCycleMs;
    m_host = std::make_unique<Host>(options);
    // What a share that dies under a copy, a listing or a test may be told as.
    for (const QString& text : {"destination path not available: '"_s, "Destination path not available: '"_s,
                                "Destination directory does not exist: '"_s, "Failure to copy file: '"_s,
                                "is not writable: '"_s, "distant"_s, "Distant"_s})
        m_host->expectErrors(text);
    m_host->expectWarnings();
}

void TestSambaOutages::cleanup()
{
    m_share->thawServer();
    m_host.reset();
    m_share.reset();
}

void TestSambaOutages::addOutages()
{
    QTest::addColumn<Outage>("outage");
    QTest::newRow("killed") << Outage::Killed;
    QTest::newRow("frozen") << Outage::Frozen;
}

void TestSambaOutages::mirrorSome()
{
    for (int i = 0; i < kFileCount; ++i)
        QVERIFY(m_host->local().write("file %1.txt"_s.arg(i), QByteArray(i * 1000, char('a' + i))));
    QVERIFY(m_host->start());
    QCOMPARE(m_host->settle(), QString());
}

void TestSambaOutages::begin(Outage outage)
{
    if (outage == Outage::Killed)
        m_share->killServer();
    else
        QVERIFY(m_share->freezeServer());
}

bool TestSambaOutages::end(Outage outage)
{
    if (outage == Outage::Killed)
        return m_share->resumeServer();
    m_share->thawServer();
    return true;
}

// Of what is written at this moment, under whatever name.
qint64 TestSambaOutages::largestOnServer() const
{
    qint64 result = 0;
    const Side server(m_share->serverPath());
    for (const QString& name : server.names())
        result = qMax(result, QFileInfo(server.filePath(name)).size());
    return result;
}

// Where the server stopped, a piece of a copy may stay on it under a temporary name.
void TestSambaOutages::removeLeftovers()
{
    static const QRegularExpression temporary("^qt_temp\\.[A-Za-z]{6}$|\\.[0-9a-f]{4}$"_s);
    const Side server(m_share->serverPath());
    for (const QString& name : server.names()) {
        if (temporary.match(name).hasMatch())
            QVERIFY(server.remove(name));
    }
}

QString TestSambaOutages::serverProblem() const
{
    const Side server(m_share->serverPath());
    if (server.names() != m_host->local().names())
        return "the server holds: "_s + server.names().join(QLatin1String(" | "));
    for (const QString& name : m_host->local().allFiles()) {
        if (server.read(name) != m_host->local().read(name))
            return "the server's file differs: "_s + name;
    }
    return QString();
}

void TestSambaOutages::inTheMiddleOfABigCopy_data()
{
    QTest::addColumn<Outage>("outage");
    QTest::addColumn<bool>("hasOldVersion");
    QTest::newRow("killed, over an old version") << Outage::Killed << true;
    QTest::newRow("frozen, a new file") << Outage::Frozen << false;
}

void TestSambaOutages::inTheMiddleOfABigCopy()
{
    QFETCH(Outage, outage);
    QFETCH(bool, hasOldVersion);
    Host& host = *m_host;
    const Side server(m_share->serverPath());
    if (hasOldVersion)
        QVERIFY(host.local().write("big.bin"_s, "first version"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QByteArray content(kBigBytes, 'b');
    for (int i = 0; i < kBigBytes; i += 4096)
        content[i] = char(i / 4096);
    QVERIFY(host.local().write("big.bin"_s, content));
    host.manager()->notifyLocalFileChanged(Host::alias(), "big.bin"_s);
    QVERIFY(waitFor([&] { return largestOnServer() > kMiddleBytes; }));
    const int failures = int(host.errors().size());
    begin(outage);
    QVERIFY2(largestOnServer() < kBigBytes, "the copy was too quick to be met");
    if (outage == Outage::Killed) {
        QVERIFY(waitFor([&] { return host.errors().size() > failures; }));
    } else {
        // The host is not kept waiting.
        LoopWatch loop;
        QElapsedTimer silence;
        silence.start();
        QVERIFY(waitFor([&] { return silence.elapsed() > kSilenceMs; }));
        QVERIFY(!host.manager()->isIdle());
        QVERIFY2(loop.largestGapMs() < kLargestGapMs, qPrintable(QString::number(loop.largestGapMs())));
    }
    // Not touched by the copy that broke off, nor there before it is whole.
    if (hasOldVersion)
        QCOMPARE(server.read("big.bin"_s), QByteArray("first version"));
    QVERIFY(end(outage));
    QVERIFY(waitFor([&] { return host.status("big.bin"_s) == 17; }, kSlowMs));
    QVERIFY(host.local().read("big.bin"_s) == content);
    removeLeftovers();
    QCOMPARE(serverProblem(), QString());
    // The looks of the rest cost a transfer of every file each.
    QVERIFY(host.local().write("big.bin"_s, "last version"));
    VERIFY_AT_REST(host);
    QCOMPARE(serverProblem(), QString());
    QCOMPARE(host.seenErrorFiles(), QStringList());
}

void TestSambaOutages::duringAPass()
{
    QFETCH(Outage, outage);
    Host& host = *m_host;
    mirrorSome();
    for (int round = 0; round < 2; ++round) {
        CycleWatch passes(host.local().path());
        QVERIFY(host.local().append("file %1.txt"_s.arg(round), " more"));
        QVERIFY(host.local().write("new %1.txt"_s.arg(round), "new"));
        QVERIFY(waitFor([&] { return passes.count() > 0; }));
        begin(outage);
        LoopWatch loop;
        if (outage == Outage::Killed)
            QVERIFY(host.awaitCycles(3));
        else
            QVERIFY(awaitHang());
        QVERIFY2(loop.largestGapMs() < kLargestGapMs, qPrintable(QString::number(loop.largestGapMs())));
        // Nothing is known to be missing.
        QCOMPARE(host.manager()->errorCount(), 0);
        QVERIFY(end(outage));
        VERIFY_AT_REST(host);
        QCOMPARE(serverProblem(), QString());
    }
    QCOMPARE(host.seenErrorFiles(), QStringList());
}

void TestSambaOutages::atShutdown()
{
    QFETCH(Outage, outage);
    Host& host = *m_host;
    mirrorSome();
    for (int i = 0; i < kFileCount; ++i)
        QVERIFY(host.local().append("file %1.txt"_s.arg(i), " more"));
    const int started = int(host.started().size());
    QVERIFY(waitFor([&] { return host.started().size() > started; }));
    begin(outage);
    if (outage == Outage::Frozen)
        QVERIFY(awaitHang());
    host.takeErrors();
    QElapsedTimer clock;
    clock.start();
    host.stop();
    QVERIFY2(clock.elapsed() < kBoundMs, qPrintable(QString::number(clock.elapsed())));
    QStringList failures = host.errors().filter("Failed to stop"_s);
    if (outage == Outage::Frozen) {
        QVERIFY(!failures.isEmpty());
        failures.removeOne(kWorkerFailure);
        failures.removeOne(kSynchronizerFailure);
    }
    QCOMPARE(failures, QStringList());
    host.takeErrors();

    QVERIFY(end(outage));
    QVERIFY(waitFor([] { return libraryThreads().isEmpty(); }, kSlowMs));
    QCOMPARE(host.errors(), QStringList());
    QCOMPARE(host.trace().criticals(), QStringList());
    QCOMPARE(host.raw().integrityProblems(), QString());
    QVERIFY(host.start());
    QCOMPARE(host.settle(kSlowMs), QString());
    removeLeftovers();
    VERIFY_AT_REST(host);
    QCOMPARE(serverProblem(), QString());
    QCOMPARE(host.seenErrorFiles(), QStringList());
}

QTEST_GUILESS_MAIN(TestSambaOutages)
#include "test_samba_outages.moc"
