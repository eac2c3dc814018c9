#pragma once

#include "vorn_cli_guard.h"

#include <QStringList>

// Whether a mirror comes forward, in sentences for people in the language of the catalogue in force. Names in
// them are made printable.
namespace VornCliProgressText {

// Below the line of a pair; nothing where nothing is noted.
QStringList pair(const VornCliPairProgress& pair, qint64 nowSecs);
QStringList findings(const QVector<VornCliFinding>& findings); // but the files in error, which stand above

} // namespace VornCliProgressText
