#include "vorn_cli_client_command.h"
#include "vorn_cli_command_table.h"
#include "vorn_cli_locale.h"
#include "vorn_cli_mirror_command.h"
#include "vorn_cli_text.h"
#include "vorn_cli_types.h"

#include <QCoreApplication>

namespace {

const char kUsageHead[] = "Usage: vorn_sync COMMAND [options] ...\n"
                          "Mirrors directories to distant ones.\n"
                          "\n"
                          "Commands:\n"
                          "  mirror             Keeps pairs of directories mirrored.\n"
                          "\n"
                          "Commands to a running mirror:\n";
const char kUsageTail[] = "\n\n"
                          "Options:\n"
                          "  -h, --help     Shows this text; 'vorn_sync COMMAND --help' one on the command.\n"
                          "  -v, --version  Shows the version.";

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
        VornCliText::writeOut(QLatin1String(kUsageHead) + VornCliCommandTable::overview() +
                              QLatin1String(kUsageTail));
        return kExitOk;
    }
    if (first == QLatin1String("-v") || first == QLatin1String("--version")) {
        VornCliText::writeOut(QStringLiteral("vorn_sync " VORN_SYNC_VERSION));
        return kExitOk;
    }
    if (first == QLatin1String("mirror")) {
        VornCliMirrorCommand command;
        return command.run(arguments);
    }
    if (const VornCliCommandEntry* entry = VornCliCommandTable::find(first)) {
        VornCliClientCommand command(*entry);
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
