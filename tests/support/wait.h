#pragma once

#include <QTest>

namespace VornSyncTest {

// Generous: a loaded machine is slow, and a condition that holds ends the wait at once.
constexpr int kWaitMs = 30000;

// Turns this thread's event loop until `predicate` holds. False when it did not in time.
template<typename Predicate> [[nodiscard]] bool waitFor(Predicate predicate, int timeoutMs = kWaitMs)
{
    return QTest::qWaitFor(predicate, timeoutMs);
}

} // namespace VornSyncTest
