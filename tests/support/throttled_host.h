#pragma once

#include "host.h"
#include "throttled_mount.h"

#include <optional>

namespace VornSyncTest {

// A host whose distant directory can be made slow, and hang.
class ThrottledHost
{
    Q_DISABLE_COPY_MOVE(ThrottledHost)

public:
    explicit ThrottledHost(int syncIntervalMs)
        : host(options(syncIntervalMs))
    {
    }
    ~ThrottledHost() { thaw(); } // or the end of the pair's directories would hang too

    // The same directory behind another mount. Nothing may look at it meanwhile.
    QString setRates(const ThrottleRates& rates)
    {
        m_mount.reset();
        m_mount.emplace(m_storage.distantPath(), host.pair().distantPath(), rates);
        return m_mount->reason();
    }
    [[nodiscard]] bool freeze() const { return m_mount && m_mount->freeze(); }
    void thaw() const
    {
        if (m_mount)
            m_mount->thaw();
    }
    // What the server holds, which is never slow and never hangs.
    const Side& server() const { return m_storage.distant(); }

private:
    static HostOptions options(int syncIntervalMs)
    {
        HostOptions result;
        result.syncIntervalMs = syncIntervalMs;
        return result;
    }

    const Pair m_storage;
    std::optional<ThrottledMount> m_mount;

public:
    Host host; // ends before the mount does
};

} // namespace VornSyncTest
