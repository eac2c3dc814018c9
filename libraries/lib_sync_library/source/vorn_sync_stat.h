#pragma once

#include "vorn_sync_files.h"

#include <qplatformdefs.h>

// What one answer of the platform's stat means. QT_STAT is Qt's own name for it: one call gives size, time and kind,
// with the reason of a failure kept (QFileInfo loses it, and reads the time zone for every time it gives).
inline VornSyncFileFacts factsOfStat(const QT_STATBUF& buffer)
{
    VornSyncFileFacts facts;
    facts.presence = VornSyncPresence::Present;
    facts.isPlainFile = (buffer.st_mode & QT_STAT_MASK) == QT_STAT_REG;
    if (facts.isPlainFile) {
        facts.size = buffer.st_size;
        facts.lmdSecs = buffer.st_mtime;
#ifdef Q_OS_LINUX
        facts.lmdNanosecs = buffer.st_mtim.tv_nsec;
#endif
    }
    return facts;
}
