#include "cycle_watch.h"

#include <QFile>

#include <array>
#include <cstring>
#include <sys/inotify.h>
#include <unistd.h>

namespace VornSyncTest {

namespace {

constexpr std::size_t kBufferBytes = 64 * 1024; // some thousand events

} // namespace

CycleWatch::CycleWatch(const QString& directoryPath)
    : m_inotify(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
    if (m_inotify < 0 ||
        ::inotify_add_watch(m_inotify, QFile::encodeName(directoryPath).constData(), IN_OPEN) < 0)
        qFatal("cannot watch %s", qPrintable(directoryPath));
}

CycleWatch::~CycleWatch()
{
    ::close(m_inotify);
}

int CycleWatch::count()
{
    alignas(inotify_event) static thread_local std::array<char, kBufferBytes> buffer;
    for (;;) {
        const ssize_t bytes = ::read(m_inotify, buffer.data(), buffer.size());
        if (bytes <= 0)
            return m_count;
        for (std::size_t offset = 0; offset < std::size_t(bytes);) {
            inotify_event event;
            std::memcpy(&event, buffer.data() + offset, sizeof(event));
            offset += sizeof(event) + event.len;
            // Without a name it is the directory itself.
            if ((event.mask & IN_OPEN) != 0 && event.len == 0)
                ++m_count;
        }
    }
}

} // namespace VornSyncTest
