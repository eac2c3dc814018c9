#include "vorn_sync_packed_rows.h"

#include "vorn_sync_times.h"

#include <algorithm>
#include <cstring>
#include <unordered_set>

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
        const void* found = std::memchr(begin, separator, std::size_t(m_end - begin));
        const char* end = found ? static_cast<const char*>(found) : m_end;
        m_position = end == m_end ? end : end + 1;
        return std::string_view(begin, std::size_t(end - begin));
    }

    bool isAtEnd() const { return m_position == m_end; }

private:
    const char* m_position;
    const char* const m_end;
};

// Counted in an int, not by std::count: compilers make many characters a step of that.
bool isCountRight(const QByteArray& column, int count, char separator = kSeparator)
{
    int separators = 0;
    for (const char character : column)
        separators += character == separator ? 1 : 0;
    return separators == count - 1;
}

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

bool isNumber(std::string_view text)
{
    const std::string_view digits = text.substr(!text.empty() && text.front() == '-' ? 1 : 0);
    return !digits.empty() && std::all_of(digits.cbegin(), digits.cend(), isDigit);
}

// What SQLite makes of integers. The text of anything else, as of a floating-point number, has other characters.
bool areNumbers(const QByteArray& column, int count)
{
    char before = kSeparator;
    for (const char character : column) {
        const bool isSign = character == '-' && before == kSeparator;
        if (!isDigit(character) && character != kSeparator && !isSign)
            return false;
        before = character;
    }
    return isCountRight(column, count);
}

qint64 toNumber(std::string_view digits)
{
    const bool isNegative = !digits.empty() && digits.front() == '-';
    quint64 number = 0; // wraps around where a signed one must not
    for (const char digit : digits.substr(isNegative ? 1 : 0))
        number = number * 10 + quint64(digit - '0');
    return qint64(isNegative ? 0 - number : number);
}

void readMark(std::string_view size, std::string_view lmd, VornSyncTimes::Reader& times, VornSyncFileRow& row)
{
    row.isDistantNewer = !size.empty();
    row.markedLocalSize = toNumber(size);
    row.markedLocalLmdSecs = row.isDistantNewer ? times.secsFromText(lmd) : 0;
}

// A row that is not as nearly all are.
struct OtherRow
{
    std::string_view status;
    std::string_view undefined;
    std::string_view name;
};

// Empty where the text is none. A name is all that follows the second separator.
OtherRow otherRow(std::string_view text)
{
    const std::size_t statusEnd = text.find(kSeparator);
    const std::size_t undefinedEnd =
        statusEnd == std::string_view::npos ? statusEnd : text.find(kSeparator, statusEnd + 1);
    if (undefinedEnd == std::string_view::npos)
        return {};
    return {text.substr(0, statusEnd), text.substr(statusEnd + 1, undefinedEnd - statusEnd - 1),
            text.substr(undefinedEnd + 1)};
}

} // namespace

bool VornSyncPackedRows::isSound() const
{
    if (count == 0)
        return names.isEmpty();
    const bool areMarks = !markedSizes.isEmpty() || !markedLmds.isEmpty();
    return isCountRight(names, count, kNameSeparator) && areNumbers(sizes, count) &&
           isCountRight(localLmds, count) && areOthersSound() &&
           (!areMarks || (areNumbers(markedSizes, count) && isCountRight(markedLmds, count)));
}

// Each of them is met once when the names are gone through: they are in the same order, and no name is there twice, as it
// can be as text and as bytes.
bool VornSyncPackedRows::areOthersSound() const
{
    if (others.isEmpty())
        return true;
    std::unordered_set<std::string_view> otherNames;
    Values<kNameSeparator> allOthers(others);
    do {
        const OtherRow other = otherRow(allOthers.next());
        if (!isNumber(other.status) || other.undefined.size() != 1 || !otherNames.insert(other.name).second)
            return false;
    } while (!allOthers.isAtEnd());

    Values<kNameSeparator> nameValues(names);
    Values<kNameSeparator> otherValues(others);
    std::size_t metCount = 0;
    for (int i = 0; i < count; ++i) {
        const std::string_view name = nameValues.next();
        if (otherNames.count(name) == 0)
            continue;
        if (otherRow(otherValues.next()).name != name)
            return false;
        ++metCount;
    }
    return metCount == otherNames.size();
}

void VornSyncPackedRows::forEach(const Visitor& visit) const
{
    Values<kNameSeparator> nameValues(names);
    Values<kSeparator> sizeValues(sizes);
    Values<kSeparator> localLmdValues(localLmds);
    Values<kNameSeparator> otherValues(others);
    Values<kSeparator> markedSizeValues(markedSizes);
    Values<kSeparator> markedLmdValues(markedLmds);
    bool areOthersLeft = !others.isEmpty();
    OtherRow other = otherRow(otherValues.next());
    VornSyncTimes::Reader times;
    VornSyncFileRow row;
    for (int i = 0; i < count; ++i) {
        const std::string_view name = nameValues.next();
        const bool isOther = areOthersLeft && name == other.name;
        row.status = isOther ? int(toNumber(other.status)) : int(ceSfsUpToDate);
        row.distantLmdUndefined = isOther && other.undefined == "1";
        if (isOther) {
            areOthersLeft = !otherValues.isAtEnd();
            other = otherRow(otherValues.next());
        }
        row.size = toNumber(sizeValues.next());
        row.localLmdSecs = times.secsFromText(localLmdValues.next());
        readMark(markedSizeValues.next(), markedLmdValues.next(), times, row);
        visit(name, row);
    }
}

qint64 VornSyncPackedRows::byteCount() const
{
    qint64 bytes = 0;
    for (const QByteArray* column : {&names, &sizes, &localLmds, &others, &markedSizes, &markedLmds})
        bytes += column->size();
    return bytes;
}
