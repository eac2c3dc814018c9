#pragma once

#include "vorn_cli_progress.h"

#include <QJsonObject>

// Whether a mirror comes forward, as part of the answer to "status". Any thread.
namespace VornCliProgressJson {

// Adds to a status what is known of the whole and of each of its pairs.
void add(const VornCliProgress& progress, QJsonObject* status);
VornCliProgress read(const QJsonObject& status);

} // namespace VornCliProgressJson
