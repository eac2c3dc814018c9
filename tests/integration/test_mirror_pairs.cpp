#include "host.h"
#include "literals.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <unistd.h>

using namespace VornSyncTest;

class TestMirrorPairs : public QObject
{
    Q_OBJECT

private slots:
    void severalPairsDoNotMix();
    void pairsAreLookedUp();
    void aPairThatIsRemovedIsForgottenAndNothingElse();
    void aPairThatIsRemovedComesBackAnew();
    void aPairMayBeRemovedWhileItsFilesAreSent();
    void aPairMayBeRemovedBeforeItStarts();
    void aPairMayBeRemovedWhilePaused();
    void anUnknownPairCannotBeRemoved();
    void registeringAgainMovesTheDistantSide();
    void anAliasKeepsItsLocalDirectory();
    void aLocalDirectoryKeepsItsAlias();
    void twoPairsMayShareADistantDirectory();
    void badPairsAreRefused_data();
    void badPairsAreRefused();
    void sameDirectoriesAreRefused_data();
    void sameDirectoriesAreRefused();
    void nestedDirectoriesAreMirrored();
    void aTrashDirectoryThatCannotBeMadeIsReported();
    void aRelativeTrashRootIsTakenFromTheWorkingDirectory();
    void pausedPairsAreLeftAlone();
    void pausingTwiceAndResumingTwiceAreIgnored();
    void aPauseLetsOperationsEnd();
};

void TestMirrorPairs::severalPairsDoNotMix()
{
    Host host;
    QVERIFY(host.addPair("more"_s));
    QVERIFY(host.addPair("it's \"odd\" %1"_s));
    QVERIFY(host.local().write("same name.txt"_s, "in docs"));
    QVERIFY(host.pair("more"_s).local().write("same name.txt"_s, "in more"));
    QVERIFY(host.pair("it's \"odd\" %1"_s).local().write("same name.txt"_s, "in odd"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read("same name.txt"_s), QByteArray("in docs"));
    QCOMPARE(host.pair("more"_s).distant().read("same name.txt"_s), QByteArray("in more"));
    QCOMPARE(host.pair("it's \"odd\" %1"_s).distant().read("same name.txt"_s), QByteArray("in odd"));
    QVERIFY(QDir(host.trashRoot() + "/it's \"odd\" %1"_s).exists());

    // One of them away, the others go on.
    host.manager()->setDirectoryAvailability("more"_s, false);
    QVERIFY(host.local().append("same name.txt"_s, " again"));
    QVERIFY(waitFor([&] { return host.distant().read("same name.txt"_s) == "in docs again"; }));
    host.manager()->setDirectoryAvailability("more"_s, true);
    VERIFY_AT_REST(host);
}

void TestMirrorPairs::pairsAreLookedUp()
{
    Host host;
    QVERIFY(host.start());
    const VornSyncManager& manager = *host.manager();
    QVERIFY(manager.isAliasDirectorySynchronised("docs"_s));
    QVERIFY(!manager.isAliasDirectorySynchronised("DOCS"_s));
    QVERIFY(!manager.isAliasDirectorySynchronised("more"_s));
    QVERIFY(!manager.isAliasDirectorySynchronised(QString()));
    QVERIFY(manager.isLocalDirectorySynchronised(host.pair().localPath()));
    QVERIFY(!manager.isLocalDirectorySynchronised(host.pair().distantPath()));
    QCOMPARE(manager.getLocalDirSynchronizedAlias(host.pair().localPath()), "docs"_s);
    QVERIFY(manager.getLocalDirSynchronizedAlias(host.pair().distantPath()).isNull());

    host.manager()->setDirectoryAvailability("docs"_s, false);
    QVERIFY(manager.isAliasDirectorySynchronised("docs"_s));
    QCOMPARE(host.errors(), QStringList());
}

void TestMirrorPairs::aPairThatIsRemovedIsForgottenAndNothingElse()
{
    Host host;
    QVERIFY(host.addPair("more"_s));
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(host.pair("more"_s).local().write("other.txt"_s, "o"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(host.manager()->delDirectory("more"_s));
    QVERIFY(!host.manager()->isAliasDirectorySynchronised("more"_s));
    QCOMPARE(host.manager()->doneCount(), 1);
    QCOMPARE(host.raw().value("SELECT COUNT(*) FROM file_tracking"_s).toInt(), 1);
    const Side local = host.pair("more"_s).local();
    const Side distant = host.pair("more"_s).distant();
    QCOMPARE(local.read("other.txt"_s), QByteArray("o"));
    QCOMPARE(distant.read("other.txt"_s), QByteArray("o"));
    QVERIFY(local.append("other.txt"_s, " not seen"));
    QVERIFY(host.awaitCycles(3));
    QCOMPARE(distant.read("other.txt"_s), QByteArray("o"));
    host.forgetPair("more"_s);
    VERIFY_AT_REST(host);
}

void TestMirrorPairs::aPairThatIsRemovedComesBackAnew()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "version 1"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    for (int i = 0; i < 3; ++i) {
        QVERIFY(host.manager()->delDirectory("docs"_s));
        QVERIFY(host.local().append("text.txt"_s, " more"));
        QVERIFY(host.manager()->addDirectory("docs"_s, host.pair().localPath(), host.pair().distantPath()));
        VERIFY_AT_REST(host);
    }
    QCOMPARE(host.distant().read("text.txt"_s), QByteArray("version 1 more more more"));
    QCOMPARE(host.errors(), QStringList());
}

void TestMirrorPairs::aPairMayBeRemovedWhileItsFilesAreSent()
{
    Host host;
    for (int i = 0; i < 4; ++i)
        QVERIFY(host.local().write("file %1"_s.arg(i), QByteArray(300000, char('a' + i))));
    QVERIFY(host.start());
    for (int i = 0; i < 3; ++i) {
        const int sent = int(host.started().size());
        QVERIFY(waitFor([&] { return host.started().size() > sent; }));
        QVERIFY(host.manager()->delDirectory("docs"_s));
        QVERIFY(host.manager()->addDirectory("docs"_s, host.pair().localPath(), host.pair().distantPath()));
    }
    VERIFY_AT_REST(host);
    QCOMPARE(host.errors(), QStringList());
    QCOMPARE(host.distant().names().size(), 4);
}

void TestMirrorPairs::aPairMayBeRemovedBeforeItStarts()
{
    Host host;
    QVERIFY(host.addPair("more"_s));
    QVERIFY(host.pair("more"_s).local().write("text.txt"_s, "t"));
    QVERIFY(host.start());
    QVERIFY(host.manager()->delDirectory("more"_s));
    QVERIFY(host.awaitCycles(3));
    QCOMPARE(host.pair("more"_s).distant().names(), QStringList());
    host.forgetPair("more"_s);
    VERIFY_AT_REST(host);
}

void TestMirrorPairs::aPairMayBeRemovedWhilePaused()
{
    Host host;
    QVERIFY(host.addPair("more"_s));
    QVERIFY(host.pair("more"_s).local().write("text.txt"_s, "t"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    host.manager()->pauseAll();
    QVERIFY(host.manager()->delDirectory("more"_s));
    host.manager()->resumeAll();
    QVERIFY(host.local().write("text.txt"_s, "t"));
    host.forgetPair("more"_s);
    VERIFY_AT_REST(host);
    QVERIFY(!host.manager()->isAliasDirectorySynchronised("more"_s));
}

void TestMirrorPairs::anUnknownPairCannotBeRemoved()
{
    Host host;
    QVERIFY(host.start());
    QVERIFY(!host.manager()->delDirectory("nobody"_s));
    QCOMPARE(host.takeErrors(),
             QStringList{"Warning: Directory not found in database for alias: 'nobody'."_s});
    VERIFY_AT_REST(host);
}

void TestMirrorPairs::registeringAgainMovesTheDistantSide()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    const Side other(host.pair().rootPath() + "/other"_s);
    QVERIFY(other.makeDirectory("."_s));
    QVERIFY(host.manager()->addDirectory("docs"_s, host.pair().localPath(), other.path()));
    QVERIFY(host.local().write("new.txt"_s, "n"));
    QVERIFY(waitFor([&] { return other.read("new.txt"_s) == "n"; }));
    // What was sent to the old place is missing in the new one: the user decides whether it is restored.
    QVERIFY(waitFor([&] { return host.seenErrorFiles() == QStringList{"text.txt/15"_s}; }));
    host.manager()->notifyLocalFileChanged("docs"_s, "text.txt"_s);
    QVERIFY(waitFor([&] { return other.read("text.txt"_s) == "t"; }));
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 0 && host.manager()->doneCount() == 2; }));
    QCOMPARE(host.distant().names(), QStringList{"text.txt"_s});
    QCOMPARE(host.raw().value("SELECT distant_path FROM directories WHERE alias_name = 'docs'"_s).toString(),
             other.path());
}

void TestMirrorPairs::anAliasKeepsItsLocalDirectory()
{
    Host host;
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(host.start());
    const Side other(host.pair().rootPath() + "/other"_s);
    QVERIFY(other.write("theirs.txt"_s, "o"));
    QVERIFY(host.manager()->addDirectory("docs"_s, other.path(), host.pair().distantPath()));
    QVERIFY(!host.manager()->isLocalDirectorySynchronised(other.path()));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().names(), QStringList{"text.txt"_s});
}

void TestMirrorPairs::aLocalDirectoryKeepsItsAlias()
{
    Host host;
    QVERIFY(host.start());
    QVERIFY(!host.manager()->addDirectory("second"_s, host.pair().localPath(), host.pair().distantPath()));
    QCOMPARE(host.takeErrors(),
             QStringList{"ERROR: Failure to add directory in database for alias: 'second'."_s});
    QVERIFY(!host.manager()->isAliasDirectorySynchronised("second"_s));
    VERIFY_AT_REST(host);
}

void TestMirrorPairs::twoPairsMayShareADistantDirectory()
{
    Host host;
    QVERIFY(host.start());
    const Side second(host.pair().rootPath() + "/second"_s);
    QVERIFY(second.write("from second.txt"_s, "s"));
    QVERIFY(host.local().write("from docs.txt"_s, "d"));
    QVERIFY(host.manager()->addDirectory("second"_s, second.path(), host.pair().distantPath()));
    QVERIFY(waitFor([&] { return host.status("from second.txt"_s, "second"_s) == 17; }));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().names(), (QStringList{"from docs.txt"_s, "from second.txt"_s}));
    QVERIFY(host.row("from docs.txt"_s, "second"_s).isEmpty());
}

void TestMirrorPairs::badPairsAreRefused_data()
{
    QTest::addColumn<QString>("alias");
    QTest::addColumn<QString>("local"); // below the pair's root
    QTest::addColumn<QString>("error");
    const QString noLocal = "ERROR: Given local path for alias: '%1' does not exist or is not a directory"_s;
    QTest::newRow("local missing") << "a"_s
                                   << "missing"_s << noLocal;
    QTest::newRow("local a file") << "a"_s
                                  << "file"_s << noLocal;
    QTest::newRow("local a file's child") << "a"_s
                                          << "file/child"_s << noLocal;
    const QString noTrash = "ERROR: Alias: '%1' cannot name a trash directory."_s;
    QTest::newRow("alias empty") << QString() << "local"_s << noTrash;
    QTest::newRow("alias dot") << "."_s
                               << "local"_s << noTrash;
    QTest::newRow("alias dot dot") << ".."_s
                                   << "local"_s << noTrash;
    QTest::newRow("alias leaves") << "../elsewhere"_s
                                  << "local"_s << noTrash;
    QTest::newRow("alias leaves later") << "a/../../elsewhere"_s
                                        << "local"_s << noTrash;
    QTest::newRow("alias comes back") << "a/.."_s
                                      << "local"_s << noTrash;
    QTest::newRow("alias NUL") << "a"_s + QChar(QChar::Null) << "local"_s << noTrash;
}

void TestMirrorPairs::badPairsAreRefused()
{
    QFETCH(QString, alias);
    QFETCH(QString, local);
    QFETCH(QString, error);
    Host host;
    host.create();
    const Side root(host.pair().rootPath());
    QVERIFY(root.write("file"_s, "a file"));
    const QStringList before = root.names();
    QVERIFY(!host.manager()->addDirectory(alias, root.filePath(local), host.pair().distantPath()));
    QCOMPARE(host.takeErrors(), QStringList{error.arg(alias)});
    QCOMPARE(host.raw().value("SELECT COUNT(*) FROM directories"_s).toInt(), 0);
    QCOMPARE(root.names(), before);
    QCOMPARE(Side(host.trashRoot()).names(), QStringList());
    QVERIFY(host.registerPairs());
    VERIFY_AT_REST(host);
}

void TestMirrorPairs::sameDirectoriesAreRefused_data()
{
    QTest::addColumn<QString>("local");
    QTest::addColumn<QString>("distant");
    QTest::newRow("local and distant") << "local"_s
                                       << "local"_s;
    QTest::newRow("written with a separator") << "local"_s
                                              << "local/"_s;
    QTest::newRow("written with dots") << "local"_s
                                       << "distant/../local/."_s;
    QTest::newRow("through a link") << "local"_s
                                    << "link to local"_s;
    QTest::newRow("local and trash") << "trash/docs"_s
                                     << "distant"_s;
    QTest::newRow("distant and trash") << "local"_s
                                       << "trash/docs"_s;
    QTest::newRow("distant missing and trash") << "local"_s
                                               << "trash/./docs"_s;
}

void TestMirrorPairs::sameDirectoriesAreRefused()
{
    QFETCH(QString, local);
    QFETCH(QString, distant);
    Host host;
    host.create();
    const Side root(host.pair().rootPath());
    QCOMPARE(::symlink("local", qPrintable(root.filePath("link to local"_s))), 0);
    if (local == "trash/docs"_s)
        QVERIFY(root.makeDirectory(local));
    QVERIFY(!host.manager()->addDirectory("docs"_s, root.filePath(local), root.filePath(distant)));
    QCOMPARE(
        host.takeErrors(),
        QStringList{"ERROR: Local, distant and trash directories of alias: 'docs' must be different."_s});
    QCOMPARE(host.raw().value("SELECT COUNT(*) FROM directories"_s).toInt(), 0);
}

void TestMirrorPairs::nestedDirectoriesAreMirrored()
{
    Host host;
    QVERIFY(host.start());
    const Side inner(host.local().filePath("inner"_s));
    QVERIFY(inner.makeDirectory("mirror"_s));
    const Side mirror(inner.filePath("mirror"_s));
    QVERIFY(inner.write("deep.txt"_s, "deep"));
    QVERIFY(host.local().write("flat.txt"_s, "flat"));
    QVERIFY(host.manager()->addDirectory("inner"_s, inner.path(), mirror.path()));
    QVERIFY(waitFor([&] { return host.status("deep.txt"_s, "inner"_s) == 17; }));
    VERIFY_AT_REST(host);
    QCOMPARE(mirror.allFiles(), QStringList{"deep.txt"_s});
    QCOMPARE(host.distant().allFiles(), QStringList{"flat.txt"_s});
}

void TestMirrorPairs::aTrashDirectoryThatCannotBeMadeIsReported()
{
    HostOptions options;
    const Pair place;
    QVERIFY(Side(place.rootPath()).write("a file"_s, "f"));
    options.trashRoot = place.rootPath() + "/a file/below it"_s;
    Host host(options);
    host.create();
    QVERIFY(!host.manager()->addDirectory("docs"_s, host.pair().localPath(), host.pair().distantPath()));
    QCOMPARE(host.takeErrors(), QStringList{"ERROR: Failure to create trash directory for alias: 'docs'."_s});
    QCOMPARE(host.raw().value("SELECT COUNT(*) FROM directories"_s).toInt(), 0);
}

void TestMirrorPairs::aRelativeTrashRootIsTakenFromTheWorkingDirectory()
{
    const QString before = QDir::currentPath();
    const Pair place;
    QVERIFY(QDir::setCurrent(place.rootPath()));
    {
        HostOptions options;
        options.trashRoot = "some/trash"_s;
        Host host(options);
        QVERIFY(host.local().write("text.txt"_s, "t"));
        QVERIFY(host.start());
        VERIFY_AT_REST(host);
        QVERIFY(QDir(place.rootPath() + "/some/trash/docs"_s).exists());
        host.create();
        QVERIFY(
            !host.manager()->addDirectory("../docs"_s, host.pair().localPath(), host.pair().distantPath()));
        QCOMPARE(host.takeErrors(), QStringList{"ERROR: Alias: '../docs' cannot name a trash directory."_s});
    }
    QVERIFY(QDir::setCurrent(before));
}

void TestMirrorPairs::pausedPairsAreLeftAlone()
{
    Host host;
    QVERIFY(host.addPair("more"_s));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    host.manager()->pauseAll();
    QVERIFY(host.manager()->isPausedAll());
    // One cycle may run still; no further one begins.
    QVERIFY(waitFor([&] {
        return host.raw().value("SELECT COUNT(*) FROM directories WHERE available = 1"_s).toInt() == 0;
    }));
    const int sent = int(host.started().size());
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(host.pair("more"_s).local().write("text.txt"_s, "t"));
    host.manager()->requestSync();
    // A pass that the host asks for by name of a file still runs: it stands behind all requests before it.
    QVERIFY(host.local().write("announced.txt"_s, "a"));
    host.manager()->notifyLocalFileChanged("docs"_s, "announced.txt"_s);
    QVERIFY(waitFor([&] { return host.status("announced.txt"_s) == 17; }));
    QCOMPARE(host.started().size(), sent + 1);
    QVERIFY(host.row("text.txt"_s).isEmpty());

    host.manager()->resumeAll();
    QVERIFY(!host.manager()->isPausedAll());
    VERIFY_AT_REST(host);
    QCOMPARE(host.pair("more"_s).distant().read("text.txt"_s), QByteArray("t"));
}

void TestMirrorPairs::pausingTwiceAndResumingTwiceAreIgnored()
{
    Host host;
    QVERIFY(host.start());
    host.manager()->resumeAll();
    QVERIFY(!host.manager()->isPausedAll());
    host.manager()->pauseAll();
    host.manager()->pauseAll();
    QVERIFY(host.manager()->isPausedAll());
    host.manager()->resumeAll();
    QVERIFY(!host.manager()->isPausedAll());
    host.manager()->resumeAll();
    QVERIFY(host.local().write("text.txt"_s, "t"));
    VERIFY_AT_REST(host);
}

void TestMirrorPairs::aPauseLetsOperationsEnd()
{
    Host host;
    for (int i = 0; i < 3; ++i)
        QVERIFY(host.local().write("file %1"_s.arg(i), QByteArray(1000, char('a' + i))));
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return host.started().size() == 3; }));
    host.manager()->pauseAll();
    QVERIFY(waitFor([&] { return host.manager()->isIdle(); }));
    QCOMPARE(host.completed().size(), 3);
    QCOMPARE(host.manager()->doneCount(), 3);
    QCOMPARE(host.distant().names().size(), 3);
    host.manager()->resumeAll();
    VERIFY_AT_REST(host);
}

QTEST_GUILESS_MAIN(TestMirrorPairs)
#include "test_mirror_pairs.moc"
