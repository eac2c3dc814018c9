#pragma once

#include "vorn_sync_verify_queue.h"
#include "vorn_sync_verify_rounds.h"

#include <QObject>
#include <QSet>

class VornSyncDatabase;
class VornSyncObservations;
class VornSyncPathCache;
class VornSyncRenameLocks;

// Looks at the files that are up to date, in each run as many as its time allows, until each has had its turn; then begins
// again. Lives on the synchronizer's thread.
class VornSyncVerifier : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornSyncVerifier)

public:
    VornSyncVerifier(VornSyncPathCache& paths, const VornSyncRenameLocks& renames,
                     VornSyncObservations& observations, QObject* parent);

    // Not owned; to be set before anything is verified.
    void setDatabase(VornSyncDatabase* database) { m_database = database; }

    // How long one run may take.
    static qint64 budgetMs(int syncIntervalMs);

    // Goes on with the queue for as long as the budget lasts; an empty one is filled again once.
    void run(qint64 budgetMs);
    // False when the disk or the database did not say enough to tell how the file stands.
    bool verify(int directoryId, const QString& fileName, qint64 dbSize);
    // Everything of a directory that is gone; of all of them for a negative id.
    void clear(int directoryId);

signals:
    void errorStateChanged();

private:
    void refill(const QList<int>& directoryIds, qint64 budgetMs);
    void verifyNext(const QSet<int>& availableIds);
    // True when the file need not be looked at again: it was verified, or it is none to be verified any more.
    bool verifyEntry(const VornSyncVerifyQueue::Entry& entry);
    void noteRound(const VornSyncVerifyRounds::Ended& ended);

    VornSyncDatabase* m_database = nullptr;
    VornSyncPathCache& m_paths;
    const VornSyncRenameLocks& m_renames;
    VornSyncObservations& m_observations;
    VornSyncVerifyQueue verifyQueue;
    VornSyncVerifyRounds m_rounds;
    int m_verified = 0; // by this run, as are the diverged
    int m_diverged = 0;
};
