#include "vorn_cli_progress_line.h"

#include "vorn_cli_message_handler.h"
#include "vorn_cli_messages.h"
#include "vorn_cli_text.h"

#include <algorithm>
#include <cstdio>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int kRedrawMs = 100;       // smooth to the eye, and nothing beside a copy
constexpr int kFallbackColumns = 80; // terminals that do not tell their width

const QLatin1String kSeparator(" | ");

int terminalColumns()
{
    struct winsize size = {};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
        return kFallbackColumns;
    return size.ws_col;
}

void writeBytes(const QByteArray& bytes)
{
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fflush(stdout);
}

} // namespace

VornCliProgressLine::VornCliProgressLine(QObject* parent)
    : QObject(parent)
{
    m_clock.start();
    m_timer.setInterval(kRedrawMs);
    connect(&m_timer, &QTimer::timeout, this, &VornCliProgressLine::draw);
    m_timer.start();
    VornCliMessageHandler::setProgressShown(true);
}

VornCliProgressLine::~VornCliProgressLine()
{
    VornCliMessageHandler::setProgressShown(false);
    draw(); // the last state may never have been shown
    wipe();
}

void VornCliProgressLine::fileStarted(const VornCliFile& file)
{
    m_running.append(file);
}

void VornCliProgressLine::fileCompleted(const VornCliFile& file)
{
    const auto found = std::find_if(m_running.begin(), m_running.end(),
                                    [&file](const VornCliFile& one) { return one.path == file.path; });
    if (found != m_running.end())
        m_running.erase(found);
}

void VornCliProgressLine::wipe()
{
    writeBytes("\r\x1b[K");
}

void VornCliProgressLine::draw()
{
    // One column less than there are: a full last column would make some terminals go to the next line.
    writeBytes('\r' + text(terminalColumns() - 1).toLocal8Bit() + "\x1b[K");
}

// Done, pending, in error, current file, elapsed. On a narrow terminal the file's name gives way first.
QString VornCliProgressLine::text(int columns) const
{
    const QString head = VornCliMessages::progress(m_counters) + kSeparator;
    const QString elapsed = VornCliText::elapsed(m_clock.elapsed());
    if (m_running.isEmpty())
        return VornCliText::clipped(head + elapsed, columns);
    const VornCliFile& file = m_running.constFirst();
    const QString name = VornCliText::printable(file.alias + QLatin1Char('/') + file.name);
    const QString tail = kSeparator + elapsed;
    const int room = columns - VornCliText::columns(head) - VornCliText::columns(tail);
    return VornCliText::clipped(head + VornCliText::clipped(name, std::max(0, room)) + tail, columns);
}
