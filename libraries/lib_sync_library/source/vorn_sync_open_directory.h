#pragma once

#include "vorn_sync_files.h"

#include <QByteArray>
#include <QtGlobal>

#include <memory>
#include <system_error>

// A directory held open: its entries one by one, "." and ".." left out, and what the disk says of one of them. No
// path is put together or walked for an entry, which would cost more than the entry itself: std::filesystem's
// iterator needs several times as long, a look at a file by its whole path a quarter more. Used on one thread.
//
// What was looked at stays the directory that was opened, even when its path has come to mean another one. (Not so
// facts() on systems without Qt's own names for the calls: there it goes by the path.)
class VornSyncOpenDirectory
{
    Q_DISABLE_COPY_MOVE(VornSyncOpenDirectory)

public:
    explicit VornSyncOpenDirectory(const QByteArray& nativePath);
    ~VornSyncOpenDirectory();

    // Goes to the next entry. False at the end, and when the directory can't be opened or read any further: error()
    // then says why.
    bool next();
    std::error_code error() const { return m_error; }

    // The entry's name; valid until next() is called again.
    const char* name() const;
    // A regular file, or a link to one. The kind mostly comes with the name; only a link or an unknown kind costs a
    // call of its own.
    bool isPlainFile() const;

    // What VornSyncFiles::listedFacts gives for an entry of that name.
    VornSyncFileFacts facts(const char* nativeName) const;

private:
    struct Entries;

    const std::unique_ptr<Entries> m_entries;
    std::error_code m_error;
};
