#include "vorn_monitor_output.h"

#include "vorn_monitor_log.h"

#include "vorn_cli_messages.h"
#include "vorn_cli_text.h"

VornMonitorOutput::VornMonitorOutput(VornMonitorLog& log)
    : m_log(log)
{
}

void VornMonitorOutput::started(const QString& statePath)
{
    note(VornCliMessages::state(statePath));
}

void VornMonitorOutput::pairAdded(const VornCliPair& pair)
{
    note(VornCliMessages::pairAdded(pair));
}

void VornMonitorOutput::availability(const VornCliPair& pair, bool localThere, bool distantThere)
{
    m_log.add(VornCliMessages::availability(pair, localThere, distantThere), !localThere || !distantThere);
}

void VornMonitorOutput::fileCompleted(const VornCliFile& file, bool ok, const VornCliCounters& /*counters*/)
{
    m_log.add(ok ? VornCliMessages::completed(file) : VornCliMessages::failed(file), !ok);
}

void VornMonitorOutput::problem(const QString& text)
{
    m_log.add(VornCliText::printable(text), true);
}

void VornMonitorOutput::note(const QString& text)
{
    m_log.add(text, false);
}
