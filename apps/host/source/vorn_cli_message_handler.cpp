#include "vorn_cli_message_handler.h"

#include "vorn_cli_text.h"

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <atomic>
#include <cstdio>

namespace {

std::atomic<bool> showDebug{false};
std::atomic<bool> progressShown{false};

constexpr char kWipeLine[] = "\r\x1b[K";

// One write for one message: several threads use this at the same time.
void handle(QtMsgType type, const QMessageLogContext& /*context*/, const QString& message)
{
    if (type == QtDebugMsg && !showDebug)
        return;
    QByteArray bytes = VornCliText::printableLines(message).toLocal8Bit() + '\n';
    if (progressShown)
        bytes.prepend(kWipeLine);
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stderr);
    std::fflush(stderr);
}

} // namespace

namespace VornCliMessageHandler {

void install(bool verbose)
{
    showDebug = verbose;
    qInstallMessageHandler(handle);
}

void setProgressShown(bool shown)
{
    progressShown = shown;
}

} // namespace VornCliMessageHandler
