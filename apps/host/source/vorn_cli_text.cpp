#include "vorn_cli_text.h"

#include <QByteArray>
#include <QStringList>
#include <QVector>

#include <algorithm>
#include <cstdio>
#include <cwchar>

namespace {

bool mustBeEscaped(uint character)
{
    const bool control = character < 0x20 || (character >= 0x7f && character < 0xa0);
    const bool separator = character == 0x2028 || character == 0x2029;
    const bool direction = (character >= 0x200e && character <= 0x200f) ||
                           (character >= 0x202a && character <= 0x202e) ||
                           (character >= 0x2066 && character <= 0x2069);
    return control || separator || direction;
}

QString escape(uint character)
{
    switch (character) {
    case '\n':
        return QStringLiteral("\\n");
    case '\r':
        return QStringLiteral("\\r");
    case '\t':
        return QStringLiteral("\\t");
    }
    const bool isByte = character < 0x100;
    return QLatin1String(isByte ? "\\x" : "\\u") +
           QString::number(character, 16).rightJustified(isByte ? 2 : 4, QLatin1Char('0'));
}

int columnsOf(uint character)
{
    return std::max(0, ::wcwidth(static_cast<wchar_t>(character)));
}

void write(FILE* stream, const QString& line)
{
    const QByteArray bytes = line.toLocal8Bit() + '\n';
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stream);
    std::fflush(stream);
}

} // namespace

namespace VornCliText {

QString printable(const QString& text)
{
    QString result;
    result.reserve(text.size());
    const QVector<uint> characters = text.toUcs4();
    for (const uint character : characters) {
        if (mustBeEscaped(character))
            result += escape(character);
        else
            result += QString::fromUcs4(&character, 1);
    }
    return result;
}

QString printableLines(const QString& text)
{
    QStringList lines = text.split(QLatin1Char('\n'));
    for (QString& line : lines) {
        QStringList fields = line.split(QLatin1Char('\t'));
        for (QString& field : fields)
            field = printable(field);
        line = fields.join(QLatin1Char('\t'));
    }
    return lines.join(QLatin1Char('\n'));
}

QString clipped(const QString& text, int columns)
{
    QString result;
    int used = 0;
    const QVector<uint> characters = text.toUcs4();
    for (const uint character : characters) {
        used += columnsOf(character);
        if (used > columns)
            break;
        result += QString::fromUcs4(&character, 1);
    }
    return result;
}

int columns(const QString& text)
{
    int used = 0;
    const QVector<uint> characters = text.toUcs4();
    for (const uint character : characters)
        used += columnsOf(character);
    return used;
}

QString elapsed(qint64 milliseconds)
{
    const qint64 seconds = milliseconds / 1000;
    const auto twoDigits = [](qint64 value) {
        return QString::number(value).rightJustified(2, QLatin1Char('0'));
    };
    const QString tail = QLatin1Char(':') + twoDigits(seconds % 60);
    if (seconds < 3600)
        return QString::number(seconds / 60) + tail;
    return QString::number(seconds / 3600) + QLatin1Char(':') + twoDigits(seconds / 60 % 60) + tail;
}

void writeOut(const QString& line)
{
    write(stdout, line);
}

void writeError(const QString& line)
{
    write(stderr, line);
}

} // namespace VornCliText
