#pragma once

#include <QMutex>
#include <QSet>
#include <QString>

#include <atomic>

// Which rows of one directory have been written since they were read. The engine's thread begins, asks and
// ends; every thread that writes notes. May be used from any thread.
//
// Example: a pass reads 1,000 rows of directory 3, then decides on each. Meanwhile the host tombstones
// "a.txt": isChanged(3, "a.txt") is true from then on, and the pass reads that row again first.
class VornSyncRowChanges
{
    Q_DISABLE_COPY_MOVE(VornSyncRowChanges)

public:
    VornSyncRowChanges() = default;
    ~VornSyncRowChanges() = default;

    // Called before the rows are read: a row written in between is then read again for nothing, never missed.
    void begin(int directoryId);
    void end();

    // Called after the row is written.
    void note(int directoryId, const QString& fileName);
    void noteAll();

    // Another number after every row that was noted, of whatever directory.
    quint64 writeCount() const { return m_writeCount; }

    // True also for a directory that is not the one begun with.
    bool isAnyChanged(int directoryId) const { return directoryId != m_directoryId || m_isAnyChanged; }
    bool isChanged(int directoryId, const QString& fileName) const;

private:
    std::atomic<quint64> m_writeCount{0};
    std::atomic<int> m_directoryId{-1};
    // The fast answer for the usual case, in which nothing changed.
    std::atomic<bool> m_isAnyChanged{false};

    // Taken by every thread that notes, and by the engine's once something changed; guards what follows.
    mutable QMutex m_mutex;
    QSet<QString> m_fileNames;
    bool m_areAllChanged = false;
};
