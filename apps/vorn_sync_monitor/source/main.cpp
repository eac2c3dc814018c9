#include "vorn_monitor_command.h"

#include "vorn_cli_locale.h"

#include <QApplication>

int main(int argc, char** argv)
{
    VornCliLocale::ensureNamesWork();
    if (qEnvironmentVariableIsEmpty("QT_AUTO_SCREEN_SCALE_FACTOR"))
        qputenv("QT_AUTO_SCREEN_SCALE_FACTOR", "1"); // Qt 6 does so by itself
    const QApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vorn_sync_monitor"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VORN_SYNC_VERSION));
    VornMonitorCommand command;
    return command.run(QCoreApplication::arguments());
}
