#include "host.h"
#include "literals.h"

#include <QFile>
#include <QTest>

using namespace VornSyncTest;

namespace {

constexpr qint64 kMebibyte = 1024 * 1024;

// Later than any time that a row may hold by accident, and well beyond the tolerance.
QDateTime later()
{
    return QDateTime::currentDateTimeUtc().addSecs(60);
}

QDateTime longAgo()
{
    return QDateTime(QDate(2021, 3, 4), QTime(5, 6, 7), Qt::UTC);
}

} // namespace

class TestMirrorFiles : public QObject
{
    Q_OBJECT

private slots:
    void filesThatAreThereAreSent();
    void aNewFileIsSent();
    void anEmptyFileIsSent();
    void aBigFileIsSent();
    void aGrownFileIsSent();
    void aTruncatedFileIsSent();
    void aFileOfTheSameSizeIsSentWhenItsTimeChanged();
    void anOlderVersionPutBackIsSent();
    void aTouchWithinTheToleranceIsNotSent();
    void oddTimesAreData();
    void aFileReplacedByRenameIsSent();
    void aFileWithoutARowGoesOverTheDistantOne();
    void distantFilesOfOthersAreLeftAlone();
    void directoriesAndHiddenFilesAreNotMirrored();
    void aFileThatGrowsWhileItIsSentEndsWhole();
    void aChangeAnnouncedInFlightIsSentAgain();
    void aVanishedFileWaitsForTheUser();
    void aFileThatVanishesBeforeItsTurnCostsNoOtherItsTurn();
    void aMissingDistantFileIsBelievedAtTheSecondLook();
    void aDistantFileThatGrewIsKept();
    void aDistantFileThatShrankWaitsForTheUser();
    void aLocalChangeThatNobodySawIsFoundByVerification();
    void aNotifiedFileIsSentAtOnce();
    void anUnchangedFileIsSentWhenNotified();
    void aRequestedCycleFindsTheChange();
};

void TestMirrorFiles::filesThatAreThereAreSent()
{
    Host host;
    QVERIFY(host.local().write("one.txt"_s, "one"));
    QVERIFY(host.local().write("two.txt"_s, "two two"));
    QVERIFY(host.local().write("three"_s, QByteArray(70000, 'x')));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().names(), (QStringList{"one.txt"_s, "three"_s, "two.txt"_s}));
    QCOMPARE(host.manager()->doneCount(), 3);
    QCOMPARE(host.started().size(), 3);
    QCOMPARE(host.completed().size(), 3);
}

void TestMirrorFiles::aNewFileIsSent()
{
    Host host;
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(host.local().write("new.txt"_s, "new"));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read("new.txt"_s), QByteArray("new"));
    QCOMPARE(host.completed(), (QList<QPair<QString, bool>>{{host.local().filePath("new.txt"_s), true}}));
}

void TestMirrorFiles::anEmptyFileIsSent()
{
    Host host;
    QVERIFY(host.local().write("empty.txt"_s, QByteArray()));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(host.distant().exists("empty.txt"_s));
    QCOMPARE(host.row("empty.txt"_s).value("size"_s).toInt(), 0);

    QVERIFY(host.local().write("empty.txt"_s, "no more"));
    VERIFY_AT_REST(host);
    QVERIFY(host.local().write("empty.txt"_s, QByteArray()));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read("empty.txt"_s), QByteArray());
}

void TestMirrorFiles::aBigFileIsSent()
{
    QByteArray content(int(24 * kMebibyte), '\0');
    for (int i = 0; i < content.size(); ++i)
        content[i] = char(i * 31 + i / 4096);
    Host host;
    QVERIFY(host.local().write("big.bin"_s, content));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    content[content.size() / 2] = 'y';
    QVERIFY(host.local().write("big.bin"_s, content));
    QVERIFY(host.local().setLmd("big.bin"_s, later()));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read("big.bin"_s), content);
}

void TestMirrorFiles::aGrownFileIsSent()
{
    Host host;
    QVERIFY(host.local().write("log.txt"_s, "line 1\n"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(host.local().append("log.txt"_s, "line 2\n"));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read("log.txt"_s), QByteArray("line 1\nline 2\n"));
}

void TestMirrorFiles::aTruncatedFileIsSent()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, QByteArray(200000, 'x')));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(QFile::resize(host.local().filePath("text.txt"_s), 5));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read("text.txt"_s), QByteArray("xxxxx"));
}

void TestMirrorFiles::aFileOfTheSameSizeIsSentWhenItsTimeChanged()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "aaaa"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(host.local().write("text.txt"_s, "bbbb"));
    QVERIFY(host.local().setLmd("text.txt"_s, later()));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read("text.txt"_s), QByteArray("bbbb"));
}

void TestMirrorFiles::anOlderVersionPutBackIsSent()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "aaaa"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(host.local().write("text.txt"_s, "old!"));
    QVERIFY(host.local().setLmd("text.txt"_s, longAgo()));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read("text.txt"_s), QByteArray("old!"));
    QCOMPARE(host.row("text.txt"_s).value("local_lmd"_s).toString(), "2021-03-04T05:06:07Z"_s);
}

void TestMirrorFiles::aTouchWithinTheToleranceIsNotSent()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "aaaa"));
    QVERIFY(host.local().setLmd("text.txt"_s, longAgo()));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(host.local().setLmd("text.txt"_s, longAgo().addSecs(3)));
    QVERIFY(host.awaitCycles(2));
    QCOMPARE(host.started().size(), 1);
    QVERIFY(host.local().setLmd("text.txt"_s, longAgo().addSecs(4)));
    VERIFY_AT_REST(host);
    QCOMPARE(host.started().size(), 2);
}

void TestMirrorFiles::oddTimesAreData()
{
    Host host;
    const QList<int> years = {1902, 1969, 1970, 1999, 2037, 2039, 2100, 2400};
    for (int year : years) {
        const QString name = "from %1.txt"_s.arg(year);
        QVERIFY(host.local().write(name, "x"));
        QVERIFY(host.local().setLmd(name, QDateTime(QDate(year, 1, 1), QTime(0, 0), Qt::UTC)));
    }
    // In the hour that a change to winter time repeats, and at the end of a second.
    QVERIFY(host.local().write("autumn.txt"_s, "x"));
    QVERIFY(
        host.local().setLmd("autumn.txt"_s, QDateTime(QDate(2023, 10, 29), QTime(1, 30, 59, 999), Qt::UTC)));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(host.restart());
    VERIFY_AT_REST(host);
    QCOMPARE(host.started().size(), years.size() + 1);
}

// The way that careful editors save.
void TestMirrorFiles::aFileReplacedByRenameIsSent()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "version 1"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(host.local().replace("text.txt"_s, "version 2, longer"));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read("text.txt"_s), QByteArray("version 2, longer"));
}

void TestMirrorFiles::aFileWithoutARowGoesOverTheDistantOne()
{
    Host host;
    QVERIFY(host.distant().write("text.txt"_s, "what was there before"));
    QVERIFY(host.local().write("text.txt"_s, "mine"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read("text.txt"_s), QByteArray("mine"));
}

void TestMirrorFiles::distantFilesOfOthersAreLeftAlone()
{
    Host host;
    QVERIFY(host.distant().write("theirs.txt"_s, "theirs"));
    QVERIFY(host.distant().write("deep/theirs.txt"_s, "theirs"));
    QVERIFY(host.local().write("mine.txt"_s, "mine"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().allFiles(), (QStringList{"deep/theirs.txt"_s, "mine.txt"_s, "theirs.txt"_s}));
    QCOMPARE(host.local().names(), QStringList{"mine.txt"_s});
    QVERIFY(host.row("theirs.txt"_s).isEmpty());
}

void TestMirrorFiles::directoriesAndHiddenFilesAreNotMirrored()
{
    Host host;
    QVERIFY(host.local().write(".hidden"_s, "h"));
    QVERIFY(host.local().write("deep/inner.txt"_s, "i"));
    QVERIFY(host.local().write("qt_temp.AbCdEf"_s, "t"));
    QVERIFY(host.local().write("plain.txt"_s, "p"));
    host.leaveOut("qt_temp.AbCdEf"_s);
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(host.awaitCycles(2));
    QCOMPARE(host.distant().allFiles(), QStringList{"plain.txt"_s});
    QVERIFY(host.row(".hidden"_s).isEmpty());
    QVERIFY(host.row("deep"_s).isEmpty());
    QVERIFY(host.row("qt_temp.AbCdEf"_s).isEmpty());
    QVERIFY(host.local().remove("qt_temp.AbCdEf"_s));
    VERIFY_AT_REST(host);
}

// The writer goes on while passes and copies look at the file.
void TestMirrorFiles::aFileThatGrowsWhileItIsSentEndsWhole()
{
    Host host;
    QByteArray content(int(kMebibyte), 'a');
    QVERIFY(host.local().write("growing.log"_s, content));
    QVERIFY(host.start());
    const QString path = host.local().filePath("growing.log"_s);
    for (int i = 0; i < 5; ++i) {
        const int sent = host.completedCount(path);
        const int begun = int(host.started().count(path));
        // In the middle of an operation, if one runs, otherwise before the next one is found.
        QVERIFY(
            waitFor([&] { return host.started().count(path) > begun || host.completedCount(path) > sent; }));
        const QByteArray more(100000 + i, char('b' + i));
        QVERIFY(host.local().append("growing.log"_s, more));
        content += more;
    }
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read("growing.log"_s), content);
}

// Same size, same second: only the announcement tells that the file changed.
void TestMirrorFiles::aChangeAnnouncedInFlightIsSentAgain()
{
    HostOptions options;
    options.syncIntervalMs = kNoCyclesMs;
    Host host(options);
    QVERIFY(host.start());
    QVERIFY(host.local().write("text.txt"_s, "version 1"));
    QVERIFY(host.local().setLmd("text.txt"_s, longAgo()));
    const QString path = host.local().filePath("text.txt"_s);

    bool isRewritten = false;
    connect(host.manager(), &VornSyncManager::syncStarted, &host, [&] {
        if (isRewritten)
            return;
        isRewritten = true;
        QVERIFY(host.local().write("text.txt"_s, "version 2"));
        QVERIFY(host.local().setLmd("text.txt"_s, longAgo()));
        host.manager()->notifyLocalFileChanged(Host::alias(), "text.txt"_s);
    });
    host.manager()->notifyLocalFileChanged(Host::alias(), "text.txt"_s);
    QVERIFY(waitFor([&] { return host.completedCount(path) == 2; }));
    QCOMPARE(host.settle(), QString());
    QCOMPARE(host.distant().read("text.txt"_s), QByteArray("version 2"));
}

void TestMirrorFiles::aVanishedFileWaitsForTheUser()
{
    Host host;
    QVERIFY(host.local().write("gone.txt"_s, "g"));
    QVERIFY(host.local().write("stays.txt"_s, "s"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(host.local().remove("gone.txt"_s));
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 1; }));
    QVERIFY(host.awaitCycles(3));

    // The distant copy is nobody's to remove but the user's.
    QCOMPARE(host.distant().read("gone.txt"_s), QByteArray("g"));
    const QVariantMap entry = host.manager()->errorFiles().value(0).toMap();
    QCOMPARE(entry.value("aliasName"_s).toString(), Host::alias());
    QCOMPARE(entry.value("fileName"_s).toString(), "gone.txt"_s);
    QCOMPARE(entry.value("errorCode"_s).toInt(), 2);
    QCOMPARE(entry.value("status"_s).toInt(), 17 | 128);
    QVERIFY(host.manager()->isAcknowledgeOnly(2));
    QCOMPARE(host.manager()->doneCount(), 1);

    host.leaveOut("gone.txt"_s);
    VERIFY_AT_REST(host);
}

void TestMirrorFiles::aFileThatVanishesBeforeItsTurnCostsNoOtherItsTurn()
{
    Host host;
    for (int i = 0; i < 6; ++i)
        QVERIFY(host.local().write("file %1.txt"_s.arg(i), QByteArray(10 + i, 'x')));
    host.expectErrors("Source file does not exist: '"_s);
    bool isRemoved = false;
    QVERIFY(host.start());
    // All six are handed out before the first one runs: the last one is taken away.
    QString last;
    connect(host.manager(), &VornSyncManager::syncCompleted, &host, [&](const QString& filePath) {
        if (isRemoved)
            return;
        isRemoved = true;
        last = host.started().last();
        QVERIFY(last != filePath);
        QVERIFY(QFile::remove(last));
    });
    QVERIFY(waitFor([&] { return host.manager()->doneCount() == 5; }));
    QVERIFY(isRemoved);
    // Five runs with 1, 2, 3 and 4 s between them; then the user is asked.
    QVERIFY(waitFor([&] { return host.completed().contains(qMakePair(last, false)); }));
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 1; }));
    QCOMPARE(host.seenErrorFiles(), QStringList{QFileInfo(last).fileName() + "/2"_s});
    host.leaveOut(QFileInfo(last).fileName());
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().names().size(), 5);
}

void TestMirrorFiles::aMissingDistantFileIsBelievedAtTheSecondLook()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(host.distant().remove("text.txt"_s));
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 1; }));
    QCOMPARE(host.manager()->errorFiles().value(0).toMap().value("errorCode"_s).toInt(), 15);
    QVERIFY(host.manager()->isRestoreOrDelete(15));
    QVERIFY(host.awaitCycles(3));
    QCOMPARE(host.status("text.txt"_s), 17 | 128);
    QVERIFY(!host.distant().exists("text.txt"_s));

    // Local is the restoring side: the host announces the file, and it is sent again.
    host.manager()->notifyLocalFileChanged(Host::alias(), "text.txt"_s);
    VERIFY_AT_REST(host);
    QCOMPARE(host.manager()->errorCount(), 0);
}

void TestMirrorFiles::aDistantFileThatGrewIsKept()
{
    Host host;
    QVERIFY(host.local().write("shared.txt"_s, "mine"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(host.distant().write("shared.txt"_s, "mine and theirs"));
    QVERIFY(waitFor([&] { return host.row("shared.txt"_s).value("size"_s).toInt() == 15; }));
    QVERIFY(host.awaitCycles(8)); // a further verification too
    QCOMPARE(host.distant().read("shared.txt"_s), QByteArray("mine and theirs"));
    QCOMPARE(host.local().read("shared.txt"_s), QByteArray("mine"));
    QCOMPARE(host.status("shared.txt"_s), 17);
    QCOMPARE(host.started().size(), 1);

    // A local change is sent as usual.
    QVERIFY(host.local().append("shared.txt"_s, " again"));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read("shared.txt"_s), QByteArray("mine again"));
}

void TestMirrorFiles::aDistantFileThatShrankWaitsForTheUser()
{
    Host host;
    QVERIFY(host.local().write("shared.txt"_s, "mine and long"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(host.distant().write("shared.txt"_s, "cut"));
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 1; }));
    QCOMPARE(host.manager()->errorFiles().value(0).toMap().value("errorCode"_s).toInt(), 7);
    QVERIFY(host.awaitCycles(8));
    QCOMPARE(host.manager()->errorCount(), 1);
    QCOMPARE(host.distant().read("shared.txt"_s), QByteArray("cut"));

    host.manager()->notifyLocalFileChanged(Host::alias(), "shared.txt"_s);
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read("shared.txt"_s), QByteArray("mine and long"));
}

// The rows are made to say what a crash between two steps may leave: up to date, with another size.
void TestMirrorFiles::aLocalChangeThatNobodySawIsFoundByVerification()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "some text"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    host.stop();
    QVERIFY(host.raw().exec("UPDATE file_tracking SET size = 3, status = 0 WHERE file_name = ?"_s,
                            {"text.txt"_s}));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
}

void TestMirrorFiles::aNotifiedFileIsSentAtOnce()
{
    HostOptions options;
    options.syncIntervalMs = kNoCyclesMs;
    Host host(options);
    QVERIFY(host.start());
    // Its first pass is over when a file that was there has been sent.
    QVERIFY(host.local().write("first.txt"_s, "f"));
    host.manager()->notifyLocalFileChanged(Host::alias(), "first.txt"_s);
    QCOMPARE(host.settle(), QString());

    QVERIFY(host.local().write("second.txt"_s, "second"));
    host.manager()->notifyLocalFileChanged(Host::alias(), "second.txt"_s);
    QCOMPARE(host.settle(), QString());
    QCOMPARE(host.distant().read("second.txt"_s), QByteArray("second"));
    QCOMPARE(host.errors(), QStringList());
}

// A change of the same size within the tolerance is seen by no pass; the host's word counts.
void TestMirrorFiles::anUnchangedFileIsSentWhenNotified()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "aaaa"));
    QVERIFY(host.local().setLmd("text.txt"_s, longAgo()));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    // At once: between the two steps a cycle would see a new time.
    QVERIFY(host.local().replace("text.txt"_s, "bbbb", longAgo()));
    QVERIFY(host.awaitCycles(7));
    QCOMPARE(host.distant().read("text.txt"_s), QByteArray("aaaa"));
    host.manager()->notifyLocalFileChanged(Host::alias(), "text.txt"_s);
    QVERIFY(waitFor([&] { return host.distant().read("text.txt"_s) == "bbbb"; }));
    VERIFY_AT_REST(host);
}

void TestMirrorFiles::aRequestedCycleFindsTheChange()
{
    HostOptions options;
    options.syncIntervalMs = kNoCyclesMs;
    Host host(options);
    QVERIFY(host.local().write("first.txt"_s, "f"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(host.local().write("second.txt"_s, "second"));
    host.manager()->requestSync();
    QCOMPARE(host.settle(), QString());
    QCOMPARE(host.distant().read("second.txt"_s), QByteArray("second"));
    QCOMPARE(host.errors(), QStringList());
}

QTEST_GUILESS_MAIN(TestMirrorFiles)
#include "test_mirror_files.moc"
