#pragma once

#include <QJsonObject>
#include <QString>

// Parts of the library, each measured by itself.
namespace EngineBench {

// A pass over the directory of a prepared root that finds nothing to do, after so many others.
QJsonObject pass(const QString& databasePath, int passesBefore);
// One file, as a copy task of the library sends it.
QJsonObject copy(const QString& source, const QString& destination);
// A state database of any generation is opened: the current schema is brought about.
QJsonObject open(const QString& databasePath);
// The manager's refresh of counters and error list, `rounds` times. Before each of them one row in error changes
// its code, unless `writer` is Nobody.
enum class Writer { Nobody, OwnProcess, OtherProcess };
QJsonObject refresh(const QString& databasePath, Writer writer, int rounds);

} // namespace EngineBench
