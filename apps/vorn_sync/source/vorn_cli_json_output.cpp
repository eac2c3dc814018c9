#include "vorn_cli_json_output.h"

#include <QDateTime>
#include <QJsonDocument>

#include <cstdio>

namespace {

QString operationName(VornCliOperation operation)
{
    switch (operation) {
    case VornCliOperation::Copy:
        return QStringLiteral("copy");
    case VornCliOperation::Trash:
        return QStringLiteral("trash");
    case VornCliOperation::Rename:
        return QStringLiteral("rename");
    }
    return QString();
}

QJsonObject toJson(const VornCliFile& file)
{
    return {{QStringLiteral("alias"), file.alias},
            {QStringLiteral("file"), file.name},
            {QStringLiteral("path"), file.path},
            {QStringLiteral("operation"), operationName(file.operation)}};
}

QJsonObject toJson(const VornCliCounters& counters)
{
    return {{QStringLiteral("in_progress"), counters.inProgress},
            {QStringLiteral("pending"), counters.pending},
            {QStringLiteral("errors"), counters.errors},
            {QStringLiteral("done"), counters.done}};
}

QString outcomeName(VornCliOutcome outcome)
{
    switch (outcome) {
    case VornCliOutcome::UpToDate:
        return QStringLiteral("up_to_date");
    case VornCliOutcome::NotUpToDate:
        return QStringLiteral("not_up_to_date");
    case VornCliOutcome::Stopped:
        return QStringLiteral("stopped");
    case VornCliOutcome::Interrupted:
        return QStringLiteral("interrupted");
    }
    return QString();
}

} // namespace

void VornCliJsonOutput::started(const QString& statePath)
{
    write("started", {{QStringLiteral("version"), QStringLiteral(VORN_SYNC_VERSION)},
                      {QStringLiteral("state"), statePath}});
}

void VornCliJsonOutput::pairAdded(const VornCliPair& pair)
{
    write("pair", {{QStringLiteral("alias"), pair.alias},
                   {QStringLiteral("local"), pair.local},
                   {QStringLiteral("distant"), pair.distant}});
}

void VornCliJsonOutput::availability(const VornCliPair& pair, bool localThere, bool distantThere)
{
    write("availability", {{QStringLiteral("alias"), pair.alias},
                           {QStringLiteral("local_there"), localThere},
                           {QStringLiteral("distant_there"), distantThere}});
}

void VornCliJsonOutput::fileStarted(const VornCliFile& file)
{
    write("sync_started", toJson(file));
}

void VornCliJsonOutput::fileCompleted(const VornCliFile& file, bool ok, const VornCliCounters& counters)
{
    QJsonObject object = toJson(file);
    object.insert(QStringLiteral("ok"), ok);
    object.insert(QStringLiteral("counters"), toJson(counters));
    write("sync_completed", object);
}

void VornCliJsonOutput::countersChanged(const VornCliCounters& counters)
{
    write("counters", {{QStringLiteral("counters"), toJson(counters)}});
}

void VornCliJsonOutput::idleChanged(bool idle)
{
    write("idle", {{QStringLiteral("idle"), idle}});
}

void VornCliJsonOutput::recentEventsChanged()
{
    write("recent_events", {});
}

void VornCliJsonOutput::problem(const QString& text)
{
    write("error", {{QStringLiteral("message"), text}});
}

void VornCliJsonOutput::note(const QString& text)
{
    write("note", {{QStringLiteral("message"), text}});
}

void VornCliJsonOutput::finished(const VornCliSummary& summary)
{
    for (const VornCliFileError& error : summary.errors) {
        write("error_file", {{QStringLiteral("alias"), error.alias},
                             {QStringLiteral("file"), error.name},
                             {QStringLiteral("code"), error.code},
                             {QStringLiteral("message"), error.sentence}});
    }
    for (const QString& text : summary.notes)
        note(text);
    for (const QString& remark : summary.remarks)
        write("remark", {{QStringLiteral("message"), remark}});
    write("finished", {{QStringLiteral("outcome"), outcomeName(summary.outcome)},
                       {QStringLiteral("counters"), toJson(summary.counters)}});
}

void VornCliJsonOutput::write(const char* event, QJsonObject object)
{
    object.insert(QStringLiteral("event"), QLatin1String(event));
    object.insert(QStringLiteral("time"), QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs));
    const QByteArray bytes = QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fflush(stdout);
}
