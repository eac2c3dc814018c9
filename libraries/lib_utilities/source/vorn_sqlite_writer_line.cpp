#include "vorn_sqlite_writer_line.h"

#include <QDeadlineTimer>

bool VornSqliteWriterLine::enter(int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    if (!m_next.tryLock(timeoutMs))
        return false;
    const bool isEntered = m_writing.tryLock(int(deadline.remainingTime()));
    m_next.unlock();
    return isEntered;
}

void VornSqliteWriterLine::leave()
{
    m_writing.unlock();
}
