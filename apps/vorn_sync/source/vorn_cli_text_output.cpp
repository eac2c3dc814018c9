#include "vorn_cli_text_output.h"

#include "vorn_cli_messages.h"
#include "vorn_cli_text.h"

VornCliTextOutput::VornCliTextOutput(Detail detail, std::unique_ptr<VornCliProgressLine> progress)
    : m_detail(detail)
    , m_progress(std::move(progress))
{
}

void VornCliTextOutput::started(const QString& statePath)
{
    out(VornCliMessages::state(statePath));
}

void VornCliTextOutput::pairAdded(const VornCliPair& pair)
{
    out(VornCliMessages::pairAdded(pair));
}

void VornCliTextOutput::availability(const VornCliPair& pair, bool localThere, bool distantThere)
{
    const QString line = VornCliMessages::availability(pair, localThere, distantThere);
    if (localThere && distantThere)
        out(line);
    else
        err(line);
}

void VornCliTextOutput::fileStarted(const VornCliFile& file)
{
    signalLine(QStringLiteral("syncStarted %1").arg(VornCliText::printable(file.path)));
    if (m_progress)
        m_progress->fileStarted(file);
}

void VornCliTextOutput::fileCompleted(const VornCliFile& file, bool ok, const VornCliCounters& counters)
{
    signalLine(
        QStringLiteral("syncCompleted %1 %2")
            .arg(VornCliText::printable(file.path), ok ? QStringLiteral("ok") : QStringLiteral("failed")));
    if (m_progress) {
        m_progress->fileCompleted(file);
        m_progress->setCounters(counters);
    }
    if (!ok)
        err(VornCliMessages::failed(file));
    else if (!m_progress)
        out(VornCliMessages::completed(file));
}

void VornCliTextOutput::countersChanged(const VornCliCounters& counters)
{
    signalLine(QStringLiteral("countersChanged in progress %1, pending %2, in error %3, done %4")
                   .arg(counters.inProgress)
                   .arg(counters.pending)
                   .arg(counters.errors)
                   .arg(counters.done));
    if (m_progress)
        m_progress->setCounters(counters);
}

void VornCliTextOutput::idleChanged(bool idle)
{
    signalLine(QStringLiteral("idleChanged %1").arg(idle ? QStringLiteral("true") : QStringLiteral("false")));
}

void VornCliTextOutput::recentEventsChanged()
{
    signalLine(QStringLiteral("recentEventsChanged"));
}

void VornCliTextOutput::problem(const QString& text)
{
    err(VornCliText::printable(text));
}

void VornCliTextOutput::note(const QString& text)
{
    out(text);
}

void VornCliTextOutput::finished(const VornCliSummary& summary)
{
    m_progress.reset();
    const QStringList lines = summary.notes + VornCliMessages::troubles(summary);
    for (const QString& line : lines)
        err(line);
    out(VornCliMessages::outcome(summary));
}

void VornCliTextOutput::out(const QString& line)
{
    if (m_progress)
        m_progress->wipe();
    VornCliText::writeOut(line);
}

void VornCliTextOutput::err(const QString& line)
{
    if (m_progress)
        m_progress->wipe();
    VornCliText::writeError(line);
}

void VornCliTextOutput::signalLine(const QString& line)
{
    if (m_detail == Detail::EverySignal)
        out(line);
}
