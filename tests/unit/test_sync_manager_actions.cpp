#include "sync_manager_access.h"

#include "file_calls.h"
#include "pair.h"
#include "raw_database.h"
#include "trace_capture.h"
#include "wait.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QPointer>
#include <QScopeGuard>
#include <QSemaphore>
#include <QSharedPointer>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <cerrno>
#include <functional>
#include <memory>

using namespace VornSyncTest;
using Access = VornSyncManagerTestAccess;

namespace {

constexpr int kNoCycleMs = 3600000;
const QString kManagerTag = QStringLiteral("Mngr: ");

// A manager with one pair that no pass looks at: it is registered, and suspended.
struct Fixture
{
    Fixture()
        : manager(
              new VornSyncManager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, QStringList(), nullptr))
        , errors(manager.get(), &VornSyncManager::errorOccurred)
        , completed(manager.get(), &VornSyncManager::syncCompleted)
    {
        manager->addDirectory(alias, pair.localPath(), pair.distantPath());
        manager->setDirectoryAvailability(alias, false);
        id = database().getDirectoryIdByAlias(alias);
        // A direct call finds the synchronizer without its database until it has run initialize().
        const bool isReady =
            waitFor([this] { return !Access::synchronizer(*manager)->localDirPath(id).isEmpty(); });
        if (!isReady)
            qFatal("the synchronizer was not initialised in time");
    }

    VornSyncDatabase& database() { return Access::database(*manager); }
    bool setError(const QString& name, int base, int code)
    {
        return database().setFileStatus(id, name, base, ceSecNone) &&
               database().setFileStatus(id, name, ceSfsError, code);
    }
    int status(const QString& name) { return database().getFileStatus(id, name); }
    QStringList errorTexts() const
    {
        QStringList result;
        for (const QVariantList& arguments : errors)
            result << arguments.first().toString();
        return result;
    }

    Pair pair;
    const QString alias = QStringLiteral("a%1");
    std::unique_ptr<VornSyncManager> manager;
    QSignalSpy errors;
    QSignalSpy completed;
    int id = 0;
};

using Call = std::function<void(VornSyncManager& manager, const QString& alias, const QString& name)>;

struct Operation
{
    const char* name;
    const char* outcome; // of an unknown alias
    Call call;
};

// Every operation on one file. Of a rename, the given name is the old one.
const QList<Operation>& operations()
{
    static const QList<Operation> list = {
        {"retrySync", "ignoring",
         [](VornSyncManager& m, const QString& a, const QString& f) { m.retrySync(a, f); }},
        {"moveToTrashFile", "ignored",
         [](VornSyncManager& m, const QString& a, const QString& f) { m.moveToTrashFile(a, f); }},
        {"lockForRename", "refused",
         [](VornSyncManager& m, const QString& a, const QString& f) {
             QVERIFY(!m.lockForRename(a, f, QStringLiteral("new")));
         }},
        {"commitRename", "ignored",
         [](VornSyncManager& m, const QString& a, const QString& f) {
             m.commitRename(a, f, QStringLiteral("new"));
         }},
        {"abortRename", "ignored",
         [](VornSyncManager& m, const QString& a, const QString& f) {
             m.abortRename(a, f, QStringLiteral("new"));
         }},
        {"notifyLocalFileChanged", "ignored",
         [](VornSyncManager& m, const QString& a, const QString& f) { m.notifyLocalFileChanged(a, f); }},
        {"notifyLocalFileDeleted", "ignored",
         [](VornSyncManager& m, const QString& a, const QString& f) { m.notifyLocalFileDeleted(a, f); }},
        {"tombstoneLocalFile", "ignored",
         [](VornSyncManager& m, const QString& a, const QString& f) { m.tombstoneLocalFile(a, f); }},
    };
    return list;
}

const Operation& operation(const QByteArray& name)
{
    for (const Operation& candidate : operations()) {
        if (name == candidate.name)
            return candidate;
    }
    qFatal("no such operation");
}

QString text(const char* line)
{
    return QString::fromLatin1(line);
}

// Keeps the engine from everything that it is asked for from now on.
class BusyEngine
{
    Q_DISABLE_COPY_MOVE(BusyEngine)

public:
    explicit BusyEngine(VornSyncSynchronizer* synchronizer)
        : m_synchronizer(synchronizer)
    {
        queue([reached = m_isReached, goOn = m_mayGoOn] {
            reached->release();
            goOn->tryAcquire(1, kWaitMs);
        });
    }
    ~BusyEngine() { m_mayGoOn->release(); }

    bool isBusy() { return m_isReached->tryAcquire(1, kWaitMs); }
    // Lets it go on; true when it has done all that it was asked for meanwhile.
    bool isDone()
    {
        m_mayGoOn->release();
        queue([reached = m_isReached] { reached->release(); });
        return m_isReached->tryAcquire(1, kWaitMs);
    }

private:
    void queue(const std::function<void()>& call)
    {
        QMetaObject::invokeMethod(m_synchronizer, call, Qt::QueuedConnection);
    }

    VornSyncSynchronizer* const m_synchronizer;
    // Not std::shared_ptr: the thread sanitizer does not see the order in which two threads let go of one.
    const QSharedPointer<QSemaphore> m_isReached = QSharedPointer<QSemaphore>::create();
    const QSharedPointer<QSemaphore> m_mayGoOn = QSharedPointer<QSemaphore>::create();
};

} // namespace

class TestSyncManagerActions : public QObject
{
    Q_OBJECT

private slots:
    void unknownAlias_data();
    void unknownAlias();
    void idZeroIsUnknown_data();
    void idZeroIsUnknown();
    void invalidFileName_data();
    void invalidFileName();
    void lockKeepsItsOwnLine_data();
    void lockKeepsItsOwnLine();
    void invalidNewName();
    void nullSynchronizer_data();
    void nullSynchronizer();
    void tombstoneNeedsNoSynchronizer();

    void firstMillisecond();
    void renameInTheFirstMillisecond();
    void duringDestruction_data();
    void duringDestruction();

    void changedFileIsSent();
    void oddNamesAreSent_data();
    void oddNamesAreSent();
    void retryOfUntrackedFile();
    void retryOfFileNotInError();
    void retryConfirmsDeletion();
    void retryRestoresDistant();
    void retryDispatches();
    void moveToTrash();
    void renameRoad();
    void abortReleasesTheLock();
    void deletedFile();
    void deletedFileFailing();
    void tombstonedFile();
    void refreshAfterTheDatabaseStep();

    void requestSyncRunsACycle();
    void requestSyncWhilePaused();
    void requestSyncByName();

    void bulkOverEmptyList_data();
    void bulkOverEmptyList();
    void retryAll();
    void retryAllWithAcknowledgeOnlyEntries();
    void acknowledgeAll();
    void deleteAll();
    void bulkWorksOnTheCachedList();
    void bulkSurvivesAListThatChanges();

    void wipe();
    void wipeOfNothingSpeaksOnce();
    void wipeFailing();
    void wipeFailingKeepsWhatWasAskedFor();
    void wipeRepairsAnUnusableFile();
    void wipeForgetsPaths();
    void wipeForgetsRenameLocks();
    void lockAfterAWipeIsKept();
    void wipeBeforeARequestIsBegun_data();
    void wipeBeforeARequestIsBegun();
    void wipeFromTheErrorOfADeletion();
    void reset();
    void resetWhilePaused();
    void resetWithoutTime();
    void resetWaitsForRunningOperations();
    void resetWaitsForFileReady();
    void resetProcessesEvents();
    void resetSurvivesItsDeletion();
    void resetInsideReset();
    void resetAfterTheFileWasDamaged_data();
    void resetAfterTheFileWasDamaged();
};

// ---- What all operations on one file have in common ---------------------------------------------------

void TestSyncManagerActions::unknownAlias_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const Operation& operation : operations())
        QTest::newRow(operation.name) << QByteArray(operation.name);
}

void TestSyncManagerActions::unknownAlias()
{
    QFETCH(QByteArray, name);
    Fixture fixture;
    TraceCapture capture;
    operation(name).call(*fixture.manager, QStringLiteral("no %2"), QStringLiteral(".."));
    QVERIFY(fixture.errors.isEmpty());
    QVERIFY(capture.criticals().isEmpty());
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(kManagerTag),
                 QStringList{QString::fromLatin1(name) + QStringLiteral(" - Unknown alias 'no %2', ") +
                             text(operation(name).outcome)});
}

void TestSyncManagerActions::idZeroIsUnknown_data()
{
    unknownAlias_data();
}

void TestSyncManagerActions::idZeroIsUnknown()
{
    QFETCH(QByteArray, name);
    Fixture fixture;
    RawDatabase raw(fixture.pair.databasePath());
    QVERIFY(raw.exec(QStringLiteral("UPDATE directories SET id = 0")));
    QVERIFY(fixture.manager->isAliasDirectorySynchronised(fixture.alias));
    TraceCapture capture;
    operation(name).call(*fixture.manager, fixture.alias, QStringLiteral("f"));
    QCOMPARE(raw.value(QStringLiteral("SELECT COUNT(*) FROM file_tracking")).toInt(), 0);
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(kManagerTag),
                 QStringList{QString::fromLatin1(name) + QStringLiteral(" - Unknown alias 'a%1', ") +
                             text(operation(name).outcome)});
}

void TestSyncManagerActions::invalidFileName_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QString>("fileName");
    const QList<QPair<const char*, QString>> names = {
        {"empty", QString()},
        {"dot", QStringLiteral(".")},
        {"dots", QStringLiteral("..")},
        {"path", QStringLiteral("../f%2")},
        {"absolute", QStringLiteral("/f")},
        {"NUL", QString(QLatin1String("f") + QChar(0) + QLatin1String("g"))}};
    for (const Operation& operation : operations()) {
        for (const auto& fileName : names) {
            if (qstrcmp(operation.name, "lockForRename") != 0 || !fileName.second.isEmpty())
                QTest::newRow(QByteArray(operation.name).append(", ").append(fileName.first).constData())
                    << QByteArray(operation.name) << fileName.second;
        }
    }
}

void TestSyncManagerActions::invalidFileName()
{
    QFETCH(QByteArray, name);
    QFETCH(QString, fileName);
    Fixture fixture;
    TraceCapture capture;
    operation(name).call(*fixture.manager, fixture.alias, fileName);
    const QString error =
        QStringLiteral("ERROR: Invalid file name: '") + fileName + QStringLiteral("' for alias: 'a%1'.");
    QCOMPARE(fixture.errorTexts(), QStringList{error});
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(kManagerTag), QStringList{QStringLiteral("emitError - ") + error});
    QCOMPARE(
        RawDatabase(fixture.pair.databasePath()).value(QStringLiteral("SELECT COUNT(*) FROM file_tracking")),
        QVariant(0));
}

void TestSyncManagerActions::lockKeepsItsOwnLine_data()
{
    QTest::addColumn<QString>("oldName");
    QTest::addColumn<QString>("newName");
    QTest::newRow("no old name") << QString() << QStringLiteral("b");
    QTest::newRow("no new name") << QStringLiteral("b") << QString();
    QTest::newRow("equal") << QStringLiteral("b") << QStringLiteral("b");
}

void TestSyncManagerActions::lockKeepsItsOwnLine()
{
    QFETCH(QString, oldName);
    QFETCH(QString, newName);
    Fixture fixture;
    TraceCapture capture;
    QVERIFY(!fixture.manager->lockForRename(fixture.alias, oldName, newName));
    QVERIFY(fixture.errors.isEmpty());
    if (traceLinesBuiltIn())
        QVERIFY(capture.contains(
            QStringLiteral("lockRename - Invalid argument(s) for rename lock: old='%1' new='%2' (dirId=%3)")
                .arg(oldName, newName, QString::number(fixture.id))));
}

void TestSyncManagerActions::invalidNewName()
{
    Fixture fixture;
    QVERIFY(!fixture.manager->lockForRename(fixture.alias, QStringLiteral("f"), QStringLiteral("x/y")));
    fixture.manager->commitRename(fixture.alias, QStringLiteral("f"), QString());
    fixture.manager->abortRename(fixture.alias, QStringLiteral("f"), QStringLiteral(".."));
    QCOMPARE(fixture.errorTexts(),
             QStringList({QStringLiteral("ERROR: Invalid file name: 'x/y' for alias: 'a%1'."),
                          QStringLiteral("ERROR: Invalid file name: '' for alias: 'a%1'."),
                          QStringLiteral("ERROR: Invalid file name: '..' for alias: 'a%1'.")}));
}

void TestSyncManagerActions::nullSynchronizer_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const Operation& operation : operations()) {
        if (qstrcmp(operation.name, "tombstoneLocalFile") != 0)
            QTest::newRow(operation.name) << QByteArray(operation.name);
    }
    QTest::newRow("requestSync") << QByteArray("requestSync");
}

void TestSyncManagerActions::nullSynchronizer()
{
    QFETCH(QByteArray, name);
    Fixture fixture;
    QVERIFY(fixture.setError(QStringLiteral("f"), ceSfsUpToDate, ceSecCopyFailed));
    const int before = fixture.status(QStringLiteral("f"));
    Access::forgetSynchronizer(*fixture.manager);
    TraceCapture capture;
    if (name == "requestSync")
        fixture.manager->requestSync();
    else
        operation(name).call(*fixture.manager, fixture.alias, QStringLiteral("f"));
    QCOMPARE(capture.criticals().size(), 1);
    const QString critical = capture.criticals().first();
    QVERIFY2(
        critical.contains(QStringLiteral(" ;\t libraries/lib_sync_library/source/vorn_sync_manager_p ;\t ")),
        qPrintable(critical));
    QVERIFY2(critical.endsWith(QStringLiteral(" ;\t VornSyncManagerPrivate::") + QString::fromLatin1(name) +
                               QStringLiteral(": synchronizer is null")),
             qPrintable(critical));
    QVERIFY(fixture.errors.isEmpty());
    QVERIFY(capture.linesOf(kManagerTag).isEmpty());
    QCOMPARE(fixture.status(QStringLiteral("f")), before);
}

void TestSyncManagerActions::tombstoneNeedsNoSynchronizer()
{
    Fixture fixture;
    Access::forgetSynchronizer(*fixture.manager);
    TraceCapture capture;
    fixture.manager->tombstoneLocalFile(fixture.alias, QStringLiteral("f"));
    QVERIFY(capture.criticals().isEmpty());
    QCOMPARE(fixture.status(QStringLiteral("f")), int(ceSfsDeleted));
}

// ---- At once after the start, and at the end ----------------------------------------------------------

// What a previous run left waits for the user, who is quicker than the threads.
void TestSyncManagerActions::firstMillisecond()
{
    Fixture fixture;
    for (const char* name : {"15", "again", "changed", "trashed"})
        QVERIFY(fixture.pair.local().write(text(name), "content"));
    QVERIFY(fixture.pair.distant().write(text("deleted"), "content"));
    QVERIFY(fixture.setError(text("2"), ceSfsUpToDate, ceSecLocalFileMissing));
    QVERIFY(fixture.setError(text("15"), ceSfsUpToDate, ceSecDistantFileMissing));
    QVERIFY(fixture.setError(text("again"), ceSfsUpToDate, ceSecDistantRenameFailed));
    for (const char* name : {"trashed", "deleted"})
        QVERIFY(fixture.database().setFileStatus(fixture.id, text(name), ceSfsUpToDate, ceSecNone));
    fixture.manager.reset();

    VornSyncManager manager(fixture.pair.databasePath(), fixture.pair.trashRoot(), kNoCycleMs, QStringList(),
                            nullptr);
    QSignalSpy errors(&manager, &VornSyncManager::errorOccurred);
    QCOMPARE(manager.errorFiles().size(), 3);
    manager.acknowledgeAllMissing();
    manager.retryAllErrors();
    manager.notifyLocalFileChanged(fixture.alias, text("changed"));
    manager.notifyLocalFileDeleted(fixture.alias, text("deleted"));
    manager.moveToTrashFile(fixture.alias, text("trashed"));
    const auto status = [&](const char* name) {
        return Access::database(manager).getFileStatus(fixture.id, text(name));
    };
    QCOMPARE(status("deleted"), int(ceSfsDeleted));
    QTRY_COMPARE_WITH_TIMEOUT(status("2"), int(ceSfsDeleted), kWaitMs);
    for (const char* name : {"15", "again", "changed"})
        QTRY_COMPARE_WITH_TIMEOUT(status(name), int(ceSfsUpToDate), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(status("trashed"), int(ceSfsTrashed), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(manager.errorCount(), 0, kWaitMs);
    QCOMPARE(fixture.pair.distant().names(), QStringList({text("15"), text("changed")}));
    QVERIFY(errors.isEmpty());
}

// The lock is asked for directly: where the engine has no database yet, it is refused, and the host is told.
void TestSyncManagerActions::renameInTheFirstMillisecond()
{
    Fixture fixture;
    fixture.manager.reset();
    VornSyncManager manager(fixture.pair.databasePath(), fixture.pair.trashRoot(), kNoCycleMs, QStringList(),
                            nullptr);
    QSignalSpy errors(&manager, &VornSyncManager::errorOccurred);
    const bool isLocked = manager.lockForRename(fixture.alias, text("old"), text("new"));
    QCOMPARE(Access::synchronizer(manager)->isRenameLocked(fixture.id, text("new")), isLocked);
    manager.abortRename(fixture.alias, text("old"), text("new"));
    QVERIFY(!Access::synchronizer(manager)->isRenameLocked(fixture.id, text("new")));
    if (!isLocked) {
        QVERIFY(!errors.isEmpty() || errors.wait(kWaitMs));
        QCOMPARE(errors.first().first().toString(),
                 text("Synchronizer error: ERROR: Database not initialized in synchronizer"));
    }
    QCOMPARE(errors.size(), isLocked ? 0 : 1);
    // A moment later it is given.
    QTRY_VERIFY_WITH_TIMEOUT(!Access::synchronizer(manager)->localDirPath(fixture.id).isEmpty(), kWaitMs);
    QVERIFY(manager.lockForRename(fixture.alias, text("old"), text("new")));
}

void TestSyncManagerActions::duringDestruction_data()
{
    QTest::addColumn<int>("stuck");
    QTest::newRow("the worker is stuck, the others still run") << 0;
    QTest::newRow("the synchronizer is stuck") << 1;
    QTest::newRow("the observer is stuck, the others are gone") << 2;
}

// The manager speaks while it is taken down, and the host answers with everything it has.
void TestSyncManagerActions::duringDestruction()
{
    QFETCH(int, stuck);
    Fixture fixture;
    for (const char* name : {"f", "15"})
        QVERIFY(fixture.pair.local().write(text(name), "content"));
    QVERIFY(fixture.pair.distant().write(text("elsewhere"), "content"));
    QVERIFY(fixture.setError(text("15"), ceSfsUpToDate, ceSecDistantFileMissing));
    Access::refresh(*fixture.manager);
    const auto isReached = QSharedPointer<QSemaphore>::create();
    const auto mayGoOn = QSharedPointer<QSemaphore>::create();
    QObject* const object = stuck == 0   ? static_cast<QObject*>(Access::worker(*fixture.manager))
                            : stuck == 1 ? static_cast<QObject*>(Access::synchronizer(*fixture.manager))
                                         : static_cast<QObject*>(Access::observer(*fixture.manager));
    const QPointer<QThread> thread = object->thread();
    QMetaObject::invokeMethod(
        object,
        [isReached, mayGoOn] {
            isReached->release();
            mayGoOn->acquire();
        },
        Qt::QueuedConnection);
    QVERIFY(isReached->tryAcquire(1, kWaitMs));

    TraceCapture capture;
    VornSyncManager* const manager = fixture.manager.get();
    int calls = 0;
    connect(manager, &VornSyncManager::errorOccurred, this, [&](const QString& error) {
        if (calls > 0 || !error.startsWith(text("ERROR: Failed to stop ")))
            return;
        ++calls;
        for (const Operation& operation : operations()) {
            if (qstrcmp(operation.name, "lockForRename") != 0)
                operation.call(*manager, fixture.alias, text("f"));
        }
        manager->lockForRename(fixture.alias, text("f"), text("g"));
        manager->retryAllErrors();
        manager->acknowledgeAllMissing();
        manager->deleteAllDistantMissing();
        manager->requestSync();
        manager->requestFileReady(fixture.pair.distant().filePath(text("elsewhere")));
        manager->pauseAll();
        manager->resumeAll();
        manager->setDirectoryAvailability(fixture.alias, true);
        manager->resetSyncDatabase(0);
        manager->wipeSyncDatabaseFile();
        manager->addDirectory(fixture.alias, fixture.pair.localPath(), fixture.pair.distantPath());
        ++calls;
    });
    fixture.manager.reset();
    QCOMPARE(calls, 2);
    QCOMPARE(!capture.criticals().filter(text("synchronizer is null")).isEmpty(), stuck == 2);
    mayGoOn->release();
    QTRY_VERIFY_WITH_TIMEOUT(thread.isNull(), kWaitMs);
    QCOMPARE(RawDatabase(fixture.pair.databasePath()).integrityProblems(), QString());
    QCOMPARE(fixture.pair.local().read(text("f")), QByteArray("content"));
    QCOMPARE(fixture.pair.distant().names(), QStringList{text("elsewhere")});
}

// ---- One file -----------------------------------------------------------------------------------------

void TestSyncManagerActions::changedFileIsSent()
{
    Fixture fixture;
    QVERIFY(fixture.pair.local().write(QStringLiteral("f"), "content"));
    TraceCapture capture;
    fixture.manager->notifyLocalFileChanged(fixture.alias, QStringLiteral("f"));
    if (traceLinesBuiltIn()) {
        QCOMPARE(capture.linesOf(kManagerTag).size(), 1);
        QVERIFY(capture.linesOf(kManagerTag)
                    .first()
                    .startsWith(QStringLiteral("notifyLocalFileChanged - Dispatching 'f'")));
    }
    QVERIFY(fixture.completed.wait(kWaitMs));
    QCOMPARE(fixture.completed.first(),
             QVariantList({fixture.pair.local().filePath(QStringLiteral("f")), true}));
    QCOMPARE(fixture.pair.distant().read(QStringLiteral("f")), QByteArray("content"));
    QCOMPARE(fixture.status(QStringLiteral("f")), int(ceSfsUpToDate));
    QCOMPARE(fixture.manager->doneCount(), 1);
    QVERIFY(fixture.errors.isEmpty());
}

void TestSyncManagerActions::oddNamesAreSent_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("place markers") << QStringLiteral("%1 %2 %L1 100%.txt");
    QTest::newRow("quotes") << QStringLiteral("'it''s' \"x\"");
    QTest::newRow("newline") << QStringLiteral("two\nlines");
    QTest::newRow("leading dash") << QStringLiteral("--help");
    QTest::newRow("Unicode") << QStringLiteral("\u00e9\u6f22\u0001F600");
    QTest::newRow("backslash") << QStringLiteral("a\\b");
    QTest::newRow("spaces") << QStringLiteral(" f ");
    QTest::newRow("255 bytes") << QString(255, QLatin1Char('n'));
}

void TestSyncManagerActions::oddNamesAreSent()
{
    QFETCH(QString, name);
    Fixture fixture;
    QVERIFY(fixture.pair.local().write(name, "content"));
    fixture.manager->notifyLocalFileChanged(fixture.alias, name);
    QVERIFY(fixture.completed.wait(kWaitMs));
    QCOMPARE(fixture.pair.distant().read(name), QByteArray("content"));
    QCOMPARE(fixture.status(name), int(ceSfsUpToDate));
}

void TestSyncManagerActions::retryOfUntrackedFile()
{
    Fixture fixture;
    TraceCapture capture;
    fixture.manager->retrySync(fixture.alias, QStringLiteral("f%2"));
    if (traceLinesBuiltIn())
        QCOMPARE(
            capture.linesOf(kManagerTag),
            QStringList{QStringLiteral("retrySync - File 'f%2' not tracked under alias 'a%1', ignoring")});
    QVERIFY(fixture.errors.isEmpty());
}

void TestSyncManagerActions::retryOfFileNotInError()
{
    Fixture fixture;
    QVERIFY(fixture.database().setFileStatus(fixture.id, QStringLiteral("f"), ceSfsUpToDate, ceSecNone));
    TraceCapture capture;
    fixture.manager->retrySync(fixture.alias, QStringLiteral("f"));
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(kManagerTag),
                 QStringList{
                     QStringLiteral("retrySync - File 'f' under alias 'a%1' no longer in Error, ignoring")});
    QVERIFY(fixture.errors.isEmpty());
}

void TestSyncManagerActions::retryConfirmsDeletion()
{
    Fixture fixture;
    QVERIFY(fixture.setError(QStringLiteral("f"), ceSfsUpToDate, ceSecLocalFileMissing));
    TraceCapture capture;
    fixture.manager->retrySync(fixture.alias, QStringLiteral("f"));
    QTRY_COMPARE_WITH_TIMEOUT(fixture.status(QStringLiteral("f")), int(ceSfsDeleted), kWaitMs);
    if (!traceLinesBuiltIn())
        return;
    QVERIFY(capture.linesOf(kManagerTag)
                .first()
                .startsWith(QStringLiteral("retrySync - Confirming deletion for 'f'")));
    QVERIFY(capture.contains(
        QStringLiteral("confirmFileDeletion - User confirmed deletion of 'f' (dirId=%1)").arg(fixture.id)));
}

void TestSyncManagerActions::retryRestoresDistant()
{
    Fixture fixture;
    QVERIFY(fixture.pair.local().write(QStringLiteral("f"), "content"));
    QVERIFY(fixture.setError(QStringLiteral("f"), ceSfsUpToDate, ceSecDistantFileMissing));
    TraceCapture capture;
    fixture.manager->retrySync(fixture.alias, QStringLiteral("f"));
    QVERIFY(fixture.completed.wait(kWaitMs));
    QCOMPARE(fixture.pair.distant().read(QStringLiteral("f")), QByteArray("content"));
    if (!traceLinesBuiltIn())
        return;
    QVERIFY(capture.linesOf(kManagerTag)
                .first()
                .startsWith(QStringLiteral("retrySync - Restoring distant from local for 'f'")));
    QVERIFY(
        capture.contains(QStringLiteral("notifyLocalFileChanged - Immediate copyToDistant for 'f' (dirId=%1)")
                             .arg(fixture.id)));
}

void TestSyncManagerActions::retryDispatches()
{
    Fixture fixture;
    QVERIFY(fixture.pair.local().write(QStringLiteral("f"), "content"));
    QVERIFY(fixture.setError(QStringLiteral("f"), ceSfsPendingSync, ceSecCopyFailed));
    TraceCapture capture;
    fixture.manager->retrySync(fixture.alias, QStringLiteral("f"));
    if (traceLinesBuiltIn())
        QVERIFY(capture.linesOf(kManagerTag)
                    .first()
                    .startsWith(QStringLiteral("retrySync - Dispatching retry for 'f'")));
    // The road of resolveFileError with the raw status: a pending copy whose local file is gone loses its row.
    QVERIFY(fixture.setError(QStringLiteral("g"), ceSfsPendingSync, ceSecCopyFailed));
    fixture.manager->retrySync(fixture.alias, QStringLiteral("g"));
    QTRY_COMPARE_WITH_TIMEOUT(
        RawDatabase(fixture.pair.databasePath()).fileRow(fixture.id, QStringLiteral("g")), QVariantMap(),
        kWaitMs);
}

void TestSyncManagerActions::moveToTrash()
{
    Fixture fixture;
    QVERIFY(fixture.pair.local().write(QStringLiteral("f"), "content"));
    QVERIFY(fixture.database().setFileStatus(fixture.id, QStringLiteral("f"), ceSfsUpToDate, ceSecNone));
    TraceCapture capture;
    fixture.manager->moveToTrashFile(fixture.alias, QStringLiteral("f"));
    if (traceLinesBuiltIn())
        QVERIFY(capture.linesOf(kManagerTag)
                    .first()
                    .startsWith(QStringLiteral("moveToTrashFile - Dispatching trash for 'f'")));
    QVERIFY(fixture.completed.wait(kWaitMs));
    QCOMPARE(fixture.status(QStringLiteral("f")), int(ceSfsTrashed));
    QVERIFY(!fixture.pair.local().exists(QStringLiteral("f")));
    QCOMPARE(Side(fixture.pair.trashRoot()).read(QStringLiteral("a%1/f")), QByteArray("content"));
}

void TestSyncManagerActions::renameRoad()
{
    Fixture fixture;
    QVERIFY(fixture.pair.local().write(QStringLiteral("old"), "content"));
    fixture.manager->notifyLocalFileChanged(fixture.alias, QStringLiteral("old"));
    QVERIFY(fixture.completed.wait(kWaitMs));
    fixture.completed.clear();
    TraceCapture capture;
    QVERIFY(fixture.manager->lockForRename(fixture.alias, QStringLiteral("old"), QStringLiteral("new")));
    QVERIFY(!fixture.manager->lockForRename(fixture.alias, QStringLiteral("new"), QStringLiteral("newer")));
    QVERIFY(fixture.pair.local().rename(QStringLiteral("old"), QStringLiteral("new")));
    fixture.manager->commitRename(fixture.alias, QStringLiteral("old"), QStringLiteral("new"));
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(kManagerTag),
                 QStringList{QStringLiteral("commitRename - Dispatching 'a%1': 'old' -> 'new'")});
    QVERIFY(fixture.completed.wait(kWaitMs));
    QCOMPARE(fixture.pair.distant().names(), QStringList{QStringLiteral("new")});
    QCOMPARE(fixture.status(QStringLiteral("new")), int(ceSfsUpToDate));
}

void TestSyncManagerActions::abortReleasesTheLock()
{
    Fixture fixture;
    QVERIFY(fixture.manager->lockForRename(fixture.alias, QStringLiteral("old"), QStringLiteral("new")));
    QVERIFY(Access::synchronizer(*fixture.manager)->isRenameLocked(fixture.id, QStringLiteral("new")));
    fixture.manager->abortRename(fixture.alias, QStringLiteral("old"), QStringLiteral("new"));
    // A direct call: no turn of any event loop.
    QVERIFY(!Access::synchronizer(*fixture.manager)->isRenameLocked(fixture.id, QStringLiteral("old")));
    QVERIFY(!Access::synchronizer(*fixture.manager)->isRenameLocked(fixture.id, QStringLiteral("new")));
}

void TestSyncManagerActions::deletedFile()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(QStringLiteral("f%2"), "content"));
    QVERIFY(fixture.database().setFileStatus(fixture.id, QStringLiteral("f%2"), ceSfsUpToDate, ceSecNone));
    TraceCapture capture;
    fixture.manager->notifyLocalFileDeleted(fixture.alias, QStringLiteral("f%2"));
    QCOMPARE(fixture.status(QStringLiteral("f%2")), int(ceSfsDeleted));
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(kManagerTag),
                 QStringList{QStringLiteral("notifyLocalFileDeleted - Tombstone for 'a%1/f%2' applied, "
                                            "dispatching distant cleanup")});
    QTRY_VERIFY_WITH_TIMEOUT(!fixture.pair.distant().exists(QStringLiteral("f%2")), kWaitMs);
}

void TestSyncManagerActions::deletedFileFailing()
{
    if (!traceLinesBuiltIn())
        QSKIP("trace lines are compiled out of this build");
    Fixture fixture;
    RawDatabase raw(fixture.pair.databasePath());
    QVERIFY(raw.exec(QStringLiteral("DROP TABLE file_tracking")));
    TraceCapture capture;
    fixture.manager->notifyLocalFileDeleted(fixture.alias, QStringLiteral("f"));
    fixture.manager->tombstoneLocalFile(fixture.alias, QStringLiteral("f"));
    QVERIFY(capture.linesOf(kManagerTag)
                .contains(QStringLiteral(
                    "notifyLocalFileDeleted - Tombstone for 'a%1/f' FAILED, dispatching distant cleanup")));
    QVERIFY(capture.linesOf(kManagerTag)
                .contains(QStringLiteral(
                    "tombstoneLocalFile - Tombstone for 'a%1/f' FAILED, distant copy left untouched")));
    QVERIFY(!fixture.errors.isEmpty());
}

void TestSyncManagerActions::tombstonedFile()
{
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(QStringLiteral("f"), "content"));
    TraceCapture capture;
    fixture.manager->tombstoneLocalFile(fixture.alias, QStringLiteral("f"));
    QCOMPARE(fixture.status(QStringLiteral("f")), int(ceSfsDeleted));
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(kManagerTag),
                 QStringList{QStringLiteral(
                     "tombstoneLocalFile - Tombstone for 'a%1/f' applied, distant copy left untouched")});
    // The synchronizer is asked for nothing: what it is asked for next finds the distant copy in place.
    QVERIFY(fixture.pair.distant().write(QStringLiteral("other"), "content"));
    fixture.manager->notifyLocalFileDeleted(fixture.alias, QStringLiteral("other"));
    QTRY_VERIFY_WITH_TIMEOUT(!fixture.pair.distant().exists(QStringLiteral("other")), kWaitMs);
    QVERIFY(fixture.pair.distant().exists(QStringLiteral("f")));
}

void TestSyncManagerActions::refreshAfterTheDatabaseStep()
{
    Fixture fixture;
    for (const char* name : {"f", "g"})
        QVERIFY(fixture.database().setFileStatus(fixture.id, text(name), ceSfsUpToDate, ceSecNone));
    Access::refresh(*fixture.manager);
    QCOMPARE(fixture.manager->doneCount(), 2);
    fixture.manager->tombstoneLocalFile(fixture.alias, QStringLiteral("f"));
    QCOMPARE(fixture.manager->doneCount(), 1);
    fixture.manager->notifyLocalFileDeleted(fixture.alias, QStringLiteral("g"));
    QCOMPARE(fixture.manager->doneCount(), 0);
}

// ---- A cycle on request -------------------------------------------------------------------------------

void TestSyncManagerActions::requestSyncRunsACycle()
{
    if (!traceLinesBuiltIn())
        QSKIP("trace lines are compiled out of this build");
    Fixture fixture;
    TraceCapture capture;
    fixture.manager->requestSync();
    QCOMPARE(capture.linesOf(kManagerTag),
             QStringList{QStringLiteral("requestSync - Triggering immediate synchronization cycle")});
    QTRY_VERIFY_WITH_TIMEOUT(
        capture.contains(QStringLiteral("periodicSynchronization - Start synchronisation (cycle #1")),
        kWaitMs);
}

void TestSyncManagerActions::requestSyncWhilePaused()
{
    Fixture fixture;
    fixture.manager->pauseAll();
    TraceCapture capture;
    fixture.manager->requestSync();
    // Paused comes first, also without a synchronizer.
    Access::forgetSynchronizer(*fixture.manager);
    fixture.manager->requestSync();
    QVERIFY(capture.criticals().isEmpty());
    const QString line = QStringLiteral("requestSync - Sync is paused, ignoring request");
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(kManagerTag), QStringList({line, line}));
}

void TestSyncManagerActions::requestSyncByName()
{
    if (!traceLinesBuiltIn())
        QSKIP("trace lines are compiled out of this build");
    Fixture fixture;
    TraceCapture capture;
    QVERIFY(QMetaObject::invokeMethod(fixture.manager.get(), "requestSync"));
    QCOMPARE(capture.count(QStringLiteral("requestSync - Triggering immediate synchronization cycle")), 1);
}

// ---- All files in error -------------------------------------------------------------------------------

void TestSyncManagerActions::bulkOverEmptyList_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("retryAllErrors") << QByteArray("retryAllErrors");
    QTest::newRow("acknowledgeAllMissing") << QByteArray("acknowledgeAllMissing");
    QTest::newRow("deleteAllDistantMissing") << QByteArray("deleteAllDistantMissing");
}

void TestSyncManagerActions::bulkOverEmptyList()
{
    if (!traceLinesBuiltIn())
        QSKIP("trace lines are compiled out of this build");
    QFETCH(QByteArray, name);
    Fixture fixture;
    TraceCapture capture;
    QVERIFY(QMetaObject::invokeMethod(fixture.manager.get(), name.constData()));
    QCOMPARE(capture.linesOf(kManagerTag),
             QStringList{QString::fromLatin1(name) + QStringLiteral(" - No files in Error, nothing to do")});
}

// Three files in error, one for each class of codes; "15" is there locally.
static bool makeThreeErrors(Fixture& fixture)
{
    const bool done = fixture.pair.local().write(QStringLiteral("15"), "content") &&
                      fixture.setError(QStringLiteral("2"), ceSfsUpToDate, ceSecLocalFileMissing) &&
                      fixture.setError(QStringLiteral("6"), ceSfsPendingSync, ceSecCopyFailed) &&
                      fixture.setError(QStringLiteral("15"), ceSfsUpToDate, ceSecDistantFileMissing);
    Access::refresh(*fixture.manager);
    return done && fixture.manager->errorFiles().size() == 3;
}

void TestSyncManagerActions::retryAll()
{
    Fixture fixture;
    QVERIFY(makeThreeErrors(fixture));
    TraceCapture capture;
    fixture.manager->retryAllErrors();
    if (traceLinesBuiltIn()) {
        const QStringList lines = capture.linesOf(kManagerTag);
        QCOMPARE(lines.size(), 3);
        QVERIFY(lines.at(0).startsWith(QStringLiteral("retrySync - Restoring distant from local for '15'")));
        QVERIFY(lines.at(1).startsWith(QStringLiteral("retrySync - Dispatching retry for '6'")));
        QCOMPARE(
            lines.at(2),
            QStringLiteral(
                "retryAllErrors - Dispatched retry for 2 / 3 cached entries (acknowledge-only skipped)"));
    }
    QVERIFY(fixture.completed.wait(kWaitMs));
    QCOMPARE(fixture.pair.distant().names(), QStringList{QStringLiteral("15")});
    QCOMPARE(fixture.status(QStringLiteral("2")), 128 + 17);
}

void TestSyncManagerActions::retryAllWithAcknowledgeOnlyEntries()
{
    if (!traceLinesBuiltIn())
        QSKIP("trace lines are compiled out of this build");
    Fixture fixture;
    for (const char* name : {"f", "g"})
        QVERIFY(fixture.setError(text(name), ceSfsUpToDate, ceSecLocalFileMissing));
    Access::refresh(*fixture.manager);
    TraceCapture capture;
    fixture.manager->retryAllErrors();
    QCOMPARE(capture.linesOf(kManagerTag),
             QStringList{QStringLiteral(
                 "retryAllErrors - Dispatched retry for 0 / 2 cached entries (acknowledge-only skipped)")});
}

void TestSyncManagerActions::acknowledgeAll()
{
    Fixture fixture;
    QVERIFY(makeThreeErrors(fixture));
    TraceCapture capture;
    fixture.manager->acknowledgeAllMissing();
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(kManagerTag).last(),
                 QStringLiteral("acknowledgeAllMissing - Dispatched ack for 1 / 3 cached entries"));
    QTRY_COMPARE_WITH_TIMEOUT(fixture.status(QStringLiteral("2")), int(ceSfsDeleted), kWaitMs);
    QCOMPARE(fixture.status(QStringLiteral("6")), 128 + 18);
    QCOMPARE(fixture.status(QStringLiteral("15")), 128 + 17);
}

void TestSyncManagerActions::deleteAll()
{
    Fixture fixture;
    QVERIFY(makeThreeErrors(fixture));
    TraceCapture capture;
    fixture.manager->deleteAllDistantMissing();
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(kManagerTag).last(),
                 QStringLiteral("deleteAllDistantMissing - Dispatched trash for 1 / 3 cached entries"));
    QVERIFY(fixture.completed.wait(kWaitMs));
    QVERIFY(!fixture.pair.local().exists(QStringLiteral("15")));
    QCOMPARE(fixture.status(QStringLiteral("15")), int(ceSfsTrashed));
    QCOMPARE(fixture.status(QStringLiteral("2")), 128 + 17);
}

void TestSyncManagerActions::bulkWorksOnTheCachedList()
{
    if (!traceLinesBuiltIn())
        QSKIP("trace lines are compiled out of this build");
    Fixture fixture;
    QVERIFY(makeThreeErrors(fixture));
    QVERIFY(fixture.database().setFileStatus(fixture.id, QStringLiteral("6"), ceSfsUpToDate, ceSecNone));
    TraceCapture capture;
    fixture.manager->retryAllErrors();
    QVERIFY(
        capture.linesOf(kManagerTag)
            .contains(QStringLiteral("retrySync - File '6' under alias 'a%1' no longer in Error, ignoring")));
    QVERIFY(capture.contains(QStringLiteral("Dispatched retry for 2 / 3 cached entries")));
}

// Names that an old file may hold are refused with an error, and the host answers the first with a wipe.
void TestSyncManagerActions::bulkSurvivesAListThatChanges()
{
    Fixture fixture;
    for (const char* name : {"a/b", "c/d", "e/f"})
        QVERIFY(fixture.setError(text(name), ceSfsUpToDate, ceSecCopyFailed));
    Access::refresh(*fixture.manager);
    QCOMPARE(fixture.manager->errorFiles().size(), 3);
    bool isWiped = false;
    connect(fixture.manager.get(), &VornSyncManager::errorOccurred, this,
            [&] { isWiped = isWiped || fixture.manager->wipeSyncDatabaseFile(); });
    TraceCapture capture;
    fixture.manager->retryAllErrors();
    QVERIFY(isWiped);
    QVERIFY(fixture.manager->errorFiles().isEmpty());
    QCOMPARE(fixture.errorTexts(), QStringList{text("ERROR: Invalid file name: 'a/b' for alias: 'a%1'.")});
    if (!traceLinesBuiltIn())
        return;
    const QStringList lines = capture.linesOf(kManagerTag);
    QCOMPARE(lines.count(text("retrySync - Unknown alias 'a%1', ignoring")), 2);
    QCOMPARE(lines.last(),
             text("retryAllErrors - Dispatched retry for 3 / 3 cached entries (acknowledge-only skipped)"));
}

// ---- Wipe and reset -----------------------------------------------------------------------------------

void TestSyncManagerActions::wipe()
{
    Fixture fixture;
    QVERIFY(makeThreeErrors(fixture));
    QVERIFY(fixture.database().setFileStatus(fixture.id, QStringLiteral("done"), ceSfsUpToDate, ceSecNone));
    Access::syncStarted(*fixture.manager, QStringLiteral("/x/1"));
    Access::syncCompleted(*fixture.manager, QStringLiteral("/x/1"), true);
    Access::syncStarted(*fixture.manager, QStringLiteral("/x/2"));
    Access::setFileReadyDirectoryId(*fixture.manager, 1);
    QSignalSpy counters(fixture.manager.get(), &VornSyncManager::countersChanged);
    QSignalSpy recent(fixture.manager.get(), &VornSyncManager::recentEventsChanged);
    TraceCapture capture;
    QVERIFY(fixture.manager->wipeSyncDatabaseFile());
    QVERIFY(fixture.manager->isIdle());
    QCOMPARE(fixture.manager->pendingCount() + fixture.manager->errorCount() + fixture.manager->doneCount(),
             0);
    QVERIFY(fixture.manager->errorFiles().isEmpty());
    QVERIFY(fixture.manager->recentEvents().isEmpty());
    QVERIFY(!fixture.manager->isAliasDirectorySynchronised(fixture.alias));
    QCOMPARE(counters.size(), 2); // the refresh, and the wipe itself
    QCOMPARE(recent.size(), 1);
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(kManagerTag),
                 QStringList({QStringLiteral("wipeSyncDatabaseFile - Begin"),
                              QStringLiteral("wipeSyncDatabaseFile - End, success=1")}));
    QVERIFY(fixture.pair.local().exists(QStringLiteral("15")));
    QVERIFY(
        fixture.manager->addDirectory(fixture.alias, fixture.pair.localPath(), fixture.pair.distantPath()));
}

void TestSyncManagerActions::wipeOfNothingSpeaksOnce()
{
    Fixture fixture;
    QSignalSpy counters(fixture.manager.get(), &VornSyncManager::countersChanged);
    QSignalSpy recent(fixture.manager.get(), &VornSyncManager::recentEventsChanged);
    QVERIFY(fixture.manager->wipeSyncDatabaseFile());
    QCOMPARE(counters.size(), 1);
    QVERIFY(recent.isEmpty());
}

void TestSyncManagerActions::wipeFailing()
{
    Pair pair;
    TraceCapture capture;
    // A directory in the place of the file can't be removed as one.
    VornSyncManager manager(pair.localPath(), pair.trashRoot(), kNoCycleMs, QStringList(), nullptr);
    Access::syncStarted(manager, QStringLiteral("/x/1"));
    capture.clear();
    QVERIFY(!manager.wipeSyncDatabaseFile());
    QVERIFY(manager.isIdle());
    if (traceLinesBuiltIn()) {
        const QStringList lines = capture.linesOf(kManagerTag);
        QVERIFY(lines.contains(QStringLiteral("wipeSyncDatabaseFile - DB reset failed")));
        QCOMPARE(lines.last(), QStringLiteral("wipeSyncDatabaseFile - End, success=0"));
    }
    QVERIFY(!manager.resetSyncDatabase(0));
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(kManagerTag).last(), QStringLiteral("resetSyncDatabase - End, success=0"));
}

// The state is what it was, and so are the pairs.
void TestSyncManagerActions::wipeFailingKeepsWhatWasAskedFor()
{
    FileCalls::watch(QFile::encodeName(QDir::tempPath()));
    Fixture fixture;
    QVERIFY(fixture.pair.distant().write(text("f"), "content"));
    QVERIFY(fixture.manager->lockForRename(fixture.alias, text("old"), text("new")));
    VornSyncSynchronizer* synchronizer = Access::synchronizer(*fixture.manager);
    BusyEngine engine(synchronizer);
    QVERIFY(engine.isBusy());
    fixture.manager->notifyLocalFileDeleted(fixture.alias, text("f"));
    FileCalls::Hooks hooks;
    hooks.before = [path = QFile::encodeName(fixture.pair.databasePath())](const FileCalls::Call& call) {
        return call.path == path && qstrcmp(call.function, "unlink") == 0 ? EACCES : 0;
    };
    FileCalls::setHooks(hooks);
    const auto unhook = qScopeGuard([] { FileCalls::setHooks(FileCalls::Hooks()); });
    QVERIFY(!fixture.manager->wipeSyncDatabaseFile());
    QVERIFY(engine.isDone());
    QVERIFY(!fixture.pair.distant().exists(text("f")));
    QVERIFY(synchronizer->isRenameLocked(fixture.id, text("old")));
    QCOMPARE(fixture.status(text("f")), int(ceSfsDeleted));
}

void TestSyncManagerActions::wipeRepairsAnUnusableFile()
{
    Pair pair;
    TraceCapture capture;
    QVERIFY(Side(pair.rootPath()).write(QStringLiteral("state.sqlite"), QByteArray(8192, 'x')));
    VornSyncManager manager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, QStringList(), nullptr);
    QVERIFY(!manager.addDirectory(QStringLiteral("a"), pair.localPath(), pair.distantPath()));
    QVERIFY(manager.wipeSyncDatabaseFile());
    QSignalSpy completed(&manager, &VornSyncManager::syncCompleted);
    QVERIFY(pair.local().write(QStringLiteral("f"), "content"));
    QVERIFY(manager.addDirectory(QStringLiteral("a"), pair.localPath(), pair.distantPath()));
    QVERIFY(completed.wait(kWaitMs));
    QCOMPARE(pair.distant().read(QStringLiteral("f")), QByteArray("content"));
}

void TestSyncManagerActions::wipeForgetsPaths()
{
    Fixture fixture;
    VornSyncSynchronizer* synchronizer = Access::synchronizer(*fixture.manager);
    QCOMPARE(synchronizer->localDirPath(fixture.id), fixture.pair.localPath());
    QVERIFY(fixture.manager->wipeSyncDatabaseFile());
    QTRY_COMPARE_WITH_TIMEOUT(synchronizer->localDirPath(fixture.id), QString(), kWaitMs);
}

void TestSyncManagerActions::wipeForgetsRenameLocks()
{
    Fixture fixture;
    QVERIFY(fixture.manager->lockForRename(fixture.alias, text("old"), text("new")));
    QVERIFY(fixture.manager->wipeSyncDatabaseFile());
    QVERIFY(
        fixture.manager->addDirectory(fixture.alias, fixture.pair.localPath(), fixture.pair.distantPath()));
    QCOMPARE(fixture.database().getDirectoryIdByAlias(fixture.alias), fixture.id);
    VornSyncSynchronizer* synchronizer = Access::synchronizer(*fixture.manager);
    for (const char* name : {"old", "new"})
        QTRY_VERIFY_WITH_TIMEOUT(!synchronizer->isRenameLocked(fixture.id, text(name)), kWaitMs);
}

// The engine comes to the wipe's request only after the host has begun anew.
void TestSyncManagerActions::lockAfterAWipeIsKept()
{
    Fixture fixture;
    QVERIFY(fixture.manager->lockForRename(fixture.alias, text("old"), text("of before")));
    VornSyncSynchronizer* synchronizer = Access::synchronizer(*fixture.manager);
    BusyEngine engine(synchronizer);
    QVERIFY(engine.isBusy());
    QVERIFY(fixture.manager->wipeSyncDatabaseFile());
    QVERIFY(
        fixture.manager->addDirectory(fixture.alias, fixture.pair.localPath(), fixture.pair.distantPath()));
    QVERIFY(fixture.manager->lockForRename(fixture.alias, text("old"), text("new")));
    QVERIFY(engine.isDone());
    for (const char* name : {"old", "new"})
        QVERIFY(synchronizer->isRenameLocked(fixture.id, text(name)));
    QVERIFY(!synchronizer->isRenameLocked(fixture.id, text("of before")));
}

void TestSyncManagerActions::wipeBeforeARequestIsBegun_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<int>("errorCode");
    QTest::newRow("changed") << QByteArray("notifyLocalFileChanged") << int(ceSecNone);
    QTest::newRow("deleted") << QByteArray("notifyLocalFileDeleted") << int(ceSecNone);
    QTest::newRow("trash") << QByteArray("moveToTrashFile") << int(ceSecNone);
    QTest::newRow("rename") << QByteArray("commitRename") << int(ceSecNone);
    QTest::newRow("acknowledged") << QByteArray("retrySync") << int(ceSecLocalFileMissing);
}

// The id means another pair when the engine comes to it, and that pair has a file of the same name.
void TestSyncManagerActions::wipeBeforeARequestIsBegun()
{
    QFETCH(QByteArray, request);
    QFETCH(int, errorCode);
    const QString name = text("f");
    Fixture fixture;
    const Pair other;
    QVERIFY(other.local().write(name, "of the other pair") && other.distant().write(name, "its copy"));
    QVERIFY(errorCode == ceSecNone || fixture.setError(name, ceSfsUpToDate, errorCode));
    QVERIFY(request != "commitRename" || fixture.manager->lockForRename(fixture.alias, name, text("new")));
    VornSyncSynchronizer* synchronizer = Access::synchronizer(*fixture.manager);
    BusyEngine engine(synchronizer);
    QVERIFY(engine.isBusy());
    operation(request).call(*fixture.manager, fixture.alias, name);
    QVERIFY(fixture.manager->wipeSyncDatabaseFile());
    QVERIFY(fixture.manager->addDirectory(text("other"), other.localPath(), other.distantPath()));
    fixture.manager->setDirectoryAvailability(text("other"), false);
    QCOMPARE(fixture.database().getDirectoryIdByAlias(text("other")), fixture.id);
    QVERIFY(engine.isDone());

    QVERIFY(!synchronizer->isFileInFlight(fixture.id, name));
    QCOMPARE(other.local().read(name), QByteArray("of the other pair"));
    QCOMPARE(other.distant().read(name), QByteArray("its copy"));
    bool hasRow = true;
    fixture.database().getFileStatus(fixture.id, name, &hasRow);
    QVERIFY(!hasRow);
}

void TestSyncManagerActions::wipeFromTheErrorOfADeletion()
{
    const QString name = text("f");
    Fixture fixture;
    const Pair other;
    QVERIFY(other.distant().write(name, "its copy"));
    QVERIFY(RawDatabase(fixture.pair.databasePath())
                .exec(text("CREATE TRIGGER refuse BEFORE INSERT ON file_tracking BEGIN SELECT "
                           "RAISE(ABORT, 'refused'); END")));
    bool isWiped = false;
    connect(fixture.manager.get(), &VornSyncManager::errorOccurred, this, [&](const QString& message) {
        if (isWiped || !message.contains(text("refused")))
            return;
        isWiped = fixture.manager->wipeSyncDatabaseFile() &&
                  fixture.manager->addDirectory(text("other"), other.localPath(), other.distantPath());
        fixture.manager->setDirectoryAvailability(text("other"), false);
    });
    fixture.manager->notifyLocalFileDeleted(fixture.alias, name);
    QVERIFY(isWiped);
    QCOMPARE(fixture.database().getDirectoryIdByAlias(text("other")), fixture.id);
    BusyEngine engine(Access::synchronizer(*fixture.manager));
    QVERIFY(engine.isBusy() && engine.isDone());
    QCOMPARE(other.distant().read(name), QByteArray("its copy"));
}

void TestSyncManagerActions::reset()
{
    Fixture fixture;
    TraceCapture capture;
    QVERIFY(fixture.manager->resetSyncDatabase(kWaitMs));
    QVERIFY(!fixture.manager->isPausedAll());
    QVERIFY(!fixture.manager->isAliasDirectorySynchronised(fixture.alias));
    if (!traceLinesBuiltIn())
        return;
    const QStringList lines = capture.linesOf(kManagerTag);
    QCOMPARE(lines.first(), QStringLiteral("resetSyncDatabase - Begin"));
    QCOMPARE(lines.last(), QStringLiteral("resetSyncDatabase - End, success=1"));
    const auto paused = lines.indexOf(QStringLiteral("pauseAll - Paused 1 directories"));
    const auto wiped = lines.indexOf(QStringLiteral("wipeSyncDatabaseFile - End, success=1"));
    const auto resumed = lines.indexOf(QStringLiteral("resumeAll - Resumed 1 directories"));
    QVERIFY(0 < paused && paused < wiped && wiped < resumed);
}

void TestSyncManagerActions::resetWhilePaused()
{
    Fixture fixture;
    fixture.manager->pauseAll();
    TraceCapture capture;
    QVERIFY(fixture.manager->resetSyncDatabase(kWaitMs));
    QVERIFY(fixture.manager->isPausedAll());
    QVERIFY(!capture.contains(QStringLiteral("Mngr: pauseAll")));
    QVERIFY(!capture.contains(QStringLiteral("Mngr: resumeAll")));
}

void TestSyncManagerActions::resetWithoutTime()
{
    Fixture fixture;
    Access::syncStarted(*fixture.manager, QStringLiteral("/x/1"));
    Access::syncStarted(*fixture.manager, QStringLiteral("/x/2"));
    TraceCapture capture;
    QVERIFY(fixture.manager->resetSyncDatabase(0));
    QVERIFY(fixture.manager->isIdle());
    if (!traceLinesBuiltIn())
        return;
    const QStringList lines = capture.linesOf(kManagerTag);
    const auto timedOut = lines.indexOf(
        QStringLiteral("resetSyncDatabase - Drain timeout (0 ms) reached, inProgress=2 fileReadyDirId=-1"));
    QVERIFY(timedOut > 0);
    QCOMPARE(lines.at(timedOut + 1), QStringLiteral("wipeSyncDatabaseFile - Begin"));
}

void TestSyncManagerActions::resetWaitsForRunningOperations()
{
    Fixture fixture;
    QVERIFY(fixture.pair.local().write(QStringLiteral("f"), "content"));
    QSignalSpy started(fixture.manager.get(), &VornSyncManager::syncStarted);
    fixture.manager->notifyLocalFileChanged(fixture.alias, QStringLiteral("f"));
    QVERIFY(started.wait(kWaitMs));
    QVERIFY(fixture.completed.isEmpty());
    TraceCapture capture;
    QVERIFY(fixture.manager->resetSyncDatabase(kWaitMs));
    QCOMPARE(fixture.completed.size(), 1);
    QVERIFY(!capture.contains(QStringLiteral("Drain timeout")));
    QCOMPARE(fixture.pair.distant().read(QStringLiteral("f")), QByteArray("content"));
}

void TestSyncManagerActions::resetWaitsForFileReady()
{
    Fixture fixture;
    Access::setFileReadyDirectoryId(*fixture.manager, 7);
    TraceCapture capture;
    QElapsedTimer clock;
    clock.start();
    constexpr int kTimeoutMs = 150;
    QVERIFY(fixture.manager->resetSyncDatabase(kTimeoutMs));
    QVERIFY(clock.elapsed() >= kTimeoutMs);
    if (traceLinesBuiltIn())
        QVERIFY(capture.contains(QStringLiteral(
            "resetSyncDatabase - Drain timeout (150 ms) reached, inProgress=0 fileReadyDirId=7")));
}

void TestSyncManagerActions::resetProcessesEvents()
{
    Fixture fixture;
    Access::syncStarted(*fixture.manager, QStringLiteral("/x/1"));
    bool wasCalled = false;
    QMetaObject::invokeMethod(
        this,
        [&] {
            wasCalled = true;
            // A reentrant call is fine.
            QVERIFY(fixture.manager->isPausedAll());
            fixture.manager->requestSync();
            Access::syncCompleted(*fixture.manager, QStringLiteral("/x/1"), true);
        },
        Qt::QueuedConnection);
    TraceCapture capture;
    QVERIFY(fixture.manager->resetSyncDatabase(kWaitMs));
    QVERIFY(wasCalled);
    QVERIFY(!capture.contains(QStringLiteral("Drain timeout")));
}

void TestSyncManagerActions::resetSurvivesItsDeletion()
{
    Fixture fixture;
    Access::syncStarted(*fixture.manager, QStringLiteral("/x/1"));
    const QPointer<VornSyncManager> watched = fixture.manager.get();
    QMetaObject::invokeMethod(
        this, [&fixture] { fixture.manager.release()->deleteLater(); }, Qt::QueuedConnection);
    VornSyncManager& manager = *watched;
    QVERIFY(!manager.resetSyncDatabase(kWaitMs));
    QVERIFY(watched.isNull());
}

void TestSyncManagerActions::resetInsideReset()
{
    Fixture fixture;
    Access::syncStarted(*fixture.manager, QStringLiteral("/x/1"));
    bool inner = false;
    QMetaObject::invokeMethod(
        this, [&] { inner = fixture.manager->resetSyncDatabase(0); }, Qt::QueuedConnection);
    QVERIFY(fixture.manager->resetSyncDatabase(kWaitMs));
    QVERIFY(inner);
    QVERIFY(!fixture.manager->isPausedAll());
}

void TestSyncManagerActions::resetAfterTheFileWasDamaged_data()
{
    QTest::addColumn<QString>("damage");
    QTest::newRow("overwritten") << text("overwritten");
    QTest::newRow("emptied") << text("emptied");
    QTest::newRow("removed") << text("removed");
    QTest::newRow("tables dropped") << text("dropped");
}

// The file becomes unusable under the running manager; a reset is the way out.
void TestSyncManagerActions::resetAfterTheFileWasDamaged()
{
    QFETCH(QString, damage);
    Fixture fixture;
    for (const char* name : {"f", "g"})
        QVERIFY(fixture.pair.local().write(text(name), "content"));
    fixture.manager->setDirectoryAvailability(fixture.alias, true);
    QTRY_COMPARE_WITH_TIMEOUT(fixture.manager->doneCount(), 2, kWaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(fixture.manager->isIdle(), kWaitMs);

    QFile file(fixture.pair.databasePath());
    if (damage == text("dropped")) {
        RawDatabase raw(fixture.pair.databasePath());
        QVERIFY(raw.exec(text("DROP TABLE file_tracking")) && raw.exec(text("DROP TABLE directories")));
    } else if (damage == text("removed")) {
        QVERIFY(file.remove());
    } else {
        QVERIFY(file.open(QIODevice::ReadWrite));
        const QByteArray rubbish(static_cast<int>(file.size()), '#');
        QVERIFY(damage == text("emptied") ? file.resize(0) : file.write(rubbish) == rubbish.size());
        file.close();
    }
    QVERIFY(fixture.manager->resetSyncDatabase(kWaitMs));
    QVERIFY(!fixture.manager->isPausedAll());
    QCOMPARE(fixture.manager->doneCount(), 0);
    QVERIFY(QFile::remove(fixture.pair.distant().filePath(text("g"))));
    fixture.completed.clear();
    fixture.errors.clear();
    QVERIFY(
        fixture.manager->addDirectory(fixture.alias, fixture.pair.localPath(), fixture.pair.distantPath()));
    QTRY_COMPARE_WITH_TIMEOUT(fixture.manager->doneCount(), 2, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(fixture.completed.size(), 2, kWaitMs); // anew, both of them
    QCOMPARE(fixture.pair.compareTrees(), QString());
    // Where the pairs could not be read, the pause did not know what to take off the watch.
    const QString watched = text("Observer error: Failed to add directory to watch: ");
    for (const QString& error : fixture.errorTexts())
        QVERIFY2(damage == text("dropped") && error.startsWith(watched), qPrintable(error));
    RawDatabase raw(fixture.pair.databasePath());
    QCOMPARE(raw.integrityProblems(), QString());
    QCOMPARE(raw.value(text("SELECT COUNT(*) FROM file_tracking WHERE status = 17")).toInt(), 2);
}

QTEST_GUILESS_MAIN(TestSyncManagerActions)
#include "test_sync_manager_actions.moc"
