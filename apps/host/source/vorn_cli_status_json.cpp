#include "vorn_cli_status_json.h"

#include "vorn_cli_protocol.h"

#include <QVariantMap>

namespace {

// A character of a name takes six bytes at most, the rest of an entry less than this.
constexpr int kBytesPerCharacter = 6;
constexpr int kBytesBesideNames = 100;
constexpr int kMostBytes = VornCliProtocol::kMaxAnswerBytes - 64 * 1024;

} // namespace

namespace VornCliStatusJson {

QJsonObject status(const VornCliCounters& counters, const QVector<VornCliPairStatus>& pairs)
{
    QJsonArray array;
    for (const VornCliPairStatus& status : pairs) {
        array.append(QJsonObject{{QStringLiteral("alias"), status.pair.alias},
                                 {QStringLiteral("local"), status.pair.local},
                                 {QStringLiteral("distant"), status.pair.distant},
                                 {QStringLiteral("local_there"), status.localThere},
                                 {QStringLiteral("distant_there"), status.distantThere},
                                 {QStringLiteral("suspended"), status.suspended}});
    }
    return {{QStringLiteral("counters"), QJsonObject{{QStringLiteral("in_progress"), counters.inProgress},
                                                     {QStringLiteral("pending"), counters.pending},
                                                     {QStringLiteral("errors"), counters.errors},
                                                     {QStringLiteral("done"), counters.done}}},
            {QStringLiteral("pairs"), array}};
}

QJsonArray recent(const QVariantList& events)
{
    QJsonArray array;
    for (const QVariant& event : events) {
        const QVariantMap map = event.toMap();
        array.append(
            QJsonObject{{QStringLiteral("path"), map.value(QStringLiteral("filePath")).toString()},
                        {QStringLiteral("file"), map.value(QStringLiteral("fileName")).toString()},
                        {QStringLiteral("ok"), map.value(QStringLiteral("succeeded")).toBool()},
                        {QStringLiteral("time"), map.value(QStringLiteral("timestamp")).toString()}});
    }
    return array;
}

QJsonObject errors(const QVector<VornCliFileError>& errors)
{
    QJsonArray array;
    int bytes = 0;
    for (const VornCliFileError& error : errors) {
        bytes += kBytesBesideNames + kBytesPerCharacter * int(error.alias.size() + error.name.size());
        if (bytes > kMostBytes)
            break;
        array.append(QJsonObject{{QStringLiteral("alias"), error.alias},
                                 {QStringLiteral("file"), error.name},
                                 {QStringLiteral("code"), error.code},
                                 {QStringLiteral("status"), error.status}});
    }
    return {{VornCliProtocol::kCountKey, errors.size()}, {QStringLiteral("errors"), array}};
}

QVector<VornCliFileError> readErrors(const QJsonObject& object)
{
    QVector<VornCliFileError> errors;
    const QJsonArray array = object.value(QStringLiteral("errors")).toArray();
    for (const QJsonValue& value : array) {
        const QJsonObject entry = value.toObject();
        VornCliFileError error;
        error.alias = entry.value(QStringLiteral("alias")).toString();
        error.name = entry.value(QStringLiteral("file")).toString();
        error.code = entry.value(QStringLiteral("code")).toInt();
        error.status = entry.value(QStringLiteral("status")).toInt();
        errors.append(error);
    }
    return errors;
}

} // namespace VornCliStatusJson
