#include "host.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <sys/stat.h>

namespace VornSyncTest {

namespace {

constexpr int kUpToDate = 17;
constexpr int kTrashed = 33;
constexpr int kDeleted = 40;

// The last by name and number, so that it is passed after the others or, in another order, before them: between
// two passes over it each other pair was passed once.
const QString kCycleAlias = QStringLiteral("zz-cycle");

QString isoTime(const QDateTime& time)
{
    return time.toUTC().toString(Qt::ISODate);
}

// Stored texts may have an offset, or none where an older generation wrote them. The system itself is asked: to
// Qt the first second of 1970 is no time.
bool isTimeOf(const QString& path, const QVariant& stored)
{
    struct stat facts = {};
    const QDateTime time = QDateTime::fromString(stored.toString(), Qt::ISODate);
    return time.isValid() && ::stat(QFile::encodeName(path).constData(), &facts) == 0 &&
           time.toSecsSinceEpoch() == facts.st_mtim.tv_sec;
}

QString describe(const QVariantMap& row)
{
    QStringList columns;
    for (auto it = row.cbegin(); it != row.cend(); ++it)
        columns << it.key() + QLatin1Char('=') + it.value().toString();
    return columns.join(QLatin1String(", "));
}

QStringList describeFiles(const Side& side)
{
    QStringList result;
    for (const QString& name : side.allFiles()) {
        struct stat facts = {};
        if (::lstat(QFile::encodeName(side.filePath(name)).constData(), &facts) != 0)
            continue;
        result << QStringLiteral("%1: inode %2, %3 bytes, written %4.%5")
                      .arg(side.filePath(name), QString::number(facts.st_ino), QString::number(facts.st_size),
                           QString::number(facts.st_mtim.tv_sec), QString::number(facts.st_mtim.tv_nsec));
    }
    return result;
}

QString firstDifference(const QStringList& before, const QStringList& after)
{
    for (const QString& line : after) {
        if (!before.contains(line))
            return QStringLiteral("a further cycle changed: ") + line;
    }
    for (const QString& line : before) {
        if (!after.contains(line))
            return QStringLiteral("a further cycle removed: ") + line;
    }
    return QString();
}

} // namespace

// --- Life -----------------------------------------------------------------------------------------------

Host::Host(const HostOptions& options)
    : m_options(options)
    , m_cycleWatch(m_cyclePair.localPath())
    , m_raw(QString())
{
    m_pairs[alias()] = std::make_unique<Pair>(m_options.distantPath);
    if (m_options.databasePath.isEmpty())
        m_options.databasePath = pair().databasePath();
    if (m_options.trashRoot.isEmpty())
        m_options.trashRoot = pair().trashRoot();
    m_raw = RawDatabase(m_options.databasePath);
}

Host::~Host() = default;

bool Host::start()
{
    create();
    return registerPairs();
}

void Host::create()
{
    m_manager = std::make_unique<VornSyncManager>(m_options.databasePath, m_options.trashRoot,
                                                  m_options.syncIntervalMs, m_options.patterns);
    connectSignals();
}

bool Host::registerPairs()
{
    m_cycleCountAtStart = m_cycleWatch.count();
    for (const auto& [alias, pair] : m_pairs) {
        if (!m_manager->addDirectory(alias, pair->localPath(), pair->distantPath()))
            return false;
    }
    return m_manager->addDirectory(kCycleAlias, m_cyclePair.localPath(), m_cyclePair.distantPath());
}

void Host::stop()
{
    m_manager.reset();
}

bool Host::restart()
{
    stop();
    return start();
}

bool Host::addPair(const QString& alias)
{
    m_pairs[alias] = std::make_unique<Pair>();
    return !m_manager || m_manager->addDirectory(alias, pair(alias).localPath(), pair(alias).distantPath());
}

void Host::connectSignals()
{
    connect(m_manager.get(), &VornSyncManager::syncStarted, this,
            [this](const QString& filePath) { m_started << filePath; });
    connect(
        m_manager.get(), &VornSyncManager::syncCompleted, this,
        [this](const QString& filePath, bool succeeded) { m_completed << qMakePair(filePath, succeeded); });
    connect(m_manager.get(), &VornSyncManager::idleChanged, this,
            [this](bool idle) { m_idleChanges << idle; });
    connect(m_manager.get(), &VornSyncManager::errorOccurred, this,
            [this](const QString& message) { m_errors << message; });
    connect(m_manager.get(), &VornSyncManager::countersChanged, this, &Host::noteErrorFiles);
}

void Host::noteErrorFiles()
{
    // Not one that is being deleted while its last signals come.
    if (!m_manager)
        return;
    for (const QVariant& value : m_manager->errorFiles()) {
        const QVariantMap entry = value.toMap();
        const QString text = entry.value(QStringLiteral("fileName")).toString() + QLatin1Char('/') +
                             entry.value(QStringLiteral("errorCode")).toString();
        if (!m_seenErrorFiles.contains(text))
            m_seenErrorFiles << text;
    }
}

// --- What the signals said ------------------------------------------------------------------------------

int Host::completedCount(const QString& filePath) const
{
    return int(std::count_if(m_completed.cbegin(), m_completed.cend(),
                             [&](const QPair<QString, bool>& entry) { return entry.first == filePath; }));
}

QStringList Host::takeErrors()
{
    const QStringList result = m_errors;
    m_errors.clear();
    return result;
}

bool Host::hasError(const QString& text) const
{
    return m_errors.contains(text);
}

QStringList Host::unexpectedErrors() const
{
    QStringList result;
    for (const QString& error : m_errors) {
        const bool isExpected = std::any_of(m_expectedErrors.cbegin(), m_expectedErrors.cend(),
                                            [&](const QString& part) { return error.contains(part); });
        if (!isExpected)
            result << error;
    }
    return result;
}

// --- The database, from outside -------------------------------------------------------------------------

int Host::directoryId(const QString& alias)
{
    const QVariant id =
        m_raw.value(QStringLiteral("SELECT id FROM directories WHERE alias_name = ?"), {alias});
    return id.isValid() ? id.toInt() : -1;
}

bool Host::age(const QString& fileName)
{
    const QString anHourAgo = isoTime(QDateTime::currentDateTimeUtc().addSecs(-3600));
    return m_raw.exec(QStringLiteral("UPDATE file_tracking SET status_changed_at = ? WHERE file_name = ?"),
                      {anHourAgo, fileName});
}

QVariantMap Host::row(const QString& fileName, const QString& alias)
{
    return m_raw.fileRow(directoryId(alias), fileName);
}

int Host::status(const QString& fileName, const QString& alias)
{
    const QVariantMap found = row(fileName, alias);
    return found.isEmpty() ? -1 : found.value(QStringLiteral("status")).toInt();
}

// --- Waiting --------------------------------------------------------------------------------------------

bool Host::awaitCycles(int count, int timeoutMs)
{
    // One pass over the empty pair begins the span and one ends it; its start timer may add one of its own.
    const int last = m_cycleWatch.count() + count + 2;
    while (m_cycleWatch.count() < last) {
        const int seen = m_cycleWatch.count();
        if (m_options.syncIntervalMs >= kNoCyclesMs)
            m_manager->requestSync();
        if (!waitFor([&] { return m_cycleWatch.count() > seen; }, timeoutMs))
            return false;
    }
    return true;
}

QString Host::settle(int timeoutMs)
{
    if (!m_manager)
        return QStringLiteral("there is no manager");
    QString open;
    if (waitFor(
            [&] {
                open = openWork();
                return open.isEmpty();
            },
            timeoutMs))
        return QString();
    return open + QStringLiteral("; errors so far: ") + m_errors.join(QLatin1String(" | "));
}

QString Host::openWork()
{
    // The empty pair is the last to start.
    if (m_cycleWatch.count() == m_cycleCountAtStart)
        return QStringLiteral("the pairs have not started");
    if (!m_manager->isIdle() || m_manager->inProgressCount() != 0)
        return QStringLiteral("%1 operations run").arg(m_manager->inProgressCount());
    if (m_manager->pendingCount() != 0)
        return QStringLiteral("%1 files wait").arg(m_manager->pendingCount());
    for (const auto& [alias, pair] : m_pairs) {
        if (m_raw.directoryRow(directoryId(alias)).value(QStringLiteral("available")).toInt() != 1)
            return QStringLiteral("pair '%1' has not started").arg(alias);
    }
    for (const auto& [alias, pair] : m_pairs) {
        const QString rows = rowProblems(alias, *pair);
        if (!rows.isEmpty())
            return rows;
    }
    for (const auto& [alias, pair] : m_pairs) {
        const QString trees = pair->compareTrees(patternsOfUnmirrored(*pair));
        if (!trees.isEmpty())
            return trees;
    }
    // A row is written before the manager hears of it, and the looks above take their time.
    return counterProblems();
}

bool Host::isMirrored(const QString& fileName) const
{
    if (m_leftOut.contains(fileName))
        return false;
    return std::none_of(m_options.patterns.cbegin(), m_options.patterns.cend(), [&](const QString& pattern) {
        const QRegularExpression expression(QRegularExpression::wildcardToRegularExpression(pattern),
                                            QRegularExpression::CaseInsensitiveOption);
        return expression.isValid() && expression.match(fileName).hasMatch();
    });
}

// The comparison of trees takes wildcards: each of these matches one name.
QStringList Host::patternsOfUnmirrored(const Pair& pair) const
{
    static const QRegularExpression special(QStringLiteral("([*?[])"));
    QStringList result;
    for (const QString& fileName : QDir(pair.localPath()).entryList(QDir::Files)) {
        if (!isMirrored(fileName))
            result << QString(fileName).replace(special, QStringLiteral("[\\1]"));
    }
    return result;
}

QString Host::rowProblems(const QString& alias, const Pair& pair)
{
    const auto rows = m_raw.rows(
        QStringLiteral("SELECT f.* FROM file_tracking f JOIN directories d ON d.id = f.directories_id "
                       "WHERE d.alias_name = ?"),
        {alias});
    if (!m_raw.lastError().isEmpty())
        return m_raw.lastError();
    std::map<QString, QVariantMap> byName;
    for (const QVariantMap& row : rows)
        byName[row.value(QStringLiteral("file_name")).toString()] = row;

    // What is mirrored is asked of the one that compares the trees.
    for (const QString& fileName : QDir(pair.localPath()).entryList(QDir::Files)) {
        const auto it = byName.find(fileName);
        const QString problem = rowProblem(fileName, pair, it == byName.end() ? QVariantMap() : it->second);
        if (!problem.isEmpty())
            return problem;
        if (it != byName.end())
            byName.erase(it);
    }
    for (const auto& [fileName, row] : byName) {
        const int status = row.value(QStringLiteral("status")).toInt();
        if (status != kTrashed && status != kDeleted && !m_leftOut.contains(fileName))
            return QStringLiteral("a row without a local file: ") + describe(row);
    }
    return QString();
}

QString Host::rowProblem(const QString& fileName, const Pair& pair, const QVariantMap& row) const
{
    if (!isMirrored(fileName))
        return row.isEmpty() || m_leftOut.contains(fileName)
                   ? QString()
                   : QStringLiteral("an excluded file has a row: ") + describe(row);
    if (row.isEmpty())
        return QStringLiteral("'%1' has no row").arg(fileName);
    const QFileInfo local(pair.local().filePath(fileName));
    const QString changedAt = row.value(QStringLiteral("status_changed_at")).toString();
    const bool isRight =
        row.value(QStringLiteral("status")).toInt() == kUpToDate &&
        row.value(QStringLiteral("error_code")).toInt() == 0 &&
        row.value(QStringLiteral("size")).toLongLong() == local.size() &&
        isTimeOf(local.filePath(), row.value(QStringLiteral("local_lmd"))) &&
        isTimeOf(pair.distant().filePath(fileName), row.value(QStringLiteral("distant_lmd"))) &&
        row.value(QStringLiteral("trashed_date")).isNull() &&
        // A row of an older generation has none.
        (changedAt.isEmpty() || QDateTime::fromString(changedAt, Qt::ISODate).isValid());
    if (isRight)
        return QString();
    return QStringLiteral("'%1' (%2 bytes, local %3, distant %4) has the row: %5")
        .arg(fileName, QString::number(local.size()), isoTime(local.lastModified()),
             isoTime(pair.distant().lmd(fileName)), describe(row));
}

// --- At rest --------------------------------------------------------------------------------------------

QString Host::restProblems()
{
    QStringList problems;
    const auto add = [&problems](const QString& problem) {
        if (!problem.isEmpty())
            problems << problem;
    };
    // A file that changed while it was sent is sent again as soon as its copy is recorded; a cycle comes after that.
    if (!awaitCycles(1))
        add(QStringLiteral("no cycle came by"));
    add(settle());
    for (const auto& [alias, pair] : m_pairs)
        problems << pair->temporaryFiles();
    add(counterProblems());
    add(m_raw.integrityProblems());

    const QStringList before = snapshot();
    const auto startedBefore = m_started.size();
    if (!awaitCycles(2))
        add(QStringLiteral("no further cycle came by"));
    add(firstDifference(before, snapshot()));
    if (m_started.size() != startedBefore)
        add(QStringLiteral("a further cycle sent: ") + m_started.last());
    add(openWork());
    add(messageProblems());
    return problems.join(QLatin1String("; "));
}

QString Host::counterProblems()
{
    const auto count = [this](const char* where) {
        return m_raw.value(QStringLiteral("SELECT COUNT(*) FROM file_tracking WHERE ") + QLatin1String(where))
            .toInt();
    };
    const int pending = count("status IN (0, 18, 34, 66)");
    const int errors = count("(status & 128) != 0 AND error_code != 0");
    const int done = count("status = 17");
    if (m_manager->pendingCount() == pending && m_manager->errorCount() == errors &&
        m_manager->doneCount() == done && m_manager->errorFiles().size() == errors)
        return QString();
    return QStringLiteral(
               "counters: %1 wait, %2 in error (%3 listed), %4 done; the database holds %5, %6, %7")
        .arg(QString::number(m_manager->pendingCount()), QString::number(m_manager->errorCount()),
             QString::number(m_manager->errorFiles().size()), QString::number(m_manager->doneCount()),
             QString::number(pending), QString::number(errors), QString::number(done));
}

QString Host::messageProblems() const
{
    QStringList messages = unexpectedErrors();
    if (!m_areCriticalsExpected)
        messages += m_trace.criticals();
    if (!m_areWarningsExpected)
        messages += m_trace.warnings();
    return messages.isEmpty() ? QString()
                              : QStringLiteral("messages: ") + messages.join(QLatin1String(" | "));
}

QStringList Host::snapshot()
{
    QStringList result;
    for (const QVariantMap& row : m_raw.rows(QStringLiteral("SELECT * FROM file_tracking")))
        result << describe(row);
    for (const QVariantMap& row : m_raw.rows(QStringLiteral("SELECT * FROM directories")))
        result << describe(row);
    for (const auto& [alias, pair] : m_pairs)
        result << describeFiles(pair->local()) << describeFiles(pair->distant());
    result << describeFiles(Side(trashRoot()));
    return result;
}

} // namespace VornSyncTest
