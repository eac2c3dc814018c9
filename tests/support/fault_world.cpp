#include "fault_world.h"

#include "raw_database.h"
#include "vorn_sync_times.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

// The engine's count of tasks in flight: from ten on it skips its cycles.
struct VornSyncSynchronizerTestAccess
{
    static int inFlightCount(const VornSyncSynchronizer& sync) { return sync.dispatcher.tasksInFlight(); }
};

namespace VornSyncTest {

namespace {

constexpr int kIntervalMs = 60000;
constexpr int kMostRuns = 10;      // twice as many as the engine tries
constexpr int kSettlingCycles = 7; // every sixth one verifies
constexpr int kSettlingRounds = 3; // an answer may lead to another question

QDateTime longAgo()
{
    return QDateTime(QDate(2024, 3, 1), QTime(10, 0), Qt::UTC);
}

bool copyTimes(const fs::path& from, const fs::path& to)
{
    struct stat facts = {};
    if (::stat(from.c_str(), &facts) != 0)
        return false;
    const struct timespec times[2] = {facts.st_atim, facts.st_mtim};
    return ::utimensat(AT_FDCWD, to.c_str(), times, 0) == 0;
}

} // namespace

bool copyTree(const QString& from, const QString& to)
{
    const fs::path source(QFile::encodeName(from).toStdString());
    const fs::path target(QFile::encodeName(to).toStdString());
    std::error_code error;
    fs::create_directories(target, error);
    if (error)
        return false;
    // In the order of the names: a listing of the copy is then always the same.
    std::vector<fs::path> entries;
    for (const fs::directory_entry& entry : fs::directory_iterator(source, error))
        entries.push_back(entry.path());
    std::sort(entries.begin(), entries.end());
    for (const fs::path& entry : entries) {
        const fs::path copy = target / entry.filename();
        if (fs::is_directory(entry, error)) {
            if (!copyTree(QFile::decodeName(entry.c_str()), QFile::decodeName(copy.c_str())))
                return false;
        } else if (!fs::copy_file(entry, copy, error) || !copyTimes(entry, copy)) {
            return false;
        }
    }
    return !error;
}

// --- Life cycle -----------------------------------------------------------------------------------------

FaultWorld::FaultWorld(const QString& rootPath)
    : m_root(rootPath)
    , m_local(m_root.filePath(QStringLiteral("local")))
    , m_distant(m_root.filePath(QStringLiteral("distant")))
    , m_trash(m_root.filePath(QStringLiteral("trash/docs")))
{
    VornSyncTask::registerMetaType();
}

FaultWorld::~FaultWorld()
{
    m_sync.reset();
    m_database.reset();
}

bool FaultWorld::create()
{
    for (const QString& path :
         {m_local.path(), m_distant.path(), m_trash.path(), m_root.filePath(QStringLiteral("state"))}) {
        if (!QDir().mkpath(path))
            return false;
    }
    VornSyncDatabase database(databasePath());
    const bool isMade = database.initialize();
    const int id =
        database.addDirectory(QStringLiteral("docs"), m_local.path(), m_distant.path(), m_trash.path());
    return isMade && database.setDirectoryAvailable(id);
}

void FaultWorld::openDatabase()
{
    m_database = std::make_unique<VornSyncDatabase>(databasePath());
    QObject::connect(m_database.get(), &VornSyncDatabase::errorOccurred, m_database.get(),
                     [this](const QString& message) { m_errors << message; });
    findPair();
}

void FaultWorld::findPair()
{
    m_id = m_database->getDirectoryIdByAlias(QStringLiteral("docs"));
}

// In the order of the manager.
bool FaultWorld::start()
{
    openDatabase();
    const bool isUsable = m_database->initialize();
    m_sync = std::make_unique<VornSyncSynchronizer>(m_root.filePath(QStringLiteral("trash")), kIntervalMs,
                                                    QStringList{QStringLiteral("*.part")});
    connectSignals();
    m_database->cleanupOrphanedProcessingStates();
    m_database->cleanupStaleProcessingStates(VornSyncDatabase::StillActiveTest());
    m_sync->initialize(m_database.get());
    findPair();
    return isUsable;
}

bool FaultWorld::restart()
{
    m_tasks.clear();
    m_sync.reset();
    m_database.reset();
    forget();
    return start();
}

void FaultWorld::connectSignals()
{
    const VornSyncSynchronizer* sync = m_sync.get();
    QObject::connect(sync, &VornSyncSynchronizer::sigRunTask, sync,
                     [this](const pVornSyncTask& task) { m_tasks << task; });
    QObject::connect(
        sync, &VornSyncSynchronizer::syncCompleted, sync,
        [this](const QString&, bool succeeded) { ++(succeeded ? m_completedCount : m_failedCount); });
    QObject::connect(sync, &VornSyncSynchronizer::errorOccurred, sync,
                     [this](const QString& message) { m_errors << message; });
}

bool FaultWorld::write(const Side& side, const QString& name, const QByteArray& content)
{
    return side.write(name, content) && side.setLmd(name, longAgo());
}

bool FaultWorld::send(const QString& name, const QByteArray& content)
{
    if (!write(m_local, name, content) || !m_sync->notifyLocalFileChanged(m_id, name))
        return false;
    runTasks();
    const bool isSent = m_completedCount == 1 && m_failedCount == 0;
    forget();
    return isSent;
}

bool FaultWorld::execute(const QString& sql, const QVariantList& values)
{
    return m_database->executeQuery(sql, values);
}

bool FaultWorld::forgetTheHour()
{
    const QString change =
        QStringLiteral("UPDATE file_tracking SET %1 = '2099-01-01T00:00:00Z' WHERE %1 > '2025'");
    return execute(change.arg(QStringLiteral("status_changed_at"))) &&
           execute(change.arg(QStringLiteral("trashed_date")));
}

// --- Work -----------------------------------------------------------------------------------------------

void FaultWorld::runTasks()
{
    while (!m_tasks.isEmpty()) {
        const pVornSyncTask task = m_tasks.takeFirst();
        const int endsBefore = m_completedCount + m_failedCount;
        // A task that failed comes back after some seconds; here at once.
        for (int run = 0; run < kMostRuns && m_completedCount + m_failedCount == endsBefore; ++run) {
            ++m_runCount;
            m_sync->onTaskDone(task, task->runtask());
        }
    }
}

void FaultWorld::cycle()
{
    m_sync->periodicSynchronization();
    runTasks();
}

void FaultWorld::forget()
{
    m_completedCount = 0;
    m_failedCount = 0;
    m_runCount = 0;
    m_errors.clear();
    m_trace.clear();
}

QString FaultWorld::errorCodes()
{
    QStringList codes;
    const QList<QVariantMap> files = m_database->getErrorFiles();
    for (const QVariantMap& file : files) {
        const QString code = file.value(QStringLiteral("errorCode")).toString();
        if (!codes.contains(code))
            codes << code;
    }
    codes.sort();
    return codes.join(QStringLiteral(", "));
}

// --- Coming to rest -------------------------------------------------------------------------------------

FaultWorld::Settling FaultWorld::settle()
{
    if (comesToRest(0))
        return Settling::AtOnce;
    if (comesToRest(kSettlingCycles))
        return Settling::Cycle;
    for (int round = 0; round < kSettlingRounds; ++round) {
        answerErrors();
        if (comesToRest(kSettlingCycles))
            return Settling::User;
    }
    for (int round = 0; round < kSettlingRounds; ++round) {
        letTimePass();
        if (comesToRest(kSettlingCycles))
            return Settling::Timeout;
        answerErrors();
        if (comesToRest(kSettlingCycles))
            return Settling::Timeout;
    }
    return Settling::Never;
}

bool FaultWorld::comesToRest(int cycles)
{
    for (int i = 0; i < cycles && !problems().isEmpty(); ++i)
        cycle();
    return problems().isEmpty();
}

// The user wants what is there to be mirrored, and knows that what is gone is gone.
void FaultWorld::answerErrors()
{
    const QList<QVariantMap> files = m_database->getErrorFiles();
    for (const QVariantMap& file : files) {
        const QString name = file.value(QStringLiteral("fileName")).toString();
        const int code = file.value(QStringLiteral("errorCode")).toInt();
        if (VornSyncTypes::isAcknowledgeOnly(code))
            m_sync->confirmFileDeletion(m_id, name);
        else if (VornSyncTypes::isRestoreOrDelete(code))
            m_sync->notifyLocalFileChanged(m_id, name);
        else
            m_sync->resolveFileError(m_id, name, file.value(QStringLiteral("status")).toInt());
        runTasks();
    }
}

void FaultWorld::letTimePass()
{
    m_database->executeQuery(QStringLiteral("UPDATE file_tracking SET status_changed_at = ?"),
                             {VornSyncTimes::toText(longAgo())});
}

QString FaultWorld::problems()
{
    if (!m_tasks.isEmpty())
        return QStringLiteral("a task waits");
    if (const int count = VornSyncSynchronizerTestAccess::inFlightCount(*m_sync))
        return QStringLiteral("%1 tasks are counted in flight").arg(count);
    VornSyncDatabase::Rows rows;
    if (!m_database->executeQuery(
            rows,
            QStringLiteral("SELECT file_name, status, size, local_lmd, distant_lmd FROM "
                           "file_tracking WHERE directories_id = ?"),
            {m_id}))
        return QStringLiteral("the rows can't be read");
    QSet<QString> tracked;
    for (const QVariantMap& row : rows) {
        const QString problem = rowProblem(row, tracked);
        if (!problem.isEmpty())
            return problem;
    }
    const QStringList names = QDir(m_local.path()).entryList(QDir::Files, QDir::Name);
    for (const QString& name : names) {
        if (!name.startsWith(QLatin1String("qt_temp.")) && !tracked.contains(name))
            return QStringLiteral("'%1' is not up to date").arg(name);
    }
    return QString();
}

// `tracked` gains the name when the file is up to date, as the disk has it.
QString FaultWorld::rowProblem(const QVariantMap& row, QSet<QString>& tracked) const
{
    const QString name = row.value(QStringLiteral("file_name")).toString();
    const int status = row.value(QStringLiteral("status")).toInt();
    if (m_sync->isRenameLocked(m_id, name) || m_sync->isFileInFlight(m_id, name))
        return QStringLiteral("'%1' is locked or in flight").arg(name);
    if (VornSyncTypes::isTombstoned(status))
        return QString();
    if (status != ceSfsUpToDate)
        return QStringLiteral("'%1' has status %2").arg(name, QString::number(status));
    const QByteArray content = m_local.read(name);
    if (!m_local.exists(name) || !m_distant.exists(name) || content != m_distant.read(name))
        return QStringLiteral("'%1' is not the same on both sides").arg(name);
    const auto secs = [&row](const char* column) {
        return VornSyncTimes::secsFromText(row.value(QLatin1String(column)).toString());
    };
    if (row.value(QStringLiteral("size")).toLongLong() != content.size() ||
        secs("local_lmd") != m_local.lmd(name).toSecsSinceEpoch() ||
        secs("distant_lmd") != m_distant.lmd(name).toSecsSinceEpoch())
        return QStringLiteral("'%1' is recorded as it is not").arg(name);
    tracked.insert(name);
    return QString();
}

QString FaultWorld::lastingProblems()
{
    const QString now = problems();
    if (!now.isEmpty())
        return now;
    const QString integrity = RawDatabase(databasePath()).integrityProblems();
    if (!integrity.isEmpty())
        return integrity;
    forget();
    cycle();
    if (m_runCount > 0 || !m_errors.isEmpty())
        return QStringLiteral("a further cycle finds work: ") + m_errors.join(QLatin1Char(' '));
    const QStringList messages = m_trace.criticals() + m_trace.warnings();
    const int upToDate = RawDatabase(databasePath())
                             .value(QStringLiteral("SELECT COUNT(*) FROM file_tracking WHERE status = 17"))
                             .toInt();
    if (m_database->countFilesByStatuses({ceSfsUpToDate}) != upToDate)
        return QStringLiteral("the counters are wrong");
    return messages.join(QLatin1Char(' '));
}

QStringList FaultWorld::temporaryFiles() const
{
    QStringList found;
    for (const Side* side : {&m_local, &m_distant, &m_trash}) {
        const QStringList files = side->allFiles();
        for (const QString& file : files) {
            static const QRegularExpression form(QStringLiteral("(^|/)qt_temp\\.[^/]{6}$|\\.[0-9a-f]{4}$"));
            if (form.match(file).hasMatch())
                found << side->filePath(file);
        }
    }
    return found;
}

QString FaultWorld::dump()
{
    RawDatabase raw(databasePath());
    const QString rows =
        raw
            .value(QStringLiteral(
                "SELECT group_concat(line, char(10)) FROM (SELECT quote(directories_id) || quote(file_name) "
                "|| "
                "quote(status) || quote(error_code) || quote(size) || quote(local_lmd) || quote(distant_lmd) "
                "|| (trashed_date IS NULL) AS line FROM file_tracking ORDER BY directories_id, file_name)"))
            .toString();
    const QString directories =
        raw.value(QStringLiteral(
                      "SELECT group_concat(line, char(10)) FROM (SELECT quote(id) || quote(alias_name) || "
                      "quote(local_path) || quote(distant_path) || quote(available) AS line FROM directories "
                      "ORDER BY id)"))
            .toString();
    return raw.lastError().isEmpty() ? rows + QLatin1Char('\n') + directories : raw.lastError();
}

} // namespace VornSyncTest
