#include "test_cli_commands_support.h"

#include "mounts.h"
#include "wait.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTest>

#include <csignal>
#include <unistd.h>

using namespace VornSyncTest;

namespace {

constexpr int kOk = 0;
constexpr int kInError = 1;
constexpr int kUsage = 2;
constexpr int kUnusable = 4;
constexpr int kStuck = 6;

constexpr int kUpToDate = 17;
constexpr int kDaySecs = 24 * 3600;

#define VERIFY_EXIT(result, code) QVERIFY2((result).exitCode == (code), qPrintable((result).words()))
#define VERIFY_SAYS(result, text) QVERIFY2((result).out.contains(text), qPrintable((result).words()))
#define VERIFY_SILENT_ON(result, text) QVERIFY2(!(result).out.contains(text), qPrintable((result).words()))

qint64 nowSecs()
{
    return QDateTime::currentSecsSinceEpoch();
}

// As if nobody had come by the pair for that long.
bool ageListings(const CliHost& host, int secs)
{
    return host.database().exec("UPDATE pair_progress SET local_listed_at = local_listed_at - ?, "
                                "distant_listed_at = distant_listed_at - ?"_s,
                                {secs, secs});
}

bool ageWaits(const CliHost& host, int secs)
{
    return host.database().exec("UPDATE file_waits SET since = since - ?"_s, {secs}) &&
           host.database().exec("UPDATE file_deferrals SET since = since - ?"_s, {secs});
}

bool stop(CliHost& host)
{
    return host.process.sendSignal(SIGTERM) && host.process.waitForEnd().hasEnded;
}

QJsonObject pairOf(const QJsonObject& status)
{
    return status.value("pairs"_l).toArray().first().toObject();
}

QJsonObject progressOf(const QJsonObject& status)
{
    return pairOf(status).value("progress"_l).toObject();
}

QStringList findingsOf(const QJsonObject& status)
{
    QStringList kinds;
    const QJsonArray findings = status.value("findings"_l).toArray();
    for (const QJsonValue& finding : findings)
        kinds << finding.toObject().value("kind"_l).toString();
    return kinds;
}

int limitOf(const QJsonObject& status, QLatin1String limit)
{
    return pairOf(status).value("limits"_l).toObject().value(limit).toInt();
}

// Rows at no rest without a note, notes without such a row, and what the file itself complains of.
QString problems(const CliHost& host)
{
    RawDatabase database = host.database();
    const int mismatches =
        database
            .value(
                "SELECT (SELECT COUNT(*) FROM file_tracking f LEFT JOIN file_waits w USING (directories_id, "
                "file_name) WHERE f.status NOT IN (17, 33, 40) AND w.since IS NULL) + (SELECT COUNT(*) FROM "
                "file_waits w LEFT JOIN file_tracking f USING (directories_id, file_name) WHERE f.status IS "
                "NULL OR f.status IN (17, 33, 40))"_s)
            .toInt();
    return mismatches == 0 ? database.integrityProblems() : "%1 mismatches"_s.arg(mismatches);
}

} // namespace

// "status": what does not come forward is said, and makes a script look.
class TestCliStatus : public QObject
{
    Q_OBJECT

private slots:
    void allIsWell();
    void limitsOnTheCommandLine_data();
    void limitsOnTheCommandLine();
    void unreadableSource();
    void sideCarThatStays();
    void distantSideGone();
    void localSideGone();
    void distantSideNeverSeen();
    void rowLeftInError();
    void failureThatWasCleared();
    void errorIsSaidBeforeStuck();
    void killedHost();
    void killedHostLeavesNothingWrong();
    void pausedPair();
    void pausedAltogether();
    void fileThatWaits();
    void queueIsGivenTime();
    void leftOutCyclesAreAnExcuse();
    void manyFilesThatWait();
    void unverified();
    void unverifiableFile();
    void fileThatCannotBeExamined();
    void mirrorOnce();
    void pairThatTheStateHasForgotten();
    void stateOfAnOlderVersion();
    void stateThatCannotBeReadUnderAHost();
    void french();
};

void TestCliStatus::allIsWell()
{
    const qint64 before = nowSecs();
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    for (const bool isHostThere : {true, false}) {
        if (!isHostThere)
            QVERIFY(stop(host));
        const CliResult text = host.run({"status"_s});
        VERIFY_EXIT(text, kOk);
        VERIFY_SAYS(text, "\n    Listed to the end: local 0:");
        VERIFY_SAYS(text, " ago | all verified: never\n");
        VERIFY_SILENT_ON(text, "STUCK");

        const CliResult json = host.run({"status"_s, "--json"_s});
        VERIFY_EXIT(json, kOk);
        const QJsonObject status = JsonLines(json.out).objects.value(0);
        QCOMPARE(status.value("verdict"_l).toString(), "ok"_s);
        QCOMPARE(status.value("notes"_l).toBool(), true);
        QCOMPARE(findingsOf(status), QStringList());
        const QJsonObject progress = progressOf(status);
        for (const QLatin1String& key : {"local_listed"_l, "distant_listed"_l, "since"_l}) {
            const qint64 then = qint64(progress.value(key).toDouble());
            QVERIFY2(then >= before && then <= nowSecs(), key.latin1());
        }
        QVERIFY(progress.value("verified"_l).isNull());
        QCOMPARE(progress.value("interval_ms"_l).toInt(), 3600000);
        QCOMPARE(progress.value("waiting_count"_l).toInt(-1), 0);
        QCOMPARE(limitOf(status, "unlisted_s"_l), 3 * 3600 + 120);
        QCOMPARE(limitOf(status, "wait_s"_l), 2 * (2 * 3600 + 10 + 600));
        QCOMPARE(limitOf(status, "unverified_s"_l), 2 * 2 * 6 * 3600 + 120);
    }
}

void TestCliStatus::limitsOnTheCommandLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("says");
    const QByteArray needs(" needs a number of seconds from 0 to ");
    QTest::newRow("no number") << QStringList{"status"_s, "--max-wait"_s, "soon"_s} << "--max-wait" + needs;
    QTest::newRow("below zero") << QStringList{"status"_s, "--max-unlisted"_s, "-1"_s}
                                << "--max-unlisted" + needs;
    QTest::newRow("too many") << QStringList{"status"_s, "--max-unverified"_s, "99999999999"_s}
                              << "--max-unverified" + needs;
    QTest::newRow("another command") << QStringList{"errors"_s, "--max-wait"_s, "1"_s}
                                     << QByteArray("max-wait");
}

void TestCliStatus::limitsOnTheCommandLine()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, says);
    const CliHost host;
    const CliResult result = host.run(arguments);
    VERIFY_EXIT(result, kUsage);
    QVERIFY2(result.err.contains(says), qPrintable(result.words()));
}

// The mirror of a user who may not read one of his files.
void TestCliStatus::unreadableSource()
{
    const ProcessResult sameQt = runAsUser("test"_s, {"-r"_s, QStringLiteral(VORN_SYNC_QT_CORE)});
    const QString setpriv = QStandardPaths::findExecutable("setpriv"_s);
    if (!sameQt.hasRun || sameQt.exitCode != 0 || ::geteuid() != 0 || setpriv.isEmpty())
        QSKIP("an ordinary user can't read the Qt in use, or there is no way to become one");
    CliHost host;
    QVERIFY(host.local.write("secret"_s, "secret") && host.local.write("open"_s, "open"));
    QVERIFY(QFile::setPermissions(host.local.filePath("secret"_s), QFile::WriteOwner));
    host.world.makeDirectory("state"_s);
    constexpr QFile::Permissions kAll = QFile::Permissions(0x7777);
    for (const QString& path :
         {host.world.path(QString()), host.state, host.local.path(), host.distant.path()})
        QVERIFY(QFile::setPermissions(path, kAll));
    QVERIFY(host.process.start(setpriv,
                               {"--reuid=65534"_s, "--regid=65534"_s, "--clear-groups"_s,
                                QStringLiteral(VORN_SYNC_PROGRAM), "mirror"_s, "--state"_s, host.state,
                                "--interval"_s, "2000"_s, "--alias"_s, "docs"_s, host.local.path(),
                                host.distant.path()},
                               host.world.environment()));
    // Five runs that fail, an error for at most a cycle, then a wait that would look like any other one.
    QVERIFY(waitFor([&] {
        return host.run({"status"_s}).out.contains("secret: waits for ") &&
               host.run({"status"_s}).out.contains(", tries: 5, last error 3\n");
    }));
    VERIFY_EXIT(host.run({"status"_s}), kOk);
    QVERIFY(ageWaits(host, 3600));
    for (const bool isHostThere : {true, false}) {
        if (!isHostThere)
            QVERIFY(stop(host));
        const CliResult result = host.run({"status"_s});
        VERIFY_EXIT(result, kStuck);
        VERIFY_SAYS(result, "STUCK: docs/secret waits for 1:00:");
        VERIFY_EXIT(host.run({"status"_s, "--max-wait"_s, "86400"_s}), kOk);
    }
    QCOMPARE(problems(host), QString());
}

void TestCliStatus::sideCarThatStays()
{
    CliHost host;
    QVERIFY(host.local.write("a.db"_s, "x") && host.local.write("a.db-wal"_s, "x"));
    QVERIFY(host.start({"--exclude"_s, "*-wal"_s}));
    QVERIFY(waitFor([&] { return host.run({"status"_s}).out.contains("a.db: put off for 0:"); }));
    VERIFY_EXIT(host.run({"status"_s}), kOk);
    QCOMPARE(host.statusOf("a.db"_s), -1); // no row at all
    QVERIFY(ageWaits(host, kDaySecs));
    const CliResult result = host.run({"status"_s});
    VERIFY_EXIT(result, kStuck);
    VERIFY_SAYS(result, "STUCK: docs/a.db is put off for 24:00:");
    VERIFY_SAYS(result, ", since it is being written; expected: 4:20:20 at most.\n");
    QVERIFY(stop(host));
    const CliResult later = host.run({"status"_s, "--json"_s});
    VERIFY_EXIT(later, kStuck);
    const QJsonObject status = JsonLines(later.out).objects.value(0);
    QCOMPARE(findingsOf(status), QStringList{"deferred"_s});
    const QJsonObject deferral = progressOf(status).value("deferred"_l).toArray().first().toObject();
    QCOMPARE(deferral.value("file"_l).toString(), "a.db"_s);
    QCOMPARE(deferral.value("reason"_l).toString(), "side_car"_s);

    QVERIFY(host.local.remove("a.db-wal"_s));
    CliProcess next;
    QVERIFY(next.start(
        {"mirror"_s, "--state"_s, host.state, "--interval"_s, "3600000"_s, "--exclude"_s, "*-wal"_s},
        host.world.environment()));
    QTRY_COMPARE_WITH_TIMEOUT(host.statusOf("a.db"_s), kUpToDate, kWaitMs);
    VERIFY_EXIT(host.run({"status"_s}), kOk);
}

void TestCliStatus::distantSideGone()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    const QString away = host.world.path("away"_s);
    QVERIFY(QFile::rename(host.distant.path(), away));
    QVERIFY(
        waitFor([&] { return host.run({"status"_s}).out.contains("(the distant directory is missing)"); }));
    VERIFY_EXIT(host.run({"status"_s, "--max-unlisted"_s, "600"_s}), kOk);
    QVERIFY(ageListings(host, 3600));
    const CliResult result = host.run({"status"_s, "--max-unlisted"_s, "600"_s});
    VERIFY_EXIT(result, kStuck);
    VERIFY_SAYS(result, "\n    Listed to the end: local 1:00:");
    VERIFY_SAYS(result, "STUCK: Pair docs: the distant side was not listed to its end for 1:00:");
    VERIFY_SAYS(result, "; expected: 10:00 at most.\n");

    QVERIFY(QFile::rename(away, host.distant.path()));
    QVERIFY(waitFor([&] { return host.run({"status"_s, "--max-unlisted"_s, "600"_s}).exitCode == kOk; }));
}

void TestCliStatus::localSideGone()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(QFile::rename(host.local.path(), host.world.path("away"_s)));
    QVERIFY(waitFor([&] { return host.run({"status"_s}).out.contains("(the local directory is missing)"); }));
    QVERIFY(ageListings(host, kDaySecs));
    const CliResult result = host.run({"status"_s});
    VERIFY_EXIT(result, kStuck);
    VERIFY_SAYS(result, "STUCK: Pair docs: the local side was not listed to its end for 24:00:");
}

void TestCliStatus::distantSideNeverSeen()
{
    CliHost host;
    QVERIFY(host.local.write("a"_s, "a") && QDir().rmdir(host.distant.path()));
    QVERIFY(host.start());
    const CliResult young = host.run({"status"_s});
    VERIFY_EXIT(young, kOk);
    VERIFY_SAYS(young, "distant never | all verified: never\n");
    QVERIFY(host.database().exec("UPDATE pair_progress SET since = since - 86400"_s));
    const CliResult old = host.run({"status"_s});
    VERIFY_EXIT(old, kStuck);
    VERIFY_SAYS(old, "STUCK: Pair docs: the distant side was not listed to its end for 24:00:");
}

void TestCliStatus::rowLeftInError()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s, "b"_s}));
    QVERIFY(host.local.remove("a"_s) && host.syncUntilError("a"_s, 2));
    for (const bool isHostThere : {true, false}) {
        if (!isHostThere)
            QVERIFY(stop(host));
        const CliResult text = host.run({"status"_s});
        VERIFY_EXIT(text, kInError);
        VERIFY_SAYS(text, "\n    a: in error 2 for 0:");
        VERIFY_SILENT_ON(text, "STUCK");
        const QJsonObject status = host.statusJson();
        QCOMPARE(status.value("verdict"_l).toString(), "error"_s);
        QCOMPARE(findingsOf(status), QStringList{"error"_s});
        const QJsonObject error = progressOf(status).value("in_error"_l).toArray().first().toObject();
        QCOMPARE(error.value("code"_l).toInt(), 2);
    }
    CliProcess next;
    QVERIFY(next.start({"mirror"_s, "--state"_s, host.state, "--interval"_s, "3600000"_s},
                       host.world.environment()) &&
            next.waitForOut("docs"));
    VERIFY_EXIT(host.run({"acknowledge"_s, "docs"_s, "a"_s}), kOk);
    QVERIFY(waitFor([&] { return host.run({"status"_s}).exitCode == kOk; }));
}

// A cycle takes an error away long before the file is tried again: it must not look as if nothing had been.
void TestCliStatus::failureThatWasCleared()
{
    CliHost host;
    QVERIFY(host.local.write("blocked"_s, "x") && host.distant.makeDirectory("blocked"_s));
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return host.run({"status"_s}).exitCode == kInError; }));
    VERIFY_EXIT(host.run({"sync"_s}), kOk);
    QVERIFY(waitFor([&] { return host.run({"status"_s}).exitCode == kOk; }));
    VERIFY_SAYS(host.run({"status"_s}), "\n    blocked: waits for 0:");
    VERIFY_SAYS(host.run({"status"_s}), ", tries: 5, last error 13\n");
    QVERIFY(ageWaits(host, 600));
    VERIFY_EXIT(host.run({"status"_s, "--max-wait"_s, "300"_s}), kStuck);
}

void TestCliStatus::errorIsSaidBeforeStuck()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.local.remove("a"_s) && host.syncUntilError("a"_s, 2));
    QVERIFY(ageListings(host, kDaySecs));
    const CliResult result = host.run({"status"_s});
    VERIFY_EXIT(result, kInError);
    VERIFY_SAYS(result, "STUCK: Pair docs: the local side");
    QCOMPARE(findingsOf(host.statusJson()),
             (QStringList{"error"_s, "local_unlisted"_s, "distant_unlisted"_s}));
}

void TestCliStatus::killedHost()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.process.sendSignal(SIGKILL));
    host.process.waitForEnd();
    const CliResult young = host.run({"status"_s});
    VERIFY_EXIT(young, kOk);
    QVERIFY2(young.err.startsWith("No host runs on the state directory"), qPrintable(young.words()));
    QVERIFY(ageListings(host, kDaySecs));
    const CliResult old = host.run({"status"_s});
    VERIFY_EXIT(old, kStuck);
    VERIFY_SAYS(old, "STUCK: Pair docs: the local side was not listed to its end for 24:00:");
    VERIFY_SAYS(old, "STUCK: Pair docs: the distant side was not listed to its end for 24:00:");

    CliProcess next;
    QVERIFY(next.start({"mirror"_s, "--state"_s, host.state, "--interval"_s, "3600000"_s},
                       host.world.environment()));
    QVERIFY(waitFor([&] { return host.run({"status"_s}).exitCode == kOk; }));
}

// Killed while rows come and go: what is noted agrees with them, and the next run ends all waits.
void TestCliStatus::killedHostLeavesNothingWrong()
{
    constexpr int kFiles = 12;
    CliHost host;
    for (int i = 0; i < kFiles; ++i)
        QVERIFY(host.local.write("file %1"_s.arg(i), "x"));
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return host.distant.names().size() >= kFiles / 3; }));
    QVERIFY(host.process.sendSignal(SIGKILL));
    host.process.waitForEnd();
    QVERIFY(host.distant.names().size() < kFiles);
    QCOMPARE(problems(host), QString());
    QVERIFY(host.database().value("SELECT COUNT(*) FROM file_waits"_s).toInt() > 0);
    VERIFY_SAYS(host.run({"status"_s}), ": waits for 0:");

    CliProcess next;
    QVERIFY(next.start({"mirror"_s, "--state"_s, host.state, "--interval"_s, "1000"_s},
                       host.world.environment()));
    QVERIFY(waitFor([&] {
        const QJsonObject status = host.statusJson();
        return status.value("counters"_l).toObject().value("done"_l).toInt() == kFiles &&
               progressOf(status).value("waiting_count"_l).toInt(-1) == 0;
    }));
    QCOMPARE(problems(host), QString());
    VERIFY_EXIT(host.run({"status"_s}), kOk);
}

void TestCliStatus::pausedPair()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    VERIFY_EXIT(host.run({"pause"_s, "docs"_s}), kOk);
    const CliResult young = host.run({"status"_s});
    VERIFY_EXIT(young, kOk);
    VERIFY_SAYS(young, "(suspended)\n");
    QVERIFY(ageListings(host, kDaySecs));
    VERIFY_EXIT(host.run({"sync"_s}), kOk); // the cycle passes it by
    const CliResult old = host.run({"status"_s});
    VERIFY_EXIT(old, kStuck);
    VERIFY_SAYS(old, "(suspended)\n");
    VERIFY_SAYS(old, "STUCK: Pair docs: the distant side was not listed to its end for 24:00:");
    VERIFY_EXIT(host.run({"resume"_s, "docs"_s}), kOk);
    QVERIFY(waitFor([&] { return host.run({"status"_s}).exitCode == kOk; }));
}

void TestCliStatus::pausedAltogether()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    VERIFY_EXIT(host.run({"pause"_s}), kOk);
    QVERIFY(ageListings(host, kDaySecs));
    VERIFY_EXIT(host.run({"status"_s}), kStuck);
    VERIFY_EXIT(host.run({"resume"_s}), kOk);
    QVERIFY(waitFor([&] { return host.run({"status"_s}).exitCode == kOk; }));
}

void TestCliStatus::fileThatWaits()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(stop(host));
    const QString change =
        "UPDATE file_tracking SET status = ?, status_changed_at = strftime('%Y-%m-%dT%H:%M:%SZ', "
        "'now', ?) WHERE file_name = 'a'"_s;
    QVERIFY(host.database().exec(change, {18, "-100 seconds"_s}));
    const CliResult young = host.run({"status"_s});
    VERIFY_EXIT(young, kOk);
    VERIFY_SAYS(young, "\n    a: waits for 1:4");
    VERIFY_SAYS(young, ", tries: 0\n");
    VERIFY_EXIT(host.run({"status"_s, "--max-wait"_s, "60"_s}), kStuck);

    QVERIFY(host.database().exec(change, {17, "-2 days"_s}) &&
            host.database().exec(change, {0, "-2 days"_s}));
    const CliResult old = host.run({"status"_s});
    VERIFY_EXIT(old, kStuck);
    VERIFY_SAYS(old, "STUCK: docs/a waits for 48:00:");
}

// What is sent one after the other takes its time, and so do large files.
void TestCliStatus::queueIsGivenTime()
{
    constexpr qint64 kSize = 10LL * 1024 * 1024 * 1024;
    constexpr int kExpectedSecs = 10 * 1024 + 1; // a mebibyte a second, and one step of the queue
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(stop(host));
    const QJsonObject before = host.statusJson();
    QFile large(host.local.filePath("a"_s));
    QVERIFY(large.open(QIODevice::ReadWrite) && large.resize(kSize)); // sparse
    large.close();
    QVERIFY(host.database().exec("UPDATE file_tracking SET status = 20"_s));
    const QJsonObject after = host.statusJson();
    QCOMPARE(after.value("queue"_l).toObject().value("bytes"_l).toDouble(), double(kSize));
    for (const QLatin1String& limit : {"wait_s"_l, "unlisted_s"_l})
        QCOMPARE(limitOf(after, limit) - limitOf(before, limit), kExpectedSecs);
}

// While much is sent no cycle comes by, and the last files have waited as long as all others took.
void TestCliStatus::leftOutCyclesAreAnExcuse()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(stop(host));
    QVERIFY(host.database().exec("UPDATE file_tracking SET status = 20"_s));
    QVERIFY(ageListings(host, kDaySecs) && ageWaits(host, kDaySecs));
    VERIFY_EXIT(host.run({"status"_s}), kStuck);
    QVERIFY(host.database().exec("UPDATE pair_progress SET saturated_at = strftime('%s', 'now') - 60"_s));
    VERIFY_EXIT(host.run({"status"_s}), kOk);
    VERIFY_EXIT(host.run({"status"_s, "--max-wait"_s, "3600"_s}), kStuck);
    VERIFY_EXIT(host.run({"status"_s, "--max-unlisted"_s, "3600"_s}), kStuck);
    QVERIFY(host.database().exec("UPDATE pair_progress SET saturated_at = saturated_at - ?"_s, {kDaySecs}));
    VERIFY_EXIT(host.run({"status"_s}), kStuck);
}

void TestCliStatus::manyFilesThatWait()
{
    constexpr int kFiles = 130;
    constexpr int kNamed = 100;
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(stop(host));
    for (const int status : {0, 145})
        QVERIFY(host.database().exec(
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < ?) INSERT INTO "
            "file_tracking (file_name, directories_id, status, error_code) SELECT ? || i, (SELECT id FROM "
            "directories), ?, ? FROM n"_s,
            {kFiles, status == 0 ? "wait "_s : "error "_s, status, status == 0 ? 0 : 15}));
    const CliResult text = host.run({"status"_s, "--max-wait"_s, "0"_s});
    QCOMPARE(text.out.count(": waits for "), 10);
    QCOMPARE(text.out.count(": in error 15 for "), 10);
    QCOMPARE(text.out.count("\n    and 120 more\n"), 2);
    const QJsonObject progress = progressOf(host.statusJson());
    QCOMPARE(progress.value("waiting_count"_l).toInt(), kFiles);
    QCOMPARE(progress.value("waiting"_l).toArray().size(), kNamed);
    QCOMPARE(progress.value("in_error_count"_l).toInt(), kFiles);
    // Those that wait for the user do not hide the one that waits for the mirror.
    QVERIFY(host.database().exec(
        "UPDATE file_waits SET since = since - ? WHERE file_name IN ('wait 7', 'wait 9')"_s, {kDaySecs}));
    const CliResult old = host.run({"status"_s});
    VERIFY_EXIT(old, kInError);
    VERIFY_SAYS(old, "STUCK: docs/wait 7 waits for 24:00:");
    VERIFY_SAYS(old, " And 1 more file.\n");
}

void TestCliStatus::unverified()
{
    CliHost host;
    QVERIFY(host.local.write("a"_s, "a"));
    QVERIFY(host.process.start({"mirror"_s, "--state"_s, host.state, "--interval"_s, "200"_s, "--alias"_s,
                                "docs"_s, host.local.path(), host.distant.path()},
                               host.world.environment()));
    QVERIFY(waitFor([&] { return progressOf(host.statusJson()).value("verified"_l).toDouble() > 0; }));
    VERIFY_SAYS(host.run({"status"_s}), " ago | all verified: 0:");
    QVERIFY(stop(host));
    VERIFY_EXIT(host.run({"status"_s}), kOk);
    QVERIFY(host.database().exec("UPDATE pair_progress SET verified_at = verified_at - ?"_s, {kDaySecs}));
    const CliResult old = host.run({"status"_s});
    VERIFY_EXIT(old, kStuck);
    VERIFY_SAYS(old, "STUCK: Pair docs: not all files were verified for 24:00:");
    VERIFY_EXIT(host.run({"status"_s, "--max-unverified"_s, "172800"_s}), kOk);
    QCOMPARE(findingsOf(host.statusJson()), QStringList{"unverified"_s});
}

// A directory in the place of a distant copy: it is there, so nothing is missing, and can't be compared.
void TestCliStatus::unverifiableFile()
{
    CliHost host;
    QVERIFY(host.local.write("a"_s, "a") && host.local.write("b"_s, "b"));
    QVERIFY(host.process.start({"mirror"_s, "--state"_s, host.state, "--interval"_s, "200"_s, "--alias"_s,
                                "docs"_s, host.local.path(), host.distant.path()},
                               host.world.environment()));
    QVERIFY(waitFor([&] { return host.statusOf("a"_s) == kUpToDate && host.statusOf("b"_s) == kUpToDate; }));
    VERIFY_EXIT(host.run({"pause"_s}), kOk);
    QVERIFY(host.distant.remove("a"_s) && host.distant.makeDirectory("a"_s));
    VERIFY_EXIT(host.run({"resume"_s}), kOk);
    QVERIFY(waitFor([&] {
        return host.run({"status"_s})
            .out.contains("1 file could not be compared by the last verification: a\n");
    }));
    QVERIFY(host.database().exec(
        "UPDATE pair_progress SET since = since - ?, verified_at = verified_at - ?"_s, {kDaySecs, kDaySecs}));
    VERIFY_EXIT(host.run({"status"_s}), kStuck);
}

void TestCliStatus::fileThatCannotBeExamined()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s, "b"_s}));
    QVERIFY(host.local.remove("a"_s) && host.local.makeDirectory("a"_s));
    VERIFY_EXIT(host.run({"sync"_s}), kOk);
    QVERIFY(waitFor(
        [&] { return host.run({"status"_s}).out.contains("1 local file can't be examined for 0:"); }));
    VERIFY_EXIT(host.run({"status"_s}), kOk);
    QVERIFY(host.database().exec("UPDATE pair_progress SET unexamined_since = unexamined_since - ?"_s,
                                 {kDaySecs}));
    const CliResult old = host.run({"status"_s});
    VERIFY_EXIT(old, kStuck);
    VERIFY_SAYS(old, "STUCK: docs/a can't be examined for 24:00:");
}

// Nobody listens between the runs; the limits are for whoever starts them to say.
void TestCliStatus::mirrorOnce()
{
    CliHost host;
    QVERIFY(host.local.write("a"_s, "a"));
    VERIFY_EXIT(
        host.world.mirror({"--once"_s, "--alias"_s, "docs"_s, host.local.path(), host.distant.path()}), kOk);
    const QJsonObject status = host.statusJson();
    QCOMPARE(status.value("verdict"_l).toString(), "ok"_s);
    QCOMPARE(status.value("pairs"_l).toArray().size(),
             1); // without the one that tells when a cycle has ended
    QVERIFY(ageListings(host, 3600));
    VERIFY_EXIT(host.run({"status"_s}), kStuck);
    VERIFY_EXIT(host.run({"status"_s, "--max-unlisted"_s, "7200"_s}), kOk);
}

// A pair that is away while the state is emptied is known to the running host alone.
void TestCliStatus::pairThatTheStateHasForgotten()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(QFile::rename(host.local.path(), host.world.path("away"_s)));
    QVERIFY(waitFor([&] { return host.run({"status"_s}).out.contains("(the local directory is missing)"); }));
    VERIFY_EXIT(host.run({"reset"_s, "--yes"_s, "--now"_s}), kOk);
    QCOMPARE(host.database().value("SELECT COUNT(*) FROM directories"_s).toInt(), 0);
    const CliResult result = host.run({"status"_s});
    VERIFY_EXIT(result, kStuck);
    VERIFY_SAYS(result, "STUCK: Pair docs was never listed.\n");
    QVERIFY(QFile::rename(host.world.path("away"_s), host.local.path()));
    QVERIFY(waitFor([&] { return host.run({"status"_s}).exitCode == kOk; }));
}

void TestCliStatus::stateOfAnOlderVersion()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(stop(host));
    QStringList drops;
    for (const QVariantMap& row : host.database().rows(
             "SELECT name FROM sqlite_master WHERE type = 'trigger' AND (name GLOB 'file_waits_*' "
             "OR name GLOB 'file_deferrals_*' OR name GLOB 'pair_progress_*')"_s))
        drops << "DROP TRIGGER "_s + row.value("name"_s).toString();
    for (const char* table : {"file_waits", "file_deferrals", "pair_progress"})
        drops << "DROP TABLE %1"_s.arg(QLatin1String(table));
    QVERIFY(host.database().execAll(drops));
    const CliResult result = host.run({"status"_s, "--max-wait"_s, "0"_s, "--max-unlisted"_s, "0"_s});
    VERIFY_EXIT(result, kOk);
    VERIFY_SILENT_ON(result, "Listed to the end");
    QCOMPARE(host.statusJson().value("notes"_l).toBool(true), false);
}

void TestCliStatus::stateThatCannotBeReadUnderAHost()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.database().exec("DROP TABLE directories"_s));
    const CliResult result = host.run({"status"_s});
    VERIFY_EXIT(result, kUnusable);
    QVERIFY2(result.err.contains("The state database can't be read."), qPrintable(result.words()));
    QCOMPARE(JsonLines(host.run({"status"_s, "--json"_s}).out).objects.value(0).value("verdict"_l).toString(),
             "unusable"_s);
}

void TestCliStatus::french()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(ageListings(host, kDaySecs));
    const CliResult result = host.run({"status"_s, "--lang"_s, "fr"_s});
    VERIFY_EXIT(result, kStuck);
    VERIFY_SAYS(result, "Énumérés jusqu'au bout : local il y a 24:00:");
    VERIFY_SAYS(result,
                "BLOQUÉ : Paire docs : le côté distant n'a pas été énuméré jusqu'au bout depuis 24:00:");
}

QTEST_GUILESS_MAIN(TestCliStatus)
#include "test_cli_status.moc"
