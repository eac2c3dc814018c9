#include "vorn_cli_watcher.h"

#include <QFile>

#ifdef Q_OS_LINUX

#include <QSocketNotifier>

#include <cstring>
#include <sys/inotify.h>
#include <unistd.h>

namespace {

constexpr quint32 kSaved = IN_CLOSE_WRITE | IN_MOVED_TO;
constexpr quint32 kTouched = IN_CREATE | IN_MODIFY; // a link made by name is never closed, only created
constexpr quint32 kWatched = kSaved | kTouched | IN_ONLYDIR;

constexpr int kReadBytes = 64 * 1024; // holds some hundred events with names of the greatest length

} // namespace

VornCliWatcher::VornCliWatcher(QObject* parent)
    : QObject(parent)
    , m_descriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
    if (m_descriptor < 0)
        return;
    m_notifier = new QSocketNotifier(m_descriptor, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] { onReadable(); });
}

VornCliWatcher::~VornCliWatcher()
{
    delete m_notifier; // before what it watches is closed
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

bool VornCliWatcher::watch(const QString& alias, const QString& directory)
{
    unwatch(alias);
    const int watchId = ::inotify_add_watch(m_descriptor, QFile::encodeName(directory).constData(), kWatched);
    if (watchId < 0)
        return false;
    m_watchIds.insert(alias, watchId);
    m_aliases.insert(watchId, alias);
    return true;
}

void VornCliWatcher::unwatch(const QString& alias)
{
    const auto found = m_watchIds.constFind(alias);
    if (found == m_watchIds.cend())
        return;
    const int watchId = found.value();
    m_watchIds.erase(found);
    m_aliases.remove(watchId, alias);
    if (!m_aliases.contains(watchId))
        ::inotify_rm_watch(m_descriptor, watchId);
}

void VornCliWatcher::onReadable()
{
    alignas(inotify_event) char buffer[kReadBytes];
    const ssize_t length = ::read(m_descriptor, buffer, sizeof buffer);
    for (ssize_t offset = 0; offset < length;) {
        inotify_event event = {};
        std::memcpy(&event, buffer + offset, sizeof event);
        const char* name = buffer + offset + sizeof event; // padded with NULs
        handle(event.wd, event.mask, event.len > 0 ? QByteArray(name) : QByteArray());
        offset += static_cast<ssize_t>(sizeof event + event.len);
    }
}

void VornCliWatcher::handle(int watchId, quint32 mask, const QByteArray& encodedName)
{
    if (mask & IN_Q_OVERFLOW) {
        emit eventsLost();
        return;
    }
    if (encodedName.isEmpty() || (mask & IN_ISDIR))
        return;
    const QString name = QFile::decodeName(encodedName);
    if (QFile::encodeName(name) != encodedName)
        return; // can't be represented, so the manager leaves it out as well
    const QList<QString> aliases = m_aliases.values(watchId);
    for (const QString& alias : aliases) {
        if (mask & kSaved)
            emit fileSaved(alias, name);
        else if (mask & kTouched)
            emit fileTouched(alias, name);
    }
}

#else

#include <QFileSystemWatcher>

VornCliWatcher::VornCliWatcher(QObject* parent)
    : QObject(parent)
    , m_watcher(new QFileSystemWatcher(this))
{
    connect(m_watcher, &QFileSystemWatcher::directoryChanged, this, &VornCliWatcher::eventsLost);
}

VornCliWatcher::~VornCliWatcher() = default;

bool VornCliWatcher::watch(const QString& alias, const QString& directory)
{
    unwatch(alias);
    if (!m_watcher->addPath(directory))
        return false;
    m_directories.insert(alias, directory);
    return true;
}

void VornCliWatcher::unwatch(const QString& alias)
{
    const QString directory = m_directories.take(alias);
    if (!directory.isEmpty())
        m_watcher->removePath(directory);
}

#endif
