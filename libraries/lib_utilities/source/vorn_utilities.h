#pragma once

#include <QString>

#include <cstring>
#include <string_view>

// Path, date and text helpers. All are stateless and may be called from any thread.

// The current local date and time, "yyyy-MM-dd hh:mm:ss.zzz".
QString getDate();

// `path` with a trailing "/" appended unless it already ends with one.
QString addLastPathSepIfNeeded(const QString& path);

// Such a text is the same in UTF-8 and in any locale. Eight bytes at a time: passes ask for every name.
inline bool isAscii(std::string_view text)
{
    constexpr std::size_t kStep = sizeof(quint64);
    quint64 bits = 0;
    std::size_t position = 0;
    for (; position + kStep <= text.size(); position += kStep) {
        quint64 next = 0;
        std::memcpy(&next, text.data() + position, kStep);
        bits |= next;
    }
    for (; position < text.size(); ++position)
        bits |= quint64(uchar(text[position]));
    return (bits & Q_UINT64_C(0x8080808080808080)) == 0;
}

// What a directory must be named to travel with a file: beside it, as the file's complete base name ("report"
// for "report.doc"). Empty when the file has no suffix, and when the complete base name is empty, "." or "..".
QString getAssociatedDirectoryName(const QString& filePath);

// That directory where there is one, otherwise empty. The file itself need not exist.
QString getAssociatedDirectoryPath(const QString& filePath);
