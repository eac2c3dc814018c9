#include "host.h"
#include "literals.h"
#include "loop_disk.h"

#include <QElapsedTimer>
#include <QMap>
#include <QRandomGenerator>
#include <QTest>

#include <cstdio>
#include <memory>

using namespace VornSyncTest;

namespace {

constexpr int kFileCount = 20;
// VORN_SYNC_POWER_CUTS=50 is the long version.
constexpr int kCutsInBrief = 2;
constexpr int kSlowMs = 240000;

quint32 chosenSeed()
{
    bool isGiven = false;
    const quint32 given = qEnvironmentVariable("VORN_TEST_SEED").toUInt(&isGiven);
    return isGiven ? given : QRandomGenerator::global()->generate();
}

int chosenCuts()
{
    bool isGiven = false;
    const int given = qEnvironmentVariable("VORN_SYNC_POWER_CUTS").toInt(&isGiven);
    return isGiven && given > 0 ? given : kCutsInBrief;
}

} // namespace

// The power of a disk is cut under a working host, and comes back.
class TestPowerLoss : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void underAWorkingHost_data();
    void underAWorkingHost();

private:
    void makeHost(bool isDatabaseThere, bool isShareThere);
    void writeVersion(const QString& name);
    void work();
    QString localProblem() const;
    void answerErrors();

    QRandomGenerator m_random;
    std::unique_ptr<LoopDisk> m_disk;
    std::unique_ptr<Host> m_host;
    QMap<QString, QByteArray> m_files; // what the user has
    int m_restored = 0;
    QString m_unexpected;
};

void TestPowerLoss::initTestCase()
{
    const quint32 seed = chosenSeed();
    qInfo("VORN_TEST_SEED=%u", seed);
    m_random.seed(seed);
}

void TestPowerLoss::init()
{
    m_files.clear();
    m_unexpected.clear();
    m_restored = 0;
}

void TestPowerLoss::cleanup()
{
    m_host.reset();
    m_disk.reset();
}

void TestPowerLoss::makeHost(bool isDatabaseThere, bool isShareThere)
{
    HostOptions options;
    if (isDatabaseThere)
        options.databasePath = m_disk->path() + "/state.sqlite"_s;
    if (isShareThere)
        options.distantPath = m_disk->path() + "/share"_s;
    m_host = std::make_unique<Host>(options);
    // Whatever it hears from a disk that is gone.
    m_host->expectErrors(QString());
    m_host->expectCriticals();
    m_host->expectWarnings();
}

// Larger than all before it, so that any pass sees the change.
void TestPowerLoss::writeVersion(const QString& name)
{
    QByteArray version = m_files.value(name);
    const int added = 1 + m_random.bounded(m_random.bounded(10) == 0 ? 2000000 : 20000);
    version.prepend(QByteArray(added, char('a' + m_random.bounded(26))));
    m_files[name] = version;
    QVERIFY(m_host->local().write(name, version));
}

// The moment is the point.
void TestPowerLoss::work()
{
    QElapsedTimer clock;
    clock.start();
    const qint64 untilMs = m_random.bounded(300, 3000);
    while (clock.elapsed() < untilMs && !QTest::currentTestFailed()) {
        writeVersion("file %1"_s.arg(m_random.bounded(kFileCount)));
        const qint64 nextMs = clock.elapsed() + m_random.bounded(200);
        QVERIFY(waitFor([&] { return clock.elapsed() >= nextMs; }));
    }
}

QString TestPowerLoss::localProblem() const
{
    if (m_host->local().names() != QStringList(m_files.keys()))
        return "the local directory: "_s + m_host->local().names().join(QLatin1String(" | "));
    for (auto file = m_files.cbegin(); file != m_files.cend(); ++file) {
        if (m_host->local().read(file.key()) != file.value())
            return "a local file is not what the user wrote: "_s + file.key();
    }
    return QString();
}

// A share that lost what it had said to have: its files are missing or old, and the user sends them again.
void TestPowerLoss::answerErrors()
{
    for (const QVariant& value : m_host->manager()->errorFiles()) {
        const QVariantMap entry = value.toMap();
        const int code = entry.value("errorCode"_s).toInt();
        const QString name = entry.value("fileName"_s).toString();
        if (code != 7 && code != 15)
            m_unexpected = "'%1' is listed with code %2"_s.arg(name, QString::number(code));
        ++m_restored;
        m_host->manager()->retrySync(Host::alias(), name);
    }
}

void TestPowerLoss::underAWorkingHost_data()
{
    QTest::addColumn<QString>("fileSystem");
    QTest::addColumn<bool>("isDatabaseThere");
    QTest::addColumn<bool>("isShareThere");
    for (const char* fileSystem : {"ext4", "xfs"}) {
        const QString name = QLatin1String(fileSystem);
        QTest::addRow("%s below the state and the share", fileSystem) << name << true << true;
        if (name == QLatin1String("xfs") && chosenCuts() <= kCutsInBrief)
            continue;
        QTest::addRow("%s below the state", fileSystem) << name << true << false;
        QTest::addRow("%s below the share", fileSystem) << name << false << true;
    }
}

void TestPowerLoss::underAWorkingHost()
{
    QFETCH(QString, fileSystem);
    QFETCH(bool, isDatabaseThere);
    QFETCH(bool, isShareThere);
    m_disk = std::make_unique<LoopDisk>(fileSystem);
    if (!m_disk->isMounted())
        QSKIP(qPrintable(m_disk->reason()));
    makeHost(isDatabaseThere, isShareThere);
    Host& host = *m_host;
    for (int i = 0; i < kFileCount; ++i)
        writeVersion("file %1"_s.arg(i));
    const int cuts = chosenCuts();
    for (int cut = 0; cut < cuts; ++cut) {
        QVERIFY(host.start());
        work();
        QVERIFY(m_disk->cutPower());
        // The host goes on for a while, or the machine stops with its disk.
        if (m_random.bounded(2) == 0)
            work();
        host.stop();
        QVERIFY(m_disk->restorePower());
        QCOMPARE(localProblem(), QString());
        if (QFile::exists(host.databasePath()))
            QCOMPARE(host.raw().integrityProblems(), QString());
    }
    for (const QString& path : host.pair().temporaryFiles()) {
        QVERIFY2(path.startsWith(host.distant().path()), qPrintable(path));
        QVERIFY(QFile::remove(path));
    }
    // A row that was under way waits for 120 s: the machine comes back an hour later.
    host.takeErrors();
    host.trace().clear();
    QVERIFY(host.start());
    QVERIFY(host.awaitCycles(1));
    for (auto file = m_files.cbegin(); file != m_files.cend(); ++file)
        QVERIFY(host.age(file.key()));
    connect(host.manager(), &VornSyncManager::countersChanged, this, &TestPowerLoss::answerErrors,
            Qt::QueuedConnection);
    QCOMPARE(host.settle(kSlowMs), QString());
    VERIFY_AT_REST(host);
    QCOMPARE(m_unexpected, QString());
    QCOMPARE(host.errors(), QStringList());
    QCOMPARE(host.trace().criticals(), QStringList());
    QCOMPARE(localProblem(), QString());
    QCOMPARE(host.distant().names(), QStringList(m_files.keys()));
    // Past the capture of messages.
    std::fprintf(stderr, "%d cuts, %d times a file was sent again by the user\n", cuts, m_restored);
    host.stop(); // before the disk below it
}

int main(int argc, char** argv)
{
    // The long version lasts longer than a test function may by default.
    if (!qEnvironmentVariableIsSet("QTEST_FUNCTION_TIMEOUT"))
        qputenv("QTEST_FUNCTION_TIMEOUT", "7200000");
    QCoreApplication application(argc, argv);
    TestPowerLoss test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_power_loss.moc"
