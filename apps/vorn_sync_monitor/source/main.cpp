#include "vorn_monitor_command.h"

#include "vorn_cli_locale.h"

#include <QApplication>

int main(int argc, char** argv)
{
    VornCliLocale::ensureNamesWork();
    const QApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vorn_sync_monitor"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VORN_SYNC_VERSION));
    VornMonitorCommand command;
    return command.run(QCoreApplication::arguments());
}
