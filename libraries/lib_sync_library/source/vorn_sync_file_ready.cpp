#include "vorn_sync_file_ready.h"

#include "vorn_sync_database.h"
#include "vorn_sync_log.h"

#include <QFileInfo>

namespace VornSyncFileReady {

namespace {

void trace(const QString& text)
{
    VORN_SYNC_TRACE("Mngr: ", "requestFileReady", text);
}

QString yesNo(bool exists)
{
    return exists ? QStringLiteral("Y") : QStringLiteral("N");
}

bool isLater(const QDateTime& time, const QDateTime& recorded)
{
    return recorded.isValid() && recorded.msecsTo(time) > kToleranceMs;
}

QDateTime timeOf(const VornSyncFileFacts& facts)
{
    constexpr qint64 kMsPerSec = 1000;
    constexpr qint64 kNsPerMs = 1000000;
    return QDateTime::fromMSecsSinceEpoch(facts.lmdSecs * kMsPerSec + facts.lmdNanosecs / kNsPerMs, Qt::UTC);
}

// A local file that can't be looked at may be there, with changes that nobody has sent: it is used as it is. Qt calls a
// dangling link missing.
bool mayExist(const VornSyncFileFacts& local, const QString& path)
{
    if (local.presence == VornSyncPresence::Present)
        return local.isPlainFile || QFileInfo::exists(path);
    return local.presence == VornSyncPresence::Unknown;
}

VornSyncFileReadyFacts gather(VornSyncDatabase& database, int directoryId, const QString& localDirectory,
                              const VornSyncFileFacts& local, const QFileInfo& distant)
{
    VornSyncFileReadyFacts facts;
    facts.localExists = mayExist(local, localDirectory + QLatin1Char('/') + distant.fileName());
    facts.distantExists = distant.exists();
    if (!facts.localExists || !facts.distantExists || !local.isPlainFile)
        return facts;
    facts.localLmd = timeOf(local);
    facts.distantLmd = distant.lastModified();
    QVariantMap record;
    facts.hasRecord =
        database.getFileInfo(record, distant.fileName(), localDirectory, VornSyncDatabase::LocalPath);
    const auto recordedTime = [&record](const QString& key) {
        return QDateTime::fromString(record.value(key).toString(), Qt::ISODate);
    };
    facts.isTombstoned =
        facts.hasRecord && VornSyncTypes::isTombstoned(record.value(QStringLiteral("status")).toInt());
    facts.recordedLocalLmd = recordedTime(QStringLiteral("localLmd"));
    facts.recordedDistantLmd = recordedTime(QStringLiteral("distantLmd"));
    VornSyncFileRow row;
    bool isFound = false;
    if (database.readFileRow(directoryId, distant.fileName(), row, isFound) && isFound)
        facts.isMarkedNewer = row.isDistantNewer && row.markedLocalSize == local.size &&
                              row.markedLocalLmdSecs == local.lmdSecs;
    return facts;
}

QString verdictText(VornSyncFileReadyVerdict verdict)
{
    switch (verdict) {
    case VornSyncFileReadyVerdict::NotFound:
        return QStringLiteral("File not found anywhere");
    case VornSyncFileReadyVerdict::CopyOnlyDistant:
        return QStringLiteral("Only distant exists, copying to local");
    case VornSyncFileReadyVerdict::UseOnlyLocal:
        return QStringLiteral("Only local exists, using local");
    case VornSyncFileReadyVerdict::UseUnrecorded:
        return QStringLiteral("No sync record, using local");
    case VornSyncFileReadyVerdict::CopyNewerDistant:
        return QStringLiteral("Distant is newer (another ZEL modified it), copying to local");
    case VornSyncFileReadyVerdict::UseLocal:
        return QStringLiteral("Local is up to date or modified locally, using local");
    }
    return QString();
}

VornSyncFileReadyPlan::Action actionOf(VornSyncFileReadyVerdict verdict)
{
    switch (verdict) {
    case VornSyncFileReadyVerdict::NotFound:
        return VornSyncFileReadyPlan::AnswerMissing;
    case VornSyncFileReadyVerdict::CopyOnlyDistant:
    case VornSyncFileReadyVerdict::CopyNewerDistant:
        return VornSyncFileReadyPlan::Copy;
    case VornSyncFileReadyVerdict::UseOnlyLocal:
    case VornSyncFileReadyVerdict::UseUnrecorded:
    case VornSyncFileReadyVerdict::UseLocal:
        return VornSyncFileReadyPlan::AnswerFound;
    }
    return VornSyncFileReadyPlan::AnswerMissing;
}

} // namespace

VornSyncFileReadyVerdict decide(const VornSyncFileReadyFacts& facts)
{
    if (!facts.localExists && !facts.distantExists)
        return VornSyncFileReadyVerdict::NotFound;
    if (!facts.localExists)
        return VornSyncFileReadyVerdict::CopyOnlyDistant;
    if (!facts.distantExists)
        return VornSyncFileReadyVerdict::UseOnlyLocal;
    if (!facts.hasRecord)
        return VornSyncFileReadyVerdict::UseUnrecorded;
    const bool isDistantNewer = facts.isMarkedNewer || isLater(facts.distantLmd, facts.recordedDistantLmd);
    // The times of a file that is gone say nothing about the one that came after it.
    const bool isLocalChanged = facts.isTombstoned || isLater(facts.localLmd, facts.recordedLocalLmd);
    if (isDistantNewer && !isLocalChanged)
        return VornSyncFileReadyVerdict::CopyNewerDistant;
    return VornSyncFileReadyVerdict::UseLocal;
}

VornSyncFileReadyPlan examine(VornSyncDatabase& database, const QString& filePath)
{
    VornSyncFileReadyPlan plan;
    const QFileInfo distant(filePath);
    const QString fileName = distant.fileName();
    if (VornSyncTypes::isValidFileName(fileName))
        plan.directoryId = database.getDirectoryIdByDistantPath(distant.absolutePath());
    if (plan.directoryId < 0) {
        trace(QStringLiteral("Not a synced directory, using path as-is: ") + filePath);
        plan.path = filePath;
        plan.action =
            distant.exists() ? VornSyncFileReadyPlan::AnswerFound : VornSyncFileReadyPlan::AnswerMissing;
        return plan;
    }
    const QString localDirectory = database.getDirectoryLocalPath(plan.directoryId);
    if (localDirectory.isEmpty()) { // it can't be read now: nothing may be copied to no directory
        plan.path = filePath;
        return plan;
    }
    plan.path = localDirectory + QLatin1Char('/') + fileName;
    plan.local = VornSyncFiles::facts(plan.path);
    const VornSyncFileReadyFacts facts =
        gather(database, plan.directoryId, localDirectory, plan.local, distant);
    trace(QStringLiteral("Synced directory (id=%1), local=%2 (exists=%3), distant=%4 (exists=%5)")
              .arg(QString::number(plan.directoryId), plan.path, yesNo(facts.localExists), filePath,
                   yesNo(facts.distantExists)));
    const VornSyncFileReadyVerdict verdict = decide(facts);
    trace(verdictText(verdict));
    plan.action = actionOf(verdict);
    return plan;
}

} // namespace VornSyncFileReady
