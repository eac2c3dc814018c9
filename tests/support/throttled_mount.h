#pragma once

#include "child_process.h"

#include <QString>

namespace VornSyncTest {

struct ThrottleRates // bytes a second; 0: as fast as the disk
{
    int read = 0;
    int write = 0;
};

// A slow share: a view through FUSE (bindfs) on a directory, which delivers and takes so many bytes a second.
// Everything else is as fast as in the directory itself.
class ThrottledMount
{
    Q_DISABLE_COPY_MOVE(ThrottledMount)

public:
    // Mounts over `mountPoint`, an existing directory. False: reason() says what is missing; a test skips with it.
    ThrottledMount(const QString& directory, const QString& mountPoint, const ThrottleRates& rates);
    // A program that still reads or writes gets an error.
    ~ThrottledMount();

    bool isMounted() const { return m_reason.isEmpty(); }
    QString reason() const { return m_reason; }

    // A share that hangs: every call waits until it thaws. Nothing that must not wait may look at it meanwhile.
    [[nodiscard]] bool freeze() const;
    void thaw() const;

private:
    QString m_mountPoint;
    QString m_reason;
    ChildProcess m_fileSystem;
};

} // namespace VornSyncTest
