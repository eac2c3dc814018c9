#include "literals.h"
#include "pair.h"
#include "raw_database.h"
#include "vorn_sync_manager.h"
#include "wait.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSet>
#include <QSocketNotifier>
#include <QTest>

#include <memory>
#include <unistd.h>

using namespace VornSyncTest;

namespace {

constexpr int kSyncIntervalMs = 100; // several cycles a second, so a verification is never far
constexpr int kUpToDate = 17;
constexpr int kDeleted = 40;
constexpr int kTrashed = 33;

QStringList& messages()
{
    static QStringList list;
    return list;
}

void keepMessage(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type != QtDebugMsg && type != QtInfoMsg)
        messages() << text;
}

QString alias()
{
    return "docs"_s;
}

// One workstation's process: a manager that is told by lines on the standard input what its user does.
class Station : public QObject
{
    Q_OBJECT

public:
    // database, trash root, local directory, distant directory
    explicit Station(const QStringList& paths)
        : m_manager(paths.value(0), paths.value(1), kSyncIntervalMs, {})
        , m_input(STDIN_FILENO, QSocketNotifier::Read)
    {
        connect(&m_manager, &VornSyncManager::errorOccurred, this,
                [this](const QString& text) { m_errors.append(text); });
        connect(&m_manager, &VornSyncManager::syncCompleted, this,
                [this](const QString& path, bool succeeded) {
                    if (succeeded)
                        m_sent.insert(path);
                });
        connect(&m_manager, &VornSyncManager::fileReady, this, [this](const QString& path, bool found) {
            m_answers.append(QJsonArray{path, found});
        });
        connect(&m_input, &QSocketNotifier::activated, this, &Station::readInput);
        m_manager.addDirectory(alias(), paths.value(2), paths.value(3));
    }

private:
    void readInput()
    {
        char bytes[4096];
        const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
        if (count <= 0) {
            m_input.setEnabled(false);
            QCoreApplication::quit();
            return;
        }
        m_buffer.append(bytes, int(count));
        for (auto end = m_buffer.indexOf('\n'); end >= 0; end = m_buffer.indexOf('\n')) {
            const QJsonArray line = QJsonDocument::fromJson(m_buffer.left(end)).array();
            m_buffer.remove(0, end + 1);
            answer(line);
        }
    }

    void answer(const QJsonArray& line)
    {
        const QString verb = line.at(0).toString();
        const QString first = line.at(1).toString();
        const QString second = line.at(2).toString();
        bool result = true;
        if (verb == "ready"_s)
            m_manager.requestFileReady(first);
        else if (verb == "retry"_s)
            m_manager.retrySync(alias(), first);
        else if (verb == "trash"_s)
            m_manager.moveToTrashFile(alias(), first);
        else if (verb == "deleted"_s)
            m_manager.notifyLocalFileDeleted(alias(), first);
        else if (verb == "lock"_s)
            result = m_manager.lockForRename(alias(), first, second);
        else if (verb == "commit"_s)
            m_manager.commitRename(alias(), first, second);
        const QByteArray text = QJsonDocument(state(result)).toJson(QJsonDocument::Compact) + '\n';
        if (::write(STDOUT_FILENO, text.constData(), size_t(text.size())) != text.size())
            QCoreApplication::exit(1);
    }

    QJsonObject state(bool result) const
    {
        QJsonArray files;
        for (const QVariant& entry : m_manager.errorFiles()) {
            const QVariantMap map = entry.toMap();
            files.append(
                "%1/%2"_s.arg(map.value("fileName"_s).toString(), map.value("errorCode"_s).toString()));
        }
        return {{"result"_s, result},
                {"idle"_s, m_manager.isIdle()},
                {"pending"_s, m_manager.pendingCount()},
                {"sent"_s, m_sent.size()},
                {"errorFiles"_s, files},
                {"errors"_s, m_errors},
                {"messages"_s, QJsonArray::fromStringList(messages())},
                {"answers"_s, m_answers}};
    }

    VornSyncManager m_manager;
    QSocketNotifier m_input;
    QByteArray m_buffer;
    QJsonArray m_errors;
    QJsonArray m_answers;
    QSet<QString> m_sent;
};

// A user's machine, seen from outside: its process, its local directory, its state database.
class Workstation
{
    Q_DISABLE_COPY_MOVE(Workstation)

public:
    Workstation(const QString& name, const QString& distantPath)
        : m_name(name)
        , m_distantPath(distantPath)
        , m_raw(m_pair.databasePath())
    {
    }
    ~Workstation()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished();
        }
    }

    const Side& local() const { return m_pair.local(); }
    Side trash() const { return Side(m_pair.trashRoot() + QLatin1Char('/') + alias()); }

    bool start()
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QCoreApplication::applicationFilePath(),
                        {"--workstation"_s, m_pair.databasePath(), m_pair.trashRoot(), m_pair.localPath(),
                         m_distantPath});
        return m_process.waitForStarted(kWaitMs) && !tell({"status"_s}).isEmpty();
    }

    bool stop()
    {
        m_process.closeWriteChannel();
        return m_process.waitForFinished(kWaitMs) && m_process.exitStatus() == QProcess::NormalExit &&
               m_process.exitCode() == 0;
    }

    // What the user does; the answer is the state after it, empty when there was none.
    QJsonObject tell(const QStringList& line)
    {
        m_process.write(QJsonDocument(QJsonArray::fromStringList(line)).toJson(QJsonDocument::Compact) +
                        '\n');
        if (!waitFor([this] { return m_process.canReadLine(); }))
            return {};
        return QJsonDocument::fromJson(m_process.readLine()).object();
    }
    QJsonObject state() { return tell({"status"_s}); }
    QJsonArray errorFiles() { return state().value("errorFiles"_s).toArray(); }
    QJsonArray answers() { return state().value("answers"_s).toArray(); }
    // How many files were sent at least once.
    int sent() { return state().value("sent"_s).toInt(); }
    QString complaints()
    {
        const QJsonObject now = state();
        return QString::fromUtf8(
            QJsonDocument(QJsonArray{now.value("errors"_s).toArray(), now.value("messages"_s).toArray()})
                .toJson(QJsonDocument::Compact));
    }

    QVariantMap row(const QString& fileName)
    {
        return m_raw.rows("SELECT * FROM file_tracking WHERE file_name = ?"_s, {fileName}).value(0);
    }
    int status(const QString& fileName)
    {
        const QVariantMap found = row(fileName);
        return found.isEmpty() ? -1 : found.value("status"_s).toInt();
    }
    bool isMarked(const QString& fileName)
    {
        return m_raw.value("SELECT COUNT(*) FROM sqlite_master WHERE name = 'distant_newer_marks'"_s)
                   .toInt() &&
               m_raw.value("SELECT COUNT(*) FROM distant_newer_marks WHERE file_name = ?"_s, {fileName})
                       .toInt() == 1;
    }

    // Until every local file is recorded as it is and nothing runs or waits.
    bool awaitSent()
    {
        return waitFor([this] {
            const QJsonObject now = state();
            if (!now.value("idle"_s).toBool() || now.value("pending"_s).toInt() != 0)
                return false;
            for (const QString& fileName : local().names()) {
                const QVariantMap found = row(fileName);
                if (found.value("status"_s).toInt() != kUpToDate ||
                    found.value("size"_s).toInt() != local().read(fileName).size())
                    return false;
            }
            return true;
        });
    }

    // Until every file that is up to date now has been verified. The queue is worked off before it is filled
    // again: when a probe is seen that was queued after another one was seen, all that was queued with the
    // first has had its turn.
    bool awaitVerification() { return awaitProbe() && awaitProbe(); }

private:
    // A file of no other use that grows on the share: a verification marks it.
    bool awaitProbe()
    {
        const QString probe = "probe %1.%2"_s.arg(m_name, QString::number(++m_probes));
        const Side distant(m_distantPath);
        if (!local().write(probe, "p") || !waitFor([&] { return status(probe) == kUpToDate; }) ||
            !distant.append(probe, "robe") || !waitFor([&] { return isMarked(probe); }))
            return false;
        if (!local().remove(probe)) // before it is told: what is still there would be sent again
            return false;
        tell({"deleted"_s, probe});
        return waitFor([&] { return !distant.exists(probe) && status(probe) == kDeleted; });
    }

    QString m_name;
    QString m_distantPath;
    Pair m_pair;
    RawDatabase m_raw;
    QProcess m_process;
    int m_probes = 0;
};

} // namespace

// Two users, each with a machine, a state database and a local directory of their own, and one share.
class TestTwoWorkstations : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void theLaterOfTwoNewFilesIsOnTheShare_data();
    void theLaterOfTwoNewFilesIsOnTheShare();
    void newOnBothAtOnce();
    void theLaterOfTwoChangesIsOnTheShare();
    void aChangeMadeWhileTheOtherWasAwayIsKept();
    void changedOnBothWhileOneWasAway();
    void aGrownFileIsHeldUntilItsLocalCopyChanges();
    void aDeletionIsOfferedToTheOther_data();
    void aDeletionIsOfferedToTheOther();
    void aRenameIsALossAndANewFileForTheOther();

private:
    bool bring(const QString& fileName);
    bool makeShared(const QString& fileName, const QByteArray& content);

    std::unique_ptr<QTemporaryDir> m_share;
    std::unique_ptr<Side> m_distant;
    std::unique_ptr<Workstation> m_anna;
    std::unique_ptr<Workstation> m_ben;
};

void TestTwoWorkstations::init()
{
    m_share = std::make_unique<QTemporaryDir>();
    QVERIFY(m_share->isValid());
    m_distant = std::make_unique<Side>(m_share->path());
    m_anna = std::make_unique<Workstation>("anna"_s, m_share->path());
    m_ben = std::make_unique<Workstation>("ben"_s, m_share->path());
}

void TestTwoWorkstations::cleanup()
{
    m_anna.reset();
    m_ben.reset();
}

// Ben opens a file of the share, as his program does.
bool TestTwoWorkstations::bring(const QString& fileName)
{
    const int before = int(m_ben->answers().size());
    m_ben->tell({"ready"_s, m_distant->filePath(fileName)});
    QJsonArray answers;
    if (!waitFor([&] {
            answers = m_ben->answers();
            return answers.size() == before + 1;
        }))
        return false;
    return answers.last().toArray() == QJsonArray{m_ben->local().filePath(fileName), true};
}

// Anna's file, which Ben has opened once: up to date on both.
bool TestTwoWorkstations::makeShared(const QString& fileName, const QByteArray& content)
{
    return m_anna->local().write(fileName, content) && m_anna->start() && m_anna->awaitSent() &&
           m_ben->start() && bring(fileName) && m_ben->awaitSent() &&
           m_ben->local().read(fileName) == content;
}

void TestTwoWorkstations::theLaterOfTwoNewFilesIsOnTheShare_data()
{
    QTest::addColumn<QByteArray>("later");
    QTest::addColumn<QString>("whatAnnaSees");
    QTest::newRow("longer") << QByteArray("Ben's, and longer") << "marked"_s;
    QTest::newRow("shorter") << QByteArray("Ben's") << "error"_s;
    QTest::newRow("as long") << QByteArray("BEN'S PLAN?") << "nothing"_s;
}

void TestTwoWorkstations::theLaterOfTwoNewFilesIsOnTheShare()
{
    QFETCH(QByteArray, later);
    QFETCH(QString, whatAnnaSees);
    const QByteArray earlier = "Anna's plan";
    const QString plan = "plan.doc"_s;
    QVERIFY(m_anna->local().write(plan, earlier));
    QVERIFY(m_anna->start());
    QVERIFY(m_anna->awaitSent());
    QCOMPARE(m_distant->read(plan), earlier);

    QVERIFY(m_ben->local().write(plan, later));
    QVERIFY(m_ben->start());
    QVERIFY(m_ben->awaitSent());
    QVERIFY(m_anna->awaitVerification());
    QCOMPARE(m_distant->read(plan), later);
    QCOMPARE(m_ben->local().read(plan), later);
    QCOMPARE(m_anna->local().read(plan), earlier);
    QCOMPARE(m_anna->isMarked(plan), whatAnnaSees == "marked"_s);
    QCOMPARE(m_anna->errorFiles(), whatAnnaSees == "error"_s ? QJsonArray{"plan.doc/7"_s} : QJsonArray());
    QCOMPARE(m_ben->errorFiles(), QJsonArray());

    if (whatAnnaSees != "error"_s)
        return;
    // Her word alone sends over it; Ben keeps his.
    m_anna->tell({"retry"_s, plan});
    QVERIFY(waitFor([&] { return m_distant->read(plan) == earlier; }));
    QVERIFY(m_anna->awaitSent());
    QVERIFY(waitFor([&] { return m_ben->isMarked(plan); }));
    QCOMPARE(m_ben->local().read(plan), later);
    QCOMPARE(m_distant->read(plan), earlier);
}

void TestTwoWorkstations::newOnBothAtOnce()
{
    constexpr int kFiles = 6;
    QVERIFY(m_anna->start());
    QVERIFY(m_ben->start());
    const auto annas = [](int i) { return "Anna's " + QByteArray(1000 * i, 'a'); };
    const auto bens = [](int i) { return "Ben's!! " + QByteArray(1000 * i, 'b'); };
    for (int i = 0; i < kFiles; ++i) {
        QVERIFY(m_anna->local().write(QString::number(i), annas(i)));
        QVERIFY(m_ben->local().write(QString::number(i), bens(i)));
    }
    // Each has sent every file of its own; one that was first to begin may be last to end.
    QVERIFY(waitFor([&] { return m_anna->sent() == kFiles && m_ben->sent() == kFiles; }));
    QStringList names;
    for (int i = 0; i < kFiles; ++i) {
        const QString name = QString::number(i);
        names << name;
        QVERIFY(waitFor([&] { return m_anna->state().value("idle"_s).toBool(); }));
        QVERIFY(waitFor([&] { return m_ben->state().value("idle"_s).toBool(); }));
        QCOMPARE(m_anna->local().read(name), annas(i));
        QCOMPARE(m_ben->local().read(name), bens(i));
        // One of both, whole.
        const QByteArray shared = m_distant->read(name);
        QVERIFY(shared == annas(i) || shared == bens(i));
    }
    QVERIFY(waitFor([&] { return m_distant->names() == names; })); // nor anything temporary
}

void TestTwoWorkstations::theLaterOfTwoChangesIsOnTheShare()
{
    const QString plan = "plan.doc"_s;
    QVERIFY(makeShared(plan, "first"));
    QVERIFY(m_anna->local().write(plan, "Anna's change"));
    QVERIFY(waitFor([&] { return m_distant->read(plan) == "Anna's change"; }));
    QVERIFY(m_anna->awaitSent());
    QVERIFY(m_ben->local().write(plan, "Ben's later change"));
    QVERIFY(waitFor([&] { return m_distant->read(plan) == "Ben's later change"; }));
    QVERIFY(m_ben->awaitSent());
    // Anna's change is on her disk alone now, and is not sent again by itself.
    QVERIFY(waitFor([&] { return m_anna->isMarked(plan); }));
    QVERIFY(m_anna->awaitVerification());
    QCOMPARE(m_anna->local().read(plan), QByteArray("Anna's change"));
    QCOMPARE(m_distant->read(plan), QByteArray("Ben's later change"));
    QCOMPARE(m_anna->errorFiles(), QJsonArray());
    QCOMPARE(m_ben->errorFiles(), QJsonArray());
}

void TestTwoWorkstations::aChangeMadeWhileTheOtherWasAwayIsKept()
{
    const QString plan = "plan.doc"_s;
    QVERIFY(makeShared(plan, "first"));
    QVERIFY(m_ben->stop());
    QVERIFY(m_anna->local().write(plan, "changed meanwhile"));
    QVERIFY(waitFor([&] { return m_distant->read(plan) == "changed meanwhile"; }));
    QVERIFY(m_anna->awaitSent());

    QVERIFY(m_ben->start());
    QVERIFY(waitFor([&] { return m_ben->isMarked(plan); }));
    QVERIFY(m_ben->awaitVerification());
    QCOMPARE(m_ben->local().read(plan), QByteArray("first"));
    QCOMPARE(m_distant->read(plan), QByteArray("changed meanwhile"));
    // It comes when it is asked for, and is up to date from then on.
    QVERIFY(bring(plan));
    QCOMPARE(m_ben->local().read(plan), QByteArray("changed meanwhile"));
    QVERIFY(m_ben->awaitSent());
    QVERIFY(!m_ben->isMarked(plan));
    QVERIFY(m_ben->awaitVerification());
    QCOMPARE(m_distant->read(plan), QByteArray("changed meanwhile"));
    QCOMPARE(m_ben->errorFiles(), QJsonArray());
    QCOMPARE(m_anna->errorFiles(), QJsonArray());
    QCOMPARE(m_anna->complaints(), "[[],[]]"_s);
    QCOMPARE(m_ben->complaints(), "[[],[]]"_s);
    QVERIFY(m_ben->stop());
    QVERIFY(m_anna->stop());
}

void TestTwoWorkstations::changedOnBothWhileOneWasAway()
{
    const QString plan = "plan.doc"_s;
    QVERIFY(makeShared(plan, "first"));
    QVERIFY(m_ben->stop());
    QVERIFY(m_anna->local().write(plan, "Anna's change"));
    QVERIFY(waitFor([&] { return m_distant->read(plan) == "Anna's change"; }));
    QVERIFY(m_anna->awaitSent());
    QVERIFY(m_ben->local().write(plan, "Ben's, offline"));
    QVERIFY(m_ben->local().setLmd(plan, QDateTime::currentDateTimeUtc().addSecs(-3600)));

    // The one who sends last wins, even with the older file.
    QVERIFY(m_ben->start());
    QVERIFY(waitFor([&] { return m_distant->read(plan) == "Ben's, offline"; }));
    QVERIFY(m_ben->awaitSent());
    QVERIFY(m_anna->awaitVerification());
    QCOMPARE(m_anna->local().read(plan), QByteArray("Anna's change"));
    QCOMPARE(m_distant->read(plan), QByteArray("Ben's, offline"));
}

void TestTwoWorkstations::aGrownFileIsHeldUntilItsLocalCopyChanges()
{
    const QString log = "log.txt"_s;
    QVERIFY(makeShared(log, "one"));
    QVERIFY(m_anna->local().write(log, "one, two"));
    QVERIFY(waitFor([&] { return m_ben->isMarked(log); }));
    const QVariantMap row = m_ben->row(log);
    QCOMPARE(row.value("status"_s).toInt(), kUpToDate);
    QCOMPARE(row.value("size"_s).toInt(), 8); // it follows the share
    QVERIFY(m_ben->awaitVerification());
    QCOMPARE(m_ben->status(log), kUpToDate);
    QCOMPARE(m_distant->read(log), QByteArray("one, two"));

    QVERIFY(m_ben->local().append(log, ", three by Ben"));
    QVERIFY(waitFor([&] { return m_distant->read(log) == "one, three by Ben"; }));
    QVERIFY(m_ben->awaitSent());
    QVERIFY(!m_ben->isMarked(log));
    QCOMPARE(m_anna->local().read(log), QByteArray("one, two"));
}

void TestTwoWorkstations::aDeletionIsOfferedToTheOther_data()
{
    QTest::addColumn<QString>("decision");
    QTest::newRow("restored") << "retry"_s;
    QTest::newRow("deleted") << "trash"_s;
}

void TestTwoWorkstations::aDeletionIsOfferedToTheOther()
{
    QFETCH(QString, decision);
    const QString plan = "plan.doc"_s;
    QVERIFY(makeShared(plan, "content"));
    QVERIFY(m_anna->local().remove(plan));
    m_anna->tell({"deleted"_s, plan});
    QVERIFY(waitFor([&] { return m_ben->errorFiles() == QJsonArray{"plan.doc/15"_s}; }));
    QVERIFY(!m_distant->exists(plan));
    QCOMPARE(m_ben->local().read(plan), QByteArray("content"));

    m_ben->tell({decision, plan});
    QVERIFY(waitFor([&] { return m_ben->errorFiles().isEmpty(); }));
    if (decision == "retry"_s) {
        QVERIFY(m_ben->awaitSent());
        QCOMPARE(m_distant->read(plan), QByteArray("content"));
    } else {
        QVERIFY(waitFor([&] { return m_ben->status(plan) == kTrashed; }));
        QCOMPARE(m_ben->trash().read(plan), QByteArray("content"));
        QVERIFY(!m_ben->local().exists(plan));
        QVERIFY(!m_distant->exists(plan));
    }
    // Anna's deletion stands.
    QVERIFY(m_anna->awaitVerification());
    QVERIFY(!m_anna->local().exists(plan));
    QCOMPARE(m_anna->status(plan), kDeleted);
    QCOMPARE(m_anna->errorFiles(), QJsonArray());
}

void TestTwoWorkstations::aRenameIsALossAndANewFileForTheOther()
{
    const QString before = "plan.doc"_s;
    const QString after = "plan, final.doc"_s;
    QVERIFY(makeShared(before, "content"));
    QVERIFY(m_anna->tell({"lock"_s, before, after}).value("result"_s).toBool());
    QVERIFY(m_anna->local().rename(before, after));
    m_anna->tell({"commit"_s, before, after});
    QVERIFY(waitFor([&] { return m_anna->status(after) == kUpToDate; }));
    QCOMPARE(m_anna->status(before), -1);
    QCOMPARE(m_distant->read(after), QByteArray("content"));

    QVERIFY(waitFor([&] { return m_ben->errorFiles() == QJsonArray{"plan.doc/15"_s}; }));
    QCOMPARE(m_ben->local().read(before), QByteArray("content"));
    QVERIFY(!m_ben->local().exists(after)); // nothing comes by itself
    QVERIFY(bring(after));
    QCOMPARE(m_ben->local().read(after), QByteArray("content"));
    QVERIFY(waitFor([&] { return m_ben->status(after) == kUpToDate; }));
}

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (app.arguments().value(1) == "--workstation"_s) {
        qInstallMessageHandler(keepMessage);
        const Station station(app.arguments().mid(2));
        return QCoreApplication::exec();
    }
    TestTwoWorkstations tests;
    return QTest::qExec(&tests, argc, argv);
}

#include "test_two_workstations.moc"
