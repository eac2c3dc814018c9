#pragma once

#include "vorn_cli_exclusions.h"

#include <QObject>
#include <QString>
#include <QTimer>

class VornSyncManager;

// Tells when a cycle has been through all pairs. Lives on the host's thread.
//
// The manager has no signal for that, but it visits the pairs in the order of their registration and reports
// what it starts in that order. So a small pair of the host's own is registered last, its one file is changed,
// and a cycle is asked for: when that file is started, the cycle has left all pairs before it, and everything
// it had to report about them has been delivered.
class VornCliCycleProbe : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornCliCycleProbe)

public:
    // `directory` is the probe's own; it is created and removed.
    VornCliCycleProbe(const QString& directory, const VornCliExclusions& exclusions,
                      QObject* parent = nullptr);

    static QString reservedAlias();
    static QString markerName(const VornCliExclusions& exclusions); // empty: the patterns leave no name

    // Registers the pair anew, behind all others. False when that fails; the manager has said why.
    bool attach(VornSyncManager* manager);
    void detach();      // forgets the pair; the manager must still be there
    void removeFiles(); // once the manager is gone

    static void forget(VornSyncManager* manager); // what a killed run has left registered

    void requestCycle(); // answered by cycleEnded(), once

    bool owns(const QString& filePath) const;
    bool isMarkerRunning() const { return m_markerRunning; }
    bool isMarkerDone() const { return m_markerDone; }

    // The session hands over the manager's signals for files that the probe owns, and tells of other ends.
    void onMarkerStarted();
    void onMarkerCompleted(bool ok);
    void onOtherCompleted();

signals:
    void ready(); // the first copy has ended: from here on only a cycle starts the marker
    void cycleEnded();
    void failed(); // the marker can't be copied; no cycle will be answered

private:
    void ask();
    bool appendToMarker() const;
    QString localPath() const { return m_directory + QStringLiteral("/local"); }
    QString distantPath() const { return m_directory + QStringLiteral("/distant"); }

    QString m_directory;
    QString m_markerName;
    VornSyncManager* m_manager = nullptr; // not owned; null while detached
    QTimer m_retryTimer;                  // runs while a cycle is awaited
    bool m_isReady = false;
    bool m_isWanted = false;    // a cycle is wanted and the marker is not changed yet
    bool m_isAwaited = false;   // the marker is changed and not started yet
    bool m_askedInVain = false; // asked while the manager had too much in flight to begin a cycle
    bool m_markerRunning = false;
    bool m_markerDone = false;
};
