#include "trace_capture.h"

#include <QLatin1String>
#include <QMutexLocker>

namespace VornSyncTest {

namespace {

const QLatin1String kLinePrefix("[-- SYNC --]: ");

// Guards the chain of captures against a message that another thread writes while one begins or ends.
QBasicMutex chainMutex;
TraceCapture* innermost = nullptr;

} // namespace

bool traceLinesBuiltIn()
{
#ifdef VORN_SYNC_TRACE_LINES
    return true;
#else
    return false;
#endif
}

TraceCapture::TraceCapture()
{
    QMutexLocker lock(&chainMutex);
    m_outer = innermost;
    innermost = this;
    m_previous = qInstallMessageHandler(&TraceCapture::handleMessage);
}

TraceCapture::~TraceCapture()
{
    QMutexLocker lock(&chainMutex);
    qInstallMessageHandler(m_previous);
    innermost = m_outer;
}

QStringList TraceCapture::debugLines() const
{
    return ownCopy(m_debugLines);
}

QStringList TraceCapture::warnings() const
{
    return ownCopy(m_warnings);
}

QStringList TraceCapture::criticals() const
{
    return ownCopy(m_criticals);
}

// A list of its own for the reader. A shared one would be read outside the lock, and its last reader's letting
// go is not ordered before the next append: the test of a Qt container for being shared is a relaxed load.
QStringList TraceCapture::ownCopy(const QStringList& lines) const
{
    QMutexLocker lock(&m_mutex);
    QStringList copy = lines;
    copy.detach();
    return copy;
}

void TraceCapture::clear()
{
    QMutexLocker lock(&m_mutex);
    m_debugLines.clear();
    m_warnings.clear();
    m_criticals.clear();
}

bool TraceCapture::contains(const QString& text) const
{
    return count(text) > 0;
}

int TraceCapture::count(const QString& text) const
{
    return int(debugLines().filter(text).size());
}

QStringList TraceCapture::linesOf(const QString& tag) const
{
    const QString head = kLinePrefix + tag;
    QStringList result;
    const QStringList lines = debugLines();
    for (const QString& line : lines) {
        if (line.startsWith(head))
            result << line.mid(head.size());
    }
    return result;
}

void TraceCapture::handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    static const bool isVerbose = qEnvironmentVariableIsSet("VORN_TEST_VERBOSE");
    QtMessageHandler outermostHandler = nullptr;
    {
        QMutexLocker lock(&chainMutex);
        for (TraceCapture* capture = innermost; capture; capture = capture->m_outer) {
            capture->add(type, message);
            outermostHandler = capture->m_previous;
        }
    }
    if ((isVerbose || type == QtFatalMsg) && outermostHandler)
        outermostHandler(type, context, message);
}

void TraceCapture::add(QtMsgType type, const QString& message)
{
    QMutexLocker lock(&m_mutex);
    switch (type) {
    case QtDebugMsg:
        m_debugLines << message;
        break;
    case QtWarningMsg:
        m_warnings << message;
        break;
    case QtCriticalMsg:
        m_criticals << message;
        break;
    case QtFatalMsg:
    case QtInfoMsg:
        break;
    }
}

} // namespace VornSyncTest
