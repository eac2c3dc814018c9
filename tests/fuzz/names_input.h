#pragma once

#include <QString>
#include <QVector>

#include <cstddef>
#include <cstdint>

namespace VornSyncFuzz {

// One input of the names' fuzzer: what a host does, step by step. As bytes: a byte that says what, the texts,
// parted by 0xfe, and 0xff at the end of a step; neither occurs in UTF-8, which the texts are in. With the highest
// bit of the first byte set they are pairs of bytes instead: any UTF-16, surrogates without a partner included.
struct NamesStep
{
    int action = 0;        // as it is taken modulo their number
    bool hasAlias = false; // the first text is the alias; otherwise it is the registered one
    QString first;
    QString second;
};

QVector<NamesStep> namesSteps(const std::uint8_t* data, std::size_t size);

} // namespace VornSyncFuzz
