#pragma once

#include <QMutex>
#include <QString>

#include <deque>
#include <functional>
#include <memory>

class QObject;
class QTimer;

// Carries calls to a receiver on its thread, in the order in which they were posted, a millisecond at a time: Qt delivers
// all queued calls that wait in one turn of the event loop, and with thousands of them no timer and no user input would
// come in between. Any thread may post.
class VornSyncMailbox : public std::enable_shared_from_this<VornSyncMailbox>
{
    Q_DISABLE_COPY_MOVE(VornSyncMailbox)

public:
    // `times`: how many calls in a row this one stands for.
    using Call = std::function<void(int times)>;

    // On the receiver's thread.
    explicit VornSyncMailbox(QObject* receiver);
    ~VornSyncMailbox();

    void post(const std::function<void()>& call);
    // One call stands for all that wait with nothing posted in between.
    void postMerged(const Call& call);

    // What waits, as much as fits into a turn; false when nothing did. On the receiver's thread, where it is called by
    // itself: who needs it done now calls it, too.
    bool deliver();

    // Nothing is delivered from here on. On the receiver's thread, in its destructor at the latest, and before the last
    // owner lets go.
    void close();

private:
    struct Letter
    {
        Call call;
        int times = 1;
        bool isMerged = false;
    };

    void append(const Call& call, bool isMerged);
    bool take(Letter& letter);
    void gather(bool isAnyDelivered);
    void wakeUp();

    QMutex m_mutex; // taken by every thread that posts, and by the receiver's; guards what follows
    QObject* m_receiver;
    std::deque<Letter> m_letters;
    bool m_isWakeUpPending = false;
    bool m_isGatheringDue = false; // calls were delivered, and more may follow them

    // Only the receiver's thread uses it, and no more once the mailbox is closed; the receiver's child.
    QTimer* const m_gathering;
};
