#pragma once

#include "test_cli_support.h"

#include "literals.h"
#include "pair.h"
#include "raw_database.h"

#include <QJsonArray>
#include <QJsonObject>

namespace VornSyncTest {

// Keys of a JSON object.
inline QLatin1String operator""_l(const char* text, std::size_t length)
{
    return QLatin1String(text, int(length));
}

// A running mirror of one pair, "docs", and commands to it. Its cycle never comes round by itself: what happens
// was asked for.
struct CliHost
{
    CliWorld world;
    Side local{world.makeDirectory(QStringLiteral("local"))};
    Side distant{world.makeDirectory(QStringLiteral("distant"))};
    QString state = world.statePath();
    CliProcess process;

    bool start(const QStringList& options = QStringList());
    bool isMirrored(const QString& name) const; // both sides have the same content
    // Writes the files, starts, and waits until all are mirrored and recorded.
    bool startWith(const QStringList& names);

    // "vorn_sync COMMAND --state STATE" and the rest.
    CliResult run(const QStringList& words) const;
    QJsonObject json(const QStringList& words) const; // with --json; empty when that wrote no single object
    QJsonObject statusJson() const { return json({QStringLiteral("status")}); }
    QJsonObject errorJson(const QString& name) const; // of "errors"; empty: not in error

    // Asks for cycles until the file has that error.
    bool syncUntilError(const QString& name, int code) const;

    RawDatabase database() const { return RawDatabase(state + QStringLiteral("/state.db")); }
    int statusOf(const QString& name) const; // -1: no row
    Side trash() const { return Side(state + QStringLiteral("/trash/docs")); }
};

// Every entry below, with kind, size and time, to tell whether anything was touched.
QStringList snapshot(const QString& directory);

} // namespace VornSyncTest
