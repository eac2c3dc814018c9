#include "sync_manager_access.h"

#include "pair.h"
#include "raw_database.h"
#include "trace_capture.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QTimerEvent>

#include <memory>

using namespace VornSyncTest;
using Access = VornSyncManagerTestAccess;

namespace {

constexpr int kNoCycleMs = 3600000;
constexpr int kWaitMs = 30000;
constexpr int kStartDelayMs = 100;
// A timer may fire this much early (coarse timers round to 5 %).
constexpr int kTimerSlackMs = 6;

QStringList texts(const QSignalSpy& spy)
{
    QStringList result;
    for (const QVariantList& arguments : spy)
        result << arguments.first().toString();
    return result;
}

// A manager over an empty state, and as many pairs of directories as a test wants.
struct Fixture
{
    Fixture()
        : manager(
              new VornSyncManager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, QStringList(), nullptr))
        , errors(manager.get(), &VornSyncManager::errorOccurred)
        , raw(pair.databasePath())
    {
    }

    QString local(const QString& alias) const { return pair.rootPath() + QLatin1String("/l_") + alias; }
    QString distant(const QString& alias) const { return pair.rootPath() + QLatin1String("/d_") + alias; }
    QString missing() const { return pair.rootPath() + QLatin1String("/none"); }

    bool add(const QString& alias)
    {
        return QDir().mkpath(local(alias)) && QDir().mkpath(distant(alias)) &&
               manager->addDirectory(alias, local(alias), distant(alias));
    }
    bool addSuspended(const QString& alias)
    {
        return QDir().mkpath(local(alias)) && manager->addDirectory(alias, local(alias), missing() + alias);
    }
    int id(const QString& alias) { return Access::database(*manager).getDirectoryIdByAlias(alias); }
    bool isAvailable(const QString& alias)
    {
        return Access::database(*manager).getDirectoryIds(true).contains(id(alias));
    }
    // What the start timer's time-out does, now.
    bool fireStartTimer()
    {
        QTimer* timer = Access::startTimer(*manager);
        QTimerEvent event(timer->timerId());
        const bool isFired = timer->isActive() && QCoreApplication::sendEvent(timer, &event);
        QCoreApplication::sendPostedEvents(Access::inside(*manager), QEvent::MetaCall);
        return isFired;
    }
    QStringList takeErrors()
    {
        const QStringList result = texts(errors);
        errors.clear();
        return result;
    }

    Pair pair;
    std::unique_ptr<VornSyncManager> manager;
    QSignalSpy errors;
    RawDatabase raw;
};

QString a()
{
    return QStringLiteral("a");
}
QString b()
{
    return QStringLiteral("b");
}
QString c()
{
    return QStringLiteral("c");
}

} // namespace

class TestSyncManagerDirectories : public QObject
{
    Q_OBJECT

private slots:
    void addRecordsThePair();
    void addStartsThePair();
    void addRefusesABadLocalPath_data();
    void addRefusesABadLocalPath();
    void addRefusesABadAlias_data();
    void addRefusesABadAlias();
    void aliasIsData_data();
    void aliasIsData();
    void addRefusesTheSamePlace_data();
    void addRefusesTheSamePlace();
    void addCreatesTheTrashDirectory();
    void addReportsAnUncreatableTrashDirectory();
    void addReportsARefusalOfTheDatabase();
    void addWithoutDistantDirectory();
    void addWithEmptyDistantPath();
    void addAgainUpdatesThePaths();
    void removeForgetsThePair();
    void removeOfUnknownAlias();
    void removeWithoutLocalPath();
    void removeRefreshesTheCounters();
    void removedWhileWaitingToStart();
    void removedWhilePaused();
    void availabilityOff();
    void suspendTakesTheAliasOffTheWaitingList();
    void suspendOfUnknownAlias();
    void resumeTwiceStartsOnce();
    void threeAliasesStartOneByOne();
    void startsAreAtLeastADelayApart();
    void unknownAliasInTheListIsSkipped();
    void startNeverRunsInsideTheCall();
    void aSlotMayCallBackFromADatabaseError();
    void aSlotMayWipeFromADatabaseError();
    void pauseAndResume();
    void pauseTwice();
    void resumeWithoutPause();
    void resumeAlsoTakesWhatWasSuspendedBefore();
    void lookUps();
};

void TestSyncManagerDirectories::addRecordsThePair()
{
    Fixture fixture;
    QVERIFY(fixture.add(a()));
    const QVariantMap row = fixture.raw.directoryRow(fixture.id(a()));
    QCOMPARE(row.value(QStringLiteral("alias_name")), QVariant(a()));
    QCOMPARE(row.value(QStringLiteral("local_path")), QVariant(fixture.local(a())));
    QCOMPARE(row.value(QStringLiteral("distant_path")), QVariant(fixture.distant(a())));
    QCOMPARE(row.value(QStringLiteral("trash_path")),
             QVariant(fixture.pair.trashRoot() + QLatin1String("/a")));
    // Available only once the start timer has reached it.
    QCOMPARE(row.value(QStringLiteral("available")).toInt(), 0);
    QVERIFY(fixture.errors.isEmpty());
}

void TestSyncManagerDirectories::addStartsThePair()
{
    Fixture fixture;
    TraceCapture capture;
    QVERIFY(fixture.add(a()));
    QCOMPARE(Access::pendingStarts(*fixture.manager), QStringList{a()});
    QTRY_VERIFY_WITH_TIMEOUT(fixture.isAvailable(a()), kWaitMs);
    QVERIFY(Access::pendingStarts(*fixture.manager).isEmpty());
    if (!traceLinesBuiltIn())
        return;
    QVERIFY(capture.linesOf(QStringLiteral("Mngr: "))
                .contains(QStringLiteral("resumeDirectorySync - Alias = a")));
    const QString id = QString::number(fixture.id(a()));
    QTRY_VERIFY_WITH_TIMEOUT(
        capture.contains(QStringLiteral("addDirectoryToWatch - Added directory: '%1' with ID: %2")
                             .arg(fixture.local(a()), id)),
        kWaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(
        capture.contains(QStringLiteral("End directory synchronization for directoryId: ") + id), kWaitMs);
}

void TestSyncManagerDirectories::addRefusesABadLocalPath_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("missing") << QStringLiteral("missing");
    QTest::newRow("a file") << QStringLiteral("file");
    QTest::newRow("empty") << QString();
}

void TestSyncManagerDirectories::addRefusesABadLocalPath()
{
    QFETCH(QString, name);
    Fixture fixture;
    QVERIFY(Side(fixture.pair.rootPath()).write(QStringLiteral("file"), "x"));
    const QString path = name.isEmpty() ? QString() : fixture.pair.rootPath() + QLatin1Char('/') + name;
    QVERIFY(!fixture.manager->addDirectory(QStringLiteral("a%1"), path, fixture.pair.distantPath()));
    QCOMPARE(fixture.takeErrors(),
             QStringList{QStringLiteral(
                 "ERROR: Given local path for alias: 'a%1' does not exist or is not a directory")});
    QVERIFY(!fixture.manager->isAliasDirectorySynchronised(QStringLiteral("a%1")));
    QVERIFY(!QFileInfo::exists(fixture.pair.trashRoot() + QLatin1String("/a%1")));
}

void TestSyncManagerDirectories::addRefusesABadAlias_data()
{
    QTest::addColumn<QString>("alias");
    QTest::newRow("empty") << QString();
    QTest::newRow("dot") << QStringLiteral(".");
    QTest::newRow("dots") << QStringLiteral("..");
    QTest::newRow("beside the root") << QStringLiteral("../other");
    QTest::newRow("beside, beginning like the root") << QStringLiteral("../trash2");
    QTest::newRow("back to the root") << QStringLiteral("x/..");
    QTest::newRow("slash") << QStringLiteral("/");
    QTest::newRow("NUL") << QString(QLatin1String("a") + QChar(0) + QLatin1String("b"));
}

void TestSyncManagerDirectories::addRefusesABadAlias()
{
    QFETCH(QString, alias);
    Fixture fixture;
    const QStringList before = Side(fixture.pair.rootPath()).names();
    QVERIFY(!fixture.manager->addDirectory(alias, fixture.pair.localPath(), fixture.pair.distantPath()));
    QCOMPARE(fixture.takeErrors(), QStringList{QStringLiteral("ERROR: Alias: '") + alias +
                                               QStringLiteral("' cannot name a trash directory.")});
    QVERIFY(!fixture.manager->isLocalDirectorySynchronised(fixture.pair.localPath()));
    QCOMPARE(Side(fixture.pair.rootPath()).names(), before);
    QVERIFY(Side(fixture.pair.trashRoot()).names().isEmpty());
}

void TestSyncManagerDirectories::aliasIsData_data()
{
    QTest::addColumn<QString>("alias");
    QTest::newRow("place markers") << QStringLiteral("%1 %2 %L3 100%");
    QTest::newRow("quotes") << QStringLiteral("it's \"x\"; DROP TABLE directories;--");
    QTest::newRow("newline") << QStringLiteral("two\nlines");
    QTest::newRow("Unicode") << QStringLiteral("\u00e9\u6f22\u0001F600");
    QTest::newRow("leading dash") << QStringLiteral("-rf");
    QTest::newRow("255 bytes") << QString(255, QLatin1Char('n'));
    QTest::newRow("hidden") << QStringLiteral(".a");
}

void TestSyncManagerDirectories::aliasIsData()
{
    QFETCH(QString, alias);
    Fixture fixture;
    QVERIFY(fixture.manager->addDirectory(alias, fixture.pair.localPath(), fixture.missing()));
    QCOMPARE(fixture.takeErrors(),
             QStringList{QStringLiteral("Warning: Given distant path for alias: '") + alias +
                         QStringLiteral("' does not exist or is not a directory")});
    QVERIFY(fixture.manager->isAliasDirectorySynchronised(alias));
    QCOMPARE(fixture.manager->getLocalDirSynchronizedAlias(fixture.pair.localPath()), alias);
    QVERIFY(QFileInfo(fixture.pair.trashRoot() + QLatin1Char('/') + alias).isDir());
    QVERIFY(fixture.manager->delDirectory(alias));
    QVERIFY(!fixture.manager->isAliasDirectorySynchronised(alias));
}

void TestSyncManagerDirectories::addRefusesTheSamePlace_data()
{
    QTest::addColumn<QString>("local");
    QTest::addColumn<QString>("distant");
    QTest::newRow("local is distant") << QStringLiteral("local") << QStringLiteral("local");
    QTest::newRow("written differently") << QStringLiteral("local") << QStringLiteral("distant/../local/");
    QTest::newRow("through a link") << QStringLiteral("local") << QStringLiteral("link");
    QTest::newRow("local is trash") << QStringLiteral("trash/a") << QStringLiteral("distant");
    QTest::newRow("distant is trash") << QStringLiteral("local") << QStringLiteral("trash/a");
}

void TestSyncManagerDirectories::addRefusesTheSamePlace()
{
    QFETCH(QString, local);
    QFETCH(QString, distant);
    Fixture fixture;
    const QString root = fixture.pair.rootPath() + QLatin1Char('/');
    if (local == QLatin1String("trash/a"))
        QVERIFY(QDir().mkpath(root + local));
    QVERIFY(QFile::link(fixture.pair.localPath(), root + QLatin1String("link")));
    QVERIFY(!fixture.manager->addDirectory(a(), root + local, root + distant));
    QCOMPARE(fixture.takeErrors(),
             QStringList{QStringLiteral(
                 "ERROR: Local, distant and trash directories of alias: 'a' must be different.")});
    QVERIFY(!fixture.manager->isAliasDirectorySynchronised(a()));
}

void TestSyncManagerDirectories::addCreatesTheTrashDirectory()
{
    Pair pair;
    const QString root = pair.rootPath() + QLatin1String("/new/deep/");
    VornSyncManager manager(pair.databasePath(), root, kNoCycleMs, QStringList(), nullptr);
    TraceCapture capture;
    QVERIFY(manager.addDirectory(a(), pair.localPath(), pair.distantPath()));
    QVERIFY(QFileInfo(root + a()).isDir());
    const QString line = QStringLiteral("addDirectory - Create trash directory: '%1a'.").arg(root);
    if (traceLinesBuiltIn())
        QVERIFY(capture.linesOf(QStringLiteral("Mngr: ")).contains(line));
    capture.clear();
    QVERIFY(manager.addDirectory(a(), pair.localPath(), pair.distantPath()));
    QVERIFY(!capture.contains(QStringLiteral("Create trash directory")));
}

void TestSyncManagerDirectories::addReportsAnUncreatableTrashDirectory()
{
    Fixture fixture;
    QVERIFY(Side(fixture.pair.trashRoot()).write(a(), "a file in the way"));
    QVERIFY(!fixture.add(a()));
    QCOMPARE(fixture.takeErrors(),
             QStringList{QStringLiteral("ERROR: Failure to create trash directory for alias: 'a'.")});
    QVERIFY(!fixture.manager->isAliasDirectorySynchronised(a()));
    QCOMPARE(Side(fixture.pair.trashRoot()).read(a()), QByteArray("a file in the way"));
}

void TestSyncManagerDirectories::addReportsARefusalOfTheDatabase()
{
    Fixture fixture;
    QVERIFY(fixture.add(a()));
    // Another alias for the same local path.
    QVERIFY(!fixture.manager->addDirectory(b(), fixture.local(a()), fixture.distant(a())));
    QCOMPARE(fixture.takeErrors(),
             QStringList{QStringLiteral("ERROR: Failure to add directory in database for alias: 'b'.")});
    QVERIFY(!fixture.manager->isAliasDirectorySynchronised(b()));
    QCOMPARE(Access::pendingStarts(*fixture.manager), QStringList{a()});
}

void TestSyncManagerDirectories::addWithoutDistantDirectory()
{
    Fixture fixture;
    TraceCapture capture;
    QVERIFY(fixture.addSuspended(a()));
    QCOMPARE(fixture.takeErrors(),
             QStringList{QStringLiteral(
                 "Warning: Given distant path for alias: 'a' does not exist or is not a directory")});
    QVERIFY(fixture.manager->isAliasDirectorySynchronised(a()));
    QVERIFY(!fixture.isAvailable(a()));
    QVERIFY(Access::pendingStarts(*fixture.manager).isEmpty());
    if (!traceLinesBuiltIn())
        return;
    QVERIFY(capture.linesOf(QStringLiteral("Mngr: "))
                .contains(QStringLiteral("suspendDirectorySync - Alias = a")));
    // The observer is asked to stop watching, and nothing else.
    QTRY_VERIFY_WITH_TIMEOUT(capture.contains(QStringLiteral("Directory not in watch list: '") +
                                              fixture.local(a()) + QLatin1Char('\'')),
                             kWaitMs);
    QVERIFY(!capture.contains(QStringLiteral("addDirectoryToWatch")));
}

void TestSyncManagerDirectories::addWithEmptyDistantPath()
{
    Fixture fixture;
    QVERIFY(fixture.manager->addDirectory(a(), fixture.pair.localPath(), QString()));
    QCOMPARE(fixture.takeErrors(),
             QStringList{QStringLiteral(
                 "Warning: Given distant path for alias: 'a' does not exist or is not a directory")});
    QVERIFY(!fixture.isAvailable(a()));
}

void TestSyncManagerDirectories::addAgainUpdatesThePaths()
{
    Fixture fixture;
    QVERIFY(fixture.addSuspended(a()));
    const int id = fixture.id(a());
    QVERIFY(fixture.add(a()));
    QCOMPARE(fixture.id(a()), id);
    QCOMPARE(fixture.raw.directoryRow(id).value(QStringLiteral("distant_path")),
             QVariant(fixture.distant(a())));
    QTRY_VERIFY_WITH_TIMEOUT(fixture.isAvailable(a()), kWaitMs);
}

void TestSyncManagerDirectories::removeForgetsThePair()
{
    Fixture fixture;
    QVERIFY(fixture.add(a()));
    QTRY_VERIFY_WITH_TIMEOUT(fixture.isAvailable(a()), kWaitMs);
    const int id = fixture.id(a());
    VornSyncSynchronizer* synchronizer = Access::synchronizer(*fixture.manager);
    QCOMPARE(synchronizer->localDirPath(id), fixture.local(a()));
    TraceCapture capture;
    QVERIFY(fixture.manager->delDirectory(a()));
    QVERIFY(!fixture.manager->isAliasDirectorySynchronised(a()));
    QVERIFY(fixture.raw.directoryRow(id).isEmpty());
    QVERIFY(fixture.takeErrors().isEmpty());
    // The synchronizer forgets the paths.
    QTRY_VERIFY_WITH_TIMEOUT(synchronizer->localDirPath(id).isEmpty(), kWaitMs);
    if (!traceLinesBuiltIn())
        return;
    QVERIFY(
        capture.linesOf(QStringLiteral("Mngr: "))
            .contains(QStringLiteral("removeDirectory - Directory removed successfully for alias: 'a'.")));
    QTRY_VERIFY_WITH_TIMEOUT(
        capture.contains(QStringLiteral("removeDirectoryFromWatch - Removed directory: '%1' with ID: %2")
                             .arg(fixture.local(a()), QString::number(id))),
        kWaitMs);
}

void TestSyncManagerDirectories::removeOfUnknownAlias()
{
    Fixture fixture;
    QVERIFY(!fixture.manager->delDirectory(QStringLiteral("%1")));
    QCOMPARE(fixture.takeErrors(),
             QStringList{QStringLiteral("Warning: Directory not found in database for alias: '%1'.")});
}

void TestSyncManagerDirectories::removeWithoutLocalPath()
{
    Fixture fixture;
    QVERIFY(fixture.addSuspended(a()));
    fixture.takeErrors();
    QVERIFY(fixture.raw.exec(QStringLiteral("UPDATE directories SET local_path = ''")));
    QVERIFY(!fixture.manager->delDirectory(a()));
    QCOMPARE(
        fixture.takeErrors(),
        QStringList{QStringLiteral("Warning: Directory local path not found in database for alias: 'a'.")});
    QVERIFY(fixture.manager->isAliasDirectorySynchronised(a()));
}

void TestSyncManagerDirectories::removeRefreshesTheCounters()
{
    Fixture fixture;
    QVERIFY(fixture.addSuspended(a()));
    VornSyncDatabase& database = Access::database(*fixture.manager);
    QVERIFY(database.setFileStatus(fixture.id(a()), QStringLiteral("f"), ceSfsUpToDate, ceSecNone));
    QVERIFY(database.setFileStatus(fixture.id(a()), QStringLiteral("g"), ceSfsUpToDate, ceSecNone));
    QVERIFY(database.setFileStatus(fixture.id(a()), QStringLiteral("g"), ceSfsError, ceSecCopyFailed));
    Access::refresh(*fixture.manager);
    QCOMPARE(fixture.manager->doneCount(), 1);
    QCOMPARE(fixture.manager->errorCount(), 1);
    QSignalSpy counters(fixture.manager.get(), &VornSyncManager::countersChanged);
    QVERIFY(fixture.manager->delDirectory(a()));
    QCOMPARE(counters.size(), 1);
    QCOMPARE(fixture.manager->doneCount(), 0);
    QCOMPARE(fixture.manager->errorCount(), 0);
    QVERIFY(fixture.manager->errorFiles().isEmpty());
}

void TestSyncManagerDirectories::removedWhileWaitingToStart()
{
    Fixture fixture;
    QVERIFY(fixture.add(a()));
    QVERIFY(fixture.add(b()));
    QVERIFY(fixture.manager->delDirectory(a()));
    QCOMPARE(Access::pendingStarts(*fixture.manager), QStringList{b()});
    // The same alias for other directories: not started by the call that was made for the old ones.
    QVERIFY(fixture.manager->addDirectory(a(), fixture.pair.localPath(), fixture.missing()));
    QTRY_VERIFY_WITH_TIMEOUT(fixture.isAvailable(b()), kWaitMs);
    QVERIFY(Access::pendingStarts(*fixture.manager).isEmpty());
    QVERIFY(!fixture.isAvailable(a()));
}

void TestSyncManagerDirectories::removedWhilePaused()
{
    Fixture fixture;
    QVERIFY(fixture.add(a()));
    QVERIFY(fixture.add(b()));
    fixture.manager->pauseAll();
    QCOMPARE(Access::pausedAliases(*fixture.manager).size(), 2);
    QVERIFY(fixture.manager->delDirectory(a()));
    QCOMPARE(Access::pausedAliases(*fixture.manager), QStringList{b()});
    fixture.manager->resumeAll();
    QCOMPARE(Access::pendingStarts(*fixture.manager), QStringList{b()});
}

void TestSyncManagerDirectories::availabilityOff()
{
    Fixture fixture;
    QVERIFY(fixture.add(a()));
    QTRY_VERIFY_WITH_TIMEOUT(fixture.isAvailable(a()), kWaitMs);
    TraceCapture capture;
    fixture.manager->setDirectoryAvailability(a(), false);
    QVERIFY(!fixture.isAvailable(a()));
    QVERIFY(fixture.manager->isAliasDirectorySynchronised(a()));
    if (traceLinesBuiltIn())
        QTRY_VERIFY_WITH_TIMEOUT(
            capture.contains(QStringLiteral("Removed directory: '") + fixture.local(a())), kWaitMs);
    fixture.manager->setDirectoryAvailability(a(), true);
    QTRY_VERIFY_WITH_TIMEOUT(fixture.isAvailable(a()), kWaitMs);
    QVERIFY(fixture.takeErrors().isEmpty());
}

void TestSyncManagerDirectories::suspendTakesTheAliasOffTheWaitingList()
{
    Fixture fixture;
    QVERIFY(fixture.add(a()));
    QVERIFY(fixture.add(b()));
    fixture.manager->setDirectoryAvailability(a(), false);
    QCOMPARE(Access::pendingStarts(*fixture.manager), QStringList{b()});
    QTRY_VERIFY_WITH_TIMEOUT(fixture.isAvailable(b()), kWaitMs);
    QVERIFY(!fixture.isAvailable(a()));
}

void TestSyncManagerDirectories::suspendOfUnknownAlias()
{
    Fixture fixture;
    TraceCapture capture;
    fixture.manager->setDirectoryAvailability(QStringLiteral("%1"), false);
    QVERIFY(fixture.takeErrors().isEmpty());
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(QStringLiteral("Mngr: ")),
                 QStringList{QStringLiteral("suspendDirectorySync - Alias = %1")});
}

void TestSyncManagerDirectories::resumeTwiceStartsOnce()
{
    Fixture fixture;
    QVERIFY(fixture.addSuspended(a()));
    QTimer* timer = Access::startTimer(*fixture.manager);
    // Long enough for this test to look at the countdown on any machine.
    timer->setTimerType(Qt::PreciseTimer);
    timer->setInterval(kWaitMs);
    TraceCapture capture;
    fixture.manager->setDirectoryAvailability(a(), true);
    const int reducedMs = kWaitMs - 20;
    QTRY_VERIFY_WITH_TIMEOUT(timer->remainingTime() < reducedMs, kWaitMs);
    fixture.manager->setDirectoryAvailability(a(), true);
    QVERIFY(timer->remainingTime() > reducedMs);
    QCOMPARE(Access::pendingStarts(*fixture.manager), QStringList{a()});
    QVERIFY(fixture.fireStartTimer());
    QVERIFY(fixture.isAvailable(a()));
    QVERIFY(!timer->isActive());
    if (!traceLinesBuiltIn())
        return;
    QTRY_VERIFY_WITH_TIMEOUT(capture.contains(QStringLiteral("End directory synchronization")), kWaitMs);
    QCOMPARE(capture.count(QStringLiteral("Start directory synchronization")), 1);
    QCOMPARE(capture.count(QStringLiteral("Added directory: ")), 1);
}

void TestSyncManagerDirectories::threeAliasesStartOneByOne()
{
    Fixture fixture;
    for (const QString& alias : {c(), a(), b()})
        QVERIFY(fixture.addSuspended(alias));
    QTimer* timer = Access::startTimer(*fixture.manager);
    timer->setTimerType(Qt::PreciseTimer);
    timer->setInterval(kWaitMs);
    for (const QString& alias : {b(), c(), a()})
        fixture.manager->setDirectoryAvailability(alias, true);
    QCOMPARE(Access::pendingStarts(*fixture.manager), QStringList({b(), c(), a()}));
    QVERIFY(fixture.fireStartTimer());
    QVERIFY(fixture.isAvailable(b()) && !fixture.isAvailable(c()) && !fixture.isAvailable(a()));
    QVERIFY(timer->isActive());
    QVERIFY(fixture.fireStartTimer());
    QVERIFY(fixture.isAvailable(b()) && fixture.isAvailable(c()) && !fixture.isAvailable(a()));
    QVERIFY(timer->isActive());
    QVERIFY(fixture.fireStartTimer());
    QVERIFY(fixture.isAvailable(a()));
    QVERIFY(!timer->isActive());
}

void TestSyncManagerDirectories::startsAreAtLeastADelayApart()
{
    Fixture fixture;
    for (const QString& alias : {a(), b(), c()})
        QVERIFY(fixture.addSuspended(alias));
    QElapsedTimer clock;
    clock.start();
    for (const QString& alias : {a(), b(), c()})
        fixture.manager->setDirectoryAvailability(alias, true);
    QTRY_VERIFY_WITH_TIMEOUT(fixture.isAvailable(c()), kWaitMs);
    QVERIFY(clock.elapsed() >= 3 * (kStartDelayMs - kTimerSlackMs));
}

void TestSyncManagerDirectories::unknownAliasInTheListIsSkipped()
{
    Fixture fixture;
    fixture.manager->setDirectoryAvailability(QStringLiteral("unknown"), true);
    QVERIFY(fixture.add(a()));
    QCOMPARE(Access::pendingStarts(*fixture.manager), QStringList({QStringLiteral("unknown"), a()}));
    QTRY_VERIFY_WITH_TIMEOUT(fixture.isAvailable(a()), kWaitMs);
    QVERIFY(fixture.takeErrors().isEmpty());
}

void TestSyncManagerDirectories::startNeverRunsInsideTheCall()
{
    Fixture fixture;
    QVERIFY(fixture.add(a()));
    auto* timer = Access::startTimer(*fixture.manager);
    QVERIFY(timer->isSingleShot());
    QCOMPARE(timer->interval(), kStartDelayMs);
    // The timer fires, and its slot waits for the event loop.
    QTimerEvent event(timer->timerId());
    QVERIFY(QCoreApplication::sendEvent(timer, &event));
    QVERIFY(!timer->isActive());
    QCOMPARE(Access::pendingStarts(*fixture.manager), QStringList{a()});
    QVERIFY(!fixture.isAvailable(a()));
    QCoreApplication::processEvents();
    QVERIFY(Access::pendingStarts(*fixture.manager).isEmpty());
    QVERIFY(fixture.isAvailable(a()));
}

void TestSyncManagerDirectories::aSlotMayCallBackFromADatabaseError()
{
    Fixture fixture;
    QVERIFY(fixture.addSuspended(a()));
    QVERIFY(fixture.raw.exec(QStringLiteral("DROP TABLE directories")));
    fixture.takeErrors();
    int calls = 0;
    connect(fixture.manager.get(), &VornSyncManager::errorOccurred, this, [&] {
        ++calls;
        fixture.manager->setDirectoryAvailability(b(), true);
    });
    // Each of these meets the error while it deals with the waiting list.
    fixture.manager->setDirectoryAvailability(a(), false);
    QVERIFY(calls > 0);
    const int before = calls;
    QVERIFY(fixture.fireStartTimer());
    QVERIFY(calls > before);
    QCOMPARE(Access::pendingStarts(*fixture.manager), QStringList{b()});
    QVERIFY(Access::startTimer(*fixture.manager)->isActive());
}

void TestSyncManagerDirectories::aSlotMayWipeFromADatabaseError()
{
    Fixture fixture;
    QVERIFY(fixture.addSuspended(a()));
    QVERIFY(fixture.raw.exec(QStringLiteral("DROP TABLE directories")));
    int wiped = 0;
    connect(fixture.manager.get(), &VornSyncManager::errorOccurred, this, [&](const QString& message) {
        if (wiped == 0 && message.contains(QLatin1String("no such table")))
            wiped = fixture.manager->wipeSyncDatabaseFile() ? 1 : -1;
    });
    QVERIFY(!fixture.manager->isAliasDirectorySynchronised(a()));
    QCOMPARE(wiped, 1);
    QVERIFY(fixture.add(a()));
    QVERIFY(fixture.manager->isAliasDirectorySynchronised(a()));
}

void TestSyncManagerDirectories::pauseAndResume()
{
    Fixture fixture;
    QVERIFY(fixture.add(b()));
    QVERIFY(fixture.add(a()));
    QTRY_VERIFY_WITH_TIMEOUT(fixture.isAvailable(a()) && fixture.isAvailable(b()), kWaitMs);
    QStringList aliases; // in the order the database gives
    for (int id : Access::database(*fixture.manager).getDirectoryIds(false))
        aliases << Access::database(*fixture.manager).getDirectoryAlias(id);
    QCOMPARE(aliases.size(), 2);
    TraceCapture capture;
    fixture.manager->pauseAll();
    QVERIFY(fixture.manager->isPausedAll());
    QVERIFY(!fixture.isAvailable(a()));
    QVERIFY(!fixture.isAvailable(b()));
    QCOMPARE(Access::pausedAliases(*fixture.manager), aliases);
    if (traceLinesBuiltIn()) {
        QStringList expected{QStringLiteral("pauseAll - Pausing all directory synchronizations")};
        for (const QString& alias : qAsConst(aliases))
            expected << QStringLiteral("suspendDirectorySync - Alias = ") + alias
                     << QStringLiteral("pauseAll - Suspended alias: ") + alias;
        expected << QStringLiteral("pauseAll - Stopped periodic sync timer")
                 << QStringLiteral("pauseAll - Paused 2 directories");
        QCOMPARE(capture.linesOf(QStringLiteral("Mngr: ")), expected);
        QTRY_VERIFY_WITH_TIMEOUT(capture.contains(QStringLiteral("stopPeriodicSync - Stopped periodic sync")),
                                 kWaitMs);
    }
    capture.clear();
    fixture.manager->resumeAll();
    QVERIFY(!fixture.manager->isPausedAll());
    QVERIFY(Access::pausedAliases(*fixture.manager).isEmpty());
    if (traceLinesBuiltIn()) {
        QStringList expected{
            QStringLiteral("resumeAll - Resuming all previously paused directory synchronizations"),
            QStringLiteral("resumeAll - Restarted periodic sync timer")};
        for (const QString& alias : qAsConst(aliases))
            expected << QStringLiteral("resumeDirectorySync - Alias = ") + alias
                     << QStringLiteral("resumeAll - Resumed alias: ") + alias;
        expected << QStringLiteral("resumeAll - Resumed 2 directories");
        QCOMPARE(capture.linesOf(QStringLiteral("Mngr: ")), expected);
        QTRY_VERIFY_WITH_TIMEOUT(capture.contains(QStringLiteral(
                                     "startObserving - Started observing with periodic sync interval")),
                                 kWaitMs);
    }
    QTRY_VERIFY_WITH_TIMEOUT(fixture.isAvailable(a()) && fixture.isAvailable(b()), kWaitMs);
    QVERIFY(fixture.takeErrors().isEmpty());
}

void TestSyncManagerDirectories::pauseTwice()
{
    Fixture fixture;
    QVERIFY(fixture.addSuspended(a()));
    fixture.manager->pauseAll();
    TraceCapture capture;
    fixture.manager->pauseAll();
    QVERIFY(fixture.manager->isPausedAll());
    QCOMPARE(Access::pausedAliases(*fixture.manager), QStringList{a()});
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(QStringLiteral("Mngr: ")),
                 QStringList({QStringLiteral("pauseAll - Pausing all directory synchronizations"),
                              QStringLiteral("pauseAll - Already paused, ignoring")}));
}

void TestSyncManagerDirectories::resumeWithoutPause()
{
    Fixture fixture;
    QVERIFY(fixture.addSuspended(a()));
    TraceCapture capture;
    fixture.manager->resumeAll();
    QVERIFY(!fixture.manager->isPausedAll());
    QVERIFY(Access::pendingStarts(*fixture.manager).isEmpty());
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(QStringLiteral("Mngr: ")),
                 QStringList(
                     {QStringLiteral("resumeAll - Resuming all previously paused directory synchronizations"),
                      QStringLiteral("resumeAll - Not in paused state, ignoring")}));
}

void TestSyncManagerDirectories::resumeAlsoTakesWhatWasSuspendedBefore()
{
    Fixture fixture;
    QVERIFY(fixture.addSuspended(a()));
    fixture.manager->pauseAll();
    fixture.manager->resumeAll();
    QCOMPARE(Access::pendingStarts(*fixture.manager), QStringList{a()});
    QTRY_VERIFY_WITH_TIMEOUT(fixture.isAvailable(a()), kWaitMs);
}

void TestSyncManagerDirectories::lookUps()
{
    Fixture fixture;
    QVERIFY(fixture.addSuspended(a()));
    QVERIFY(fixture.manager->isAliasDirectorySynchronised(a()));
    QVERIFY(!fixture.manager->isAliasDirectorySynchronised(QStringLiteral("A")));
    QVERIFY(!fixture.manager->isAliasDirectorySynchronised(QString()));
    QVERIFY(fixture.manager->isLocalDirectorySynchronised(fixture.local(a())));
    QVERIFY(!fixture.manager->isLocalDirectorySynchronised(fixture.distant(a())));
    QCOMPARE(fixture.manager->getLocalDirSynchronizedAlias(fixture.local(a())), a());
    QVERIFY(fixture.manager->getLocalDirSynchronizedAlias(QStringLiteral("/nowhere")).isNull());
}

QTEST_GUILESS_MAIN(TestSyncManagerDirectories)
#include "test_sync_manager_directories.moc"
