#include "file_calls.h"
#include "literals.h"
#include "vorn_sqlite_database.h"
#include "wait.h"

#include <QAtomicInt>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <cerrno>

using namespace VornSyncTest;

namespace {

QString insert()
{
    return "INSERT INTO t (n) VALUES (1)"_s;
}

} // namespace

// A database whose files could not be opened for writing, for a while.
class TestSqliteRecovery : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void goesOnWritingAfterARefusal_data();
    void goesOnWritingAfterARefusal();
    void goesOnWritingBesideAnIdleThread();

private:
    // Opening files of that suffix for writing is refused from now on.
    void refuse(const QByteArray& suffix);
    void allow() { m_isRefusing.storeRelease(0); }

    std::unique_ptr<QTemporaryDir> m_directory;
    std::unique_ptr<VornSqliteDatabase> m_database;
    QAtomicInt m_isRefusing;
};

void TestSqliteRecovery::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY(m_directory->isValid());
    FileCalls::watch(m_directory->path().toUtf8());
    // As a process that was killed leaves them: all three files.
    VornSqliteDatabase killed(m_directory->filePath("killed.db"_s), "Killed"_s, nullptr);
    QVERIFY(killed.createTable("t"_s, {"n INTEGER"_s}, {}));
    QVERIFY(killed.executeQuery(insert()));
    for (const QString& suffix : {""_s, "-wal"_s, "-shm"_s})
        QVERIFY(QFile::copy(m_directory->filePath("killed.db"_s) + suffix,
                            m_directory->filePath("state.db"_s) + suffix));
}

void TestSqliteRecovery::cleanup()
{
    allow();
    m_database.reset();
    FileCalls::setHooks(FileCalls::Hooks());
}

void TestSqliteRecovery::refuse(const QByteArray& suffix)
{
    m_isRefusing.storeRelease(1);
    FileCalls::Hooks hooks;
    hooks.before = [this, suffix](const FileCalls::Call& call) {
        const bool isMeant = QByteArray(call.function).startsWith("open") && call.path.endsWith(suffix) &&
                             call.effect == FileCalls::Effect::Changes;
        return isMeant && m_isRefusing.loadAcquire() ? EACCES : 0;
    };
    FileCalls::setHooks(hooks);
}

void TestSqliteRecovery::goesOnWritingAfterARefusal_data()
{
    QTest::addColumn<QByteArray>("suffix");
    QTest::newRow("database") << QByteArray("state.db");
    QTest::newRow("log") << QByteArray("-wal");
    QTest::newRow("shared memory") << QByteArray("-shm");
}

void TestSqliteRecovery::goesOnWritingAfterARefusal()
{
    QFETCH(QByteArray, suffix);
    refuse(suffix);
    m_database =
        std::make_unique<VornSqliteDatabase>(m_directory->filePath("state.db"_s), "Refused"_s, nullptr);
    QVERIFY(!m_database->executeQuery(insert()));
    allow();
    QVERIFY(waitFor([this] { return m_database->executeQuery(insert()); }));
}

void TestSqliteRecovery::goesOnWritingBesideAnIdleThread()
{
    refuse("-shm");
    m_database =
        std::make_unique<VornSqliteDatabase>(m_directory->filePath("state.db"_s), "Refused"_s, nullptr);
    QThread thread;
    QObject other;
    other.moveToThread(&thread);
    thread.start();
    // Reads, and keeps its handle open, and with it what this process knows of the refused file.
    QMetaObject::invokeMethod(
        &other,
        [this] {
            QVariantList rows;
            m_database->executeQuery(rows, "SELECT n FROM t"_s);
        },
        Qt::BlockingQueuedConnection);
    QVERIFY(!m_database->executeQuery(insert()));
    allow();
    const bool isWritten = waitFor([this] { return m_database->executeQuery(insert()); });
    thread.quit();
    QVERIFY(thread.wait());
    QVERIFY(isWritten);
}

QTEST_GUILESS_MAIN(TestSqliteRecovery)
#include "test_sqlite_recovery.moc"
