#pragma once

#include "vorn_cli_exclusions.h"

#include <QObject>
#include <QString>
#include <QTimer>

class VornSyncManager;

// Tells when a cycle has been through all pairs. Lives on the host's thread.
//
// The manager has no signal for that, but it visits the pairs in the order of their registration and reports
// what it starts in that order. So a small pair of the host's own is registered last, a new file is put into
// it, and a cycle is asked for: when that file is started, the cycle has left all pairs before it, and
// everything it had to report about them has been delivered. It has to be a new file each time: one that the
// manager knows may be sent again without any cycle, right after it was sent.
class VornCliCycleProbe : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornCliCycleProbe)

public:
    // `directory` is the probe's own; it is created and removed.
    VornCliCycleProbe(const QString& directory, const VornCliExclusions& exclusions,
                      QObject* parent = nullptr);

    static QString reservedAlias();
    // The name of the n-th file; empty: the patterns leave none.
    static QString markerName(const VornCliExclusions& exclusions, int number);

    // Registers the pair anew, behind all others. False when that fails; the manager has said why.
    bool attach(VornSyncManager* manager);
    void detach();      // forgets the pair; the manager must still be there
    void removeFiles(); // once the manager is gone

    static void forget(VornSyncManager* manager); // what a killed run has left registered

    void requestCycle(); // answered by cycleEnded(), once

    bool owns(const QString& filePath) const;
    int markersRunning() const { return m_markersRunning; }
    int markersDone() const { return m_markersDone; }
    // The manager may count a marker as done already, although it has not told of its end yet.
    bool isDoneUncertain() const;

    // The session hands over the manager's signals for files that the probe owns, and tells of other ends.
    void onMarkerStarted(const QString& filePath);
    void onMarkerCompleted(bool ok);
    void onOtherCompleted();

signals:
    void ready(); // the first copy has ended: from here on only a cycle starts a marker
    void cycleEnded();
    void failed(); // a marker can't be made or copied; no cycle will be answered

private:
    void ask();
    bool makeMarker();
    QString localPath() const { return m_directory + QStringLiteral("/local"); }
    QString distantPath() const { return m_directory + QStringLiteral("/distant"); }

    QString m_directory;
    VornCliExclusions m_exclusions;
    VornSyncManager* m_manager = nullptr; // not owned; null while detached
    QTimer m_retryTimer;                  // runs while a cycle is awaited
    QString m_markerPath;                 // of the latest one
    int m_markersMade = 0;
    int m_markersRunning = 0;
    int m_markersDone = 0;
    bool m_isReady = false;
    bool m_isAwaited = false;   // the latest marker is made and not started yet
    bool m_askedInVain = false; // asked while the manager had too much in flight to begin a cycle
};
