#include "vorn_cli_command_options.h"

#include "vorn_cli_locale.h"
#include "vorn_cli_protocol.h"
#include "vorn_cli_state_directory.h"
#include "vorn_cli_text.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>

#include <algorithm>

using namespace VornCliProtocol;
using VornCliText::printable;

namespace {

constexpr int kAnswerMs = 10000;        // a host answers at once unless its machine is very busy
constexpr int kMostSeconds = 24 * 3600; // a day: milliseconds stay far from the largest int
constexpr int kMostLimitSeconds = 366 * 24 * 3600;

const char kExitCodes[] =
    "Exit codes: 0 done; 1 refused or failed; 2 usage error; 3 no host runs on the state "
    "directory; 4 the state\ndirectory can't be used.";

bool is(const QString& command, const char* name)
{
    return command == QLatin1String(name);
}

QString absolute(const QString& path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

} // namespace

struct VornCliCommandOptions::Options
{
    QCommandLineOption help{{QStringLiteral("h"), QStringLiteral("help")},
                            QStringLiteral("Shows this text.")};
    QCommandLineOption state{QStringLiteral("state"),
                             QStringLiteral("The state directory of the running mirror; default: %1.")
                                 .arg(VornCliStateDirectory::defaultPath()),
                             QStringLiteral("DIR")};
    QCommandLineOption json{QStringLiteral("json"), QStringLiteral("Writes one JSON object.")};
    QCommandLineOption language{QStringLiteral("lang"),
                                QStringLiteral("Language of the messages (%1); default: the locale's.")
                                    .arg(VornCliLocale::languages().join(QStringLiteral(", "))),
                                QStringLiteral("CODE")};
    QCommandLineOption timeout{
        QStringLiteral("timeout"),
        QStringLiteral("How long to wait for the host's answer; default: %1, and for a "
                       "command that takes longer, so much more.")
            .arg(kAnswerMs / 1000),
        QStringLiteral("SECONDS")};
    QCommandLineOption yes{QStringLiteral("yes"), QStringLiteral("Does not ask.")};
    QCommandLineOption now{QStringLiteral("now"), QStringLiteral("Does not pause and wait for anything.")};
    QCommandLineOption wait{QStringLiteral("wait"),
                            QStringLiteral("How long running operations may take to end; default: %1.")
                                .arg(kResetDefaultMs / 1000),
                            QStringLiteral("SECONDS")};
    QCommandLineOption maxWait{
        QStringLiteral("max-wait"),
        QStringLiteral("How long a file may wait or be put off; default: computed, at least 20 minutes."),
        QStringLiteral("SECONDS")};
    QCommandLineOption maxUnlisted{
        QStringLiteral("max-unlisted"),
        QStringLiteral(
            "How old the last listing of either side may be; default: computed, at least 2 minutes."),
        QStringLiteral("SECONDS")};
    QCommandLineOption maxUnverified{
        QStringLiteral("max-unverified"),
        QStringLiteral("How old the last verification of all files may be; default: computed."),
        QStringLiteral("SECONDS")};
    QCommandLineOption keepDistant{QStringLiteral("keep-distant"), QStringLiteral("The distant copy stays.")};

    QList<QCommandLineOption> of(const QString& command) const
    {
        QList<QCommandLineOption> options{help, state, json, language, timeout};
        if (is(command, "reset"))
            options += {yes, wait, now};
        if (is(command, "deleted"))
            options += {keepDistant};
        if (is(command, "status"))
            options += {maxWait, maxUnlisted, maxUnverified};
        return options;
    }
};

VornCliCommandOptions::VornCliCommandOptions(const VornCliCommandEntry& command)
    : m_command(command)
{
}

VornCliCommandOptions::Result VornCliCommandOptions::parse(const QStringList& arguments)
{
    const Options options;
    QCommandLineParser parser;
    parser.setApplicationDescription(QString(m_command.help) + QLatin1Char('\n') + m_command.details +
                                     QLatin1String("\n\n") + QLatin1String(kExitCodes));
    parser.addOptions(options.of(m_command.name));
    const bool parsed = parser.parse(arguments);
    m_helpText = parser.helpText().replace(
        QLatin1String("vorn_sync [options]"),
        QStringLiteral("vorn_sync %1 [options] %2").arg(m_command.name, m_command.synopsis));
    if (parsed && parser.isSet(options.help))
        return Result::ShowHelp;
    m_program = arguments.constFirst();
    if (!parsed)
        refuse(printable(parser.errorText()));
    else if (read(parser, options))
        return Result::Run;
    return Result::Refused;
}

bool VornCliCommandOptions::read(const QCommandLineParser& parser, const Options& options)
{
    const auto isSet = [&](const QCommandLineOption& option) {
        return parser.optionNames().contains(option.names().constLast()); // also where the command has none
    };
    m_json = isSet(options.json);
    m_yes = isSet(options.yes);
    m_language =
        isSet(options.language) ? parser.value(options.language) : VornCliLocale::environmentLanguage();
    m_statePath =
        absolute(isSet(options.state) ? parser.value(options.state) : VornCliStateDirectory::defaultPath());
    if (isSet(options.keepDistant))
        m_arguments.insert(kKeepDistantKey, true);
    if (isSet(options.now))
        m_arguments.insert(kNowKey, true);
    if (isSet(options.state) && parser.value(options.state).isEmpty())
        return refuse(QStringLiteral("--state needs a directory."));
    if (!VornCliLocale::languages().contains(m_language)) {
        return refuse(QStringLiteral("--lang needs one of: %1; not '%2'.")
                          .arg(VornCliLocale::languages().join(QStringLiteral(", ")), printable(m_language)));
    }
    return readArguments(parser.positionalArguments()) && readLimits(parser, options) &&
           readTimes(isSet(options.timeout) ? parser.value(options.timeout) : QString(),
                     isSet(options.wait) ? parser.value(options.wait) : QString());
}

bool VornCliCommandOptions::readArguments(const QStringList& given)
{
    const QVector<QStringList> lists = m_command.argumentLists();
    const auto found = std::find_if(lists.cbegin(), lists.cend(), [&given](const QStringList& names) {
        return names.size() == given.size();
    });
    if (found == lists.cend()) {
        return refuse(m_command.synopsis.size() == 0
                          ? QStringLiteral("This command takes no arguments.")
                          : QStringLiteral("The arguments must be: %1").arg(m_command.synopsis));
    }
    for (int i = 0; i < given.size(); ++i) {
        const bool isPath = found->at(i) == kPathKey;
        if (isPath && given.at(i).isEmpty())
            return refuse(QStringLiteral("A path can't be empty."));
        m_arguments.insert(found->at(i), isPath ? absolute(given.at(i)) : given.at(i));
    }
    return true;
}

bool VornCliCommandOptions::readTimes(const QString& timeout, const QString& wait)
{
    int waitMs = kResetDefaultMs;
    if (!wait.isNull() && !readMilliseconds(QStringLiteral("--wait"), wait, &waitMs))
        return false;
    m_timeoutMs = kAnswerMs;
    if (is(m_command.name, "ready"))
        m_timeoutMs += kFileReadyMs;
    if (is(m_command.name, "reset")) {
        m_arguments.insert(kTimeoutKey, waitMs);
        m_timeoutMs += waitMs;
    }
    return timeout.isNull() || readMilliseconds(QStringLiteral("--timeout"), timeout, &m_timeoutMs);
}

bool VornCliCommandOptions::readLimits(const QCommandLineParser& parser, const Options& options)
{
    const auto readLimit = [&](const QCommandLineOption& option, std::optional<qint64>* limit) {
        const QString name = option.names().constFirst();
        if (!parser.optionNames().contains(name))
            return true;
        int seconds = 0;
        if (!readSeconds(QLatin1String("--") + name, parser.value(name), kMostLimitSeconds, &seconds))
            return false;
        *limit = seconds;
        return true;
    };
    return readLimit(options.maxWait, &m_limits.waitSecs) &&
           readLimit(options.maxUnlisted, &m_limits.unlistedSecs) &&
           readLimit(options.maxUnverified, &m_limits.unverifiedSecs);
}

bool VornCliCommandOptions::readMilliseconds(const QString& option, const QString& text, int* milliseconds)
{
    int seconds = 0;
    if (!readSeconds(option, text, kMostSeconds, &seconds))
        return false;
    *milliseconds = seconds * 1000;
    return true;
}

bool VornCliCommandOptions::readSeconds(const QString& option, const QString& text, int most, int* seconds)
{
    bool isNumber = false;
    *seconds = text.toInt(&isNumber);
    if (isNumber && *seconds >= 0 && *seconds <= most)
        return true;
    return refuse(QStringLiteral("%1 needs a number of seconds from 0 to %2, not '%3'.")
                      .arg(option, QString::number(most), printable(text)));
}

bool VornCliCommandOptions::refuse(const QString& error)
{
    m_error = error;
    return false;
}
