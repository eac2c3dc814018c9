#pragma once

#include <QByteArray>
#include <QString>

// What the disk says, without guessing. Qt's existence tests read every failure as "absent"; here a failure
// is an answer of its own, since only a file that is surely gone may lead to a decision. May be called from
// any thread; nothing is opened, so a FIFO or a device never blocks.

enum class VornSyncPresence {
    Present, // an entry of that name is there, of whatever kind
    Absent,  // the parent directory is there and readable, and the entry is not in it
    Unknown  // anything else: no access, an I/O error, a share that is away
};

// One file as one stat call found it.
struct VornSyncFileFacts
{
    VornSyncPresence presence = VornSyncPresence::Unknown;
    bool isPlainFile = false; // a regular file, or a link to one
    qint64 size = 0;          // bytes; of plain files only
    qint64 lmdSecs = 0;       // last modification, seconds since the epoch (UTC); of plain files only
    qint64 lmdNanosecs = 0;   // the fraction of that second
};

namespace VornSyncFiles {

// Empty for an empty directory: a path that could not be read has lost no files, and nothing can be said of them.
QString joined(const QString& directory, const QString& fileName);

// Size, time and kind of the entry at `path`, following links. A dangling link is present and not plain.
VornSyncFileFacts facts(const QString& path);

// As facts(), for an entry that a listing has just named: never asks the parent directory, so an entry that
// has vanished since reads as Unknown.
VornSyncFileFacts listedFacts(const QString& path);
VornSyncFileFacts listedFacts(const QByteArray& nativePath);

VornSyncPresence directoryPresence(const QString& path); // Present: it is a directory

// One rename, over whatever is at `to`; never a copy. False with the system's text in `error`.
bool rename(const QString& from, const QString& to, QString* error = nullptr);

// True when there surely is no such file any more.
bool remove(const QString& path);

// True when both paths are one entry of the file system (a link, a case-insensitive name).
bool isSameFile(const QString& left, const QString& right);

// True when the two paths lead to the same directory, whether or not either exists yet.
bool isSamePlace(const QString& left, const QString& right);

// A name of the form that QFile::copy gives its temporary file.
bool isQtTemporaryName(const QString& fileName);

} // namespace VornSyncFiles
