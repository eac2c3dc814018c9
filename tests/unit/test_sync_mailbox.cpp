#include "literals.h"
#include "vorn_sync_mailbox.h"
#include "wait.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTest>
#include <QThread>
#include <QTimer>
#include <QVector>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

using namespace VornSyncTest;

namespace {

constexpr int kBacklog = 500;
constexpr qint64 kCallNs = 200 * 1000;
// In one turn of the mailbox ten of these calls fit; others have a turn at least after every second one.
constexpr int kCallsInARowAtMost = 20;

constexpr int kPosters = 4;
constexpr int kLettersOfAPoster = 2000;

void spin()
{
    QElapsedTimer clock;
    clock.start();
    while (clock.nsecsElapsed() < kCallNs) {
    }
}

// Runs `function` on a thread of its own, to its end.
bool elsewhere(const std::function<void()>& function)
{
    const std::unique_ptr<QThread> thread(QThread::create(function));
    thread->start();
    return thread->wait(kWaitMs);
}

// Turns the event loop until a timer came after whatever was due when it was started.
bool turn()
{
    QTimer timer;
    timer.setSingleShot(true);
    timer.start(10);
    return waitFor([&timer] { return !timer.isActive(); });
}

// The longest stretch of `mark` in a text of marks.
int longestRun(const QString& marks, QChar mark)
{
    int longest = 0;
    int run = 0;
    for (const QChar c : marks) {
        run = c == mark ? run + 1 : 0;
        longest = qMax(longest, run);
    }
    return longest;
}

} // namespace

// Closes its mailbox in its destructor, as a receiver must.
class Receiver : public QObject
{
    Q_OBJECT

public:
    Receiver()
        : mailbox(std::make_shared<VornSyncMailbox>(this))
    {
    }
    ~Receiver() override { mailbox->close(); }
    Q_DISABLE_COPY_MOVE(Receiver)

    const std::shared_ptr<VornSyncMailbox> mailbox;
};

class TestSyncMailbox : public QObject
{
    Q_OBJECT

private slots:
    void nothingIsDeliveredAtOnce();
    void orderOfOneThread();
    void emptiedMailboxWakesUpAgain();
    void callsInQuickSuccessionAreGathered();
    void deliveredOnTheReceiversThread();
    void orderOfEachOfSeveralThreads();
    void mergedCountsCallsInARow();
    void mergedNeverAcrossAnotherLetter();
    void mergedWhileDelivering();
    void mergedFromSeveralThreads();
    void backlogLetsATimerIn_data();
    void backlogLetsATimerIn();
    void backlogLetsPostedEventsIn();
    void postedWhileDelivering();
    void endlessPostingLetsATimerIn();
    void nestedLoopGetsWhatWaits();
    void nestedLoopGetsWhatComes();
    void nestedLoopsInARow();
    void nestedLoopEndsWithTheMailbox();
    void closed();
    void closedInsideALetter();
    void receiverDeletedInsideALetter();
    void receiverDeletedInsideALetterOfANestedLoop();
    void receiverDeletedBetweenTurns();
    void receiverDeletedWhileOthersPost();
    void twoMailboxesOfOneReceiver();
};

void TestSyncMailbox::nothingIsDeliveredAtOnce()
{
    Receiver receiver;
    int calls = 0;
    receiver.mailbox->post([&calls] { ++calls; });
    receiver.mailbox->postMerged([&calls](int times) { calls += times; });
    QCOMPARE(calls, 0);
    QVERIFY(waitFor([&calls] { return calls == 2; }));
}

void TestSyncMailbox::orderOfOneThread()
{
    Receiver receiver;
    QVector<int> seen;
    QVector<int> expected;
    for (int i = 0; i < kBacklog; ++i) {
        expected.append(i);
        if (i % 3 == 0)
            receiver.mailbox->postMerged([&seen, i](int) { seen.append(i); });
        else
            receiver.mailbox->post([&seen, i] { seen.append(i); });
    }
    QVERIFY(waitFor([&seen] { return seen.size() >= kBacklog; }));
    QCoreApplication::processEvents();
    QCOMPARE(seen, expected);
}

// Whatever the last turn had ordered for letters that are delivered by now.
void TestSyncMailbox::emptiedMailboxWakesUpAgain()
{
    Receiver receiver;
    int calls = 0;
    int expected = 0;
    for (int letters = 0; letters < 5; ++letters) {
        for (int i = 0; i < letters; ++i)
            receiver.mailbox->post([&calls] { ++calls; });
        expected += letters;
        QVERIFY(waitFor([&] { return calls == expected; }));
        if (letters % 2 == 0)
            QVERIFY(turn());
    }
}

// The receiver is woken up for some of them, not for each.
void TestSyncMailbox::callsInQuickSuccessionAreGathered()
{
    Receiver receiver;
    int calls = 0;
    int turnsWithoutACall = 0;
    for (int i = 0; i < kBacklog; ++i) {
        const int before = calls;
        receiver.mailbox->post([&calls] { ++calls; });
        QCoreApplication::processEvents();
        turnsWithoutACall += calls == before ? 1 : 0;
    }
    QVERIFY(waitFor([&calls] { return calls == kBacklog; }));
    QVERIFY(turnsWithoutACall > 0);
}

void TestSyncMailbox::deliveredOnTheReceiversThread()
{
    Receiver receiver;
    const QThread* seen = nullptr;
    QVERIFY(elsewhere([&] { receiver.mailbox->post([&seen] { seen = QThread::currentThread(); }); }));
    QVERIFY(!seen);
    QVERIFY(waitFor([&seen] { return seen; }));
    QCOMPARE(seen, QThread::currentThread());
}

void TestSyncMailbox::orderOfEachOfSeveralThreads()
{
    Receiver receiver;
    QVector<QVector<int>> seen(kPosters);
    std::vector<std::unique_ptr<QThread>> posters;
    for (int poster = 0; poster < kPosters; ++poster) {
        posters.emplace_back(QThread::create([&seen, &receiver, poster] {
            for (int i = 0; i < kLettersOfAPoster; ++i)
                receiver.mailbox->post([&seen, poster, i] { seen[poster].append(i); });
        }));
        posters.back()->start();
    }
    const auto count = [&seen] {
        int sum = 0;
        for (const QVector<int>& of : seen)
            sum += int(of.size());
        return sum;
    };
    QVERIFY(waitFor([&] { return count() >= kPosters * kLettersOfAPoster; }));
    for (const auto& poster : posters)
        QVERIFY(poster->wait(kWaitMs));
    QCoreApplication::processEvents();
    QVector<int> expected;
    for (int i = 0; i < kLettersOfAPoster; ++i)
        expected.append(i);
    for (const QVector<int>& of : seen)
        QCOMPARE(of, expected);
}

void TestSyncMailbox::mergedCountsCallsInARow()
{
    Receiver receiver;
    QVector<int> times;
    for (int i = 0; i < 7; ++i)
        receiver.mailbox->postMerged([&times](int n) { times.append(n); });
    QVERIFY(waitFor([&times] { return !times.isEmpty(); }));
    QCoreApplication::processEvents();
    QCOMPARE(times, QVector<int>{7});
    // What was delivered takes no more in.
    receiver.mailbox->postMerged([&times](int n) { times.append(n); });
    QVERIFY(waitFor([&times] { return times.size() == 2; }));
    QCOMPARE(times.last(), 1);
}

void TestSyncMailbox::mergedNeverAcrossAnotherLetter()
{
    Receiver receiver;
    QStringList seen;
    const auto merged = [&] { receiver.mailbox->postMerged([&seen](int n) { seen << "x%1"_s.arg(n); }); };
    const auto plain = [&](const QString& text) { receiver.mailbox->post([&seen, text] { seen << text; }); };
    merged();
    merged();
    plain("a"_s);
    merged();
    plain("b"_s);
    plain("c"_s);
    merged();
    merged();
    merged();
    plain("end"_s);
    QVERIFY(waitFor([&seen] { return seen.contains("end"_s); }));
    QCOMPARE(seen.join(QLatin1Char(' ')), "x2 a x1 b c x3 end"_s);
}

// The letter that is being delivered is none that waits.
void TestSyncMailbox::mergedWhileDelivering()
{
    Receiver receiver;
    QVector<int> times;
    receiver.mailbox->postMerged([&](int n) {
        times.append(n);
        for (int i = 0; i < 3; ++i)
            receiver.mailbox->postMerged([&times](int m) { times.append(m); });
    });
    QVERIFY(waitFor([&times] { return times.size() >= 2; }));
    QCOMPARE(times, QVector<int>({1, 3}));
}

// However they are merged, none is lost.
void TestSyncMailbox::mergedFromSeveralThreads()
{
    Receiver receiver;
    int sum = 0;
    std::vector<std::unique_ptr<QThread>> posters;
    for (int poster = 0; poster < kPosters; ++poster) {
        posters.emplace_back(QThread::create([&sum, &receiver] {
            for (int i = 0; i < kLettersOfAPoster; ++i)
                receiver.mailbox->postMerged([&sum](int times) { sum += times; });
        }));
        posters.back()->start();
    }
    QVERIFY(waitFor([&sum] { return sum >= kPosters * kLettersOfAPoster; }));
    for (const auto& poster : posters)
        QVERIFY(poster->wait(kWaitMs));
    QCoreApplication::processEvents();
    QCOMPARE(sum, kPosters * kLettersOfAPoster);
}

void TestSyncMailbox::backlogLetsATimerIn_data()
{
    QTest::addColumn<int>("intervalMs");
    QTest::newRow("0 ms") << 0;
    QTest::newRow("1 ms") << 1;
}

void TestSyncMailbox::backlogLetsATimerIn()
{
    QFETCH(int, intervalMs);
    Receiver receiver;
    QString order;
    for (int i = 0; i < kBacklog; ++i)
        receiver.mailbox->post([&order] {
            spin();
            order += QLatin1Char('L');
        });
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&order] { order += QLatin1Char('t'); });
    timer.start(intervalMs);
    QVERIFY(waitFor([&order] { return order.count(QLatin1Char('L')) == kBacklog; }));
    QVERIFY2(longestRun(order, QLatin1Char('L')) <= kCallsInARowAtMost, qPrintable(order));
}

// Events of others, each of which posts the next: as with a user who types.
void TestSyncMailbox::backlogLetsPostedEventsIn()
{
    Receiver receiver;
    QString order;
    for (int i = 0; i < kBacklog; ++i)
        receiver.mailbox->post([&order] {
            spin();
            order += QLatin1Char('L');
        });
    const std::function<void()> next = [&] {
        if (!order.isEmpty() && order.endsWith(QLatin1Char('L')))
            order += QLatin1Char('e');
        if (order.count(QLatin1Char('L')) < kBacklog)
            QTimer::singleShot(0, this,
                               [&next] { QMetaObject::invokeMethod(qApp, next, Qt::QueuedConnection); });
    };
    next();
    QVERIFY(waitFor([&order] { return order.count(QLatin1Char('L')) == kBacklog; }));
    QVERIFY2(longestRun(order, QLatin1Char('L')) <= kCallsInARowAtMost, qPrintable(order));
    QVERIFY(waitFor([&order] { return order.endsWith(QLatin1Char('e')); })); // the chain's end
}

void TestSyncMailbox::postedWhileDelivering()
{
    Receiver receiver;
    QStringList seen;
    const auto post = [&](const QString& text) { receiver.mailbox->post([&seen, text] { seen << text; }); };
    receiver.mailbox->post([&] {
        seen << "a"_s;
        post("c"_s);
        post("d"_s);
    });
    post("b"_s);
    QVERIFY(waitFor([&seen] { return seen.size() >= 4; }));
    QCOMPARE(seen.join(QString()), "abcd"_s);
}

// Each letter posts the next: a mailbox that is never empty is no reason to keep the others out.
void TestSyncMailbox::endlessPostingLetsATimerIn()
{
    Receiver receiver;
    int ticks = 0;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&ticks] { ++ticks; });
    int letters = 0;
    const std::function<void()> again = [&] {
        ++letters;
        if (ticks < 10)
            receiver.mailbox->post(again);
    };
    timer.start(0);
    again();
    QVERIFY(waitFor([&ticks] { return ticks >= 10; }));
    QVERIFY(letters > 1);
    const int seen = letters;
    QVERIFY(waitFor([&] { return ticks >= 20; }));
    QVERIFY(letters <= seen + 1);
}

void TestSyncMailbox::nestedLoopGetsWhatWaits()
{
    Receiver receiver;
    QString seen;
    receiver.mailbox->post([&seen] { seen += QLatin1Char('a'); });
    receiver.mailbox->post([&seen] {
        seen += QLatin1Char('(');
        QVERIFY(waitFor([&seen] { return seen.endsWith(QLatin1Char('c')); }));
        seen += QLatin1Char(')');
    });
    receiver.mailbox->post([&seen] { seen += QLatin1Char('b'); });
    receiver.mailbox->post([&seen] { seen += QLatin1Char('c'); });
    QVERIFY(waitFor([&seen] { return seen.endsWith(QLatin1Char(')')); }));
    QCOMPARE(seen, "a(bc)"_s);
}

// The letter was the last one when it was taken.
void TestSyncMailbox::nestedLoopGetsWhatComes()
{
    Receiver receiver;
    QString seen;
    receiver.mailbox->post([&] {
        seen += QLatin1Char('(');
        QVERIFY(elsewhere([&] { receiver.mailbox->post([&seen] { seen += QLatin1Char('x'); }); }));
        receiver.mailbox->post([&] {
            receiver.mailbox->post([&seen] { seen += QLatin1Char('z'); });
            seen += QLatin1Char('y');
        });
        QVERIFY(waitFor([&seen] { return seen.endsWith(QLatin1Char('z')); }));
        seen += QLatin1Char(')');
    });
    QVERIFY(waitFor([&seen] { return seen.endsWith(QLatin1Char(')')); }));
    QCOMPARE(seen, "(xyz)"_s);
}

void TestSyncMailbox::nestedLoopsInARow()
{
    constexpr int kDepth = 20;
    Receiver receiver;
    int depth = 0;
    int deepest = 0;
    bool isAnyLate = false;
    for (int i = 0; i < kDepth; ++i)
        receiver.mailbox->post([&] {
            deepest = qMax(deepest, ++depth);
            isAnyLate = !waitFor([&deepest] { return deepest == kDepth; }) || isAnyLate;
            --depth;
        });
    QVERIFY(waitFor([&] { return deepest == kDepth && depth == 0; }));
    QVERIFY(!isAnyLate);
}

// What a nested loop left over is still delivered when it is over.
void TestSyncMailbox::nestedLoopEndsWithTheMailbox()
{
    Receiver receiver;
    QString seen;
    receiver.mailbox->post([&seen] {
        QEventLoop loop;
        QTimer::singleShot(0, &loop, &QEventLoop::quit);
        loop.exec();
        seen += QLatin1Char('.');
    });
    for (int i = 0; i < kBacklog; ++i)
        receiver.mailbox->post([&seen] {
            spin();
            seen += QLatin1Char('L');
        });
    QVERIFY(waitFor([&seen] { return seen.size() == kBacklog + 1; }));
    QCOMPARE(seen.count(QLatin1Char('L')), kBacklog);
}

void TestSyncMailbox::closed()
{
    Receiver receiver;
    int calls = 0;
    const auto count = [&calls] { ++calls; };
    receiver.mailbox->post(count);
    receiver.mailbox->close();
    receiver.mailbox->post(count);
    receiver.mailbox->postMerged([&calls](int times) { calls += times; });
    QVERIFY(elsewhere([&] { receiver.mailbox->post(count); }));
    QVERIFY(turn());
    QCOMPARE(calls, 0);
    receiver.mailbox->close();
    receiver.mailbox->post(count);
    QVERIFY(turn());
    QCOMPARE(calls, 0);
}

void TestSyncMailbox::closedInsideALetter()
{
    Receiver receiver;
    QString seen;
    receiver.mailbox->post([&] {
        seen += QLatin1Char('a');
        receiver.mailbox->close();
        receiver.mailbox->post([&seen] { seen += QLatin1Char('c'); });
    });
    receiver.mailbox->post([&seen] { seen += QLatin1Char('b'); });
    QVERIFY(turn());
    QCOMPARE(seen, "a"_s);
}

void TestSyncMailbox::receiverDeletedInsideALetter()
{
    auto receiver = std::make_unique<Receiver>();
    const std::shared_ptr<VornSyncMailbox> mailbox = receiver->mailbox;
    const std::weak_ptr<VornSyncMailbox> alive = mailbox;
    QString seen;
    mailbox->post([&seen] { seen += QLatin1Char('a'); });
    mailbox->post([&] {
        receiver.reset();
        seen += QLatin1Char('b');
    });
    for (int i = 0; i < kBacklog; ++i)
        mailbox->post([&seen] { seen += QLatin1Char('c'); });
    QVERIFY(waitFor([&receiver] { return !receiver; }));
    mailbox->post([&seen] { seen += QLatin1Char('d'); });
    QVERIFY(elsewhere([&] { mailbox->post([&seen] { seen += QLatin1Char('d'); }); }));
    QVERIFY(turn());
    QCOMPARE(seen, "ab"_s);
}

// Without anybody else who holds the mailbox.
void TestSyncMailbox::receiverDeletedInsideALetterOfANestedLoop()
{
    auto receiver = std::make_unique<Receiver>();
    const std::weak_ptr<VornSyncMailbox> alive = receiver->mailbox;
    QString seen;
    receiver->mailbox->post([&] {
        seen += QLatin1Char('(');
        QVERIFY(waitFor([&receiver] { return !receiver; }));
        QVERIFY(!alive.expired()); // it is in the middle of its work
        seen += QLatin1Char(')');
    });
    receiver->mailbox->post([&] {
        receiver.reset();
        seen += QLatin1Char('x');
    });
    receiver->mailbox->post([&seen] { seen += QLatin1Char('c'); });
    QVERIFY(waitFor([&seen] { return seen.endsWith(QLatin1Char(')')); }));
    QVERIFY(waitFor([&alive] { return alive.expired(); }));
    QCOMPARE(seen, "(x)"_s);
}

void TestSyncMailbox::receiverDeletedBetweenTurns()
{
    auto receiver = std::make_unique<Receiver>();
    const std::weak_ptr<VornSyncMailbox> alive = receiver->mailbox;
    int calls = 0;
    for (int i = 0; i < kBacklog; ++i)
        receiver->mailbox->post([&calls] {
            spin();
            ++calls;
        });
    QVERIFY(waitFor([&calls] { return calls > 0; }));
    QVERIFY(calls < kBacklog);
    const int delivered = calls;
    receiver.reset();
    QVERIFY(turn());
    QCOMPARE(calls, delivered);
    QVERIFY(alive.expired());
}

void TestSyncMailbox::receiverDeletedWhileOthersPost()
{
    for (int round = 0; round < 10; ++round) {
        auto receiver = std::make_unique<Receiver>();
        int calls = 0;
        std::atomic<bool> isOver{false};
        std::vector<std::unique_ptr<QThread>> posters;
        for (int poster = 0; poster < 2; ++poster) {
            posters.emplace_back(QThread::create([&calls, &isOver, mailbox = receiver->mailbox] {
                while (!isOver) {
                    mailbox->post([&calls] { ++calls; });
                    mailbox->postMerged([&calls](int times) { calls += times; });
                }
            }));
            posters.back()->start();
        }
        QVERIFY(waitFor([&calls] { return calls > 10; }));
        receiver.reset();
        const int delivered = calls;
        QCoreApplication::processEvents();
        isOver = true;
        for (const auto& poster : posters)
            QVERIFY(poster->wait(kWaitMs));
        QCoreApplication::processEvents();
        QCOMPARE(calls, delivered);
    }
}

void TestSyncMailbox::twoMailboxesOfOneReceiver()
{
    Receiver receiver;
    const auto other = std::make_shared<VornSyncMailbox>(&receiver);
    QString seen;
    receiver.mailbox->post([&seen] { seen += QLatin1Char('a'); });
    other->post([&seen] { seen += QLatin1Char('b'); });
    receiver.mailbox->post([&seen] { seen += QLatin1Char('c'); });
    QVERIFY(waitFor([&seen] { return seen.size() == 3; }));
    QVERIFY(seen.indexOf(QLatin1Char('a')) < seen.indexOf(QLatin1Char('c')));
    receiver.mailbox->close();
    other->post([&seen] { seen += QLatin1Char('d'); });
    QVERIFY(waitFor([&seen] { return seen.endsWith(QLatin1Char('d')); }));
    other->close();
}

QTEST_GUILESS_MAIN(TestSyncMailbox)
#include "test_sync_mailbox.moc"
