#pragma once

#include <QMap>
#include <QMutex>
#include <QObject>
#include <QString>

class QFileSystemWatcher;
class QTimer;

// Watches the local directories, with a debounce timer for each one that changed, and drives the periodic
// synchronisation. Lives on "SyncObserverThread" with its watcher and its timers.
class VornSyncObserver : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornSyncObserver)

public:
    VornSyncObserver(int syncIntervalMs, QObject* parent);
    ~VornSyncObserver() override;

signals:
    void directoryChanged(int directoryId); // Required: declared and never emitted
    void periodicSyncNeeded();
    void syncDirectoryNeeded(int directoryId);
    void errorOccurred(const QString& message);

public slots:
    void addDirectoryToWatch(int directoryId, const QString& localDirPath);
    void removeDirectoryFromWatch(int directoryId, const QString& localDirPath);
    void startPeriodicSync(int interval); // 0 or less keeps the present interval
    void stopPeriodicSync();
    void startObserving();

private slots:
    void onDirectoryChanged(const QString& dirPath);
    void onDebounceTimerExpired();
    void onPeriodicSyncTimerExpired();

private:
    void onDebounced(const QString& dirPath);

    QFileSystemWatcher* m_watcher;
    QMap<QString, QTimer*> m_debounceTimers;
    QMap<QString, int> m_watchedDirectories;
    QTimer* m_periodicTimer;
    // Taken for their whole run by the public slots and onDirectoryChanged. Not recursive: none of them may
    // call another.
    QMutex m_mutex;
    const int m_debounceIntervalMs;
};
