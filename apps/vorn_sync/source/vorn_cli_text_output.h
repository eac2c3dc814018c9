#pragma once

#include "vorn_cli_output.h"
#include "vorn_cli_progress_line.h"

#include <memory>

// Lines for people: on standard output what happens, on standard error what goes wrong. Lives on the host's
// thread.
class VornCliTextOutput : public VornCliOutput
{
public:
    enum class Detail { Normal, EverySignal };

    // With a progress line copies are shown there instead of in a line each.
    VornCliTextOutput(Detail detail, std::unique_ptr<VornCliProgressLine> progress);

    void started(const QString& statePath) override;
    void pairAdded(const VornCliPair& pair) override;
    void availability(const VornCliPair& pair, bool localThere, bool distantThere) override;
    void fileStarted(const VornCliFile& file) override;
    void fileCompleted(const VornCliFile& file, bool ok, const VornCliCounters& counters) override;
    void countersChanged(const VornCliCounters& counters) override;
    void idleChanged(bool idle) override;
    void recentEventsChanged() override;
    void problem(const QString& text) override;
    void note(const QString& text) override;
    void finished(const VornCliSummary& summary) override;

private:
    void out(const QString& line);
    void err(const QString& line);
    void signalLine(const QString& line); // only when every signal is wanted

    Detail m_detail;
    std::unique_ptr<VornCliProgressLine> m_progress; // null: there is none
};
