#pragma once

#include <QString>

// Text for people: names may hold anything, a terminal must not act on it.
namespace VornCliText {

// Control characters, line separators and marks that turn the reading direction become visible escapes.
QString printable(const QString& text);

// The same for a text of several lines: line feeds and tabs stay.
QString printableLines(const QString& text);

// The longest beginning of `text` that fits in `columns` terminal columns.
QString clipped(const QString& text, int columns);

int columns(const QString& text);

// Minutes and seconds, or hours before them: "0:07", "1:02:03".
QString elapsed(qint64 milliseconds);

// One whole line to standard output or standard error, at once.
void writeOut(const QString& line);
void writeError(const QString& line);

} // namespace VornCliText
