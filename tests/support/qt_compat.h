#pragma once

#include <QProcess>

// The only place that asks which Qt this is: everything else is written so that both understand it.

namespace VornSyncTest {

// A process that does something between fork and exec: Qt 5 calls a virtual function there, Qt 6 a functor.
class PreparedProcess : public QProcess
{
public:
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    PreparedProcess() = default;

protected:
    void setupChildProcess() final
    {
        prepareChild();
    }
#else
    PreparedProcess()
    {
        setChildProcessModifier([this] { prepareChild(); });
    }

protected:
#endif
    // Only what a signal handler may do.
    virtual void prepareChild() = 0;
};

} // namespace VornSyncTest
