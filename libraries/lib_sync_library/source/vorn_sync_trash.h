#pragma once

#include <QObject>

class VornSyncDatabase;
class VornSyncPathCache;

// What lies in the directories' trash: files that a move has put there, and that leave it for good here. Lives on the
// synchronizer's thread.
class VornSyncTrash : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornSyncTrash)

public:
    VornSyncTrash(VornSyncPathCache& paths, QObject* parent);

    // Not owned; to be set before anything is purged.
    void setDatabase(VornSyncDatabase* database) { m_database = database; }

    // Files that have been here for longer than they are kept, and their rows.
    void purge();
    // True when the trash surely holds no such file any more.
    bool remove(int directoryId, const QString& fileName);
    // The file has come back: its copy here is of no use any more.
    void removeSuperseded(int directoryId, const QString& fileName);

signals:
    void failed(const QString& message);
    void errorStateChanged();

private:
    VornSyncDatabase* m_database = nullptr;
    VornSyncPathCache& m_paths;
};
