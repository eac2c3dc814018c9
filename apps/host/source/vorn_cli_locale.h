#pragma once

#include <QString>
#include <QStringList>

// The process's character encoding and the language of its messages.
namespace VornCliLocale {

// In the C locale names beyond ASCII could not be represented; switches to C.UTF-8 then. Call it before the
// application object exists.
void ensureNamesWork();

QStringList languages(); // of which there is a catalogue

// The language of the user's environment, where there is a catalogue for it; otherwise English.
QString environmentLanguage();

// Installs the program's catalogue of one of languages() in the application.
bool installCatalogue(const QString& program, const QString& language);
// Installs that of Qt's own dialogs; false: it is not on this machine.
bool installQtCatalogue(const QString& language);

} // namespace VornCliLocale
