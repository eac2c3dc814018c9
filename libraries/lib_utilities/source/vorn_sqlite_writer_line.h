#pragma once

#include <QMutex>

// Where the threads of this process that want to write to one file wait for each other, in the order of their coming.
// SQLite's own waiting is sleeping and trying again, up to a tenth of a second at a time, and who writes without a
// pause is always there first. May be used from any thread.
class VornSqliteWriterLine
{
    Q_DISABLE_COPY_MOVE(VornSqliteWriterLine)

public:
    VornSqliteWriterLine() = default;
    ~VornSqliteWriterLine() = default;

    // False when the turn did not come in time; the thread has not entered then.
    bool enter(int timeoutMs);
    // By the thread that entered.
    void leave();

private:
    QMutex m_next;    // held by the first in the line
    QMutex m_writing; // held by the one whose turn it is
};
