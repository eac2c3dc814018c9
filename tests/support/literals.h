#pragma once

#include <QString>

namespace VornSyncTest {

// Names and texts of a test, in UTF-8: "Ünï.txt"_s.
inline QString operator""_s(const char* text, std::size_t length)
{
    return QString::fromUtf8(text, int(length));
}

} // namespace VornSyncTest
