#include "names_input.h"

#include <QByteArray>
#include <QList>

namespace VornSyncFuzz {

namespace {

constexpr char kTextEnd = char(0xfe);
constexpr char kStepEnd = char(0xff);
constexpr int kActionMask = 0x3f;
constexpr int kAliasBit = 0x40;
constexpr int kUtf16Bit = 0x80;
constexpr int kMaximumSteps = 12;

QString text(const QByteArray& bytes, bool isUtf16)
{
    if (!isUtf16)
        return QString::fromUtf8(bytes);
    QString result;
    for (int i = 0; i + 1 < bytes.size(); i += 2)
        result += QChar(uchar(bytes.at(i)), uchar(bytes.at(i + 1)));
    return result;
}

} // namespace

QVector<NamesStep> namesSteps(const std::uint8_t* data, std::size_t size)
{
    QVector<NamesStep> result;
    const QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    for (const QByteArray& part : bytes.split(kStepEnd)) {
        if (part.isEmpty() || result.size() == kMaximumSteps)
            continue;
        const int what = uchar(part.at(0));
        const QList<QByteArray> texts = part.mid(1).split(kTextEnd);
        NamesStep step;
        step.action = what & kActionMask;
        step.hasAlias = (what & kAliasBit) != 0;
        step.first = text(texts.value(0), (what & kUtf16Bit) != 0);
        step.second = text(texts.value(1), (what & kUtf16Bit) != 0);
        result << step;
    }
    return result;
}

} // namespace VornSyncFuzz
