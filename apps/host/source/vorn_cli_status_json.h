#pragma once

#include "vorn_cli_types.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QVariantList>

// The state of a mirror as data, alike whether a host tells it or the database is read. Any thread.
namespace VornCliStatusJson {

QJsonObject status(const VornCliCounters& counters, const QVector<VornCliPairStatus>& pairs);
QJsonArray recent(const QVariantList& events);

// As many as an answer may hold; "count" is the number of all.
QJsonObject errors(const QVector<VornCliFileError>& errors);
QVector<VornCliFileError> readErrors(const QJsonObject& object);

} // namespace VornCliStatusJson
