#pragma once

#include <QLockFile>
#include <QString>

#include <memory>

// Where a mirror keeps what it knows: database, trash, remembered pairs, and the lock that lets only one
// instance at it. Lives on the host's thread; gives the lock back when it is destroyed.
class VornCliStateDirectory
{
    Q_DISABLE_COPY_MOVE(VornCliStateDirectory)

public:
    enum class LockResult { Locked, InUse, Unusable };

    explicit VornCliStateDirectory(const QString& path);

    // $XDG_STATE_HOME/vorn_sync, or ~/.local/state/vorn_sync.
    static QString defaultPath();

    LockResult lock(); // creates the directory where it is missing
    QString lockError() const { return m_lockError; }

    QString path() const { return m_path; }
    QString databasePath() const { return filePath(QStringLiteral("state.db")); }
    QString trashPath() const { return filePath(QStringLiteral("trash")); }
    QString pairListPath() const { return filePath(QStringLiteral("pairs.json")); }
    QString probePath() const { return filePath(QStringLiteral("probe")); }

private:
    QString filePath(const QString& name) const { return m_path + QLatin1Char('/') + name; }

    QString m_path; // absolute
    QString m_lockError;
    std::unique_ptr<QLockFile> m_lock;
};
