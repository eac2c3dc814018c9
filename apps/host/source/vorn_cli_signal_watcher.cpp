#include "vorn_cli_signal_watcher.h"

#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

int pipeEnds[2] = {-1, -1}; // read end, write end; written before the handlers are installed

// Runs inside the signal: only async-signal-safe calls.
void onSignal(int signalNumber)
{
    for (const int number : kSignals)
        std::signal(number, SIG_DFL);
    const unsigned char byte = static_cast<unsigned char>(signalNumber);
    const ssize_t written = ::write(pipeEnds[1], &byte, 1);
    static_cast<void>(written); // nothing can be done about it here
}

} // namespace

VornCliSignalWatcher::VornCliSignalWatcher(QObject* parent)
    : QObject(parent)
{
    if (::pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0) {
        qWarning("Signals can't be watched; they end the program at once.");
        return;
    }
    m_notifier = new QSocketNotifier(pipeEnds[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] { onReadable(); });
    for (const int number : kSignals) {
        struct sigaction old = {};
        ::sigaction(number, nullptr, &old);
        if (number == SIGHUP && old.sa_handler == SIG_IGN) // nohup
            continue;
        struct sigaction action = {};
        action.sa_handler = onSignal;
        action.sa_flags = SA_RESTART;
        ::sigemptyset(&action.sa_mask);
        ::sigaction(number, &action, nullptr);
    }
}

VornCliSignalWatcher::~VornCliSignalWatcher()
{
    for (const int number : kSignals) {
        struct sigaction current = {};
        ::sigaction(number, nullptr, &current);
        if (current.sa_handler == onSignal)
            std::signal(number, SIG_DFL);
    }
    for (int& end : pipeEnds) {
        if (end >= 0)
            ::close(end);
        end = -1;
    }
}

void VornCliSignalWatcher::onReadable()
{
    unsigned char byte = 0;
    if (::read(pipeEnds[0], &byte, 1) != 1)
        return;
    m_signalNumber = byte;
    emit caught(m_signalNumber);
}
