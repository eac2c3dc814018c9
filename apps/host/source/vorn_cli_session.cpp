#include "vorn_cli_session.h"

#include "vorn_cli_listing.h"
#include "vorn_cli_messages.h"
#include "vorn_cli_mirror_options.h"
#include "vorn_cli_state_directory.h"

#include "vorn_sync_manager.h"

#include <QDir>

#include <algorithm>

namespace {

// How the manager begins its text when a pair is registered but has no distant directory for now.
const QLatin1String kDistantMissingText("Warning: Given distant path");

QString directoryOf(const QString& filePath)
{
    return filePath.left(filePath.lastIndexOf(QLatin1Char('/')));
}

} // namespace

VornCliSession::VornCliSession(const VornCliMirrorOptions& options, const VornCliStateDirectory& state,
                               VornCliOutput& output)
    : m_options(options)
    , m_state(state)
    , m_output(output)
    , m_exclusions(options.exclusions())
{
    m_refreshTimer.setSingleShot(true);
    m_refreshTimer.setInterval(0);
    connect(&m_refreshTimer, &QTimer::timeout, this, &VornCliSession::tellRefreshed);
    connect(&m_poller, &VornCliAvailabilityPoller::looked, this, &VornCliSession::onLooked);
    connect(&m_watcher, &VornCliWatcher::fileSaved, &m_batcher, &VornCliChangeBatcher::addSaved);
    connect(&m_watcher, &VornCliWatcher::fileTouched, &m_batcher, &VornCliChangeBatcher::addTouched);
    connect(&m_batcher, &VornCliChangeBatcher::batchReady, this, &VornCliSession::onBatch);
    connect(&m_watcher, &VornCliWatcher::eventsLost, this, [this] {
        if (m_manager)
            m_manager->requestSync();
    });
}

VornCliSession::~VornCliSession()
{
    close();
}

// ---- Life cycle -----------------------------------------------------------------------------------------

void VornCliSession::open()
{
    createManager();
    // A run that was killed may have left its probe registered; it must not take part in anything.
    VornCliCycleProbe::forget(m_manager.get());
}

bool VornCliSession::isKnownAlias(const QString& alias) const
{
    return m_manager->isAliasDirectorySynchronised(alias);
}

QString VornCliSession::aliasOfLocal(const QString& local) const
{
    return m_manager->getLocalDirSynchronizedAlias(local);
}

bool VornCliSession::addPair(const VornCliPair& pair)
{
    Entry entry;
    entry.pair = pair;
    watch(entry); // before the first look at the directory, so that nothing is saved unseen in between
    if (!registerPair(&entry)) {
        m_watcher.unwatch(pair.alias);
        return false;
    }
    m_entries.append(entry);
    m_aliasOfLocal.insert(pair.local, pair.alias);
    m_output.pairAdded(pair);
    if (!entry.distantThere)
        m_output.availability(pair, true, false);
    if (m_isStarted)
        m_poller.start(pairs());
    if (isPaused())
        m_manager->setDirectoryAvailability(pair.alias, false); // until all are resumed
    emit refreshed();
    return true;
}

void VornCliSession::keepPairAway(const VornCliPair& pair)
{
    Entry entry;
    entry.pair = pair;
    entry.localThere = false;
    m_manager->setDirectoryAvailability(pair.alias, false); // or all its files would be taken as missing
    m_entries.append(entry);
    m_aliasOfLocal.insert(pair.local, pair.alias);
    m_output.availability(pair, false, true);
}

bool VornCliSession::start(bool withProbe)
{
    m_isStarted = true;
    m_poller.start(pairs());
    if (!withProbe)
        return true;
    m_probe = std::make_unique<VornCliCycleProbe>(m_state.probePath(), m_exclusions);
    return m_probe->attach(m_manager.get());
}

bool VornCliSession::restart()
{
    m_output.note(VornCliMessages::restarting());
    m_probe->detach();
    m_fileReadyQueue.abandon();
    m_manager.reset();
    createManager();
    return registerAll() && m_probe->attach(m_manager.get());
}

void VornCliSession::close()
{
    if (!m_manager)
        return;
    if (m_probe)
        m_probe->detach();
    emit closing();
    m_refreshTimer.stop();
    m_fileReadyQueue.abandon();
    m_manager.reset();
    if (m_probe)
        m_probe->removeFiles();
    QDir(m_state.trashPath()).rmdir(VornCliCycleProbe::reservedAlias());
}

void VornCliSession::createManager()
{
    m_manager = std::make_unique<VornSyncManager>(m_state.databasePath(), m_state.trashPath(),
                                                  m_options.intervalMs(), m_options.exclusions());
    connect(m_manager.get(), &VornSyncManager::syncStarted, this, &VornCliSession::onSyncStarted);
    connect(m_manager.get(), &VornSyncManager::syncCompleted, this, &VornCliSession::onSyncCompleted);
    connect(m_manager.get(), &VornSyncManager::errorOccurred, this, &VornCliSession::onErrorOccurred);
    connect(m_manager.get(), &VornSyncManager::recentEventsChanged, this,
            &VornCliSession::onRecentEventsChanged);
    connect(m_manager.get(), &VornSyncManager::fileReady, this,
            [this](const QString& path, bool found) { m_fileReadyQueue.onFileReady(path, found); });
    connect(m_manager.get(), &VornSyncManager::countersChanged, this, [this] { m_refreshTimer.start(); });
    connect(m_manager.get(), &VornSyncManager::idleChanged, this, [this] { m_refreshTimer.start(); });
}

bool VornCliSession::registerPair(Entry* entry)
{
    const VornCliPair& pair = entry->pair;
    m_lastTexts.clear();
    m_isGathering = true;
    const bool added = m_manager->addDirectory(pair.alias, pair.local, pair.distant);
    m_isGathering = false;
    const auto isDistantMissing = [](const QString& text) { return text.startsWith(kDistantMissingText); };
    entry->distantThere = std::none_of(m_lastTexts.cbegin(), m_lastTexts.cend(), isDistantMissing);
    // An alias that is known with another local directory is "added" as well, and nothing has changed.
    if (!added || aliasOfLocal(pair.local) != pair.alias)
        return false;
    m_lastTexts.erase(std::remove_if(m_lastTexts.begin(), m_lastTexts.end(), isDistantMissing),
                      m_lastTexts.end()); // told in our own words
    for (const QString& text : qAsConst(m_lastTexts))
        m_output.problem(text);
    return true;
}

bool VornCliSession::registerAll()
{
    bool isDone = true;
    for (Entry& entry : m_entries) {
        if (entry.localThere)
            isDone = registerPair(&entry) && isDone;
        if (!entry.isAvailable() || isPaused())
            m_manager->setDirectoryAvailability(entry.pair.alias, false);
    }
    return isDone;
}

// ---- What commands ask for ------------------------------------------------------------------------------

QStringList VornCliSession::act(const std::function<void(VornSyncManager& manager)>& action)
{
    m_lastTexts.clear();
    m_isGathering = true;
    action(*m_manager);
    m_isGathering = false;
    for (const QString& text : qAsConst(m_lastTexts))
        m_output.problem(text);
    return m_lastTexts;
}

void VornCliSession::expect(const QString& path, VornCliOperation operation)
{
    m_expected.insert(path, operation);
}

bool VornCliSession::isPaused() const
{
    return m_manager->isPausedAll();
}

void VornCliSession::pauseAll()
{
    m_manager->pauseAll();
    m_output.note(VornCliMessages::paused());
    emit pausedChanged();
}

void VornCliSession::resumeAll()
{
    m_manager->resumeAll();
    // It resumes what was registered at the time of the pause, also what was away or was suspended then.
    for (const Entry& entry : qAsConst(m_entries))
        applyAvailability(entry);
    m_output.note(VornCliMessages::resumed());
    emit pausedChanged();
}

void VornCliSession::setSuspended(const QString& alias, bool suspended)
{
    Entry* entry = findEntry(alias);
    if (entry == nullptr || entry->suspended == suspended)
        return;
    entry->suspended = suspended;
    applyAvailability(*entry);
    m_output.note(suspended ? VornCliMessages::pairSuspended(entry->pair)
                            : VornCliMessages::pairResumed(entry->pair));
    emit refreshed();
}

bool VornCliSession::forgetPair(const QString& alias, QStringList* texts)
{
    bool isForgotten = !isKnownAlias(alias); // after a reset the manager does not know a pair that is away
    if (!isForgotten)
        *texts = act([&](VornSyncManager& manager) { isForgotten = manager.delDirectory(alias); });
    if (!isForgotten)
        return false;
    m_watcher.unwatch(alias);
    const Entry* entry = findEntry(alias);
    if (entry == nullptr)
        return true;
    m_output.note(VornCliMessages::pairForgotten(entry->pair));
    m_aliasOfLocal.remove(entry->pair.local);
    m_entries.remove(static_cast<int>(entry - m_entries.constData()));
    m_poller.start(pairs());
    emit refreshed();
    return true;
}

void VornCliSession::requestFileReady(const QString& distantPath, const VornCliFileReadyQueue::Answer& answer)
{
    m_fileReadyQueue.ask(m_manager.get(), distantPath, answer);
}

bool VornCliSession::reset(int timeoutMs)
{
    m_isResetting = true;
    m_expected.clear();
    m_output.note(VornCliMessages::resetting());
    if (m_probe)
        m_probe->detach();
    bool isDone = timeoutMs < 0 ? m_manager->wipeSyncDatabaseFile() : m_manager->resetSyncDatabase(timeoutMs);
    isDone = registerAll() && isDone;
    if (m_probe)
        isDone = m_probe->attach(m_manager.get()) && isDone;
    m_isResetting = false;
    emit wasReset();
    m_refreshTimer.start();
    return isDone;
}

// ---- What comes from the manager ------------------------------------------------------------------------

void VornCliSession::onSyncStarted(const QString& filePath)
{
    if (isProbes(filePath)) {
        m_probe->onMarkerStarted(filePath);
        return;
    }
    const VornCliFile file = fileOf(filePath);
    m_output.fileStarted(file);
    emit fileStarted(file);
}

void VornCliSession::onSyncCompleted(const QString& filePath, bool succeeded)
{
    if (isProbes(filePath)) {
        m_probe->onMarkerCompleted(succeeded);
        return;
    }
    const VornCliFile file = fileOf(filePath);
    // The end of a copy that makes a file ready comes here too, as a failure, and is answered elsewhere.
    if (file.operation == VornCliOperation::Copy && !m_aliasOfLocal.contains(directoryOf(filePath)))
        return;
    m_expected.remove(filePath);
    m_output.fileCompleted(file, succeeded, counters());
    if (m_probe)
        m_probe->onOtherCompleted();
    emit fileCompleted(file, succeeded);
}

void VornCliSession::onErrorOccurred(const QString& message)
{
    if (m_isGathering)
        m_lastTexts.append(message);
    else
        m_output.problem(message);
}

void VornCliSession::onRecentEventsChanged()
{
    const QVariantList events = m_manager->recentEvents();
    const QString latest = events.isEmpty()
                               ? QString()
                               : events.constFirst().toMap().value(QStringLiteral("filePath")).toString();
    if (!isProbes(latest))
        m_output.recentEventsChanged();
}

// The counters are read from the event loop: between the manager's signals for the probe's file they would
// still count it.
void VornCliSession::tellRefreshed()
{
    const VornCliCounters now = counters();
    if (!(now == m_shownCounters)) {
        m_shownCounters = now;
        m_output.countersChanged(now);
    }
    tellIdle();
    emit refreshed();
}

void VornCliSession::tellIdle()
{
    const bool idle = m_shownCounters.inProgress == 0;
    if (idle == m_shownIdle)
        return;
    m_shownIdle = idle;
    m_output.idleChanged(idle);
}

// ---- What comes from the file system --------------------------------------------------------------------

void VornCliSession::onLooked(const QString& alias, bool localThere, bool distantThere)
{
    Entry* entry = findEntry(alias);
    if (entry == nullptr || !m_manager)
        return;
    if (localThere == entry->localThere && distantThere == entry->distantThere)
        return;
    const bool wasAvailable = entry->isAvailable();
    const bool localCame = localThere && !entry->localThere;
    entry->localThere = localThere;
    entry->distantThere = distantThere;
    m_output.availability(entry->pair, localThere, distantThere);
    if (localCame)
        watch(*entry); // what was watched under this path before is another directory
    const bool isNew = localCame && !isKnownAlias(alias);
    if (isNew)
        registerPair(entry);
    if (isNew || entry->isAvailable() != wasAvailable)
        applyAvailability(*entry);
    emit refreshed();
}

void VornCliSession::applyAvailability(const Entry& entry)
{
    m_manager->setDirectoryAvailability(entry.pair.alias, entry.isAvailable() && !isPaused());
}

void VornCliSession::onBatch(const QVector<VornCliFileKey>& files)
{
    for (const VornCliFileKey& file : files) {
        const Entry* entry = findEntry(file.first);
        if (entry == nullptr || !entry->isAvailable() || !m_manager)
            continue;
        const QString path = entry->pair.local + QLatin1Char('/') + file.second;
        if (m_exclusions.isMirrored(file.second) && VornCliListing::isPlainFile(path))
            m_manager->notifyLocalFileChanged(file.first, file.second);
    }
}

void VornCliSession::watch(const Entry& entry)
{
    if (!m_options.watch() || m_options.once())
        return;
    if (!m_watcher.watch(entry.pair.alias, entry.pair.local))
        m_output.problem(VornCliMessages::watchRefused(entry.pair));
}

// ---- How things stand -----------------------------------------------------------------------------------

VornCliCounters VornCliSession::counters() const
{
    VornCliCounters counters;
    if (!m_manager)
        return m_shownCounters;
    counters.inProgress = m_manager->inProgressCount();
    counters.pending = m_manager->pendingCount();
    counters.errors = m_manager->errorCount();
    counters.done = m_manager->doneCount();
    if (m_probe) {
        counters.inProgress -= m_probe->markersRunning();
        counters.done -= m_probe->markersDone();
        if (m_probe->isDoneUncertain())
            counters.done = m_shownCounters.done; // it is read again as soon as the manager has told
    }
    return counters;
}

QVector<VornCliFileError> VornCliSession::errors() const
{
    QVector<VornCliFileError> errors;
    if (!m_manager)
        return errors;
    const QVariantList entries = m_manager->errorFiles();
    for (const QVariant& entry : entries) {
        const QVariantMap map = entry.toMap();
        VornCliFileError error;
        error.alias = map.value(QStringLiteral("aliasName")).toString();
        if (error.alias == VornCliCycleProbe::reservedAlias())
            continue;
        error.name = map.value(QStringLiteral("fileName")).toString();
        error.code = map.value(QStringLiteral("errorCode")).toInt();
        error.status = map.value(QStringLiteral("status")).toInt();
        error.sentence = m_manager->errorCodeMessage(error.code);
        errors.append(error);
    }
    return errors;
}

QString VornCliSession::errorSentence(int code) const
{
    return m_manager ? m_manager->errorCodeMessage(code) : QString();
}

QVector<VornCliPair> VornCliSession::pairs() const
{
    QVector<VornCliPair> pairs;
    for (const Entry& entry : m_entries)
        pairs.append(entry.pair);
    return pairs;
}

QVector<VornCliPair> VornCliSession::unavailablePairs() const
{
    QVector<VornCliPair> pairs;
    for (const Entry& entry : m_entries) {
        if (!entry.isAvailable())
            pairs.append(entry.pair);
    }
    return pairs;
}

QStringList VornCliSession::availabilityRemarks() const
{
    QStringList remarks;
    for (const Entry& entry : m_entries) {
        if (entry.suspended)
            remarks.append(VornCliMessages::pairSuspended(entry.pair));
        else if (!entry.isAvailable())
            remarks.append(VornCliMessages::availability(entry.pair, entry.localThere, entry.distantThere));
    }
    return remarks;
}

QVector<VornCliPairStatus> VornCliSession::pairStatuses() const
{
    return m_entries;
}

bool VornCliSession::findPair(const QString& alias, VornCliPairStatus* status) const
{
    const auto found = std::find_if(m_entries.cbegin(), m_entries.cend(),
                                    [&alias](const Entry& entry) { return entry.pair.alias == alias; });
    if (found == m_entries.cend())
        return false;
    *status = *found;
    return true;
}

QVariantList VornCliSession::recentEvents() const
{
    QVariantList events = m_manager->recentEvents();
    events.erase(std::remove_if(events.begin(), events.end(),
                                [this](const QVariant& event) {
                                    return isProbes(
                                        event.toMap().value(QStringLiteral("filePath")).toString());
                                }),
                 events.end());
    return events;
}

bool VornCliSession::isIdle() const
{
    return m_manager->isIdle();
}

bool VornCliSession::once() const
{
    return m_options.once();
}

VornCliSession::Entry* VornCliSession::findEntry(const QString& alias)
{
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                    [&alias](const Entry& entry) { return entry.pair.alias == alias; });
    return found == m_entries.end() ? nullptr : &*found;
}

VornCliFile VornCliSession::fileOf(const QString& filePath) const
{
    VornCliFile file;
    file.alias = aliasOfDirectory(directoryOf(filePath));
    file.name = filePath.mid(filePath.lastIndexOf(QLatin1Char('/')) + 1);
    file.path = filePath;
    file.operation = m_expected.value(filePath, VornCliOperation::Copy);
    return file;
}

// Of a local directory; a rename's source is on the distant side.
QString VornCliSession::aliasOfDirectory(const QString& path) const
{
    if (m_aliasOfLocal.contains(path))
        return m_aliasOfLocal.value(path);
    const auto found = std::find_if(m_entries.cbegin(), m_entries.cend(),
                                    [&path](const Entry& entry) { return entry.pair.distant == path; });
    return found == m_entries.cend() ? QString() : found->pair.alias;
}

bool VornCliSession::isProbes(const QString& filePath) const
{
    return m_probe && m_probe->owns(filePath);
}
