#include "vorn_cli_state_directory.h"

#include "vorn_cli_text.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

constexpr QFile::Permissions kPrivate = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;

} // namespace

VornCliStateDirectory::VornCliStateDirectory(const QString& path)
    : m_path(QDir::cleanPath(QFileInfo(path).absoluteFilePath()))
{
}

QString VornCliStateDirectory::defaultPath()
{
    const QString base = QFile::decodeName(qgetenv("XDG_STATE_HOME"));
    const QString own = QStringLiteral("/vorn_sync");
    if (QDir::isAbsolutePath(base)) // the XDG rules want a relative one ignored
        return base + own;
    return QDir::homePath() + QStringLiteral("/.local/state") + own;
}

VornCliStateDirectory::LockResult VornCliStateDirectory::lock()
{
    const QString shown = VornCliText::printable(m_path);
    const bool existed = QFileInfo::exists(m_path);
    if (!QDir().mkpath(m_path)) {
        m_lockError = qtTrId("vorn_sync_state_not_created").arg(shown);
        return LockResult::Unusable;
    }
    if (!existed)
        QFile::setPermissions(m_path, kPrivate); // names and times of somebody's files

    m_lock = std::make_unique<QLockFile>(filePath(QStringLiteral("lock")));
    m_lock->setStaleLockTime(0); // never by age: a mirror runs for months. A dead owner's lock is taken over.
    if (m_lock->tryLock(0))
        return LockResult::Locked;

    // A dead owner's lock stays where nothing can be written.
    if (m_lock->error() != QLockFile::LockFailedError || !QFileInfo(m_path).isWritable()) {
        m_lockError = qtTrId("vorn_sync_state_not_locked").arg(shown);
        return LockResult::Unusable;
    }
    qint64 processId = 0;
    QString hostName;
    QString application;
    m_lock->getLockInfo(&processId, &hostName, &application);
    m_lockError = qtTrId("vorn_sync_state_in_use")
                      .arg(shown, QString::number(processId), VornCliText::printable(application),
                           VornCliText::printable(hostName));
    return LockResult::InUse;
}
