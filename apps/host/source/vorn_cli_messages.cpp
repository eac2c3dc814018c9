#include "vorn_cli_messages.h"

#include "vorn_cli_text.h"

#include <QCoreApplication>

using VornCliText::printable;

namespace VornCliMessages {

QString state(const QString& path)
{
    return qtTrId("vorn_sync_state").arg(printable(path));
}

QString pairAdded(const VornCliPair& pair)
{
    return qtTrId("vorn_sync_pair")
        .arg(printable(pair.alias), printable(pair.local), printable(pair.distant));
}

QString availability(const VornCliPair& pair, bool localThere, bool distantThere)
{
    if (!localThere)
        return localMissing(pair);
    if (!distantThere)
        return distantMissing(pair);
    return qtTrId("vorn_sync_pair_available").arg(printable(pair.alias));
}

QString distantReplaced(const VornCliPair& pair, const QString& oldDistant)
{
    return qtTrId("vorn_sync_distant_replaced")
        .arg(printable(pair.alias), printable(pair.distant), printable(oldDistant));
}

QString localMissing(const VornCliPair& pair)
{
    return qtTrId("vorn_sync_local_missing").arg(printable(pair.alias), printable(pair.local));
}

QString distantMissing(const VornCliPair& pair)
{
    return qtTrId("vorn_sync_distant_missing").arg(printable(pair.alias), printable(pair.distant));
}

QString watchRefused(const VornCliPair& pair)
{
    return qtTrId("vorn_sync_watch_refused").arg(printable(pair.alias), printable(pair.local));
}

QString restarting()
{
    return qtTrId("vorn_sync_restarting");
}

QString stateFailed(const QString& path)
{
    return qtTrId("vorn_sync_state_failed").arg(printable(path));
}

QString paused()
{
    return qtTrId("vorn_sync_done_paused");
}

QString resumed()
{
    return qtTrId("vorn_sync_done_resumed");
}

QString pairSuspended(const VornCliPair& pair)
{
    return qtTrId("vorn_sync_pair_suspended").arg(printable(pair.alias));
}

QString pairResumed(const VornCliPair& pair)
{
    return qtTrId("vorn_sync_pair_resumed").arg(printable(pair.alias));
}

QString pairForgotten(const VornCliPair& pair)
{
    return qtTrId("vorn_sync_pair_forgotten").arg(printable(pair.alias));
}

QString resetting()
{
    return qtTrId("vorn_sync_resetting");
}

QString commandsRefused(const QString& reason)
{
    return qtTrId("vorn_sync_commands_refused").arg(printable(reason));
}

QString completed(const VornCliFile& file)
{
    switch (file.operation) {
    case VornCliOperation::Copy:
        return qtTrId("vorn_sync_copied").arg(printable(file.alias), printable(file.name));
    case VornCliOperation::Trash:
        return qtTrId("vorn_sync_moved_to_trash").arg(printable(file.alias), printable(file.name));
    case VornCliOperation::Rename:
        return qtTrId("vorn_sync_renamed_distant").arg(printable(file.alias), printable(file.name));
    }
    return QString();
}

QString failed(const VornCliFile& file)
{
    return qtTrId("vorn_sync_failed").arg(printable(file.alias), printable(file.name));
}

QString progress(const VornCliCounters& counters)
{
    return qtTrId("vorn_sync_progress")
        .arg(QString::number(counters.done), QString::number(counters.pending + counters.inProgress),
             QString::number(counters.errors));
}

QString fileBusy(const QString& alias, const QString& name)
{
    return qtTrId("vorn_sync_file_busy").arg(printable(alias), printable(name));
}

QString fileUnreadable(const QString& alias, const QString& name)
{
    return qtTrId("vorn_sync_file_unreadable").arg(printable(alias), printable(name));
}

QString listingFailed(const VornCliPair& pair)
{
    return qtTrId("vorn_sync_listing_failed")
        .arg(printable(pair.alias), printable(pair.local), printable(pair.distant));
}

QString namesSkipped(const VornCliPair& pair, int count)
{
    return qtTrId("vorn_sync_names_skipped", count).arg(printable(pair.alias));
}

QString unconfirmed(int count)
{
    return qtTrId("vorn_sync_unconfirmed", count);
}

QString outcome(const VornCliSummary& summary)
{
    switch (summary.outcome) {
    case VornCliOutcome::UpToDate:
        return qtTrId("vorn_sync_up_to_date", summary.counters.done);
    case VornCliOutcome::NotUpToDate:
        return qtTrId("vorn_sync_not_up_to_date", summary.counters.done);
    case VornCliOutcome::Stopped:
        return qtTrId("vorn_sync_stopped", summary.counters.done);
    case VornCliOutcome::Interrupted:
        return qtTrId("vorn_sync_interrupted", summary.counters.done);
    }
    return QString();
}

QStringList troubles(const VornCliSummary& summary)
{
    QStringList lines;
    if (!summary.errors.isEmpty())
        lines.append(qtTrId("vorn_sync_files_in_error", int(summary.errors.size())));
    for (const VornCliFileError& error : summary.errors) {
        lines.append(qtTrId("vorn_sync_error_line")
                         .arg(printable(error.alias), printable(error.name), QString::number(error.code),
                              error.sentence));
    }
    return lines + summary.remarks;
}

} // namespace VornCliMessages
