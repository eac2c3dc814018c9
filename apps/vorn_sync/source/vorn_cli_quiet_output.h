#pragma once

#include "vorn_cli_output.h"

// Nothing but what goes wrong, on standard error. Lives on the host's thread.
class VornCliQuietOutput : public VornCliOutput
{
public:
    void started(const QString& /*statePath*/) override {}
    void pairAdded(const VornCliPair& /*pair*/) override {}
    void availability(const VornCliPair& pair, bool localThere, bool distantThere) override;
    void fileStarted(const VornCliFile& /*file*/) override {}
    void fileCompleted(const VornCliFile& file, bool ok, const VornCliCounters& counters) override;
    void countersChanged(const VornCliCounters& /*counters*/) override {}
    void idleChanged(bool /*idle*/) override {}
    void recentEventsChanged() override {}
    void problem(const QString& text) override;
    void note(const QString& /*text*/) override {}
    void finished(const VornCliSummary& summary) override;
};
