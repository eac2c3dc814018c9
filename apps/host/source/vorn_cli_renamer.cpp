#include "vorn_cli_renamer.h"

#include "vorn_cli_listing.h"
#include "vorn_cli_local_rename.h"
#include "vorn_cli_session.h"
#include "vorn_cli_state_directory.h"
#include "vorn_cli_state_reader.h"

#include "vorn_sync_manager.h"

#include <QFileInfo>

#include <algorithm>

struct VornCliRenamer::Facts
{
    bool isLocalThere = false;
    bool isDistantThere = false;
    bool isOldDistantThere = false;
    bool isNewLocalTaken = false;
    bool isNewDistantTaken = false;
};

namespace {

bool isTaken(const QString& path)
{
    const QFileInfo info(path);
    return info.exists() || info.isSymLink(); // a link that leads nowhere is there too
}

} // namespace

VornCliRenamer::VornCliRenamer(VornCliSession& session, const VornCliStateDirectory& state, QObject* parent)
    : QObject(parent)
    , m_session(session)
    , m_state(state)
{
}

bool VornCliRenamer::isUnderWay(const QString& alias, const QString& name)
{
    const auto isMeant = [&](const Committed& one) {
        return one.alias == alias && (one.oldName == name || one.newName == name);
    };
    const auto isMeantAndOver = [&](const Committed& one) { return isMeant(one) && isOver(one); };
    m_committed.erase(std::remove_if(m_committed.begin(), m_committed.end(), isMeantAndOver),
                      m_committed.end());
    return std::any_of(m_committed.cbegin(), m_committed.cend(), isMeant);
}

// Not every rename has an operation whose end is told, but its locks are free afterwards.
bool VornCliRenamer::isOver(const Committed& rename) const
{
    bool isFree = false;
    m_session.act([&](VornSyncManager& manager) {
        isFree = manager.lockForRename(rename.alias, rename.oldName, rename.newName);
        if (isFree)
            manager.abortRename(rename.alias, rename.oldName, rename.newName);
    });
    return isFree || !m_session.isKnownAlias(rename.alias);
}

void VornCliRenamer::remember(const VornCliRequest& request)
{
    // They end in their order: the list stays as short as the queue is, without a look at all of it.
    while (!m_committed.isEmpty() && isOver(m_committed.constFirst()))
        m_committed.removeFirst();
    m_committed.append({request.alias(), request.name(), request.newName()});
}

void VornCliRenamer::rename(const VornCliRequest& request)
{
    if (request.name() == request.newName())
        return request.refuse(QStringLiteral("same_name"), {request.name()});
    if (!m_session.exclusions().isMirrored(request.newName()))
        return request.refuse(QStringLiteral("name_not_mirrored"), {request.newName()});
    VornCliPairStatus status;
    if (!m_session.findPair(request.alias(), &status))
        return request.refuse(QStringLiteral("unknown_alias"), {request.alias()});
    for (const QString& name : {request.name(), request.newName()}) {
        if (isUnderWay(request.alias(), name))
            return request.refuse(QStringLiteral("busy"), {request.alias(), name});
    }
    if (!checkTracked(request))
        return;
    m_background.run([pair = status.pair, oldName = request.name(),
                      newName = request.newName()] { return look(pair, oldName, newName); },
                     [this, request](const Facts& facts) { carryOut(request, facts); });
}

VornCliRenamer::Facts VornCliRenamer::look(const VornCliPair& pair, const QString& oldName,
                                           const QString& newName)
{
    const auto in = [](const QString& directory, const QString& name) {
        return directory + QLatin1Char('/') + name;
    };
    Facts facts;
    facts.isLocalThere = VornCliListing::isPlainFile(in(pair.local, oldName));
    facts.isNewLocalTaken = isTaken(in(pair.local, newName));
    facts.isDistantThere = QFileInfo(pair.distant).isDir();
    facts.isOldDistantThere = isTaken(in(pair.distant, oldName));
    facts.isNewDistantTaken = isTaken(in(pair.distant, newName));
    return facts;
}

bool VornCliRenamer::checkTracked(const VornCliRequest& request) const
{
    using Standing = VornCliStateReader::Standing;
    const VornCliStateReader reader(m_state.databasePath(), VornCliStateReader::Owner::Running);
    const Standing oldStanding = reader.standing(request.alias(), request.name());
    const Standing newStanding = reader.standing(request.alias(), request.newName());
    if (oldStanding == Standing::Unreadable || newStanding == Standing::Unreadable)
        request.refuse(QStringLiteral("state_unreadable"));
    else if (oldStanding == Standing::Untracked)
        request.refuse(QStringLiteral("not_tracked"), {request.alias(), request.name()});
    else if (newStanding != Standing::Untracked)
        request.refuse(QStringLiteral("tracked_exists"), {request.alias(), request.newName()});
    else
        return true;
    return false;
}

bool VornCliRenamer::checkFacts(const VornCliRequest& request, const Facts& facts) const
{
    if (!facts.isDistantThere)
        request.refuse(QStringLiteral("pair_unavailable"), {request.alias()});
    else if (!facts.isLocalThere)
        request.refuse(QStringLiteral("local_missing"), {request.alias(), request.name()});
    else if (facts.isNewLocalTaken)
        request.refuse(QStringLiteral("local_exists"), {request.alias(), request.newName()});
    else if (facts.isNewDistantTaken)
        request.refuse(QStringLiteral("distant_exists"), {request.alias(), request.newName()});
    else
        return true;
    return false;
}

// Everything may have changed while the sides were looked at.
void VornCliRenamer::carryOut(const VornCliRequest& request, const Facts& facts)
{
    VornCliPairStatus status;
    if (m_session.isResetting())
        return request.refuse(QStringLiteral("resetting"));
    if (!m_session.findPair(request.alias(), &status))
        return request.refuse(QStringLiteral("unknown_alias"), {request.alias()});
    if (!checkFacts(request, facts))
        return;
    bool isLocked = false;
    const QStringList texts = m_session.act([&](VornSyncManager& manager) {
        isLocked = manager.lockForRename(request.alias(), request.name(), request.newName());
    });
    if (!isLocked)
        return request.refuse(QStringLiteral("busy"), {request.alias(), request.name()}, texts);
    renameLocked(request, status.pair, facts);
}

void VornCliRenamer::renameLocked(const VornCliRequest& request, const VornCliPair& pair, const Facts& facts)
{
    const auto in = [](const QString& directory, const QString& name) {
        return directory + QLatin1Char('/') + name;
    };
    // The state may have taken in the new name between the look at it and the lock.
    QString reason;
    auto result = VornCliLocalRename::Result::NewNameTaken;
    const bool isStillFree = checkTracked(request);
    if (isStillFree)
        result = VornCliLocalRename::rename(in(pair.local, request.name()), in(pair.local, request.newName()),
                                            &reason);
    const bool isRenamed = result == VornCliLocalRename::Result::Renamed;
    if (isRenamed)
        remember(request);
    if (isRenamed && facts.isOldDistantThere) // otherwise no operation follows
        m_session.expect(in(pair.distant, request.name()), VornCliOperation::Rename);
    const QStringList texts = m_session.act([&](VornSyncManager& manager) {
        if (isRenamed)
            manager.commitRename(request.alias(), request.name(), request.newName());
        else
            manager.abortRename(request.alias(), request.name(), request.newName());
    });
    if (!isStillFree)
        return; // refused already
    switch (result) {
    case VornCliLocalRename::Result::Renamed:
        return request.done(QStringLiteral("renamed"), {request.alias(), request.name(), request.newName()});
    case VornCliLocalRename::Result::NewNameTaken:
        return request.refuse(QStringLiteral("local_exists"), {request.alias(), request.newName()}, texts);
    case VornCliLocalRename::Result::Failed:
        return request.refuse(QStringLiteral("rename_failed"), {request.alias(), request.name(), reason},
                              texts);
    }
}
