#include "test_cli_support.h"
#include "wait.h"

#include "pair.h"

#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <csignal>

using VornSyncTest::CliProcess;
using VornSyncTest::CliResult;
using VornSyncTest::CliWorld;
using VornSyncTest::Side;

// What the program refuses, with which text and exit code, and that a refusal leaves nothing behind.
class TestCliUsage : public QObject
{
    Q_OBJECT

private slots:
    void helpAndVersion();
    void badCommandLine_data();
    void badCommandLine();
    void refusesSameDirectory();
    void refusesAliasThatCannotNameATrashDirectory();
    void refusesAliasOfAnotherLocal();
    void refusesSecondAliasForALocal();
    void refusesTheStateDirectoryAsASide();
    void refusesASecondInstance();
    void takesOverTheLockOfADeadProcess();
    void stateDirectoryThatIsAFile();
    void damagedPairList();
    void unusableDatabase();
};

void TestCliUsage::helpAndVersion()
{
    const CliWorld world;
    const CliResult help = world.run({QStringLiteral("--help")});
    QVERIFY2(help.exitCode == 0, qPrintable(help.words()));
    QVERIFY(help.out.contains("mirror"));
    QVERIFY(help.err.isEmpty());

    const CliResult mirrorHelp = world.run({QStringLiteral("mirror"), QStringLiteral("--help")});
    QVERIFY2(mirrorHelp.exitCode == 0, qPrintable(mirrorHelp.words()));
    for (const char* option : {"--once", "--state", "--alias", "--interval", "--exclude", "--watch",
                               "--verbose", "--json", "--quiet", "--lang"})
        QVERIFY2(mirrorHelp.out.contains(option), option);

    const CliResult version = world.run({QStringLiteral("--version")});
    QCOMPARE(version.exitCode, 0);
    QCOMPARE(version.out, QByteArray("vorn_sync " VORN_SYNC_VERSION "\n"));
}

// "L" stands for an existing directory, "D" for another one.
void TestCliUsage::badCommandLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("text");
    const auto row = [](const char* name, const char* arguments, const char* text) {
        QTest::newRow(name) << QString::fromLatin1(arguments).split(QLatin1Char(' '), Qt::SkipEmptyParts)
                            << QByteArray(text);
    };
    row("no command", "", "A command is needed.");
    row("unknown command", "frobnicate", "Unknown command: 'frobnicate'.");
    row("no pair", "mirror", "No pair is given");
    row("odd number of paths", "mirror L", "has no DISTANT");
    row("local missing", "mirror L/nothing D", "LOCAL is not an existing directory");
    row("unknown option", "mirror --frobnicate L D", "frobnicate");
    row("interval no number", "mirror --interval soon L D", "--interval needs a number");
    row("interval zero", "mirror --interval 0 L D", "--interval needs a number");
    row("interval negative", "mirror --interval -5 L D", "--interval needs a number");
    row("interval too large", "mirror --interval 99999999999 L D", "--interval needs a number");
    row("interval without value", "mirror L D --interval", "interval");
    row("unknown language", "mirror --lang xx L D", "--lang needs one of");
    row("more aliases than pairs", "mirror --alias a --alias b L D", "more aliases than pairs");
    row("alias twice", "mirror --alias a --alias a L D D L", "alias is given twice");
    row("local twice", "mirror L D L D", "LOCAL is given twice");
    row("reserved alias", "mirror --alias vorn_sync-cycle-probe L D", "alias is reserved");
    row("quiet and json", "mirror --quiet --json L D", "--quiet can't be combined");
    row("quiet and verbose", "mirror --quiet --verbose L D", "--quiet can't be combined");
    row("nothing left to mirror", "mirror --once --exclude * L D", "leave no file to mirror");
}

void TestCliUsage::badCommandLine()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, text);
    const CliWorld world;
    const QString local = world.makeDirectory(QStringLiteral("local"));
    const QString distant = world.makeDirectory(QStringLiteral("distant"));
    for (QString& argument : arguments) {
        if (argument.startsWith(QLatin1Char('L')))
            argument.replace(0, 1, local);
        else if (argument == QLatin1String("D"))
            argument = distant;
    }

    const CliResult result = world.run(arguments);
    QVERIFY2(result.hasEnded && result.exitCode == 2, qPrintable(result.words()));
    QVERIFY2(result.err.contains(text), qPrintable(result.words()));
    QVERIFY(result.out.isEmpty());
    QVERIFY2(Side(world.path(QStringLiteral("xdg"))).names().isEmpty(), "a state directory was left behind");
}

void TestCliUsage::refusesSameDirectory()
{
    const CliWorld world;
    const QString local = world.makeDirectory(QStringLiteral("local"));
    QVERIFY(QFile::link(local, world.path(QStringLiteral("link"))));
    for (const QString& distant :
         {local, local + QStringLiteral("/../local"), world.path(QStringLiteral("link"))}) {
        const CliResult result = world.mirror({QStringLiteral("--once"), local, distant});
        QVERIFY2(result.exitCode == 2, qPrintable(result.words()));
        QVERIFY2(result.err.contains(
                     "ERROR: Local, distant and trash directories of alias: 'local' must be different."),
                 qPrintable(result.words()));
    }
    const CliResult again = world.mirror({QStringLiteral("--once")});
    QVERIFY2(again.exitCode == 2, "a refused pair was remembered");
}

void TestCliUsage::refusesAliasThatCannotNameATrashDirectory()
{
    const CliWorld world;
    const CliResult result = world.mirror(
        {QStringLiteral("--once"), QStringLiteral("--alias"), QStringLiteral("../up"),
         world.makeDirectory(QStringLiteral("local")), world.makeDirectory(QStringLiteral("distant"))});
    QVERIFY2(result.exitCode == 2, qPrintable(result.words()));
    QVERIFY2(result.err.contains("ERROR: Alias: '../up' cannot name a trash directory."),
             qPrintable(result.words()));
}

void TestCliUsage::refusesAliasOfAnotherLocal()
{
    const CliWorld world;
    const QString first = world.makeDirectory(QStringLiteral("first"));
    const QString second = world.makeDirectory(QStringLiteral("second"));
    const QString distant = world.makeDirectory(QStringLiteral("distant"));
    const QStringList named{QStringLiteral("--once"), QStringLiteral("--alias"), QStringLiteral("docs")};
    QCOMPARE(world.mirror(named + QStringList{first, distant}).exitCode, 0);

    const CliResult result = world.mirror(named + QStringList{second, distant});
    QVERIFY2(result.exitCode == 2, qPrintable(result.words()));
    QVERIFY2(result.err.contains("The alias 'docs' belongs to another local directory."),
             qPrintable(result.words()));

    // Known to the database alone.
    QVERIFY(QFile::remove(world.statePath() + QStringLiteral("/pairs.json")));
    const CliResult forgotten = world.mirror(named + QStringList{second, distant});
    QVERIFY2(forgotten.exitCode == 2, qPrintable(forgotten.words()));
    QVERIFY(forgotten.err.contains("The alias 'docs' belongs to another local directory."));
}

void TestCliUsage::refusesSecondAliasForALocal()
{
    const CliWorld world;
    const QString local = world.makeDirectory(QStringLiteral("local"));
    const QString distant = world.makeDirectory(QStringLiteral("distant"));
    QCOMPARE(world.mirror({QStringLiteral("--once"), local, distant}).exitCode, 0);
    const CliResult result = world.mirror(
        {QStringLiteral("--once"), QStringLiteral("--alias"), QStringLiteral("other"), local, distant});
    QVERIFY2(result.exitCode == 2, qPrintable(result.words()));
    QVERIFY2(result.err.contains("is known under the alias 'local', not 'other'."),
             qPrintable(result.words()));
}

void TestCliUsage::refusesTheStateDirectoryAsASide()
{
    const CliWorld world;
    const QString other = world.makeDirectory(QStringLiteral("other"));
    const QString state = world.makeDirectory(QStringLiteral("state"));
    for (const QStringList& pair : {QStringList{state, other}, QStringList{other, state}}) {
        const CliResult result = world.mirror(pair);
        QVERIFY2(result.exitCode == 2, qPrintable(result.words()));
        QVERIFY(result.err.contains("The state directory can't be part of a pair"));
    }
}

void TestCliUsage::refusesASecondInstance()
{
    const CliWorld world;
    const QStringList pair{world.makeDirectory(QStringLiteral("local")),
                           world.makeDirectory(QStringLiteral("distant"))};
    CliProcess first;
    QVERIFY(first.start(world.mirrorArguments(pair), world.environment()));
    QVERIFY(first.waitForOut("Pair local:"));

    const CliResult second = world.mirror(QStringList{QStringLiteral("--once")} + pair);
    QVERIFY2(second.exitCode == 5, qPrintable(second.words()));
    const QByteArray owner = "in use by process " + QByteArray::number(first.processId());
    QVERIFY2(second.err.contains(owner), qPrintable(second.words()));
    QVERIFY(first.isRunning());

    // Another state directory is nobody's business.
    const CliResult elsewhere =
        world.run(QStringList{QStringLiteral("mirror"), QStringLiteral("--once"), QStringLiteral("--state"),
                              world.path(QStringLiteral("elsewhere"))} +
                  pair);
    QVERIFY2(elsewhere.exitCode == 0, qPrintable(elsewhere.words()));

    QVERIFY(first.sendSignal(SIGTERM));
    QCOMPARE(first.waitForEnd().exitCode, 0);
    QCOMPARE(world.mirror(QStringList{QStringLiteral("--once")} + pair).exitCode, 0);
}

void TestCliUsage::takesOverTheLockOfADeadProcess()
{
    const CliWorld world;
    const QStringList pair{world.makeDirectory(QStringLiteral("local")),
                           world.makeDirectory(QStringLiteral("distant"))};
    CliProcess first;
    QVERIFY(first.start(world.mirrorArguments(pair), world.environment()));
    QVERIFY(first.waitForOut("Pair local:"));
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(world.statePath() + QStringLiteral("/pairs.json")),
                             VornSyncTest::kWaitMs);
    QVERIFY(first.sendSignal(SIGKILL));
    QVERIFY(!first.waitForEnd().hasEnded);
    QVERIFY(QFileInfo::exists(world.statePath() + QStringLiteral("/lock")));

    const CliResult second = world.mirror({QStringLiteral("--once")});
    QVERIFY2(second.exitCode == 0, qPrintable(second.words()));
}

void TestCliUsage::stateDirectoryThatIsAFile()
{
    const CliWorld world;
    QVERIFY(Side(world.path(QString())).write(QStringLiteral("state"), "not a directory"));
    const CliResult result =
        world.mirror({QStringLiteral("--once"), world.makeDirectory(QStringLiteral("local")),
                      world.makeDirectory(QStringLiteral("distant"))});
    QVERIFY2(result.exitCode == 4, qPrintable(result.words()));
    QVERIFY(result.err.contains("The state directory can't be created"));
}

void TestCliUsage::damagedPairList()
{
    const CliWorld world;
    const Side state(world.makeDirectory(QStringLiteral("state")));
    QVERIFY(state.write(QStringLiteral("pairs.json"), "{ \"format\": 1, \"pai"));
    const CliResult result =
        world.mirror({QStringLiteral("--once"), world.makeDirectory(QStringLiteral("local")),
                      world.makeDirectory(QStringLiteral("distant"))});
    QVERIFY2(result.exitCode == 4, qPrintable(result.words()));
    QVERIFY(result.err.contains("damaged or of a newer version"));
    QCOMPARE(state.read(QStringLiteral("pairs.json")), QByteArray("{ \"format\": 1, \"pai"));
}

void TestCliUsage::unusableDatabase()
{
    const CliWorld world;
    const Side state(world.makeDirectory(QStringLiteral("state")));
    const QByteArray garbage(8192, 'x');
    QVERIFY(state.write(QStringLiteral("state.db"), garbage));
    const CliResult result =
        world.mirror({QStringLiteral("--once"), world.makeDirectory(QStringLiteral("local")),
                      world.makeDirectory(QStringLiteral("distant"))});
    QVERIFY2(result.exitCode == 4, qPrintable(result.words()));
    QVERIFY2(result.err.contains("ERROR: Failure to add directory in database for alias: 'local'."),
             qPrintable(result.words()));
    QCOMPARE(state.read(QStringLiteral("state.db")), garbage);
}

QTEST_GUILESS_MAIN(TestCliUsage)
#include "test_cli_usage.moc"
