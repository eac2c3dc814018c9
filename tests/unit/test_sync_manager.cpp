#include "sync_manager_access.h"

#include "pair.h"
#include "trace_capture.h"

#include <QMetaMethod>
#include <QMetaProperty>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QTranslator>

using namespace VornSyncTest;
using Access = VornSyncManagerTestAccess;

namespace {

constexpr int kNoCycleMs = 3600000;

// What a host without one gets: the translation of an id is "<id>".
class EchoTranslator : public QTranslator
{
public:
    QString translate(const char*, const char* sourceText, const char*, int) const override
    {
        return QLatin1Char('<') + QString::fromLatin1(sourceText) + QLatin1Char('>');
    }
    bool isEmpty() const override { return false; }
};

QByteArrayList signatures(const QMetaObject& object, QMetaMethod::MethodType type)
{
    QByteArrayList result;
    for (int i = object.methodOffset(); i < object.methodCount(); ++i) {
        if (object.method(i).methodType() == type)
            result << object.method(i).methodSignature();
    }
    return result;
}

QList<QByteArrayList> parameterNames(const QMetaObject& object, QMetaMethod::MethodType type)
{
    QList<QByteArrayList> result;
    for (int i = object.methodOffset(); i < object.methodCount(); ++i) {
        if (object.method(i).methodType() == type)
            result << object.method(i).parameterNames();
    }
    return result;
}

} // namespace

class TestSyncManager : public QObject
{
    Q_OBJECT

private slots:
    void signalsInOrder();
    void invokablesInOrder();
    void privateMethodsInOrder();
    void properties();
    void metaTypesUnderTheirNames();
    void errorCodeClasses();
    void errorCodeMessages();
    void nullPrivateObject_data();
    void nullPrivateObject();
    void nullPrivateObjectStillAnswersFileReady();
    void criticalMessageForm();
    void usableRightAfterConstruction();
};

void TestSyncManager::signalsInOrder()
{
    const QByteArrayList expected = {"fileReady(QString,bool)",     "syncStarted(QString)",
                                     "syncCompleted(QString,bool)", "errorOccurred(QString)",
                                     "idleChanged(bool)",           "countersChanged()",
                                     "recentEventsChanged()"};
    QCOMPARE(signatures(VornSyncManager::staticMetaObject, QMetaMethod::Signal), expected);
    const QList<QByteArrayList> names = {
        {"resolvedPath", "found"}, {"filePath"}, {"filePath", "succeeded"}, {"message"}, {"idle"}, {}, {}};
    QCOMPARE(parameterNames(VornSyncManager::staticMetaObject, QMetaMethod::Signal), names);
}

void TestSyncManager::invokablesInOrder()
{
    const QByteArrayList expected = {"retrySync(QString,QString)",
                                     "retryAllErrors()",
                                     "acknowledgeAllMissing()",
                                     "deleteAllDistantMissing()",
                                     "errorCodeMessage(int)",
                                     "isAcknowledgeOnly(int)",
                                     "isRestoreOrDelete(int)",
                                     "moveToTrashFile(QString,QString)",
                                     "lockForRename(QString,QString,QString)",
                                     "commitRename(QString,QString,QString)",
                                     "abortRename(QString,QString,QString)",
                                     "notifyLocalFileChanged(QString,QString)",
                                     "notifyLocalFileDeleted(QString,QString)",
                                     "tombstoneLocalFile(QString,QString)"};
    QCOMPARE(signatures(VornSyncManager::staticMetaObject, QMetaMethod::Method), expected);
    const QList<QByteArrayList> names = {{"aliasName", "fileName"},
                                         {},
                                         {},
                                         {},
                                         {"code"},
                                         {"code"},
                                         {"code"},
                                         {"aliasName", "fileName"},
                                         {"aliasName", "oldFileName", "newFileName"},
                                         {"aliasName", "oldFileName", "newFileName"},
                                         {"aliasName", "oldFileName", "newFileName"},
                                         {"aliasName", "fileName"},
                                         {"aliasName", "fileName"},
                                         {"aliasName", "fileName"}};
    QCOMPARE(parameterNames(VornSyncManager::staticMetaObject, QMetaMethod::Method), names);
    QCOMPARE(signatures(VornSyncManager::staticMetaObject, QMetaMethod::Slot),
             QByteArrayList{"requestSync()"});
    const QMetaMethod slot = VornSyncManager::staticMetaObject.method(
        VornSyncManager::staticMetaObject.indexOfSlot("requestSync()"));
    QCOMPARE(slot.access(), QMetaMethod::Public);
}

void TestSyncManager::privateMethodsInOrder()
{
    const QMetaObject& object = VornSyncManagerPrivate::staticMetaObject;
    QCOMPARE(signatures(object, QMetaMethod::Signal), QByteArrayList{"sigAddTask(pVornSyncTask)"});
    const QByteArrayList expectedSlots = {"onDbError(QString)",
                                          "startDirectorySync()",
                                          "onObserverErrorOccurred(QString)",
                                          "onSynchronizerSyncStarted(QString)",
                                          "onSynchronizerSyncCompleted(QString,bool)",
                                          "onSynchronizerErrorOccurred(QString)",
                                          "refreshDatabaseCounters()",
                                          "onFileReadyTaskDone(pVornSyncTask,bool)",
                                          "onFileReadyTimeout()"};
    QCOMPARE(signatures(object, QMetaMethod::Slot), expectedSlots);
    for (int i = object.methodOffset(); i < object.methodCount(); ++i) {
        if (object.method(i).methodType() == QMetaMethod::Slot)
            QCOMPARE(object.method(i).access(), QMetaMethod::Private);
    }
}

void TestSyncManager::properties()
{
    struct Expected
    {
        const char* name;
        const char* type;
        const char* notify;
    };
    const QList<Expected> expected = {{"inProgressCount", "int", "countersChanged"},
                                      {"pendingCount", "int", "countersChanged"},
                                      {"errorCount", "int", "countersChanged"},
                                      {"doneCount", "int", "countersChanged"},
                                      {"recentEvents", "QVariantList", "recentEventsChanged"},
                                      {"errorFiles", "QVariantList", "countersChanged"}};
    const QMetaObject& object = VornSyncManager::staticMetaObject;
    QCOMPARE(object.propertyCount() - object.propertyOffset(), expected.size());
    for (int i = 0; i < expected.size(); ++i) {
        const QMetaProperty property = object.property(object.propertyOffset() + i);
        QCOMPARE(property.name(), expected.at(i).name);
        QCOMPARE(property.typeName(), expected.at(i).type);
        QCOMPARE(property.notifySignal().name(), QByteArray(expected.at(i).notify));
        QVERIFY(property.isReadable());
        QVERIFY(!property.isWritable());
        QVERIFY(!property.isResettable());
    }
}

void TestSyncManager::metaTypesUnderTheirNames()
{
    Pair pair;
    VornSyncManager manager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, QStringList(), nullptr);
    QCOMPARE(QMetaType::type("pVornSyncTask"), qMetaTypeId<pVornSyncTask>());
    QCOMPARE(QMetaType::type("VornSyncDatabase*"), qMetaTypeId<VornSyncDatabase*>());
}

void TestSyncManager::errorCodeClasses()
{
    Pair pair;
    const VornSyncManager manager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, QStringList(), nullptr);
    for (int code = -3; code <= 300; ++code) {
        QCOMPARE(manager.isAcknowledgeOnly(code), code == 2);
        QCOMPARE(manager.isRestoreOrDelete(code), code == 15);
    }
}

void TestSyncManager::errorCodeMessages()
{
    Pair pair;
    const VornSyncManager manager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, QStringList(), nullptr);
    EchoTranslator translator;
    QVERIFY(QCoreApplication::installTranslator(&translator));
    QCOMPARE(manager.errorCodeMessage(0), QStringLiteral("<VornSyncDatabase_error_none>"));
    QCOMPARE(manager.errorCodeMessage(15), QStringLiteral("<VornSyncDatabase_error_distant_file_missing>"));
    for (int code = 0; code <= 15; ++code)
        QCOMPARE(manager.errorCodeMessage(code), VornSyncTypes::errorMessage(code));
    QVERIFY(QCoreApplication::removeTranslator(&translator));
}

void TestSyncManager::nullPrivateObject_data()
{
    QTest::addColumn<QByteArray>("member");
    QTest::addColumn<int>("argumentCount");
    QTest::addColumn<int>("line");
    QTest::newRow("retrySync") << QByteArray("retrySync") << 2 << 151;
    QTest::newRow("retryAllErrors") << QByteArray("retryAllErrors") << 0 << 161;
    QTest::newRow("acknowledgeAllMissing") << QByteArray("acknowledgeAllMissing") << 0 << 171;
    QTest::newRow("deleteAllDistantMissing") << QByteArray("deleteAllDistantMissing") << 0 << 181;
    QTest::newRow("moveToTrashFile") << QByteArray("moveToTrashFile") << 2 << 207;
    QTest::newRow("lockForRename") << QByteArray("lockForRename") << 3 << 219;
    QTest::newRow("commitRename") << QByteArray("commitRename") << 3 << 231;
    QTest::newRow("abortRename") << QByteArray("abortRename") << 3 << 243;
    QTest::newRow("notifyLocalFileChanged") << QByteArray("notifyLocalFileChanged") << 2 << 254;
    QTest::newRow("notifyLocalFileDeleted") << QByteArray("notifyLocalFileDeleted") << 2 << 265;
    QTest::newRow("tombstoneLocalFile") << QByteArray("tombstoneLocalFile") << 2 << 276;
    QTest::newRow("resetSyncDatabase") << QByteArray("resetSyncDatabase") << -1 << 286;
    QTest::newRow("wipeSyncDatabaseFile") << QByteArray("wipeSyncDatabaseFile") << -1 << 296;
    QTest::newRow("requestFileReady") << QByteArray("requestFileReady") << -1 << 306;
    QTest::newRow("requestSync") << QByteArray("requestSync") << 0 << 317;
}

// Calls a member: by name where the meta-object has it, otherwise directly. A bool result goes to `result`.
static bool callMember(VornSyncManager& manager, const QByteArray& member, int argumentCount, bool& result)
{
    const QString text = QStringLiteral("x");
    const QGenericArgument argument = Q_ARG(QString, text);
    if (member == "resetSyncDatabase")
        result = manager.resetSyncDatabase(0);
    else if (member == "wipeSyncDatabaseFile")
        result = manager.wipeSyncDatabaseFile();
    else if (member == "requestFileReady")
        manager.requestFileReady(text);
    else if (member == "lockForRename")
        return QMetaObject::invokeMethod(&manager, member.constData(), Qt::DirectConnection,
                                         Q_RETURN_ARG(bool, result), argument, argument, argument);
    else if (argumentCount == 3)
        return QMetaObject::invokeMethod(&manager, member.constData(), argument, argument, argument);
    else if (argumentCount == 2)
        return QMetaObject::invokeMethod(&manager, member.constData(), argument, argument);
    else
        return QMetaObject::invokeMethod(&manager, member.constData());
    return true;
}

void TestSyncManager::nullPrivateObject()
{
    QFETCH(QByteArray, member);
    QFETCH(int, argumentCount);
    QFETCH(int, line);
    Pair pair;
    VornSyncManager manager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, QStringList(), nullptr);
    VornSyncManagerPrivate* const inside = Access::take(manager);
    QSignalSpy errors(&manager, &VornSyncManager::errorOccurred);
    bool result = false;
    TraceCapture capture;
    const bool wasCalled = callMember(manager, member, argumentCount, result);
    const QStringList criticals = capture.criticals();
    Access::giveBack(manager, inside);

    QVERIFY(wasCalled);
    QVERIFY(!result);
    QCOMPARE(criticals.size(), 1);
    const QString end =
        QStringLiteral("libraries/lib_sync_library/source/vorn_sync_manager ;\t %1 ;\t VornSyncManager::%2: "
                       "private implementation is null")
            .arg(QString::number(line), QString::fromLatin1(member));
    QVERIFY2(criticals.first().endsWith(end), qPrintable(criticals.first()));
    QVERIFY(errors.isEmpty());
}

void TestSyncManager::nullPrivateObjectStillAnswersFileReady()
{
    Pair pair;
    QVERIFY(pair.local().write(QStringLiteral("there"), "x"));
    VornSyncManager manager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, QStringList(), nullptr);
    QSignalSpy ready(&manager, &VornSyncManager::fileReady);
    TraceCapture capture;
    VornSyncManagerPrivate* const inside = Access::take(manager);
    manager.requestFileReady(pair.local().filePath(QStringLiteral("there")));
    manager.requestFileReady(pair.local().filePath(QStringLiteral("not there")));
    Access::giveBack(manager, inside);
    QCOMPARE(ready.size(), 2);
    QCOMPARE(ready.at(0), QVariantList({pair.local().filePath(QStringLiteral("there")), true}));
    QCOMPARE(ready.at(1), QVariantList({pair.local().filePath(QStringLiteral("not there")), false}));
    QCOMPARE(capture.criticals().size(), 2);
}

void TestSyncManager::criticalMessageForm()
{
    Pair pair;
    VornSyncManager manager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, QStringList(), nullptr);
    TraceCapture capture;
    VornSyncManagerPrivate* const inside = Access::take(manager);
    manager.requestSync();
    Access::giveBack(manager, inside);
    QCOMPARE(capture.criticals().size(), 1);
    QString address;
    QDebug(&address) << static_cast<const void*>(&manager);
    const QRegularExpression form(
        QStringLiteral("^\\n \"?\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}\"? ;\\t Thread = "
                       "QThread\\(0x[0-9a-f]+.*\\) ;\\t "
                       "This = %1 ;\\t libraries/lib_sync_library/source/vorn_sync_manager ;\\t 317 ;\\t "
                       "VornSyncManager::requestSync: private implementation is null$")
            .arg(QRegularExpression::escape(address.trimmed())));
    QVERIFY(form.isValid());
    QVERIFY2(form.match(capture.criticals().first()).hasMatch(), qPrintable(capture.criticals().first()));
}

void TestSyncManager::usableRightAfterConstruction()
{
    Pair pair;
    QObject parent;
    auto* manager =
        new VornSyncManager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, QStringList(), &parent);
    QCOMPARE(manager->parent(), &parent);
    QVERIFY(manager->isIdle());
    QVERIFY(!manager->isPausedAll());
    QCOMPARE(manager->inProgressCount(), 0);
    QCOMPARE(manager->pendingCount(), 0);
    QCOMPARE(manager->errorCount(), 0);
    QCOMPARE(manager->doneCount(), 0);
    QVERIFY(manager->recentEvents().isEmpty());
    QVERIFY(manager->errorFiles().isEmpty());
    QVERIFY(manager->addDirectory(QStringLiteral("a"), pair.localPath(), pair.distantPath()));
}

QTEST_GUILESS_MAIN(TestSyncManager)
#include "test_sync_manager.moc"
