#include "host.h"
#include "literals.h"
#include "samba_share.h"

#include <QFileInfo>
#include <QTest>

using namespace VornSyncTest;

namespace {

constexpr int kFileCount = 8;
constexpr int kSlowMs = 120000;
constexpr int kNotReachable = 4;

QByteArray content(int number)
{
    return QByteArray::number(number) + QByteArray(number * 10007, char('a' + number));
}

// Names that this client takes as they are: not those that SMB forbids, nor "%", "@" or "?".
QStringList oddNames()
{
    return {
        "Ünï cödé – “quoted”.txt"_s, "日本語.txt"_s, "😀.txt"_s,         "-rf"_s,       "a;b&c$d#e.txt"_s,
        "it's (1) [x].tar.gz"_s,     "no suffix"_s,  "two..dots.txt"_s, "UPPER.TXT"_s, "n"_s.repeated(250)};
}

} // namespace

// The distant directory is a share of a real Samba server.
class TestSambaShare : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void newAndChangedFiles();
    void oddFileNames();
    void namesThatTheShareRefuses();
    void renames();
    void trashAndRemoval();
    void filesOfAnotherWorkstation();
    void theServerDiesBetweenCopies();
    void theServerIsGoneForLong();
    void theMountGoes();

private:
    void makeHost(int syncIntervalMs);
    // What the server holds, byte for byte; empty when it is what the local directory holds.
    QString serverProblems(const QStringList& alsoThere = QStringList()) const;
    // The rows as they are when the manager is gone.
    QString rowProblems(int upToDate);
    void expectOutage();

    std::unique_ptr<SambaShare> m_share;
    std::unique_ptr<Host> m_host;
};

void TestSambaShare::init()
{
    m_share = std::make_unique<SambaShare>();
    if (!m_share->start())
        QSKIP(qPrintable("no Samba share: "_s + m_share->reason()));
    makeHost(HostOptions().syncIntervalMs);
}

void TestSambaShare::makeHost(int syncIntervalMs)
{
    HostOptions options;
    options.syncIntervalMs = syncIntervalMs;
    options.distantPath = m_share->mountedPath();
    m_host.reset();
    m_host = std::make_unique<Host>(options);
}

void TestSambaShare::cleanup()
{
    m_host.reset();
    m_share.reset();
}

QString TestSambaShare::serverProblems(const QStringList& alsoThere) const
{
    const Side server(m_share->serverPath());
    QStringList expected = m_host->local().names() + alsoThere;
    expected.sort();
    if (server.names() != expected)
        return "the server holds: "_s + server.names().join(QLatin1String(" | "));
    for (const QString& name : m_host->local().allFiles()) {
        if (server.read(name) != m_host->local().read(name))
            return "the server's file differs: "_s + name;
    }
    return QString();
}

QString TestSambaShare::rowProblems(int upToDate)
{
    m_host->stop();
    const QString integrity = m_host->raw().integrityProblems();
    if (!integrity.isEmpty())
        return integrity;
    const int found = m_host->raw()
                          .value("SELECT COUNT(*) FROM file_tracking WHERE status = 17 AND error_code = 0"_s)
                          .toInt();
    const int others =
        m_host->raw().value("SELECT COUNT(*) FROM file_tracking WHERE status NOT IN (17, 33, 40)"_s).toInt();
    return found == upToDate && others == 0 ? QString()
                                            : "%1 rows up to date, %2 open"_s.arg(found).arg(others);
}

// What a share that dies under a copy, a listing or a test may be told as.
void TestSambaShare::expectOutage()
{
    for (const QString& text : {"destination path not available: '"_s, "Destination path not available: '"_s,
                                "Destination directory does not exist: '"_s, "Failure to copy file: '"_s,
                                "is not writable: '"_s, "distant"_s, "Distant"_s})
        m_host->expectErrors(text);
    m_host->expectWarnings();
}

void TestSambaShare::newAndChangedFiles()
{
    Host& host = *m_host;
    for (int i = 0; i < kFileCount; ++i)
        QVERIFY(host.local().write("file %1.txt"_s.arg(i), content(i)));
    QVERIFY(host.local().write("report.doc"_s, "report"));
    QVERIFY(host.local().write("report/chart.svg"_s, "chart"));
    QVERIFY(host.local().write("report/parts/1.txt"_s, "part"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QCOMPARE(serverProblems(), QString());

    QVERIFY(host.local().append("file 1.txt"_s, "longer"));
    QVERIFY(host.local().write("file 2.txt"_s, ""));
    QVERIFY(host.local().write("new.txt"_s, "new"));
    host.manager()->notifyLocalFileChanged(Host::alias(), "new.txt"_s);
    VERIFY_AT_REST(host);
    QCOMPARE(serverProblems(), QString());

    // A restart finds nothing to do.
    const int sent = int(host.started().size());
    QVERIFY(host.restart());
    VERIFY_AT_REST(host);
    QCOMPARE(host.started().size(), sent);
    QCOMPARE(host.seenErrorFiles(), QStringList());
    QCOMPARE(rowProblems(kFileCount + 2), QString());
}

void TestSambaShare::oddFileNames()
{
    Host& host = *m_host;
    int number = 0;
    for (const QString& name : oddNames())
        QVERIFY2(host.local().write(name, content(number++)), qPrintable(name));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QCOMPARE(serverProblems(), QString());
    // Over existing ones, through temporary siblings.
    for (const QString& name : oddNames())
        QVERIFY2(host.local().append(name, "more"), qPrintable(name));
    VERIFY_AT_REST(host);
    QCOMPARE(serverProblems(), QString());
    QCOMPARE(host.seenErrorFiles(), QStringList());
    QCOMPARE(rowProblems(int(oddNames().size())), QString());
}

// The others are mirrored, and the user is told which ones are not.
void TestSambaShare::namesThatTheShareRefuses()
{
    makeHost(kNoCyclesMs); // a cycle clears what is listed
    Host& host = *m_host;
    const QString refused = "12:30 \"noon\".txt"_s;
    QVERIFY(host.local().write(refused, "refused"));
    for (int i = 0; i < kFileCount; ++i)
        QVERIFY(host.local().write("file %1.txt"_s.arg(i), content(i)));
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 1; }, kSlowMs));
    QVERIFY(waitFor([&] { return host.manager()->doneCount() == kFileCount; }, kSlowMs));
    QCOMPARE(host.seenErrorFiles(), QStringList("%1/%2"_s.arg(refused, QString::number(kNotReachable))));
    QCOMPARE(host.local().read(refused), QByteArray("refused"));
    host.stop();
    for (int i = 0; i < kFileCount; ++i)
        QCOMPARE(Side(m_share->serverPath()).read("file %1.txt"_s.arg(i)), content(i));
}

void TestSambaShare::renames()
{
    Host& host = *m_host;
    for (const char* name : {"one.txt", "two.txt", "Case.txt", "given up.txt"})
        QVERIFY(host.local().write(QLatin1String(name), name));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    const int sent = int(host.started().size());
    const QList<QPair<QString, QString>> renames = {
        {"one.txt"_s, "eins – été.txt"_s}, {"two.txt"_s, "one.txt"_s}, {"Case.txt"_s, "case.TXT"_s}};
    for (const auto& [oldName, newName] : renames) {
        QVERIFY(host.manager()->lockForRename(Host::alias(), oldName, newName));
        QVERIFY(host.local().rename(oldName, newName));
        host.manager()->commitRename(Host::alias(), oldName, newName);
        QVERIFY(waitFor([&, name = newName] { return host.status(name) == 17; }));
    }
    QVERIFY(host.manager()->lockForRename(Host::alias(), "given up.txt"_s, "other.txt"_s));
    host.manager()->abortRename(Host::alias(), "given up.txt"_s, "other.txt"_s);
    VERIFY_AT_REST(host);
    QCOMPARE(serverProblems(), QString());
    // Renamed, not sent again.
    for (const QString& path : host.started().mid(sent))
        QVERIFY2(path.startsWith(host.distant().path()), qPrintable(path));
    QCOMPARE(host.seenErrorFiles(), QStringList());
    QCOMPARE(rowProblems(4), QString());
}

void TestSambaShare::trashAndRemoval()
{
    Host& host = *m_host;
    for (const char* name : {"trashed.doc", "deleted.doc", "kept.doc"})
        QVERIFY(host.local().write(QLatin1String(name), name));
    QVERIFY(host.local().write("trashed/inside.txt"_s, "inside"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    host.manager()->moveToTrashFile(Host::alias(), "trashed.doc"_s);
    QVERIFY(host.local().remove("deleted.doc"_s));
    host.manager()->notifyLocalFileDeleted(Host::alias(), "deleted.doc"_s);
    QVERIFY(waitFor([&] { return host.status("trashed.doc"_s) == 33; }));
    const Side server(m_share->serverPath());
    QVERIFY(waitFor([&] { return !server.exists("deleted.doc"_s); }));
    VERIFY_AT_REST(host);
    QCOMPARE(host.local().names(), QStringList{"kept.doc"_s});
    QCOMPARE(host.trash().allFiles(), (QStringList{"trashed.doc"_s, "trashed/inside.txt"_s}));
    // The trash leaves the share alone.
    QCOMPARE(server.allFiles(), (QStringList{"kept.doc"_s, "trashed.doc"_s, "trashed/inside.txt"_s}));
    QCOMPARE(host.status("deleted.doc"_s), 40);
    QCOMPARE(rowProblems(1), QString());
}

void TestSambaShare::filesOfAnotherWorkstation()
{
    Host& host = *m_host;
    const Side server(m_share->serverPath());
    QVERIFY(host.local().write("shared.txt"_s, "mine"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(server.write("shared.txt"_s, "theirs, and newer"));
    QVERIFY(server.setLmd("shared.txt"_s, QDateTime::currentDateTimeUtc().addSecs(60)));
    QVERIFY(server.write("theirs.txt"_s, "theirs alone"));
    QStringList answers;
    connect(host.manager(), &VornSyncManager::fileReady, this, [&](const QString& path, bool found) {
        answers << (found ? QString() : "not "_s) + path.mid(host.local().path().size() + 1);
    });
    for (const char* name : {"shared.txt", "theirs.txt", "nowhere.txt"})
        host.manager()->requestFileReady(host.distant().filePath(QLatin1String(name)));
    QVERIFY(waitFor([&] { return answers.size() == 3; }));
    QCOMPARE(answers, (QStringList{"not nowhere.txt"_s, "shared.txt"_s, "theirs.txt"_s}));
    QCOMPARE(host.local().read("shared.txt"_s), QByteArray("theirs, and newer"));
    VERIFY_AT_REST(host);
    QCOMPARE(serverProblems(), QString());
    QCOMPARE(server.read("shared.txt"_s), QByteArray("theirs, and newer"));
    QCOMPARE(rowProblems(2), QString());
}

void TestSambaShare::theServerDiesBetweenCopies()
{
    Host& host = *m_host;
    for (int i = 0; i < kFileCount; ++i)
        QVERIFY(host.local().write("file %1.txt"_s.arg(i), content(i)));
    expectOutage();
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    for (int round = 0; round < 3; ++round) {
        m_share->killServer();
        QVERIFY(host.local().append("file %1.txt"_s.arg(round), " more"));
        QVERIFY(host.awaitCycles(4));
        // Nothing is known to be missing.
        QCOMPARE(host.manager()->errorCount(), 0);
        QVERIFY(m_share->resumeServer());
        VERIFY_AT_REST(host);
        QCOMPARE(serverProblems(), QString());
    }
    QCOMPARE(host.seenErrorFiles(), QStringList());
    QCOMPARE(rowProblems(kFileCount), QString());
}

// Longer than five runs: the files are listed in error, and come from there by themselves.
void TestSambaShare::theServerIsGoneForLong()
{
    makeHost(kNoCyclesMs); // a cycle clears what is listed
    Host& host = *m_host;
    for (int i = 0; i < kFileCount; ++i)
        QVERIFY(host.local().write("file %1.txt"_s.arg(i), content(i)));
    expectOutage();
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    m_share->killServer();
    for (int i = 0; i < kFileCount; ++i) {
        QVERIFY(host.local().append("file %1.txt"_s.arg(i), " more"));
        host.manager()->notifyLocalFileChanged(Host::alias(), "file %1.txt"_s.arg(i));
    }
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == kFileCount; }, kSlowMs));
    QVERIFY(m_share->resumeServer());
    // The errors are cleared by the next cycle; that the files are sent takes until they are stale.
    host.manager()->requestSync();
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 0; }));
    for (int i = 0; i < kFileCount; ++i)
        QVERIFY(host.age("file %1.txt"_s.arg(i)));
    host.manager()->requestSync();
    VERIFY_AT_REST(host);
    QCOMPARE(serverProblems(), QString());
    QCOMPARE(rowProblems(kFileCount), QString());
}

// The directory of the pair is one inside the mount: it goes with the mount.
void TestSambaShare::theMountGoes()
{
    Host& host = *m_host;
    for (int i = 0; i < kFileCount; ++i)
        QVERIFY(host.local().write("file %1.txt"_s.arg(i), content(i)));
    expectOutage();
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    m_share->unmount();
    QVERIFY(!QFileInfo::exists(m_share->mountedPath()));
    QVERIFY(host.local().append("file 1.txt"_s, " more"));
    QVERIFY(host.awaitCycles(8));
    QCOMPARE(host.manager()->errorCount(), 0);
    QVERIFY(m_share->mount());
    VERIFY_AT_REST(host);
    QCOMPARE(serverProblems(), QString());
    QCOMPARE(host.seenErrorFiles(), QStringList());
    QCOMPARE(rowProblems(kFileCount), QString());
}

QTEST_GUILESS_MAIN(TestSambaShare)
#include "test_samba_share.moc"
