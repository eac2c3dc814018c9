#include "big_files.h"
#include "host.h"
#include "literals.h"
#include "mounts.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTest>

#include <cstdio>
#include <memory>

using namespace VornSyncTest;

namespace {

constexpr int kFileCount = 200;
constexpr int kKillCount = 5;
constexpr int kCycleMs = 200;
constexpr int kLastStatusTimeoutMs =
    150000; // a kill between two statements leaves a row that waits for 120 s

// The part of the file sizes that is not zero: most are small, a few take a moment to copy.
constexpr int kSmallBytes = 50000;
constexpr int kBigBytes = 6 * 1024 * 1024;

quint32 chosenSeed()
{
    bool isGiven = false;
    const quint32 given = qEnvironmentVariable("VORN_TEST_SEED").toUInt(&isGiven);
    return isGiven ? given : QRandomGenerator::global()->generate();
}

QByteArray digest(const QByteArray& content)
{
    return QCryptographicHash::hash(content, QCryptographicHash::Sha1);
}

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

class TestKill : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void aKilledHostLosesNothing();
    void aHostKilledInTheMiddleOfACopyTearsNothing_data();
    void aHostKilledInTheMiddleOfACopyTearsNothing();

private:
    void writeVersion(const QString& name);
    QByteArray content();
    void changeSome(int count);
    void startVictim();
    QString tornFile() const;
    int leftovers() const;

    QRandomGenerator m_random;
    std::unique_ptr<Host> m_host;
    std::unique_ptr<QProcess> m_victim;
    QStringList m_names;
    QMap<QString, QList<QByteArray>> m_versions; // digests of every content that a name ever had, newest last
};

void TestKill::cleanup()
{
    m_victim.reset();
    m_host.reset();
}

QByteArray TestKill::content()
{
    int size = 0;
    const quint32 kind = m_random.bounded(10U);
    if (kind > 0)
        size = kind == 9 ? m_random.bounded(kBigBytes) : m_random.bounded(kSmallBytes);
    QByteArray result(size, '\0');
    for (int i = 0; i < size; ++i)
        result[i] = char(m_random.generate());
    return result;
}

void TestKill::writeVersion(const QString& name)
{
    // Larger by one byte at least, so that any pass sees the change.
    const qint64 before = QFileInfo(m_host->local().filePath(name)).size();
    QByteArray version = content();
    if (version.size() <= before)
        version.append(QByteArray(int(before - version.size()) + 1, 'x'));
    // Known before it is there: a running copy may be quicker than this line's end.
    m_versions[name] << digest(version);
    const Side outside(m_host->pair().rootPath());
    QVERIFY(outside.write("draft"_s, version));
    QCOMPARE(::rename(QFile::encodeName(outside.filePath("draft"_s)).constData(),
                      QFile::encodeName(m_host->local().filePath(name)).constData()),
             0);
}

void TestKill::changeSome(int count)
{
    for (int i = 0; i < count; ++i)
        writeVersion(m_names.at(m_random.bounded(m_names.size())));
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

// A distant file that is no version that there ever was.
QString TestKill::tornFile() const
{
    for (const QString& name : m_names) {
        if (!m_host->distant().exists(name))
            continue;
        const QByteArray found = digest(m_host->distant().read(name));
        if (!m_versions.value(name).contains(found))
            return name;
    }
    return QString();
}

int TestKill::leftovers() const
{
    return m_host->pair().temporaryFiles().size();
}

void TestKill::aKilledHostLosesNothing()
{
    const quint32 seed = chosenSeed();
    qInfo("VORN_TEST_SEED=%u", seed);
    m_random.seed(seed);
    m_host = std::make_unique<Host>();
    for (int i = 0; i < kFileCount; ++i) {
        m_names << (i % 7 == 0 ? "it's %1 \"odd\" é\n%2.txt"_s.arg(i) : "file %1.bin"_s.arg(i));
        // Half of them have an old version on the distant side.
        if (i % 2 == 0) {
            const QByteArray old = content();
            m_versions[m_names.last()] << digest(old);
            QVERIFY(m_host->distant().write(m_names.last(), old));
        }
        writeVersion(m_names.last());
    }
    const QStringList distantBefore = m_host->distant().names();

    for (int kill = 1; kill <= kKillCount; ++kill) {
        startVictim();
        // The moment is the point: the first ones fall into the first pass, the others anywhere.
        const qint64 delayMs = m_random.bounded(200, kill < 3 ? 2000 : 7000);
        QElapsedTimer elapsed;
        elapsed.start();
        QVERIFY(waitFor([&] { return elapsed.elapsed() >= delayMs; }));
        changeSome(5);
        QCOMPARE(m_victim->state(), QProcess::Running);
        m_victim->kill();
        QVERIFY(m_victim->waitForFinished());
        QCOMPARE(m_victim->exitStatus(), QProcess::CrashExit);
        // Past the capture of messages, for a failure to be replayed by.
        std::fprintf(stderr, "kill %d after %lld ms: %d distant files, %d leftovers\n", kill, delayMs,
                     int(m_host->distant().names().size()), leftovers());

        QCOMPARE(tornFile(), QString());
        QCOMPARE(m_host->raw().integrityProblems(), QString());
        for (const QString& name : distantBefore)
            QVERIFY2(m_host->distant().exists(name), qPrintable(name));
        for (const QString& name : m_names)
            QCOMPARE(digest(m_host->local().read(name)), m_versions.value(name).last());
        // One copy at a time: one unfinished file each.
        QVERIFY2(leftovers() <= kill, qPrintable(m_host->pair().temporaryFiles().join("; "_s)));
    }

    // What a killed copy leaves beside its destination is nobody's version of anything.
    for (const QString& path : m_host->pair().temporaryFiles()) {
        QVERIFY2(path.startsWith(m_host->pair().distantPath()), qPrintable(path));
        QVERIFY(QFile::remove(path));
    }
    QVERIFY(m_host->start());
    QCOMPARE(m_host->settle(kLastStatusTimeoutMs), QString());
    VERIFY_AT_REST(*m_host);
    QCOMPARE(m_host->manager()->doneCount(), kFileCount);
    QCOMPARE(m_host->manager()->errorCount(), 0);
    QCOMPARE(m_host->distant().names().size(), kFileCount);
    for (const QString& name : m_names)
        QCOMPARE(digest(m_host->distant().read(name)), m_versions.value(name).last());
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
