#pragma once

#include "vorn_sync_task.h"

#include <QList>
#include <QObject>

class QTimer;

// Runs tasks one at a time, in the order of their arrival, with a fixed pause before each. Lives on
// "SyncWorkerThread"; every member is touched there only.
class VornSyncWorker : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornSyncWorker)

public:
    explicit VornSyncWorker(QObject* parent = nullptr);
    ~VornSyncWorker() override = default; // tasks still queued are released, not run and not reported

public slots:
    void onAddTask(pVornSyncTask task);

signals:
    void taskDone(pVornSyncTask task, bool success);

private:
    void runNext();
    void processNextCommand();

    QList<pVornSyncTask> m_queue;
    bool m_processing = false;
    QTimer* m_dispatchTimer = nullptr;
};
