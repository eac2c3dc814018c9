#include "literals.h"
#include "loop_watch.h"
#include "throttled_host.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTest>

#include <cstdio>

using namespace VornSyncTest;

namespace {

constexpr int kBytesPerSecond = 256 * 1024;
constexpr int kSlowBytes = 20 * kBytesPerSecond; // 20 s: more than a request waits
constexpr int kSlowMs = 120000;                  // to wait for such a copy, on a loaded machine

// A request's time, and how far a timer of the host may be off.
constexpr int kRequestMs = 15000;
constexpr int kEarliestMs = kRequestMs - 1000;
constexpr int kLatestMs = kRequestMs + 3000;

// Tens of milliseconds are usual; a call that waited for a copy would take seconds.
constexpr int kLargestGapMs = 1000;

QByteArray content(int bytes, char first = 'a')
{
    QByteArray result(bytes, Qt::Uninitialized);
    for (int i = 0; i < bytes; ++i)
        result[i] = char(first + (i / 1000 + i) % 23);
    return result;
}

} // namespace

// Cycles come when they are asked for.
class SlowHost : public ThrottledHost
{
    Q_DISABLE_COPY_MOVE(SlowHost)

public:
    SlowHost()
        : ThrottledHost(kNoCyclesMs)
    {
    }

    QString local(const QString& name) const { return host.local().filePath(name); }
    QString distant(const QString& name) const { return host.distant().filePath(name); }

    bool awaitPairs()
    {
        return waitFor(
            [this] { return host.raw().value("SELECT MIN(available) FROM directories"_s).toInt() == 1; });
    }
};

// The answers to file-ready requests, each with the time that it took.
class ReadyWatch : public QObject
{
public:
    struct Answer
    {
        QString path;
        bool found = false;
        qint64 afterMs = 0;
    };

    explicit ReadyWatch(Host& host)
        : m_manager(host.manager())
    {
        m_clock.start();
        connect(m_manager, &VornSyncManager::fileReady, this, [this](const QString& path, bool found) {
            answers << Answer{path, found, m_clock.elapsed() - m_askedAt.value(QFileInfo(path).fileName())};
        });
    }

    void ask(const QString& filePath)
    {
        m_askedAt[QFileInfo(filePath).fileName()] = m_clock.elapsed();
        m_manager->requestFileReady(filePath);
    }
    qint64 elapsed() const { return m_clock.elapsed(); }

    QList<Answer> answers;

private:
    VornSyncManager* m_manager;
    QElapsedTimer m_clock;
    QHash<QString, qint64> m_askedAt;
};

class TestSlowShares : public QObject
{
    Q_OBJECT

private slots:
    void aCopyThatTakesLongerThanItsRequest();
    void aLateCopyOfANewerVersion();
    void anEditDuringALateCopy();
    void aSlowSendLeavesTheHostAlone();
};

static void reportGap(const LoopWatch& loop, qint64 inMs)
{
    std::printf("largest gap between two turns of the host's event loop: %lld ms in %lld ms, %d ticks\n",
                loop.largestGapMs(), inMs, loop.ticks());
}

static QStringList criticalsAbout(Host& host, const QString& path)
{
    const QString text =
        "VornSyncManagerPrivate::onFileReadyTimeout: Copy operation timed out for: \"%1\""_s.arg(path);
    return host.trace().criticals().filter(text);
}

void TestSlowShares::aCopyThatTakesLongerThanItsRequest()
{
    SlowHost slow;
    Host& host = slow.host;
    const QString reason = slow.setRates({kBytesPerSecond, 0});
    if (!reason.isEmpty())
        QSKIP(qPrintable(reason));
    host.expectCriticals();
    const QByteArray big = content(kSlowBytes);
    QVERIFY(slow.server().write("big.bin"_s, big));
    for (const char* name : {"early.txt", "late.txt"})
        QVERIFY(slow.server().write(QLatin1String(name), name));
    QVERIFY(host.start());
    QVERIFY(slow.awaitPairs());
    QVERIFY(host.local().write("here.txt"_s, "here"));

    LoopWatch loop;
    ReadyWatch ready(host);
    ready.ask(slow.distant("big.bin"_s));
    ready.ask(slow.distant("early.txt"_s));
    QCOMPARE(ready.answers.size(), 0);
    // What needs no copy is answered meanwhile.
    ready.ask(slow.distant("here.txt"_s));
    QCOMPARE(ready.answers.size(), 1);
    QCOMPARE(ready.answers.first().path, slow.local("here.txt"_s));
    QVERIFY(ready.answers.takeFirst().found);
    QVERIFY(!host.manager()->isIdle());
    // Nearly at the end of the first one's time, one more: it is in line for a worker that is still busy.
    QVERIFY(waitFor([&] { return ready.elapsed() > kRequestMs - 4000; }));
    ready.ask(slow.distant("late.txt"_s));

    // One answer for each, when its own time is over, although the copy runs on.
    QVERIFY(waitFor([&] { return ready.answers.size() == 2; }));
    QVERIFY2(!host.local().exists("big.bin"_s), "the copy was not slow enough");
    for (const char* name : {"big.bin", "early.txt"}) {
        const ReadyWatch::Answer answer = ready.answers.takeFirst();
        QCOMPARE(answer.path, slow.local(QLatin1String(name)));
        QVERIFY(!answer.found);
        QVERIFY2(answer.afterMs >= kEarliestMs && answer.afterMs <= kLatestMs,
                 qPrintable(QString::number(answer.afterMs)));
        QCOMPARE(criticalsAbout(host, answer.path).size(), 1);
    }
    QVERIFY(!host.local().exists("early.txt"_s));

    // The late copy ends whole. Its end answers nobody: the one in line gets its own file, with its own copy.
    QVERIFY(waitFor([&] { return !ready.answers.isEmpty(); }));
    QVERIFY(host.local().exists("big.bin"_s));
    QCOMPARE(ready.answers.first().path, slow.local("late.txt"_s));
    QVERIFY(ready.answers.first().found);
    QVERIFY2(ready.answers.first().afterMs <= kLatestMs,
             qPrintable(QString::number(ready.answers.first().afterMs)));
    QCOMPARE(host.local().read("late.txt"_s), QByteArray("late.txt"));
    QCOMPARE(host.local().read("big.bin"_s), big);
    QVERIFY(waitFor([&] { return host.completedCount(slow.distant("late.txt"_s)) == 1; }));
    // Required: told as one failed operation more each, and recorded only where the end was awaited.
    for (const char* name : {"big.bin", "late.txt"})
        QVERIFY(host.completed().contains(qMakePair(slow.distant(QLatin1String(name)), false)));
    QCOMPARE(host.status("big.bin"_s), -1);
    QCOMPARE(host.status("late.txt"_s), 17);
    ready.answers.clear();
    ready.ask(slow.distant("early.txt"_s));
    QVERIFY(waitFor([&] { return ready.answers.size() == 1; }));
    QVERIFY(ready.answers.first().found);
    QCOMPARE(host.local().read("early.txt"_s), QByteArray("early.txt"));
    QCOMPARE(host.seenErrorFiles(), QStringList());
    reportGap(loop, ready.elapsed());
    QVERIFY2(loop.largestGapMs() < kLargestGapMs, qPrintable(QString::number(loop.largestGapMs())));

    // From then on they are files like any other.
    QCOMPARE(slow.setRates({}), QString());
    host.manager()->requestSync();
    VERIFY_AT_REST(host);
    QCOMPARE(ready.answers.size(), 1);
    QCOMPARE(slow.server().read("big.bin"_s), big);
    host.stop();
    QCOMPARE(host.raw().integrityProblems(), QString());
    QCOMPARE(host.status("big.bin"_s), 17);
}

// Over a local file: it is there, whole and old, until the late copy takes its place.
void TestSlowShares::aLateCopyOfANewerVersion()
{
    SlowHost slow;
    Host& host = slow.host;
    QString reason = slow.setRates({});
    if (!reason.isEmpty())
        QSKIP(qPrintable(reason));
    host.expectCriticals();
    QVERIFY(host.local().write("plan.bin"_s, "old"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    const QByteArray newer = content(kSlowBytes);
    QVERIFY(slow.server().write("plan.bin"_s, newer));
    QVERIFY(slow.server().setLmd("plan.bin"_s, QDateTime::currentDateTimeUtc().addSecs(60)));
    QCOMPARE(slow.setRates({kBytesPerSecond, 0}), QString());
    const QVariantMap before = host.row("plan.bin"_s);

    ReadyWatch ready(host);
    ready.ask(slow.distant("plan.bin"_s));
    QVERIFY(waitFor([&] { return !ready.answers.isEmpty(); }));
    QVERIFY(!ready.answers.first().found);
    QCOMPARE(host.local().read("plan.bin"_s), QByteArray("old"));
    QVERIFY(waitFor([&] { return host.local().read("plan.bin"_s).size() != 3; }, kSlowMs));
    QCOMPARE(host.local().read("plan.bin"_s), newer);
    QVERIFY(waitFor([&] { return host.manager()->isIdle(); }));
    QCOMPARE(host.row("plan.bin"_s), before);
    QCOMPARE(ready.answers.size(), 1);

    QCOMPARE(slow.setRates({}), QString());
    host.manager()->requestSync();
    VERIFY_AT_REST(host);
    QCOMPARE(slow.server().read("plan.bin"_s), newer);
    QCOMPARE(host.local().read("plan.bin"_s), newer);
}

// The user gave up waiting and went on with the local file.
void TestSlowShares::anEditDuringALateCopy()
{
    SlowHost slow;
    Host& host = slow.host;
    QString reason = slow.setRates({});
    if (!reason.isEmpty())
        QSKIP(qPrintable(reason));
    host.expectCriticals();
    QVERIFY(host.local().write("plan.bin"_s, "old"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(slow.server().write("plan.bin"_s, content(kSlowBytes)));
    QVERIFY(slow.server().setLmd("plan.bin"_s, QDateTime::currentDateTimeUtc().addSecs(60)));
    QCOMPARE(slow.setRates({kBytesPerSecond, 0}), QString());

    ReadyWatch ready(host);
    const int completedBefore = int(host.completed().size());
    ready.ask(slow.distant("plan.bin"_s));
    QVERIFY(waitFor([&] { return !ready.answers.isEmpty(); }));
    QVERIFY(!ready.answers.first().found);
    QVERIFY(host.local().write("plan.bin"_s, "edited meanwhile"));
    QVERIFY(waitFor([&] { return host.completed().size() > completedBefore; }, kSlowMs));
    QCOMPARE(host.completed().last(), qMakePair(slow.distant("plan.bin"_s), false));
    QCOMPARE(host.local().read("plan.bin"_s), QByteArray("edited meanwhile"));

    // Required: of two changed versions the local one is sent.
    QCOMPARE(slow.setRates({}), QString());
    host.manager()->notifyLocalFileChanged(Host::alias(), "plan.bin"_s);
    VERIFY_AT_REST(host);
    QCOMPARE(slow.server().read("plan.bin"_s), QByteArray("edited meanwhile"));
    QCOMPARE(host.local().read("plan.bin"_s), QByteArray("edited meanwhile"));
    QCOMPARE(ready.answers.size(), 1);
}

// Whatever the host calls while a file crawls over the network returns at once.
void TestSlowShares::aSlowSendLeavesTheHostAlone()
{
    SlowHost slow;
    Host& host = slow.host;
    const QString reason = slow.setRates({0, kBytesPerSecond});
    if (!reason.isEmpty())
        QSKIP(qPrintable(reason));
    const QByteArray big = content(8 * kBytesPerSecond);
    QVERIFY(host.local().write("big.bin"_s, big));
    QVERIFY(host.local().write("renamed.txt"_s, "1"));
    LoopWatch loop;
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return host.started().contains(slow.local("big.bin"_s)); }));
    QElapsedTimer clock;
    clock.start();
    ReadyWatch ready(host);
    for (int round = 0; host.completedCount(slow.local("big.bin"_s)) == 0; ++round) {
        const QString name = "note %1.txt"_s.arg(round % 5);
        QVERIFY(host.local().write(name, "note"));
        host.manager()->notifyLocalFileChanged(Host::alias(), name);
        host.manager()->requestSync();
        ready.ask(slow.distant(name));
        host.manager()->errorFiles();
        const int ticks = loop.ticks();
        QVERIFY(waitFor([&] { return loop.ticks() > ticks + 20; }));
        QVERIFY(clock.elapsed() < kSlowMs);
    }
    QVERIFY2(clock.elapsed() > 2000, "the copy was not slow");
    reportGap(loop, ready.elapsed());
    QVERIFY2(loop.largestGapMs() < kLargestGapMs, qPrintable(QString::number(loop.largestGapMs())));
    for (const ReadyWatch::Answer& answer : ready.answers)
        QVERIFY(answer.found);
    VERIFY_AT_REST(host);
    QCOMPARE(slow.server().read("big.bin"_s), big);
}

QTEST_GUILESS_MAIN(TestSlowShares)
#include "test_slow_shares.moc"
