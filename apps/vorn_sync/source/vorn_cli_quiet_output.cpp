#include "vorn_cli_quiet_output.h"

#include "vorn_cli_messages.h"
#include "vorn_cli_text.h"

void VornCliQuietOutput::availability(const VornCliPair& pair, bool localThere, bool distantThere)
{
    if (!localThere || !distantThere)
        VornCliText::writeError(VornCliMessages::availability(pair, localThere, distantThere));
}

void VornCliQuietOutput::fileCompleted(const VornCliFile& file, bool ok, const VornCliCounters& /*counters*/)
{
    if (!ok)
        VornCliText::writeError(VornCliMessages::failed(file));
}

void VornCliQuietOutput::problem(const QString& text)
{
    VornCliText::writeError(VornCliText::printable(text));
}

void VornCliQuietOutput::finished(const VornCliSummary& summary)
{
    const QStringList troubles = VornCliMessages::troubles(summary);
    for (const QString& line : troubles)
        VornCliText::writeError(line);
    if (summary.outcome == VornCliOutcome::Interrupted)
        VornCliText::writeError(VornCliMessages::outcome(summary));
}
