#include "vorn_monitor_command.h"

#include "vorn_monitor_mirror.h"

#include "vorn_cli_locale.h"
#include "vorn_cli_message_handler.h"
#include "vorn_cli_signal_watcher.h"
#include "vorn_cli_text.h"

#include <QApplication>
#include <QMessageBox>

#include <unistd.h>

namespace {

// Nobody sees a dialog where there is no screen, and who started the program in a terminal reads it there.
bool isDialogWanted()
{
    return QGuiApplication::platformName() != QLatin1String("offscreen") && !::isatty(STDERR_FILENO);
}

} // namespace

int VornMonitorCommand::run(const QStringList& arguments)
{
    switch (m_options.parse(arguments)) {
    case VornCliMirrorOptions::Result::Run:
        installCatalogues(m_options.language());
        VornCliMessageHandler::install(m_options.verbose());
        return show();
    case VornCliMirrorOptions::Result::ShowHelp:
        VornCliText::writeOut(m_options.helpText().trimmed());
        return kExitOk;
    case VornCliMirrorOptions::Result::Refused:
        break;
    }
    return refuse(kExitUsage, m_options.error());
}

void VornMonitorCommand::installCatalogues(const QString& language)
{
    const Qt::LayoutDirection direction = QGuiApplication::layoutDirection();
    VornCliLocale::installCatalogue(QStringLiteral("vorn_sync"), language);
    VornCliLocale::installCatalogue(QStringLiteral("vorn_sync_monitor"), language);
    VornCliLocale::installQtCatalogue(language);
    QGuiApplication::setLayoutDirection(direction); // a catalogue that does not tell has reset it
}

int VornMonitorCommand::refuse(int exitCode, const QString& error) const
{
    VornCliText::writeError(QStringLiteral("vorn_sync_monitor: %1").arg(error));
    if (isDialogWanted()) {
        QMessageBox box(QMessageBox::Critical, QStringLiteral("VornSync"), QString(), QMessageBox::Close);
        box.setTextFormat(Qt::PlainText);
        box.setText(error);
        box.exec();
    }
    return exitCode;
}

int VornMonitorCommand::show()
{
    VornMonitorMirror mirror(m_options);
    const int opened = mirror.open();
    if (opened != kExitOk)
        return refuse(opened, mirror.error());
    const VornCliSignalWatcher signalWatcher;
    QObject::connect(&signalWatcher, &VornCliSignalWatcher::caught, qApp, &QCoreApplication::quit);
    return QCoreApplication::exec();
}
