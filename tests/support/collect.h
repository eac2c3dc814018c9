#pragma once

namespace VornSyncTest {

// A visitor that appends what it is shown: `readDirectoryRows(id, into(rows))`.
template<typename Container> auto into(Container& container)
{
    return [&container](const auto& item) { container.append(item); };
}

} // namespace VornSyncTest
