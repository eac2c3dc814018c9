#include "engine_fixture.h"
#include "file_calls.h"
#include "vorn_sync_file_ready.h"

#include <QScopeGuard>
#include <QTest>

#include <cerrno>

using namespace VornSyncTest;

// What is decided about a file when the disk does not answer every question.
class TestFileReadyFaults : public QObject
{
    Q_OBJECT

private slots:
    void unsentChangesAreNeverReplaced_data();
    void unsentChangesAreNeverReplaced();
    void localPathThatCantBeRead();
    void markThatCantBeReadIsNotNone_data();
    void markThatCantBeReadIsNotNone();
};

void TestFileReadyFaults::unsentChangesAreNeverReplaced_data()
{
    QTest::addColumn<int>("error");
    QTest::newRow("no access") << EACCES;
    QTest::newRow("input/output error") << EIO;
    QTest::newRow("stale handle") << ESTALE;
}

void TestFileReadyFaults::unsentChangesAreNeverReplaced()
{
    QFETCH(int, error);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "sent"));
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QVERIFY(engine.distant().write("a"_s, "newer, of another workstation"));
    QVERIFY(engine.distant().setLmd("a"_s, now));
    QVERIFY(engine.local().write("a"_s, "changed, and not sent"));
    QVERIFY(engine.local().setLmd("a"_s, now));

    const QByteArray localPath = engine.local().path().toUtf8();
    FileCalls::watch(engine.pair().rootPath().toUtf8());
    int calls = 0;
    int failing = 0;
    FileCalls::Hooks hooks;
    hooks.before = [&](const FileCalls::Call& call) {
        const bool isMeant = call.path.startsWith(localPath);
        return isMeant && calls++ == failing ? error : 0;
    };
    FileCalls::setHooks(hooks);
    // Before anything that they use goes: the database is closed at the end of this function.
    const auto unhook = qScopeGuard([] { FileCalls::setHooks(FileCalls::Hooks()); });
    // Each call once, and in the end none.
    bool hasFailed = true;
    for (; hasFailed; ++failing) {
        calls = 0;
        const VornSyncFileReadyPlan plan =
            VornSyncFileReady::examine(engine.database(), engine.distant().filePath("a"_s));
        QCOMPARE(plan.action, VornSyncFileReadyPlan::AnswerFound);
        QCOMPARE(plan.path, engine.local().filePath("a"_s));
        hasFailed = calls > failing;
    }
    QVERIFY(failing > 1);
}

// "/a" is nobody's local file.
void TestFileReadyFaults::localPathThatCantBeRead()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "sent"));
    QVERIFY(engine.raw().exec("UPDATE directories SET local_path = ''"_s));
    const VornSyncFileReadyPlan plan =
        VornSyncFileReady::examine(engine.database(), engine.distant().filePath("a"_s));
    QCOMPARE(plan.action, VornSyncFileReadyPlan::AnswerMissing);
    QCOMPARE(plan.path, engine.distant().filePath("a"_s));
}

void TestFileReadyFaults::markThatCantBeReadIsNotNone_data()
{
    unsentChangesAreNeverReplaced_data();
}

// The older local file would be sent over the newer distant one.
void TestFileReadyFaults::markThatCantBeReadIsNotNone()
{
    QFETCH(int, error);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "short"));
    QVERIFY(engine.distant().write("a"_s, "longer version"));
    QVERIFY(engine.distant().setLmd("a"_s, longAgo().addDays(1)));
    engine.sync().verifyOneUpToDateFile(engine.id(), "a"_s, 5);

    FileCalls::watch(engine.pair().rootPath().toUtf8());
    VornSyncDatabase database(engine.pair().databasePath()); // whose calls are watched from its opening on
    int calls = 0;
    int failing = 0;
    FileCalls::Hooks hooks;
    hooks.before = [&](const FileCalls::Call&) { return calls++ == failing ? error : 0; };
    FileCalls::setHooks(hooks);
    const auto unhook = qScopeGuard([] { FileCalls::setHooks(FileCalls::Hooks()); });
    bool hasFailed = true;
    for (; hasFailed; ++failing) {
        calls = 0;
        VornSyncFileRow row;
        bool isFound = false;
        const bool isRead = database.readFileRow(engine.id(), "a"_s, row, isFound);
        QVERIFY2(!isRead || (isFound && row.isDistantNewer), qPrintable(QString::number(failing)));
        hasFailed = failing < calls;
    }
    QVERIFY2(failing > 2, "no call has failed");
}

QTEST_GUILESS_MAIN(TestFileReadyFaults)
#include "test_file_ready_faults.moc"
