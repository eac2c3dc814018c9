#include "vorn_cli_mirror.h"

#include "vorn_cli_command_server.h"
#include "vorn_cli_messages.h"
#include "vorn_cli_request_handler.h"
#include "vorn_cli_session.h"
#include "vorn_cli_text.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <algorithm>

using VornCliText::printable;

namespace {

// Refusals of the manager that are no fault of the command line: trash directory, database.
const QLatin1String kStateFailureText("ERROR: Failure to ");

const VornCliPair* byLocal(const QVector<VornCliPair>& pairs, const QString& local)
{
    const auto found = std::find_if(pairs.cbegin(), pairs.cend(),
                                    [&local](const VornCliPair& pair) { return pair.local == local; });
    return found == pairs.cend() ? nullptr : &*found;
}

} // namespace

VornCliMirror::VornCliMirror(const VornCliMirrorOptions& options)
    : m_options(options)
    , m_state(options.statePath())
    , m_pairList(m_state.pairListPath())
{
}

VornCliMirror::~VornCliMirror() = default;

int VornCliMirror::lockState()
{
    // Looked at before anything is created: a mistyped command leaves no state directory behind.
    if (!m_options.mayStartEmpty() && m_options.pairs().isEmpty() && m_pairList.load() &&
        m_pairList.pairs().isEmpty()) {
        return fail(kExitUsage, qtTrId("vorn_sync_no_pair").arg(printable(m_state.path())));
    }
    switch (m_state.lock()) {
    case VornCliStateDirectory::LockResult::Locked:
        break;
    case VornCliStateDirectory::LockResult::InUse:
        return fail(kExitAlreadyRunning, m_state.lockError());
    case VornCliStateDirectory::LockResult::Unusable:
        return fail(kExitStateUnusable, m_state.lockError());
    }
    if (!m_pairList.load())
        return fail(kExitStateUnusable, m_pairList.error());
    return kExitOk;
}

int VornCliMirror::open(VornCliOutput* output)
{
    m_output = output;
    // Before anything is said: a command that is given as soon as the mirror speaks finds it.
    m_server = std::make_unique<VornCliCommandServer>(m_state.path());
    const bool isListening = m_server->listen();
    m_output->started(m_state.path());
    if (!isListening)
        m_output->problem(VornCliMessages::commandsRefused(m_server->error()));
    m_session = std::make_unique<VornCliSession>(m_options, m_state, *m_output);
    m_session->open();
    m_handler = std::make_unique<VornCliRequestHandler>(*m_session, m_pairList, m_state);
    QObject::connect(m_server.get(), &VornCliCommandServer::requested, m_handler.get(),
                     &VornCliRequestHandler::take);
    const int added = addPairs();
    if (added != kExitOk) {
        QCoreApplication::processEvents(); // what the manager has to say about its database comes from there
        return added;
    }
    // From the end on nobody shall wait for an answer; the manager's own end may take seconds.
    QObject::connect(m_session.get(), &VornCliSession::closing, m_server.get(), &VornCliCommandServer::close);
    return kExitOk;
}

// The remembered pairs come first, so that a pair keeps its place from run to run.
int VornCliMirror::addPairs()
{
    const QVector<VornCliPair> remembered = m_pairList.pairs();
    QVector<VornCliPair> named = m_options.pairs();
    QStringList taken;
    for (const VornCliPair& pair : remembered)
        taken.append(pair.alias);
    for (const VornCliPair& pair : qAsConst(named))
        taken.append(pair.alias);
    for (VornCliPair& pair : named) {
        const int chosen = chooseAlias(&taken, &pair);
        if (chosen != kExitOk)
            return chosen;
    }
    for (const VornCliPair& old : remembered) {
        const VornCliPair* again = byLocal(named, old.local);
        const VornCliPair& pair = again == nullptr ? old : *again;
        if (pair.distant != old.distant)
            m_output->note(VornCliMessages::distantReplaced(pair, old.distant));
        if (!QFileInfo(pair.local).isDir()) {
            m_session->keepPairAway(pair);
            continue;
        }
        const int added = addPair(pair);
        if (added != kExitOk)
            return added;
    }
    for (const VornCliPair& pair : qAsConst(named)) {
        const int added = byLocal(remembered, pair.local) ? kExitOk : addPair(pair);
        if (added != kExitOk)
            return added;
    }
    return kExitOk;
}

int VornCliMirror::addPair(const VornCliPair& pair)
{
    if (!m_session->addPair(pair)) {
        const QStringList texts = m_session->lastTexts();
        for (const QString& text : texts)
            m_output->problem(text);
        const bool stateFailed = std::any_of(texts.cbegin(), texts.cend(), [](const QString& text) {
            return text.startsWith(kStateFailureText);
        });
        return stateFailed ? kExitStateUnusable : kExitUsage;
    }
    m_pairList.put(pair);
    return m_pairList.save() ? kExitOk : fail(kExitStateUnusable, m_pairList.error());
}

// A local directory keeps the alias under which it is known. An alias that is known with another local
// directory is refused here, since the manager would go on with the other one.
int VornCliMirror::chooseAlias(QStringList* taken, VornCliPair* pair)
{
    const VornCliPair* remembered = m_pairList.byLocal(pair->local);
    const QString known = remembered ? remembered->alias : m_session->aliasOfLocal(pair->local);
    if (!known.isEmpty()) {
        if (!pair->alias.isEmpty() && pair->alias != known) {
            return fail(kExitUsage,
                        qtTrId("vorn_sync_local_known")
                            .arg(printable(pair->local), printable(known), printable(pair->alias)));
        }
        pair->alias = known;
        return kExitOk;
    }
    if (!pair->alias.isEmpty()) {
        if (m_pairList.byAlias(pair->alias) == nullptr && !m_session->isKnownAlias(pair->alias))
            return kExitOk;
        return fail(kExitUsage, qtTrId("vorn_sync_alias_taken").arg(printable(pair->alias)));
    }
    do {
        pair->alias = VornCliPairList::freeAlias(pair->local, *taken);
        taken->append(pair->alias);
    } while (m_session->isKnownAlias(pair->alias) || pair->alias == VornCliCycleProbe::reservedAlias());
    return kExitOk;
}

// ---- While it is open -----------------------------------------------------------------------------------

bool VornCliMirror::add(const VornCliPair& pair, QStringList* texts)
{
    const bool wasKnown = m_session->isKnownAlias(pair.alias);
    if (!m_session->addPair(pair)) {
        *texts = m_session->lastTexts();
        return false;
    }
    m_pairList.put(pair);
    if (m_pairList.save())
        return true;
    const QString error = m_pairList.error();
    m_pairList.remove(pair.alias);
    if (!wasKnown) // or what is known of its files would go, too
        m_session->forgetPair(pair.alias, texts);
    texts->append(error);
    return false;
}

bool VornCliMirror::forget(const QString& alias, QStringList* texts)
{
    if (!m_session->forgetPair(alias, texts))
        return false;
    m_pairList.remove(alias);
    if (m_pairList.save())
        return true;
    texts->append(m_pairList.error());
    return false;
}

int VornCliMirror::fail(int exitCode, const QString& error)
{
    m_error = error;
    return exitCode;
}
