#pragma once

#include <QMetaObject>
#include <QMutex>
#include <QMutexLocker>
#include <QObject>
#include <QWaitCondition>

#include <memory>
#include <thread>
#include <utility>

// Runs functions that may hang (a look at a share that is away) on a thread of their own and delivers their
// results from the event loop. Lives on the host's thread. Unlike a thread pool it can be destroyed while
// such a function hangs: it waits a moment for it, then the function runs on alone and its result reaches
// nobody.
class VornCliBackground : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornCliBackground)

public:
    explicit VornCliBackground(QObject* parent = nullptr);
    ~VornCliBackground() override;

    // `work` gets no access to anything but its own copies.
    template<typename Work, typename Done> void run(Work work, Done done);

private:
    struct Link
    {
        QMutex mutex; // taken by the host's thread and by the threads that deliver; guards the rest
        QWaitCondition ended;
        VornCliBackground* target = nullptr; // null once the target is gone
        int running = 0;
    };

    std::shared_ptr<Link> m_link;
};

template<typename Work, typename Done> void VornCliBackground::run(Work work, Done done)
{
    {
        const QMutexLocker locker(&m_link->mutex);
        ++m_link->running;
    }
    std::thread([link = m_link, work = std::move(work), done = std::move(done)] {
        auto result = work();
        const QMutexLocker locker(&link->mutex);
        --link->running;
        link->ended.wakeAll();
        if (link->target == nullptr)
            return;
        QMetaObject::invokeMethod(
            link->target, [done, result = std::move(result)] { done(result); }, Qt::QueuedConnection);
    }).detach();
}
