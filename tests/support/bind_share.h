#pragma once

#include <QString>

namespace VornSyncTest {

// A share is a mounted directory that goes and comes. What is behind it stays: the mount is a view on a directory
// elsewhere, and the mount point below it is an empty directory.
class BindShare
{
    Q_DISABLE_COPY_MOVE(BindShare)

public:
    BindShare(const QString& storage, const QString& mountPoint)
        : m_storage(storage)
        , m_mountPoint(mountPoint)
    {
    }
    ~BindShare() { unmount(); }

    bool mount();
    bool unmount();
    bool setReadOnly(bool readOnly) const;

private:
    QString m_storage;
    QString m_mountPoint;
    bool m_isMounted = false;
};

} // namespace VornSyncTest
