#include "vorn_cli_state_reader.h"

#include "vorn_cli_cycle_probe.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTemporaryDir>

#include <algorithm>
#include <iterator>

namespace {

constexpr int kCopyAttempts = 5; // a host that starts meanwhile may write into the copy's originals

// Numbers of the database file, which never change.
constexpr int kUnknownStatus = 0;
constexpr int kUpToDateStatus = 17;
constexpr int kTrashedStatus = 33;
constexpr int kDeletedStatus = 40;
constexpr int kPendingStatuses[] = {kUnknownStatus, 18, 34, 66};
constexpr int kWantedOrRunningBits = 0x06;
constexpr int kErrorBit = 0x80;

constexpr int kNoteTables = 3;
constexpr int kMostNamed = 100;      // files of a kind and a pair that are named
constexpr int kMostMeasured = 10000; // files whose size is asked for: an answer must not take long

const char* const kSuffixes[] = {"", "-wal"};

// Size and time of the database and its log, which tell whether somebody wrote while they were copied.
QVector<QPair<qint64, qint64>> fingerprint(const QString& databasePath)
{
    QVector<QPair<qint64, qint64>> print;
    for (const char* suffix : kSuffixes) {
        const QFileInfo info(databasePath + QLatin1String(suffix));
        print.append({info.exists() ? info.size() : -1, info.lastModified().toMSecsSinceEpoch()});
    }
    return print;
}

bool copyIfThere(const QString& from, const QString& to)
{
    QFile::remove(to);
    return !QFileInfo::exists(from) || QFile::copy(from, to);
}

} // namespace

VornCliStateReader::VornCliStateReader(const QString& databasePath, Owner owner)
{
    switch (owner) {
    case Owner::Running:
        m_path = databasePath;
        break;
    case Owner::Nobody:
        if (takeCopy(databasePath))
            m_path = m_copy->filePath(QStringLiteral("state.db"));
        break;
    }
}

VornCliStateReader::~VornCliStateReader() = default;

bool VornCliStateReader::isReadable() const
{
    return select(QStringLiteral("SELECT COUNT(*) FROM file_tracking"), {}, [](const QVariantList&) {});
}

VornCliStateReader::Standing VornCliStateReader::standing(const QString& alias, const QString& name) const
{
    Standing standing = Standing::Untracked;
    const bool isRead =
        select(QStringLiteral("SELECT ft.status FROM file_tracking ft INNER JOIN directories d ON d.id = "
                              "ft.directories_id WHERE d.alias_name = ? AND ft.file_name = ?"),
               {alias, name}, [&standing](const QVariantList& row) {
                   const int status = row.constFirst().toInt();
                   if (status == kTrashedStatus || status == kDeletedStatus)
                       return;
                   standing = (status & kWantedOrRunningBits) ? Standing::Busy : Standing::Settled;
               });
    return isRead ? standing : Standing::Unreadable;
}

bool VornCliStateReader::counters(VornCliCounters* counters) const
{
    return select(QStringLiteral("SELECT ft.status, COUNT(*) FROM file_tracking ft INNER JOIN directories d "
                                 "ON d.id = ft.directories_id WHERE d.alias_name <> ? GROUP BY ft.status"),
                  {VornCliCycleProbe::reservedAlias()}, [counters](const QVariantList& row) {
                      const int status = row.at(0).toInt();
                      const int files = row.at(1).toInt();
                      if (status & kErrorBit)
                          counters->errors += files;
                      else if (status == kUpToDateStatus)
                          counters->done += files;
                      else if (std::find(std::begin(kPendingStatuses), std::end(kPendingStatuses), status) !=
                               std::end(kPendingStatuses))
                          counters->pending += files;
                  });
}

bool VornCliStateReader::errors(QVector<VornCliFileError>* errors) const
{
    return select(QStringLiteral("SELECT d.alias_name, ft.file_name, ft.error_code, ft.status FROM "
                                 "file_tracking ft INNER JOIN directories d ON d.id = ft.directories_id "
                                 "WHERE (ft.status & ?) <> 0 AND d.alias_name <> ? ORDER BY d.alias_name, "
                                 "ft.file_name"),
                  {kErrorBit, VornCliCycleProbe::reservedAlias()}, [errors](const QVariantList& row) {
                      VornCliFileError error;
                      error.alias = row.at(0).toString();
                      error.name = row.at(1).toString();
                      error.code = row.at(2).toInt();
                      error.status = row.at(3).toInt();
                      errors->append(error);
                  });
}

bool VornCliStateReader::pairs(QVector<VornCliPair>* pairs) const
{
    return select(QStringLiteral("SELECT alias_name, local_path, distant_path FROM directories WHERE "
                                 "alias_name <> ? ORDER BY id"),
                  {VornCliCycleProbe::reservedAlias()}, [pairs](const QVariantList& row) {
                      pairs->append({row.at(0).toString(), row.at(1).toString(), row.at(2).toString()});
                  });
}

// ---- Progress -------------------------------------------------------------------------------------------

bool VornCliStateReader::progress(VornCliProgress* progress) const
{
    int tables = 0;
    const bool isRead =
        select(QStringLiteral("SELECT COUNT(*) FROM sqlite_master WHERE type = 'table' AND name IN "
                              "('pair_progress', 'file_waits', 'file_deferrals')"),
               {}, [&tables](const QVariantList& row) { tables = row.constFirst().toInt(); });
    progress->isNoted = tables == kNoteTables;
    progress->isReadable =
        isRead && (!progress->isNoted || (pairProgress(progress) && waits(progress) && deferrals(progress)));
    return progress->isReadable;
}

bool VornCliStateReader::pairProgress(VornCliProgress* progress) const
{
    const QString sql = QStringLiteral(
        "SELECT d.alias_name, p.since, p.sync_interval_ms, p.local_listed_at, p.distant_listed_at, "
        "p.verified_at, p.unexamined_files, p.unexamined_name, p.unexamined_since, p.unanswered_files, "
        "p.unanswered_name, p.saturated_at, (SELECT COUNT(*) FROM file_tracking WHERE directories_id = d.id "
        "AND status = ?) "
        "FROM directories d INNER JOIN pair_progress p ON p.directories_id = d.id WHERE d.alias_name <> ?");
    return select(sql, {kUpToDateStatus, VornCliCycleProbe::reservedAlias()},
                  [progress](const QVariantList& row) {
                      VornCliPairProgress& pair = progress->pairs[row.at(0).toString()];
                      pair.isNoted = true;
                      pair.since = row.at(1).toLongLong();
                      pair.intervalMs = row.at(2).toInt();
                      pair.localListed = row.at(3).toLongLong();
                      pair.distantListed = row.at(4).toLongLong();
                      pair.verified = row.at(5).toLongLong();
                      pair.unexaminedFiles = row.at(6).toInt();
                      pair.unexaminedName = row.at(7).toString();
                      pair.unexaminedSince = row.at(8).toLongLong();
                      pair.unansweredFiles = row.at(9).toInt();
                      pair.unansweredName = row.at(10).toString();
                      pair.saturated = row.at(11).toLongLong();
                      progress->upToDateFiles += row.at(12).toInt();
                  });
}

// A row that nothing is noted of waits since its status was set.
bool VornCliStateReader::waits(VornCliProgress* progress) const
{
    const QString sql = QStringLiteral(
        "SELECT d.alias_name, ft.file_name, ft.status, COALESCE(NULLIF(ft.error_code, 0), w.last_error, 0), "
        "COALESCE(w.since, strftime('%s', "
        "ft.status_changed_at)) AS since, w.tries, d.local_path FROM file_tracking ft INNER JOIN directories "
        "d "
        "ON d.id = ft.directories_id LEFT JOIN file_waits w ON w.directories_id = ft.directories_id AND "
        "w.file_name = ft.file_name WHERE ft.status NOT IN (?, ?, ?) AND d.alias_name <> ? ORDER BY since, "
        "ft.file_name");
    return select(sql, {kUpToDateStatus, kTrashedStatus, kDeletedStatus, VornCliCycleProbe::reservedAlias()},
                  [progress](const QVariantList& row) {
                      VornCliPairProgress& pair = progress->pairs[row.at(0).toString()];
                      const VornCliFileWait wait{row.at(1).toString(), row.at(2).toInt(), row.at(3).toInt(),
                                                 row.at(4).toLongLong(), row.at(5).toInt()};
                      if (wait.status & kErrorBit) {
                          if (++pair.errorCount <= kMostNamed)
                              pair.errors.append(wait);
                          return;
                      }
                      if (++pair.waitCount <= kMostNamed)
                          pair.waits.append(wait);
                      if (++progress->queuedFiles <= kMostMeasured)
                          progress->queuedBytes +=
                              QFileInfo(row.at(6).toString() + QLatin1Char('/') + wait.name).size();
                  });
}

bool VornCliStateReader::deferrals(VornCliProgress* progress) const
{
    return select(
        QStringLiteral("SELECT d.alias_name, f.file_name, f.since, f.times FROM file_deferrals f "
                       "INNER JOIN directories d ON d.id = f.directories_id WHERE d.alias_name <> ? "
                       "ORDER BY f.since, f.file_name"),
        {VornCliCycleProbe::reservedAlias()}, [progress](const QVariantList& row) {
            VornCliPairProgress& pair = progress->pairs[row.at(0).toString()];
            if (++pair.deferralCount <= kMostNamed)
                pair.deferrals.append({row.at(1).toString(), row.at(2).toLongLong(), row.at(3).toInt()});
        });
}

// ---- Reading --------------------------------------------------------------------------------------------

bool VornCliStateReader::takeCopy(const QString& databasePath)
{
    m_copy = std::make_unique<QTemporaryDir>();
    if (!m_copy->isValid() || !QFileInfo::exists(databasePath))
        return false;
    for (int attempt = 0; attempt < kCopyAttempts; ++attempt) {
        const auto before = fingerprint(databasePath);
        bool isCopied = true;
        for (const char* suffix : kSuffixes) {
            const QString target = m_copy->filePath(QStringLiteral("state.db") + QLatin1String(suffix));
            isCopied = isCopied && copyIfThere(databasePath + QLatin1String(suffix), target);
        }
        if (isCopied && fingerprint(databasePath) == before)
            return true;
    }
    return false;
}

bool VornCliStateReader::select(const QString& sql, const QVariantList& values,
                                const std::function<void(const QVariantList&)>& take) const
{
    if (m_path.isEmpty())
        return false;
    const QString connection = QStringLiteral("vorn_cli_state_reader");
    bool isRead = false;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        database.setDatabaseName(m_path);
        if (!m_copy) // a copy may be written to: what a killed host left in the log is taken in
            database.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
        if (database.open()) {
            QSqlQuery query(database);
            query.setForwardOnly(true);
            isRead = query.prepare(sql);
            for (const QVariant& value : values)
                query.addBindValue(value);
            isRead = isRead && query.exec();
            while (isRead && query.next()) {
                QVariantList row;
                for (int column = 0; column < query.record().count(); ++column)
                    row.append(query.value(column));
                take(row);
            }
            isRead = isRead && !query.lastError().isValid();
        }
    }
    QSqlDatabase::removeDatabase(connection);
    return isRead;
}
