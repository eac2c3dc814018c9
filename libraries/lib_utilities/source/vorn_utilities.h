#pragma once

#include <QString>

// Path and date helpers. All are stateless and may be called from any thread.

// The current local date and time, "yyyy-MM-dd hh:mm:ss.zzz".
QString getDate();

// `path` with a trailing "/" appended unless it already ends with one.
QString addLastPathSepIfNeeded(const QString& path);

// The directory that travels with a file: the one beside it that is named as the file's complete base
// name ("report" for "report.doc"). Empty when there is no such directory, when the file has no suffix,
// and when the complete base name is empty, "." or "..". The file itself need not exist.
QString getAssociatedDirectoryPath(const QString& filePath);
