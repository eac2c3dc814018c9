#include "big_files.h"
#include "host.h"
#include "literals.h"
#include "mounts.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTest>

#include <memory>

using namespace VornSyncTest;

namespace {

constexpr int kCycleMs = 200;

// The host that is killed: this program once more.
int mirrorUntilKilled(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    VornSyncManager manager(arguments.at(2), arguments.at(3), kCycleMs, QStringList());
    if (!manager.addDirectory(Host::alias(), arguments.at(4), arguments.at(5)))
        return 1;
    return QCoreApplication::exec();
}

} // namespace

// Tears in the middle of one copy; what a killed host does to many files is told in test_kill_storm.
class TestKill : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void aHostKilledInTheMiddleOfACopyTearsNothing_data();
    void aHostKilledInTheMiddleOfACopyTearsNothing();

private:
    void startVictim();

    std::unique_ptr<Host> m_host;
    std::unique_ptr<QProcess> m_victim;
};

void TestKill::cleanup()
{
    m_victim.reset();
    m_host.reset();
}

void TestKill::startVictim()
{
    m_victim = std::make_unique<QProcess>();
    m_victim->setProcessChannelMode(QProcess::MergedChannels);
    m_victim->start(QCoreApplication::applicationFilePath(),
                    {"--mirror"_s, m_host->databasePath(), m_host->trashRoot(), m_host->pair().localPath(),
                     m_host->pair().distantPath()});
    QVERIFY2(m_victim->waitForStarted(), qPrintable(m_victim->errorString()));
}

void TestKill::aHostKilledInTheMiddleOfACopyTearsNothing_data()
{
    QTest::addColumn<bool>("hasOldVersion");
    QTest::newRow("over an old version") << true;
    QTest::newRow("a new file") << false;
}

void TestKill::aHostKilledInTheMiddleOfACopyTearsNothing()
{
    QFETCH(bool, hasOldVersion);
    constexpr qint64 kBytes = 256LL * 1024 * 1024; // long enough to be met in the middle
    m_host = std::make_unique<Host>();
    TmpfsMount mount(m_host->pair().distantPath(), "size=600m"_s);
    if (!mount.isMounted())
        QSKIP(qPrintable(mount.reason()));
    const QString name = "big.bin"_s;
    if (hasOldVersion)
        QVERIFY(m_host->distant().write(name, "the old version"));
    QVERIFY(makeSparse(m_host->local().filePath(name), kBytes));
    const qint64 bytesBefore = bytesIn(mount.path());
    startVictim();
    QVERIFY(waitFor([&] { return bytesIn(mount.path()) > bytesBefore + 1024 * 1024; }));
    m_victim->kill();
    QVERIFY(m_victim->waitForFinished());
    QCOMPARE(m_victim->exitStatus(), QProcess::CrashExit);

    const qint64 size = QFileInfo(m_host->distant().filePath(name)).size();
    if (hasOldVersion)
        QVERIFY(m_host->distant().read(name) == "the old version" || size == kBytes);
    else
        QVERIFY(!m_host->distant().exists(name) || size == kBytes);
    QCOMPARE(m_host->raw().integrityProblems(), QString());
    for (const QString& path : m_host->pair().temporaryFiles())
        QVERIFY(QFile::remove(path));

    QVERIFY(m_host->start());
    VERIFY_AT_REST(*m_host);
    QCOMPARE(QFileInfo(m_host->distant().filePath(name)).size(), kBytes);
    m_host->stop(); // before the file system below it
}

int main(int argc, char** argv)
{
    if (argc == 6 && qstrcmp(argv[1], "--mirror") == 0)
        return mirrorUntilKilled(argc, argv);
    QCoreApplication application(argc, argv);
    TestKill test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_kill.moc"
