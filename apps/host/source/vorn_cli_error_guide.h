#pragma once

#include "vorn_cli_types.h"

#include <QString>
#include <QVector>

// What the user may have done about a file in error.
enum class VornCliAnswer { ByHand, Retry, Acknowledge, Restore, Trash };

// One way out, in the language of the catalogue in force.
struct VornCliAdvice
{
    QString sentence;
    VornCliAnswer answer = VornCliAnswer::ByHand; // ByHand: nothing that a host could do
    bool mayReplaceNewer = false;                 // the answer puts the local file over one that may be newer
};

// What each error code means, and which answers settle it.
namespace VornCliErrorGuide {

QString sentence(int code);

QVector<VornCliAdvice> advice(const VornCliFileError& error);

// The command line of that meaning, the command's name in the second place; empty for ByHand.
QStringList command(const VornCliFileError& error, VornCliAnswer answer, const QString& program,
                    const QString& statePath);

} // namespace VornCliErrorGuide
