#include "test_cli_commands_support.h"

#include "mounts.h"
#include "wait.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLocalSocket>
#include <QTest>

#include <csignal>
#include <memory>
#include <unistd.h>
#include <vector>

using namespace VornSyncTest;

namespace {

constexpr int kUpToDate = 17;

#define VERIFY_EXIT(result, code) QVERIFY2((result).exitCode == (code), qPrintable((result).words()))

// Everything that a client of its own kind gets to read before the host closes the connection.
QByteArray tell(const CliHost& host, const QByteArray& bytes)
{
    QLocalSocket socket;
    QByteArray answer;
    socket.connectToServer(host.state + "/commands"_s);
    if (!waitFor([&] { return socket.state() == QLocalSocket::ConnectedState; }))
        return "not connected";
    socket.write(bytes);
    const bool isClosed = waitFor([&] {
        answer += socket.readAll();
        return socket.state() == QLocalSocket::UnconnectedState;
    });
    answer += socket.readAll();
    return isClosed ? answer : "not closed";
}

} // namespace

// The host behind the commands: none, a killed one, a busy one, clients that behave badly, and other users.
class TestCliCommandsHost : public QObject
{
    Q_OBJECT

private slots:
    void noHost_data();
    void noHost();
    void noHostAndNoState();
    void stateThatIsNoDirectory();
    void databaseThatIsNoFile();
    void lockOfADeadHostThatStays();
    void stateIsReadWithoutAHost();
    void stateIsReadAfterTheHostWasKilled();
    void damagedStateWithoutAHost();
    void socketOfAKilledHost();
    void socketIsRemovedAtTheEnd();
    void socketIsTheOwnersAlone();
    void foreignUserIsRefused();
    void longStatePath();
    void stateOnWhichNoSocketCanBe();
    void hostThatDoesNotAnswer();
    void hostThatEndsBeforeItAnswers();
    void commandsAtTheSameTime();
    void renamesAtTheSameTime();
    void garbage_data();
    void garbage();
    void clientsThatGoAway();
    void clientThatSaysNothing();
    void tooManyClients();
    void whileOnceRuns();
    void resetWhileOnceRuns();
    void pausedOnceWaits();
    void secondInstanceLeavesTheSocketAlone();
};

void TestCliCommandsHost::noHost_data()
{
    QTest::addColumn<QStringList>("arguments");
    for (const char* command :
         {"retry docs a", "retry-all", "acknowledge docs a", "acknowledge-all", "restore docs a",
          "trash docs a", "delete-all-missing", "deleted docs a", "rename docs a b", "ready docs a", "sync",
          "sync docs a", "pause", "resume", "forget docs", "reset --yes"})
        QTest::newRow(command) << QString::fromLatin1(command).split(QLatin1Char(' '));
}

void TestCliCommandsHost::noHost()
{
    QFETCH(QStringList, arguments);
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.process.sendSignal(SIGTERM));
    QVERIFY(host.process.waitForEnd().hasEnded);
    const QStringList before = snapshot(host.world.path(QString()));
    const CliResult result = host.run(arguments);
    VERIFY_EXIT(result, 3);
    QCOMPARE(result.err,
             "vorn_sync %1: No host runs on the state directory %2\n"_s.arg(arguments.first(), host.state)
                 .toUtf8());
    QCOMPARE(host.json(arguments).value("refused"_l).toString(), "no_host"_s);
    QCOMPARE(snapshot(host.world.path(QString())), before);
}

void TestCliCommandsHost::noHostAndNoState()
{
    const CliHost host;
    for (const QString& command : {"status"_s, "errors"_s, "sync"_s}) {
        const CliResult result = host.run({command});
        VERIFY_EXIT(result, 3);
        QVERIFY2(result.err.contains("No host runs on the state directory"), qPrintable(result.words()));
    }
    QVERIFY(!QFileInfo::exists(host.state));
}

void TestCliCommandsHost::stateThatIsNoDirectory()
{
    CliHost host;
    QVERIFY(host.local.write("file"_s, "x") && QFile::link("loop"_s, host.local.filePath("loop"_s)));
    for (const QString& name : {"file"_s, "file/below"_s, "loop"_s}) {
        host.state = host.local.filePath(name);
        for (const char* command : {"status", "sync"}) {
            const CliResult result = host.run({QString::fromLatin1(command)});
            VERIFY_EXIT(result, 3);
            QVERIFY2(result.err.contains("No host runs on the state directory"), qPrintable(result.words()));
        }
    }
}

// Who opens a pipe waits for its other end.
void TestCliCommandsHost::databaseThatIsNoFile()
{
    const CliHost host;
    QVERIFY(QDir().mkpath(host.state) && makeFifo(host.state + "/state.db"_s));
    for (const QString& command : {"status"_s, "errors"_s})
        VERIFY_EXIT(host.run({command}), 3);
}

void TestCliCommandsHost::lockOfADeadHostThatStays()
{
    CliHost host;
    QVERIFY(QDir().mkpath(host.state));
    TmpfsMount mount(host.state);
    if (!mount.isMounted())
        QSKIP(qPrintable(mount.reason()));
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.process.sendSignal(SIGKILL));
    host.process.waitForEnd();
    QVERIFY(mount.remount(true));
    const CliResult result = host.world.mirror({});
    VERIFY_EXIT(result, 4);
    QVERIFY2(result.err.contains("The state directory can't be locked; is it writable?"),
             qPrintable(result.words()));
    VERIFY_EXIT(host.run({"status"_s}), 0);
}

void TestCliCommandsHost::stateIsReadWithoutAHost()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s, "b"_s}));
    QVERIFY(host.local.remove("a"_s));
    QVERIFY(host.syncUntilError("a"_s, 2));
    QVERIFY(host.process.sendSignal(SIGTERM));
    QVERIFY(host.process.waitForEnd().hasEnded);
    const QStringList before = snapshot(host.state);

    const CliResult status = host.run({"status"_s});
    VERIFY_EXIT(status, 1);
    QVERIFY2(status.err.startsWith("No host runs on the state directory"), qPrintable(status.words()));
    QVERIFY2(status.out.contains("Up to date 1 | pending 0 | in progress 0 | in error 1\nPair docs: "),
             qPrintable(status.words()));
    const CliResult errors = host.run({"errors"_s});
    VERIFY_EXIT(errors, 1);
    QVERIFY2(errors.err.startsWith("No host runs on the state directory"), qPrintable(errors.words()));
    QVERIFY2(errors.out.contains("  docs/a: error 2: The local file is gone."), qPrintable(errors.words()));
    const QJsonObject object = host.statusJson();
    QCOMPARE(object.value("host"_l).toBool(true), false);
    QCOMPARE(object.value("counters"_l).toObject().value("errors"_l).toInt(), 1);
    QCOMPARE(object.value("pairs"_l).toArray().size(), 1);
    QCOMPARE(host.errorJson("a"_s).value("code"_l).toInt(), 2);
    QCOMPARE(snapshot(host.state), before);
}

// What the killed host had written is in the log beside the database.
void TestCliCommandsHost::stateIsReadAfterTheHostWasKilled()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s, "b"_s}));
    QVERIFY(host.process.sendSignal(SIGKILL));
    host.process.waitForEnd();
    QVERIFY(QFileInfo(host.state + "/state.db-wal"_s).size() > 0);
    const QStringList before = snapshot(host.state);
    const QJsonObject object = host.statusJson();
    QCOMPARE(object.value("host"_l).toBool(true), false);
    QCOMPARE(object.value("counters"_l).toObject().value("done"_l).toInt(), 2);
    VERIFY_EXIT(host.run({"errors"_s}), 0);
    QCOMPARE(snapshot(host.state), before);
}

void TestCliCommandsHost::damagedStateWithoutAHost()
{
    CliHost host;
    QVERIFY(Side(host.state).write("state.db"_s, QByteArray(5000, 'x')));
    const QStringList before = snapshot(host.state);
    for (const QString& command : {"status"_s, "errors"_s}) {
        const CliResult result = host.run({command});
        VERIFY_EXIT(result, 4);
        QVERIFY2(result.err.contains("The state database can't be read."), qPrintable(result.words()));
    }
    QCOMPARE(snapshot(host.state), before);
}

void TestCliCommandsHost::socketOfAKilledHost()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.process.sendSignal(SIGKILL));
    host.process.waitForEnd();
    QVERIFY(QFileInfo::exists(host.state + "/commands"_s));
    VERIFY_EXIT(host.run({"sync"_s}), 3);

    CliProcess next;
    QVERIFY(next.start({"mirror"_s, "--state"_s, host.state}, host.world.environment()));
    QVERIFY(next.waitForOut("Pair docs:"));
    const QJsonObject object = host.statusJson();
    QCOMPARE(object.value("process"_l).toInt(), int(next.processId()));
    VERIFY_EXIT(host.run({"sync"_s}), 0);
}

void TestCliCommandsHost::socketIsRemovedAtTheEnd()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(QFileInfo::exists(host.state + "/commands"_s));
    QVERIFY(host.process.sendSignal(SIGTERM));
    QVERIFY(host.process.waitForEnd().hasEnded);
    QVERIFY(!QFileInfo::exists(host.state + "/commands"_s));
}

void TestCliCommandsHost::socketIsTheOwnersAlone()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    const QFile::Permissions others = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup |
                                      QFile::ReadOther | QFile::WriteOther | QFile::ExeOther;
    QCOMPARE(QFileInfo(host.state + "/commands"_s).permissions() & others, QFile::Permissions());
}

void TestCliCommandsHost::foreignUserIsRefused()
{
    const ProcessResult sameQt = runAsUser("test"_s, {"-r"_s, QStringLiteral(VORN_SYNC_QT_CORE)});
    if (!sameQt.hasRun || sameQt.exitCode != 0 || ::geteuid() != 0)
        QSKIP("an ordinary user can't read the Qt in use, or there is no way to become one");
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    constexpr QFile::Permissions kAll = QFile::Permissions(0x7777);
    QVERIFY(QFile::setPermissions(host.world.path(QString()), kAll));
    for (const bool isStateOpen : {false, true}) {
        if (isStateOpen)
            QVERIFY(QFile::setPermissions(host.state, kAll));
        for (const QStringList& words : {QStringList{"status"_s}, {"trash"_s, "docs"_s, "a"_s}}) {
            const ProcessResult result =
                runAsUser(QStringLiteral(VORN_SYNC_PROGRAM),
                          QStringList{words.first(), "--state"_s, host.state} + words.mid(1));
            QVERIFY(result.hasRun);
            QVERIFY2(result.exitCode == 4, (result.output + result.errorOutput).constData());
            QVERIFY2(result.errorOutput.contains("The state directory may not be accessed: "),
                     result.errorOutput.constData());
        }
    }
    QCOMPARE(host.statusOf("a"_s), kUpToDate);
    QVERIFY(host.local.exists("a"_s));
}

void TestCliCommandsHost::longStatePath()
{
    CliHost host;
    host.state =
        host.world.path(QString(200, QLatin1Char('d')) + QLatin1Char('/') + QString(100, QLatin1Char('e')));
    VERIFY_EXIT(host.run({"sync"_s}), 3);
    QVERIFY(host.startWith({"a"_s}));
    QCOMPARE(host.statusJson().value("host"_l).toBool(), true);
    QVERIFY(QFileInfo::exists(host.state + "/commands"_s));
    VERIFY_EXIT(host.run({"rename"_s, "docs"_s, "a"_s, "b"_s}), 0);
    QTRY_COMPARE_WITH_TIMEOUT(host.distant.names(), QStringList{"b"_s}, kWaitMs);
    QVERIFY(host.process.sendSignal(SIGTERM));
    QVERIFY(host.process.waitForEnd().hasEnded);
    QVERIFY(!QFileInfo::exists(host.state + "/commands"_s));
    VERIFY_EXIT(host.run({"sync"_s}), 3);
}

// Something that can't be removed has the socket's name: the mirror runs and says that it takes no commands.
void TestCliCommandsHost::stateOnWhichNoSocketCanBe()
{
    CliHost host;
    QVERIFY(Side(host.state).write("commands/in the way"_s, "x"));
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.process.waitForErr("No commands can be taken in the state directory: "));
    VERIFY_EXIT(host.run({"sync"_s}), 3);
    QVERIFY(QFileInfo::exists(host.state + "/commands/in the way"_s));
}

void TestCliCommandsHost::hostThatDoesNotAnswer()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.process.sendSignal(SIGSTOP));
    QElapsedTimer clock;
    clock.start();
    const CliResult result = host.run({"sync"_s, "--timeout"_s, "1"_s});
    VERIFY_EXIT(result, 1);
    QVERIFY2(result.err.contains("The host has not answered within 1 s."), qPrintable(result.words()));
    QVERIFY(clock.elapsed() >= 1000);
    QVERIFY(host.process.sendSignal(SIGCONT));
    VERIFY_EXIT(host.run({"status"_s}), 0);
}

void TestCliCommandsHost::hostThatEndsBeforeItAnswers()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QVERIFY(host.process.sendSignal(SIGSTOP));
    CliProcess command;
    QVERIFY(command.start({"sync"_s, "--state"_s, host.state}, host.world.environment()));
    const QString connections = "/proc/net/unix"_s;
    const auto isConnected =
        [&] { // the listening socket and the waiting connection, under the name they were bound to
            QFile file(connections);
            return file.open(QIODevice::ReadOnly) && file.readAll().count(host.state.toUtf8() + '/') >= 2;
        };
    if (!QFileInfo::exists(connections))
        QSKIP("the system does not list its sockets");
    QVERIFY(waitFor(isConnected));
    QVERIFY(host.process.sendSignal(SIGKILL));
    const CliResult result = command.waitForEnd();
    VERIFY_EXIT(result, 1);
    QVERIFY2(result.err.contains("The host has ended, or started anew, before it answered."),
             qPrintable(result.words()));
}

void TestCliCommandsHost::commandsAtTheSameTime()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s, "b"_s}));
    std::vector<std::unique_ptr<CliProcess>> commands;
    for (int i = 0; i < 8; ++i) {
        commands.push_back(std::make_unique<CliProcess>());
        QVERIFY(commands.back()->start({i % 2 ? "errors"_s : "status"_s, "--state"_s, host.state},
                                       host.world.environment()));
    }
    for (const auto& command : commands) {
        const CliResult result = command->waitForEnd();
        VERIFY_EXIT(result, 0);
        QVERIFY(!result.out.isEmpty());
    }
}

// One of them has the file, and nothing is lost.
void TestCliCommandsHost::renamesAtTheSameTime()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s, "b"_s}));
    std::vector<std::unique_ptr<CliProcess>> commands;
    for (const QStringList& names : {QStringList{"a"_s, "c"_s}, {"b"_s, "c"_s}, {"a"_s, "c"_s}}) {
        commands.push_back(std::make_unique<CliProcess>());
        QVERIFY(commands.back()->start(QStringList{"rename"_s, "--state"_s, host.state, "docs"_s} + names,
                                       host.world.environment()));
    }
    int done = 0;
    for (const auto& command : commands) {
        const CliResult result = command->waitForEnd();
        QVERIFY2(result.exitCode == 0 || result.exitCode == 1, qPrintable(result.words()));
        done += result.exitCode == 0 ? 1 : 0;
    }
    QCOMPARE(done, 1);
    QCOMPARE(host.local.names().size(), 2);
    QTRY_COMPARE_WITH_TIMEOUT(host.distant.names(), host.local.names(), kWaitMs);
    for (const QString& name : host.local.names())
        QVERIFY(host.isMirrored(name));
    QTRY_COMPARE_WITH_TIMEOUT(host.statusOf("c"_s), kUpToDate, kWaitMs);
}

void TestCliCommandsHost::garbage_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QString>("refused");
    const auto row = [](const char* name, const QByteArray& request, const char* refused) {
        QTest::newRow(name) << request << QString::fromLatin1(refused);
    };
    row("empty line", "\n", "bad_request");
    row("no JSON", "hello\n", "bad_request");
    row("bytes", QByteArray("\x00\xff\xfe{\n", 5), "bad_request");
    row("array", "[1,2]\n", "bad_request");
    row("deep", QByteArray(20000, '[') + '\n', "bad_request");
    row("too long", QByteArray(200000, 'x'), "bad_request");
    row("too long, well-formed",
        "{\"protocol\":1,\"command\":\"status\",\"x\":\"" + QByteArray(100000, 'x') + "\"}\n", "bad_request");
    row("no version", "{\"command\":\"status\"}\n", "protocol");
    row("newer version", "{\"protocol\":2,\"command\":\"status\"}\n", "protocol");
    row("no command", "{\"protocol\":1}\n", "unknown_command");
    row("unknown command", "{\"protocol\":1,\"command\":\"destroy\"}\n", "unknown_command");
    row("wrong types", "{\"protocol\":1,\"command\":\"trash\",\"arguments\":{\"alias\":[],\"name\":5}}\n",
        "unknown_alias");
    row("no arguments", "{\"protocol\":1,\"command\":\"rename\"}\n", "unknown_alias");
    row("NUL in a name",
        "{\"protocol\":1,\"command\":\"trash\",\"arguments\":{\"alias\":\"docs\",\"name\":\"a\\u0000b\"}}\n",
        "invalid_name");
    row("no path", "{\"protocol\":1,\"command\":\"ready\",\"arguments\":{\"path\":\"\"}}\n", "not_ready");
    row("two requests in one", "{\"protocol\":1,\"command\":\"x\"}\n{\"protocol\":1,\"command\":\"pause\"}\n",
        "unknown_command");
}

void TestCliCommandsHost::garbage()
{
    QFETCH(QByteArray, request);
    QFETCH(QString, refused);
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    const QByteArray answer = tell(host, request);
    const JsonLines lines(answer);
    QVERIFY2(lines.valid && lines.objects.size() == 1, answer.constData());
    QCOMPARE(lines.objects.first().value("ok"_l).toBool(true), false);
    QCOMPARE(lines.objects.first().value("refused"_l).toString(), refused);
    QCOMPARE(host.statusJson().value("paused"_l).toBool(true), false);
    QCOMPARE(host.statusOf("a"_s), kUpToDate);
}

void TestCliCommandsHost::clientsThatGoAway()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    for (const QByteArray& bytes :
         {QByteArray(), QByteArray("{\"protocol\""), QByteArray("{\"protocol\":1,\"command\":\"status\"}\n"),
          QByteArray("{\"protocol\":1,\"command\":\"errors\"}\n")}) {
        for (int i = 0; i < 20; ++i) {
            QLocalSocket socket;
            socket.connectToServer(host.state + "/commands"_s);
            QVERIFY(socket.waitForConnected(kWaitMs));
            socket.write(bytes);
            socket.flush();
            socket.abort();
        }
    }
    VERIFY_EXIT(host.run({"status"_s}), 0);
    QVERIFY(host.process.isRunning());
}

// Its time runs out; meanwhile others are served.
void TestCliCommandsHost::clientThatSaysNothing()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    QLocalSocket socket;
    socket.connectToServer(host.state + "/commands"_s);
    QVERIFY(socket.waitForConnected(kWaitMs));
    socket.write("{\"protocol\":");
    VERIFY_EXIT(host.run({"status"_s}), 0);
    QTRY_COMPARE_WITH_TIMEOUT(socket.state(), QLocalSocket::UnconnectedState, kWaitMs);
    VERIFY_EXIT(host.run({"status"_s}), 0);
}

void TestCliCommandsHost::tooManyClients()
{
    constexpr int kMost = 64;
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    std::vector<std::unique_ptr<QLocalSocket>> idle;
    for (int i = 0; i < kMost; ++i) {
        idle.push_back(std::make_unique<QLocalSocket>());
        idle.back()->connectToServer(host.state + "/commands"_s);
        QVERIFY(waitFor([&] { return idle.back()->state() == QLocalSocket::ConnectedState; }));
    }
    const CliResult result = host.run({"pause"_s});
    VERIFY_EXIT(result, 1);
    QVERIFY2(result.err.contains("The host has too many commands at once."), qPrintable(result.words()));
    idle.clear();
    QTRY_COMPARE_WITH_TIMEOUT(host.run({"status"_s}).exitCode, 0, kWaitMs);
    QCOMPARE(host.statusJson().value("paused"_l).toBool(true), false);
}

// Its own files are nobody's business: neither pairs nor counters nor errors nor events show them.
void TestCliCommandsHost::whileOnceRuns()
{
    CliHost host;
    QVERIFY(host.local.write("blocked"_s, "x") && host.local.write("fine"_s, "fine"));
    QVERIFY(host.distant.makeDirectory("blocked"_s)); // keeps it busy for about ten seconds
    QVERIFY(host.start({"--once"_s}));
    int looks = 0;
    while (host.process.isRunning()) {
        const CliResult result = host.run({"status"_s, "--json"_s});
        const JsonLines lines(result.out);
        QVERIFY2(lines.valid && lines.objects.size() == 1, qPrintable(result.words()));
        const QJsonObject object = lines.objects.first();
        if (object.value("ok"_l).toBool() && object.value("host"_l).toBool()) {
            ++looks;
            QCOMPARE(object.value("once"_l).toBool(), true);
        }
        QVERIFY2(!result.out.contains("probe"), qPrintable(result.words()));
        QVERIFY(object.value("counters"_l).toObject().value("done"_l).toInt() <= 1);
        const CliResult errors = host.run({"errors"_s});
        QVERIFY2(!errors.out.contains("probe"), qPrintable(errors.words()));
    }
    QVERIFY(looks > 0);
    const CliResult result = host.process.waitForEnd();
    VERIFY_EXIT(result, 1);
    QVERIFY(host.isMirrored("fine"_s));
}

void TestCliCommandsHost::resetWhileOnceRuns()
{
    CliHost host;
    QVERIFY(host.local.write("blocked"_s, "x") && host.local.write("fine"_s, "fine"));
    QVERIFY(host.distant.makeDirectory("blocked"_s));
    QVERIFY(host.start({"--once"_s}));
    QTRY_VERIFY_WITH_TIMEOUT(host.isMirrored("fine"_s), kWaitMs);
    QVERIFY(host.distant.remove("blocked"_s) && host.distant.write("fine"_s, "FINE"));
    VERIFY_EXIT(host.run({"reset"_s, "--yes"_s}), 0);
    const CliResult result = host.process.waitForEnd();
    VERIFY_EXIT(result, 0);
    QVERIFY2(result.out.contains("Everything is up to date: 2 files."), qPrintable(result.words()));
    QVERIFY(host.isMirrored("fine"_s) && host.isMirrored("blocked"_s));
}

// A pause holds its end back until it is taken back.
void TestCliCommandsHost::pausedOnceWaits()
{
    CliHost host;
    QVERIFY(host.local.write("blocked"_s, "x"));
    QVERIFY(host.distant.makeDirectory("blocked"_s));
    QVERIFY(host.start({"--once"_s}));
    VERIFY_EXIT(host.run({"pause"_s}), 0);
    QVERIFY(host.distant.remove("blocked"_s));
    QCOMPARE(host.statusJson().value("paused"_l).toBool(), true);
    QVERIFY(host.process.isRunning());
    VERIFY_EXIT(host.run({"resume"_s}), 0);
    const CliResult result = host.process.waitForEnd();
    VERIFY_EXIT(result, 0);
    QVERIFY(host.isMirrored("blocked"_s));
}

void TestCliCommandsHost::secondInstanceLeavesTheSocketAlone()
{
    CliHost host;
    QVERIFY(host.startWith({"a"_s}));
    const CliResult second = host.world.run({"mirror"_s, "--state"_s, host.state});
    VERIFY_EXIT(second, 5);
    QVERIFY2(second.err.contains("is in use by process"), qPrintable(second.words()));
    VERIFY_EXIT(host.run({"status"_s}), 0); // its socket is still there
}

QTEST_GUILESS_MAIN(TestCliCommandsHost)
#include "test_cli_commands_host.moc"
