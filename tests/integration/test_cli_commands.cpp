#include "test_cli_commands_support.h"

#include "literals.h"
#include "wait.h"

#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QTest>

using namespace VornSyncTest;

namespace {

constexpr int kUpToDate = 17;
constexpr int kTrashed = 33;
constexpr int kDeleted = 40;

#define VERIFY_EXIT(result, code) QVERIFY2((result).exitCode == (code), qPrintable((result).words()))

QStringList adviceActions(const QJsonObject& error)
{
    QStringList actions;
    const QJsonArray advices = error.value("advice"_l).toArray();
    for (const QJsonValue& advice : advices)
        actions.append(advice.toObject().value("action"_l).toString());
    return actions;
}

} // namespace

// What each command does, seen from outside: on both sides' disk, in the trash and in the database.
class TestCliCommands : public QObject
{
    Q_OBJECT

private slots:
    void status();
    void errorsOfAMissingLocalFile();
    void acknowledge();
    void acknowledgeAll();
    void restore();
    void trashOfAMissingDistantFile();
    void deleteAllMissing();
    void retryOfAShrunkDistantFile();
    void retryAll();
    void trash();
    void deleted();
    void deletedWithTheDistantCopyKept();
    void rename();
    void renameOfAFileThatWasNotSentYet();
    void renameWithWatch();
    void readyWithTheLocalFile();
    void readyCopiesADistantFile();
    void readyTakesANewerVersion();
    void readyByPath();
    void sync();
    void syncOfOneFile();
    void syncOfABusyFile();
    void pauseAndResume();
    void pauseOfOnePair();
    void resumeDoesNotWakeASuspendedPair();
    void forget();
    void reset();
    void resetWhilePaused();
    void resetAtOnce();
    void resetOnATerminal_data();
    void resetOnATerminal();
    void printedCommandCanBePasted_data();
    void printedCommandCanBePasted();
    void french();
};

void TestCliCommands::status()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s, "b"_s}));
    const CliResult text = host.run({"status"_s});
    VERIFY_EXIT(text, 0);
    QVERIFY2(text.out.contains("Up to date 2 | pending 0 | in progress 0 | in error 0\n"),
             qPrintable(text.words()));

    const QJsonObject object = host.statusJson();
    QCOMPARE(object.value("host"_l).toBool(), true);
    QCOMPARE(object.value("state"_l).toString(), host.state);
    QCOMPARE(object.value("process"_l).toInt(), int(host.process.processId()));
    QCOMPARE(object.value("version"_l).toString(), QStringLiteral(VORN_SYNC_VERSION));
    QCOMPARE(object.value("paused"_l).toBool(true), false);
    QCOMPARE(object.value("idle"_l).toBool(), true);
    QCOMPARE(object.value("counters"_l).toObject().value("done"_l).toInt(), 2);
    QCOMPARE(object.value("recent"_l).toArray().size(), 2);
    const QJsonArray pairs = object.value("pairs"_l).toArray();
    QCOMPARE(pairs.size(), 1);
    QCOMPARE(pairs.first().toObject().value("alias"_l).toString(), "docs"_s);
    QCOMPARE(pairs.first().toObject().value("local"_l).toString(), host.local.path());
    QCOMPARE(pairs.first().toObject().value("distant"_l).toString(), host.distant.path());
    QCOMPARE(pairs.first().toObject().value("distant_there"_l).toBool(), true);
}

void TestCliCommands::errorsOfAMissingLocalFile()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s, "b"_s}));
    const CliResult none = host.run({"errors"_s});
    VERIFY_EXIT(none, 0);
    QCOMPARE(none.out, QByteArray("No file is in error.\n"));

    QVERIFY(host.local.remove("a"_s));
    QVERIFY(host.syncUntilError("a"_s, 2));
    const CliResult text = host.run({"errors"_s});
    VERIFY_EXIT(text, 1);
    QVERIFY2(text.out.startsWith("1 file is in error:\n  docs/a: error 2: The local file is gone."),
             qPrintable(text.words()));
    const QByteArray command = QByteArray(" acknowledge --state ") + host.state.toUtf8() + " -- docs a\n";
    QVERIFY2(text.out.contains(command), qPrintable(text.words()));
    VERIFY_EXIT(host.run({"status"_s}), 1);
    QCOMPARE(adviceActions(host.errorJson("a"_s)), (QStringList{"acknowledge"_s, QString()}));
}

void TestCliCommands::acknowledge()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s, "b"_s}));
    QVERIFY(host.local.remove("a"_s));
    QVERIFY(host.syncUntilError("a"_s, 2));
    const CliResult result = host.run({"acknowledge"_s, "docs"_s, "a"_s});
    VERIFY_EXIT(result, 0);
    QCOMPARE(result.out, QByteArray("docs/a: noted that the local file is gone.\n"));
    QTRY_COMPARE_WITH_TIMEOUT(host.statusOf("a"_s), kDeleted, kWaitMs);
    QVERIFY(host.distant.exists("a"_s));
    QTRY_COMPARE_WITH_TIMEOUT(host.run({"errors"_s}).exitCode, 0, kWaitMs);
}

void TestCliCommands::acknowledgeAll()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s, "b"_s, "c"_s}));
    QVERIFY(host.local.remove("a"_s) && host.local.remove("b"_s) && host.distant.remove("c"_s));
    QVERIFY(host.syncUntilError("c"_s, 15));
    const QJsonObject answer = host.json({"acknowledge-all"_s});
    QCOMPARE(answer.value("done"_l).toString(), "acknowledged_all"_s);
    QCOMPARE(answer.value("count"_l).toInt(), 2);
    QTRY_COMPARE_WITH_TIMEOUT(host.statusOf("a"_s), kDeleted, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(host.statusOf("b"_s), kDeleted, kWaitMs);
    QCOMPARE(host.errorJson("c"_s).value("code"_l).toInt(), 15);
    QVERIFY(host.distant.exists("a"_s) && host.distant.exists("b"_s));
}

void TestCliCommands::restore()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.distant.remove("a"_s));
    QVERIFY(host.syncUntilError("a"_s, 15));
    QCOMPARE(adviceActions(host.errorJson("a"_s)), (QStringList{"restore"_s, "trash"_s}));
    const CliResult result = host.run({"restore"_s, "docs"_s, "a"_s});
    VERIFY_EXIT(result, 0);
    QTRY_VERIFY_WITH_TIMEOUT(host.isMirrored("a"_s), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(host.statusOf("a"_s), kUpToDate, kWaitMs);
}

void TestCliCommands::trashOfAMissingDistantFile()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.distant.remove("a"_s));
    QVERIFY(host.syncUntilError("a"_s, 15));
    VERIFY_EXIT(host.run({"trash"_s, "docs"_s, "a"_s}), 0);
    QTRY_COMPARE_WITH_TIMEOUT(host.statusOf("a"_s), kTrashed, kWaitMs);
    QVERIFY(!host.local.exists("a"_s));
    QCOMPARE(host.trash().read("a"_s), QByteArray("a content"));
}

void TestCliCommands::deleteAllMissing()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s, "b"_s, "c"_s}));
    QVERIFY(host.distant.remove("a"_s) && host.distant.remove("b"_s));
    QVERIFY(host.syncUntilError("a"_s, 15) && host.syncUntilError("b"_s, 15));
    const QJsonObject answer = host.json({"delete-all-missing"_s});
    QCOMPARE(answer.value("count"_l).toInt(), 2);
    QTRY_COMPARE_WITH_TIMEOUT(host.statusOf("a"_s), kTrashed, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(host.statusOf("b"_s), kTrashed, kWaitMs);
    QCOMPARE(host.local.names(), QStringList{"c"_s});
    QCOMPARE(host.trash().names(), (QStringList{"a"_s, "b"_s}));
    QTRY_VERIFY_WITH_TIMEOUT(host.process.out().contains("moved to the trash docs/a\n"), kWaitMs);
}

void TestCliCommands::retryOfAShrunkDistantFile()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.distant.write("a"_s, "less"));
    QVERIFY(host.syncUntilError("a"_s, 7)); // found by a verification, every sixth cycle
    QCOMPARE(adviceActions(host.errorJson("a"_s)), (QStringList{QString(), "retry"_s}));
    const CliResult result = host.run({"retry"_s, "docs"_s, "a"_s});
    VERIFY_EXIT(result, 0);
    QCOMPARE(result.out, QByteArray("docs/a: taken up again.\n"));
    QTRY_COMPARE_WITH_TIMEOUT(host.distant.read("a"_s), QByteArray("a content"), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(host.statusOf("a"_s), kUpToDate, kWaitMs);
}

void TestCliCommands::retryAll()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s, "b"_s, "gone"_s}));
    QVERIFY(host.distant.write("a"_s, "less") && host.distant.remove("b"_s) && host.local.remove("gone"_s));
    QVERIFY(host.syncUntilError("a"_s, 7) && host.syncUntilError("b"_s, 15));
    const QJsonObject answer = host.json({"retry-all"_s});
    QCOMPARE(answer.value("count"_l).toInt(), 2);
    QTRY_VERIFY_WITH_TIMEOUT(host.isMirrored("a"_s) && host.isMirrored("b"_s), kWaitMs);
    QCOMPARE(host.errorJson("gone"_s).value("code"_l).toInt(), 2);
}

void TestCliCommands::trash()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s, "b"_s}));
    const CliResult result = host.run({"trash"_s, "docs"_s, "a"_s});
    VERIFY_EXIT(result, 0);
    QCOMPARE(result.out, QByteArray("docs/a: moved to the trash.\n"));
    QTRY_COMPARE_WITH_TIMEOUT(host.statusOf("a"_s), kTrashed, kWaitMs);
    QCOMPARE(host.local.names(), QStringList{"b"_s});
    QCOMPARE(host.trash().read("a"_s), QByteArray("a content"));
    QVERIFY(host.distant.exists("a"_s));
}

void TestCliCommands::deleted()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s, "b"_s}));
    const CliResult early = host.run({"deleted"_s, "docs"_s, "a"_s});
    VERIFY_EXIT(early, 1);
    QVERIFY2(early.err.contains("docs/a: is still in the local directory."), qPrintable(early.words()));
    QCOMPARE(host.statusOf("a"_s), kUpToDate);

    QVERIFY(host.local.remove("a"_s));
    VERIFY_EXIT(host.run({"deleted"_s, "docs"_s, "a"_s}), 0);
    QCOMPARE(host.statusOf("a"_s), kDeleted);
    QTRY_COMPARE_WITH_TIMEOUT(host.distant.names(), QStringList{"b"_s}, kWaitMs);
}

void TestCliCommands::deletedWithTheDistantCopyKept()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s, "b"_s}));
    QVERIFY(host.local.remove("a"_s));
    VERIFY_EXIT(host.run({"deleted"_s, "--keep-distant"_s, "docs"_s, "a"_s}), 0);
    QCOMPARE(host.statusOf("a"_s), kDeleted);
    // What was handed over before this file has arrived has been done when it has.
    QVERIFY(host.local.write("c"_s, "c"));
    VERIFY_EXIT(host.run({"sync"_s, "docs"_s, "c"_s}), 0);
    QTRY_VERIFY_WITH_TIMEOUT(host.isMirrored("c"_s), kWaitMs);
    QVERIFY(host.distant.exists("a"_s));
}

void TestCliCommands::rename()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s, "b"_s}));
    const CliResult result = host.run({"rename"_s, "docs"_s, "a"_s, "new name"_s});
    VERIFY_EXIT(result, 0);
    QCOMPARE(result.out, QByteArray("docs/a: is new name now; the distant file follows.\n"));
    QCOMPARE(host.local.names(), (QStringList{"b"_s, "new name"_s}));
    QTRY_COMPARE_WITH_TIMEOUT(host.distant.names(), (QStringList{"b"_s, "new name"_s}), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(host.statusOf("new name"_s), kUpToDate, kWaitMs);
    QCOMPARE(host.statusOf("a"_s), -1);
    QVERIFY(host.isMirrored("new name"_s));
    QTRY_VERIFY_WITH_TIMEOUT(host.process.out().contains("renamed on the distant side docs/a\n"), kWaitMs);
    VERIFY_EXIT(host.run({"errors"_s}), 0);
}

// Its row has a name and nothing on the distant side: a matter of the database alone.
void TestCliCommands::renameOfAFileThatWasNotSentYet()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.distant.remove("a"_s));
    VERIFY_EXIT(host.run({"rename"_s, "docs"_s, "a"_s, "b"_s}), 0);
    QTRY_COMPARE_WITH_TIMEOUT(host.statusOf("b"_s), kUpToDate, kWaitMs);
    QCOMPARE(host.statusOf("a"_s), -1);
    QCOMPARE(host.local.names(), QStringList{"b"_s});
    QVERIFY(host.distant.names().isEmpty());
}

void TestCliCommands::renameWithWatch()
{
    CliHost host;
    QVERIFY(host.local.write("a"_s, "a content"));
    QVERIFY(host.start({"--watch"_s}));
    QTRY_COMPARE_WITH_TIMEOUT(host.statusOf("a"_s), kUpToDate, kWaitMs);
    VERIFY_EXIT(host.run({"rename"_s, "docs"_s, "a"_s, "b"_s}), 0);
    QTRY_COMPARE_WITH_TIMEOUT(host.distant.names(), QStringList{"b"_s}, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(host.statusOf("b"_s), kUpToDate, kWaitMs);
    VERIFY_EXIT(host.run({"errors"_s}), 0);
}

void TestCliCommands::readyWithTheLocalFile()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    const CliResult result = host.run({"ready"_s, "docs"_s, "a"_s});
    VERIFY_EXIT(result, 0);
    QCOMPARE(result.out, host.local.filePath("a"_s).toUtf8() + '\n');
}

void TestCliCommands::readyCopiesADistantFile()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.distant.write("theirs"_s, "from elsewhere"));
    const QJsonObject answer = host.json({"ready"_s, "docs"_s, "theirs"_s});
    QCOMPARE(answer.value("details"_l).toArray().first().toString(), host.local.filePath("theirs"_s));
    QCOMPARE(host.local.read("theirs"_s), QByteArray("from elsewhere"));
    QCOMPARE(host.statusOf("theirs"_s), kUpToDate);
    // The library tells the end of that copy as a failed operation; the host does not pass that on.
    VERIFY_EXIT(host.run({"status"_s}), 0);
    QVERIFY2(!host.process.err().contains("failed"), host.process.err().constData());
}

void TestCliCommands::readyTakesANewerVersion()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.distant.write("a"_s, "a newer version"));
    QVERIFY(host.distant.setLmd("a"_s, QDateTime::currentDateTimeUtc().addSecs(60)));
    VERIFY_EXIT(host.run({"ready"_s, "docs"_s, "a"_s}), 0);
    QCOMPARE(host.local.read("a"_s), QByteArray("a newer version"));
}

void TestCliCommands::readyByPath()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.distant.write("theirs"_s, "from elsewhere"));
    const CliResult result = host.run({"ready"_s, host.distant.path() + "/../distant/theirs"_s});
    VERIFY_EXIT(result, 0);
    QCOMPARE(result.out, host.local.filePath("theirs"_s).toUtf8() + '\n');
    const CliResult elsewhere = host.run({"ready"_s, host.world.path("nowhere"_s)});
    VERIFY_EXIT(elsewhere, 1);
    QVERIFY2(elsewhere.err.contains("There is no file, or it was not ready in time"),
             qPrintable(elsewhere.words()));
}

void TestCliCommands::sync()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.local.write("b"_s, "b"));
    const CliResult result = host.run({"sync"_s});
    VERIFY_EXIT(result, 0);
    QTRY_VERIFY_WITH_TIMEOUT(host.isMirrored("b"_s), kWaitMs);
}

void TestCliCommands::syncOfOneFile()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.local.write("b"_s, "b") && host.local.write("c"_s, "c"));
    VERIFY_EXIT(host.run({"sync"_s, "docs"_s, "b"_s}), 0);
    QTRY_VERIFY_WITH_TIMEOUT(host.isMirrored("b"_s), kWaitMs);
    QVERIFY(!host.distant.exists("c"_s));
}

void TestCliCommands::syncOfABusyFile()
{
    constexpr int kBeingSent = 20;
    CliHost host;
    QVERIFY(host.local.write("blocked"_s, "x") && host.distant.makeDirectory("blocked"_s));
    QVERIFY(host.start());
    QTRY_COMPARE_WITH_TIMEOUT(host.statusOf("blocked"_s), kBeingSent, kWaitMs);
    const CliResult result = host.run({"sync"_s, "docs"_s, "blocked"_s});
    VERIFY_EXIT(result, 0);
    QCOMPARE(result.out,
             QByteArray("docs/blocked: an operation on it runs or waits; it is sent after that.\n"));
}

void TestCliCommands::pauseAndResume()
{
    const QString available = "SELECT available FROM directories"_s;
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    VERIFY_EXIT(host.run({"pause"_s}), 0);
    VERIFY_EXIT(host.run({"pause"_s}), 0);
    QCOMPARE(host.statusJson().value("paused"_l).toBool(), true);
    QCOMPARE(host.database().value(available).toInt(), 0);
    QVERIFY(host.local.write("b"_s, "b"));
    const CliResult refused = host.run({"sync"_s});
    VERIFY_EXIT(refused, 1);
    QVERIFY2(refused.err.contains("Mirroring is paused; resume it first."), qPrintable(refused.words()));

    VERIFY_EXIT(host.run({"resume"_s}), 0);
    QTRY_VERIFY_WITH_TIMEOUT(host.isMirrored("b"_s), kWaitMs);
    QCOMPARE(host.database().value(available).toInt(), 1);
    QCOMPARE(host.statusJson().value("paused"_l).toBool(true), false);
    VERIFY_EXIT(host.run({"resume"_s}), 0);
}

void TestCliCommands::pauseOfOnePair()
{
    const QString available = "SELECT available FROM directories WHERE alias_name = ?"_s;
    CliHost host;
    const Side local(host.world.makeDirectory("second"_s));
    const Side distant(host.world.makeDirectory("second distant"_s));
    QVERIFY(host.start({local.path(), distant.path()}));
    QTRY_COMPARE_WITH_TIMEOUT(host.database().value(available, {"second"_s}).toInt(), 1, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(host.database().value(available, {"docs"_s}).toInt(), 1, kWaitMs);
    VERIFY_EXIT(host.run({"pause"_s, "docs"_s}), 0);
    QCOMPARE(host.database().value(available, {"docs"_s}).toInt(), 0);
    QVERIFY(host.local.write("a"_s, "a") && local.write("b"_s, "b"));
    VERIFY_EXIT(host.run({"sync"_s}), 0);
    QTRY_COMPARE_WITH_TIMEOUT(distant.read("b"_s), QByteArray("b"), kWaitMs);
    QVERIFY(!host.distant.exists("a"_s));
    QVERIFY(host.run({"status"_s}).out.contains("(suspended)"));
    VERIFY_EXIT(host.run({"resume"_s, "docs"_s}), 0);
    QTRY_VERIFY_WITH_TIMEOUT(host.isMirrored("a"_s), kWaitMs);
}

void TestCliCommands::resumeDoesNotWakeASuspendedPair()
{
    const QString available = "SELECT available FROM directories WHERE alias_name = ?"_s;
    CliHost host;
    const Side local(host.world.makeDirectory("second"_s));
    const Side distant(host.world.makeDirectory("second distant"_s));
    QVERIFY(host.start({local.path(), distant.path()}));
    VERIFY_EXIT(host.run({"pause"_s, "docs"_s}), 0);
    VERIFY_EXIT(host.run({"pause"_s}), 0);
    QVERIFY(host.local.write("a"_s, "a") && local.write("b"_s, "b"));
    VERIFY_EXIT(host.run({"resume"_s}), 0);
    QTRY_COMPARE_WITH_TIMEOUT(distant.read("b"_s), QByteArray("b"), kWaitMs);
    QCOMPARE(host.database().value(available, {"docs"_s}).toInt(), 0);
    QVERIFY(!host.distant.exists("a"_s));
}

void TestCliCommands::forget()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    VERIFY_EXIT(host.run({"forget"_s, "docs"_s}), 0);
    QCOMPARE(host.database().value("SELECT COUNT(*) FROM directories"_s).toInt(), 0);
    QCOMPARE(host.statusOf("a"_s), -1);
    QVERIFY(host.isMirrored("a"_s));
    QFile list(host.state + "/pairs.json"_s);
    QVERIFY(list.open(QIODevice::ReadOnly));
    QVERIFY(QJsonDocument::fromJson(list.readAll()).object().value("pairs"_l).toArray().isEmpty());
    for (const QStringList& words : {QStringList{"forget"_s, "docs"_s},
                                     {"trash"_s, "docs"_s, "a"_s},
                                     {"rename"_s, "docs"_s, "a"_s, "b"_s},
                                     {"pause"_s, "docs"_s}}) {
        const CliResult gone = host.run(words);
        VERIFY_EXIT(gone, 1);
        QVERIFY2(gone.err.contains("There is no pair with the alias 'docs'."), qPrintable(gone.words()));
    }
    QVERIFY(host.isMirrored("a"_s));
}

// Everything is forgotten, and every local file is sent anew.
void TestCliCommands::reset()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s, "gone"_s, "trashed"_s}));
    QVERIFY(host.local.remove("gone"_s));
    QVERIFY(host.syncUntilError("gone"_s, 2));
    VERIFY_EXIT(host.run({"trash"_s, "docs"_s, "trashed"_s}), 0);
    QTRY_COMPARE_WITH_TIMEOUT(host.statusOf("trashed"_s), kTrashed, kWaitMs);
    QVERIFY(host.distant.write("a"_s, "A CONTENT"));

    const CliResult result = host.run({"reset"_s, "--yes"_s});
    VERIFY_EXIT(result, 0);
    QCOMPARE(result.out, QByteArray("The state was emptied; 1 pair is mirrored anew.\n"));
    QTRY_COMPARE_WITH_TIMEOUT(host.distant.read("a"_s), QByteArray("a content"), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(host.statusOf("a"_s), kUpToDate, kWaitMs);
    QCOMPARE(host.statusOf("gone"_s), -1);
    QCOMPARE(host.statusOf("trashed"_s), -1);
    QVERIFY(host.trash().exists("trashed"_s));
    QVERIFY(host.distant.exists("gone"_s));
    VERIFY_EXIT(host.run({"errors"_s}), 0);
}

void TestCliCommands::resetWhilePaused()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    VERIFY_EXIT(host.run({"pause"_s}), 0);
    QVERIFY(host.distant.write("a"_s, "A CONTENT"));
    VERIFY_EXIT(host.run({"reset"_s, "--yes"_s}), 0);
    const QJsonObject status = host.statusJson();
    QCOMPARE(status.value("paused"_l).toBool(), true);
    QCOMPARE(status.value("pairs"_l).toArray().size(), 1);
    QCOMPARE(host.statusOf("a"_s), -1);
    QCOMPARE(host.database().value("SELECT available FROM directories"_s).toInt(), 0);
    VERIFY_EXIT(host.run({"resume"_s}), 0);
    QTRY_COMPARE_WITH_TIMEOUT(host.distant.read("a"_s), QByteArray("a content"), kWaitMs);
}

void TestCliCommands::resetAtOnce()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.distant.write("a"_s, "A CONTENT"));
    VERIFY_EXIT(host.run({"reset"_s, "--yes"_s, "--now"_s}), 0);
    QTRY_COMPARE_WITH_TIMEOUT(host.distant.read("a"_s), QByteArray("a content"), kWaitMs);
}

void TestCliCommands::resetOnATerminal_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("language");
    QTest::addColumn<int>("exitCode");
    QTest::newRow("yes") << QByteArray("yes\n") << "en"_s << 0;
    QTest::newRow("oui") << QByteArray("oui\n") << "fr"_s << 0;
    QTest::newRow("no") << QByteArray("no\n") << "en"_s << 1;
    QTest::newRow("y") << QByteArray("y\n") << "en"_s << 1;
    QTest::newRow("nothing") << QByteArray("\n") << "en"_s << 1;
}

void TestCliCommands::resetOnATerminal()
{
    QFETCH(QByteArray, reply);
    QFETCH(QString, language);
    QFETCH(int, exitCode);
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.distant.write("a"_s, "A CONTENT"));

    QProcess terminal; // "script" gives the command a terminal of its own
    terminal.setProcessEnvironment(host.world.environment());
    terminal.start("script"_s, {"-qec"_s,
                                "'%1' reset --state '%2' --lang %3"_s.arg(QStringLiteral(VORN_SYNC_PROGRAM),
                                                                          host.state, language),
                                "/dev/null"_s});
    if (!terminal.waitForStarted(kWaitMs))
        QSKIP("there is no \"script\" to make a terminal with");
    QByteArray shown;
    const QByteArray question = language == "fr"_s ? "Tapez" : "Type 'yes' to go on:";
    QVERIFY2(waitFor([&] { return (shown += terminal.readAll()).contains(question); }), shown.constData());
    terminal.write(reply);
    QVERIFY(waitFor([&] { return terminal.state() == QProcess::NotRunning; }));
    QCOMPARE(terminal.exitCode(), exitCode);
    if (exitCode == 0) {
        QTRY_COMPARE_WITH_TIMEOUT(host.distant.read("a"_s), QByteArray("a content"), kWaitMs);
        return;
    }
    QCOMPARE(host.statusOf("a"_s), kUpToDate);
    QCOMPARE(host.distant.read("a"_s), QByteArray("A CONTENT"));
}

void TestCliCommands::printedCommandCanBePasted_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("blank") << "two words.txt"_s;
    QTest::newRow("quotes") << "it's \"quoted\" $HOME `id` \\ *"_s;
    QTest::newRow("newline") << "line\nbreak 'and' \\n%1"_s;
    QTest::newRow("escape") << "\x1b[31mred\x07"_s;
    QTest::newRow("dash") << "--yes"_s;
    QTest::newRow("beyond ASCII") << QString::fromUtf8("été € \xF0\x9F\x98\x80\n");
}

void TestCliCommands::printedCommandCanBePasted()
{
    QFETCH(QString, name);
    CliHost host;
    QVERIFY(host.startWith({name}));
    QVERIFY(host.distant.remove(name));
    QVERIFY(host.syncUntilError(name, 15));
    const QJsonObject advice = host.errorJson(name).value("advice"_l).toArray().first().toObject();
    const QString command = advice.value("command"_l).toString();
    const CliResult errors = host.run({"errors"_s});
    QVERIFY2(errors.out.contains("        " + command.toUtf8() + '\n'), qPrintable(errors.words()));
    QVERIFY2(!errors.out.contains('\x1b') && !errors.out.contains('\x07'), qPrintable(errors.words()));

    CliProcess shell;
    QVERIFY(shell.start("bash"_s, {"-c"_s, command}, host.world.environment()));
    const CliResult pasted = shell.waitForEnd();
    VERIFY_EXIT(pasted, 0);
    QTRY_VERIFY_WITH_TIMEOUT(host.isMirrored(name), kWaitMs);
}

void TestCliCommands::french()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s, "b"_s}));
    const QStringList french{"--lang"_s, "fr"_s};
    QVERIFY(host.run(QStringList{"status"_s} + french).out.contains("À jour 2 | en attente 0"));
    QVERIFY(host.distant.remove("a"_s));
    QVERIFY(host.syncUntilError("a"_s, 15));
    const CliResult errors = host.run(QStringList{"errors"_s} + french);
    VERIFY_EXIT(errors, 1);
    QVERIFY2(errors.out.startsWith("1 fichier est en erreur :\n  docs/a : erreur 15 : La copie distante a "
                                   "disparu."),
             qPrintable(errors.words()));
    QVERIFY2(errors.out.contains("Vous pouvez renvoyer le fichier local :\n"), qPrintable(errors.words()));
    const CliResult refused = host.run(QStringList{"trash"_s, "x"_s, "a"_s} + french);
    VERIFY_EXIT(refused, 1);
    QVERIFY2(refused.err.contains("Il n'y a pas de paire avec l'alias « x »."), qPrintable(refused.words()));
    const CliResult all = host.run(QStringList{"retry-all"_s} + french);
    QCOMPARE(all.out, QByteArray("1 fichier a été repris.\n"));
}

QTEST_GUILESS_MAIN(TestCliCommands)
#include "test_cli_commands.moc"
