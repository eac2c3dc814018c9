#include "state_input.h"

#include "sandbox.h"

#include <QFile>

namespace VornSyncFuzz {

namespace {

const QByteArray kMarker = QByteArrayLiteral("\n--write-ahead log--\n");
const QString kLogSuffix = QStringLiteral("-wal");

} // namespace

StateInput StateInput::fromBytes(const std::uint8_t* data, std::size_t size)
{
    StateInput result;
    if (size == 0)
        return result;
    result.way = data[0] & (WholeManager | WipedAfterwards);
    result.file = QByteArray(reinterpret_cast<const char*>(data) + 1, int(size) - 1);
    const int marker = int(result.file.lastIndexOf(kMarker));
    if (marker >= 0) {
        result.log = result.file.mid(marker + kMarker.size());
        result.file.truncate(marker);
    }
    return result;
}

StateInput StateInput::fromFiles(quint8 way, const QString& databasePath)
{
    StateInput result;
    result.way = way;
    result.file = readFile(databasePath);
    result.log = readFile(databasePath + kLogSuffix);
    return result;
}

QByteArray StateInput::toBytes() const
{
    const QByteArray result = char(way) + file;
    return log.isEmpty() ? result : result + kMarker + log;
}

void StateInput::toFiles(const QString& databasePath) const
{
    writeFile(databasePath, file);
    if (!log.isEmpty())
        writeFile(databasePath + kLogSuffix, log);
}

} // namespace VornSyncFuzz
