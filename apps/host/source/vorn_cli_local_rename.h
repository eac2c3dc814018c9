#pragma once

#include <QString>

// A rename that never replaces anything.
namespace VornCliLocalRename {

enum class Result { Renamed, NewNameTaken, Failed };

// `reason` gets the system's words after Failed. Any thread.
Result rename(const QString& oldPath, const QString& newPath, QString* reason);

} // namespace VornCliLocalRename
