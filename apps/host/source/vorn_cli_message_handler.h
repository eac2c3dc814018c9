#pragma once

// What Qt's message channels (the library writes to them too) become on standard error. Any thread.
namespace VornCliMessageHandler {

// Debug lines, among them the library's trace lines where the build has them, are dropped unless `verbose`.
void install(bool verbose);

// A progress line is on the terminal: it is wiped before a message is written.
void setProgressShown(bool shown);

} // namespace VornCliMessageHandler
