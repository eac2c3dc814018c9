#include "vorn_cli_progress_text.h"

#include "vorn_cli_answer_text.h"
#include "vorn_cli_text.h"

#include <QCoreApplication>

#include <algorithm>

using VornCliText::printable;

namespace {

constexpr int kMostLines = 10; // of a kind and a pair; the rest is a number

QString text(const char* id, const QStringList& details)
{
    return VornCliAnswerText::filled(qtTrId(id), details);
}

QString counted(const char* id, int count, const QStringList& details)
{
    return VornCliAnswerText::filled(qtTrId(id, count), details);
}

QString indented(const QString& line)
{
    return QStringLiteral("    ") + line;
}

QString elapsed(qint64 secs)
{
    return VornCliText::elapsed(std::max<qint64>(0, secs) * 1000);
}

QString ago(qint64 thenSecs, qint64 nowSecs)
{
    return thenSecs == 0 ? qtTrId("vorn_sync_progress_never")
                         : text("vorn_sync_progress_ago", {elapsed(nowSecs - thenSecs)});
}

template<typename Files, typename Line>
void appendFiles(QStringList* lines, const Files& files, int count, Line line)
{
    const int shown = std::min(kMostLines, static_cast<int>(files.size()));
    for (int i = 0; i < shown; ++i)
        lines->append(indented(line(files.at(i))));
    if (count > shown)
        lines->append(indented(qtTrId("vorn_sync_progress_more", count - shown)));
}

QString fileOf(const VornCliFinding& finding)
{
    return printable(finding.alias) + QLatin1Char('/') + printable(finding.name);
}

QString sentence(const VornCliFinding& finding)
{
    const QStringList pair{printable(finding.alias), elapsed(finding.ageSecs), elapsed(finding.limitSecs)};
    const QStringList file{fileOf(finding), elapsed(finding.ageSecs), elapsed(finding.limitSecs)};
    switch (finding.kind) {
    case VornCliFindingKind::Error:
        return QString();
    case VornCliFindingKind::Wait:
        return text("vorn_sync_stuck_waiting", file);
    case VornCliFindingKind::Deferral:
        return text("vorn_sync_stuck_deferred", file);
    case VornCliFindingKind::Unexamined:
        return text("vorn_sync_stuck_unexamined", file);
    case VornCliFindingKind::LocalUnlisted:
        return finding.ageSecs < 0 ? text("vorn_sync_stuck_never_listed", pair)
                                   : text("vorn_sync_stuck_local_unlisted", pair);
    case VornCliFindingKind::DistantUnlisted:
        return text("vorn_sync_stuck_distant_unlisted", pair);
    case VornCliFindingKind::Unverified:
        return text("vorn_sync_stuck_unverified", pair);
    }
    return QString();
}

bool isOfFiles(VornCliFindingKind kind)
{
    return kind == VornCliFindingKind::Wait || kind == VornCliFindingKind::Deferral ||
           kind == VornCliFindingKind::Unexamined;
}

} // namespace

namespace VornCliProgressText {

QStringList pair(const VornCliPairProgress& pair, qint64 nowSecs)
{
    if (!pair.isNoted)
        return {};
    QStringList lines{indented(
        text("vorn_sync_progress_listed", {ago(pair.localListed, nowSecs), ago(pair.distantListed, nowSecs),
                                           ago(pair.verified, nowSecs)}))};
    appendFiles(&lines, pair.errors, pair.errorCount, [nowSecs](const VornCliFileWait& file) {
        return text("vorn_sync_progress_error", {printable(file.name), QString::number(file.code),
                                                 elapsed(nowSecs - file.since), QString::number(file.tries)});
    });
    appendFiles(&lines, pair.waits, pair.waitCount, [nowSecs](const VornCliFileWait& file) {
        return text(file.code == 0 ? "vorn_sync_progress_waiting" : "vorn_sync_progress_failed",
                    {printable(file.name), elapsed(nowSecs - file.since), QString::number(file.tries),
                     QString::number(file.code)});
    });
    appendFiles(&lines, pair.deferrals, pair.deferralCount, [nowSecs](const VornCliFileDeferral& file) {
        return text("vorn_sync_progress_deferred",
                    {printable(file.name), elapsed(nowSecs - file.since), QString::number(file.times)});
    });
    if (pair.unexaminedFiles > 0)
        lines.append(
            indented(counted("vorn_sync_progress_unexamined", pair.unexaminedFiles,
                             {printable(pair.unexaminedName), elapsed(nowSecs - pair.unexaminedSince)})));
    if (pair.unansweredFiles > 0)
        lines.append(indented(counted("vorn_sync_progress_unanswered", pair.unansweredFiles,
                                      {printable(pair.unansweredName)})));
    return lines;
}

QStringList findings(const QVector<VornCliFinding>& findings)
{
    QStringList lines;
    for (const VornCliFinding& finding : findings) {
        if (finding.kind == VornCliFindingKind::Error)
            continue;
        lines.append(text("vorn_sync_stuck", {sentence(finding)}));
        if (isOfFiles(finding.kind) && finding.count > 1)
            lines.last() += QLatin1Char(' ') + qtTrId("vorn_sync_stuck_more", finding.count - 1);
    }
    return lines;
}

} // namespace VornCliProgressText
