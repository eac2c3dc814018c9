#pragma once

#include "vorn_cli_types.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <functional>

// What a host answers, in sentences for people in the language of the catalogue in force. Names in them are
// made printable.
namespace VornCliAnswerText {

QString sentence(const QJsonObject& answer); // of what was done, or why it was refused
QStringList managersWords(const QJsonObject& answer);
// `pairLines` gives what is to be said below the line of a pair.
QStringList status(const QJsonObject& status,
                   const std::function<QStringList(const QString& alias)>& pairLines);
QStringList errors(const QVector<VornCliFileError>& errors, int count, const QString& program,
                   const QString& statePath);

// A sentence of the catalogue with its %1, %2, ... replaced in one go: the details may hold such marks.
QString filled(const QString& sentence, const QStringList& details);

} // namespace VornCliAnswerText
