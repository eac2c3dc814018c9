#include "test_cli_commands_support.h"

#include "mounts.h"
#include "wait.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

using namespace VornSyncTest;

namespace {

constexpr int kUpToDate = 17;

#define VERIFY_EXIT(result, code) QVERIFY2((result).exitCode == (code), qPrintable((result).words()))

QStringList words(const char* text)
{
    QStringList list = QString::fromUtf8(text).split(QLatin1Char('|'));
    return list;
}

} // namespace

// What a command refuses, with which text and exit code, and that nothing has changed afterwards.
class TestCliCommandsRefused : public QObject
{
    Q_OBJECT

private slots:
    void usage_data();
    void usage();
    void help();
    void refusedByTheHost_data();
    void refusedByTheHost();
    void renameOntoAKnownName();
    void renameOntoADanglingLink();
    void renameThatTheSystemRefuses();
    void renameOfAMissingLocalFile();
    void renameOfADirectoryInPlaceOfTheFile();
    void namesOfARenameUnderWay();
    void nameThatARenameHasLeft();
    void syncWhileTheDistantDirectoryIsAway();
    void forgetOfAPairThatIsAwayAfterAReset();
    void renameWhileTheDistantDirectoryIsAway();
    void decisionsOfTheWrongKind();
    void retryMapsToTheErrorsKind();
    void trashOfAMissingLocalFile();
    void deletedWhileTheLocalDirectoryIsAway();
    void refusalAsJson();
    void resetWithoutATerminal();
};

void TestCliCommandsRefused::usage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("text");
    const auto row = [](const char* arguments, const char* text) {
        QTest::newRow(arguments) << words(arguments) << QByteArray(text);
    };
    row("status|docs", "This command takes no arguments.");
    row("errors|docs", "This command takes no arguments.");
    row("retry", "The arguments must be: ALIAS NAME");
    row("retry|docs", "The arguments must be: ALIAS NAME");
    row("retry|docs|a|b", "The arguments must be: ALIAS NAME");
    row("acknowledge|docs", "The arguments must be: ALIAS NAME");
    row("restore|docs", "The arguments must be: ALIAS NAME");
    row("trash|docs", "The arguments must be: ALIAS NAME");
    row("deleted|docs", "The arguments must be: ALIAS NAME");
    row("rename|docs|a", "The arguments must be: ALIAS OLD NEW");
    row("ready", "The arguments must be: ALIAS NAME | DISTANT-PATH");
    row("ready|", "A path can't be empty.");
    row("sync|docs", "The arguments must be: [ALIAS NAME]");
    row("pause|a|b", "The arguments must be: [ALIAS]");
    row("forget", "The arguments must be: ALIAS");
    row("reset|docs", "This command takes no arguments.");
    row("status|--frobnicate", "frobnicate");
    row("status|--fo\x1b[31mo", "Unknown option 'fo\\x1b[31mo'.");
    row("status|--yes", "yes");
    row("status|--lang|xx", "--lang needs one of: en, fr; not 'xx'.");
    row("status|--timeout|soon", "--timeout needs a number of seconds");
    row("status|--timeout|-1", "--timeout needs a number of seconds");
    row("reset|--yes|--wait|x", "--wait needs a number of seconds");
}

void TestCliCommandsRefused::usage()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, text);
    const CliHost host; // none runs: a usage error comes first
    const CliResult result = host.run(arguments);
    VERIFY_EXIT(result, 2);
    QVERIFY2(result.err.contains(text), qPrintable(result.words()));
    QVERIFY2(result.err.contains("--help'."), qPrintable(result.words()));
    QVERIFY(result.out.isEmpty());
    QVERIFY(!QFileInfo::exists(host.state));
}

void TestCliCommandsRefused::help()
{
    const CliWorld world;
    const CliResult overview = world.run({"--help"_s});
    VERIFY_EXIT(overview, 0);
    for (const char* name :
         {"status", "errors", "retry", "retry-all", "acknowledge", "acknowledge-all", "restore", "trash",
          "delete-all-missing", "deleted", "rename", "ready", "sync", "pause", "resume", "forget", "reset"}) {
        QVERIFY2(overview.out.contains(QByteArray("\n  ") + name + ' '), name);
        const CliResult one = world.run({QString::fromLatin1(name), "--help"_s});
        VERIFY_EXIT(one, 0);
        QVERIFY2(one.out.contains(QByteArray("vorn_sync ") + name + " [options]"), qPrintable(one.words()));
        for (const char* option : {"--state", "--json", "--lang", "--timeout", "Exit codes:"})
            QVERIFY2(one.out.contains(option), qPrintable(one.words()));
    }
    QVERIFY(world.run({"reset"_s, "--help"_s}).out.contains("--yes"));
    QVERIFY(world.run({"deleted"_s, "--help"_s}).out.contains("--keep-distant"));
}

// "docs" mirrors "a" and "b"; on the distant side there is "theirs" besides, locally the directory "folder".
void TestCliCommandsRefused::refusedByTheHost_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("text");
    const auto row = [](const char* arguments, const char* text) {
        QTest::newRow(arguments) << words(arguments) << QByteArray(text);
    };
    const char* const kNoPair = "There is no pair with the alias 'x'.";
    for (const char* command : {"retry|x|a", "acknowledge|x|a", "restore|x|a", "trash|x|a", "deleted|x|a",
                                "rename|x|a|c", "ready|x|a", "sync|x|a", "pause|x", "resume|x", "forget|x"})
        row(command, kNoPair);
    row("trash||a", "There is no pair with the alias ''.");
    row("forget|vorn_sync-cycle-probe", "There is no pair with the alias 'vorn_sync-cycle-probe'.");
    const char* const kUntracked = "docs/nix: is not known as a mirrored file.";
    for (const char* command : {"retry|docs|nix", "acknowledge|docs|nix", "restore|docs|nix",
                                "trash|docs|nix", "deleted|docs|nix", "rename|docs|nix|c"})
        row(command, kUntracked);
    const char* const kUpwards = "ERROR: Invalid file name: '../a' for alias: 'docs'.";
    for (const char* command : {"retry|docs|../a", "acknowledge|docs|../a", "restore|docs|../a",
                                "trash|docs|../a", "deleted|docs|../a", "rename|docs|../a|c",
                                "rename|docs|a|../a", "ready|docs|../a", "sync|docs|../a"})
        row(command, kUpwards);
    for (const char* command : {"trash|docs|", "ready|docs|", "rename|docs||c", "rename|docs|a|"})
        row(command, "ERROR: Invalid file name: '' for alias: 'docs'.");
    for (const char* command : {"trash|docs|.", "rename|docs|a|."})
        row(command, "ERROR: Invalid file name: '.' for alias: 'docs'.");
    row("rename|docs|a|..", "ERROR: Invalid file name: '..' for alias: 'docs'.");
    row("rename|docs|a|sub/c", "ERROR: Invalid file name: 'sub/c' for alias: 'docs'.");
    row("rename|docs|a|a", "Old and new name are the same: 'a'");
    row("rename|docs|a|b", "docs/b: is known as a mirrored file already.");
    row("rename|docs|a|theirs", "docs/theirs: the distant directory has something with this name.");
    row("rename|docs|a|folder", "docs/folder: the local directory has something with this name.");
    row("rename|docs|a|.hidden", "A file of this name is not mirrored: '.hidden'");
    row("rename|docs|a|x.tmp", "A file of this name is not mirrored: 'x.tmp'");
    row("retry|docs|a", "docs/a: is not in error.");
    row("acknowledge|docs|a", "docs/a: is not in error.");
    row("restore|docs|a", "docs/a: is not in error.");
    row("deleted|docs|a", "docs/a: is still in the local directory.");
    row("deleted|--keep-distant|docs|a", "docs/a: is still in the local directory.");
    row("sync|docs|nix", "docs/nix: there is no such file in the local directory.");
    row("sync|docs|folder", "docs/folder: there is no such file in the local directory.");
    row("sync|docs|.hidden", "A file of this name is not mirrored: '.hidden'");
    row("ready|docs|nix", "There is no file, or it was not ready in time: ");
    row("trash|docs|we ird\n%1\x1b[31m", "docs/we ird\\n%1\\x1b[31m: is not known as a mirrored file.");
}

void TestCliCommandsRefused::refusedByTheHost()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, text);
    CliHost host;
    QVERIFY(host.local.write("a"_s, "a content") && host.local.write("b"_s, "b content"));
    QVERIFY(host.local.makeDirectory("folder"_s) && host.distant.write("theirs"_s, "theirs"));
    QVERIFY(host.start({"--exclude"_s, "*.tmp"_s}));
    QTRY_VERIFY_WITH_TIMEOUT(host.statusOf("a"_s) == kUpToDate && host.statusOf("b"_s) == kUpToDate, kWaitMs);
    const QStringList rows{"SELECT * FROM file_tracking ORDER BY id"_s, "SELECT * FROM directories"_s};
    const auto before = host.database().rows(rows.first()) + host.database().rows(rows.last());

    const CliResult result = host.run(arguments);
    VERIFY_EXIT(result, 1);
    QVERIFY2(result.err.startsWith("vorn_sync " + arguments.first().toUtf8() + ": "),
             qPrintable(result.words()));
    QVERIFY2(result.err.contains(text), qPrintable(result.words()));
    QVERIFY(result.out.isEmpty());
    // Whatever was handed to the engine in spite of all has been carried out once a later file has arrived.
    QVERIFY(host.local.write("later"_s, "later"));
    VERIFY_EXIT(host.run({"sync"_s, "docs"_s, "later"_s}), 0);
    QVERIFY2(waitFor([&] { return host.statusOf("later"_s) == kUpToDate; }),
             (host.process.out() + host.process.err()).constData());
    QVERIFY(host.database().exec("DELETE FROM file_tracking WHERE file_name = 'later'"_s));
    QVERIFY(host.local.remove("later"_s) && host.distant.remove("later"_s));
    const auto after = host.database().rows(rows.first()) + host.database().rows(rows.last());
    QCOMPARE(after, before);
    QCOMPARE(host.local.names(), (QStringList{"a"_s, "b"_s, "folder"_s}));
    QCOMPARE(host.distant.names(), (QStringList{"a"_s, "b"_s, "theirs"_s}));
    QVERIFY(host.isMirrored("a"_s) && host.isMirrored("b"_s));
}

// Known to the database alone: its file is gone on both sides and waits for the user.
void TestCliCommandsRefused::renameOntoAKnownName()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s, "b"_s}));
    QVERIFY(host.local.remove("b"_s));
    QVERIFY(host.syncUntilError("b"_s, 2));
    QVERIFY(host.distant.remove("b"_s));
    const CliResult result = host.run({"rename"_s, "docs"_s, "a"_s, "b"_s});
    VERIFY_EXIT(result, 1);
    QVERIFY2(result.err.contains("docs/b: is known as a mirrored file already."), qPrintable(result.words()));
    QCOMPARE(host.local.names(), QStringList{"a"_s});
    QCOMPARE(host.distant.names(), QStringList{"a"_s});
    QCOMPARE(host.statusOf("a"_s), kUpToDate);
}

void TestCliCommandsRefused::renameOntoADanglingLink()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(QFile::link("nowhere"_s, host.local.filePath("link"_s)));
    const CliResult result = host.run({"rename"_s, "docs"_s, "a"_s, "link"_s});
    VERIFY_EXIT(result, 1);
    QVERIFY2(result.err.contains("docs/link: the local directory has something with this name."),
             qPrintable(result.words()));
    QVERIFY(host.isMirrored("a"_s));
}

// The local rename fails under the lock: the lock is given back, and nothing has changed.
void TestCliCommandsRefused::renameThatTheSystemRefuses()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    const CliResult result = host.run({"rename"_s, "docs"_s, "a"_s, QString(300, QLatin1Char('n'))});
    VERIFY_EXIT(result, 1);
    QVERIFY2(result.err.contains("docs/a: the local file could not be renamed: File name too long"),
             qPrintable(result.words()));
    QVERIFY(host.isMirrored("a"_s));
    QCOMPARE(host.statusOf("a"_s), kUpToDate);
    VERIFY_EXIT(host.run({"rename"_s, "docs"_s, "a"_s, "b"_s}), 0);
    QTRY_COMPARE_WITH_TIMEOUT(host.distant.names(), QStringList{"b"_s}, kWaitMs);
}

void TestCliCommandsRefused::renameOfAMissingLocalFile()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.local.remove("a"_s));
    const CliResult result = host.run({"rename"_s, "docs"_s, "a"_s, "b"_s});
    VERIFY_EXIT(result, 1);
    QVERIFY2(result.err.contains("docs/a: there is no such file in the local directory."),
             qPrintable(result.words()));
    QCOMPARE(host.distant.names(), QStringList{"a"_s});
    QCOMPARE(host.statusOf("a"_s), kUpToDate);
}

void TestCliCommandsRefused::renameOfADirectoryInPlaceOfTheFile()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.local.remove("a"_s) && host.local.makeDirectory("a"_s));
    const CliResult result = host.run({"rename"_s, "docs"_s, "a"_s, "b"_s});
    VERIFY_EXIT(result, 1);
    QVERIFY2(result.err.contains("docs/a: there is no such file in the local directory."),
             qPrintable(result.words()));
    QCOMPARE(host.local.names(), QStringList{"a"_s});
    QCOMPARE(host.distant.names(), QStringList{"a"_s});
}

// The distant directory lets nothing be renamed. Until that has ended neither name means another file, and
// afterwards nothing that happens to the old name is taken for the rename.
void TestCliCommandsRefused::namesOfARenameUnderWay()
{
    CliHost host;
    TmpfsMount mount(host.distant.path());
    if (!mount.isMounted())
        QSKIP(qPrintable(mount.reason()));
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(mount.remount(true));
    VERIFY_EXIT(host.run({"rename"_s, "docs"_s, "a"_s, "b"_s}), 0);
    for (const char* command : {"deleted|docs|a", "ready|docs|a", "rename|docs|b|c", "trash|docs|b"}) {
        const CliResult result = host.run(words(command));
        VERIFY_EXIT(result, 1);
        QVERIFY2(result.err.contains(": an operation on it runs"), qPrintable(result.words()));
    }
    QVERIFY(host.process.waitForErr("failed docs/a\n"));
    QVERIFY(mount.remount(false));
    QVERIFY(host.distant.exists("a"_s));
    VERIFY_EXIT(host.run({"ready"_s, "docs"_s, "a"_s}), 0);
    VERIFY_EXIT(host.run({"sync"_s, "docs"_s, "b"_s}), 0);
    QVERIFY(host.process.waitForOut("copied docs/b\n"));
    QCOMPARE(host.process.err().count("failed docs/a"), 1);
    QVERIFY(host.isMirrored("a"_s) && host.isMirrored("b"_s));
}

// There is nothing to rename on the distant side: no operation ever ends for it.
void TestCliCommandsRefused::nameThatARenameHasLeft()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.distant.remove("a"_s));
    VERIFY_EXIT(host.run({"rename"_s, "docs"_s, "a"_s, "b"_s}), 0);
    QTRY_COMPARE_WITH_TIMEOUT(host.statusOf("a"_s), -1, kWaitMs);
    QVERIFY(host.distant.write("a"_s, "theirs"));
    VERIFY_EXIT(host.run({"ready"_s, "docs"_s, "a"_s}), 0);
    QVERIFY(host.local.write("later"_s, "later"));
    VERIFY_EXIT(host.run({"sync"_s, "docs"_s, "later"_s}), 0);
    QVERIFY(host.process.waitForOut("copied docs/later\n"));
    QCOMPARE(host.process.err(), QByteArray());
    QVERIFY(host.local.remove("a"_s));
    VERIFY_EXIT(host.run({"deleted"_s, "docs"_s, "a"_s}), 0);
}

void TestCliCommandsRefused::syncWhileTheDistantDirectoryIsAway()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(QDir().rename(host.distant.path(), host.world.path("away"_s)));
    QVERIFY(host.process.waitForErr("the distant directory is missing"));
    QVERIFY(host.local.write("a"_s, "changed content"));
    const CliResult result = host.run({"sync"_s, "docs"_s, "a"_s});
    VERIFY_EXIT(result, 1);
    QVERIFY2(result.err.contains("Pair docs: one of the directories is missing at the moment."),
             qPrintable(result.words()));
    QVERIFY(QDir().rename(host.world.path("away"_s), host.distant.path()));
    QTRY_VERIFY_WITH_TIMEOUT(host.isMirrored("a"_s), kWaitMs);
}

// After a reset the engine knows it no more, but the list of pairs does.
void TestCliCommandsRefused::forgetOfAPairThatIsAwayAfterAReset()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(QDir().rename(host.local.path(), host.world.path("away"_s)));
    QVERIFY(host.process.waitForErr("the local directory is missing"));
    VERIFY_EXIT(host.run({"reset"_s, "--yes"_s}), 0);
    const CliResult result = host.run({"sync"_s, "docs"_s, "a"_s});
    VERIFY_EXIT(result, 1);
    QVERIFY2(result.err.contains("Pair docs: one of the directories is missing at the moment."),
             qPrintable(result.words()));
    QCOMPARE(host.statusJson().value("pairs"_l).toArray().size(), 1);
    VERIFY_EXIT(host.run({"forget"_s, "docs"_s}), 0);
    QVERIFY(host.statusJson().value("pairs"_l).toArray().isEmpty());
    QFile list(host.state + "/pairs.json"_s);
    QVERIFY(list.open(QIODevice::ReadOnly));
    QVERIFY(!list.readAll().contains("docs"));
    VERIFY_EXIT(host.run({"forget"_s, "docs"_s}), 1);
}

void TestCliCommandsRefused::renameWhileTheDistantDirectoryIsAway()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(QDir().rename(host.distant.path(), host.world.path("away"_s)));
    const CliResult result = host.run({"rename"_s, "docs"_s, "a"_s, "b"_s});
    VERIFY_EXIT(result, 1);
    QVERIFY2(result.err.contains("Pair docs: one of the directories is missing at the moment."),
             qPrintable(result.words()));
    QCOMPARE(host.local.names(), QStringList{"a"_s});
    QTRY_VERIFY_WITH_TIMEOUT(host.run({"status"_s}).out.contains("(the distant directory is missing)"),
                             kWaitMs);
    VERIFY_EXIT(host.run({"errors"_s}), 0);
    VERIFY_EXIT(host.run({"ready"_s, "docs"_s, "a"_s}), 0); // the local one is there
    QVERIFY(QDir().rename(host.world.path("away"_s), host.distant.path()));
    VERIFY_EXIT(host.run({"rename"_s, "docs"_s, "a"_s, "b"_s}), 0);
    QTRY_COMPARE_WITH_TIMEOUT(host.distant.names(), QStringList{"b"_s}, kWaitMs);
}

void TestCliCommandsRefused::decisionsOfTheWrongKind()
{
    CliHost host;
    QVERIFY(host.startWith({"gone"_s, "lost"_s}));
    QVERIFY(host.local.remove("gone"_s) && host.distant.remove("lost"_s));
    QVERIFY(host.syncUntilError("lost"_s, 15));
    const CliResult restore = host.run({"restore"_s, "docs"_s, "gone"_s});
    VERIFY_EXIT(restore, 1);
    QVERIFY2(
        restore.err.contains("docs/gone: has error 2; only a file whose distant copy is gone (15) can be "
                             "restored."),
        qPrintable(restore.words()));
    const CliResult acknowledge = host.run({"acknowledge"_s, "docs"_s, "lost"_s});
    VERIFY_EXIT(acknowledge, 1);
    QVERIFY2(acknowledge.err.contains("docs/lost: has error 15; only a local file that is gone (2)"),
             qPrintable(acknowledge.words()));
    QCOMPARE(host.errorJson("gone"_s).value("code"_l).toInt(), 2);
    QCOMPARE(host.errorJson("lost"_s).value("code"_l).toInt(), 15);
}

void TestCliCommandsRefused::retryMapsToTheErrorsKind()
{
    CliHost host;
    QVERIFY(host.startWith({"gone"_s, "lost"_s}));
    QVERIFY(host.local.remove("gone"_s) && host.distant.remove("lost"_s));
    QVERIFY(host.syncUntilError("lost"_s, 15));
    QCOMPARE(host.json({"retry"_s, "docs"_s, "gone"_s}).value("done"_l).toString(), "acknowledged"_s);
    QCOMPARE(host.json({"retry"_s, "docs"_s, "lost"_s}).value("done"_l).toString(), "restored"_s);
    QTRY_VERIFY_WITH_TIMEOUT(host.isMirrored("lost"_s), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(host.run({"errors"_s}).exitCode, 0, kWaitMs);
}

void TestCliCommandsRefused::trashOfAMissingLocalFile()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.local.remove("a"_s));
    const CliResult result = host.run({"trash"_s, "docs"_s, "a"_s});
    VERIFY_EXIT(result, 1);
    QVERIFY2(result.err.contains("docs/a: there is no such file in the local directory."),
             qPrintable(result.words()));
    QCOMPARE(host.statusOf("a"_s), kUpToDate);
    QVERIFY(host.trash().names().isEmpty());
}

void TestCliCommandsRefused::deletedWhileTheLocalDirectoryIsAway()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(QDir().rename(host.local.path(), host.world.path("away"_s)));
    const CliResult result = host.run({"deleted"_s, "docs"_s, "a"_s});
    VERIFY_EXIT(result, 1);
    QVERIFY2(result.err.contains("Pair docs: one of the directories is missing at the moment."),
             qPrintable(result.words()));
    QCOMPARE(host.statusOf("a"_s), kUpToDate);
    QVERIFY(host.distant.exists("a"_s));
}

void TestCliCommandsRefused::refusalAsJson()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    const QJsonObject unknown = host.json({"trash"_s, "x%1"_s, "a"_s});
    QCOMPARE(unknown.value("ok"_l).toBool(true), false);
    QCOMPARE(unknown.value("refused"_l).toString(), "unknown_alias"_s);
    QCOMPARE(unknown.value("details"_l).toArray(), QJsonArray{"x%1"_s});
    QCOMPARE(unknown.value("message"_l).toString(), "There is no pair with the alias 'x%1'."_s);
    const QJsonObject name = host.json({"trash"_s, "docs"_s, ".."_s});
    QCOMPARE(name.value("refused"_l).toString(), "invalid_name"_s);
    QCOMPARE(name.value("texts"_l).toArray(),
             QJsonArray{"ERROR: Invalid file name: '..' for alias: 'docs'."_s});
}

void TestCliCommandsRefused::resetWithoutATerminal()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    const CliResult result = host.run({"reset"_s});
    VERIFY_EXIT(result, 2);
    QVERIFY2(result.err.contains("Without a terminal to ask on, this needs --yes."),
             qPrintable(result.words()));
    QCOMPARE(host.statusOf("a"_s), kUpToDate);
}

QTEST_GUILESS_MAIN(TestCliCommandsRefused)
#include "test_cli_commands_refused.moc"
