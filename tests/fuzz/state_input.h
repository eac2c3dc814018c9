#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>

namespace VornSyncFuzz {

// One input of the state database's fuzzer: what is done, the file, and the write-ahead log beside it (none when
// empty). As bytes: one byte of what is done, the file, and, after a marker, the log.
struct StateInput
{
    enum Way {
        DatabaseAlone = 0,
        WholeManager = 1,    // otherwise the database class alone
        WipedAfterwards = 2, // a bit of its own
    };

    quint8 way = DatabaseAlone;
    QByteArray file;
    QByteArray log;

    bool hasWholeManager() const { return (way & WholeManager) != 0; }
    bool isWipedAfterwards() const { return (way & WipedAfterwards) != 0; }

    static StateInput fromBytes(const std::uint8_t* data, std::size_t size);
    static StateInput fromFiles(quint8 way, const QString& databasePath);
    QByteArray toBytes() const;
    void toFiles(const QString& databasePath) const;
};

} // namespace VornSyncFuzz
