#include "vorn_sync_open_directory.h"

#include "vorn_sync_stat.h"

#include <cerrno>

// Qt's own names for the calls, where the system has them; a test takes the other road, too.
#if defined(QT_READDIR) && !defined(VORN_SYNC_PORTABLE_DIRECTORY)

#include <fcntl.h>

namespace {

// The sibling of QT_STAT that Qt has no name for.
int statAt(int directory, const char* name, QT_STATBUF& buffer, int flags)
{
#ifdef QT_USE_XOPEN_LFS_EXTENSIONS
    return ::fstatat64(directory, name, &buffer, flags);
#else
    return ::fstatat(directory, name, &buffer, flags);
#endif
}

bool isDotOrDotDot(const char* name)
{
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

} // namespace

struct VornSyncOpenDirectory::Entries
{
    explicit Entries(const QByteArray& nativePath)
        : handle(QT_OPENDIR(nativePath.constData()))
    {
    }
    ~Entries()
    {
        if (handle)
            QT_CLOSEDIR(handle);
    }
    Q_DISABLE_COPY_MOVE(Entries)

    QT_DIR* const handle;
    const QT_DIRENT* entry = nullptr;
};

VornSyncOpenDirectory::VornSyncOpenDirectory(const QByteArray& nativePath)
    : m_entries(std::make_unique<Entries>(nativePath))
{
    if (!m_entries->handle)
        m_error = std::error_code(errno, std::generic_category());
}

bool VornSyncOpenDirectory::next()
{
    if (!m_entries->handle)
        return false;
    do {
        errno = 0; // the end leaves it alone
        m_entries->entry = QT_READDIR(m_entries->handle);
    } while (m_entries->entry && isDotOrDotDot(m_entries->entry->d_name));
    if (!m_entries->entry)
        m_error = std::error_code(errno, std::generic_category());
    return m_entries->entry != nullptr;
}

const char* VornSyncOpenDirectory::name() const
{
    return m_entries->entry->d_name;
}

bool VornSyncOpenDirectory::isPlainFile() const
{
#ifdef _DIRENT_HAVE_D_TYPE
    const auto kind = m_entries->entry->d_type;
    if (kind != DT_LNK && kind != DT_UNKNOWN)
        return kind == DT_REG;
#endif
    return facts(name()).isPlainFile;
}

VornSyncFileFacts VornSyncOpenDirectory::facts(const char* nativeName) const
{
    if (!m_entries->handle)
        return VornSyncFileFacts();
    const int descriptor = ::dirfd(m_entries->handle);
    QT_STATBUF buffer;
    if (statAt(descriptor, nativeName, buffer, 0) == 0)
        return factsOfStat(buffer);
    VornSyncFileFacts facts;
    const bool isDanglingLink = errno == ENOENT &&
                                statAt(descriptor, nativeName, buffer, AT_SYMLINK_NOFOLLOW) == 0 &&
                                (buffer.st_mode & QT_STAT_MASK) == QT_STAT_LNK;
    if (isDanglingLink)
        facts.presence = VornSyncPresence::Present;
    return facts;
}

#else

#include <QFile>

#include <filesystem>

struct VornSyncOpenDirectory::Entries
{
    explicit Entries(const QByteArray& nativePath)
        : path(nativePath)
    {
    }

    const QByteArray path;
    bool isOpen = false;
    std::filesystem::directory_iterator position;
    std::filesystem::directory_entry entry;
    QByteArray name;
};

VornSyncOpenDirectory::VornSyncOpenDirectory(const QByteArray& nativePath)
    : m_entries(std::make_unique<Entries>(nativePath))
{
    m_entries->position =
        std::filesystem::directory_iterator(std::filesystem::path(nativePath.toStdString()), m_error);
    m_entries->isOpen = !m_error;
}

bool VornSyncOpenDirectory::next()
{
    if (m_error || m_entries->position == std::filesystem::directory_iterator())
        return false;
    m_entries->entry = *m_entries->position;
    m_entries->name = QByteArray::fromStdString(m_entries->entry.path().filename().string());
    m_entries->position.increment(m_error);
    return true;
}

const char* VornSyncOpenDirectory::name() const
{
    return m_entries->name.constData();
}

bool VornSyncOpenDirectory::isPlainFile() const
{
    std::error_code error;
    return m_entries->entry.is_regular_file(error);
}

VornSyncFileFacts VornSyncOpenDirectory::facts(const char* nativeName) const
{
    if (!m_entries->isOpen)
        return VornSyncFileFacts();
    return VornSyncFiles::listedFacts(m_entries->path + '/' + nativeName);
}

#endif

VornSyncOpenDirectory::~VornSyncOpenDirectory() = default;
