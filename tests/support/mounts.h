#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace VornSyncTest {

// A tmpfs over an existing directory, unmounted (lazily) when the object goes. Needs the right to mount; a
// test skips with reason() when isMounted() is false.
class TmpfsMount
{
    Q_DISABLE_COPY_MOVE(TmpfsMount)

public:
    // Options as mount -o takes them for a tmpfs: "size=1m", "size=1m,nr_inodes=8".
    explicit TmpfsMount(const QString& mountPoint, const QString& options = QStringLiteral("size=1m"));
    ~TmpfsMount();

    bool isMounted() const { return m_isMounted; }
    QString reason() const { return m_reason; }
    QString path() const { return m_mountPoint; }

    bool remount(bool readOnly);
    bool unmount();

private:
    QString m_mountPoint;
    QString m_options;
    QString m_reason;
    bool m_isMounted = false;
};

bool isMountPoint(const QString& path);

// While it lives, this thread (and threads it starts) is a stranger: an ordinary user who owns none of the
// files. Needs root; a test skips when isActive() is false.
class UnprivilegedScope
{
    Q_DISABLE_COPY_MOVE(UnprivilegedScope)

public:
    UnprivilegedScope();
    ~UnprivilegedScope();

    bool isActive() const { return m_isActive; }

private:
    bool m_isActive = false;
};

struct ProcessResult
{
    bool hasRun = false; // false: see reason
    QString reason;
    int exitCode = -1; // -1 also for a crash
    QByteArray output;
    QByteArray errorOutput;
};

// Runs a program to its end as the user 65534, without rights over others' files.
ProcessResult runAsUser(const QString& program, const QStringList& arguments, int timeoutMs = 60000);

} // namespace VornSyncTest
