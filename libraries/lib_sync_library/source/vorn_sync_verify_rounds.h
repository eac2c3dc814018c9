#pragma once

#include "vorn_sync_progress_notes.h"

#include <QHash>

#include <optional>

// How far the verification of each directory has come: a round ends when every file that it began with has had
// its turn. Used on the synchronizer's thread only.
class VornSyncVerifyRounds
{
    Q_DISABLE_COPY_MOVE(VornSyncVerifyRounds)

public:
    using Ended = std::optional<VornSyncRoundNote>;

    VornSyncVerifyRounds() = default;

    // `files` are queued. A round over none has ended already.
    Ended begin(int directoryId, int files, qint64 nowSecs);
    // A queued file has had its turn; `isAnswered`: and need not be looked at again, whatever the answer was.
    Ended end(int directoryId, const QString& fileName, bool isAnswered);
    // Everything of a directory that is gone; of all of them for a negative id.
    void clear(int directoryId);

private:
    struct Round
    {
        VornSyncRoundNote note;
        int filesLeft = 0;
    };

    QHash<int, Round> m_rounds; // by directory; those under way
};
