#include "vorn_cli_locale.h"
#include "vorn_cli_mirror_command.h"
#include "vorn_cli_text.h"
#include "vorn_cli_types.h"

#include <QCoreApplication>

namespace {

const char kUsage[] = "Usage: vorn_sync COMMAND [options] ...\n"
                      "Mirrors directories to distant ones.\n"
                      "\n"
                      "Commands:\n"
                      "  mirror     Keeps pairs of directories mirrored.\n"
                      "\n"
                      "Options:\n"
                      "  -h, --help     Shows this text; 'vorn_sync COMMAND --help' one on the command.\n"
                      "  -v, --version  Shows the version.";

struct Command
{
    const char* name;
    int (*run)(const QStringList& arguments);
};

int runMirror(const QStringList& arguments)
{
    VornCliMirrorCommand command;
    return command.run(arguments);
}

constexpr Command kCommands[] = {{"mirror", runMirror}};

int refuse(const QString& error)
{
    VornCliText::writeError(QStringLiteral("vorn_sync: %1").arg(error));
    VornCliText::writeError(QStringLiteral("Try 'vorn_sync --help'."));
    return kExitUsage;
}

int dispatch(QStringList arguments)
{
    if (arguments.size() < 2)
        return refuse(QStringLiteral("A command is needed."));
    const QString first = arguments.takeAt(1);
    if (first == QLatin1String("-h") || first == QLatin1String("--help")) {
        VornCliText::writeOut(QLatin1String(kUsage));
        return kExitOk;
    }
    if (first == QLatin1String("-v") || first == QLatin1String("--version")) {
        VornCliText::writeOut(QStringLiteral("vorn_sync " VORN_SYNC_VERSION));
        return kExitOk;
    }
    for (const Command& command : kCommands) {
        if (first == QLatin1String(command.name))
            return command.run(arguments);
    }
    return refuse(QStringLiteral("Unknown command: '%1'.").arg(VornCliText::printable(first)));
}

} // namespace

int main(int argc, char** argv)
{
    VornCliLocale::ensureNamesWork();
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vorn_sync"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VORN_SYNC_VERSION));
    return dispatch(QCoreApplication::arguments());
}
