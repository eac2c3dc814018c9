#include "sync_manager_access.h"

#include "pair.h"
#include "raw_database.h"

#include <QMetaMethod>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace VornSyncTest;
using Access = VornSyncManagerTestAccess;

namespace {

constexpr int kNoCycleMs = 3600000;

// A manager without a running pair, and its signals in the order of their emission.
struct Fixture
{
    Fixture()
        : manager(
              new VornSyncManager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, QStringList(), nullptr))
    {
        directoryId = database().addDirectory(QStringLiteral("a"), pair.localPath(), pair.distantPath(),
                                              pair.trashRoot());
        QObject::connect(manager.get(), &VornSyncManager::idleChanged, manager.get(),
                         [this](bool idle) { order << QStringLiteral("idleChanged %1").arg(idle); });
        QObject::connect(manager.get(), &VornSyncManager::countersChanged, manager.get(),
                         [this] { order << QStringLiteral("countersChanged"); });
        QObject::connect(manager.get(), &VornSyncManager::recentEventsChanged, manager.get(),
                         [this] { order << QStringLiteral("recentEventsChanged"); });
        QObject::connect(manager.get(), &VornSyncManager::syncStarted, manager.get(),
                         [this](const QString& path) { order << QStringLiteral("syncStarted ") + path; });
        QObject::connect(
            manager.get(), &VornSyncManager::syncCompleted, manager.get(),
            [this](const QString& path, bool succeeded) {
                order << QStringLiteral("syncCompleted %1 %2").arg(path, QString::number(succeeded));
            });
    }

    VornSyncDatabase& database() { return Access::database(*manager); }
    bool setStatus(const QString& name, int status)
    {
        return database().setFileStatus(directoryId, name, status, ceSecNone);
    }
    bool setError(const QString& name, int code)
    {
        return setStatus(name, ceSfsSyncing) && database().setFileStatus(directoryId, name, ceSfsError, code);
    }
    QStringList takeOrder() { return std::exchange(order, QStringList()); }

    Pair pair;
    std::unique_ptr<VornSyncManager> manager;
    int directoryId = 0;
    QStringList order;
};

QStringList eventNames(const VornSyncManager& manager)
{
    QStringList names;
    for (const QVariant& event : manager.recentEvents())
        names << event.toMap().value(QStringLiteral("fileName")).toString();
    return names;
}

} // namespace

// A host's slot that ends the manager.
class Deleter : public QObject
{
    Q_OBJECT

public:
    explicit Deleter(std::unique_ptr<VornSyncManager>& manager)
        : m_manager(manager)
    {
    }

public slots:
    void remove() { m_manager.reset(); }

private:
    std::unique_ptr<VornSyncManager>& m_manager;
};

class TestSyncManagerCounters : public QObject
{
    Q_OBJECT

private slots:
    void startedSignalsInOrder();
    void completedSignalsInOrder();
    void refreshedCountsComeFirst();
    void twoStartsTwoCompletions();
    void completionWhileNothingRuns();
    void idleFollowsTheCountAlone();
    void recentEvent();
    void onlyTheFiveNewestEvents();
    void countedStatuses();
    void silentWithoutErrorsAndChanges();
    void anErrorMakesEveryRefreshSpeak();
    void lastErrorResolved();
    void errorListEntries();
    void errorWithoutCodeIsNotListed();
    void errorListFollowsAtTheSameCount();
    void keptListSpeaksAllTheSame();
    void errorsOfAnotherProcess_data();
    void errorsOfAnotherProcess();
    void countersWithoutTriggers();
    void propertiesReadTheFields();
    void deletedByASlot_data();
    void deletedByASlot();
};

void TestSyncManagerCounters::startedSignalsInOrder()
{
    Fixture fixture;
    Access::syncStarted(*fixture.manager, QStringLiteral("/x/f"));
    QCOMPARE(fixture.takeOrder(),
             QStringList({QStringLiteral("idleChanged 0"), QStringLiteral("countersChanged"),
                          QStringLiteral("syncStarted /x/f")}));
    QCOMPARE(fixture.manager->inProgressCount(), 1);
    QVERIFY(!fixture.manager->isIdle());
}

void TestSyncManagerCounters::completedSignalsInOrder()
{
    Fixture fixture;
    Access::syncStarted(*fixture.manager, QStringLiteral("/x/f"));
    fixture.takeOrder();
    Access::syncCompleted(*fixture.manager, QStringLiteral("/x/f"), false);
    QCOMPARE(fixture.takeOrder(),
             QStringList({QStringLiteral("idleChanged 1"), QStringLiteral("countersChanged"),
                          QStringLiteral("recentEventsChanged"), QStringLiteral("syncCompleted /x/f 0")}));
    QCOMPARE(fixture.manager->inProgressCount(), 0);
    QVERIFY(fixture.manager->isIdle());
}

void TestSyncManagerCounters::refreshedCountsComeFirst()
{
    Fixture fixture;
    QVERIFY(fixture.setStatus(QStringLiteral("f"), ceSfsUpToDate));
    Access::syncStarted(*fixture.manager, QStringLiteral("/x/f"));
    // Once by the refresh, once by the start.
    QCOMPARE(fixture.takeOrder(),
             QStringList({QStringLiteral("idleChanged 0"), QStringLiteral("countersChanged"),
                          QStringLiteral("countersChanged"), QStringLiteral("syncStarted /x/f")}));
    QCOMPARE(fixture.manager->doneCount(), 1);
}

void TestSyncManagerCounters::twoStartsTwoCompletions()
{
    Fixture fixture;
    QSignalSpy idle(fixture.manager.get(), &VornSyncManager::idleChanged);
    Access::syncStarted(*fixture.manager, QStringLiteral("/x/1"));
    Access::syncStarted(*fixture.manager, QStringLiteral("/x/2"));
    QCOMPARE(fixture.manager->inProgressCount(), 2);
    Access::syncCompleted(*fixture.manager, QStringLiteral("/x/1"), true);
    QCOMPARE(fixture.manager->inProgressCount(), 1);
    Access::syncCompleted(*fixture.manager, QStringLiteral("/x/2"), true);
    QCOMPARE(idle.size(), 2);
    QCOMPARE(idle.at(0), QVariantList{false});
    QCOMPARE(idle.at(1), QVariantList{true});
}

void TestSyncManagerCounters::completionWhileNothingRuns()
{
    Fixture fixture;
    Access::syncCompleted(*fixture.manager, QStringLiteral("/x/f"), true);
    QCOMPARE(fixture.manager->inProgressCount(), 0);
    QCOMPARE(fixture.takeOrder(),
             QStringList({QStringLiteral("countersChanged"), QStringLiteral("recentEventsChanged"),
                          QStringLiteral("syncCompleted /x/f 1")}));
}

void TestSyncManagerCounters::idleFollowsTheCountAlone()
{
    Fixture fixture;
    Access::setFileReadyDirectoryId(*fixture.manager, 0);
    QVERIFY(!fixture.manager->isIdle());
    QSignalSpy idle(fixture.manager.get(), &VornSyncManager::idleChanged);
    Access::syncStarted(*fixture.manager, QStringLiteral("/x/f"));
    Access::syncCompleted(*fixture.manager, QStringLiteral("/x/f"), true);
    QCOMPARE(idle.last(), QVariantList{true});
    QVERIFY(!fixture.manager->isIdle());
    Access::setFileReadyDirectoryId(*fixture.manager, -1);
    QVERIFY(fixture.manager->isIdle());
}

void TestSyncManagerCounters::recentEvent()
{
    Fixture fixture;
    const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
    Access::syncCompleted(*fixture.manager, QStringLiteral("/x y/%1 \u00e9.txt"), true);
    const QDateTime after = QDateTime::currentDateTime().addSecs(1);
    QCOMPARE(fixture.manager->recentEvents().size(), 1);
    const QVariantMap event = fixture.manager->recentEvents().first().toMap();
    QCOMPARE(event.keys(),
             QStringList({QStringLiteral("action"), QStringLiteral("fileName"), QStringLiteral("filePath"),
                          QStringLiteral("succeeded"), QStringLiteral("timestamp")}));
    QCOMPARE(event.value(QStringLiteral("action")), QVariant(QStringLiteral("sync")));
    QCOMPARE(event.value(QStringLiteral("filePath")), QVariant(QStringLiteral("/x y/%1 \u00e9.txt")));
    QCOMPARE(event.value(QStringLiteral("fileName")), QVariant(QStringLiteral("%1 \u00e9.txt")));
    QCOMPARE(event.value(QStringLiteral("succeeded")), QVariant(true));
    const QString timestamp = event.value(QStringLiteral("timestamp")).toString();
    const QDateTime time = QDateTime::fromString(timestamp, Qt::ISODate);
    QVERIFY(time.isValid());
    QCOMPARE(time.timeSpec(), Qt::LocalTime);
    QCOMPARE(timestamp, time.toString(Qt::ISODate));
    QVERIFY(before <= time && time <= after);
}

void TestSyncManagerCounters::onlyTheFiveNewestEvents()
{
    Fixture fixture;
    QSignalSpy changed(fixture.manager.get(), &VornSyncManager::recentEventsChanged);
    for (int i = 1; i <= 6; ++i) {
        Access::syncCompleted(*fixture.manager, QStringLiteral("/x/%1").arg(i), i % 2 == 0);
        QCOMPARE(changed.size(), i);
    }
    QCOMPARE(eventNames(*fixture.manager),
             QStringList({QStringLiteral("6"), QStringLiteral("5"), QStringLiteral("4"), QStringLiteral("3"),
                          QStringLiteral("2")}));
    QCOMPARE(fixture.manager->recentEvents().at(1).toMap().value(QStringLiteral("succeeded")),
             QVariant(false));
}

void TestSyncManagerCounters::countedStatuses()
{
    Fixture fixture;
    const QList<int> statuses = {0, 17, 17, 18, 18, 18, 20, 33, 34, 36, 40, 66, 66, 68};
    for (int i = 0; i < statuses.size(); ++i)
        QVERIFY(fixture.setStatus(QString::number(i), statuses.at(i)));
    Access::refresh(*fixture.manager);
    QCOMPARE(fixture.manager->pendingCount(), 1 + 3 + 1 + 2);
    QCOMPARE(fixture.manager->doneCount(), 2);
    QCOMPARE(fixture.manager->errorCount(), 0);
    QCOMPARE(fixture.manager->inProgressCount(), 0);
    QCOMPARE(fixture.takeOrder(), QStringList{QStringLiteral("countersChanged")});
}

void TestSyncManagerCounters::silentWithoutErrorsAndChanges()
{
    Fixture fixture;
    QVERIFY(fixture.setStatus(QStringLiteral("f"), ceSfsUpToDate));
    Access::refresh(*fixture.manager);
    QCOMPARE(fixture.takeOrder(), QStringList{QStringLiteral("countersChanged")});
    Access::refresh(*fixture.manager);
    Access::refresh(*fixture.manager);
    QCOMPARE(fixture.takeOrder(), QStringList());
}

void TestSyncManagerCounters::anErrorMakesEveryRefreshSpeak()
{
    Fixture fixture;
    QVERIFY(fixture.setError(QStringLiteral("f"), ceSecCopyFailed));
    for (int i = 0; i < 3; ++i) {
        Access::refresh(*fixture.manager);
        QCOMPARE(fixture.takeOrder(), QStringList{QStringLiteral("countersChanged")});
        QCOMPARE(fixture.manager->errorCount(), 1);
        QCOMPARE(fixture.manager->errorFiles().size(), 1);
    }
}

void TestSyncManagerCounters::lastErrorResolved()
{
    Fixture fixture;
    QVERIFY(fixture.setError(QStringLiteral("f"), ceSecCopyFailed));
    Access::refresh(*fixture.manager);
    fixture.takeOrder();
    QVERIFY(fixture.setStatus(QStringLiteral("f"), ceSfsUpToDate));
    Access::refresh(*fixture.manager);
    QCOMPARE(fixture.takeOrder(), QStringList{QStringLiteral("countersChanged")});
    QCOMPARE(fixture.manager->errorCount(), 0);
    QVERIFY(fixture.manager->errorFiles().isEmpty());
    Access::refresh(*fixture.manager);
    QCOMPARE(fixture.takeOrder(), QStringList());
}

void TestSyncManagerCounters::errorListEntries()
{
    Fixture fixture;
    const int other = fixture.database().addDirectory(QStringLiteral("B"), QStringLiteral("/l"),
                                                      QStringLiteral("/d"), QStringLiteral("/t"));
    QVERIFY(fixture.setError(QStringLiteral("z"), ceSecCopyFailed));
    QVERIFY(fixture.setError(QStringLiteral("b %1"), ceSecLocalFileMissing));
    QVERIFY(fixture.database().setFileStatus(other, QStringLiteral("q"), ceSfsUpToDate, ceSecNone));
    QVERIFY(
        fixture.database().setFileStatus(other, QStringLiteral("q"), ceSfsError, ceSecDistantFileMissing));
    Access::refresh(*fixture.manager);
    const auto entry = [](const char* alias, const char* name, int code, int status) {
        return QVariant(QVariantMap({{QStringLiteral("aliasName"), QString::fromLatin1(alias)},
                                     {QStringLiteral("fileName"), QString::fromLatin1(name)},
                                     {QStringLiteral("errorCode"), code},
                                     {QStringLiteral("status"), status}}));
    };
    QCOMPARE(fixture.manager->errorFiles(),
             QVariantList({entry("B", "q", 15, 145), entry("a", "b %1", 2, 148), entry("a", "z", 6, 148)}));
}

void TestSyncManagerCounters::errorWithoutCodeIsNotListed()
{
    Fixture fixture;
    QVERIFY(fixture.setError(QStringLiteral("f"), ceSecNone));
    Access::refresh(*fixture.manager);
    QCOMPARE(fixture.manager->errorCount(), 0);
    QVERIFY(fixture.manager->errorFiles().isEmpty());
}

void TestSyncManagerCounters::errorListFollowsAtTheSameCount()
{
    Fixture fixture;
    QVERIFY(fixture.setError(QStringLiteral("f"), ceSecCopyFailed));
    Access::refresh(*fixture.manager);
    QVERIFY(fixture.setStatus(QStringLiteral("f"), ceSfsSyncing));
    QVERIFY(fixture.setError(QStringLiteral("g"), ceSecRenameFailed));
    Access::refresh(*fixture.manager);
    QCOMPARE(fixture.manager->errorFiles().size(), 1);
    QCOMPARE(fixture.manager->errorFiles().first().toMap().value(QStringLiteral("fileName")),
             QVariant(QStringLiteral("g")));
}

// The list is the same object, and the host is told as often as when it was put together each time.
void TestSyncManagerCounters::keptListSpeaksAllTheSame()
{
    Fixture fixture;
    QVERIFY(fixture.setError(QStringLiteral("f"), ceSecCopyFailed));
    Access::refresh(*fixture.manager);
    const QVariantList before = fixture.manager->errorFiles();
    QCOMPARE(before.size(), 1);
    fixture.takeOrder();
    for (int i = 0; i < 3; ++i) {
        QVERIFY(fixture.setStatus(QStringLiteral("healthy %1").arg(i), ceSfsUpToDate));
        Access::refresh(*fixture.manager);
        QCOMPARE(fixture.takeOrder(), QStringList{QStringLiteral("countersChanged")});
        QVERIFY(fixture.manager->errorFiles().isSharedWith(before));
        QCOMPARE(fixture.manager->doneCount(), i + 1);
        QCOMPARE(fixture.manager->errorCount(), 1);
    }
}

void TestSyncManagerCounters::errorsOfAnotherProcess_data()
{
    QTest::addColumn<QString>("statement");
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QList<int>>("codes");
    const auto add = [](const char* tag, const char* statement, const QStringList& names,
                        const QList<int>& codes) {
        QTest::newRow(tag) << QString::fromLatin1(statement) << names << codes;
    };
    const QString f = QStringLiteral("f");
    const QString g = QStringLiteral("g");
    add("another code", "UPDATE file_tracking SET error_code = 9 WHERE file_name = 'f'", {f, g}, {9, 6});
    add("cleared", "UPDATE file_tracking SET status = 17, error_code = 0 WHERE file_name = 'f'", {g}, {6});
    add("removed", "DELETE FROM file_tracking WHERE file_name = 'g'", {f}, {6});
    add("one more", "UPDATE file_tracking SET status = 145, error_code = 2 WHERE file_name = 'h'",
        {f, g, QStringLiteral("h")}, {6, 6, 2});
    add("renamed", "UPDATE file_tracking SET file_name = 'z' WHERE file_name = 'f'", {g, QStringLiteral("z")},
        {6, 6});
    add("replaced", "REPLACE INTO file_tracking (file_name, directories_id, status) VALUES ('f', 1, 17)", {g},
        {6});
    add("all cleared", "UPDATE file_tracking SET status = 17, error_code = 0", {}, {});
}

void TestSyncManagerCounters::errorsOfAnotherProcess()
{
    QFETCH(QString, statement);
    QFETCH(QStringList, names);
    QFETCH(QList<int>, codes);
    Fixture fixture;
    QCOMPARE(fixture.directoryId, 1);
    QVERIFY(fixture.setError(QStringLiteral("f"), ceSecCopyFailed));
    QVERIFY(fixture.setError(QStringLiteral("g"), ceSecCopyFailed));
    QVERIFY(fixture.setStatus(QStringLiteral("h"), ceSfsUpToDate));
    Access::refresh(*fixture.manager);
    Access::refresh(*fixture.manager);
    fixture.takeOrder();
    QVERIFY(RawDatabase(fixture.pair.databasePath()).exec(statement));
    Access::refresh(*fixture.manager);
    QCOMPARE(fixture.takeOrder(), QStringList{QStringLiteral("countersChanged")});
    QCOMPARE(fixture.manager->errorCount(), names.size());
    QStringList listedNames;
    QList<int> listedCodes;
    for (const QVariant& file : fixture.manager->errorFiles()) {
        listedNames << file.toMap().value(QStringLiteral("fileName")).toString();
        listedCodes << file.toMap().value(QStringLiteral("errorCode")).toInt();
    }
    QCOMPARE(listedNames, names);
    QCOMPARE(listedCodes, codes);
}

// Somebody has taken a trigger away: all is counted row by row, and nothing is missed.
void TestSyncManagerCounters::countersWithoutTriggers()
{
    Fixture fixture;
    QVERIFY(fixture.setError(QStringLiteral("f"), ceSecCopyFailed));
    Access::refresh(*fixture.manager);
    RawDatabase raw(fixture.pair.databasePath());
    QVERIFY(raw.execAll({QStringLiteral("DROP TRIGGER file_tracking_errors_update"),
                         QStringLiteral("DROP TRIGGER file_tracking_counts_status"),
                         QStringLiteral("UPDATE file_tracking SET error_code = 9 WHERE file_name = 'f'")}));
    QVERIFY(fixture.setStatus(QStringLiteral("g"), ceSfsPendingSync));
    QVERIFY(fixture.setStatus(QStringLiteral("g"), ceSfsUpToDate));
    Access::refresh(*fixture.manager);
    QCOMPARE(fixture.manager->errorFiles().first().toMap().value(QStringLiteral("errorCode")), QVariant(9));
    QCOMPARE(fixture.manager->doneCount(), 1);
    QCOMPARE(fixture.manager->pendingCount(), 0);
    QCOMPARE(fixture.manager->errorCount(), 1);
}

void TestSyncManagerCounters::propertiesReadTheFields()
{
    Fixture fixture;
    QVERIFY(fixture.setError(QStringLiteral("e"), ceSecCopyFailed));
    QVERIFY(fixture.setStatus(QStringLiteral("d"), ceSfsUpToDate));
    QVERIFY(fixture.setStatus(QStringLiteral("p"), ceSfsPendingSync));
    QVERIFY(fixture.setStatus(QStringLiteral("q"), ceSfsPendingSync));
    Access::syncStarted(*fixture.manager, QStringLiteral("/x/1"));
    Access::syncStarted(*fixture.manager, QStringLiteral("/x/2"));
    Access::syncStarted(*fixture.manager, QStringLiteral("/x/3"));
    Access::syncStarted(*fixture.manager, QStringLiteral("/x/4"));
    Access::syncCompleted(*fixture.manager, QStringLiteral("/x/1"), true);
    const VornSyncManager& manager = *fixture.manager;
    QCOMPARE(manager.property("inProgressCount"), QVariant(3));
    QCOMPARE(manager.property("pendingCount"), QVariant(2));
    QCOMPARE(manager.property("errorCount"), QVariant(1));
    QCOMPARE(manager.property("doneCount"), QVariant(1));
    QCOMPARE(manager.property("recentEvents").toList(), manager.recentEvents());
    QCOMPARE(manager.property("errorFiles").toList(), manager.errorFiles());
    QCOMPARE(manager.property("recentEvents").toList().size(), 1);
}

void TestSyncManagerCounters::deletedByASlot_data()
{
    QTest::addColumn<bool>("isStart");
    QTest::addColumn<QByteArray>("signal");
    for (const char* name : {"idleChanged(bool)", "countersChanged()", "syncStarted(QString)"})
        QTest::newRow(QByteArray("start, ").append(name).constData()) << true << QByteArray(name);
    for (const char* name :
         {"idleChanged(bool)", "countersChanged()", "recentEventsChanged()", "syncCompleted(QString,bool)"})
        QTest::newRow(QByteArray("completion, ").append(name).constData()) << false << QByteArray(name);
}

void TestSyncManagerCounters::deletedByASlot()
{
    QFETCH(bool, isStart);
    QFETCH(QByteArray, signal);
    Fixture fixture;
    if (!isStart)
        Access::syncStarted(*fixture.manager, QStringLiteral("/x/f"));
    // What deleteLater() comes to in a slot that runs an event loop of its own.
    const QPointer<VornSyncManager> watched = fixture.manager.get();
    const QMetaMethod method = VornSyncManager::staticMetaObject.method(
        VornSyncManager::staticMetaObject.indexOfSignal(signal.constData()));
    QVERIFY(method.isValid());
    Deleter deleter(fixture.manager);
    QVERIFY(connect(watched, method, &deleter,
                    deleter.metaObject()->method(deleter.metaObject()->indexOfSlot("remove()"))));
    VornSyncManager& manager = *fixture.manager;
    if (isStart)
        Access::syncStarted(manager, QStringLiteral("/x/f"));
    else
        Access::syncCompleted(manager, QStringLiteral("/x/f"), true);
    QVERIFY(watched.isNull());
}

QTEST_GUILESS_MAIN(TestSyncManagerCounters)
#include "test_sync_manager_counters.moc"
