#include "monitor_world.h"

#include "child_process.h"

#include "vorn_monitor_icon.h"
#include "vorn_monitor_tray.h"

#include <QAction>
#include <QApplication>
#include <QScreen>
#include <QSignalSpy>

#include <algorithm>
#include <cmath>

using namespace VornSyncTest;

// What the window shows of a mirror, and what it asks for besides answers to errors.
class TestMonitorWindow : public QObject
{
    Q_OBJECT

private slots:
    void showsPairsAndCounters();
    void showsProgressWhileWorkIsPending();
    void synchronisesNow();
    void pausesAndResumes();
    void pausesOnePair();
    void tellsThatAShareIsAway();
    void showsEventsAndLog();
    void namesAreShownAsTheyAre();
    void longNamesAreElidedAndTold();
    void fitsASmallScreen();
    void followsTheTheme();
    void followsTheDesktop();
    void textsStandOut_data();
    void textsStandOut();
    void isMirroredFromRightToLeft();
    void trayTellsTheStateAndActs();
    void trayHasASignForEachState();
    void livesInTheTray();
    void commandsReachTheWindow();
    void speaksFrench();

private:
    static int valueOf(const MonitorWorld& world, const QString& counter);
    static QStringList logLines(MonitorWorld* world);
};

int TestMonitorWindow::valueOf(const MonitorWorld& world, const QString& counter)
{
    const QQuickItem* item = world.item(counter);
    return item == nullptr ? -1 : item->property("value").toInt();
}

QStringList TestMonitorWindow::logLines(MonitorWorld* world)
{
    QStringList lines;
    const VornMonitorLog& log = *world->host().log();
    for (int row = 0; row < log.rowCount(); ++row)
        lines << log.data(log.index(row), VornMonitorLog::TextRole).toString();
    return lines;
}

void TestMonitorWindow::showsPairsAndCounters()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"a.doc"_s, "b.doc"_s, "c.doc"_s}));
    QVERIFY(world.plantError("c.doc"_s, 15, kUpToDateInError));
    QVERIFY(world.open());
    const QQuickItem* row = world.await("pairRow"_s);
    QVERIFY(row != nullptr);
    QCOMPARE(row->property("shownAlias").toString(), "docs"_s);
    QCOMPARE(row->property("local").toString(), world.local().path());
    QCOMPARE(row->property("distant").toString(), world.distant().path());
    QCOMPARE(world.textOf("pairState"_s), "Mirrored"_s);
    QCOMPARE(valueOf(world, "doneCounter"_s), 2);
    QCOMPARE(valueOf(world, "pendingCounter"_s), 0);
    QCOMPARE(valueOf(world, "inProgressCounter"_s), 0);
    QCOMPARE(valueOf(world, "errorCounter"_s), 1);
    QCOMPARE(world.textOf("stateText"_s), "1 file in error"_s);
    QCOMPARE(world.textOf("errorsTab"_s), "&Files in error (1)"_s);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorWindow::showsProgressWhileWorkIsPending()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    QVERIFY(world.open());
    QTRY_COMPARE_WITH_TIMEOUT(world.textOf("stateText"_s), "Everything is up to date"_s, kWaitMs);
    const QQuickItem* bar = world.item("progressBar"_s);
    QVERIFY(bar != nullptr);
    QCOMPARE(bar->opacity(), 0.0);

    QList<double> seen;
    connect(world.host().status(), &VornMonitorStatus::changed, this, [&] {
        if (world.host().status()->isWorking() && bar->opacity() == 1.0)
            seen << bar->property("value").toDouble();
    });
    for (int i = 0; i < 5; ++i)
        QVERIFY(world.local().write("new%1.doc"_s.arg(i), "content"));
    world.manager().requestSync();
    QTRY_COMPARE_WITH_TIMEOUT(valueOf(world, "doneCounter"_s), 6, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.textOf("stateText"_s), "Everything is up to date"_s, kWaitMs);
    QVERIFY(seen.size() >= 2);
    QVERIFY(std::is_sorted(seen.cbegin(), seen.cend()));
    QVERIFY2(seen.constFirst() < seen.constLast() && seen.constLast() < 1.0,
             qPrintable(QString::number(seen.constLast())));
    QCOMPARE(bar->opacity(), 0.0);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorWindow::synchronisesNow()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    QVERIFY(world.open());
    QVERIFY(world.local().write("new.doc"_s, "content"));
    QVERIFY(world.click("syncButton"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.distant().exists("new.doc"_s), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(valueOf(world, "doneCounter"_s), 2, kWaitMs);
    QVERIFY(world.local().write("newer.doc"_s, "content"));
    world.press(Qt::Key_F5);
    QTRY_VERIFY_WITH_TIMEOUT(world.distant().exists("newer.doc"_s), kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorWindow::pausesAndResumes()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    QVERIFY(world.open());
    QCOMPARE(world.textOf("pauseButton"_s), "&Pause"_s);
    QVERIFY(world.click("pauseButton"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.manager().isPausedAll(), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.textOf("stateText"_s), "Paused"_s, kWaitMs);
    QCOMPARE(world.textOf("pauseButton"_s), "&Resume"_s);
    QVERIFY(!world.item("syncButton"_s)->isEnabled());

    QVERIFY(world.local().write("new.doc"_s, "content"));
    QVERIFY(world.click("pauseButton"_s));
    QTRY_VERIFY_WITH_TIMEOUT(!world.manager().isPausedAll(), kWaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(world.distant().exists("new.doc"_s), kWaitMs);

    world.press(Qt::Key_P, Qt::ControlModifier);
    QTRY_VERIFY_WITH_TIMEOUT(world.manager().isPausedAll(), kWaitMs);
    world.press(Qt::Key_R, Qt::AltModifier); // the mnemonic of "Resume"
    QTRY_VERIFY_WITH_TIMEOUT(!world.manager().isPausedAll(), kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorWindow::pausesOnePair()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    QVERIFY(world.open());
    QVERIFY(world.click("pausePairButton"_s));
    QTRY_COMPARE_WITH_TIMEOUT(world.textOf("pairState"_s), "Paused"_s, kWaitMs);
    QVERIFY(!world.manager().isPausedAll());
    QVERIFY(world.local().write("new.doc"_s, "content"));
    QVERIFY(world.click("pausePairButton"_s));
    QTRY_COMPARE_WITH_TIMEOUT(world.textOf("pairState"_s), "Mirrored"_s, kWaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(world.distant().exists("new.doc"_s), kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorWindow::tellsThatAShareIsAway()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    QVERIFY(world.open());
    const QString away = world.distant().path() + ".away"_s;
    QVERIFY(QDir().rename(world.distant().path(), away));
    QTRY_COMPARE_WITH_TIMEOUT(world.textOf("pairState"_s), "The distant directory is missing"_s, kWaitMs);
    QCOMPARE(world.textOf("stateText"_s), "A directory is not there"_s);
    QVERIFY(QDir().rename(away, world.distant().path()));
    QTRY_COMPARE_WITH_TIMEOUT(world.textOf("pairState"_s), "Mirrored"_s, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.textOf("stateText"_s), "Everything is up to date"_s, kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorWindow::showsEventsAndLog()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    QVERIFY(world.open());
    QVERIFY(world.items("eventRow"_s).isEmpty());
    QVERIFY(world.local().write("new.doc"_s, "content"));
    world.manager().requestSync();
    QTRY_COMPARE_WITH_TIMEOUT(world.items("eventRow"_s).size(), 1, kWaitMs);
    QVERIFY(world.item("eventRow"_s)->property("accessibleName").toString().endsWith("new.doc, Done"_s));
    QVERIFY2(logLines(&world).contains("copied docs/new.doc"_s),
             qPrintable(logLines(&world).join(QLatin1Char('\n'))));

    QVERIFY(world.click("logTab"_s));
    QTRY_VERIFY_WITH_TIMEOUT(!world.items("logRow"_s).isEmpty(), kWaitMs);
    const QList<QQuickItem*> rows = world.items("logRow"_s);
    QCOMPARE(rows.constLast()->property("text").toString(), "copied docs/new.doc"_s);
    QCOMPARE(world.complaints(), QString());
}

// A name is data: no line of its own, no markup, no turning of the reading direction.
void TestMonitorWindow::namesAreShownAsTheyAre()
{
    const QString bold = "<b>bold<img src='http:x'>.doc"_s;
    const QString lines = "two\nlines\u202etxt.doc"_s;
    MonitorWorld world;
    QVERIFY(world.mirror({bold, lines}));
    QVERIFY(world.plantError(bold, 15, kUpToDateInError));
    QVERIFY(world.plantError(lines, 15, kUpToDateInError));
    QVERIFY(world.open());
    QVERIFY(world.click("errorsTab"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.row("errorList"_s, lines) != nullptr, kWaitMs);
    const QQuickItem* boldName = world.item("errorName"_s, world.row("errorList"_s, bold));
    QCOMPARE(boldName->property("text").toString(), bold);
    QCOMPARE(boldName->property("textFormat").toInt(), int(Qt::PlainText));
    const QQuickItem* linesName = world.item("errorName"_s, world.row("errorList"_s, lines));
    QCOMPARE(linesName->property("text").toString(), "two\\nlines\\u202etxt.doc"_s);
    QCOMPARE(linesName->property("lineCount").toInt(), 1);

    QVERIFY(world.click("restoreButton"_s,
                        world.row("errorList"_s, lines))); // the name itself goes to the manager
    QTRY_COMPARE_WITH_TIMEOUT(world.manager().errorCount(), 1, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.statusOf(lines), 17, kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorWindow::longNamesAreElidedAndTold()
{
    const QString name = QString(251, QLatin1Char('n')) + ".doc"_s;
    MonitorWorld world;
    QVERIFY(world.mirror({name}));
    QVERIFY(world.plantError(name, 15, kUpToDateInError));
    QVERIFY(world.open());
    QVERIFY(world.click("errorsTab"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.row("errorList"_s, name) != nullptr, kWaitMs);
    const QQuickItem* row = world.row("errorList"_s, name);
    const QQuickItem* shown = world.await("errorName"_s, row);
    QVERIFY(shown != nullptr && shown->property("truncated").toBool());
    const QQuickItem* button = world.await("trashButton"_s, row);
    QVERIFY(button != nullptr);
    QVERIFY(row->mapRectFromItem(button, button->boundingRect()).right() <= row->width());
    QVERIFY(row->mapRectFromItem(shown, shown->boundingRect()).right() <
            row->mapRectFromItem(button, button->boundingRect()).left());

    QTest::mouseMove(world.window(), shown->mapToScene(shown->boundingRect().center()).toPoint());
    QTRY_COMPARE_WITH_TIMEOUT(world.textOf("hintText"_s), name, kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

// As little as 1366 by 768 pixels at 200 % are, and back again.
void TestMonitorWindow::fitsASmallScreen()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"lost.doc"_s, "gone.doc"_s}));
    QVERIFY(world.plantError("lost.doc"_s, 15, kUpToDateInError));
    QVERIFY(world.plantError("gone.doc"_s, 2, kUpToDateInError));
    QVERIFY(world.open());
    QVERIFY(world.click("errorsTab"_s));
    QVERIFY(world.await("errorRow"_s) != nullptr);
    for (const QSize& size : {QSize(683, 384), QSize(480, 360), QSize(480, 700), QSize(940, 660)}) {
        world.window()->resize(size);
        QTRY_COMPARE_WITH_TIMEOUT(world.window()->size(), size, kWaitMs);
        for (const QString& name : {"syncButton"_s, "pauseButton"_s, "errorsTab"_s, "logTab"_s,
                                    "restoreTab"_s, "trashAllButton"_s, "errorCounter"_s, "errorList"_s}) {
            const auto isInside = [&] {
                const QQuickItem* item = world.item(name);
                return item != nullptr &&
                       QRectF(QPointF(), QSizeF(size)).contains(item->mapRectToScene(item->boundingRect()));
            };
            QVERIFY2(waitFor(isInside), qPrintable("%1 at %2 x %3"_s.arg(name, QString::number(size.width()),
                                                                         QString::number(size.height()))));
        }
        const QQuickItem* list = world.item("errorList"_s);
        QTRY_VERIFY_WITH_TIMEOUT(list->height() >= world.item("errorRow"_s)->height(), kWaitMs);
        const QQuickItem* button = world.item("trashButton"_s);
        QTRY_VERIFY_WITH_TIMEOUT(button->mapRectToScene(button->boundingRect()).right() <= size.width(),
                                 kWaitMs);
    }
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorWindow::textsStandOut_data()
{
    QTest::addColumn<QString>("theme");
    QTest::newRow("light") << "light"_s;
    QTest::newRow("dark") << "dark"_s;
}

// 4.5 to 1 is what people with weak sight need.
void TestMonitorWindow::textsStandOut()
{
    QFETCH(const QString, theme);
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    QVERIFY(world.open({"--theme"_s, theme}));
    const auto luminance = [](const QColor& colour) {
        const auto linear = [](double part) {
            return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
               0.0722 * linear(colour.blueF());
    };
    const auto contrast = [&luminance](const QColor& left, const QColor& right) {
        const double one = luminance(left) + 0.05;
        const double other = luminance(right) + 0.05;
        return std::max(one, other) / std::min(one, other);
    };
    const QObject* colours = world.window()->property("theme").value<QObject*>();
    QVERIFY(colours != nullptr);
    const auto colour = [colours](const char* name) { return colours->property(name).value<QColor>(); };
    const auto isReadable = [&](const char* text, const char* ground, const QColor& seen) {
        const double found = contrast(colour(text), seen);
        return found >= 4.5 ? QString()
                            : "%1 on %2: %3"_s.arg(QLatin1String(text), QLatin1String(ground)).arg(found);
    };
    const QColor accent = colour("accent");
    const QColor base = colour("base");
    const auto mixed = [](int upper, int lower) { return qRound(0.16 * upper + 0.84 * lower); };
    const QColor chosen(mixed(accent.red(), base.red()), mixed(accent.green(), base.green()),
                        mixed(accent.blue(), base.blue())); // a row that has the focus
    for (const char* text : {"text", "faint", "accent", "good", "bad"}) {
        for (const char* ground : {"window", "base", "raised"})
            QCOMPARE(isReadable(text, ground, colour(ground)), QString());
        QCOMPARE(isReadable(text, "a chosen row", chosen), QString());
    }
    for (const char* ground : {"hovered", "line"}) // a button under the mouse, and one that is held
        QCOMPARE(isReadable("text", ground, colour(ground)), QString());
    QCOMPARE(isReadable("accentText", "accent", accent), QString());
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorWindow::followsTheTheme()
{
    QList<QColor> colours;
    for (const QString& theme : {"light"_s, "dark"_s}) {
        MonitorWorld world;
        QVERIFY(world.mirror({"old.doc"_s}));
        QVERIFY(world.open({"--theme"_s, theme}));
        colours << world.window()->color();
        QCOMPARE(world.complaints(), QString());
    }
    QVERIFY(colours.at(0).lightness() > 200);
    QVERIFY(colours.at(1).lightness() < 60);
}

void TestMonitorWindow::followsTheDesktop()
{
    const QPalette before = QGuiApplication::palette();
    QGuiApplication::setPalette(QPalette(QColor(0x20, 0x20, 0x20)));
    {
        MonitorWorld world;
        QVERIFY(world.mirror({"old.doc"_s}));
        QVERIFY(world.open());
        QTRY_VERIFY_WITH_TIMEOUT(world.window()->color().lightness() < 60, kWaitMs);
        QGuiApplication::setPalette(QPalette(QColor(0xf0, 0xf0, 0xf0))); // in the morning
        QTRY_VERIFY_WITH_TIMEOUT(world.window()->color().lightness() > 200, kWaitMs);
        QCOMPARE(world.complaints(), QString());
    }
    QGuiApplication::setPalette(before);
}

void TestMonitorWindow::isMirroredFromRightToLeft()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    const auto xOf = [&world](const QString& name) { return world.item(name)->mapToScene(QPointF()).x(); };
    QVERIFY(world.open());
    QVERIFY(world.await("pauseButton"_s) && xOf("stateText"_s) < xOf("pauseButton"_s));
    QGuiApplication::setLayoutDirection(Qt::RightToLeft);
    QTRY_VERIFY_WITH_TIMEOUT(xOf("stateText"_s) > xOf("pauseButton"_s), kWaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(xOf("overviewTab"_s) > xOf("logTab"_s), kWaitMs);
    QGuiApplication::setLayoutDirection(Qt::LeftToRight);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorWindow::trayTellsTheStateAndActs()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    QVERIFY(world.open());
    VornMonitorTray& tray = *world.monitor().tray();
    const auto image = [&tray] { return tray.icon().icon().pixmap(32, 32).toImage(); };
    const auto expected = [](VornMonitorStatus::State state) {
        return VornMonitorIcon::icon(state).pixmap(32, 32).toImage();
    };
    QTRY_COMPARE_WITH_TIMEOUT(tray.icon().toolTip(), "VornSync: Everything is up to date"_s, kWaitMs);
    QCOMPARE(image(), expected(VornMonitorStatus::State::UpToDate));

    const auto action = [&tray](const QString& name) { return tray.menu()->findChild<QAction*>(name); };
    action("trayPause"_s)->trigger();
    QTRY_VERIFY_WITH_TIMEOUT(world.manager().isPausedAll(), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(tray.icon().toolTip(), "VornSync: Paused"_s, kWaitMs);
    QCOMPARE(image(), expected(VornMonitorStatus::State::Paused));
    action("trayPause"_s)->trigger();
    QTRY_VERIFY_WITH_TIMEOUT(!world.manager().isPausedAll(), kWaitMs);

    QVERIFY(world.local().write("new.doc"_s, "content"));
    action("traySync"_s)->trigger();
    QTRY_VERIFY_WITH_TIMEOUT(world.distant().exists("new.doc"_s), kWaitMs);

    QVERIFY(world.window()->isVisible());
    action("trayShow"_s)->trigger();
    QVERIFY(!world.window()->isVisible());
    action("trayShow"_s)->trigger();
    QVERIFY(world.window()->isVisible());

    const QSignalSpy quits(&tray, &VornMonitorTray::quitRequested);
    action("trayQuit"_s)->trigger();
    QCOMPARE(quits.count(), 1);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorWindow::trayHasASignForEachState()
{
    using State = VornMonitorStatus::State;
    const auto sign = [](State state) { return VornMonitorIcon::icon(state).pixmap(32, 32).toImage(); };
    QVector<QImage> signs;
    for (const State state :
         {State::UpToDate, State::Working, State::Paused, State::Away, State::Attention}) {
        QVERIFY(!signs.contains(sign(state)));
        signs.append(sign(state));
    }

    MonitorWorld world;
    QVERIFY(world.mirror({"lost.doc"_s, "old.doc"_s}));
    QVERIFY(world.plantError("lost.doc"_s, 15, kUpToDateInError));
    QVERIFY(world.open());
    const VornMonitorTray& tray = *world.monitor().tray();
    const auto image = [&tray] { return tray.icon().icon().pixmap(32, 32).toImage(); };
    QTRY_COMPARE_WITH_TIMEOUT(tray.icon().toolTip(), "VornSync: 1 file in error"_s, kWaitMs);
    QCOMPARE(image(), sign(State::Attention));

    QStringList told;
    connect(world.host().status(), &VornMonitorStatus::changed, &tray, [&] {
        if (image() == sign(State::Working))
            told << tray.icon().toolTip();
    });
    world.manager().retrySync("docs"_s, "lost.doc"_s);
    QTRY_COMPARE_WITH_TIMEOUT(tray.icon().toolTip(), "VornSync: Everything is up to date"_s, kWaitMs);
    QCOMPARE(image(), sign(State::UpToDate));
    QVERIFY2(told.contains("VornSync: 1 operation to go"_s), qPrintable(told.join(QLatin1Char('\n'))));

    QVERIFY(QDir().rename(world.distant().path(), world.distant().path() + ".away"_s));
    QTRY_COMPARE_WITH_TIMEOUT(tray.icon().toolTip(), "VornSync: A directory is not there"_s, kWaitMs);
    QCOMPARE(image(), sign(State::Away));
    QCOMPARE(world.complaints(), QString());
}

// With a tray, closing the window leaves the mirror running.
void TestMonitorWindow::livesInTheTray()
{
    if (QGuiApplication::platformName() != "xcb"_s)
        QSKIP("There is no tray without a screen; the run on X11 has one.");
    ChildProcess trayer;
    const QString program = ChildProcess::find("trayer"_s);
    if (program.isEmpty())
        QSKIP("trayer is missing.");
    QVERIFY(trayer.begin(program, {"--edge"_s, "bottom"_s, "--widthtype"_s, "request"_s}));
    QVERIFY(waitFor([] { return QSystemTrayIcon::isSystemTrayAvailable(); }));
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    QVERIFY(world.open());
    VornMonitorTray& tray = *world.monitor().tray();
    QVERIFY(tray.isShown());
    QVERIFY(!QGuiApplication::quitOnLastWindowClosed());
    const auto isSignSeen = [&tray] {
        const QRect place = tray.icon().geometry();
        const QColor sign = VornMonitorIcon::icon(VornMonitorStatus::State::UpToDate)
                                .pixmap(16, 16)
                                .toImage()
                                .pixelColor(8, 2);
        const QImage screen = QGuiApplication::primaryScreen()->grabWindow(0).toImage();
        for (int x = place.left(); x <= place.right(); ++x) {
            for (int y = place.top(); y <= place.bottom(); ++y) {
                if (screen.rect().contains(x, y) && screen.pixelColor(x, y) == sign)
                    return true;
            }
        }
        return false;
    };
    QTRY_VERIFY_WITH_TIMEOUT(isSignSeen(), kWaitMs);

    world.window()->close();
    QVERIFY(!world.window()->isVisible());
    QVERIFY(world.local().write("new.doc"_s, "content"));
    tray.menu()->findChild<QAction*>("traySync"_s)->trigger();
    QTRY_VERIFY_WITH_TIMEOUT(world.distant().exists("new.doc"_s), kWaitMs);
    tray.menu()->findChild<QAction*>("trayShow"_s)->trigger();
    QVERIFY(QTest::qWaitForWindowExposed(world.window()));
    world.close();
    QGuiApplication::setQuitOnLastWindowClosed(true);
    QCOMPARE(world.complaints(), QString());
}

// The command line speaks to a window as it does to a mirror in a terminal.
void TestMonitorWindow::commandsReachTheWindow()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"lost.doc"_s}));
    QVERIFY(world.plantError("lost.doc"_s, 15, kUpToDateInError));
    QVERIFY(world.open());
    const auto run = [&world](const QStringList& words) {
        CliProcess process;
        const bool isStarted = process.start(words, world.world().environment());
        return isStarted ? process.waitForEnd() : CliResult();
    };
    const CliResult paused = run({"pause"_s, "--state"_s, world.world().statePath()});
    QVERIFY2(paused.exitCode == 0, qPrintable(paused.words()));
    QTRY_COMPARE_WITH_TIMEOUT(world.textOf("stateText"_s), "Paused"_s, kWaitMs);
    QCOMPARE(run({"resume"_s, "--state"_s, world.world().statePath()}).exitCode, 0);
    const CliResult restored =
        run({"restore"_s, "--state"_s, world.world().statePath(), "docs"_s, "lost.doc"_s});
    QVERIFY2(restored.exitCode == 0, qPrintable(restored.words()));
    QTRY_COMPARE_WITH_TIMEOUT(world.manager().errorCount(), 0, kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorWindow::speaksFrench()
{
    MonitorWorld world("fr"_s);
    QVERIFY(world.mirror({"perdu.doc"_s, "autre.doc"_s}));
    QVERIFY(world.plantError("perdu.doc"_s, 15, kUpToDateInError));
    QVERIFY(world.plantError("autre.doc"_s, 15, kUpToDateInError));
    QVERIFY(world.open());
    QCOMPARE(world.textOf("stateText"_s), "2 fichiers en erreur"_s);
    QCOMPARE(world.textOf("pairState"_s), "Copiée"_s);
    QVERIFY(world.click("errorsTab"_s));
    QVERIFY(world.click("trashAllButton"_s));
    QVERIFY(world.await("question"_s) != nullptr);
    QCOMPARE(world.textOf("question"_s), "Déplacer 2 fichiers locaux dans la corbeille ?"_s);
    QVERIFY(world.click("noButton"_s));
    QCOMPARE(world.complaints(), QString());
}

QTEST_MAIN(TestMonitorWindow)
#include "test_monitor_window.moc"
