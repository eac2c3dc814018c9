#include "vorn_sync_packed_rows.h"

#include "vorn_sync_times.h"

#include <algorithm>

namespace {

constexpr char kNameSeparator = '/';
constexpr char kSeparator = ',';

// The values of one column, one after the other; empty ones after the last.
template<char separator> class Values
{
public:
    explicit Values(const QByteArray& column)
        : m_position(column.constData())
        , m_end(m_position + column.size())
    {
    }

    std::string_view next()
    {
        const char* begin = m_position;
        const char* end = std::find(begin, m_end, separator);
        m_position = end == m_end ? end : end + 1;
        return std::string_view(begin, std::size_t(end - begin));
    }

private:
    const char* m_position;
    const char* const m_end;
};

bool isCountRight(const QByteArray& column, int count, char separator = kSeparator)
{
    return std::count(column.cbegin(), column.cend(), separator) == count - 1;
}

// What SQLite makes of integers. The text of anything else, as of a floating-point number, has other characters.
bool areNumbers(const QByteArray& column, int count)
{
    const auto isExpected = [](char character) {
        return (character >= '0' && character <= '9') || character == '-' || character == kSeparator;
    };
    return isCountRight(column, count) && std::all_of(column.cbegin(), column.cend(), isExpected);
}

qint64 toNumber(std::string_view digits)
{
    const bool isNegative = !digits.empty() && digits.front() == '-';
    quint64 number = 0; // wraps around where a signed one must not
    for (const char digit : digits.substr(isNegative ? 1 : 0))
        number = number * 10 + quint64(digit - '0');
    return qint64(isNegative ? 0 - number : number);
}

} // namespace

bool VornSyncPackedRows::isSound() const
{
    if (count == 0)
        return names.isEmpty();
    const bool areMarks = !markedSizes.isEmpty() || !markedLmds.isEmpty();
    return isCountRight(names, count, kNameSeparator) && areNumbers(statuses, count) &&
           areNumbers(sizes, count) && isCountRight(localLmds, count) && areNumbers(undefined, count) &&
           (!areMarks || (areNumbers(markedSizes, count) && isCountRight(markedLmds, count)));
}

void VornSyncPackedRows::forEach(const Visitor& visit) const
{
    Values<kNameSeparator> nameValues(names);
    Values<kSeparator> statusValues(statuses);
    Values<kSeparator> sizeValues(sizes);
    Values<kSeparator> localLmdValues(localLmds);
    Values<kSeparator> undefinedValues(undefined);
    Values<kSeparator> markedSizeValues(markedSizes);
    Values<kSeparator> markedLmdValues(markedLmds);
    VornSyncFileRow row;
    for (int i = 0; i < count; ++i) {
        row.status = int(toNumber(statusValues.next()));
        row.size = toNumber(sizeValues.next());
        row.localLmdSecs = VornSyncTimes::secsFromText(localLmdValues.next());
        row.distantLmdUndefined = undefinedValues.next() == "1";
        const std::string_view markedSize = markedSizeValues.next();
        const std::string_view markedLmd = markedLmdValues.next();
        row.isDistantNewer = !markedSize.empty();
        row.markedLocalSize = toNumber(markedSize);
        row.markedLocalLmdSecs = row.isDistantNewer ? VornSyncTimes::secsFromText(markedLmd) : 0;
        visit(nameValues.next(), row);
    }
}

qint64 VornSyncPackedRows::byteCount() const
{
    qint64 bytes = 0;
    for (const QByteArray* column :
         {&names, &statuses, &sizes, &localLmds, &undefined, &markedSizes, &markedLmds})
        bytes += column->size();
    return bytes;
}
