#pragma once

#include "vorn_cli_availability_poller.h"
#include "vorn_cli_change_batcher.h"
#include "vorn_cli_cycle_probe.h"
#include "vorn_cli_exclusions.h"
#include "vorn_cli_output.h"
#include "vorn_cli_types.h"
#include "vorn_cli_watcher.h"

#include <QHash>
#include <QObject>
#include <QTimer>

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

    VornCliCycleProbe* probe() { return m_probe.get(); }

    // Without the probe's own file.
    VornCliCounters counters() const;
    QVector<VornCliFileError> errors() const;
    QString errorSentence(int code) const;
    QVector<VornCliPair> pairs() const;
    QVector<VornCliPair> unavailablePairs() const;
    QStringList availabilityRemarks() const;

signals:
    void fileStarted(const VornCliFile& file);
    void fileCompleted(const VornCliFile& file, bool ok);
    void refreshed(); // counters or errors may have changed

private:
    struct Entry
    {
        VornCliPair pair;
        bool localThere = true;
        bool distantThere = true;

        bool isAvailable() const { return localThere && distantThere; }
    };

    void createManager();
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
    Entry* findEntry(const QString& alias);
    VornCliFile fileOf(const QString& filePath) const;
    bool isProbes(const QString& filePath) const;

    const VornCliMirrorOptions& m_options;
    const VornCliStateDirectory& m_state;
    VornCliOutput& m_output;
    VornCliExclusions m_exclusions;
    QVector<Entry> m_entries;
    QHash<QString, QString> m_aliasOfLocal;     // for the paths in signals
    std::unique_ptr<VornCliCycleProbe> m_probe; // null: none
    std::unique_ptr<VornSyncManager> m_manager;
    VornCliAvailabilityPoller m_poller;
    VornCliWatcher m_watcher;
    VornCliChangeBatcher m_batcher;
    QTimer m_refreshTimer; // tells of a burst of refreshes once
    VornCliCounters m_shownCounters;
    bool m_shownIdle = true;
    bool m_isRegistering = false; // texts are gathered in m_lastTexts meanwhile
    QStringList m_lastTexts;
};
