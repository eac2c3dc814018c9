#pragma once

#include <QTest>

namespace VornSyncTest {

// Rows for the seeds 1 to `count`; VORN_TEST_SEED=n plays that one alone again.
inline void addSeedRows(int count)
{
    QTest::addColumn<quint32>("seed");
    bool isGiven = false;
    const int given = qEnvironmentVariableIntValue("VORN_TEST_SEED", &isGiven);
    const int first = isGiven ? given : 1;
    const int last = isGiven ? given : count;
    for (int seed = first; seed <= last; ++seed)
        QTest::addRow("seed %d", seed) << quint32(seed);
}

} // namespace VornSyncTest
