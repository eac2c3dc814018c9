#include "vorn_sync_mailbox.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <utility>

namespace {

// Short against a frame of the user interface (16 ms), even with a last call that reads thousands of errors; long against
// most calls.
constexpr qint64 kTurnMs = 1;

// Who posts now is likely to post again soon. To wake a sleeping thread for every call costs both threads more than most
// calls; nobody sees a delay of a fraction of a frame.
constexpr int kGatherMs = 4;

} // namespace

VornSyncMailbox::VornSyncMailbox(QObject* receiver)
    : m_receiver(receiver)
    , m_gathering(new QTimer(receiver))
{
    m_gathering->setSingleShot(true);
    m_gathering->setTimerType(Qt::PreciseTimer);
    m_gathering->setInterval(kGatherMs);
    QObject::connect(m_gathering, &QTimer::timeout, receiver, [this] { deliver(); });
}

VornSyncMailbox::~VornSyncMailbox() = default;

void VornSyncMailbox::post(const std::function<void()>& call)
{
    append([call](int) { call(); }, false);
}

void VornSyncMailbox::postMerged(const Call& call)
{
    append(call, true);
}

void VornSyncMailbox::append(const Call& call, bool isMerged)
{
    const QMutexLocker lock(&m_mutex);
    if (!m_receiver)
        return;
    if (isMerged && !m_letters.empty() && m_letters.back().isMerged) {
        ++m_letters.back().times;
        return;
    }
    m_letters.push_back({call, 1, isMerged});
    wakeUp();
}

// With the mutex held.
void VornSyncMailbox::wakeUp()
{
    if (m_isWakeUpPending)
        return;
    m_isWakeUpPending = true;
    QMetaObject::invokeMethod(
        m_receiver, [self = shared_from_this()] { self->deliver(); }, Qt::QueuedConnection);
}

void VornSyncMailbox::close()
{
    std::deque<Letter> undelivered; // destroyed without the mutex: what a call holds may post
    const QMutexLocker lock(&m_mutex);
    if (!m_receiver)
        return;
    m_receiver = nullptr;
    m_gathering->stop();
    m_letters.swap(undelivered);
}

bool VornSyncMailbox::deliver()
{
    {
        const QMutexLocker lock(&m_mutex);
        m_isWakeUpPending = false;
    }
    const auto self = shared_from_this(); // a call may be the receiver's end
    QElapsedTimer turn;
    turn.start();
    bool isAnyDelivered = false;
    do {
        Letter letter;
        if (!take(letter)) {
            gather(isAnyDelivered);
            return isAnyDelivered;
        }
        letter.call(letter.times);
        isAnyDelivered = true;
    } while (turn.elapsed() < kTurnMs);
    gather(true);
    return true;
}

// What is posted from now on waits for the timer. A turn that is due already finds out first whether something is left.
void VornSyncMailbox::gather(bool isAnyDelivered)
{
    const QMutexLocker lock(&m_mutex);
    m_isGatheringDue = m_isGatheringDue || isAnyDelivered;
    if (!m_receiver || m_isWakeUpPending || !m_isGatheringDue)
        return;
    m_isGatheringDue = false;
    m_isWakeUpPending = true;
    m_gathering->start();
}

// A call may run an event loop of its own: what comes after it must find a way there, too.
bool VornSyncMailbox::take(Letter& letter)
{
    const QMutexLocker lock(&m_mutex);
    if (!m_receiver || m_letters.empty())
        return false;
    letter = std::move(m_letters.front());
    m_letters.pop_front();
    if (!m_letters.empty())
        wakeUp();
    return true;
}
