#include "host.h"
#include "literals.h"
#include "mounts.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

using namespace VornSyncTest;

namespace {

constexpr unsigned kNobody = 65534;

bool setMode(const QString& path, mode_t mode)
{
    return ::chmod(QFile::encodeName(path).constData(), mode) == 0;
}

// Everything below a directory, so that an ordinary user can work in it.
bool giveAway(const QString& path)
{
    if (::lchown(QFile::encodeName(path).constData(), kNobody, kNobody) != 0)
        return false;
    for (const QFileInfo& entry :
         QDir(path).entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)) {
        const bool isGiven =
            entry.isDir() && !entry.isSymLink()
                ? giveAway(entry.filePath())
                : ::lchown(QFile::encodeName(entry.filePath()).constData(), kNobody, kNobody) == 0;
        if (!isGiven)
            return false;
    }
    return true;
}

bool canLoseRights()
{
    const UnprivilegedScope scope;
    return scope.isActive();
}

} // namespace

// As an ordinary user: nobody refuses anything to root. The manager's threads are started inside the scope and
// have its rights.
class TestMirrorPermissions : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void anUnreadableLocalFileCostsNoOtherItsTurn();
    void anUnreadableDistantDirectoryChangesNothing();
    void aReadOnlyDistantDirectoryIsReported();
    void anUnreadableLocalDirectoryChangesNothing();
    void aLocalDirectoryThatMayNotBeEnteredChangesNothing();
    void anUnreadableDatabaseIsReported();
    void aReadOnlyDatabaseDirectoryIsReported();
    void aTrashRootThatMayNotBeWrittenIsReported();

private:
    void prepare(Host& host);
};

void TestMirrorPermissions::initTestCase()
{
    if (!canLoseRights())
        QSKIP("cannot become a user without rights");
}

void TestMirrorPermissions::prepare(Host& host)
{
    if (::geteuid() != 0)
        return;
    QVERIFY(giveAway(host.pair().rootPath()));
    QVERIFY(giveAway(host.cyclePair().rootPath()));
}

void TestMirrorPermissions::anUnreadableLocalFileCostsNoOtherItsTurn()
{
    HostOptions options;
    options.syncIntervalMs = kNoCyclesMs;
    Host host(options);
    QVERIFY(host.local().write("secret.txt"_s, "secret"));
    QVERIFY(host.local().write("open.txt"_s, "open"));
    prepare(host);
    const QString path = host.local().filePath("secret.txt"_s);
    QVERIFY(setMode(path, 0));
    const UnprivilegedScope scope;
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return host.status("open.txt"_s) == 17; }));
    const QString error =
        "Synchronizer error: File can't be opened: '%1'. Error: Permission denied"_s.arg(path);
    QVERIFY(waitFor([&] { return host.completed().contains(qMakePair(path, false)); }));
    QCOMPARE(host.takeErrors(), QStringList({error, error, error, error, error}));
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 1; }));
    QCOMPARE(host.seenErrorFiles(), QStringList{"secret.txt/3"_s});
    QVERIFY(!host.distant().exists("secret.txt"_s));

    QVERIFY(host.awaitCycles(1));
    QCOMPARE(host.status("secret.txt"_s), 20);
    QVERIFY(setMode(path, 0600));
    QVERIFY(host.age("secret.txt"_s));
    QVERIFY(host.awaitCycles(1));
    VERIFY_AT_REST(host);
}

void TestMirrorPermissions::anUnreadableDistantDirectoryChangesNothing()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "t"));
    prepare(host);
    const UnprivilegedScope scope;
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    for (mode_t mode : {mode_t(0000), mode_t(0300), mode_t(0100)}) {
        QVERIFY(setMode(host.pair().distantPath(), mode));
        QVERIFY(host.awaitCycles(8));
        QCOMPARE(host.manager()->errorCount(), 0);
        QCOMPARE(host.status("text.txt"_s), 17);
    }
    QVERIFY(host.local().write("new.txt"_s, "n"));
    QVERIFY(host.awaitCycles(2));
    QVERIFY(host.row("new.txt"_s).isEmpty());
    QVERIFY(setMode(host.pair().distantPath(), 0755));
    VERIFY_AT_REST(host);
}

void TestMirrorPermissions::aReadOnlyDistantDirectoryIsReported()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "t"));
    prepare(host);
    const UnprivilegedScope scope;
    QVERIFY(setMode(host.pair().distantPath(), 0555));
    QVERIFY(host.start());
    const QString error =
        "Synchronizer error: Destination directory is not writable: '%1'."_s.arg(host.pair().distantPath());
    QVERIFY(waitFor([&] { return host.hasError(error); }));
    host.expectErrors(error);
    QVERIFY(setMode(host.pair().distantPath(), 0755));
    VERIFY_AT_REST(host);
    QCOMPARE(host.seenErrorFiles(), QStringList());
}

void TestMirrorPermissions::anUnreadableLocalDirectoryChangesNothing()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "t"));
    prepare(host);
    const UnprivilegedScope scope;
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(setMode(host.pair().localPath(), 0));
    const QString error = "Synchronizer error: ERROR: Local directory can't be listed: '%1'. Error: "_s.arg(
        host.pair().localPath());
    QVERIFY(waitFor([&] { return !host.errors().filter(error).isEmpty(); }));
    QVERIFY(host.awaitCycles(8));
    QCOMPARE(host.manager()->errorCount(), 0);
    QCOMPARE(host.status("text.txt"_s), 17);
    QVERIFY(setMode(host.pair().localPath(), 0755));
    host.expectErrors(error);
    VERIFY_AT_REST(host);
}

// It can be listed, and not one file in it be looked at.
void TestMirrorPermissions::aLocalDirectoryThatMayNotBeEnteredChangesNothing()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "t"));
    prepare(host);
    const UnprivilegedScope scope;
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(setMode(host.pair().localPath(), 0444));
    QVERIFY(host.awaitCycles(8));
    QCOMPARE(host.manager()->errorCount(), 0);
    QCOMPARE(host.status("text.txt"_s), 17);
    QVERIFY(setMode(host.pair().localPath(), 0755));
    VERIFY_AT_REST(host);
}

void TestMirrorPermissions::anUnreadableDatabaseIsReported()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    host.stop();
    prepare(host);
    const UnprivilegedScope scope;
    QVERIFY(setMode(host.databasePath(), 0));
    const QByteArray before = [&] {
        QFile file(host.databasePath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }();
    QCOMPARE(before, QByteArray());
    QVERIFY(!host.start());
    QVERIFY(waitFor([&] {
        return host.hasError("ERROR: State database is not usable: '%1'."_s.arg(host.databasePath()));
    }));
    QCOMPARE(host.trace().criticals().size(), 1);
    host.stop();

    QVERIFY(setMode(host.databasePath(), 0600));
    host.takeErrors();
    host.trace().clear();
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QCOMPARE(host.started().size(), 1);
}

void TestMirrorPermissions::aReadOnlyDatabaseDirectoryIsReported()
{
    const Pair place;
    HostOptions options;
    options.databasePath = place.rootPath() + "/state.sqlite"_s;
    Host host(options);
    prepare(host);
    if (::geteuid() == 0)
        QVERIFY(giveAway(place.rootPath()));
    QVERIFY(setMode(place.rootPath(), 0555));
    {
        const UnprivilegedScope scope;
        QVERIFY(!host.start());
        QVERIFY(waitFor([&] {
            return host.hasError("ERROR: State database is not usable: '%1'."_s.arg(options.databasePath));
        }));
        host.stop();
    }
    QVERIFY(setMode(place.rootPath(), 0755));
    QVERIFY(!QFile::exists(options.databasePath));
}

void TestMirrorPermissions::aTrashRootThatMayNotBeWrittenIsReported()
{
    Host host;
    prepare(host);
    const UnprivilegedScope scope;
    QVERIFY(setMode(host.trashRoot(), 0555));
    QVERIFY(!host.start());
    QCOMPARE(host.takeErrors(), QStringList{"ERROR: Failure to create trash directory for alias: 'docs'."_s});
    QVERIFY(setMode(host.trashRoot(), 0755));
    QVERIFY(host.restart());
    VERIFY_AT_REST(host);
}

QTEST_GUILESS_MAIN(TestMirrorPermissions)
#include "test_mirror_permissions.moc"
