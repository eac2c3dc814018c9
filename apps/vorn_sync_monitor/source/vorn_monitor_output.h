#pragma once

#include "vorn_cli_output.h"

class VornMonitorLog;

// What a session tells, as lines of the log. Lives on the window's thread.
class VornMonitorOutput : public VornCliOutput
{
public:
    explicit VornMonitorOutput(VornMonitorLog& log); // which must outlive it

    void started(const QString& statePath) override;
    void pairAdded(const VornCliPair& pair) override;
    void availability(const VornCliPair& pair, bool localThere, bool distantThere) override;
    void fileStarted(const VornCliFile& /*file*/) override {}
    void fileCompleted(const VornCliFile& file, bool ok, const VornCliCounters& counters) override;
    void countersChanged(const VornCliCounters& /*counters*/) override {}
    void idleChanged(bool /*idle*/) override {}
    void recentEventsChanged() override {}
    void problem(const QString& text) override;
    void note(const QString& text) override;
    void finished(const VornCliSummary& /*summary*/) override {}

private:
    VornMonitorLog& m_log;
};
