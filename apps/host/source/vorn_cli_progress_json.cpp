#include "vorn_cli_progress_json.h"

#include <QJsonArray>

namespace {

const QLatin1String kAliasKey("alias");
const QLatin1String kFileKey("file");
const QLatin1String kNotesKey("notes");
const QLatin1String kNotesReadableKey("notes_readable");
const QLatin1String kPairsKey("pairs");
const QLatin1String kProgressKey("progress");
const QLatin1String kQueueKey("queue");
const QLatin1String kSinceKey("since");

QJsonValue time(qint64 secs)
{
    return secs == 0 ? QJsonValue(QJsonValue::Null) : QJsonValue(secs);
}

qint64 readTime(const QJsonObject& object, QLatin1String key)
{
    return static_cast<qint64>(object.value(key).toDouble());
}

QJsonArray waits(const QVector<VornCliFileWait>& files)
{
    QJsonArray array;
    for (const VornCliFileWait& wait : files)
        array.append(QJsonObject{{kFileKey, wait.name},
                                 {QStringLiteral("status"), wait.status},
                                 {QStringLiteral("code"), wait.code},
                                 {kSinceKey, time(wait.since)},
                                 {QStringLiteral("tries"), wait.tries}});
    return array;
}

QJsonArray deferrals(const VornCliPairProgress& pair)
{
    QJsonArray array;
    for (const VornCliFileDeferral& deferral : pair.deferrals)
        array.append(QJsonObject{{kFileKey, deferral.name},
                                 {kSinceKey, time(deferral.since)},
                                 {QStringLiteral("times"), deferral.times},
                                 {QStringLiteral("reason"), QStringLiteral("side_car")}});
    return array;
}

QJsonObject toObject(const VornCliPairProgress& pair)
{
    return {{kSinceKey, time(pair.since)},
            {QStringLiteral("interval_ms"), pair.intervalMs},
            {QStringLiteral("saturated"), time(pair.saturated)},
            {QStringLiteral("local_listed"), time(pair.localListed)},
            {QStringLiteral("distant_listed"), time(pair.distantListed)},
            {QStringLiteral("verified"), time(pair.verified)},
            {QStringLiteral("unexamined_count"), pair.unexaminedFiles},
            {QStringLiteral("unexamined_file"), pair.unexaminedName},
            {QStringLiteral("unexamined_since"), time(pair.unexaminedSince)},
            {QStringLiteral("unanswered_count"), pair.unansweredFiles},
            {QStringLiteral("unanswered_file"), pair.unansweredName},
            {QStringLiteral("in_error_count"), pair.errorCount},
            {QStringLiteral("in_error"), waits(pair.errors)},
            {QStringLiteral("waiting_count"), pair.waitCount},
            {QStringLiteral("waiting"), waits(pair.waits)},
            {QStringLiteral("deferred_count"), pair.deferralCount},
            {QStringLiteral("deferred"), deferrals(pair)}};
}

QVector<VornCliFileWait> readWaits(const QJsonObject& object, QLatin1String key)
{
    QVector<VornCliFileWait> waits;
    const QJsonArray array = object.value(key).toArray();
    for (const QJsonValue& value : array) {
        const QJsonObject entry = value.toObject();
        waits.append({entry.value(kFileKey).toString(), entry.value(QLatin1String("status")).toInt(),
                      entry.value(QLatin1String("code")).toInt(), readTime(entry, kSinceKey),
                      entry.value(QLatin1String("tries")).toInt()});
    }
    return waits;
}

VornCliPairProgress readPair(const QJsonObject& object)
{
    VornCliPairProgress pair;
    pair.isNoted = true;
    pair.since = readTime(object, kSinceKey);
    pair.intervalMs = object.value(QLatin1String("interval_ms")).toInt();
    pair.saturated = readTime(object, QLatin1String("saturated"));
    pair.localListed = readTime(object, QLatin1String("local_listed"));
    pair.distantListed = readTime(object, QLatin1String("distant_listed"));
    pair.verified = readTime(object, QLatin1String("verified"));
    pair.unexaminedFiles = object.value(QLatin1String("unexamined_count")).toInt();
    pair.unexaminedName = object.value(QLatin1String("unexamined_file")).toString();
    pair.unexaminedSince = readTime(object, QLatin1String("unexamined_since"));
    pair.unansweredFiles = object.value(QLatin1String("unanswered_count")).toInt();
    pair.unansweredName = object.value(QLatin1String("unanswered_file")).toString();
    pair.errorCount = object.value(QLatin1String("in_error_count")).toInt();
    pair.errors = readWaits(object, QLatin1String("in_error"));
    pair.waitCount = object.value(QLatin1String("waiting_count")).toInt();
    pair.waits = readWaits(object, QLatin1String("waiting"));
    pair.deferralCount = object.value(QLatin1String("deferred_count")).toInt();
    const QJsonArray deferrals = object.value(QLatin1String("deferred")).toArray();
    for (const QJsonValue& value : deferrals) {
        const QJsonObject entry = value.toObject();
        pair.deferrals.append({entry.value(kFileKey).toString(), readTime(entry, kSinceKey),
                               entry.value(QLatin1String("times")).toInt()});
    }
    return pair;
}

} // namespace

namespace VornCliProgressJson {

void add(const VornCliProgress& progress, QJsonObject* status)
{
    status->insert(kNotesReadableKey, progress.isReadable);
    status->insert(kNotesKey, progress.isNoted);
    if (!progress.isReadable || !progress.isNoted)
        return;
    status->insert(kQueueKey, QJsonObject{{QStringLiteral("files"), progress.queuedFiles},
                                          {QStringLiteral("bytes"), progress.queuedBytes},
                                          {QStringLiteral("up_to_date"), progress.upToDateFiles}});
    QJsonArray pairs = status->value(kPairsKey).toArray();
    for (int i = 0; i < pairs.size(); ++i) {
        QJsonObject pair = pairs.at(i).toObject();
        const auto found = progress.pairs.constFind(pair.value(kAliasKey).toString());
        const bool isNoted = found != progress.pairs.cend() && found->isNoted;
        pair.insert(kProgressKey, isNoted ? QJsonValue(toObject(*found)) : QJsonValue(QJsonValue::Null));
        pairs.replace(i, pair);
    }
    status->insert(kPairsKey, pairs);
}

VornCliProgress read(const QJsonObject& status)
{
    VornCliProgress progress;
    progress.isReadable = status.value(kNotesReadableKey).toBool(true); // an older host does not say
    progress.isNoted = status.value(kNotesKey).toBool();
    const QJsonObject queue = status.value(kQueueKey).toObject();
    progress.queuedFiles = queue.value(QLatin1String("files")).toInt();
    progress.queuedBytes = static_cast<qint64>(queue.value(QLatin1String("bytes")).toDouble());
    progress.upToDateFiles = queue.value(QLatin1String("up_to_date")).toInt();
    const QJsonArray pairs = status.value(kPairsKey).toArray();
    for (const QJsonValue& value : pairs) {
        const QJsonObject pair = value.toObject();
        const QJsonValue notes = pair.value(kProgressKey);
        progress.pairs.insert(pair.value(kAliasKey).toString(),
                              notes.isObject() ? readPair(notes.toObject()) : VornCliPairProgress());
    }
    return progress;
}

} // namespace VornCliProgressJson
