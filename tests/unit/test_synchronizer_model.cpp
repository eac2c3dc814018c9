#include "engine_fixture.h"
#include "seed_rows.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTest>

using namespace VornSyncTest;

namespace {

constexpr int kSeeds = 100;
constexpr int kStepsPerSeed = 40;
constexpr int kRoundsToSettle = 30; // a story needs a handful; more means that it never settles
constexpr int kTaskAttempts = 5;

const QStringList& fileNames()
{
    static const QStringList names{"a"_s, "b.txt"_s, "Ü %1"_s, "d'\"e"_s, "f"_s};
    return names;
}

// A user, a host and a share that comes and goes, at random. What the user has locally is the truth: in the
// end both sides and the database must agree with it.
class Story
{
public:
    explicit Story(quint32 seed)
        : m_random(seed)
    {
    }

    bool begin() { return m_engine.start(); }
    void step();
    // Empty when all has come to rest as it should.
    QString end();
    QString log() const { return m_log.join(QLatin1Char('\n')); }

private:
    void note(const QString& text) { m_log << text; }
    QString anyName() { return fileNames().at(m_random.bounded(fileNames().size())); }
    VornSyncSynchronizer& sync() { return m_engine.sync(); }

    void write(const QString& name);
    void removeSilently(const QString& name);
    void removeWithNotice(const QString& name);
    void removeDistant(const QString& name);
    void rename(const QString& from, const QString& to);
    void moveToTrash(const QString& name);
    void setDistantAway(bool isAway);
    void runOneTask();
    void decideErrors();
    void ageRows();
    bool isSettled();
    QString differences();

    Engine m_engine;
    QRandomGenerator m_random;
    QMap<QString, QByteArray> m_local; // what the user has
    QStringList m_log;
    int m_writes = 0;
    bool m_isDistantAway = false;
};

void Story::step()
{
    const QString name = anyName();
    switch (m_random.bounded(14)) {
    case 0:
    case 1:
        return write(name);
    case 2:
        write(name);
        note("notify "_s + name);
        sync().notifyLocalFileChanged(1, name);
        return;
    case 3:
        return removeSilently(name);
    case 4:
        return removeWithNotice(name);
    case 5:
        return removeDistant(name);
    case 6:
        return rename(name, anyName());
    case 7:
        return moveToTrash(name);
    case 8:
        return setDistantAway(!m_isDistantAway && m_random.bounded(2) == 0);
    case 9:
        note("pass"_s);
        return m_engine.pass();
    case 10:
        note("cycle"_s);
        return sync().periodicSynchronization();
    case 11:
        return decideErrors();
    default:
        return runOneTask();
    }
}

// Every version has a size of its own: the same size within the tolerance is no change, by design.
void Story::write(const QString& name)
{
    ++m_writes;
    const QByteArray content(m_writes, char('a' + m_writes % 26));
    note("write %1 (%2 bytes)"_s.arg(name, QString::number(m_writes)));
    if (m_engine.local().write(name, content))
        m_local.insert(name, content);
}

void Story::removeSilently(const QString& name)
{
    if (!m_local.remove(name))
        return;
    note("remove "_s + name);
    m_engine.local().remove(name);
}

void Story::removeWithNotice(const QString& name)
{
    if (!m_local.remove(name))
        return;
    note("remove with notice "_s + name);
    m_engine.local().remove(name);
    m_engine.database().setFileDeleted(1, name);
    sync().notifyLocalFileDeleted(1, name);
}

void Story::removeDistant(const QString& name)
{
    if (m_isDistantAway || !m_engine.distant().exists(name))
        return;
    note("remove distant "_s + name);
    m_engine.distant().remove(name);
}

void Story::rename(const QString& from, const QString& to)
{
    if (!m_local.contains(from) || m_local.contains(to) || !sync().lockRename(1, from, to))
        return;
    note("rename %1 -> %2"_s.arg(from, to));
    m_engine.local().rename(from, to);
    m_local.insert(to, m_local.take(from));
    sync().commitRename(1, from, to);
}

void Story::moveToTrash(const QString& name)
{
    if (!m_local.contains(name))
        return;
    note("move to trash "_s + name);
    sync().moveToTrashFile(1, name);
}

void Story::setDistantAway(bool isAway)
{
    if (isAway == m_isDistantAway)
        return;
    note(isAway ? "distant goes away"_s : "distant comes back"_s);
    const QString path = m_engine.pair().distantPath();
    const bool ok = isAway ? QDir().rename(path, path + "-away"_s) : QDir().rename(path + "-away"_s, path);
    m_isDistantAway = ok ? isAway : m_isDistantAway;
}

// The retries of a failing task are run without their delays; only the last is reported.
void Story::runOneTask()
{
    const pVornSyncTask task = m_engine.takeTask();
    if (!task)
        return;
    note("run %1 %2"_s.arg(VornSyncTypes::operationName(task->operation()), task->fileName()));
    bool ok = false;
    for (int attempt = 0; attempt < kTaskAttempts && !ok; ++attempt)
        ok = task->runtask();
    if (ok && task->operation() == ceStoMove)
        m_local.remove(task->fileName());
    sync().onTaskDone(task, ok);
}

// What the manager does when the user retries every file in error.
void Story::decideErrors()
{
    note("decide"_s);
    const auto files = m_engine.database().getErrorFiles();
    for (const QVariantMap& file : files) {
        const QString name = file.value("fileName"_s).toString();
        const int code = file.value("errorCode"_s).toInt();
        if (code == ceSecLocalFileMissing)
            sync().confirmFileDeletion(1, name);
        else if (code == ceSecDistantFileMissing)
            sync().notifyLocalFileChanged(1, name);
        else
            sync().resolveFileError(1, name, file.value("status"_s).toInt());
    }
}

// Simulated time: what waits, waits since long ago.
void Story::ageRows()
{
    m_engine.raw().exec("UPDATE file_tracking SET status_changed_at = '2024-01-01T00:00:00Z'"_s);
}

bool Story::isSettled()
{
    m_engine.forget();
    sync().periodicSynchronization();
    return m_engine.taskCount() == 0 && m_engine.takeEvents().isEmpty();
}

QString Story::end()
{
    setDistantAway(false);
    int quietRounds = 0;
    for (int round = 0; round < kRoundsToSettle && quietRounds < 7; ++round) {
        while (m_engine.taskCount() > 0)
            runOneTask();
        decideErrors();
        ageRows();
        quietRounds = isSettled() ? quietRounds + 1 : 0;
    }
    if (quietRounds < 7)
        return "it never settles"_s;
    return differences();
}

QString Story::differences()
{
    const QStringList names = m_engine.local().names();
    const QStringList expected = m_local.keys();
    if (names != expected)
        return "local files are '%1', not '%2'"_s.arg(names.join("', '"_s), expected.join("', '"_s));
    for (const QString& name : names) {
        if (m_engine.local().read(name) != m_local.value(name))
            return "'%1' has another content locally"_s.arg(name);
        const QVariantMap row = m_engine.row(name);
        if (m_engine.state(name) != "17/0"_s || row.value("size"_s).toInt() != m_local.value(name).size() ||
            row.value("local_lmd"_s).toString() != m_engine.local().lmd(name).toString(Qt::ISODate) ||
            row.value("distant_lmd"_s).toString() != m_engine.distant().lmd(name).toString(Qt::ISODate))
            return "the row of '%1' is not as the disk: %2"_s.arg(name, m_engine.state(name));
    }
    for (const QString& name : fileNames()) {
        if (sync().isRenameLocked(1, name) || sync().isFileInFlight(1, name))
            return "'%1' is still locked or in flight"_s.arg(name);
    }
    const QString trees = m_engine.pair().compareTrees();
    const QString database = m_engine.raw().integrityProblems();
    const QStringList left = m_engine.pair().temporaryFiles() + m_engine.trace().criticals();
    return trees.isEmpty() && database.isEmpty() ? left.join(QLatin1Char('\n')) : trees + database;
}

} // namespace

class TestSynchronizerModel : public QObject
{
    Q_OBJECT

private slots:
    void stories_data();
    void stories();
};

// VORN_TEST_SEED=n plays one story again.
void TestSynchronizerModel::stories_data()
{
    addSeedRows(kSeeds);
}

void TestSynchronizerModel::stories()
{
    QFETCH(quint32, seed);
    Story story(seed);
    QVERIFY(story.begin());
    for (int i = 0; i < kStepsPerSeed; ++i)
        story.step();
    const QString problem = story.end();
    QVERIFY2(problem.isEmpty(), qPrintable(problem + "\n"_s + story.log()));
}

QTEST_GUILESS_MAIN(TestSynchronizerModel)
#include "test_synchronizer_model.moc"
