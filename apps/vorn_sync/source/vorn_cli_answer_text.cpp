#include "vorn_cli_answer_text.h"

#include "vorn_cli_error_guide.h"
#include "vorn_cli_protocol.h"
#include "vorn_cli_shell.h"
#include "vorn_cli_text.h"

#include <QCoreApplication>
#include <QJsonArray>

#include <algorithm>
#include <iterator>

using namespace VornCliProtocol;
using VornCliText::printable;

namespace {

// What a host's "done" and "refused" may say.
const char* const kSentenceIds[] = {
    QT_TRID_NOOP("vorn_sync_done_acknowledged"),
    QT_TRID_NOOP("vorn_sync_done_restored"),
    QT_TRID_NOOP("vorn_sync_done_retried"),
    QT_TRID_NOOP("vorn_sync_done_retried_all"),
    QT_TRID_NOOP("vorn_sync_done_acknowledged_all"),
    QT_TRID_NOOP("vorn_sync_done_trashed_all"),
    QT_TRID_NOOP("vorn_sync_done_trashed"),
    QT_TRID_NOOP("vorn_sync_done_deleted"),
    QT_TRID_NOOP("vorn_sync_done_deleted_local"),
    QT_TRID_NOOP("vorn_sync_done_renamed"),
    QT_TRID_NOOP("vorn_sync_done_cycle"),
    QT_TRID_NOOP("vorn_sync_done_sent"),
    QT_TRID_NOOP("vorn_sync_done_sent_later"),
    QT_TRID_NOOP("vorn_sync_done_paused"),
    QT_TRID_NOOP("vorn_sync_done_resumed"),
    QT_TRID_NOOP("vorn_sync_done_suspended"),
    QT_TRID_NOOP("vorn_sync_done_unsuspended"),
    QT_TRID_NOOP("vorn_sync_done_forgotten"),
    QT_TRID_NOOP("vorn_sync_done_reset"),
    QT_TRID_NOOP("vorn_sync_refused_no_host"),
    QT_TRID_NOOP("vorn_sync_refused_no_access"),
    QT_TRID_NOOP("vorn_sync_refused_no_answer"),
    QT_TRID_NOOP("vorn_sync_refused_ending"),
    QT_TRID_NOOP("vorn_sync_refused_bad_answer"),
    QT_TRID_NOOP("vorn_sync_refused_bad_request"),
    QT_TRID_NOOP("vorn_sync_refused_protocol"),
    QT_TRID_NOOP("vorn_sync_refused_unknown_command"),
    QT_TRID_NOOP("vorn_sync_refused_too_many"),
    QT_TRID_NOOP("vorn_sync_refused_resetting"),
    QT_TRID_NOOP("vorn_sync_refused_needs_yes"),
    QT_TRID_NOOP("vorn_sync_refused_declined"),
    QT_TRID_NOOP("vorn_sync_refused_state_unreadable"),
    QT_TRID_NOOP("vorn_sync_refused_failed"),
    QT_TRID_NOOP("vorn_sync_refused_unknown_alias"),
    QT_TRID_NOOP("vorn_sync_refused_invalid_name"),
    QT_TRID_NOOP("vorn_sync_refused_not_tracked"),
    QT_TRID_NOOP("vorn_sync_refused_not_in_error"),
    QT_TRID_NOOP("vorn_sync_refused_not_acknowledgeable"),
    QT_TRID_NOOP("vorn_sync_refused_not_restorable"),
    QT_TRID_NOOP("vorn_sync_refused_busy"),
    QT_TRID_NOOP("vorn_sync_refused_local_missing"),
    QT_TRID_NOOP("vorn_sync_refused_still_there"),
    QT_TRID_NOOP("vorn_sync_refused_local_exists"),
    QT_TRID_NOOP("vorn_sync_refused_distant_exists"),
    QT_TRID_NOOP("vorn_sync_refused_tracked_exists"),
    QT_TRID_NOOP("vorn_sync_refused_same_name"),
    QT_TRID_NOOP("vorn_sync_refused_name_not_mirrored"),
    QT_TRID_NOOP("vorn_sync_refused_pair_unavailable"),
    QT_TRID_NOOP("vorn_sync_refused_rename_failed"),
    QT_TRID_NOOP("vorn_sync_refused_paused"),
    QT_TRID_NOOP("vorn_sync_refused_not_ready"),
    QT_TRID_NOOP("vorn_sync_refused_reset_failed"),
};

QString text(const char* id)
{
    return qtTrId(id);
}

QString text(const char* id, const QStringList& details)
{
    return VornCliAnswerText::filled(qtTrId(id), details);
}

QStringList stringsOf(const QJsonObject& object, QLatin1String key)
{
    QStringList strings;
    const QJsonArray array = object.value(key).toArray();
    for (const QJsonValue& value : array)
        strings.append(printable(value.toString()));
    return strings;
}

QString pairLine(const QJsonObject& pair)
{
    const QStringList names{printable(pair.value(kAliasKey).toString()),
                            printable(pair.value(QLatin1String("local")).toString()),
                            printable(pair.value(QLatin1String("distant")).toString())};
    const auto is = [&pair](const char* key, bool otherwise) {
        return pair.value(QLatin1String(key)).toBool(otherwise);
    };
    QString line = text("vorn_sync_pair", names);
    if (is("suspended", false))
        line += QLatin1Char(' ') + text("vorn_sync_status_suspended");
    if (!is("local_there", true))
        line += QLatin1Char(' ') + text("vorn_sync_status_local_missing");
    if (!is("distant_there", true))
        line += QLatin1Char(' ') + text("vorn_sync_status_distant_missing");
    return line;
}

QString recentLine(const QJsonObject& event)
{
    return text(event.value(QLatin1String("ok")).toBool() ? "vorn_sync_status_recent"
                                                          : "vorn_sync_status_recent_failed",
                {printable(event.value(QLatin1String("time")).toString()),
                 printable(event.value(kPathKey).toString())});
}

} // namespace

namespace VornCliAnswerText {

QString filled(const QString& sentence, const QStringList& details)
{
    QString result;
    for (int i = 0; i < sentence.size(); ++i) {
        const int digit = i + 1 < sentence.size() ? sentence.at(i + 1).digitValue() : 0;
        if (sentence.at(i) == QLatin1Char('%') && digit > 0 && digit <= details.size()) {
            result += details.at(digit - 1);
            ++i;
        } else {
            result += sentence.at(i);
        }
    }
    return result;
}

QString sentence(const QJsonObject& answer)
{
    const bool isDone = answer.value(kOkKey).toBool();
    const QString what = answer.value(isDone ? kDoneKey : kRefusedKey).toString();
    const QStringList details = stringsOf(answer, kDetailsKey);
    if (isDone && what == QLatin1String("ready"))
        return details.value(0); // the path alone, for scripts
    const QString id = QLatin1String(isDone ? "vorn_sync_done_" : "vorn_sync_refused_") + what;
    const auto found = std::find_if(std::begin(kSentenceIds), std::end(kSentenceIds),
                                    [&id](const char* known) { return id == QLatin1String(known); });
    if (found == std::end(kSentenceIds)) // of a host that is newer than this command
        return printable(what);
    const int count = answer.value(kCountKey).toInt(-1);
    return filled(count < 0 ? qtTrId(*found) : qtTrId(*found, count), details);
}

QStringList managersWords(const QJsonObject& answer)
{
    return stringsOf(answer, kTextsKey);
}

QStringList status(const QJsonObject& status,
                   const std::function<QStringList(const QString& alias)>& pairLines)
{
    const QJsonObject counters = status.value(QLatin1String("counters")).toObject();
    const auto number = [&counters](const char* key) {
        return QString::number(counters.value(QLatin1String(key)).toInt());
    };
    QStringList lines;
    if (status.value(QLatin1String("host")).toBool())
        lines.append(
            text("vorn_sync_status_host", {QString::number(status.value(QLatin1String("process")).toInt()),
                                           printable(status.value(QLatin1String("version")).toString())}));
    if (status.value(QLatin1String("paused")).toBool())
        lines.append(text("vorn_sync_done_paused"));
    lines.append(text("vorn_sync_status_counters",
                      {number("done"), number("pending"), number("in_progress"), number("errors")}));
    const QJsonArray pairs = status.value(QLatin1String("pairs")).toArray();
    for (const QJsonValue& value : pairs) {
        const QJsonObject pair = value.toObject();
        lines.append(pairLine(pair));
        lines.append(pairLines(pair.value(kAliasKey).toString()));
    }
    const QJsonArray recent = status.value(QLatin1String("recent")).toArray();
    for (const QJsonValue& event : recent)
        lines.append(recentLine(event.toObject()));
    return lines;
}

QStringList errors(const QVector<VornCliFileError>& errors, int count, const QString& program,
                   const QString& statePath)
{
    if (count == 0)
        return {text("vorn_sync_no_errors")};
    QStringList lines{qtTrId("vorn_sync_files_in_error", count)};
    for (const VornCliFileError& error : errors) {
        lines.append(text("vorn_sync_error_line",
                          {printable(error.alias), printable(error.name), QString::number(error.code),
                           VornCliErrorGuide::sentence(error.code)}));
        const QVector<VornCliAdvice> advices = VornCliErrorGuide::advice(error);
        for (const VornCliAdvice& advice : advices) {
            lines.append(QStringLiteral("    ") + advice.sentence);
            const QStringList command = VornCliErrorGuide::command(error, advice.answer, program, statePath);
            if (!command.isEmpty())
                lines.append(QStringLiteral("        ") + VornCliShell::commandLine(command));
        }
    }
    if (errors.size() < count)
        lines.append(qtTrId("vorn_sync_more_errors", count - int(errors.size())));
    return lines;
}

} // namespace VornCliAnswerText
