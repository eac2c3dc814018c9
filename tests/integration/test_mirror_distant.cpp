#include "host.h"
#include "literals.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <functional>
#include <unistd.h>

using namespace VornSyncTest;

namespace {

bool move(const QString& from, const QString& to)
{
    return ::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
}

QString aside(const QString& path)
{
    return path + ".aside"_s;
}

QString warningFor(const QString& alias)
{
    return "Warning: Given distant path for alias: '"_s + alias + "' does not exist or is not a directory"_s;
}

} // namespace

class TestMirrorDistant : public QObject
{
    Q_OBJECT

private slots:
    void aDistantThatIsMissingAtTheStartIsWaitedFor();
    void aDistantThatIsAFileAtTheStartIsWaitedFor();
    void anUnreachableDistantChangesNothing_data();
    void anUnreachableDistantChangesNothing();
    void aDistantThatGoesInTheMiddleOfCopiesIsRetried();
    void aSuspendedPairIsLeftAloneUntilItComesBack();
    void comingAndGoingQuicklyEndsWell();
    void aLocalDirectoryThatGoesChangesNothing();
    void aLocalDirectoryReplacedByAFileIsReported();
};

void TestMirrorDistant::aDistantThatIsMissingAtTheStartIsWaitedFor()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(QDir().rmdir(host.pair().distantPath()));
    QVERIFY(host.start());
    QCOMPARE(host.takeErrors(), QStringList{warningFor("docs"_s)});
    QVERIFY(host.manager()->isAliasDirectorySynchronised("docs"_s));
    QVERIFY(host.awaitCycles(3));
    QVERIFY(host.row("text.txt"_s).isEmpty());
    QCOMPARE(host.raw().directoryRow(host.directoryId()).value("available"_s).toInt(), 0);

    QVERIFY(QDir().mkdir(host.pair().distantPath()));
    QVERIFY(host.awaitCycles(3));
    QVERIFY(host.row("text.txt"_s).isEmpty());
    host.manager()->setDirectoryAvailability("docs"_s, true);
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read("text.txt"_s), QByteArray("t"));
}

void TestMirrorDistant::aDistantThatIsAFileAtTheStartIsWaitedFor()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(QDir().rmdir(host.pair().distantPath()));
    QVERIFY(Side(host.pair().rootPath()).write("distant"_s, "a file"));
    QVERIFY(host.start());
    QCOMPARE(host.takeErrors(), QStringList{warningFor("docs"_s)});

    // Declared available all the same, it is seen to be none.
    host.manager()->setDirectoryAvailability("docs"_s, true);
    QVERIFY(host.awaitCycles(3));
    QVERIFY(host.row("text.txt"_s).isEmpty());
    QVERIFY(QFile::remove(host.pair().distantPath()));
    QVERIFY(QDir().mkdir(host.pair().distantPath()));
    VERIFY_AT_REST(host);
}

void TestMirrorDistant::anUnreachableDistantChangesNothing_data()
{
    QTest::addColumn<QString>("kind");
    QTest::newRow("missing") << "missing"_s;
    QTest::newRow("a file in its place") << "file"_s;
    QTest::newRow("a link to nowhere") << "nowhere"_s;
    QTest::newRow("a link to itself") << "loop"_s;
    QTest::newRow("the way to it is missing") << "parent"_s;
}

void TestMirrorDistant::anUnreachableDistantChangesNothing()
{
    QFETCH(QString, kind);
    Host host;
    // One level deeper, so that the way to it can go too.
    const QString mount = host.pair().distantPath();
    const QString distant = mount + "/share"_s;
    QVERIFY(QDir().mkpath(distant));
    const Side share(distant);
    QVERIFY(host.start());
    QVERIFY(host.manager()->addDirectory("docs"_s, host.pair().localPath(), distant));
    QVERIFY(host.local().write("sent.txt"_s, "sent"));
    QVERIFY(waitFor([&] { return host.status("sent.txt"_s) == 17; }));

    const QString gone = kind == "parent"_s ? mount : distant;
    QVERIFY(move(gone, aside(gone)));
    if (kind == "file"_s)
        QVERIFY(Side(mount).write("share"_s, "a file"));
    if (kind == "nowhere"_s || kind == "loop"_s)
        QCOMPARE(::symlink(kind == "loop"_s ? "share" : "nowhere", qPrintable(distant)), 0);

    // A new file and a changed one wait for the share; enough cycles for two missing observations and a
    // verification, none of which may believe in a missing file.
    const QVariantMap before = host.row("sent.txt"_s);
    QVERIFY(host.local().write("new.txt"_s, "new"));
    QVERIFY(host.local().append("sent.txt"_s, " and changed"));
    QVERIFY(host.awaitCycles(8));
    QCOMPARE(host.manager()->errorCount(), 0);
    QVERIFY(host.row("new.txt"_s).isEmpty());
    // A verification may have seen that the local file changed.
    const int status = host.status("sent.txt"_s);
    QVERIFY2(status == 17 || status == 0, qPrintable(QString::number(status)));
    QCOMPARE(host.row("sent.txt"_s).value("size"_s), before.value("size"_s));

    if (kind == "file"_s || kind == "nowhere"_s || kind == "loop"_s)
        QVERIFY(QFile::remove(distant));
    QVERIFY(move(aside(gone), gone));
    QVERIFY(
        waitFor([&] { return share.read("sent.txt"_s) == "sent and changed" && share.exists("new.txt"_s); }));
    QVERIFY(waitFor([&] { return host.manager()->doneCount() == 2 && host.manager()->isIdle(); }));
    QCOMPARE(share.read("new.txt"_s), QByteArray("new"));
    QCOMPARE(host.manager()->errorCount(), 0);
    QCOMPARE(host.raw().integrityProblems(), QString());
    QCOMPARE(host.trace().criticals(), QStringList());
}

void TestMirrorDistant::aDistantThatGoesInTheMiddleOfCopiesIsRetried()
{
    Host host;
    for (int i = 0; i < 6; ++i)
        QVERIFY(host.local().write("file %1.txt"_s.arg(i), QByteArray(1000 + i, 'x')));
    host.expectErrors("destination path not available: '"_s);
    host.expectErrors("Destination directory does not exist: '"_s);
    host.expectErrors("Failure to copy file: '"_s);
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return host.completed().size() == 2; }));
    const QString distant = host.pair().distantPath();
    QVERIFY(move(distant, aside(distant)));
    // The next ones fail, and are tried again 1 s later.
    QVERIFY(waitFor([&] { return !host.errors().isEmpty(); }));
    QVERIFY(move(aside(distant), distant));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().names().size(), 6);
    QCOMPARE(host.seenErrorFiles(), QStringList());
}

void TestMirrorDistant::aSuspendedPairIsLeftAloneUntilItComesBack()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "version 1"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    for (int round = 2; round < 5; ++round) {
        host.manager()->setDirectoryAvailability("docs"_s, false);
        QVERIFY(host.awaitCycles(1)); // a cycle that had begun before goes to its end
        const int sent = int(host.started().size());
        const QByteArray content = QByteArray("version ") + QByteArray(round, '!');
        QVERIFY(host.local().write("text.txt"_s, content));
        QVERIFY(host.awaitCycles(2));
        QCOMPARE(host.started().size(), sent);
        QVERIFY(host.manager()->isAliasDirectorySynchronised("docs"_s));
        host.manager()->setDirectoryAvailability("docs"_s, true);
        QVERIFY(waitFor([&] { return host.distant().read("text.txt"_s) == content; }));
    }
    VERIFY_AT_REST(host);
    QCOMPARE(host.errors(), QStringList());
}

void TestMirrorDistant::comingAndGoingQuicklyEndsWell()
{
    Host host;
    QVERIFY(host.addPair("more"_s));
    QVERIFY(host.local().write("a.txt"_s, "a"));
    QVERIFY(host.pair("more"_s).local().write("b.txt"_s, "b"));
    QVERIFY(host.start());
    for (int i = 0; i < 20; ++i) {
        host.manager()->setDirectoryAvailability("docs"_s, i % 2 == 0);
        host.manager()->setDirectoryAvailability("more"_s, i % 3 == 0);
    }
    host.manager()->setDirectoryAvailability("docs"_s, true);
    host.manager()->setDirectoryAvailability("more"_s, true);
    host.manager()->setDirectoryAvailability("docs"_s, true);
    VERIFY_AT_REST(host);
    QCOMPARE(host.errors(), QStringList());
}

void TestMirrorDistant::aLocalDirectoryThatGoesChangesNothing()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    const QString local = host.pair().localPath();
    QVERIFY(move(local, aside(local)));
    QVERIFY(host.awaitCycles(8));
    QCOMPARE(host.manager()->errorCount(), 0);
    QCOMPARE(host.status("text.txt"_s), 17);
    QCOMPARE(host.distant().read("text.txt"_s), QByteArray("t"));
    QVERIFY(move(aside(local), local));
    VERIFY_AT_REST(host);
    QVERIFY(host.local().append("text.txt"_s, " again"));
    VERIFY_AT_REST(host);
}

void TestMirrorDistant::aLocalDirectoryReplacedByAFileIsReported()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    const QString local = host.pair().localPath();
    QVERIFY(move(local, aside(local)));
    QVERIFY(Side(host.pair().rootPath()).write("local"_s, "a file"));
    const QString start =
        "Synchronizer error: ERROR: Local directory can't be listed: '"_s + local + "'. Error: "_s;
    QVERIFY(waitFor([&] { return !host.errors().filter(start).isEmpty(); }));
    QVERIFY(host.awaitCycles(8));
    QCOMPARE(host.manager()->errorCount(), 0);
    QCOMPARE(host.status("text.txt"_s), 17);
    QVERIFY(QFile::remove(local));
    QVERIFY(move(aside(local), local));
    host.expectErrors(start);
    VERIFY_AT_REST(host);
}

QTEST_GUILESS_MAIN(TestMirrorDistant)
#include "test_mirror_distant.moc"
