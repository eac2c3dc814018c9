#include "vorn_cli_client_command.h"

#include "vorn_cli_answer_text.h"
#include "vorn_cli_error_guide.h"
#include "vorn_cli_guard.h"
#include "vorn_cli_locale.h"
#include "vorn_cli_message_handler.h"
#include "vorn_cli_pair_list.h"
#include "vorn_cli_progress_json.h"
#include "vorn_cli_progress_text.h"
#include "vorn_cli_protocol.h"
#include "vorn_cli_shell.h"
#include "vorn_cli_state_directory.h"
#include "vorn_cli_state_reader.h"
#include "vorn_cli_status_json.h"
#include "vorn_cli_text.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>
#include <unistd.h>

using namespace VornCliProtocol;
using VornCliText::printable;

namespace {

const QLatin1String kHostKey("host");
const QLatin1String kStateKey("state");
const QLatin1String kMessageKey("message");

constexpr int kLongestReply = 64; // of what is typed to confirm a reset

QJsonArray adviceOf(const VornCliFileError& error, const QString& program, const QString& statePath)
{
    QJsonArray array;
    const QVector<VornCliAdvice> advices = VornCliErrorGuide::advice(error);
    for (const VornCliAdvice& advice : advices) {
        QJsonObject object{{QStringLiteral("message"), advice.sentence}};
        const QStringList command = VornCliErrorGuide::command(error, advice.answer, program, statePath);
        if (!command.isEmpty()) {
            object.insert(QStringLiteral("action"), command.at(1));
            object.insert(QStringLiteral("command"), VornCliShell::commandLine(command));
            object.insert(QStringLiteral("arguments"), QJsonArray::fromStringList(command));
        }
        array.append(object);
    }
    return array;
}

// What a script is told of a whole mirror.
struct Verdict
{
    VornCliExitCode exitCode;
    const char* name;
};

Verdict verdictOf(const QJsonObject& status, const VornCliProgress& progress, const VornCliGuard& guard)
{
    if (!progress.isReadable)
        return {kExitStateUnusable, "unusable"};
    if (status.value(QLatin1String("counters")).toObject().value(QLatin1String("errors")).toInt() > 0)
        return {kExitNotUpToDate, "error"};
    if (guard.isStuck())
        return {kExitStuck, "stuck"};
    return {kExitOk, "ok"};
}

} // namespace

VornCliClientCommand::VornCliClientCommand(const VornCliCommandEntry& command)
    : m_options(command)
{
}

int VornCliClientCommand::run(const QStringList& arguments)
{
    switch (m_options.parse(arguments)) {
    case VornCliCommandOptions::Result::Run:
        VornCliLocale::installCatalogue(QStringLiteral("vorn_sync"), m_options.language());
        VornCliMessageHandler::install(false);
        return ask();
    case VornCliCommandOptions::Result::ShowHelp:
        VornCliText::writeOut(m_options.helpText().trimmed());
        return kExitOk;
    case VornCliCommandOptions::Result::Refused:
        break;
    }
    VornCliText::writeError(QStringLiteral("vorn_sync %1: %2").arg(m_options.command(), m_options.error()));
    VornCliText::writeError(QStringLiteral("Try 'vorn_sync %1 --help'.").arg(m_options.command()));
    return kExitUsage;
}

int VornCliClientCommand::ask()
{
    const int confirmed = confirm();
    if (confirmed != kExitOk)
        return confirmed;
    VornCliCommandClient client(m_options.statePath());
    switch (client.ask(m_options.command(), m_options.request(), m_options.timeoutMs())) {
    case VornCliCommandClient::Result::Answered:
        return show(client.answer());
    case VornCliCommandClient::Result::NoHost:
        if (isAboutTheState())
            return readDatabase();
        return refuse(kExitNoHost, QStringLiteral("no_host"), {m_options.statePath()});
    case VornCliCommandClient::Result::NoAccess:
        return refuse(kExitStateUnusable, QStringLiteral("no_access"), {m_options.statePath()});
    case VornCliCommandClient::Result::NoAnswer:
        return refuse(kExitRefused, QStringLiteral("no_answer"),
                      {QString::number(m_options.timeoutMs() / 1000)});
    case VornCliCommandClient::Result::HostEnded:
        return refuse(kExitRefused, QStringLiteral("ending"));
    case VornCliCommandClient::Result::BadAnswer:
        return refuse(kExitRefused, QStringLiteral("bad_answer"));
    }
    return kExitRefused;
}

bool VornCliClientCommand::isAboutTheState() const
{
    return m_options.command() == QLatin1String("status") || m_options.command() == QLatin1String("errors");
}

int VornCliClientCommand::confirm() const
{
    if (m_options.command() != QLatin1String("reset") || m_options.yes())
        return kExitOk;
    if (::isatty(STDIN_FILENO) == 0)
        return refuse(kExitUsage, QStringLiteral("needs_yes"));
    VornCliText::writeError(
        VornCliAnswerText::filled(qtTrId("vorn_sync_confirm_reset"), {printable(m_options.statePath())}));
    char reply[kLongestReply] = {};
    const bool isRead = std::fgets(reply, sizeof reply, stdin) != nullptr;
    if (isRead && QString::fromLocal8Bit(reply).trimmed() == qtTrId("vorn_sync_confirm_word"))
        return kExitOk;
    return refuse(kExitRefused, QStringLiteral("declined"));
}

// ---- Without a host -------------------------------------------------------------------------------------

int VornCliClientCommand::readDatabase() const
{
    const VornCliStateDirectory state(m_options.statePath());
    if (!QFileInfo(state.databasePath()).isFile()) // who opens a pipe would wait
        return refuse(kExitNoHost, QStringLiteral("no_host"), {m_options.statePath()});
    const VornCliStateReader reader(state.databasePath(), VornCliStateReader::Owner::Nobody);
    VornCliCounters counters;
    QVector<VornCliPair> known;
    QVector<VornCliFileError> errors;
    if (!reader.counters(&counters) || !reader.pairs(&known) || !reader.errors(&errors))
        return refuse(kExitStateUnusable, QStringLiteral("state_unreadable"));
    QVector<VornCliPairStatus> pairs;
    for (const VornCliPair& pair : qAsConst(known)) {
        VornCliPairStatus status;
        status.pair = pair;
        status.localThere = QFileInfo(pair.local).isDir();
        status.distantThere = QFileInfo(pair.distant).isDir();
        pairs.append(status);
    }
    const bool isStatus = m_options.command() == QLatin1String("status");
    QJsonObject answer =
        isStatus ? VornCliStatusJson::status(counters, pairs) : VornCliStatusJson::errors(errors);
    if (isStatus) {
        VornCliProgress progress;
        reader.progress(&progress);
        VornCliProgressJson::add(progress, &answer);
    }
    answer.insert(kOkKey, true);
    answer.insert(kHostKey, false);
    return show(answer);
}

// ---- Showing --------------------------------------------------------------------------------------------

int VornCliClientCommand::show(QJsonObject answer) const
{
    answer.remove(kProtocolKey);
    if (!answer.value(kOkKey).toBool()) {
        const QStringList texts = VornCliAnswerText::managersWords(answer);
        if (m_options.json()) {
            answer.insert(kMessageKey, VornCliAnswerText::sentence(answer));
            writeJson(answer);
            return kExitRefused;
        }
        VornCliText::writeError(
            QStringLiteral("vorn_sync %1: %2").arg(m_options.command(), VornCliAnswerText::sentence(answer)));
        for (const QString& text : texts)
            VornCliText::writeError(text);
        return kExitRefused;
    }
    if (isAboutTheState()) {
        answer.insert(kStateKey, m_options.statePath());
        if (!answer.contains(kHostKey))
            answer.insert(kHostKey, true);
        return m_options.command() == QLatin1String("status") ? showStatus(answer) : showErrors(answer);
    }
    if (m_options.json()) {
        answer.insert(kMessageKey, VornCliAnswerText::sentence(answer));
        writeJson(answer);
    } else {
        VornCliText::writeOut(VornCliAnswerText::sentence(answer));
    }
    return kExitOk;
}

int VornCliClientCommand::showStatus(QJsonObject status) const
{
    const VornCliProgress progress = VornCliProgressJson::read(status);
    const qint64 nowSecs = QDateTime::currentSecsSinceEpoch();
    const VornCliGuard guard(progress, m_options.limits(), nowSecs);
    const Verdict verdict = verdictOf(status, progress, guard);
    if (m_options.json()) {
        guard.describe(&status);
        status.insert(QStringLiteral("now"), nowSecs);
        status.insert(QStringLiteral("verdict"), QLatin1String(verdict.name));
        writeJson(status);
        return verdict.exitCode;
    }
    if (!status.value(kHostKey).toBool())
        writeNoHost();
    const QStringList lines =
        VornCliAnswerText::status(status,
                                  [&](const QString& alias) {
                                      return VornCliProgressText::pair(progress.pairs.value(alias), nowSecs);
                                  }) +
        VornCliProgressText::findings(guard.findings());
    for (const QString& line : lines)
        VornCliText::writeOut(line);
    if (!progress.isReadable)
        VornCliText::writeError(qtTrId("vorn_sync_refused_state_unreadable"));
    return verdict.exitCode;
}

int VornCliClientCommand::showErrors(QJsonObject answer) const
{
    const QVector<VornCliFileError> errors = VornCliStatusJson::readErrors(answer);
    const int count = answer.value(kCountKey).toInt();
    if (m_options.json()) {
        QJsonArray array;
        for (const VornCliFileError& error : errors) {
            array.append(QJsonObject{
                {kAliasKey, error.alias},
                {QStringLiteral("file"), error.name},
                {QStringLiteral("code"), error.code},
                {kMessageKey, VornCliErrorGuide::sentence(error.code)},
                {QStringLiteral("advice"), adviceOf(error, m_options.program(), m_options.statePath())}});
        }
        answer.insert(QStringLiteral("errors"), array);
        writeJson(answer);
    } else {
        if (!answer.value(kHostKey).toBool())
            writeNoHost();
        const QStringList lines =
            VornCliAnswerText::errors(errors, count, m_options.program(), m_options.statePath());
        for (const QString& line : lines)
            VornCliText::writeOut(line);
    }
    return count > 0 ? kExitNotUpToDate : kExitOk;
}

int VornCliClientCommand::refuse(int exitCode, const QString& why, const QStringList& details) const
{
    const QJsonObject answer{
        {kOkKey, false}, {kRefusedKey, why}, {kDetailsKey, QJsonArray::fromStringList(details)}};
    show(answer);
    return exitCode;
}

void VornCliClientCommand::writeJson(const QJsonObject& object)
{
    const QByteArray bytes = QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fflush(stdout);
}

void VornCliClientCommand::writeNoHost() const
{
    VornCliText::writeError(
        VornCliAnswerText::filled(qtTrId("vorn_sync_refused_no_host"), {printable(m_options.statePath())}));
}
