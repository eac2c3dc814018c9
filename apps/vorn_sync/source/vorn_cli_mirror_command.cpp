#include "vorn_cli_mirror_command.h"

#include "vorn_cli_json_output.h"
#include "vorn_cli_locale.h"
#include "vorn_cli_message_handler.h"
#include "vorn_cli_messages.h"
#include "vorn_cli_mirror.h"
#include "vorn_cli_quiet_output.h"
#include "vorn_cli_session.h"
#include "vorn_cli_settler.h"
#include "vorn_cli_signal_watcher.h"
#include "vorn_cli_text.h"
#include "vorn_cli_text_output.h"

#include <QCoreApplication>

#include <unistd.h>

namespace {

int fail(int exitCode, const QString& error)
{
    VornCliText::writeError(QStringLiteral("vorn_sync mirror: %1").arg(error));
    return exitCode;
}

int refuse(const QString& error)
{
    fail(kExitUsage, error);
    VornCliText::writeError(QStringLiteral("Try 'vorn_sync mirror --help'."));
    return kExitUsage;
}

} // namespace

VornCliMirrorCommand::VornCliMirrorCommand() = default;

VornCliMirrorCommand::~VornCliMirrorCommand() = default;

int VornCliMirrorCommand::run(const QStringList& arguments)
{
    switch (m_options.parse(arguments)) {
    case VornCliMirrorOptions::Result::Run:
        return mirror();
    case VornCliMirrorOptions::Result::ShowHelp:
        VornCliText::writeOut(m_options.helpText().trimmed());
        return kExitOk;
    case VornCliMirrorOptions::Result::Refused:
        break;
    }
    return refuse(m_options.error());
}

int VornCliMirrorCommand::mirror()
{
    VornCliLocale::installCatalogue(QStringLiteral("vorn_sync"), m_options.language());
    VornCliMessageHandler::install(m_options.verbose());
    VornCliMirror mirror(m_options);
    const int locked = mirror.lockState();
    if (locked != kExitOk)
        return locked == kExitUsage ? refuse(mirror.error()) : fail(locked, mirror.error());

    m_signalWatcher = std::make_unique<VornCliSignalWatcher>();
    m_output = createOutput();
    const int opened = mirror.open(m_output.get());
    if (opened != kExitOk) {
        if (mirror.error().isEmpty()) // the manager has said why
            return opened;
        return opened == kExitUsage ? refuse(mirror.error()) : fail(opened, mirror.error());
    }
    return m_options.once() ? runOnce(mirror) : runUntilSignal(mirror.session());
}

// ---- Running --------------------------------------------------------------------------------------------

int VornCliMirrorCommand::runOnce(const VornCliMirror& mirror)
{
    VornCliSession* session = mirror.session();
    const QString statePath = mirror.state().path();
    VornCliSettler settler(*session, m_options.exclusions());
    VornCliSummary summary;
    const auto end = [&summary](const VornCliSummary& result) {
        summary = result;
        QCoreApplication::quit();
    };
    QObject::connect(&settler, &VornCliSettler::settled, &settler, end);
    QObject::connect(m_signalWatcher.get(), &VornCliSignalWatcher::caught, &settler,
                     [end, from = &settler] { end(from->summary(VornCliOutcome::Interrupted)); });
    if (!session->start(true))
        return fail(kExitStateUnusable, VornCliMessages::stateFailed(statePath));
    settler.begin();
    QCoreApplication::exec();

    session->close();
    if (settler.hasStateFailed())
        return fail(kExitStateUnusable, VornCliMessages::stateFailed(statePath));
    m_output->finished(summary);
    switch (summary.outcome) {
    case VornCliOutcome::UpToDate:
        return kExitOk;
    case VornCliOutcome::NotUpToDate:
        return kExitNotUpToDate;
    case VornCliOutcome::Stopped:
    case VornCliOutcome::Interrupted:
        break;
    }
    return kExitSignalBase + m_signalWatcher->signalNumber();
}

int VornCliMirrorCommand::runUntilSignal(VornCliSession* session)
{
    QObject::connect(m_signalWatcher.get(), &VornCliSignalWatcher::caught, QCoreApplication::instance(),
                     &QCoreApplication::quit);
    session->start(false);
    QCoreApplication::exec();

    VornCliSummary summary;
    summary.outcome = VornCliOutcome::Stopped;
    summary.counters = session->counters();
    summary.errors = session->errors();
    summary.remarks = session->availabilityRemarks();
    session->close();
    m_output->finished(summary);
    return kExitOk;
}

std::unique_ptr<VornCliOutput> VornCliMirrorCommand::createOutput() const
{
    if (m_options.json())
        return std::make_unique<VornCliJsonOutput>();
    if (m_options.quiet())
        return std::make_unique<VornCliQuietOutput>();
    if (m_options.verbose())
        return std::make_unique<VornCliTextOutput>(VornCliTextOutput::Detail::EverySignal, nullptr);
    auto progress = ::isatty(STDOUT_FILENO) ? std::make_unique<VornCliProgressLine>() : nullptr;
    return std::make_unique<VornCliTextOutput>(VornCliTextOutput::Detail::Normal, std::move(progress));
}
