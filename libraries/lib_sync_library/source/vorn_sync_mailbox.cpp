#include "vorn_sync_mailbox.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

namespace {

// Short against a frame of the user interface (16 ms), long against one call.
constexpr qint64 kTurnMs = 2;

} // namespace

VornSyncMailbox::VornSyncMailbox(QObject* receiver)
    : m_receiver(receiver)
    , m_nextTurn(new QTimer(receiver))
{
    m_nextTurn->setSingleShot(true);
    m_nextTurn->setInterval(0);
    QObject::connect(m_nextTurn, &QTimer::timeout, receiver, [this] { deliver(); });
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
    if (m_isWakeUpPending)
        return;
    m_isWakeUpPending = true;
    QMetaObject::invokeMethod(
        m_receiver, [self = shared_from_this()] { self->deliver(); }, Qt::QueuedConnection);
}

void VornSyncMailbox::close()
{
    const QMutexLocker lock(&m_mutex);
    m_receiver = nullptr;
    m_letters.clear();
}

void VornSyncMailbox::deliver()
{
    {
        const QMutexLocker lock(&m_mutex);
        m_isWakeUpPending = false;
    }
    const auto self = shared_from_this(); // a call may be the receiver's end
    QElapsedTimer turn;
    turn.start();
    Letter letter;
    while (turn.elapsed() < kTurnMs && take(letter))
        letter.call(letter.times);
}

// A call may run an event loop of its own: what comes after it must find a way there, too.
bool VornSyncMailbox::take(Letter& letter)
{
    const QMutexLocker lock(&m_mutex);
    if (!m_receiver || m_letters.empty())
        return false;
    letter = m_letters.front();
    m_letters.pop_front();
    // A queued call would be delivered in this turn of the loop, too; a timer waits for the next.
    if (!m_letters.empty() && !m_isWakeUpPending) {
        m_isWakeUpPending = true;
        m_nextTurn->start();
    }
    return true;
}
