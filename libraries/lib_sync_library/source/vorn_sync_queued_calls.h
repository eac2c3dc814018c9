#pragma once

#include "vorn_sync_database.h"
#include "vorn_sync_synchronizer.h"

#include <QMetaObject>

#include <memory>

// How the host's thread hands work to the others.

// Queues a slot of an object on another thread; nothing happens when the object is gone.
template<typename... Arguments>
void queueCall(QObject* target, const char* slot, const Arguments&... arguments)
{
    if (!target)
        return;
    const bool isQueued = QMetaObject::invokeMethod(target, slot, Qt::QueuedConnection, arguments...);
    Q_ASSERT_X(isQueued, "queueCall", slot);
    Q_UNUSED(isQueued)
}

// Queues what is asked of the engine about a file. What it has not begun when the state is wiped is void: by then the id
// may mean another pair.
template<typename Result, typename... Parameters, typename... Arguments>
void queueRequest(VornSyncSynchronizer* synchronizer, const std::shared_ptr<VornSyncDatabase>& database,
                  Result (VornSyncSynchronizer::*slot)(Parameters...), const Arguments&... arguments)
{
    QMetaObject::invokeMethod(
        synchronizer,
        [=, &state = *database, resetCount = database->resetCount()] {
            if (state.resetCount() == resetCount)
                (synchronizer->*slot)(arguments...);
        },
        Qt::QueuedConnection);
}
