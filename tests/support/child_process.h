#pragma once

#include "qt_compat.h"

#include <QString>
#include <QStringList>

namespace VornSyncTest {

// A server or a file system that serves a test: in a process group of its own, so that it ends with all that it
// forked, and gone when the test's process is.
class ChildProcess : public PreparedProcess
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ChildProcess)

public:
    ChildProcess() = default;
    ~ChildProcess() override;

    // Also looks where an ordinary user's PATH does not. Empty when there is none.
    static QString find(const QString& program);

    // Discards what the program writes, unless VORN_TEST_VERBOSE is set.
    bool begin(const QString& program, const QStringList& arguments);
    // The signal reaches the whole group.
    void signalGroup(int signal) const;
    // SIGSTOP; when it returns true, no thread of the group runs any more. SIGCONT undoes it.
    [[nodiscard]] bool freezeGroup() const;
    // SIGKILL, without a chance to say goodbye.
    void killGroup();

protected:
    void prepareChild() override;
};

} // namespace VornSyncTest
