#include "vorn_cli_shell.h"

#include "vorn_cli_text.h"

#include <QByteArray>
#include <QRegularExpression>

namespace {

// The bytes of the character encoding in force, each control byte and each one beyond ASCII in octal.
QString escaped(const QString& word)
{
    QString result;
    const QByteArray bytes = word.toLocal8Bit();
    for (const char byte : bytes) {
        const auto code = static_cast<unsigned char>(byte);
        if (byte == '\\' || byte == '\'')
            result += QLatin1Char('\\') + QString(QLatin1Char(byte));
        else if (code < 0x20 || code >= 0x7f)
            // Three octal digits: unlike hexadecimal ones they end by themselves.
            result += QLatin1Char('\\') + QString::number(code, 8).rightJustified(3, QLatin1Char('0'));
        else
            result += QLatin1Char(byte);
    }
    return QLatin1String("$'") + result + QLatin1Char('\'');
}

} // namespace

namespace VornCliShell {

QString quoted(const QString& word)
{
    static const QRegularExpression bare(QStringLiteral("\\A[A-Za-z0-9_@%+=:,./-]+\\z"));
    if (bare.match(word).hasMatch())
        return word;
    if (VornCliText::printable(word) != word)
        return escaped(word);
    QString inner = word;
    inner.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + inner + QLatin1Char('\'');
}

QString commandLine(const QStringList& words)
{
    QStringList quotedWords;
    for (const QString& word : words)
        quotedWords.append(quoted(word));
    return quotedWords.join(QLatin1Char(' '));
}

} // namespace VornCliShell
