#include "vorn_cli_mirror_options.h"

#include "vorn_cli_cycle_probe.h"
#include "vorn_cli_exclusions.h"
#include "vorn_cli_locale.h"
#include "vorn_cli_state_directory.h"
#include "vorn_cli_text.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QSet>

#include <limits>

using VornCliText::printable;

namespace {

constexpr int kDefaultIntervalMs = 30000; // with --watch nothing waits for it; without, half a minute is soon
constexpr int kLeastIntervalMs = 100;     // the smallest budget of a cycle's verification

const char kTerminalDescription[] =
    "Keeps each LOCAL directory mirrored to its DISTANT one until interrupted.\n"
    "Without a pair the ones that the state directory remembers are mirrored; new pairs are added to them.\n"
    "Only the plain files directly in LOCAL are mirrored, hidden ones are not.\n"
    "\n"
    "Exit codes: 0 all is up to date, or a continuous mirror was ended by a signal; 1 files are in error or\n"
    "could not be mirrored; 2 usage error; 4 the state directory can't be used; 5 another instance uses the\n"
    "state directory; 128 + N: --once was ended by signal N before everything was settled.";

const char kWindowDescription[] =
    "Keeps each LOCAL directory mirrored to its DISTANT one and shows it in a window, until that is closed.\n"
    "Without a pair the ones that the state directory remembers are mirrored; new pairs are added to them.\n"
    "Only the plain files directly in LOCAL are mirrored, hidden ones are not.\n"
    "\n"
    "Exit codes: 0 the window was closed; 2 usage error; 4 the state directory can't be used; 5 another\n"
    "instance uses the state directory.";

QStringList themes()
{
    return {QStringLiteral("light"), QStringLiteral("dark")};
}

struct Options
{
    QCommandLineOption help{{QStringLiteral("h"), QStringLiteral("help")},
                            QStringLiteral("Shows this text.")};
    QCommandLineOption once{
        QStringLiteral("once"),
        QStringLiteral(
            "Ends when everything is settled instead of mirroring on; --watch has no effect then.")};
    QCommandLineOption state{
        QStringLiteral("state"),
        QStringLiteral("Where the database, the trash and the remembered pairs are kept; "
                       "default: %1.")
            .arg(VornCliStateDirectory::defaultPath()),
        QStringLiteral("DIR")};
    QCommandLineOption alias{QStringLiteral("alias"),
                             QStringLiteral("Name of a pair, in the order of the pairs; may be repeated. "
                                            "Default: the name of LOCAL."),
                             QStringLiteral("NAME")};
    QCommandLineOption interval{
        QStringLiteral("interval"),
        QStringLiteral("Period of the cycle in milliseconds, at least %1; default: %2.")
            .arg(QString::number(kLeastIntervalMs), QString::number(kDefaultIntervalMs)),
        QStringLiteral("MS")};
    QCommandLineOption exclude{QStringLiteral("exclude"),
                               QStringLiteral("Wildcard of file names to leave out; may be repeated."),
                               QStringLiteral("PATTERN")};
    QCommandLineOption watch{QStringLiteral("watch"),
                             QStringLiteral("Watches LOCAL and sends a saved file at once.")};
    QCommandLineOption verbose{
        QStringLiteral("verbose"),
        QStringLiteral("Shows every signal, and the library's trace lines where they are "
                       "built in.")};
    QCommandLineOption json{QStringLiteral("json"), QStringLiteral("Writes one JSON object a line.")};
    QCommandLineOption quiet{QStringLiteral("quiet"), QStringLiteral("Writes nothing but errors.")};
    QCommandLineOption language{QStringLiteral("lang"),
                                QStringLiteral("Language of the messages (%1); default: the locale's.")
                                    .arg(VornCliLocale::languages().join(QStringLiteral(", "))),
                                QStringLiteral("CODE")};

    QCommandLineOption theme{QStringLiteral("theme"),
                             QStringLiteral("Colours of the window (%1); default: the desktop's.")
                                 .arg(themes().join(QStringLiteral(", "))),
                             QStringLiteral("NAME")};

    QList<QCommandLineOption> of(VornCliShownIn shownIn) const
    {
        if (shownIn == VornCliShownIn::Window)
            return {help, state, alias, interval, exclude, watch, verbose, language, theme};
        return {help, once, state, alias, interval, exclude, watch, verbose, json, quiet, language};
    }
};

QString absolute(const QString& path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

} // namespace

VornCliMirrorOptions::Result VornCliMirrorOptions::parse(const QStringList& arguments)
{
    const Options options;
    const bool isTerminal = m_shownIn == VornCliShownIn::Terminal;
    QCommandLineParser parser;
    parser.setApplicationDescription(QLatin1String(isTerminal ? kTerminalDescription : kWindowDescription));
    parser.addOptions(options.of(m_shownIn));
    parser.addPositionalArgument(
        QStringLiteral("LOCAL DISTANT"),
        QStringLiteral("An existing directory and where its mirror is; may be repeated."),
        QStringLiteral("[LOCAL DISTANT]..."));
    const bool parsed = parser.parse(arguments);
    m_helpText = parser.helpText().replace(QLatin1String("vorn_sync [options]"),
                                           QLatin1String("vorn_sync mirror [options]"));
    if (parsed && parser.isSet(options.help))
        return Result::ShowHelp;
    if (!parsed) {
        refuse(VornCliText::printable(parser.errorText()));
        return Result::Refused;
    }

    m_watch = parser.isSet(options.watch);
    m_verbose = parser.isSet(options.verbose);
    if (isTerminal) {
        m_once = parser.isSet(options.once);
        m_json = parser.isSet(options.json);
        m_quiet = parser.isSet(options.quiet);
    }
    m_exclusions = parser.values(options.exclude);
    m_statePath = absolute(parser.isSet(options.state) ? parser.value(options.state)
                                                       : VornCliStateDirectory::defaultPath());
    if (parser.isSet(options.state) && parser.value(options.state).isEmpty())
        refuse(QStringLiteral("--state needs a directory."));
    else if (m_quiet && (m_verbose || m_json))
        refuse(QStringLiteral("--quiet can't be combined with --verbose or --json."));
    else if (readInterval(parser.isSet(options.interval) ? parser.value(options.interval)
                                                         : QString::number(kDefaultIntervalMs)) &&
             readLanguage(parser.isSet(options.language) ? parser.value(options.language)
                                                         : VornCliLocale::environmentLanguage()) &&
             (isTerminal || !parser.isSet(options.theme) || readTheme(parser.value(options.theme))) &&
             readPairs(parser.positionalArguments(), parser.values(options.alias)) && checkPairs())
        return Result::Run;
    return Result::Refused;
}

bool VornCliMirrorOptions::readInterval(const QString& text)
{
    bool isNumber = false;
    m_intervalMs = text.toInt(&isNumber);
    if (isNumber && m_intervalMs >= kLeastIntervalMs)
        return true;
    return refuse(QStringLiteral("--interval needs a number of milliseconds from %1 to %2, not '%3'.")
                      .arg(QString::number(kLeastIntervalMs),
                           QString::number(std::numeric_limits<int>::max()), printable(text)));
}

bool VornCliMirrorOptions::readLanguage(const QString& text)
{
    m_language = text;
    if (VornCliLocale::languages().contains(text))
        return true;
    return refuse(QStringLiteral("--lang needs one of: %1; not '%2'.")
                      .arg(VornCliLocale::languages().join(QStringLiteral(", ")), printable(text)));
}

bool VornCliMirrorOptions::readTheme(const QString& text)
{
    m_theme = text;
    if (themes().contains(text))
        return true;
    return refuse(QStringLiteral("--theme needs one of: %1; not '%2'.")
                      .arg(themes().join(QStringLiteral(", ")), printable(text)));
}

bool VornCliMirrorOptions::readPairs(const QStringList& paths, const QStringList& aliases)
{
    if (paths.size() % 2 != 0)
        return refuse(QStringLiteral("Directories are given in pairs; '%1' has no DISTANT.")
                          .arg(printable(paths.constLast())));
    if (paths.contains(QString()))
        return refuse(QStringLiteral("A directory's name can't be empty."));
    if (aliases.contains(QString()))
        return refuse(QStringLiteral("An alias can't be empty."));
    if (aliases.size() > paths.size() / 2)
        return refuse(QStringLiteral("There are more aliases than pairs."));
    for (int i = 0; i < paths.size(); i += 2)
        m_pairs.append({aliases.value(i / 2), absolute(paths.at(i)), absolute(paths.at(i + 1))});
    return true;
}

bool VornCliMirrorOptions::checkPairs()
{
    const VornCliStateDirectory state(m_statePath);
    QSet<QString> locals;
    QSet<QString> aliases;
    for (int i = 0; i < m_pairs.size(); ++i) {
        const VornCliPair& pair = m_pairs.at(i);
        if (!QFileInfo(pair.local).isDir())
            return refuse(
                QStringLiteral("LOCAL is not an existing directory: '%1'.").arg(printable(pair.local)));
        if (locals.contains(pair.local))
            return refuse(QStringLiteral("LOCAL is given twice: '%1'.").arg(printable(pair.local)));
        if (pair.local == state.path() || pair.distant == state.path())
            return refuse(QStringLiteral("The state directory can't be part of a pair: '%1'.")
                              .arg(printable(state.path())));
        if (!pair.alias.isEmpty() && aliases.contains(pair.alias))
            return refuse(QStringLiteral("The alias is given twice: '%1'.").arg(printable(pair.alias)));
        if (pair.alias == VornCliCycleProbe::reservedAlias())
            return refuse(QStringLiteral("The alias is reserved: '%1'.").arg(printable(pair.alias)));
        locals.insert(pair.local);
        aliases.insert(pair.alias);
    }
    if (m_once && VornCliCycleProbe::markerName(VornCliExclusions(m_exclusions), 0).isEmpty())
        return refuse(QStringLiteral("The exclusion patterns leave no file to mirror."));
    return true;
}

bool VornCliMirrorOptions::refuse(const QString& error)
{
    m_error = error;
    return false;
}
