#include "monitor_world.h"

#include <QApplication>

using namespace VornSyncTest;

// What each button does, on the disk and in the counters.
class TestMonitorAnswers : public QObject
{
    Q_OBJECT

private slots:
    void thePermittedAnswersAreTheOnlyButtons_data();
    void thePermittedAnswersAreTheOnlyButtons();
    void acknowledging();
    void restoring();
    void deletingToTrash();
    void sendingOver();
    void retrying();
    void forAllAsksAndSaysHowMany();
    void forAllMeansTheFilesThatWereCounted();
    void eachAnswerForAll_data();
    void eachAnswerForAll();
    void anAnswerToAnErrorThatHasChangedIsNotGiven();
    void namesOfAllPlanesAreAnswered();

private:
    static bool showGroup(MonitorWorld* world, const QString& key);
    static void gatherButtons(const QQuickItem* item, QStringList* texts);
};

// The page of the errors, and the tab of a group on it.
bool TestMonitorAnswers::showGroup(MonitorWorld* world, const QString& key)
{
    return world->click("errorsTab"_s) && world->click(key + QLatin1String("Tab"));
}

// The texts of all buttons and tabs that can be seen below the item.
void TestMonitorAnswers::gatherButtons(const QQuickItem* item, QStringList* texts)
{
    if (!item->isVisible())
        return;
    if (item->inherits("QQuickAbstractButton"))
        texts->append(item->property("text").toString());
    const QList<QQuickItem*> children = item->childItems();
    for (const QQuickItem* child : children)
        gatherButtons(child, texts);
}

void TestMonitorAnswers::thePermittedAnswersAreTheOnlyButtons_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("status");
    QTest::addColumn<QStringList>("buttons");
    QTest::newRow("the distant copy is gone")
        << 15 << kUpToDateInError
        << QStringList{"Restore or delete (1)"_s, "Restore all…"_s, "Delete all to trash…"_s, "Restore"_s,
                       "Delete to trash"_s};
    QTest::newRow("it has become smaller")
        << 7 << kUpToDateInError
        << QStringList{"Compare and send over (1)"_s, "Send all over…"_s, "Send over"_s};
    QTest::newRow("the local file is gone")
        << 2 << kUpToDateInError << QStringList{"Acknowledge (1)"_s, "Acknowledge all…"_s, "Acknowledge"_s};
    const QStringList retry{"Retry (1)"_s, "Retry all…"_s, "Retry"_s};
    for (const int code : {1, 6, 7, 14}) // the model is asked for all
        QTest::addRow("an operation failed with code %d", code) << code << kSyncingInError << retry;
}

void TestMonitorAnswers::thePermittedAnswersAreTheOnlyButtons()
{
    QFETCH(const int, code);
    QFETCH(const int, status);
    QFETCH(const QStringList, buttons);
    MonitorWorld world;
    QVERIFY(world.mirror({"file.doc"_s}));
    QVERIFY(world.plantError("file.doc"_s, code, status));
    QVERIFY(world.open());
    QVERIFY(world.click("errorsTab"_s));
    QVERIFY(world.await("errorRow"_s) != nullptr);
    QStringList found;
    gatherButtons(world.window()->contentItem(), &found);
    QStringList expected{"&Synchronise now"_s, "&Pause"_s, "&Overview"_s, "&Files in error (1)"_s, "&Log"_s};
    expected += buttons;
    found.sort();
    expected.sort();
    QCOMPARE(found, expected);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorAnswers::acknowledging()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"gone.doc"_s, "kept.doc"_s}));
    QVERIFY(world.open());
    QVERIFY(world.local().remove("gone.doc"_s));
    QVERIFY(world.cycleUntilError("gone.doc"_s, 2));
    QVERIFY(showGroup(&world, "acknowledge"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.row("errorList"_s, "gone.doc"_s) != nullptr, kWaitMs);
    const QQuickItem* row = world.row("errorList"_s, "gone.doc"_s);
    QVERIFY(world.item("retryButton"_s, row) == nullptr);
    QVERIFY(world.item("trashButton"_s, row) == nullptr);
    QVERIFY(world.item("restoreButton"_s, row) == nullptr);
    QVERIFY(world.click("acknowledgeButton"_s, row));
    QTRY_COMPARE_WITH_TIMEOUT(world.manager().errorCount(), 0, kWaitMs);
    QCOMPARE(world.statusOf("gone.doc"_s), 40);
    QVERIFY(world.distant().exists("gone.doc"_s));
    QTRY_COMPARE_WITH_TIMEOUT(world.textOf("emptyText"_s), "No file is in error."_s, kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorAnswers::restoring()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"lost.doc"_s}));
    QVERIFY(world.open());
    QVERIFY(world.distant().remove("lost.doc"_s));
    QVERIFY(world.cycleUntilError("lost.doc"_s, 15));
    QVERIFY(showGroup(&world, "restore"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.row("errorList"_s, "lost.doc"_s) != nullptr, kWaitMs);
    QVERIFY(world.click("restoreButton"_s, world.row("errorList"_s, "lost.doc"_s)));
    QTRY_VERIFY_WITH_TIMEOUT(world.distant().exists("lost.doc"_s), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.manager().doneCount(), 1, kWaitMs);
    QCOMPARE(world.manager().errorCount(), 0);
    QCOMPARE(world.distant().read("lost.doc"_s), QByteArray("content of lost.doc"));
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorAnswers::deletingToTrash()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"lost.doc"_s, "kept.doc"_s}));
    QVERIFY(world.open());
    QVERIFY(world.distant().remove("lost.doc"_s));
    QVERIFY(world.cycleUntilError("lost.doc"_s, 15));
    QVERIFY(showGroup(&world, "restore"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.row("errorList"_s, "lost.doc"_s) != nullptr, kWaitMs);
    QVERIFY(world.click("trashButton"_s, world.row("errorList"_s, "lost.doc"_s)));
    QTRY_VERIFY_WITH_TIMEOUT(world.trash().exists("lost.doc"_s), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.statusOf("lost.doc"_s), 33, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.manager().errorCount(), 0, kWaitMs);
    QVERIFY(!world.local().exists("lost.doc"_s));
    QVERIFY(world.local().exists("kept.doc"_s));
    QCOMPARE(world.complaints(), QString());
}

// A distant copy that became smaller may be somebody's newer version: it has a group of its own.
void TestMonitorAnswers::sendingOver()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"shrunk.doc"_s, "failed.doc"_s}));
    QVERIFY(world.plantError("shrunk.doc"_s, 7, kUpToDateInError));
    QVERIFY(world.plantError("failed.doc"_s, 7, kSyncingInError));
    QVERIFY(world.distant().write("shrunk.doc"_s, "short"));
    QVERIFY(world.open());
    QVERIFY(showGroup(&world, "compare"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.row("errorList"_s, "shrunk.doc"_s) != nullptr, kWaitMs);
    QVERIFY(world.row("errorList"_s, "failed.doc"_s) == nullptr);
    QVERIFY(world.click("retryButton"_s, world.row("errorList"_s, "shrunk.doc"_s)));
    QTRY_COMPARE_WITH_TIMEOUT(world.distant().read("shrunk.doc"_s), QByteArray("content of shrunk.doc"),
                              kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.manager().errorCount(), 1, kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorAnswers::retrying()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"failed.doc"_s}));
    QVERIFY(world.plantError("failed.doc"_s, 6, kSyncingInError));
    QVERIFY(world.open());
    QVERIFY(showGroup(&world, "retry"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.row("errorList"_s, "failed.doc"_s) != nullptr, kWaitMs);
    QVERIFY(world.click("retryButton"_s, world.row("errorList"_s, "failed.doc"_s)));
    QTRY_COMPARE_WITH_TIMEOUT(world.manager().errorCount(), 0, kWaitMs);
    QCOMPARE(world.statusOf("failed.doc"_s), 20);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorAnswers::forAllAsksAndSaysHowMany()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"one.doc"_s, "two.doc"_s}));
    QVERIFY(world.open());
    QVERIFY(world.distant().remove("one.doc"_s));
    QVERIFY(world.distant().remove("two.doc"_s));
    QVERIFY(world.cycleUntilError("one.doc"_s, 15));
    QVERIFY(world.cycleUntilError("two.doc"_s, 15));
    QVERIFY(showGroup(&world, "restore"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.row("errorList"_s, "two.doc"_s) != nullptr, kWaitMs);

    QVERIFY(world.click("trashAllButton"_s));
    QVERIFY(world.await("question"_s) != nullptr);
    QCOMPARE(world.textOf("question"_s), "Move 2 local files to the trash?"_s);
    QVERIFY(world.click("noButton"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.item("question"_s) == nullptr, kWaitMs);
    QCOMPARE(world.manager().errorCount(), 2);

    QVERIFY(world.click("trashAllButton"_s)); // Escape is a no as well
    QVERIFY(world.await("question"_s) != nullptr);
    world.press(Qt::Key_Escape);
    QTRY_VERIFY_WITH_TIMEOUT(world.item("question"_s) == nullptr, kWaitMs);
    QVERIFY(world.local().exists("one.doc"_s) && world.local().exists("two.doc"_s));

    QVERIFY(world.click("trashAllButton"_s));
    QVERIFY(world.click("yesButton"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.trash().exists("one.doc"_s) && world.trash().exists("two.doc"_s), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.manager().errorCount(), 0, kWaitMs);
    QCOMPARE(world.local().names(), QStringList());
    QCOMPARE(world.complaints(), QString());
}

// Between the question and the answer a share may go away, and all of its files with it.
void TestMonitorAnswers::forAllMeansTheFilesThatWereCounted()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"asked.doc"_s, "later.doc"_s}));
    QVERIFY(world.open());
    QVERIFY(world.distant().remove("asked.doc"_s));
    QVERIFY(world.cycleUntilError("asked.doc"_s, 15));
    QVERIFY(showGroup(&world, "restore"_s));
    QVERIFY(world.click("trashAllButton"_s));
    QVERIFY(world.await("question"_s) != nullptr);
    QCOMPARE(world.textOf("question"_s), "Move 1 local file to the trash?"_s);
    QVERIFY(world.distant().remove("later.doc"_s));
    QVERIFY(world.cycleUntilError("later.doc"_s, 15));
    QVERIFY(world.click("yesButton"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.trash().exists("asked.doc"_s), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.manager().errorCount(), 1, kWaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(world.row("errorList"_s, "later.doc"_s) != nullptr, kWaitMs);
    QVERIFY(world.local().exists("later.doc"_s));
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorAnswers::eachAnswerForAll_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("button");
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("question");
    QTest::addColumn<int>("statusThen");

    QTest::newRow("acknowledge") << "acknowledge"_s
                                 << "acknowledgeAllButton"_s << 2 << kUpToDateInError
                                 << "Take note that 3 files are gone? Their distant copies stay."_s << 40;
    QTest::newRow("restore") << "restore"_s
                             << "restoreAllButton"_s << 15 << kUpToDateInError
                             << "Send 3 local files again, to where their distant copies were?"_s << 17;
    QTest::newRow("send over") << "compare"_s
                               << "retryAllButton"_s << 7 << kUpToDateInError
                               << "Send 3 local files over their distant copies, which may be newer?"_s << 17;
    QTest::newRow("delete to trash") << "restore"_s
                                     << "trashAllButton"_s << 15 << kUpToDateInError
                                     << "Move 3 local files to the trash?"_s << 33;
    QTest::newRow("retry") << "retry"_s
                           << "retryAllButton"_s << 5 << kSyncingInError << "Try 3 failed operations again?"_s
                           << 20;
}

void TestMonitorAnswers::eachAnswerForAll()
{
    QFETCH(const QString, group);
    QFETCH(const QString, button);
    QFETCH(const int, code);
    QFETCH(const int, status);
    QFETCH(const QString, question);
    QFETCH(const int, statusThen);
    const QStringList names{"a.doc"_s, "b.doc"_s, "c.doc"_s};
    MonitorWorld world;
    QVERIFY(world.mirror(names + QStringList{"other.doc"_s}));
    for (const QString& name : names) {
        QVERIFY(world.plantError(name, code, status));
        QVERIFY(code != 2 || world.local().remove(name)); // a file that is there would be sent again
    }
    QVERIFY(world.plantError("other.doc"_s, code == 2 ? 15 : 2, kUpToDateInError)); // it is left alone
    QVERIFY(world.open());
    QVERIFY(showGroup(&world, group));
    QVERIFY(world.click(button));
    QVERIFY(world.await("question"_s) != nullptr);
    QCOMPARE(world.textOf("question"_s), question);
    QCOMPARE(world.manager().errorCount(), 4); // nothing before the answer
    for (const QString& name : names)
        QCOMPARE(world.statusOf(name), status);
    QVERIFY(world.click("yesButton"_s));
    QTRY_COMPARE_WITH_TIMEOUT(world.manager().errorCount(), 1, kWaitMs);
    for (const QString& name : names)
        QTRY_COMPARE_WITH_TIMEOUT(world.statusOf(name), statusThen, kWaitMs);
    QCOMPARE(world.statusOf("other.doc"_s), kUpToDateInError);
    QTRY_COMPARE_WITH_TIMEOUT(world.textOf("emptyText"_s), "None is left here; look at the other tabs."_s,
                              kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

// "Retry" of a file that has lost its distant copy meanwhile would restore it, unasked.
void TestMonitorAnswers::anAnswerToAnErrorThatHasChangedIsNotGiven()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"file.doc"_s}));
    QVERIFY(world.plantError("file.doc"_s, 15, kUpToDateInError));
    QVERIFY(world.open());
    world.host().errors()->give(static_cast<int>(VornCliAnswer::Retry), "docs"_s, "file.doc"_s, 6,
                                kSyncingInError);
    QCOMPARE(world.monitor().session()->errors().size(), 1);
    world.host().errors()->give(static_cast<int>(VornCliAnswer::Restore), "docs"_s, "file.doc"_s, 15,
                                kUpToDateInError);
    QTRY_COMPARE_WITH_TIMEOUT(world.manager().errorCount(), 0, kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

// The database sorts names by code point, UTF-16 does not: among these each must be found.
void TestMonitorAnswers::namesOfAllPlanesAreAnswered()
{
    const QStringList names{"a.doc"_s, "\u00e9.doc"_s, "\ufb01.doc"_s, "\U0001f600.doc"_s,
                            "\U0001f600b.doc"_s};
    MonitorWorld world;
    QVERIFY(world.mirror(names));
    for (const QString& name : names)
        QVERIFY(world.plantError(name, 15, kUpToDateInError));
    QVERIFY(world.open());
    QVERIFY(showGroup(&world, "restore"_s));
    QVERIFY(world.click("restoreAllButton"_s));
    QVERIFY(world.click("yesButton"_s));
    QTRY_COMPARE_WITH_TIMEOUT(world.manager().errorCount(), 0, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.manager().doneCount(), int(names.size()), kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

QTEST_MAIN(TestMonitorAnswers)
#include "test_monitor_answers.moc"
