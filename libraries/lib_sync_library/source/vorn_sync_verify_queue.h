#pragma once

#include "vorn_sync_types.h"

#include <QByteArray>
#include <QQueue>
#include <QString>

// The files that wait to be verified, each once: it is filled when it is empty, with the rows of one directory after the
// other. It may be full for hours, so a name takes its UTF-8 bytes and four more. Used on the synchronizer's thread only.
class VornSyncVerifyQueue
{
    Q_DISABLE_COPY_MOVE(VornSyncVerifyQueue)

public:
    struct Entry
    {
        int directoryId = VornSyncTypes::kNoDirectoryId;
        QString fileName;
    };

    VornSyncVerifyQueue() = default;

    bool isEmpty() const { return m_size == 0; }
    int size() const { return m_size; }

    void append(int directoryId, const QString& fileName);
    // Gives back what appending has reserved in advance.
    void squeeze();
    Entry takeFirst();
    // Everything of a directory that is gone; of all of them for a negative id.
    void clear(int directoryId);

private:
    // The names of one directory, each after its length.
    struct Batch
    {
        int directoryId = VornSyncTypes::kNoDirectoryId;
        QByteArray names;
        int position = 0; // of the first that is still waiting
        int count = 0;    // of those
    };

    QQueue<Batch> verifyQueue;
    int m_size = 0;
};
