#pragma once

#include "vorn_cli_availability_poller.h"
#include "vorn_cli_change_batcher.h"
#include "vorn_cli_cycle_probe.h"
#include "vorn_cli_exclusions.h"
#include "vorn_cli_file_ready_queue.h"
#include "vorn_cli_output.h"
#include "vorn_cli_types.h"
#include "vorn_cli_watcher.h"

#include <QHash>
#include <QObject>
#include <QTimer>
#include <QVariantList>

#include <functional>
#include <memory>

class VornCliMirrorOptions;
class VornCliStateDirectory;
class VornSyncManager;

// One running mirror: the manager, its pairs, and what comes from it, on its way to the output. This is the
// place to look at for how to embed the library. Lives on the host's thread.
class VornCliSession : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornCliSession)

public:
    // All three must outlive the session.
    VornCliSession(const VornCliMirrorOptions& options, const VornCliStateDirectory& state,
                   VornCliOutput& output);
    ~VornCliSession() override;

    // Creates the manager; what of its state concerns pairs can then be asked.
    void open();
    bool isKnownAlias(const QString& alias) const;
    QString aliasOfLocal(const QString& local) const; // empty when the path is not registered

    bool addPair(const VornCliPair& pair);      // false: refused; the texts are in lastTexts()
    void keepPairAway(const VornCliPair& pair); // a remembered pair whose local directory is missing
    QStringList lastTexts() const { return m_lastTexts; }

    // After the last pair. With a probe cycleEnded() is available; false when it can't be registered.
    bool start(bool withProbe);
    // A new manager on the same state, with the same pairs and probe: it takes up again at once what an
    // earlier failure left waiting for a time-out.
    bool restart();
    void close(); // the manager's bounded shutdown; emits nothing afterwards

    VornSyncManager* manager() const { return m_manager.get(); }
    VornCliCycleProbe* probe() { return m_probe.get(); }

    // ---- What commands ask for
    // Lets `action` call the manager; the texts it answered with, which go to the output as well.
    QStringList act(const std::function<void(VornSyncManager& manager)>& action);
    // The next operation on that path (the source's) will not be a copy.
    void expect(const QString& path, VornCliOperation operation);
    bool isPaused() const;
    void pauseAll();
    void resumeAll();
    void setSuspended(const QString& alias, bool suspended); // one pair, until it is taken back
    bool forgetPair(const QString& alias, QStringList* texts);
    void requestFileReady(const QString& distantPath, const VornCliFileReadyQueue::Answer& answer);
    // Empties the state and registers all pairs anew. Operations that run get `timeoutMs`; a negative one means
    // that not even pairs are paused for it. Events are processed meanwhile.
    bool reset(int timeoutMs);
    bool isResetting() const { return m_isResetting; }

    // Without the probe's own file.
    VornCliCounters counters() const;
    QVector<VornCliFileError> errors() const;
    QString errorSentence(int code) const;
    QVector<VornCliPair> pairs() const;
    QVector<VornCliPair> unavailablePairs() const;
    QStringList availabilityRemarks() const;
    QVector<VornCliPairStatus> pairStatuses() const;
    bool findPair(const QString& alias, VornCliPairStatus* status) const; // false: not one of the session's
    QVariantList recentEvents() const;
    bool isIdle() const;
    bool once() const;
    const VornCliExclusions& exclusions() const { return m_exclusions; }

signals:
    void wasReset();
    void closing();
    void fileStarted(const VornCliFile& file);
    void fileCompleted(const VornCliFile& file, bool ok);
    void pausedChanged();
    void refreshed(); // counters or errors may have changed

private:
    using Entry = VornCliPairStatus;

    void createManager();
    bool registerAll();
    bool registerPair(Entry* entry);
    void onSyncStarted(const QString& filePath);
    void onSyncCompleted(const QString& filePath, bool succeeded);
    void onErrorOccurred(const QString& message);
    void onRecentEventsChanged();
    void onLooked(const QString& alias, bool localThere, bool distantThere);
    void onBatch(const QVector<VornCliFileKey>& files);
    void tellRefreshed();
    void tellIdle();
    void watch(const Entry& entry);
    void applyAvailability(const Entry& entry);
    Entry* findEntry(const QString& alias);
    VornCliFile fileOf(const QString& filePath) const;
    QString aliasOfDirectory(const QString& path) const;
    bool isProbes(const QString& filePath) const;

    const VornCliMirrorOptions& m_options;
    const VornCliStateDirectory& m_state;
    VornCliOutput& m_output;
    VornCliExclusions m_exclusions;
    QVector<Entry> m_entries;
    QHash<QString, QString> m_aliasOfLocal;      // for the paths in signals
    QHash<QString, VornCliOperation> m_expected; // by path, until it has ended
    std::unique_ptr<VornCliCycleProbe> m_probe;  // null: none
    std::unique_ptr<VornSyncManager> m_manager;
    VornCliAvailabilityPoller m_poller;
    VornCliWatcher m_watcher;
    VornCliChangeBatcher m_batcher;
    VornCliFileReadyQueue m_fileReadyQueue;
    QTimer m_refreshTimer; // tells of a burst of refreshes once
    VornCliCounters m_shownCounters;
    bool m_shownIdle = true;
    bool m_isStarted = false;
    bool m_isGathering = false; // texts are gathered in m_lastTexts meanwhile
    bool m_isResetting = false;
    QStringList m_lastTexts;
};
