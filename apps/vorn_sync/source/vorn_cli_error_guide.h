#pragma once

#include "vorn_cli_types.h"

#include <QString>
#include <QVector>

// What the user may do about a file in error, in the language of the catalogue in force.
struct VornCliAdvice
{
    QString sentence;
    QString action;      // the command's name; empty: nothing a command could do
    QStringList command; // its whole command line; empty likewise
};

// What each error code means, and which commands settle it.
namespace VornCliErrorGuide {

QString sentence(int code);

// `program` and `statePath` become part of the command lines.
QVector<VornCliAdvice> advice(const VornCliFileError& error, const QString& program,
                              const QString& statePath);

} // namespace VornCliErrorGuide
