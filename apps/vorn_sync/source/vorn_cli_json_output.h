#pragma once

#include "vorn_cli_output.h"

#include <QJsonObject>

// One JSON object a line on standard output, names exactly as they are. Lives on the host's thread.
//
// Every object has "event" and "time" (UTC, ISO 8601). Events: started, pair, availability, sync_started,
// sync_completed, counters, idle, recent_events, error, note, error_file, remark, finished.
class VornCliJsonOutput : public VornCliOutput
{
public:
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
    static void write(const char* event, QJsonObject object);
};
