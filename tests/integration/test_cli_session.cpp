#include "literals.h"
#include "pair.h"
#include "raw_database.h"
#include "samba_share.h"
#include "test_cli_support.h"
#include "wait.h"

#include <QJsonArray>
#include <QMap>
#include <QSet>
#include <QTest>

#include <csignal>
#include <cstdio>

using namespace VornSyncTest;

namespace {

constexpr int kRefused = 1;
constexpr int kNotUpToDate = 1;
constexpr int kNoHost = 3;
constexpr int kSlowMs = 120000;

// A row is written "17", or "145/15" where there is an error code.
const QString kUpToDate = "17"_s;
const QString kTrashed = "33"_s;
const QString kDeleted = "40"_s;
const QString kLocalMissing = "145/2"_s;
const QString kDistantMissing = "145/15"_s;
const QString kBeingSent = "20"_s;
const QString kNotReachable = "148/4"_s;
const QString kShrunken = "145/7"_s;

// By name: contents, or rows.
using Texts = QMap<QString, QString>;

Texts filesOf(const Side& side)
{
    Texts files;
    for (const QString& name : side.allFiles())
        files[name] = QString::fromUtf8(side.read(name));
    return files;
}

// Small contents, so that a difference can be shown whole.
QString difference(const char* where, const Texts& expected, const Texts& found)
{
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        if (!found.contains(it.key()))
            return "%1: no '%2'"_s.arg(QLatin1String(where), it.key());
        if (found[it.key()] != it.value())
            return "%1: '%2' is '%3', not '%4'"_s.arg(QLatin1String(where), it.key(), found[it.key()],
                                                      it.value());
    }
    for (auto it = found.cbegin(); it != found.cend(); ++it) {
        if (!expected.contains(it.key()))
            return "%1: also '%2' (%3)"_s.arg(QLatin1String(where), it.key(), it.value());
    }
    return QString();
}

} // namespace

// A day with the command-line host, told step by step: one mirror runs on a share of a real Samba server, and every
// command is said to it. After each step all files on this machine, on the server and in the trash, and all rows of
// the database, are as they must be: what a step does not name has not changed.
class TestCliSession : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void withoutAHost();
    void mirrorBegins();
    void statusAndErrors();
    void syncOneFile();
    void syncAll();
    void pauseAndResume();
    void pauseAndResumeOnePair();
    void renameAFile();
    void readyFiles();
    void trashAFile();
    void deletedFiles();
    void acknowledgeLocalLosses();
    void restoreADistantLoss();
    void retryAFile();
    void retryAll();
    void deleteAllMissing();
    void serverDies();
    void resetTheState();
    void hostEnds();
    void forgetAPair();
    void everyCommandWasSaid();
    void cleanupTestCase();

private:
    bool startHost();
    // Says one command and prints the step. The exit code, and what was written.
    CliResult say(const QStringList& words);
    QJsonObject ask(const QString& command);
    // An edit on the machine itself.
    void edit(const QString& name, const QByteArray& content);
    void lose(const QString& name);
    // Cycles until the rows are those expected.
    QString syncUntilExpected();
    QString world() const;
    QString awaitWorld();

    CliWorld m_cli;
    SambaShare m_share;
    CliProcess m_host;
    std::unique_ptr<Side> m_local;
    std::unique_ptr<Side> m_server;
    std::unique_ptr<Side> m_trash;
    QSet<QString> m_said;
    bool m_hasFailed = false;

    // What must be found.
    Texts m_localFiles;
    Texts m_serverFiles;
    Texts m_trashFiles;
    Texts m_rows;
};

// --- The stage ------------------------------------------------------------------------------------------

void TestCliSession::initTestCase()
{
    if (!m_share.start())
        QSKIP(qPrintable("no Samba share: "_s + m_share.reason()));
    m_local = std::make_unique<Side>(m_cli.makeDirectory("local"_s));
    m_server = std::make_unique<Side>(m_share.serverPath());
    m_trash = std::make_unique<Side>(m_cli.statePath() + "/trash/docs"_s);
}

// Each step stands on those before it.
void TestCliSession::init()
{
    if (m_hasFailed)
        QSKIP("an earlier step failed");
}

void TestCliSession::cleanup()
{
    m_hasFailed = m_hasFailed || QTest::currentTestFailed();
}

bool TestCliSession::startHost()
{
    std::printf("$ vorn_sync mirror --alias docs LOCAL SHARE &\n");
    return m_host.start(m_cli.mirrorArguments({"--interval"_s, "3600000"_s, "--alias"_s, "docs"_s,
                                               m_local->path(), m_share.mountedPath()}),
                        m_cli.environment()) &&
           m_host.waitForOut("docs");
}

CliResult TestCliSession::say(const QStringList& words)
{
    m_said << words.first();
    QStringList arguments = words;
    arguments.insert(1, "--state"_s);
    arguments.insert(2, m_cli.statePath());
    const CliResult result = m_cli.run(arguments);
    const QByteArray written = result.out + result.err;
    std::printf("$ vorn_sync %s\n  %d: %s\n", qPrintable(words.join(QLatin1Char(' '))), result.exitCode,
                written.left(written.indexOf('\n')).constData());
    std::fflush(stdout);
    return result;
}

QJsonObject TestCliSession::ask(const QString& command)
{
    const JsonLines lines(say({command, "--json"_s}).out);
    return lines.valid && lines.objects.size() == 1 ? lines.objects.first() : QJsonObject();
}

void TestCliSession::edit(const QString& name, const QByteArray& content)
{
    QVERIFY(m_local->write(name, content));
    m_localFiles[name] = QString::fromUtf8(content);
}

void TestCliSession::lose(const QString& name)
{
    QVERIFY(m_local->remove(name));
    m_localFiles.remove(name);
}

QString TestCliSession::world() const
{
    RawDatabase database(m_cli.statePath() + "/state.db"_s);
    Texts rows;
    const auto found =
        database.rows("SELECT f.file_name, f.status, f.error_code FROM file_tracking f JOIN "
                      "directories d ON d.id = f.directories_id WHERE d.alias_name = 'docs'"_s);
    if (!database.lastError().isEmpty())
        return database.lastError();
    for (const QVariantMap& row : found) {
        const QString code = row.value("error_code"_s).toString();
        rows[row.value("file_name"_s).toString()] =
            row.value("status"_s).toString() + (code == "0"_s ? QString() : QLatin1Char('/') + code);
    }
    for (const QString& problem :
         {difference("local", m_localFiles, filesOf(*m_local)),
          difference("server", m_serverFiles, filesOf(*m_server)),
          difference("trash", m_trashFiles, filesOf(*m_trash)), difference("row", m_rows, rows)}) {
        if (!problem.isEmpty())
            return problem;
    }
    return database.integrityProblems();
}

QString TestCliSession::awaitWorld()
{
    QString problem;
    return waitFor([&] {
        problem = world();
        return problem.isEmpty();
    })
               ? QString()
               : problem;
}

QString TestCliSession::syncUntilExpected()
{
    QString problem;
    const bool isDone = waitFor(
        [&] {
            problem = world();
            return problem.isEmpty() || say({"sync"_s}).exitCode != 0;
        },
        kSlowMs);
    return isDone ? awaitWorld() : problem;
}

// --- The steps ------------------------------------------------------------------------------------------

void TestCliSession::withoutAHost()
{
    const QStringList names{"a.txt"_s, "b.txt"_s};
    QCOMPARE(say({"status"_s}).exitCode, kNoHost);
    QCOMPARE(say({"errors"_s}).exitCode, kNoHost);
    QCOMPARE(say({"sync"_s}).exitCode, kNoHost);
    QCOMPARE(say({"rename"_s, "docs"_s, "a.txt"_s, "b.txt"_s}).exitCode, kNoHost);
    QVERIFY(m_server->names().isEmpty());
}

void TestCliSession::mirrorBegins()
{
    for (const char* name : {"agenda.txt", "budget.txt", "été – notes.txt", "-rf", "plan.doc", "lost 1.txt",
                             "lost 2.txt", "lost 3.txt", "gone.txt", "kept there.txt"})
        edit(QString::fromUtf8(name), QByteArray("1: ") + name);
    edit("plan/chart.svg"_s, "chart");
    m_serverFiles = m_localFiles;
    for (auto file = m_localFiles.cbegin(); file != m_localFiles.cend(); ++file)
        m_rows[file.key()] = kUpToDate;
    m_rows.remove("plan/chart.svg"_s); // travels with its file
    QVERIFY(startHost());
    QCOMPARE(awaitWorld(), QString());
}

void TestCliSession::statusAndErrors()
{
    const QJsonObject status = ask("status"_s);
    QCOMPARE(status.value("counters"_s).toObject().value("done"_s).toInt(), m_rows.size());
    QCOMPARE(status.value("counters"_s).toObject().value("errors"_s).toInt(), 0);
    const QJsonObject pair = status.value("pairs"_s).toArray().first().toObject();
    QCOMPARE(pair.value("alias"_s).toString(), "docs"_s);
    QCOMPARE(pair.value("distant"_s).toString(), m_share.mountedPath());
    QVERIFY(pair.value("distant_there"_s).toBool());
    QCOMPARE(status.value("process"_s).toInt(), int(m_host.processId()));
    QCOMPARE(say({"status"_s}).exitCode, 0);
    QCOMPARE(ask("errors"_s).value("count"_s).toInt(-1), 0);
    QCOMPARE(say({"errors"_s}).exitCode, 0);
    QCOMPARE(world(), QString());
}

void TestCliSession::syncOneFile()
{
    edit("agenda.txt"_s, "2: longer than before");
    edit("budget.txt"_s, "2: not announced");
    m_serverFiles["agenda.txt"_s] = m_localFiles["agenda.txt"_s];
    QCOMPARE(say({"sync"_s, "docs"_s, "agenda.txt"_s}).exitCode, 0);
    QCOMPARE(awaitWorld(), QString());
    QCOMPARE(say({"sync"_s, "docs"_s, "nowhere.txt"_s}).exitCode, kRefused);
    QCOMPARE(say({"sync"_s, "elsewhere"_s, "agenda.txt"_s}).exitCode, kRefused);
    QCOMPARE(world(), QString());
}

void TestCliSession::syncAll()
{
    edit("new.txt"_s, "new");
    m_serverFiles = m_localFiles;
    m_rows["new.txt"_s] = kUpToDate;
    QCOMPARE(say({"sync"_s}).exitCode, 0);
    QCOMPARE(awaitWorld(), QString());
}

void TestCliSession::pauseAndResume()
{
    QCOMPARE(say({"pause"_s}).exitCode, 0);
    QVERIFY(ask("status"_s).value("paused"_s).toBool());
    edit("new.txt"_s, "written in the pause");
    QCOMPARE(say({"sync"_s}).exitCode, kRefused);
    QCOMPARE(world(), QString());
    QCOMPARE(say({"resume"_s}).exitCode, 0);
    QVERIFY(!ask("status"_s).value("paused"_s).toBool());
    m_serverFiles["new.txt"_s] = m_localFiles["new.txt"_s];
    QCOMPARE(syncUntilExpected(), QString());
}

void TestCliSession::pauseAndResumeOnePair()
{
    QCOMPARE(say({"pause"_s, "docs"_s}).exitCode, 0);
    edit("new.txt"_s, "written while its pair is suspended");
    QCOMPARE(say({"sync"_s}).exitCode, 0);
    QCOMPARE(say({"pause"_s, "elsewhere"_s}).exitCode, kRefused);
    QVERIFY(ask("status"_s).value("pairs"_s).toArray().first().toObject().value("suspended"_s).toBool());
    QCOMPARE(world(), QString());
    QCOMPARE(say({"resume"_s, "docs"_s}).exitCode, 0);
    m_serverFiles["new.txt"_s] = m_localFiles["new.txt"_s];
    QCOMPARE(awaitWorld(), QString());
}

void TestCliSession::renameAFile()
{
    QCOMPARE(say({"rename"_s, "docs"_s, "new.txt"_s, "renamed – été.txt"_s}).exitCode, 0);
    for (Texts* files : {&m_localFiles, &m_serverFiles})
        files->insert("renamed – été.txt"_s, files->take("new.txt"_s));
    m_rows["renamed – été.txt"_s] = m_rows.take("new.txt"_s);
    QCOMPARE(awaitWorld(), QString());
    // Never over another file, never out of the directory.
    for (const char* name : {"agenda.txt", "renamed – été.txt", "", "..", "../agenda.txt"}) {
        const QStringList words{"rename"_s, "docs"_s, "renamed – été.txt"_s, QString::fromUtf8(name)};
        QCOMPARE(say(words).exitCode, kRefused);
    }
    QCOMPARE(say({"rename"_s, "docs"_s, "nowhere.txt"_s, "else.txt"_s}).exitCode, kRefused);
    QCOMPARE(world(), QString());
}

void TestCliSession::readyFiles()
{
    const QDateTime later = QDateTime::currentDateTimeUtc().addSecs(60);
    m_serverFiles["theirs.txt"_s] = "theirs"_s;
    QVERIFY(m_server->write("theirs.txt"_s, "theirs"));
    CliResult result = say({"ready"_s, "docs"_s, "theirs.txt"_s});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(QString::fromUtf8(result.out).trimmed(), m_local->filePath("theirs.txt"_s));
    m_localFiles["theirs.txt"_s] = "theirs"_s;
    m_rows["theirs.txt"_s] = kUpToDate;
    QCOMPARE(awaitWorld(), QString());

    // A newer version of theirs; by its distant path.
    QVERIFY(m_server->write("budget.txt"_s, "3: by a colleague"));
    QVERIFY(m_server->setLmd("budget.txt"_s, later));
    result = say({"ready"_s, m_share.mountedPath() + "/budget.txt"_s});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(QString::fromUtf8(result.out).trimmed(), m_local->filePath("budget.txt"_s));
    m_localFiles["budget.txt"_s] = m_serverFiles["budget.txt"_s] = "3: by a colleague"_s;
    QCOMPARE(awaitWorld(), QString());

    QCOMPARE(say({"ready"_s, "docs"_s, "nowhere.txt"_s}).exitCode, kRefused);
    QCOMPARE(world(), QString());
}

void TestCliSession::trashAFile()
{
    QCOMPARE(say({"trash"_s, "docs"_s, "plan.doc"_s}).exitCode, 0);
    for (const char* name : {"plan.doc", "plan/chart.svg"})
        m_trashFiles[QLatin1String(name)] = m_localFiles.take(QLatin1String(name));
    m_rows["plan.doc"_s] = kTrashed;
    QCOMPARE(awaitWorld(), QString());
    QCOMPARE(say({"trash"_s, "docs"_s, "nowhere.txt"_s}).exitCode, kRefused);
    QCOMPARE(world(), QString());
}

void TestCliSession::deletedFiles()
{
    QCOMPARE(say({"deleted"_s, "docs"_s, "gone.txt"_s}).exitCode, kRefused); // it is still there
    QCOMPARE(world(), QString());
    lose("gone.txt"_s);
    QCOMPARE(say({"deleted"_s, "docs"_s, "gone.txt"_s}).exitCode, 0);
    m_serverFiles.remove("gone.txt"_s);
    m_rows["gone.txt"_s] = kDeleted;
    QCOMPARE(awaitWorld(), QString());

    lose("kept there.txt"_s);
    QCOMPARE(say({"deleted"_s, "--keep-distant"_s, "docs"_s, "kept there.txt"_s}).exitCode, 0);
    m_rows["kept there.txt"_s] = kDeleted;
    QCOMPARE(awaitWorld(), QString());
}

void TestCliSession::acknowledgeLocalLosses()
{
    for (const char* name : {"lost 1.txt", "lost 2.txt", "lost 3.txt"}) {
        lose(QLatin1String(name));
        m_rows[QLatin1String(name)] = kLocalMissing;
    }
    QCOMPARE(syncUntilExpected(), QString());
    QCOMPARE(ask("errors"_s).value("count"_s).toInt(), 3);
    QCOMPARE(say({"errors"_s}).exitCode, kNotUpToDate);
    QCOMPARE(say({"restore"_s, "docs"_s, "lost 1.txt"_s}).exitCode, kRefused);
    QCOMPARE(world(), QString());
    QCOMPARE(say({"acknowledge"_s, "docs"_s, "lost 1.txt"_s}).exitCode, 0);
    m_rows["lost 1.txt"_s] = kDeleted;
    QCOMPARE(awaitWorld(), QString());
    QCOMPARE(say({"acknowledge-all"_s}).exitCode, 0);
    m_rows["lost 2.txt"_s] = m_rows["lost 3.txt"_s] = kDeleted;
    QCOMPARE(awaitWorld(), QString());
    QCOMPARE(say({"errors"_s}).exitCode, 0);
}

void TestCliSession::restoreADistantLoss()
{
    QVERIFY(m_server->remove("agenda.txt"_s));
    m_serverFiles.remove("agenda.txt"_s);
    m_rows["agenda.txt"_s] = kDistantMissing;
    QCOMPARE(syncUntilExpected(), QString());
    const QJsonObject error = ask("errors"_s).value("errors"_s).toArray().first().toObject();
    QCOMPARE(error.value("file"_s).toString(), "agenda.txt"_s);
    QCOMPARE(error.value("code"_s).toInt(), 15);
    QCOMPARE(say({"acknowledge"_s, "docs"_s, "agenda.txt"_s}).exitCode, kRefused);
    QCOMPARE(say({"restore"_s, "docs"_s, "agenda.txt"_s}).exitCode, 0);
    m_serverFiles["agenda.txt"_s] = m_localFiles["agenda.txt"_s];
    m_rows["agenda.txt"_s] = kUpToDate;
    QCOMPARE(awaitWorld(), QString());
}

// Somebody shortened the file on the share: held for the user, who decides for the local one.
void TestCliSession::retryAFile()
{
    QVERIFY(m_server->write("agenda.txt"_s, "2"));
    m_serverFiles["agenda.txt"_s] = "2"_s;
    m_rows["agenda.txt"_s] = kShrunken;
    QCOMPARE(syncUntilExpected(), QString());
    QCOMPARE(say({"retry"_s, "docs"_s, "budget.txt"_s}).exitCode, kRefused); // not in error
    QCOMPARE(world(), QString());
    QCOMPARE(say({"retry"_s, "docs"_s, "agenda.txt"_s}).exitCode, 0);
    m_serverFiles["agenda.txt"_s] = m_localFiles["agenda.txt"_s];
    m_rows["agenda.txt"_s] = kUpToDate;
    QCOMPARE(awaitWorld(), QString());
}

void TestCliSession::retryAll()
{
    for (const char* name : {"agenda.txt", "-rf"}) {
        QVERIFY(m_server->remove(QLatin1String(name)));
        m_serverFiles.remove(QLatin1String(name));
        m_rows[QLatin1String(name)] = kDistantMissing;
    }
    QCOMPARE(syncUntilExpected(), QString());
    QCOMPARE(say({"retry-all"_s}).exitCode, 0);
    for (const char* name : {"agenda.txt", "-rf"}) {
        m_serverFiles[QLatin1String(name)] = m_localFiles[QLatin1String(name)];
        m_rows[QLatin1String(name)] = kUpToDate;
    }
    QCOMPARE(awaitWorld(), QString());
}

void TestCliSession::deleteAllMissing()
{
    for (const char* name : {"budget.txt", "theirs.txt"}) {
        QVERIFY(m_server->remove(QLatin1String(name)));
        m_serverFiles.remove(QLatin1String(name));
        m_rows[QLatin1String(name)] = kDistantMissing;
    }
    QCOMPARE(syncUntilExpected(), QString());
    QCOMPARE(say({"delete-all-missing"_s}).exitCode, 0);
    for (const char* name : {"budget.txt", "theirs.txt"}) {
        m_trashFiles[QLatin1String(name)] = m_localFiles.take(QLatin1String(name));
        m_rows[QLatin1String(name)] = kTrashed;
    }
    QCOMPARE(awaitWorld(), QString());
}

void TestCliSession::serverDies()
{
    std::printf("# the server is killed\n");
    m_share.killServer();
    edit("-rf"_s, "3: not announced");
    QCOMPARE(say({"sync"_s}).exitCode, 0);
    edit("agenda.txt"_s, "4: written while the server was away");
    QCOMPARE(say({"sync"_s, "docs"_s, "agenda.txt"_s}).exitCode, 0);
    // After five runs. Of the other files nothing is known, and nothing is said.
    m_rows["agenda.txt"_s] = kNotReachable;
    QCOMPARE(awaitWorld(), QString());
    QCOMPARE(ask("errors"_s).value("count"_s).toInt(), 1);

    std::printf("# the server is back\n");
    QVERIFY(m_share.resumeServer());
    QCOMPARE(say({"retry"_s, "docs"_s, "agenda.txt"_s}).exitCode, 0);
    // Required: it is taken for running until that is stale. A restart shortens it.
    m_rows["agenda.txt"_s] = kBeingSent;
    QCOMPARE(awaitWorld(), QString());
    QCOMPARE(say({"errors"_s}).exitCode, 0);
    QVERIFY(m_host.sendSignal(SIGTERM));
    QCOMPARE(m_host.waitForEnd().exitCode, 0);
    QVERIFY(startHost());
    for (const char* name : {"agenda.txt", "-rf"})
        m_serverFiles[QLatin1String(name)] = m_localFiles[QLatin1String(name)];
    m_rows["agenda.txt"_s] = kUpToDate;
    QCOMPARE(awaitWorld(), QString());
}

void TestCliSession::resetTheState()
{
    QVERIFY(say({"reset"_s}).exitCode != 0); // not without --yes
    QCOMPARE(world(), QString());
    QVERIFY(m_server->write("agenda.txt"_s, "changed on the share"));
    QCOMPARE(say({"reset"_s, "--yes"_s}).exitCode, 0);
    // Forgotten are tombstones and trashed rows; every local file is sent, over whatever is there.
    m_rows.clear();
    for (auto it = m_localFiles.cbegin(); it != m_localFiles.cend(); ++it) {
        m_rows[it.key()] = kUpToDate;
        m_serverFiles[it.key()] = it.value();
    }
    QCOMPARE(awaitWorld(), QString());
    QCOMPARE(say({"status"_s}).exitCode, 0);
}

void TestCliSession::hostEnds()
{
    QVERIFY(m_host.sendSignal(SIGTERM));
    QCOMPARE(m_host.waitForEnd().exitCode, 0);
    QCOMPARE(say({"pause"_s}).exitCode, kNoHost);
    QCOMPARE(ask("status"_s).value("counters"_s).toObject().value("done"_s).toInt(), m_rows.size());
    QCOMPARE(say({"errors"_s}).exitCode, 0);
    QCOMPARE(world(), QString());
    QVERIFY(startHost());
    edit("agenda.txt"_s, "5: after the restart");
    m_serverFiles["agenda.txt"_s] = m_localFiles["agenda.txt"_s];
    QCOMPARE(syncUntilExpected(), QString());
}

void TestCliSession::forgetAPair()
{
    QCOMPARE(say({"forget"_s, "elsewhere"_s}).exitCode, kRefused);
    QCOMPARE(say({"forget"_s, "docs"_s}).exitCode, 0);
    m_rows.clear();
    edit("agenda.txt"_s, "6: nobody looks any more");
    QCOMPARE(say({"sync"_s, "docs"_s, "agenda.txt"_s}).exitCode, kRefused);
    QCOMPARE(awaitWorld(), QString());
}

void TestCliSession::everyCommandWasSaid()
{
    const QString help = QString::fromUtf8(m_cli.run({"--help"_s}).out);
    const QStringList lines = help.section("Commands to a running mirror:\n"_s, 1)
                                  .section("\n\n"_s, 0, 0)
                                  .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QVERIFY2(lines.size() >= 15, qPrintable(help));
    for (const QString& line : lines) {
        const QString command = line.simplified().section(QLatin1Char(' '), 0, 0);
        QVERIFY2(m_said.contains(command), qPrintable(command));
    }
}

void TestCliSession::cleanupTestCase()
{
    if (!m_host.isRunning())
        return;
    QVERIFY(m_host.sendSignal(SIGTERM));
    QCOMPARE(m_host.waitForEnd().exitCode, 0);
}

QTEST_GUILESS_MAIN(TestCliSession)
#include "test_cli_session.moc"
