#include "monitor_world.h"

#include "vorn_monitor_tray.h"

#include <QAccessible>
#include <QDir>
#include <QFile>
#include <QQmlEngine>
#include <QSet>
#include <QSignalSpy>

using namespace VornSyncTest;

// The window without a mouse, and as a screen reader finds it.
class TestMonitorKeyboard : public QObject
{
    Q_OBJECT

private slots:
    void tabReachesEverythingInReadingOrder();
    void mnemonicsAndShortcutsOpenThePages();
    void closingAndQuittingEnd();
    void anErrorIsAnsweredByKeysAlone();
    void allAreAnsweredByKeysAlone();
    void longListsAreWalked();
    void everythingHasAName_data();
    void everythingHasAName();
    void whatCouldNotBeDoneHasAName();
    void screenReaderPressesAButton();

private:
    static QString focused(MonitorWorld* world);
    static bool tabTo(MonitorWorld* world, const QString& name);
};

QString TestMonitorKeyboard::focused(MonitorWorld* world)
{
    const QQuickItem* item = world->window()->activeFocusItem();
    return item == nullptr ? QString() : item->objectName();
}

bool TestMonitorKeyboard::tabTo(MonitorWorld* world, const QString& name)
{
    for (int i = 0; i < 30 && focused(world) != name; ++i)
        world->press(Qt::Key_Tab);
    return focused(world) == name;
}

void TestMonitorKeyboard::tabReachesEverythingInReadingOrder()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"lost.doc"_s}));
    QVERIFY(world.plantError("lost.doc"_s, 15, kUpToDateInError));
    QVERIFY(world.open());
    const auto round = [&world](const QString& first) {
        QStringList names;
        if (!tabTo(&world, first))
            return names;
        do {
            names << focused(&world);
            world.press(Qt::Key_Tab);
        } while (focused(&world) != first && names.size() < 30);
        return names;
    };
    const QStringList top{"syncButton"_s, "pauseButton"_s, "overviewTab"_s, "errorsTab"_s, "logTab"_s};
    QCOMPARE(round("syncButton"_s), top + QStringList({"addPairButton"_s, "pairRow"_s, "pausePairButton"_s,
                                                       "removePairButton"_s, "eventList"_s}));
    world.press(Qt::Key_2, Qt::ControlModifier);
    QVERIFY(world.await("errorRow"_s) != nullptr);
    QCOMPARE(round("syncButton"_s),
             top + QStringList({"restoreTab"_s, "restoreAllButton"_s, "trashAllButton"_s, "errorRow"_s,
                                "restoreButton"_s, "trashButton"_s}));
    world.press(Qt::Key_3, Qt::ControlModifier);
    QVERIFY(world.await("logRow"_s) != nullptr);
    QCOMPARE(round("syncButton"_s), top + QStringList({"logRow"_s}));
    world.press(Qt::Key_Tab, Qt::ShiftModifier); // and back
    QCOMPARE(focused(&world), "logRow"_s);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorKeyboard::mnemonicsAndShortcutsOpenThePages()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    QVERIFY(world.open());
    QVERIFY(world.await("pairList"_s) != nullptr);
    const QList<QPair<Qt::Key, QString>> mnemonics{
        {Qt::Key_F, "errorList"_s}, {Qt::Key_L, "logList"_s}, {Qt::Key_O, "pairList"_s}};
    for (const auto& mnemonic : mnemonics) {
        world.press(mnemonic.first, Qt::AltModifier);
        QTRY_VERIFY_WITH_TIMEOUT(world.item(mnemonic.second) != nullptr, kWaitMs);
    }
    const QList<QPair<Qt::Key, QString>> shortcuts{
        {Qt::Key_2, "errorList"_s}, {Qt::Key_3, "logList"_s}, {Qt::Key_1, "pairList"_s}};
    for (const auto& shortcut : shortcuts) {
        world.press(shortcut.first, Qt::ControlModifier);
        QTRY_VERIFY_WITH_TIMEOUT(world.item(shortcut.second) != nullptr, kWaitMs);
    }
    QVERIFY(tabTo(&world, "errorsTab"_s));
    world.press(Qt::Key_Return);
    QTRY_VERIFY_WITH_TIMEOUT(world.item("errorList"_s) != nullptr, kWaitMs);
    QVERIFY(world.local().write("new.doc"_s, "content"));
    world.press(Qt::Key_S, Qt::AltModifier);
    QTRY_VERIFY_WITH_TIMEOUT(world.distant().exists("new.doc"_s), kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

// Here is no tray that would keep a mirror without a window within reach.
void TestMonitorKeyboard::closingAndQuittingEnd()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    QVERIFY(world.open());
    QVERIFY(!world.monitor().tray()->isShown());
    QVERIFY(QGuiApplication::quitOnLastWindowClosed());
    const QSignalSpy quits(qmlEngine(world.window()), &QQmlEngine::quit);
    world.press(Qt::Key_Q, Qt::ControlModifier);
    QCOMPARE(quits.count(), 1);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorKeyboard::anErrorIsAnsweredByKeysAlone()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"a.doc"_s, "b.doc"_s}));
    QVERIFY(world.plantError("a.doc"_s, 15, kUpToDateInError));
    QVERIFY(world.plantError("b.doc"_s, 15, kUpToDateInError));
    QVERIFY(world.distant().remove("b.doc"_s));
    QVERIFY(world.open());
    world.press(Qt::Key_2, Qt::ControlModifier);
    QVERIFY(world.await("errorRow"_s) != nullptr);
    QVERIFY(tabTo(&world, "errorRow"_s));
    world.press(Qt::Key_Down);
    world.press(Qt::Key_Tab);
    QCOMPARE(focused(&world), "restoreButton"_s);
    QCOMPARE(world.window()->activeFocusItem()->property("accessibleName").toString(), "Restore: b.doc"_s);
    world.press(Qt::Key_Space);
    QTRY_VERIFY_WITH_TIMEOUT(world.distant().exists("b.doc"_s), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.items("errorRow"_s).size(), 1, kWaitMs);
    QCOMPARE(focused(&world), "errorRow"_s); // not lost with the row
    world.press(Qt::Key_Tab);
    world.press(Qt::Key_Tab);
    QCOMPARE(focused(&world), "trashButton"_s);
    world.press(Qt::Key_Return);
    QTRY_VERIFY_WITH_TIMEOUT(world.trash().exists("a.doc"_s), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.manager().errorCount(), 0, kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorKeyboard::allAreAnsweredByKeysAlone()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"a.doc"_s, "b.doc"_s}));
    QVERIFY(world.plantError("a.doc"_s, 15, kUpToDateInError));
    QVERIFY(world.plantError("b.doc"_s, 15, kUpToDateInError));
    QVERIFY(world.open());
    world.press(Qt::Key_2, Qt::ControlModifier);
    QVERIFY(world.await("errorRow"_s) != nullptr);
    QVERIFY(tabTo(&world, "trashAllButton"_s));
    world.press(Qt::Key_Return);
    QVERIFY(world.await("question"_s) != nullptr);
    QTRY_COMPARE_WITH_TIMEOUT(focused(&world), "noButton"_s, kWaitMs); // who just goes on does nothing
    world.press(Qt::Key_Return);
    QTRY_VERIFY_WITH_TIMEOUT(world.item("question"_s) == nullptr, kWaitMs);
    QCOMPARE(world.manager().errorCount(), 2);
    QTRY_COMPARE_WITH_TIMEOUT(focused(&world), "trashAllButton"_s, kWaitMs); // back where it was
    world.press(Qt::Key_Return);
    QVERIFY(world.await("question"_s) != nullptr);
    QVERIFY(tabTo(&world, "yesButton"_s));
    world.press(Qt::Key_Return);
    QTRY_VERIFY_WITH_TIMEOUT(world.trash().exists("a.doc"_s) && world.trash().exists("b.doc"_s), kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorKeyboard::longListsAreWalked()
{
    constexpr int kMany = 500;
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    QVERIFY(world.plantMissing(kMany, 2));
    QVERIFY(world.open());
    world.press(Qt::Key_2, Qt::ControlModifier);
    QVERIFY(world.await("errorRow"_s) != nullptr);
    QVERIFY(tabTo(&world, "errorRow"_s));
    const QQuickItem* list = world.item("errorList"_s);
    const auto current = [list] { return list->property("currentIndex").toInt(); };
    QCOMPARE(list->property("count").toInt(), kMany);
    world.press(Qt::Key_PageDown);
    const int page = current();
    QVERIFY2(page > 1 && page < 20, qPrintable(QString::number(page)));
    world.press(Qt::Key_Down);
    QCOMPARE(current(), page + 1);
    world.press(Qt::Key_End);
    QCOMPARE(current(), kMany - 1);
    QTRY_VERIFY_WITH_TIMEOUT(world.row("errorList"_s, "missing-00500.doc"_s) != nullptr, kWaitMs);
    world.press(Qt::Key_PageUp);
    QCOMPARE(current(), kMany - 1 - page);
    world.press(Qt::Key_Home);
    QCOMPARE(current(), 0);
    QCOMPARE(world.complaints(), QString());
}

// ---- Screen readers -------------------------------------------------------------------------------------

namespace {

struct Found
{
    QStringList unnamed;
    QSet<QString> names;
    int interactive = 0;
};

bool isInteractive(QAccessible::Role role)
{
    return role == QAccessible::Button || role == QAccessible::PageTab || role == QAccessible::PageTabList ||
           role == QAccessible::List || role == QAccessible::ListItem || role == QAccessible::ProgressBar ||
           role == QAccessible::Dialog || role == QAccessible::EditableText;
}

void walk(QAccessibleInterface* interface, Found* found)
{
    if (interface == nullptr || !interface->isValid() || interface->state().invisible)
        return;
    const QString name = interface->text(QAccessible::Name);
    found->names.insert(name);
    if (isInteractive(interface->role()) || interface->state().focusable) {
        ++found->interactive;
        if (name.isEmpty() || name.contains(QLatin1Char('&')))
            found->unnamed << "%1 (role %2)"_s.arg(interface->object()->objectName()).arg(interface->role());
    }
    for (int i = 0; i < interface->childCount(); ++i)
        walk(interface->child(i), found);
}

// Which of the names are missing in the window, once all that is shown of it has come.
QString lacking(MonitorWorld* world, const QStringList& names, Found* found)
{
    *found = Found();
    walk(QAccessible::queryAccessibleInterface(world->window()), found);
    QStringList rest;
    for (const QString& name : names) {
        if (!found->names.contains(name))
            rest << name;
    }
    return rest.join(", "_s);
}

} // namespace

void TestMonitorKeyboard::everythingHasAName_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<QString>("button"); // that is clicked then
    QTest::addColumn<QStringList>("names");
    const QStringList top{"VornSync"_s, "State: 4 files in error"_s, "Synchronise now"_s,
                          "Pause"_s,    "Up to date: 1"_s,           "In error: 4"_s,
                          "Overview"_s, "Files in error (4)"_s,      "Log"_s};
    QTest::newRow("overview") << int(Qt::Key_1) << QString()
                              << top + QStringList{"Pairs"_s, "Add a pair…"_s, "Pause the pair docs"_s,
                                                   "Remove the pair docs"_s, "Recent operations"_s};
    const QStringList errors =
        top + QStringList{"What you may do"_s, "Restore or delete (1)"_s, "Compare and send over (1)"_s,
                          "Acknowledge (1)"_s, "Retry (1)"_s};
    QTest::newRow("restore") << int(Qt::Key_2) << QString()
                             << errors + QStringList{"Restore or delete"_s, "Restore all…"_s,
                                                     "Delete all to trash…"_s, "Restore: lost.doc"_s,
                                                     "Delete to trash: lost.doc"_s};
    QTest::newRow("compare") << int(Qt::Key_2) << "compareTab"_s
                             << errors + QStringList{"Compare and send over"_s, "Send all over…"_s,
                                                     "Send over: shrunk.doc"_s};
    QTest::newRow("acknowledge") << int(Qt::Key_2) << "acknowledgeTab"_s
                                 << errors + QStringList{"Acknowledge all…"_s, "Acknowledge: gone.doc"_s};
    QTest::newRow("retry") << int(Qt::Key_2) << "retryTab"_s
                           << errors + QStringList{"Retry all…"_s, "Retry: failed.doc"_s};
    QTest::newRow("a question") << int(Qt::Key_2) << "trashAllButton"_s
                                << QStringList{"Delete to trash"_s, "Move 1 local file to the trash?"_s,
                                               "Cancel"_s};
    QTest::newRow("a removal") << int(Qt::Key_1) << "removePairButton"_s
                               << QStringList{"Stop mirroring"_s, "Cancel"_s};
    QTest::newRow("a new pair")
        << int(Qt::Key_N) << QString()
        << QStringList{"Add a pair"_s,
                       "Local directory, whose files are sent"_s,
                       "Choose: Local directory, whose files are sent"_s,
                       "Distant directory; files of the same name there are replaced"_s,
                       "Choose: Distant directory; files of the same name there are replaced"_s,
                       "Name of the pair"_s,
                       "Add"_s,
                       "Cancel"_s};
    QTest::newRow("log") << int(Qt::Key_3) << QString() << top + QStringList{"What has happened"_s};
}

void TestMonitorKeyboard::everythingHasAName()
{
    QFETCH(const int, key);
    QFETCH(const QString, button);
    QFETCH(const QStringList, names);
    MonitorWorld world;
    QVERIFY(world.mirror({"lost.doc"_s, "gone.doc"_s, "shrunk.doc"_s, "failed.doc"_s, "old.doc"_s}));
    QVERIFY(world.plantError("shrunk.doc"_s, 7, kUpToDateInError));
    QVERIFY(world.plantError("failed.doc"_s, 6, kSyncingInError));
    QVERIFY(world.plantError("lost.doc"_s, 15, kUpToDateInError));
    QVERIFY(world.plantError("gone.doc"_s, 2, kUpToDateInError));
    QVERIFY(world.local().remove("gone.doc"_s));
    QVERIFY(world.open());
    world.press(Qt::Key(key), Qt::ControlModifier);
    QVERIFY(button.isEmpty() || world.click(button));
    Found found;
    QTRY_COMPARE_WITH_TIMEOUT(lacking(&world, names, &found), QString(), kWaitMs);
    QVERIFY(found.interactive >= 8);
    QCOMPARE(found.unnamed, QStringList());
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorKeyboard::whatCouldNotBeDoneHasAName()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    QVERIFY(world.open());
    const QString list = world.world().statePath() + "/pairs.json"_s;
    QVERIFY(QFile::remove(list) && QDir().mkpath(list)); // the removal can't be remembered
    QVERIFY(world.click("removePairButton"_s));
    QVERIFY(world.click("yesButton"_s));
    QVERIFY(world.await("message"_s) != nullptr);
    Found found;
    QTRY_COMPARE_WITH_TIMEOUT(
        lacking(&world, {"Stop mirroring"_s, world.textOf("message"_s), "Close"_s}, &found), QString(),
        kWaitMs);
    QCOMPARE(found.unnamed, QStringList());
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorKeyboard::screenReaderPressesAButton()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    QVERIFY(world.open());
    QAccessibleInterface* button = QAccessible::queryAccessibleInterface(world.await("pauseButton"_s));
    QVERIFY(button != nullptr && button->actionInterface() != nullptr);
    button->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    QTRY_VERIFY_WITH_TIMEOUT(world.manager().isPausedAll(), kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

QTEST_MAIN(TestMonitorKeyboard)
#include "test_monitor_keyboard.moc"
