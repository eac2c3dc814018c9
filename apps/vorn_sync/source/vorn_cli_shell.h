#pragma once

#include <QString>
#include <QStringList>

// Command lines that a user can paste into a shell.
namespace VornCliShell {

// One word as it is read back by bash, zsh and ksh: bare where it can be, otherwise in single quotes, and with
// visible escapes ($'...') where it holds what a terminal must not see.
QString quoted(const QString& word);

QString commandLine(const QStringList& words);

} // namespace VornCliShell
