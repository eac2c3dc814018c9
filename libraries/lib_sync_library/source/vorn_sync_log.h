#pragma once

#include <QDebug>
#include <QString>

// The one way to write a trace line or a critical message. May be used from any thread.

namespace VornSyncLog {

#ifdef VORN_SYNC_TRACE_LINES
constexpr bool kTraceLines = true;
#else
constexpr bool kTraceLines = false;
#endif

// Writes "[-- SYNC --]: <tag><method> - <message>" to the debug channel. Call it through VORN_SYNC_TRACE.
void trace(const char* tag, const char* method, const QString& message);

// "'<f>' (dirId=<d>)", the way most lines name a file.
QString named(const QString& fileName, int directoryId);

// The head every critical message of the library carries: date, thread, object, source path and line. The
// caller streams the message ("Class::method: text") and further items behind it.
QDebug critical(const void* object, const char* sourcePath, int line);

} // namespace VornSyncLog

// Trace lines are compiled out of builds without VORN_SYNC_TRACE_LINES: the message is then not even built.
#define VORN_SYNC_TRACE(tag, method, message)                                                                \
    do {                                                                                                     \
        if (VornSyncLog::kTraceLines)                                                                        \
            VornSyncLog::trace(tag, method, message);                                                        \
    } while (false)
