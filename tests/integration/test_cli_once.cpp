#include "test_cli_support.h"

#include "pair.h"
#include "raw_database.h"
#include "wait.h"

#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QTest>

#include <csignal>
#include <cstdio>
#include <unistd.h>

using VornSyncTest::CliProcess;
using VornSyncTest::CliResult;
using VornSyncTest::CliWorld;
using VornSyncTest::JsonLines;
using VornSyncTest::Side;

namespace {

// One world with one pair, "local" and "distant".
struct OnePair
{
    CliWorld world;
    Side local{world.makeDirectory(QStringLiteral("local"))};
    Side distant{world.makeDirectory(QStringLiteral("distant"))};

    CliResult once(const QStringList& options = QStringList()) const
    {
        return world.mirror(QStringList{QStringLiteral("--once"), local.path(), distant.path()} + options);
    }
};

} // namespace

// "mirror --once" on real directories: it ends when everything is settled, and says how.
class TestCliOnce : public QObject
{
    Q_OBJECT

private slots:
    void emptyDirectory();
    void copiesThenFindsNothingToDo();
    void sendsWhatHasChanged();
    void rememberedPairs();
    void aliases();
    void anotherDistantDirectory();
    void exclusions();
    void leavesOutWhatIsNoPlainFile();
    void oddNames();
    void namesWorkInTheCLocale();
    void skipsNamesThatCannotBeRepresented();
    void moreFilesThanFitInFlight();
    void missingDistantDirectory();
    void missingLocalDirectoryOfARememberedPair();
    void fileHeldBackByItsCompanion();
    void interrupted();
    void continuesAfterSigkill();
    void probeLeavesNoTrace();
};

void TestCliOnce::emptyDirectory()
{
    const OnePair pair;
    const CliResult result = pair.once();
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    QVERIFY2(result.out.endsWith("Everything is up to date: 0 files.\n"), qPrintable(result.words()));
    QVERIFY(result.err.isEmpty());
}

void TestCliOnce::copiesThenFindsNothingToDo()
{
    const OnePair pair;
    QVERIFY(pair.local.write(QStringLiteral("empty"), ""));
    QVERIFY(pair.local.write(QStringLiteral("small.txt"), "hello"));
    QVERIFY(pair.local.write(QStringLiteral("large.bin"), QByteArray(5 * 1024 * 1024, 'z')));

    const CliResult first = pair.once();
    QVERIFY2(first.exitCode == 0, qPrintable(first.words()));
    QVERIFY(first.out.startsWith("State: " + pair.world.statePath().toUtf8() + '\n'));
    QVERIFY(first.out.contains("Pair local: " + pair.local.path().toUtf8() + " -> "));
    QVERIFY(first.out.contains("copied local/small.txt\n"));
    QVERIFY2(first.out.endsWith("Everything is up to date: 3 files.\n"), qPrintable(first.words()));
    QVERIFY(first.err.isEmpty());
    QCOMPARE(pair.distant.names(), pair.local.names());
    for (const QString& name : pair.local.names())
        QCOMPARE(pair.distant.read(name), pair.local.read(name));

    const QDateTime copiedAt = pair.distant.lmd(QStringLiteral("small.txt"));
    const CliResult second = pair.once({QStringLiteral("--json")});
    QVERIFY2(second.exitCode == 0, qPrintable(second.words()));
    const JsonLines lines(second.out);
    QVERIFY(lines.valid);
    QVERIFY2(lines.events(QStringLiteral("sync_started")).isEmpty(), qPrintable(second.words()));
    QCOMPARE(pair.distant.lmd(QStringLiteral("small.txt")), copiedAt);
}

void TestCliOnce::sendsWhatHasChanged()
{
    const OnePair pair;
    QVERIFY(pair.local.write(QStringLiteral("same"), "same"));
    QVERIFY(pair.local.write(QStringLiteral("changed"), "before"));
    QCOMPARE(pair.once().exitCode, 0);

    QVERIFY(pair.local.write(QStringLiteral("changed"), "and after"));
    QVERIFY(pair.local.write(QStringLiteral("new"), "new"));
    const CliResult result = pair.once({QStringLiteral("--json")});
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    const QStringList expected{QStringLiteral("changed"), QStringLiteral("new")};
    QCOMPARE(JsonLines(result.out).filesOf(QStringLiteral("sync_started")), expected);
    QCOMPARE(pair.distant.read(QStringLiteral("changed")), QByteArray("and after"));
    QCOMPARE(pair.distant.read(QStringLiteral("new")), QByteArray("new"));
}

void TestCliOnce::rememberedPairs()
{
    const CliWorld world;
    const Side one(world.makeDirectory(QStringLiteral("one")));
    const Side two(world.makeDirectory(QStringLiteral("two")));
    const Side oneMirror(world.makeDirectory(QStringLiteral("mirror-one")));
    const Side twoMirror(world.makeDirectory(QStringLiteral("mirror-two")));
    const QString once = QStringLiteral("--once");
    QCOMPARE(world.mirror({once, one.path(), oneMirror.path()}).exitCode, 0);
    QVERIFY(one.write(QStringLiteral("a"), "a"));
    QVERIFY(two.write(QStringLiteral("b"), "b"));

    // A new pair is added, the remembered one is mirrored too.
    const CliResult added = world.mirror({once, two.path(), twoMirror.path()});
    QVERIFY2(added.exitCode == 0, qPrintable(added.words()));
    QCOMPARE(oneMirror.read(QStringLiteral("a")), QByteArray("a"));
    QCOMPARE(twoMirror.read(QStringLiteral("b")), QByteArray("b"));

    QVERIFY(one.write(QStringLiteral("c"), "c"));
    QVERIFY(two.write(QStringLiteral("d"), "d"));
    const CliResult remembered = world.mirror({once});
    QVERIFY2(remembered.exitCode == 0, qPrintable(remembered.words()));
    QVERIFY2(remembered.out.endsWith("Everything is up to date: 4 files.\n"), qPrintable(remembered.words()));
    QCOMPARE(oneMirror.read(QStringLiteral("c")), QByteArray("c"));
    QCOMPARE(twoMirror.read(QStringLiteral("d")), QByteArray("d"));
}

void TestCliOnce::aliases()
{
    const CliWorld world;
    QStringList arguments{QStringLiteral("--once"), QStringLiteral("--json"), QStringLiteral("--alias"),
                          QStringLiteral("named one")};
    const QStringList names{QStringLiteral("a/docs"), QStringLiteral("b/docs"), QStringLiteral("c/docs")};
    for (const QString& name : names) {
        const QString local = world.makeDirectory(name);
        QVERIFY(Side(local).write(QStringLiteral("file"), name.toUtf8()));
        arguments << local << world.makeDirectory(name + QStringLiteral("-mirror"));
    }
    const CliResult result = world.mirror(arguments);
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    QStringList aliases;
    const QVector<QJsonObject> pairs = JsonLines(result.out).events(QStringLiteral("pair"));
    for (const QJsonObject& pair : pairs)
        aliases.append(pair.value(QLatin1String("alias")).toString());
    const QStringList expected{QStringLiteral("named one"), QStringLiteral("docs"), QStringLiteral("docs-2")};
    QCOMPARE(aliases, expected);
    for (const QString& name : names) {
        const Side mirror(world.path(name + QStringLiteral("-mirror")));
        QCOMPARE(mirror.read(QStringLiteral("file")), name.toUtf8());
    }
}

void TestCliOnce::anotherDistantDirectory()
{
    const OnePair pair;
    QVERIFY(pair.local.write(QStringLiteral("a"), "a"));
    QCOMPARE(pair.once().exitCode, 0);
    const Side other(pair.world.makeDirectory(QStringLiteral("other")));
    QVERIFY(other.write(QStringLiteral("a"), "a"));

    const CliResult result = pair.world.mirror({QStringLiteral("--once"), pair.local.path(), other.path()});
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    const QByteArray note = "Pair local: the distant directory is now " + other.path().toUtf8() +
                            "; it was " + pair.distant.path().toUtf8() + '\n';
    QVERIFY2(result.out.contains(note), qPrintable(result.words()));
    QVERIFY(pair.local.write(QStringLiteral("b"), "b"));
    QCOMPARE(pair.world.mirror({QStringLiteral("--once")}).exitCode, 0);
    QCOMPARE(other.read(QStringLiteral("b")), QByteArray("b"));
    QVERIFY(!pair.distant.exists(QStringLiteral("b")));
}

void TestCliOnce::exclusions()
{
    const OnePair pair;
    for (const char* name :
         {"keep.txt", "drop.TMP", "drop.tmp", "a.tmp.bak", "~draft", ".hidden", "qt_temp.Ab12xY"})
        QVERIFY(pair.local.write(QString::fromLatin1(name), name));
    const CliResult result = pair.once({QStringLiteral("--exclude"), QStringLiteral("*.tmp"),
                                        QStringLiteral("--exclude"), QStringLiteral("~*")});
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    const QStringList expected{QStringLiteral("a.tmp.bak"), QStringLiteral("keep.txt")};
    QCOMPARE(pair.distant.names(), expected);
}

void TestCliOnce::leavesOutWhatIsNoPlainFile()
{
    const OnePair pair;
    QVERIFY(pair.local.write(QStringLiteral("plain"), "plain"));
    QVERIFY(pair.local.makeDirectory(QStringLiteral("directory")));
    QVERIFY(VornSyncTest::makeFifo(pair.local.filePath(QStringLiteral("fifo"))));
    QVERIFY(VornSyncTest::makeSocket(pair.local.filePath(QStringLiteral("socket"))));
    QVERIFY(QFile::link(QStringLiteral("nowhere"), pair.local.filePath(QStringLiteral("dangling"))));
    QVERIFY(QFile::link(QStringLiteral("loop"), pair.local.filePath(QStringLiteral("loop"))));
    QVERIFY(QFile::link(QStringLiteral("plain"), pair.local.filePath(QStringLiteral("link"))));

    const CliResult result = pair.once();
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    const QStringList expected{QStringLiteral("link"), QStringLiteral("plain")};
    QCOMPARE(pair.distant.names(), expected);
    QCOMPARE(pair.distant.read(QStringLiteral("link")), QByteArray("plain"));
}

void TestCliOnce::oddNames()
{
    const OnePair pair;
    const QStringList names{
        QStringLiteral("%1 %2 %n"), QStringLiteral("it's \"quoted\""),     QStringLiteral("two\nlines"),
        QStringLiteral("--once"),   QStringLiteral("été 日本 \U0001F600"), QStringLiteral("back\\slash"),
        QStringLiteral(" blank "),  QString(255, QLatin1Char('n'))};
    for (const QString& name : names)
        QVERIFY(pair.local.write(name, name.toUtf8()));
    const CliResult result = pair.once();
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    QCOMPARE(pair.distant.names(), pair.local.names());
    for (const QString& name : names)
        QCOMPARE(pair.distant.read(name), name.toUtf8());
    QVERIFY2(result.out.contains("copied local/two\\nlines\n"), qPrintable(result.words()));
    QVERIFY(result.out.contains("copied local/%1 %2 %n\n"));
}

void TestCliOnce::namesWorkInTheCLocale()
{
    OnePair pair;
    pair.world.setVariable(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    QVERIFY(pair.local.write(QStringLiteral("été 日本"), "x"));
    const CliResult result = pair.once();
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    QCOMPARE(pair.distant.names(), QStringList{QStringLiteral("été 日本")});
    QVERIFY2(result.out.contains("copied local/été 日本\n"), qPrintable(result.words()));
}

void TestCliOnce::skipsNamesThatCannotBeRepresented()
{
    const OnePair pair;
    QVERIFY(pair.local.write(QStringLiteral("good"), "good"));
    const QByteArray badPath = QFile::encodeName(pair.local.path()) + "/bad\xff";
    FILE* bad = std::fopen(badPath.constData(), "w");
    QVERIFY(bad != nullptr);
    std::fclose(bad);
    // QTemporaryDir would not find it under this name.
    const auto removeBad = qScopeGuard([&badPath] { ::unlink(badPath.constData()); });
    const CliResult result = pair.once();
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    QVERIFY2(
        result.err.contains("Pair local: 1 name that this character encoding can't represent was left out."),
        qPrintable(result.words()));
    QCOMPARE(pair.distant.names(), QStringList{QStringLiteral("good")});
}

void TestCliOnce::moreFilesThanFitInFlight()
{
    const OnePair pair;
    constexpr int kFiles = 25; // cycles are skipped from 10 in flight
    for (int i = 0; i < kFiles; ++i)
        QVERIFY(pair.local.write(QStringLiteral("file %1").arg(i), QByteArray::number(i)));
    const CliResult result = pair.once();
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    QCOMPARE(pair.distant.names(), pair.local.names());
    QVERIFY2(result.out.endsWith("Everything is up to date: 25 files.\n"), qPrintable(result.words()));
}

void TestCliOnce::missingDistantDirectory()
{
    const CliWorld world;
    const Side away(world.makeDirectory(QStringLiteral("away")));
    const Side near(world.makeDirectory(QStringLiteral("near")));
    const Side nearMirror(world.makeDirectory(QStringLiteral("near-mirror")));
    QVERIFY(away.write(QStringLiteral("a"), "a"));
    QVERIFY(near.write(QStringLiteral("n"), "n"));
    const QString missing = world.path(QStringLiteral("not-mounted"));
    const CliResult result =
        world.mirror({QStringLiteral("--once"), away.path(), missing, near.path(), nearMirror.path()});
    QVERIFY2(result.hasEnded && result.exitCode == 1, qPrintable(result.words()));
    const QByteArray line =
        "Pair away: the distant directory is missing, the pair waits for it: " + missing.toUtf8() + '\n';
    QVERIFY2(result.err.contains(line), qPrintable(result.words()));
    QCOMPARE(nearMirror.read(QStringLiteral("n")), QByteArray("n"));
    QVERIFY(!QFileInfo::exists(missing));
}

void TestCliOnce::missingLocalDirectoryOfARememberedPair()
{
    const OnePair pair;
    QVERIFY(pair.local.write(QStringLiteral("a"), "a"));
    QCOMPARE(pair.once().exitCode, 0);
    QVERIFY(QFile::rename(pair.local.path(), pair.world.path(QStringLiteral("moved"))));
    const CliResult result = pair.world.mirror({QStringLiteral("--once")});
    QVERIFY2(result.hasEnded && result.exitCode == 1, qPrintable(result.words()));
    QVERIFY2(result.err.contains("Pair local: the local directory is missing"), qPrintable(result.words()));
    QVERIFY2(!result.err.contains("error 2"), "its files were taken as deleted");

    QVERIFY(QFile::rename(pair.world.path(QStringLiteral("moved")), pair.local.path()));
    const CliResult back = pair.world.mirror({QStringLiteral("--once")});
    QVERIFY2(back.exitCode == 0, qPrintable(back.words()));
}

void TestCliOnce::fileHeldBackByItsCompanion()
{
    const OnePair pair;
    const QStringList options{QStringLiteral("--exclude"), QStringLiteral("*-wal")};
    QVERIFY(pair.local.write(QStringLiteral("data.db"), "data"));
    QVERIFY(pair.local.write(QStringLiteral("data.db-wal"), "wal"));
    QVERIFY(pair.local.write(QStringLiteral("other"), "other"));
    const CliResult result = pair.once(options);
    QVERIFY2(result.hasEnded && result.exitCode == 1, qPrintable(result.words()));
    QVERIFY2(result.err.contains("local/data.db: held back"), qPrintable(result.words()));
    QCOMPARE(pair.distant.names(), QStringList{QStringLiteral("other")});

    QVERIFY(pair.local.remove(QStringLiteral("data.db-wal")));
    const CliResult free = pair.once(options);
    QVERIFY2(free.exitCode == 0, qPrintable(free.words()));
    QCOMPARE(pair.distant.read(QStringLiteral("data.db")), QByteArray("data"));

    // Up to date and held back: nothing is missing.
    QVERIFY(pair.local.write(QStringLiteral("data.db-wal"), "wal"));
    const CliResult unchanged = pair.once(options);
    QVERIFY2(unchanged.exitCode == 0, qPrintable(unchanged.words()));

    QVERIFY(pair.local.write(QStringLiteral("data.db"), "more data"));
    const CliResult changed = pair.once(options);
    QVERIFY2(changed.exitCode == 1, qPrintable(changed.words()));
    QVERIFY(changed.err.contains("local/data.db: held back"));
}

void TestCliOnce::interrupted()
{
    const OnePair pair;
    QVERIFY(pair.local.write(QStringLiteral("blocked"), "x"));
    QVERIFY(pair.distant.makeDirectory(QStringLiteral("blocked")));
    CliProcess process;
    QVERIFY(process.start(pair.world.mirrorArguments({QStringLiteral("--once"), pair.local.path(),
                                                      pair.distant.path(), QStringLiteral("--json")}),
                          pair.world.environment()));
    QVERIFY(process.waitForOut("\"sync_started\"")); // its retries take ten seconds
    QVERIFY(process.sendSignal(SIGTERM));
    const CliResult result = process.waitForEnd();
    QVERIFY2(result.hasEnded && result.exitCode == 128 + SIGTERM, qPrintable(result.words()));
    const QVector<QJsonObject> finished = JsonLines(result.out).events(QStringLiteral("finished"));
    QCOMPARE(finished.size(), 1);
    QCOMPARE(finished.constFirst().value(QLatin1String("outcome")).toString(), QStringLiteral("interrupted"));
}

void TestCliOnce::continuesAfterSigkill()
{
    const OnePair pair;
    constexpr int kFiles = 8;
    for (int i = 0; i < kFiles; ++i)
        QVERIFY(pair.local.write(QStringLiteral("file %1").arg(i), QByteArray(300000, 'k')));
    CliProcess process;
    QVERIFY(process.start(pair.world.mirrorArguments({pair.local.path(), pair.distant.path()}),
                          pair.world.environment()));
    QVERIFY(process.waitForOut("copied local/"));
    QVERIFY(process.sendSignal(SIGKILL));
    QVERIFY(!process.waitForEnd().hasEnded);

    const CliResult result = pair.once();
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    QCOMPARE(pair.distant.names(), pair.local.names());
    for (const QString& name : pair.local.names())
        QCOMPARE(pair.distant.read(name), pair.local.read(name));
    QVERIFY2(result.out.endsWith("Everything is up to date: 8 files.\n"), qPrintable(result.words()));
}

// The host's own pair, by which it notices the end of a cycle, is nobody's business.
void TestCliOnce::probeLeavesNoTrace()
{
    const OnePair pair;
    QVERIFY(pair.local.write(QStringLiteral("a"), "a"));
    const CliResult json = pair.once({QStringLiteral("--json")});
    QVERIFY2(json.exitCode == 0, qPrintable(json.words()));
    QVERIFY2(!json.out.contains("probe"), qPrintable(json.words()));
    const QVector<QJsonObject> objects = JsonLines(json.out).objects;
    for (const QJsonObject& object : objects) {
        const QJsonObject counters = object.value(QLatin1String("counters")).toObject();
        QVERIFY2(counters.value(QLatin1String("done")).toInt() <= 1, qPrintable(json.words()));
        QVERIFY2(counters.value(QLatin1String("in_progress")).toInt() <= 1, qPrintable(json.words()));
    }
    QVERIFY(!Side(pair.world.statePath()).exists(QStringLiteral("probe")));
    QCOMPARE(Side(pair.world.statePath() + QStringLiteral("/trash")).names(),
             QStringList{QStringLiteral("local")});
    VornSyncTest::RawDatabase database(pair.world.statePath() + QStringLiteral("/state.db"));
    QCOMPARE(database.value(QStringLiteral("SELECT count(*) FROM directories")).toInt(), 1);
    QCOMPARE(database.value(QStringLiteral("SELECT count(*) FROM file_tracking")).toInt(), 1);
    QCOMPARE(database.integrityProblems(), QString());
}

QTEST_GUILESS_MAIN(TestCliOnce)
#include "test_cli_once.moc"
