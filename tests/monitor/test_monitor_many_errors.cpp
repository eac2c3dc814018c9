#include "monitor_world.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QSignalSpy>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <cstdio>

using namespace VornSyncTest;

namespace {

constexpr int kErrors = 10000;
constexpr int kAnswers = 500; // VORN_SYNC_ANSWERS sets another number
constexpr int kAnswersMs = 280000;
constexpr int kKeys = 200;
constexpr int kFewAnswers = 20;
constexpr int kManyAnswers = 5000;
constexpr int kMostReadings = 12;  // each time twice as long apart, 10 s at most: enough for 40 s
constexpr int kMostRowsAlive = 80; // of a window that shows a dozen

// Past the capture of messages.
void say(const QString& line)
{
    std::printf("INFO   : %s\n", qPrintable(line));
    std::fflush(stdout);
}

// Intervals in milliseconds, as a line of text.
QString summary(const char* what, QVector<double> intervals)
{
    if (intervals.isEmpty())
        return QString();
    std::sort(intervals.begin(), intervals.end());
    const auto at = [&intervals](double share) {
        return QString::number(
            intervals.at(static_cast<int>(share * (static_cast<int>(intervals.size()) - 1))), 'f', 1);
    };
    return "%1: %2, median %3 ms, 95 %: %4 ms, longest %5 ms"_s.arg(QLatin1String(what))
        .arg(intervals.size())
        .arg(at(0.5), at(0.95), at(1));
}

} // namespace

// A share that was lost with all its files. The times are printed, not judged: the machine may be busy.
class TestMonitorManyErrors : public QObject
{
    Q_OBJECT

private slots:
    void scrolling();
    void answeringAll();
    void theListIsReadAsOftenForManyAsForFew();

private:
    // How long each turn of the event loop took until `isDone`.
    template<typename Predicate>
    static bool watchLoop(Predicate isDone, int timeoutMs, QVector<double>* turns);
};

template<typename Predicate>
bool TestMonitorManyErrors::watchLoop(Predicate isDone, int timeoutMs, QVector<double>* turns)
{
    QElapsedTimer clock;
    QElapsedTimer turn;
    clock.start();
    while (!isDone() && !clock.hasExpired(timeoutMs)) {
        turn.start();
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        turns->append(double(turn.nsecsElapsed()) / 1e6);
        QThread::yieldCurrentThread(); // what is measured is the turn, not the wait between two of them
    }
    return isDone();
}

void TestMonitorManyErrors::scrolling()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    QVERIFY(world.plantMissing(kErrors, 2));
    QElapsedTimer clock;
    clock.start();
    QVERIFY(world.open());
    world.press(Qt::Key_2, Qt::ControlModifier);
    QVERIFY(world.await("errorRow"_s) != nullptr);
    say("window open with %1 errors after %2 ms"_s.arg(kErrors).arg(clock.elapsed()));

    const QQuickItem* list = world.item("errorList"_s);
    QCOMPARE(list->property("count").toInt(), kErrors);
    QVERIFY(world.click("errorList"_s));
    for (const Qt::Key key : {Qt::Key_Down, Qt::Key_PageDown}) {
        QVector<double> frames; // from the key to the frame that shows what it did
        for (int i = 0; i < kKeys; ++i) {
            QEventLoop loop; // no polling: it would be part of the time
            bool isShown = false;
            connect(world.window(), &QQuickWindow::frameSwapped, &loop, [&] {
                isShown = true;
                loop.quit();
            });
            QTimer::singleShot(kWaitMs, &loop, [&loop] { loop.exit(1); });
            clock.start();
            world.press(key);
            QVERIFY(isShown || loop.exec() == 0);
            frames << double(clock.nsecsElapsed()) / 1e6;
        }
        say(summary(key == Qt::Key_Down ? "frames of a row" : "frames of a page", frames));
    }
    QVERIFY(list->property("currentIndex").toInt() > kKeys * 4);
    QVERIFY(world.items("errorRow"_s).size() < kMostRowsAlive);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorManyErrors::answeringAll()
{
    const int answers = qEnvironmentVariableIsSet("VORN_SYNC_ANSWERS")
                            ? qEnvironmentVariableIntValue("VORN_SYNC_ANSWERS")
                            : kAnswers;
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    QVERIFY(world.plantMissing(answers, 2));
    QVERIFY(world.open());
    world.press(Qt::Key_2, Qt::ControlModifier);
    QVERIFY(world.await("errorRow"_s) != nullptr);
    QVERIFY(world.click("acknowledgeAllButton"_s));
    QVERIFY(world.await("question"_s) != nullptr);
    QCOMPARE(world.textOf("question"_s),
             "Take note that %1 files are gone? Their distant copies stay."_s.arg(answers));
    QVERIFY(world.click("yesButton"_s));
    QVector<double> turns;
    QElapsedTimer clock;
    clock.start();
    const bool isDone = watchLoop([&] { return world.manager().errorCount() == 0; }, kAnswersMs, &turns);
    say("%1 answers taken up after %2 ms"_s.arg(answers).arg(clock.elapsed()));
    say(summary("turns of the event loop meanwhile", turns));
    QVERIFY2(isDone, qPrintable("%1 errors are left"_s.arg(world.manager().errorCount())));
    QTRY_COMPARE_WITH_TIMEOUT(world.textOf("emptyText"_s), "No file is in error."_s, kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

// Reading it takes the longer the more files there are.
void TestMonitorManyErrors::theListIsReadAsOftenForManyAsForFew()
{
    for (const int answers : {kFewAnswers, kManyAnswers}) {
        MonitorWorld world;
        QVERIFY(world.mirror({"old.doc"_s}));
        QVERIFY(world.plantMissing(answers, 2));
        QVERIFY(world.open());
        VornMonitorErrors& errors = *world.host().errors();
        const QList<QObject*> groups = errors.groups();
        const auto group = std::find_if(groups.cbegin(), groups.cend(), [](const QObject* one) {
            return one->property("key").toString() == "acknowledge"_s;
        });
        QCOMPARE(errors.ask(*group, static_cast<int>(VornCliAnswer::Acknowledge)), answers);
        const QSignalSpy readings(&errors, &VornMonitorErrors::changed);
        errors.confirm();
        QTRY_COMPARE_WITH_TIMEOUT(errors.count(), 0, kAnswersMs);
        say("the list was read %1 times for %2 answers"_s.arg(readings.count()).arg(answers));
        QVERIFY(readings.count() >= 1 && readings.count() <= kMostReadings);
        QCOMPARE(world.complaints(), QString());
    }
}

QTEST_MAIN(TestMonitorManyErrors)
#include "test_monitor_many_errors.moc"
