#pragma once

#include "vorn_cli_types.h"

#include <QString>
#include <QStringList>

// The sentences for people, in the language of the catalogue in force. Names in them are made printable.
namespace VornCliMessages {

QString state(const QString& path);
QString pairAdded(const VornCliPair& pair);
QString availability(const VornCliPair& pair, bool localThere, bool distantThere);
QString distantReplaced(const VornCliPair& pair, const QString& oldDistant);
QString localMissing(const VornCliPair& pair);
QString distantMissing(const VornCliPair& pair);
QString watchRefused(const VornCliPair& pair);
QString restarting();
QString stateFailed(const QString& path);

QString paused();
QString resumed();
QString pairSuspended(const VornCliPair& pair);
QString pairResumed(const VornCliPair& pair);
QString pairForgotten(const VornCliPair& pair);
QString resetting();
QString commandsRefused(const QString& reason);

QString completed(const VornCliFile& file);
QString failed(const VornCliFile& file);
QString progress(const VornCliCounters& counters);

QString fileBusy(const QString& alias, const QString& name);
QString fileUnreadable(const QString& alias, const QString& name);
QString listingFailed(const VornCliPair& pair);
QString namesSkipped(const VornCliPair& pair, int count);
QString unconfirmed(int count);

QString outcome(const VornCliSummary& summary);
QStringList troubles(const VornCliSummary& summary); // errors and remarks, a line each; empty: none

} // namespace VornCliMessages
