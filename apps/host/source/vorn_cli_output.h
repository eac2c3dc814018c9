#pragma once

#include "vorn_cli_types.h"

// What a session tells, in the order in which it happens; each way of showing it is a class of its own. All
// on the host's thread.
class VornCliOutput
{
    Q_DISABLE_COPY_MOVE(VornCliOutput)

public:
    VornCliOutput() = default;
    virtual ~VornCliOutput() = default;

    virtual void started(const QString& statePath) = 0;
    virtual void pairAdded(const VornCliPair& pair) = 0;
    virtual void availability(const VornCliPair& pair, bool localThere, bool distantThere) = 0;
    virtual void fileStarted(const VornCliFile& file) = 0;
    virtual void fileCompleted(const VornCliFile& file, bool ok, const VornCliCounters& counters) = 0;
    virtual void countersChanged(const VornCliCounters& counters) = 0;
    virtual void idleChanged(bool idle) = 0;
    virtual void recentEventsChanged() = 0;
    virtual void problem(const QString& text) = 0; // the manager's errorOccurred
    virtual void note(const QString& text) = 0;    // something the user should know that is no error
    virtual void finished(const VornCliSummary& summary) = 0;
};
