#include "vorn_cli_request_handler.h"

#include "vorn_cli_command_connection.h"
#include "vorn_cli_cycle_probe.h"
#include "vorn_cli_listing.h"
#include "vorn_cli_pair_list.h"
#include "vorn_cli_progress_json.h"
#include "vorn_cli_protocol.h"
#include "vorn_cli_session.h"
#include "vorn_cli_state_directory.h"
#include "vorn_cli_state_reader.h"
#include "vorn_cli_status_json.h"

#include "vorn_sync_manager.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <algorithm>

using namespace VornCliProtocol;

namespace {

constexpr int kAnyCode = -1;
constexpr int kLocalMissingCode = 2;
constexpr int kDistantMissingCode = 15;
constexpr int kWantedOrRunningBits = 0x06; // of a raw status

bool isBareName(const QString& name)
{
    return !name.isEmpty() && name != QLatin1String(".") && name != QLatin1String("..") &&
           !name.contains(QLatin1Char('/')) && !name.contains(QChar(QChar::Null));
}

bool isThere(const QString& path)
{
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

} // namespace

struct VornCliRequestHandler::Entry
{
    QLatin1String command;
    Handle handle;
    bool worksDuringReset;
};

VornCliRequestHandler::VornCliRequestHandler(VornCliSession& session, VornCliPairList& pairList,
                                             const VornCliStateDirectory& state, QObject* parent)
    : QObject(parent)
    , m_session(session)
    , m_pairList(pairList)
    , m_state(state)
    , m_renamer(session, state)
{
}

void VornCliRequestHandler::take(VornCliCommandConnection* connection, const QJsonObject& request)
{
    QMetaObject::invokeMethod(
        this, [this, parsed = VornCliRequest(connection, request)] { handle(parsed); }, Qt::QueuedConnection);
}

void VornCliRequestHandler::handle(const VornCliRequest& request)
{
    using Self = VornCliRequestHandler;
    static const Entry kEntries[] = {
        {QLatin1String("status"), &Self::status, true},
        {QLatin1String("errors"), &Self::errors, true},
        {QLatin1String("retry"), &Self::retry, false},
        {QLatin1String("acknowledge"), &Self::acknowledge, false},
        {QLatin1String("restore"), &Self::restore, false},
        {QLatin1String("retry-all"), &Self::retryAll, false},
        {QLatin1String("acknowledge-all"), &Self::acknowledgeAll, false},
        {QLatin1String("delete-all-missing"), &Self::deleteAllMissing, false},
        {QLatin1String("trash"), &Self::trash, false},
        {QLatin1String("deleted"), &Self::deleted, false},
        {QLatin1String("rename"), &Self::rename, false},
        {QLatin1String("ready"), &Self::ready, false},
        {QLatin1String("sync"), &Self::sync, false},
        {QLatin1String("pause"), &Self::pause, false},
        {QLatin1String("resume"), &Self::resume, false},
        {QLatin1String("forget"), &Self::forget, false},
        {QLatin1String("reset"), &Self::reset, false},
    };
    for (const Entry& entry : kEntries) {
        if (request.command() != entry.command)
            continue;
        if (m_session.isResetting() && !entry.worksDuringReset)
            return request.refuse(QStringLiteral("resetting"));
        return (this->*entry.handle)(request);
    }
    request.refuse(QStringLiteral("unknown_command"), {request.command()});
}

// ---- How things stand -----------------------------------------------------------------------------------

void VornCliRequestHandler::status(const VornCliRequest& request)
{
    QJsonObject object = VornCliStatusJson::status(m_session.counters(), m_session.pairStatuses());
    object.insert(QStringLiteral("process"), QCoreApplication::applicationPid());
    object.insert(QStringLiteral("version"), QCoreApplication::applicationVersion());
    object.insert(QStringLiteral("once"), m_session.once());
    object.insert(QStringLiteral("paused"), m_session.isPaused());
    object.insert(QStringLiteral("idle"), m_session.isIdle());
    object.insert(QStringLiteral("recent"), VornCliStatusJson::recent(m_session.recentEvents()));
    if (!m_session.isResetting()) { // the database may just be missing
        VornCliProgress progress;
        VornCliStateReader(m_state.databasePath(), VornCliStateReader::Owner::Running).progress(&progress);
        VornCliProgressJson::add(progress, &object);
    }
    request.give(object);
}

void VornCliRequestHandler::errors(const VornCliRequest& request)
{
    request.give(VornCliStatusJson::errors(m_session.errors()));
}

// ---- Files in error -------------------------------------------------------------------------------------

void VornCliRequestHandler::retry(const VornCliRequest& request)
{
    retryError(request, kAnyCode, QString());
}

void VornCliRequestHandler::acknowledge(const VornCliRequest& request)
{
    retryError(request, kLocalMissingCode, QStringLiteral("not_acknowledgeable"));
}

void VornCliRequestHandler::restore(const VornCliRequest& request)
{
    retryError(request, kDistantMissingCode, QStringLiteral("not_restorable"));
}

void VornCliRequestHandler::retryError(const VornCliRequest& request, int onlyCode, const QString& otherwise)
{
    VornCliFileError error;
    if (!checkFile(request) || !findError(request, &error))
        return;
    if (onlyCode != kAnyCode && error.code != onlyCode)
        return request.refuse(otherwise, {request.alias(), request.name(), QString::number(error.code)});
    bool isAcknowledged = false;
    bool isRestored = false;
    const QStringList texts = m_session.act([&](VornSyncManager& manager) {
        isAcknowledged = manager.isAcknowledgeOnly(error.code);
        isRestored = manager.isRestoreOrDelete(error.code);
        manager.retrySync(request.alias(), request.name());
    });
    if (!texts.isEmpty())
        return request.refuse(QStringLiteral("failed"), {}, texts);
    const QStringList file{request.alias(), request.name()};
    if (isAcknowledged)
        return request.done(QStringLiteral("acknowledged"), file);
    request.done(isRestored ? QStringLiteral("restored") : QStringLiteral("retried"), file);
}

void VornCliRequestHandler::retryAll(const VornCliRequest& request)
{
    forAllErrors(
        request, QStringLiteral("retried_all"), [](int code) { return code != kLocalMissingCode; },
        &VornSyncManager::retryAllErrors);
}

void VornCliRequestHandler::acknowledgeAll(const VornCliRequest& request)
{
    forAllErrors(
        request, QStringLiteral("acknowledged_all"), [](int code) { return code == kLocalMissingCode; },
        &VornSyncManager::acknowledgeAllMissing);
}

void VornCliRequestHandler::deleteAllMissing(const VornCliRequest& request)
{
    const QVector<VornCliFileError> errors = m_session.errors();
    for (const VornCliFileError& error : errors) {
        VornCliPairStatus status;
        if (error.code == kDistantMissingCode && m_session.findPair(error.alias, &status))
            m_session.expect(status.pair.local + QLatin1Char('/') + error.name, VornCliOperation::Trash);
    }
    forAllErrors(
        request, QStringLiteral("trashed_all"), [](int code) { return code == kDistantMissingCode; },
        &VornSyncManager::deleteAllDistantMissing);
}

void VornCliRequestHandler::forAllErrors(const VornCliRequest& request, const QString& done,
                                         const std::function<bool(int code)>& isMeant,
                                         void (VornSyncManager::*action)())
{
    const QVector<VornCliFileError> errors = m_session.errors();
    const auto count =
        std::count_if(errors.cbegin(), errors.cend(),
                      [&isMeant](const VornCliFileError& error) { return isMeant(error.code); });
    const QStringList texts = m_session.act([action](VornSyncManager& manager) { (manager.*action)(); });
    if (!texts.isEmpty())
        return request.refuse(QStringLiteral("failed"), {}, texts);
    request.doneMany(done, static_cast<int>(count));
}

// ---- Single files ---------------------------------------------------------------------------------------

void VornCliRequestHandler::trash(const VornCliRequest& request)
{
    VornCliPairStatus status;
    if (!checkFile(request) || !checkTracked(request, false))
        return;
    if (!m_session.findPair(request.alias(), &status))
        return request.refuse(QStringLiteral("unknown_alias"), {request.alias()});
    const QString path = status.pair.local + QLatin1Char('/') + request.name();
    if (!VornCliListing::isPlainFile(path))
        return request.refuse(QStringLiteral("local_missing"), {request.alias(), request.name()});
    m_session.expect(path, VornCliOperation::Trash);
    const QStringList texts = m_session.act(
        [&request](VornSyncManager& manager) { manager.moveToTrashFile(request.alias(), request.name()); });
    if (!texts.isEmpty())
        return request.refuse(QStringLiteral("failed"), {}, texts);
    request.done(QStringLiteral("trashed"), {request.alias(), request.name()});
}

void VornCliRequestHandler::deleted(const VornCliRequest& request)
{
    VornCliPairStatus status;
    if (!checkFile(request) || !checkTracked(request, true))
        return;
    const bool keepDistant = request.flag(kKeepDistantKey);
    if (!m_session.findPair(request.alias(), &status))
        return request.refuse(QStringLiteral("unknown_alias"), {request.alias()});
    // In a directory that is away nothing can be told to be gone.
    if (!QFileInfo(status.pair.local).isDir() || (!keepDistant && !status.distantThere))
        return request.refuse(QStringLiteral("pair_unavailable"), {request.alias()});
    if (isThere(status.pair.local + QLatin1Char('/') + request.name()))
        return request.refuse(QStringLiteral("still_there"), {request.alias(), request.name()});
    const QStringList texts = m_session.act([&](VornSyncManager& manager) {
        if (keepDistant)
            manager.tombstoneLocalFile(request.alias(), request.name());
        else
            manager.notifyLocalFileDeleted(request.alias(), request.name());
    });
    if (!texts.isEmpty())
        return request.refuse(QStringLiteral("failed"), {}, texts);
    request.done(keepDistant ? QStringLiteral("deleted_local") : QStringLiteral("deleted"),
                 {request.alias(), request.name()});
}

void VornCliRequestHandler::rename(const VornCliRequest& request)
{
    if (checkFile(request) && checkName(request, request.newName()))
        m_renamer.rename(request);
}

void VornCliRequestHandler::ready(const VornCliRequest& request)
{
    QString path = request.path();
    if (!request.has(kPathKey)) {
        VornCliPairStatus status;
        if (!checkFile(request))
            return;
        if (!m_session.findPair(request.alias(), &status))
            return request.refuse(QStringLiteral("unknown_alias"), {request.alias()});
        // The manager would take the path for one that is none of its business, and the file for ready.
        if (!m_session.isKnownAlias(request.alias()))
            return request.refuse(QStringLiteral("pair_unavailable"), {request.alias()});
        if (m_renamer.isUnderWay(request.alias(), request.name())) // or the old name would come back
            return request.refuse(QStringLiteral("busy"), {request.alias(), request.name()});
        path = status.pair.distant + QLatin1Char('/') + request.name();
    }
    if (path.isEmpty())
        return request.refuse(QStringLiteral("not_ready"), {path});
    m_session.requestFileReady(path, [this, request, path](const QString& resolved, bool found) {
        if (resolved.isEmpty())
            request.refuse(QStringLiteral("ending"));
        else if (!request.has(kPathKey) && !m_session.isKnownAlias(request.alias()))
            request.refuse(QStringLiteral("unknown_alias"), {request.alias()}); // forgotten meanwhile
        else if (found)
            request.done(QStringLiteral("ready"), {resolved});
        else
            request.refuse(QStringLiteral("not_ready"), {path});
    });
}

void VornCliRequestHandler::sync(const VornCliRequest& request)
{
    if (request.has(kAliasKey))
        return syncFile(request);
    if (m_session.isPaused())
        return request.refuse(QStringLiteral("paused"));
    m_session.act([](VornSyncManager& manager) { manager.requestSync(); });
    request.done(QStringLiteral("cycle"));
}

void VornCliRequestHandler::syncFile(const VornCliRequest& request)
{
    VornCliPairStatus status;
    if (!checkFile(request))
        return;
    if (!m_session.findPair(request.alias(), &status))
        return request.refuse(QStringLiteral("unknown_alias"), {request.alias()});
    if (!m_session.exclusions().isMirrored(request.name()))
        return request.refuse(QStringLiteral("name_not_mirrored"), {request.name()});
    if (!status.localThere || !status.distantThere) // the manager would try, fail, and let the file wait
        return request.refuse(QStringLiteral("pair_unavailable"), {request.alias()});
    if (!VornCliListing::isPlainFile(status.pair.local + QLatin1Char('/') + request.name()))
        return request.refuse(QStringLiteral("local_missing"), {request.alias(), request.name()});
    const QVector<VornCliFileError> errors = m_session.errors();
    const bool isWaiting =
        std::any_of(errors.cbegin(), errors.cend(), [&request](const VornCliFileError& error) {
            return error.alias == request.alias() && error.name == request.name() &&
                   (error.status & kWantedOrRunningBits);
        });
    if (isWaiting) // the manager would refuse without a word
        return request.refuse(QStringLiteral("busy"), {request.alias(), request.name()});
    const VornCliStateReader reader(m_state.databasePath(), VornCliStateReader::Owner::Running);
    const bool isBusy =
        reader.standing(request.alias(), request.name()) == VornCliStateReader::Standing::Busy;
    const QStringList texts = m_session.act([&request](VornSyncManager& manager) {
        manager.notifyLocalFileChanged(request.alias(), request.name());
    });
    if (!texts.isEmpty())
        return request.refuse(QStringLiteral("failed"), {}, texts);
    request.done(isBusy ? QStringLiteral("sent_later") : QStringLiteral("sent"),
                 {request.alias(), request.name()});
}

// ---- Pairs and state ------------------------------------------------------------------------------------

void VornCliRequestHandler::pause(const VornCliRequest& request)
{
    if (!request.has(kAliasKey)) {
        if (!m_session.isPaused())
            m_session.pauseAll();
        return request.done(QStringLiteral("paused"));
    }
    VornCliPairStatus status;
    if (!m_session.findPair(request.alias(), &status))
        return request.refuse(QStringLiteral("unknown_alias"), {request.alias()});
    m_session.setSuspended(request.alias(), true);
    request.done(QStringLiteral("suspended"), {request.alias()});
}

void VornCliRequestHandler::resume(const VornCliRequest& request)
{
    if (!request.has(kAliasKey)) {
        if (m_session.isPaused())
            m_session.resumeAll();
        return request.done(QStringLiteral("resumed"));
    }
    VornCliPairStatus status;
    if (!m_session.findPair(request.alias(), &status))
        return request.refuse(QStringLiteral("unknown_alias"), {request.alias()});
    m_session.setSuspended(request.alias(), false);
    request.done(QStringLiteral("unsuspended"), {request.alias()});
}

void VornCliRequestHandler::forget(const VornCliRequest& request)
{
    if (!checkAlias(request))
        return;
    QStringList texts;
    if (!m_session.forgetPair(request.alias(), &texts))
        return request.refuse(QStringLiteral("failed"), {}, texts);
    m_pairList.remove(request.alias());
    if (!m_pairList.save())
        return request.refuse(QStringLiteral("failed"), {}, {m_pairList.error()});
    request.done(QStringLiteral("forgotten"), {request.alias()});
}

void VornCliRequestHandler::reset(const VornCliRequest& request)
{
    constexpr int kAtOnce = -1;
    const int timeoutMs =
        request.flag(kNowKey) ? kAtOnce : std::max(0, request.number(kTimeoutKey, kResetDefaultMs));
    if (m_session.reset(timeoutMs))
        return request.doneMany(QStringLiteral("reset"), int(m_session.pairStatuses().size()));
    request.refuse(QStringLiteral("reset_failed"), {}, m_session.lastTexts());
}

// ---- Checks ---------------------------------------------------------------------------------------------

bool VornCliRequestHandler::checkAlias(const VornCliRequest& request)
{
    VornCliPairStatus status;
    if (m_session.findPair(request.alias(), &status) ||
        (request.alias() != VornCliCycleProbe::reservedAlias() && m_session.isKnownAlias(request.alias())))
        return true;
    request.refuse(QStringLiteral("unknown_alias"), {request.alias()});
    return false;
}

bool VornCliRequestHandler::checkFile(const VornCliRequest& request)
{
    return checkAlias(request) && checkName(request, request.name());
}

bool VornCliRequestHandler::checkName(const VornCliRequest& request, const QString& name)
{
    if (isBareName(name))
        return true;
    // It does nothing for such a name, but has a text for it.
    const QStringList texts =
        m_session.act([&](VornSyncManager& manager) { manager.retrySync(request.alias(), name); });
    request.refuse(QStringLiteral("invalid_name"), {name}, texts);
    return false;
}

bool VornCliRequestHandler::checkTracked(const VornCliRequest& request, bool mayBeBusy)
{
    const QStringList file{request.alias(), request.name()};
    if (m_renamer.isUnderWay(request.alias(), request.name())) {
        request.refuse(QStringLiteral("busy"), file);
        return false;
    }
    const VornCliStateReader reader(m_state.databasePath(), VornCliStateReader::Owner::Running);
    switch (reader.standing(request.alias(), request.name())) {
    case VornCliStateReader::Standing::Settled:
        return true;
    case VornCliStateReader::Standing::Busy:
        if (mayBeBusy)
            return true;
        request.refuse(QStringLiteral("busy"), file);
        return false;
    case VornCliStateReader::Standing::Untracked:
        request.refuse(QStringLiteral("not_tracked"), file);
        return false;
    case VornCliStateReader::Standing::Unreadable:
        break;
    }
    request.refuse(QStringLiteral("state_unreadable"));
    return false;
}

bool VornCliRequestHandler::findError(const VornCliRequest& request, VornCliFileError* error)
{
    const QVector<VornCliFileError> errors = m_session.errors();
    const auto found = std::find_if(errors.cbegin(), errors.cend(), [&request](const VornCliFileError& one) {
        return one.alias == request.alias() && one.name == request.name();
    });
    if (found != errors.cend()) {
        *error = *found;
        return true;
    }
    if (checkTracked(request, true))
        request.refuse(QStringLiteral("not_in_error"), {request.alias(), request.name()});
    return false;
}
