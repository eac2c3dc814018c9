#pragma once

#include <QString>

// Path and date helpers. All are stateless and may be called from any thread.

// The current local date and time, "yyyy-MM-dd hh:mm:ss.zzz".
QString getDate();

// `path` with a trailing "/" appended unless it already ends with one.
QString addLastPathSepIfNeeded(const QString& path);

// What a directory must be named to travel with a file: beside it, as the file's complete base name ("report"
// for "report.doc"). Empty when the file has no suffix, and when the complete base name is empty, "." or "..".
QString getAssociatedDirectoryName(const QString& filePath);

// That directory where there is one, otherwise empty. The file itself need not exist.
QString getAssociatedDirectoryPath(const QString& filePath);
