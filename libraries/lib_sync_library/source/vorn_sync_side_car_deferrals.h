#pragma once

#include "vorn_sync_types.h"

#include <QHash>
#include <QObject>

class QTimer;

// Copies that wait for a database to be quiet: how often each was put off, and the timer that brings it up
// again. One timer a file at a time. Lives on the synchronizer's thread, where its timers fire.
class VornSyncSideCarDeferrals : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornSyncSideCarDeferrals)

public:
    static constexpr int kDelayMs = 500; // an SQLite checkpoint is mostly over by then
    static constexpr int kMaximum = 10;  // then the next pass looks again

    explicit VornSyncSideCarDeferrals(QObject* parent);

    bool isWaiting(const VornSyncFileKey& key) const { return m_timers.contains(key); }

    // Starts the timer and gives the number of the deferral, from 1; 0, with the count forgotten, when the
    // file has been put off as often as it may be.
    int defer(const VornSyncFileKey& key);
    // The file is copied now, or not at all: count and timer go.
    void forget(const VornSyncFileKey& key);
    // Everything of a directory that is gone; of all of them for a negative id.
    void clear(int directoryId);

signals:
    void due(int directoryId, const QString& fileName);

private:
    void stopTimer(const VornSyncFileKey& key);

    QHash<VornSyncFileKey, int> sideCarRetries;
    QHash<VornSyncFileKey, QTimer*> m_timers;
};
