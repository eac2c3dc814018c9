#include "vorn_monitor_command.h"

#include "vorn_monitor_host.h"
#include "vorn_monitor_icon.h"
#include "vorn_monitor_output.h"
#include "vorn_monitor_tray.h"
#include "vorn_monitor_window.h"

#include "vorn_cli_locale.h"
#include "vorn_cli_message_handler.h"
#include "vorn_cli_mirror.h"
#include "vorn_cli_session.h"
#include "vorn_cli_signal_watcher.h"
#include "vorn_cli_text.h"

#include "vorn_sync_manager.h"

#include <QApplication>
#include <QMessageBox>
#include <QQuickWindow>

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
    const Qt::LayoutDirection direction = QGuiApplication::layoutDirection();
    switch (m_options.parse(arguments)) {
    case VornCliMirrorOptions::Result::Run:
        VornCliLocale::installCatalogue(QStringLiteral("vorn_sync"), m_options.language());
        VornCliLocale::installCatalogue(QStringLiteral("vorn_sync_monitor"), m_options.language());
        QGuiApplication::setLayoutDirection(direction); // a catalogue that does not tell has reset it
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
    VornMonitorLog log;
    VornMonitorOutput output(log);
    VornCliMirror mirror(m_options);
    const int locked = mirror.lockState();
    if (locked != kExitOk)
        return refuse(locked, mirror.error());
    const int opened = mirror.open(&output);
    if (opened != kExitOk)
        return refuse(opened, (log.problems() << mirror.error()).join(QLatin1Char('\n')).trimmed());

    VornCliSession& session = *mirror.session();
    session.start(false);
    int exitCode = kExitOk;
    {
        VornMonitorHost host(session, log, mirror.state().path(), m_options.theme());
        const VornMonitorWindow window(*session.manager(), host);
        if (window.window() == nullptr)
            return refuse(kExitRefused, QStringLiteral("The window can't be shown."));
        QGuiApplication::setWindowIcon(VornMonitorIcon::icon(VornMonitorStatus::State::Working));
        const VornCliSignalWatcher signalWatcher;
        QObject::connect(&signalWatcher, &VornCliSignalWatcher::caught, qApp, &QCoreApplication::quit);
        VornMonitorTray tray(host, *window.window());
        QObject::connect(&tray, &VornMonitorTray::syncRequested, session.manager(),
                         &VornSyncManager::requestSync);
        QObject::connect(&tray, &VornMonitorTray::quitRequested, qApp, &QCoreApplication::quit);
        QApplication::setQuitOnLastWindowClosed(!tray.isShown());
        exitCode = QCoreApplication::exec();
        window.window()->hide(); // the manager's end may take seconds
    }
    session.close();
    return exitCode;
}
