#include "bind_share.h"

#include <QFile>

#include <sys/mount.h>

namespace VornSyncTest {

bool BindShare::mount()
{
    m_isMounted = ::mount(QFile::encodeName(m_storage).constData(),
                          QFile::encodeName(m_mountPoint).constData(), nullptr, MS_BIND, nullptr) == 0;
    return m_isMounted;
}

bool BindShare::unmount()
{
    if (m_isMounted && ::umount2(QFile::encodeName(m_mountPoint).constData(), MNT_DETACH) == 0)
        m_isMounted = false;
    return !m_isMounted;
}

bool BindShare::setReadOnly(bool readOnly) const
{
    const unsigned long flags = unsigned(MS_BIND | MS_REMOUNT) | (readOnly ? unsigned(MS_RDONLY) : 0U);
    return ::mount(nullptr, QFile::encodeName(m_mountPoint).constData(), nullptr, flags, nullptr) == 0;
}

} // namespace VornSyncTest
