#include "host.h"
#include "literals.h"

#include <QDateTime>
#include <QMetaProperty>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <functional>

using namespace VornSyncTest;

namespace {

using Action = std::function<void()>;

// Runs an action at each emission of a signal, named as a string. Direct: on the thread that it is emitted on.
bool onEmission(VornSyncManager* manager, const QString& signal, QObject* context, const Action& action)
{
    if (signal == "syncStarted"_s)
        return QObject::connect(manager, &VornSyncManager::syncStarted, context, action,
                                Qt::DirectConnection);
    if (signal == "syncCompleted"_s)
        return QObject::connect(manager, &VornSyncManager::syncCompleted, context, action,
                                Qt::DirectConnection);
    if (signal == "errorOccurred"_s)
        return QObject::connect(manager, &VornSyncManager::errorOccurred, context, action,
                                Qt::DirectConnection);
    if (signal == "idleChanged"_s)
        return QObject::connect(manager, &VornSyncManager::idleChanged, context, action,
                                Qt::DirectConnection);
    if (signal == "countersChanged"_s)
        return QObject::connect(manager, &VornSyncManager::countersChanged, context, action,
                                Qt::DirectConnection);
    if (signal == "recentEventsChanged"_s)
        return QObject::connect(manager, &VornSyncManager::recentEventsChanged, context, action,
                                Qt::DirectConnection);
    return signal == "fileReady"_s &&
           QObject::connect(manager, &VornSyncManager::fileReady, context, action, Qt::DirectConnection);
}

void addSignalRows()
{
    QTest::addColumn<QString>("signal");
    for (const char* name : {"syncStarted", "syncCompleted", "errorOccurred", "idleChanged",
                             "countersChanged", "recentEventsChanged", "fileReady"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

// Makes every signal come: a copy, a refused request, a file that is asked for.
void provoke(const Host& host, VornSyncManager& manager)
{
    manager.notifyLocalFileChanged(Host::alias(), "text.txt"_s);
    const QPointer<VornSyncManager> alive(&manager);
    manager.notifyLocalFileChanged(Host::alias(), "not/a name"_s);
    if (alive)
        manager.requestFileReady(host.local().filePath("text.txt"_s));
}

} // namespace

class TestMirrorSignals : public QObject
{
    Q_OBJECT

private slots:
    void oneFileTellsItsStory();
    void severalFilesAreOneSpanOfWork();
    void theFiveNewestEventsAreKept();
    void propertiesSayWhatTheGettersSay();
    void aFailureIsTold();
    void slotsMayCallBack_data();
    void slotsMayCallBack();
    void slotsMayRegisterAndRemovePairs();
    void slotsMayDeleteTheManager_data();
    void slotsMayDeleteTheManager();
    void noSignalFollowsDestruction();
    void everySignalComesOnTheHostsThread();
    void codesHaveTheirClasses();
};

void TestMirrorSignals::oneFileTellsItsStory()
{
    Host host;
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QStringList story;
    VornSyncManager& manager = *host.manager();
    connect(&manager, &VornSyncManager::idleChanged, &host,
            [&](bool idle) { story << (idle ? "idle"_s : "busy"_s); });
    connect(&manager, &VornSyncManager::syncStarted, &host, [&](const QString& path) {
        story << "started"_s;
        QCOMPARE(path, host.local().filePath("text.txt"_s));
        QCOMPARE(manager.inProgressCount(), 1);
        QVERIFY(!manager.isIdle());
    });
    connect(&manager, &VornSyncManager::recentEventsChanged, &host, [&] { story << "event"_s; });
    connect(&manager, &VornSyncManager::syncCompleted, &host, [&](const QString& path, bool succeeded) {
        story << "completed"_s;
        QCOMPARE(path, host.local().filePath("text.txt"_s));
        QVERIFY(succeeded);
        QCOMPARE(manager.inProgressCount(), 0);
        QCOMPARE(manager.doneCount(), 1);
    });
    QSignalSpy counters(&manager, &VornSyncManager::countersChanged);
    QVERIFY(host.local().write("text.txt"_s, "t"));
    VERIFY_AT_REST(host);
    QCOMPARE(story, (QStringList{"busy"_s, "started"_s, "idle"_s, "event"_s, "completed"_s}));
    QVERIFY(counters.size() >= 2);
}

void TestMirrorSignals::severalFilesAreOneSpanOfWork()
{
    Host host;
    for (int i = 0; i < 4; ++i)
        QVERIFY(host.local().write("file %1"_s.arg(i), "x"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QCOMPARE(host.idleChanges(), (QList<bool>{false, true}));
}

void TestMirrorSignals::theFiveNewestEventsAreKept()
{
    Host host;
    for (int i = 0; i < 7; ++i)
        QVERIFY(host.local().write("file %1"_s.arg(i), "x"));
    QVERIFY(host.start());
    QSignalSpy changes(host.manager(), &VornSyncManager::recentEventsChanged);
    VERIFY_AT_REST(host);
    QCOMPARE(changes.size(), 7);
    const QVariantList events = host.manager()->recentEvents();
    QCOMPARE(events.size(), 5);
    for (int i = 0; i < 5; ++i) {
        const QVariantMap event = events.at(i).toMap();
        QCOMPARE(event.keys(),
                 (QStringList{"action"_s, "fileName"_s, "filePath"_s, "succeeded"_s, "timestamp"_s}));
        const QString path = host.completed().at(6 - i).first;
        QCOMPARE(event.value("filePath"_s).toString(), path);
        QCOMPARE(event.value("fileName"_s).toString(), path.mid(path.lastIndexOf(QLatin1Char('/')) + 1));
        QCOMPARE(event.value("action"_s).toString(), "sync"_s);
        QCOMPARE(event.value("succeeded"_s), QVariant(true));
        const QDateTime time = QDateTime::fromString(event.value("timestamp"_s).toString(), Qt::ISODate);
        QVERIFY(time.isValid() && qAbs(time.secsTo(QDateTime::currentDateTime())) < 600);
    }
}

void TestMirrorSignals::propertiesSayWhatTheGettersSay()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(host.local().write("gone.txt"_s, "g"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(host.local().remove("gone.txt"_s));
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 1; }));
    const VornSyncManager& manager = *host.manager();
    QCOMPARE(manager.property("inProgressCount"), QVariant(manager.inProgressCount()));
    QCOMPARE(manager.property("pendingCount"), QVariant(manager.pendingCount()));
    QCOMPARE(manager.property("errorCount"), QVariant(1));
    QCOMPARE(manager.property("doneCount"), QVariant(1));
    QCOMPARE(manager.property("recentEvents").toList(), manager.recentEvents());
    QCOMPARE(manager.property("errorFiles").toList(), manager.errorFiles());
    const QMetaObject* meta = manager.metaObject();
    for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i) {
        QVERIFY(!meta->property(i).isWritable());
        QVERIFY(meta->property(i).hasNotifySignal());
    }
}

void TestMirrorSignals::aFailureIsTold()
{
    Host host;
    QVERIFY(host.distant().makeDirectory("blocked"_s));
    QVERIFY(host.local().write("blocked"_s, "b"));
    QVERIFY(host.start());
    const QString path = host.local().filePath("blocked"_s);
    QVERIFY(waitFor([&] { return host.completed().contains(qMakePair(path, false)); }));
    QCOMPARE(host.completedCount(path), 1);
    const QVariantMap event = host.manager()->recentEvents().value(0).toMap();
    QCOMPARE(event.value("succeeded"_s), QVariant(false));
    QCOMPARE(event.value("fileName"_s).toString(), "blocked"_s);
    QCOMPARE(host.idleChanges(), (QList<bool>{false, true}));
}

void TestMirrorSignals::slotsMayCallBack_data()
{
    addSignalRows();
}

void TestMirrorSignals::slotsMayCallBack()
{
    QFETCH(QString, signal);
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(host.start());
    host.expectErrors("ERROR: Invalid file name: 'not/a name'"_s);
    host.expectErrors("Warning: Directory not found in database for alias: 'nobody'."_s);
    VornSyncManager& manager = *host.manager();
    int calls = 0;
    bool isInside = false; // what the slot itself causes is not answered again
    QVERIFY(onEmission(&manager, signal, &host, [&] {
        if (isInside || calls >= 20)
            return;
        isInside = true;
        ++calls;
        manager.requestSync();
        manager.pauseAll();
        manager.resumeAll();
        manager.setDirectoryAvailability("docs"_s, false);
        manager.setDirectoryAvailability("docs"_s, true);
        manager.addDirectory("docs"_s, host.pair().localPath(), host.pair().distantPath());
        manager.delDirectory("nobody"_s);
        manager.isAliasDirectorySynchronised("docs"_s);
        manager.getLocalDirSynchronizedAlias(host.pair().localPath());
        manager.requestFileReady(host.local().filePath("text.txt"_s));
        if (calls < 5)
            manager.notifyLocalFileChanged("docs"_s, "text.txt"_s);
        manager.errorFiles();
        manager.recentEvents();
        isInside = false;
    }));
    provoke(host, manager);
    QVERIFY(waitFor([&] { return calls > 0; }));
    VERIFY_AT_REST(host);
}

void TestMirrorSignals::slotsMayRegisterAndRemovePairs()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(host.start());
    int rounds = 0;
    connect(host.manager(), &VornSyncManager::syncCompleted, &host, [&] {
        if (++rounds > 4)
            return;
        const QString alias = "pair %1"_s.arg(rounds);
        QVERIFY(host.addPair(alias));
        QVERIFY(host.pair(alias).local().write("text.txt"_s, "t"));
        if (rounds < 2)
            return;
        const QString previous = "pair %1"_s.arg(rounds - 1);
        QVERIFY(host.manager()->delDirectory(previous));
        host.forgetPair(previous);
    });
    QVERIFY(waitFor([&] { return rounds == 5; }));
    VERIFY_AT_REST(host);
    QCOMPARE(host.errors(), QStringList());
    QCOMPARE(host.manager()->doneCount(), 2);
}

void TestMirrorSignals::slotsMayDeleteTheManager_data()
{
    addSignalRows();
}

void TestMirrorSignals::slotsMayDeleteTheManager()
{
    QFETCH(QString, signal);
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(host.local().write("other.txt"_s, "o"));
    QVERIFY(host.start());
    QPointer<VornSyncManager> manager(host.releaseManager());
    QVERIFY(onEmission(manager, signal, &host, [&] { manager->deleteLater(); }));
    provoke(host, *manager);
    QVERIFY(waitFor([&] { return manager.isNull(); }));
    QCOMPARE(host.trace().criticals(), QStringList());
    QCOMPARE(host.trace().warnings(), QStringList());

    // What it left is taken up.
    host.takeErrors();
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
}

void TestMirrorSignals::noSignalFollowsDestruction()
{
    Host host;
    for (int i = 0; i < 4; ++i)
        QVERIFY(host.local().write("file %1"_s.arg(i), QByteArray(100000, 'x')));
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return host.completed().size() == 1; }));
    host.stop();
    const int started = int(host.started().size());
    const int completed = int(host.completed().size());
    // Another manager's life takes longer than anything that the first one could have left behind.
    Host other;
    QVERIFY(other.local().write("text.txt"_s, "t"));
    QVERIFY(other.start());
    VERIFY_AT_REST(other);
    QCOMPARE(host.started().size(), started);
    QCOMPARE(host.completed().size(), completed);
    QCOMPARE(host.errors(), QStringList());
}

void TestMirrorSignals::everySignalComesOnTheHostsThread()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(host.start());
    const QStringList signalNames = {"syncStarted"_s, "syncCompleted"_s,   "errorOccurred"_s,
                                     "idleChanged"_s, "countersChanged"_s, "recentEventsChanged"_s,
                                     "fileReady"_s};
    QStringList seen;
    bool isOnHostsThread = true;
    for (const QString& name : signalNames) {
        QVERIFY(onEmission(host.manager(), name, &host, [&seen, &isOnHostsThread, &host, name] {
            isOnHostsThread = isOnHostsThread && QThread::currentThread() == host.thread();
            if (!seen.contains(name))
                seen << name;
        }));
    }
    provoke(host, *host.manager());
    QVERIFY(waitFor([&] { return seen.size() == signalNames.size(); }));
    QVERIFY(isOnHostsThread);
}

void TestMirrorSignals::codesHaveTheirClasses()
{
    Host host;
    host.create();
    const VornSyncManager& manager = *host.manager();
    for (int code = -2; code < 20; ++code) {
        QCOMPARE(manager.isAcknowledgeOnly(code), code == 2);
        QCOMPARE(manager.isRestoreOrDelete(code), code == 15);
        QCOMPARE(manager.errorCodeMessage(code).isEmpty(), code < 0 || code > 15);
    }
    QCOMPARE(manager.errorCodeMessage(0), "VornSyncDatabase_error_none"_s);
    QCOMPARE(manager.errorCodeMessage(15), "VornSyncDatabase_error_distant_file_missing"_s);
}

QTEST_GUILESS_MAIN(TestMirrorSignals)
#include "test_mirror_signals.moc"
