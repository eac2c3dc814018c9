#include "sim_host.h"

#include "file_calls.h"
#include "vorn_sync_manager.h"
#include "vorn_sync_types.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QSet>
#include <QTimer>

#include <array>

namespace VornSyncTest {

namespace {

constexpr int kMsPerSec = 1000;
constexpr qint64 kNsPerSec = 1000000000;
constexpr int kRestartPermille = 150; // of its occasions: what piles up needs time
constexpr int kChangedMindPermille = 150;
constexpr int kChangedMindMs = 400; // while the copy waits or runs
constexpr int kRenameStepMs = 2000;
constexpr int kPauseMs = 120000;
constexpr int kResetTimeoutMs = 3000;
constexpr int kLongestStaleSecs = 600;
constexpr int kVerificationCycles = 6;

QString alias()
{
    return QStringLiteral("docs");
}

} // namespace

SimHost::SimHost(SimWorld& world, SimDisk& disk)
    : m_world(world)
    , m_disk(disk)
    , m_raw(QString::fromUtf8(world.root() + "/state/state.db"))
{
}

SimHost::~SimHost() = default;

void SimHost::live()
{
    start();
    {
        SimActors actors(m_world, m_disk);
        while (SimWorld::nowNs() < m_world.state().endNs) {
            waitMs(qint64(m_world.random(quint64(m_world.profile().hostPauseSecs) * kMsPerSec)));
            act();
        }
        // No more faults: a slow share would hold up the end of the actors, and theirs is the last word.
        heal();
        actors.stop();
        actors.closeSideCars();
    }
    m_disk.setWeather(SimWeather::Fair);
    awaitRest();
    probe();
    stop();
    checkDatabase();
    m_world.state().isDone = true;
}

void SimHost::start()
{
    const SimProfile& profile = m_world.profile();
    for (int number = 0; number < m_world.nameCount(); ++number)
        m_world.file(number).lockedSinceNs = -1;
    m_manager = std::make_unique<VornSyncManager>(
        QString::fromUtf8(m_world.root() + "/state/state.db"), QString::fromUtf8(m_world.root() + "/trash"),
        profile.syncIntervalSecs * kMsPerSec, profile.exclusionPatterns);
    connect(m_manager.get(), &VornSyncManager::countersChanged, this, &SimHost::noteErrors);
    m_isStateUnusable = false;
    connect(m_manager.get(), &VornSyncManager::errorOccurred, this, [this](const QString& message) {
        m_isStateUnusable =
            m_isStateUnusable || message.startsWith(QLatin1String("ERROR: State database is not usable"));
    });
    m_world.log(QStringLiteral("host starts"));
    addPair();
    noteErrors();
}

void SimHost::stop()
{
    m_world.log(QStringLiteral("host stops"));
    m_manager.reset();
}

void SimHost::waitMs(qint64 ms)
{
    QEventLoop loop;
    QTimer::singleShot(int(ms), &loop, &QEventLoop::quit);
    loop.exec();
}

void SimHost::noteErrors()
{
    std::array<int, kSimMaxNames> codes{};
    std::array<int, kSimMaxNames> statuses{};
    const QVariantList files = m_manager->errorFiles();
    for (const QVariant& entry : files) {
        const QVariantMap file = entry.toMap();
        const QString fileName = file.value(QStringLiteral("fileName")).toString();
        const int number = int(m_world.profile().fileNames.indexOf(fileName));
        if (number < 0 && m_world.isLeftSibling(fileName))
            continue;
        if (number < 0)
            m_world.fail(QStringLiteral("'%1' is in error and was never there").arg(fileName));
        codes.at(std::size_t(number)) = file.value(QStringLiteral("errorCode")).toInt();
        statuses.at(std::size_t(number)) = file.value(QStringLiteral("status")).toInt();
    }
    for (int number = 0; number < m_world.nameCount(); ++number) {
        const int code = codes.at(std::size_t(number));
        const bool isNew = code != 0 && code != m_world.file(number).listedCode;
        m_world.file(number).listedCode = code;
        if (isNew)
            m_world.onErrorListed(number, code, statuses.at(std::size_t(number)));
    }
}

// --- What the host does ---------------------------------------------------------------------------------

void SimHost::act()
{
    ++m_world.state().actions;
    const SimProfile& profile = m_world.profile();
    if (profile.hasErrorDesk && m_world.chance(300))
        return answerErrors();
    switch (m_world.random(24)) {
    case 0:
        m_world.log(QStringLiteral("host asks for a cycle"));
        return m_manager->requestSync();
    case 1:
        m_world.log(QStringLiteral("host pauses"));
        m_manager->pauseAll();
        return resumeLater();
    case 2:
        m_world.log(QStringLiteral("host says that the share is away"));
        m_manager->setDirectoryAvailability(alias(), false);
        return comeBackLater();
    case 3:
        if (!m_world.chance(kRestartPermille))
            return askFor(int(m_world.random(quint64(m_world.nameCount()))));
        stop();
        return start();
    case 4:
    case 5:
        return answerErrors();
    case 6:
        if (profile.hasResets)
            return reset();
        Q_FALLTHROUGH();
    default:
        return actOnFile(int(m_world.random(quint64(m_world.nameCount()))));
    }
}

void SimHost::actOnFile(int number)
{
    switch (m_world.random(12)) {
    case 0:
        return deleteAndTell(number);
    case 1:
        return tombstone(number);
    case 2:
        return moveToTrash(number);
    case 3:
    case 4:
        return beginRename(number);
    case 5:
    case 6:
        return askFor(number);
    default:
        return writeAndTell(number);
    }
}

void SimHost::writeAndTell(int number)
{
    if (!m_world.write(SimSide::Local, number))
        return;
    m_manager->notifyLocalFileChanged(alias(), name(number));
    // Some change their mind at once.
    if (!m_world.state().isHealing && m_world.chance(kChangedMindPermille))
        QTimer::singleShot(int(m_world.random(kChangedMindMs)), m_manager.get(),
                           [this, number] { deleteAndTell(number); });
}

void SimHost::deleteAndTell(int number)
{
    if (!m_world.remove(SimSide::Local, number))
        return;
    SimFile& file = m_world.file(number);
    file.localAbsentNs = file.deleteWishNs = SimWorld::nowNs();
    // Nothing stands between this deletion and its end: it must arrive.
    file.isDeleteOpen = m_world.state().weather == SimWeather::Fair && !m_world.state().hadDisturbance;
    m_world.log(QStringLiteral("host announces the deletion"));
    m_manager->notifyLocalFileDeleted(alias(), name(number));
}

void SimHost::tombstone(int number)
{
    if (!m_world.remove(SimSide::Local, number))
        return;
    m_world.file(number).localAbsentNs = SimWorld::nowNs();
    m_world.log(QStringLiteral("host tombstones it"));
    m_manager->tombstoneLocalFile(alias(), name(number));
}

void SimHost::moveToTrash(int first)
{
    int number = first;
    for (int i = 0; i < m_world.nameCount() && m_world.file(number).local == kSimNoVersion; ++i)
        number = (number + 1) % m_world.nameCount();
    m_world.log(QStringLiteral("host asks to move '%1' to the trash").arg(name(number).left(24)));
    m_world.file(number).trashWishNs = SimWorld::nowNs();
    m_manager->moveToTrashFile(alias(), name(number));
}

void SimHost::askFor(int number)
{
    m_world.log(QStringLiteral("host asks for '%1'").arg(name(number).left(24)));
    m_world.file(number).readyWishNs = SimWorld::nowNs();
    m_manager->requestFileReady(QString::fromUtf8(m_world.path(SimSide::Distant, number)));
}

void SimHost::beginRename(int from)
{
    const int to = int(m_world.random(quint64(m_world.nameCount())));
    if (to == from || m_world.file(from).local == kSimNoVersion || m_world.file(to).local != kSimNoVersion)
        return;
    m_world.file(from).renameWishNs = m_world.file(to).renameWishNs = SimWorld::nowNs();
    if (!m_manager->lockForRename(alias(), name(from), name(to)))
        return;
    m_world.file(from).lockedSinceNs = m_world.file(to).lockedSinceNs = SimWorld::nowNs();
    m_world.log(QStringLiteral("host locks '%1' and '%2'").arg(name(from).left(24), name(to).left(24)));
    QTimer::singleShot(int(m_world.random(kRenameStepMs)), m_manager.get(),
                       [this, from, to] { moveForRename(from, to); });
}

void SimHost::moveForRename(int from, int to)
{
    const bool isFree = m_world.file(to).local == kSimNoVersion && m_world.file(from).local != kSimNoVersion;
    const bool isMoved = isFree && !m_world.chance(100) && m_world.renameLocal(from, to);
    QTimer::singleShot(int(m_world.random(kRenameStepMs)), m_manager.get(),
                       [this, from, to, isMoved] { endRename(from, to, isMoved); });
}

void SimHost::endRename(int from, int to, bool isMoved)
{
    m_world.log(
        QStringLiteral("host %1 the rename of '%2'")
            .arg(isMoved ? QStringLiteral("commits") : QStringLiteral("gives up"), name(from).left(24)));
    m_world.file(from).renameWishNs = m_world.file(to).renameWishNs = SimWorld::nowNs();
    m_world.file(from).lockedSinceNs = m_world.file(to).lockedSinceNs = -1;
    if (isMoved)
        m_manager->commitRename(alias(), name(from), name(to));
    else
        m_manager->abortRename(alias(), name(from), name(to));
}

// -1: a leftover of a process that was killed.
int SimHost::numberOf(const QVariant& errorFile) const
{
    return int(
        m_world.profile().fileNames.indexOf(errorFile.toMap().value(QStringLiteral("fileName")).toString()));
}

void SimHost::answerErrors()
{
    const QVariantList files = m_manager->errorFiles();
    if (files.isEmpty())
        return;
    for (const QVariant& entry : files) {
        const int number = numberOf(entry);
        if (number < 0)
            continue;
        m_world.setLocalWanted(number);
        m_world.file(number).trashWishNs = SimWorld::nowNs();
    }
    switch (m_world.random(4)) {
    case 0:
        m_world.log(QStringLiteral("user retries all"));
        return m_manager->retryAllErrors();
    case 1:
        m_world.log(QStringLiteral("user acknowledges all"));
        return m_manager->acknowledgeAllMissing();
    case 2:
        m_world.log(QStringLiteral("user deletes all that is missing over there"));
        return m_manager->deleteAllDistantMissing();
    default:
        break;
    }
    const QVariantMap file = files.at(int(m_world.random(quint64(files.size())))).toMap();
    const QString fileName = file.value(QStringLiteral("fileName")).toString();
    m_world.log(QStringLiteral("user retries '%1'").arg(fileName.left(24)));
    m_manager->retrySync(alias(), fileName);
}

void SimHost::resumeLater()
{
    QTimer::singleShot(int(m_world.random(kPauseMs)), m_manager.get(), [this] {
        m_world.log(QStringLiteral("host resumes"));
        m_manager->resumeAll();
    });
}

void SimHost::comeBackLater()
{
    QTimer::singleShot(int(m_world.random(kPauseMs)), m_manager.get(), [this] {
        m_world.log(QStringLiteral("host says that the share is there"));
        m_manager->setDirectoryAvailability(alias(), true);
    });
}

// Every local file is sent again, by design.
void SimHost::reset()
{
    m_world.state().hadDisturbance = true;
    if (m_world.chance(300))
        return registerAgain();
    const bool isHard = m_world.chance(300);
    m_world.log(isHard ? QStringLiteral("host wipes the state") : QStringLiteral("host resets the state"));
    const bool isUsable =
        isHard ? m_manager->wipeSyncDatabaseFile() : m_manager->resetSyncDatabase(kResetTimeoutMs);
    m_world.log(isUsable ? QStringLiteral("... done") : QStringLiteral("... failed"));
    addPair();
}

// What was known of the pair's files is forgotten.
void SimHost::registerAgain()
{
    m_world.log(QStringLiteral("host removes the pair"));
    m_manager->delDirectory(alias());
    QTimer::singleShot(int(m_world.random(kPauseMs)), m_manager.get(), [this] {
        m_world.log(QStringLiteral("host registers the pair"));
        addPair();
    });
}

void SimHost::addPair()
{
    m_manager->addDirectory(alias(), QString::fromUtf8(m_world.directory(SimSide::Local)),
                            QString::fromUtf8(m_world.directory(SimSide::Distant)));
}

// --- Healing and rest -----------------------------------------------------------------------------------

void SimHost::heal()
{
    m_world.log(QStringLiteral("the world heals"));
    m_world.state().isHealing = true;
    m_world.state().crashAtCall = -1;
}

qint64 SimHost::healBoundSecs() const
{
    const SimProfile& profile = m_world.profile();
    // What failed waits until it is stale, perhaps twice, by a clock that has to come back to where it was first; two
    // verifications; the queue with its retries.
    return m_world.state().setBackSecs + 2 * kLongestStaleSecs +
           4 * (kVerificationCycles + 1) * profile.syncIntervalSecs + 20 * profile.fileNames.size() +
           kPauseMs / kMsPerSec;
}

void SimHost::answerAll()
{
    const QVariantList files = m_manager->errorFiles();
    for (const QVariant& entry : files) {
        if (const int number = numberOf(entry); number >= 0)
            m_world.setLocalWanted(number);
    }
    m_manager->acknowledgeAllMissing();
    m_manager->retryAllErrors();
}

QString SimHost::listedErrors() const
{
    QString text;
    for (int number = 0; number < m_world.nameCount(); ++number) {
        if (const int code = m_world.file(number).listedCode)
            text += QStringLiteral(" '%1': %2").arg(name(number).left(24), QString::number(code));
    }
    return text;
}

QString SimHost::openWork()
{
    if (m_manager->inProgressCount() > 0 || m_manager->pendingCount() > 0 || m_manager->errorCount() > 0)
        return QStringLiteral("%1 in progress, %2 pending, %3 in error%4")
            .arg(QString::number(m_manager->inProgressCount()), QString::number(m_manager->pendingCount()),
                 QString::number(m_manager->errorCount()), listedErrors());
    {
        const FileCalls::Unseen unseen;
        const auto rows = m_raw.rows(QStringLiteral("SELECT file_name, status FROM file_tracking"));
        if (!m_raw.lastError().isEmpty())
            return QStringLiteral("the state can't be read: ") + m_raw.lastError();
        QSet<QString> upToDate;
        for (const QVariantMap& row : rows) {
            const int status = row.value(QStringLiteral("status")).toInt();
            const QString fileName = row.value(QStringLiteral("file_name")).toString();
            if (status != ceSfsUpToDate && !VornSyncTypes::isTombstoned(status))
                return QStringLiteral("'%1' has status %2").arg(fileName.left(24), QString::number(status));
            if (status == ceSfsUpToDate)
                upToDate.insert(fileName);
        }
        for (int number = 0; number < m_world.nameCount(); ++number) {
            const bool isThere = m_world.file(number).local != kSimNoVersion;
            if (isThere != upToDate.contains(name(number)))
                return QStringLiteral("the row of '%1' is not as the disk").arg(name(number).left(24));
        }
        if (m_manager->doneCount() != upToDate.size())
            return QStringLiteral("%1 are counted as done, %2 are")
                .arg(m_manager->doneCount())
                .arg(upToDate.size());
    }
    return m_world.restProblem();
}

void SimHost::awaitRest()
{
    // Said of a state that could not be read or made when the host started: it works after a start that can.
    if (m_isStateUnusable) {
        stop();
        start();
    }
    m_manager->resumeAll();
    addPair();
    m_manager->setDirectoryAvailability(alias(), true);
    settle();
}

void SimHost::settle()
{
    const qint64 beginNs = SimWorld::nowNs();
    const qint64 quietNs = (kVerificationCycles + 2) * m_world.profile().syncIntervalSecs * kNsPerSec;
    qint64 quietSinceNs = -1;
    for (;;) {
        waitMs(m_world.profile().syncIntervalSecs * kMsPerSec / 2);
        answerAll();
        const QString open = openWork();
        const qint64 now = SimWorld::nowNs();
        if (!open.isEmpty())
            quietSinceNs = -1;
        else if (quietSinceNs < 0)
            quietSinceNs = now;
        if (quietSinceNs >= 0 && now - quietSinceNs >= quietNs)
            return;
        if (quietSinceNs < 0 && now - beginNs > healBoundSecs() * kNsPerSec)
            m_world.fail(QStringLiteral("it never comes to rest: ") + open);
    }
}

// What was left locked or in flight would hold one of these back for ever.
void SimHost::probe()
{
    for (int number = 0; number < m_world.nameCount(); ++number) {
        if (m_world.file(number).local == kSimNoVersion)
            continue;
        // A cycle has to find every second one.
        if (number % 2 == 0)
            writeAndTell(number);
        else
            m_world.write(SimSide::Local, number);
    }
    settle();
}

void SimHost::checkDatabase()
{
    const FileCalls::Unseen unseen;
    const QString problems = m_raw.integrityProblems();
    if (!problems.isEmpty())
        m_world.fail(QStringLiteral("the state is damaged: ") + problems);
}

} // namespace VornSyncTest
