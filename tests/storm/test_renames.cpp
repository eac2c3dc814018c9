#include "host.h"
#include "literals.h"

#include <QCoreApplication>
#include <QMap>
#include <QRandomGenerator>
#include <QTest>

#include <iterator>

using namespace VornSyncTest;

namespace {

constexpr int kNames = 16;
constexpr int kFilesAtStart = 8;
constexpr int kCommitsPerStory = 25; // one file operation each, 200 ms apart
constexpr int kBusyFiles = 3;
constexpr int kIntervalMs = 10; // the engine is never done with its passes

} // namespace

// The host's thread takes and gives back names while the engine's thread passes, verifies and sends.
class TestRenames : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void anyNameAtAnyTime_data();
    void anyNameAtAnyTime();

private:
    QString anyName() { return "file %1"_s.arg(m_random.bounded(kNames)); }
    QString anyFile();
    void renameSome(Host& host);
    void editSome(Host& host);
    void deleteSome(Host& host);

    QRandomGenerator m_random;
    QMap<QString, QByteArray> m_files; // what the user has
    int m_commits = 0;
    int m_aborts = 0;
    int m_refusals = 0;
    int m_edits = 0;
};

void TestRenames::initTestCase()
{
    bool isGiven = false;
    quint32 seed = qEnvironmentVariable("VORN_TEST_SEED").toUInt(&isGiven);
    if (!isGiven)
        seed = QRandomGenerator::global()->generate();
    qInfo("VORN_TEST_SEED=%u", seed);
    m_random.seed(seed);
}

void TestRenames::init()
{
    m_files.clear();
    m_commits = m_aborts = m_refusals = m_edits = 0;
}

QString TestRenames::anyFile()
{
    return m_files.isEmpty() ? QString()
                             : std::next(m_files.cbegin(), m_random.bounded(m_files.size())).key();
}

void TestRenames::renameSome(Host& host)
{
    const QString oldName = anyFile();
    const QString newName = anyName();
    if (oldName.isEmpty() || m_files.contains(newName))
        return;
    if (!host.manager()->lockForRename(Host::alias(), oldName, newName)) {
        ++m_refusals;
        return;
    }
    if (m_random.bounded(3) == 0)
        QCoreApplication::processEvents(); // a slow host
    if (m_random.bounded(4) == 0) {
        host.manager()->abortRename(Host::alias(), oldName, newName);
        ++m_aborts;
        return;
    }
    QVERIFY(host.local().rename(oldName, newName));
    host.manager()->commitRename(Host::alias(), oldName, newName);
    m_files.insert(newName, m_files.take(oldName));
    ++m_commits;
}

// New content under a name that may be free, sent, under way or locked.
void TestRenames::editSome(Host& host)
{
    const QString name = m_random.bounded(4) == 0 ? anyName() : anyFile();
    if (name.isEmpty())
        return;
    const QByteArray content =
        "edit " + QByteArray::number(++m_edits) + QByteArray(m_random.bounded(500), 'x');
    QVERIFY(host.local().write(name, content));
    m_files.insert(name, content);
    if (m_random.bounded(2) == 0)
        host.manager()->notifyLocalFileChanged(Host::alias(), name);
}

void TestRenames::deleteSome(Host& host)
{
    const QString name = anyFile();
    if (name.isEmpty())
        return;
    QVERIFY(host.local().remove(name));
    host.manager()->notifyLocalFileDeleted(Host::alias(), name);
    m_files.remove(name);
}

void TestRenames::anyNameAtAnyTime_data()
{
    QTest::addColumn<bool>("areFilesDeleted");
    QTest::newRow("renamed and edited") << false;
    QTest::newRow("renamed, edited and deleted") << true;
}

void TestRenames::anyNameAtAnyTime()
{
    QFETCH(bool, areFilesDeleted);
    HostOptions options;
    options.syncIntervalMs = kIntervalMs;
    Host host(options);
    for (int i = 0; i < kFilesAtStart; ++i) {
        const QString name = "file %1"_s.arg(i);
        m_files.insert(name, "content " + name.toUtf8());
        QVERIFY(host.local().write(name, m_files.value(name)));
    }
    // A file that is deleted while it waits to be sent can't be.
    if (areFilesDeleted)
        host.expectErrors("Source file does not exist: "_s);
    QVERIFY(host.start());
    QVERIFY(host.awaitCycles(1));
    QVERIFY(waitFor(
        [&] {
            renameSome(host);
            // More than the worker can send would leave no file to be renamed.
            const bool isBusy =
                host.manager()->inProgressCount() + host.manager()->pendingCount() > kBusyFiles;
            if (!isBusy && m_random.bounded(20) == 0)
                editSome(host);
            if (!isBusy && areFilesDeleted && m_random.bounded(40) == 0)
                deleteSome(host);
            return QTest::currentTestFailed() || m_commits >= kCommitsPerStory;
        },
        kWaitMs * 8));
    QVERIFY(m_aborts > 0);
    QVERIFY(m_refusals > 0);
    QCOMPARE(host.settle(kWaitMs * 4), QString());
    QCOMPARE(host.restProblems(), QString());
    QCOMPARE(host.distant().names(), QStringList(m_files.keys()));
    QCOMPARE(host.local().names(), QStringList(m_files.keys()));
    for (auto file = m_files.cbegin(); file != m_files.cend(); ++file)
        QCOMPARE(host.distant().read(file.key()), file.value());
}

QTEST_GUILESS_MAIN(TestRenames)
#include "test_renames.moc"
