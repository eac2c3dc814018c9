#pragma once

#include <QString>
#include <QTemporaryDir>

namespace VornSyncTest {

// A disk of its own in a file, mounted through a loop device, whose power can be cut: what the file system had not
// written by then is lost, as it is in a machine that is switched off. Needs root; a test skips with reason().
class LoopDisk
{
    Q_DISABLE_COPY_MOVE(LoopDisk)

public:
    // "ext4" or "xfs".
    explicit LoopDisk(const QString& fileSystem);
    ~LoopDisk();

    bool isMounted() const { return m_isMounted; }
    QString reason() const { return m_reason; }
    QString path() const { return m_directory.filePath(QStringLiteral("disk")); }

    // From now on every call on it fails. The last writes are gone, those of the log too.
    [[nodiscard]] bool cutPower() const;
    // Mounts it again, as after a start of the machine: the file system repairs itself by its log.
    [[nodiscard]] bool restorePower();

private:
    bool make(const QString& fileSystem);
    bool mount();
    bool unmount();

    QTemporaryDir m_directory;
    QString m_reason;
    bool m_isMounted = false;
};

} // namespace VornSyncTest
