#include "vorn_cli_mirror_command.h"

#include "vorn_cli_command_server.h"
#include "vorn_cli_json_output.h"
#include "vorn_cli_locale.h"
#include "vorn_cli_message_handler.h"
#include "vorn_cli_messages.h"
#include "vorn_cli_quiet_output.h"
#include "vorn_cli_request_handler.h"
#include "vorn_cli_session.h"
#include "vorn_cli_settler.h"
#include "vorn_cli_signal_watcher.h"
#include "vorn_cli_text.h"
#include "vorn_cli_text_output.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <algorithm>
#include <unistd.h>

using VornCliText::printable;

namespace {

// Refusals of the manager that are no fault of the command line: trash directory, database.
const QLatin1String kStateFailureText("ERROR: Failure to ");

int refuse(const QString& error)
{
    VornCliText::writeError(QStringLiteral("vorn_sync mirror: %1").arg(error));
    VornCliText::writeError(QStringLiteral("Try 'vorn_sync mirror --help'."));
    return kExitUsage;
}

int fail(int exitCode, const QString& error)
{
    VornCliText::writeError(QStringLiteral("vorn_sync mirror: %1").arg(error));
    return exitCode;
}

const VornCliPair* byLocal(const QVector<VornCliPair>& pairs, const QString& local)
{
    const auto found = std::find_if(pairs.cbegin(), pairs.cend(),
                                    [&local](const VornCliPair& pair) { return pair.local == local; });
    return found == pairs.cend() ? nullptr : &*found;
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
    VornCliLocale::installCatalogue(m_options.language(), QCoreApplication::instance());
    VornCliMessageHandler::install(m_options.verbose());
    const int opened = openState();
    if (opened != kExitOk)
        return opened;

    m_signalWatcher = std::make_unique<VornCliSignalWatcher>();
    m_output = createOutput();
    // Before anything is said: a command that is given as soon as the mirror speaks finds it.
    VornCliCommandServer server(m_state->path());
    const bool isListening = server.listen();
    m_output->started(m_state->path());
    if (!isListening)
        m_output->problem(VornCliMessages::commandsRefused(server.error()));
    VornCliSession session(m_options, *m_state, *m_output);
    session.open();
    VornCliRequestHandler handler(session, *m_pairList, *m_state);
    QObject::connect(&server, &VornCliCommandServer::requested, &handler, &VornCliRequestHandler::take);
    const int added = addPairs(&session);
    if (added != kExitOk) {
        QCoreApplication::processEvents(); // what the manager has to say about its database comes from there
        return added;
    }
    // From the end on nobody shall wait for an answer; the manager's own end may take seconds.
    QObject::connect(&session, &VornCliSession::closing, &server, &VornCliCommandServer::close);
    return m_options.once() ? runOnce(&session) : runUntilSignal(&session);
}

// ---- State and pairs ------------------------------------------------------------------------------------

int VornCliMirrorCommand::openState()
{
    m_state = std::make_unique<VornCliStateDirectory>(m_options.statePath());
    m_pairList = std::make_unique<VornCliPairList>(m_state->pairListPath());
    // Looked at before anything is created: a mistyped command leaves no state directory behind.
    if (m_options.pairs().isEmpty() && m_pairList->load() && m_pairList->pairs().isEmpty()) {
        return refuse(QStringLiteral("No pair is given, and none is remembered in '%1'.")
                          .arg(printable(m_state->path())));
    }
    switch (m_state->lock()) {
    case VornCliStateDirectory::LockResult::Locked:
        break;
    case VornCliStateDirectory::LockResult::InUse:
        return fail(kExitAlreadyRunning, m_state->lockError());
    case VornCliStateDirectory::LockResult::Unusable:
        return fail(kExitStateUnusable, m_state->lockError());
    }
    if (!m_pairList->load())
        return fail(kExitStateUnusable, m_pairList->error());
    return kExitOk;
}

// The remembered pairs come first, so that a pair keeps its place from run to run.
int VornCliMirrorCommand::addPairs(VornCliSession* session)
{
    const QVector<VornCliPair> remembered = m_pairList->pairs();
    QVector<VornCliPair> named = m_options.pairs();
    QStringList taken;
    for (const VornCliPair& pair : remembered)
        taken.append(pair.alias);
    for (const VornCliPair& pair : qAsConst(named))
        taken.append(pair.alias);
    for (VornCliPair& pair : named) {
        const int chosen = chooseAlias(*session, &taken, &pair);
        if (chosen != kExitOk)
            return chosen;
    }
    for (const VornCliPair& old : remembered) {
        const VornCliPair* again = byLocal(named, old.local);
        const VornCliPair& pair = again == nullptr ? old : *again;
        if (pair.distant != old.distant)
            m_output->note(VornCliMessages::distantReplaced(pair, old.distant));
        if (!QFileInfo(pair.local).isDir()) {
            session->keepPairAway(pair);
            continue;
        }
        const int added = addPair(session, pair);
        if (added != kExitOk)
            return added;
    }
    for (const VornCliPair& pair : qAsConst(named)) {
        const int added = byLocal(remembered, pair.local) ? kExitOk : addPair(session, pair);
        if (added != kExitOk)
            return added;
    }
    return kExitOk;
}

int VornCliMirrorCommand::addPair(VornCliSession* session, const VornCliPair& pair)
{
    if (!session->addPair(pair)) {
        const QStringList texts = session->lastTexts();
        for (const QString& text : texts)
            m_output->problem(text);
        const bool stateFailed = std::any_of(texts.cbegin(), texts.cend(), [](const QString& text) {
            return text.startsWith(kStateFailureText);
        });
        return stateFailed ? kExitStateUnusable : kExitUsage;
    }
    m_pairList->put(pair);
    return m_pairList->save() ? kExitOk : fail(kExitStateUnusable, m_pairList->error());
}

// A local directory keeps the alias under which it is known. An alias that is known with another local
// directory is refused here, since the manager would go on with the other one.
int VornCliMirrorCommand::chooseAlias(const VornCliSession& session, QStringList* taken,
                                      VornCliPair* pair) const
{
    const VornCliPair* remembered = m_pairList->byLocal(pair->local);
    const QString known = remembered ? remembered->alias : session.aliasOfLocal(pair->local);
    if (!known.isEmpty()) {
        if (!pair->alias.isEmpty() && pair->alias != known) {
            return refuse(QStringLiteral("'%1' is known under the alias '%2', not '%3'.")
                              .arg(printable(pair->local), printable(known), printable(pair->alias)));
        }
        pair->alias = known;
        return kExitOk;
    }
    if (!pair->alias.isEmpty()) {
        if (m_pairList->byAlias(pair->alias) == nullptr && !session.isKnownAlias(pair->alias))
            return kExitOk;
        return refuse(
            QStringLiteral("The alias '%1' belongs to another local directory.").arg(printable(pair->alias)));
    }
    do {
        pair->alias = VornCliPairList::freeAlias(pair->local, *taken);
        taken->append(pair->alias);
    } while (session.isKnownAlias(pair->alias) || pair->alias == VornCliCycleProbe::reservedAlias());
    return kExitOk;
}

// ---- Running --------------------------------------------------------------------------------------------

int VornCliMirrorCommand::runOnce(VornCliSession* session)
{
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
        return fail(kExitStateUnusable, VornCliMessages::stateFailed(m_state->path()));
    settler.begin();
    QCoreApplication::exec();

    session->close();
    if (settler.hasStateFailed())
        return fail(kExitStateUnusable, VornCliMessages::stateFailed(m_state->path()));
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
