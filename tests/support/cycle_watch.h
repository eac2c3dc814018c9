#pragma once

#include <QString>

namespace VornSyncTest {

// Counts how often a directory is opened to be listed, by whatever process or thread. Each pass lists its local
// directory once, so this tells, in every build, that passes come by.
class CycleWatch
{
    Q_DISABLE_COPY_MOVE(CycleWatch)

public:
    explicit CycleWatch(const QString& directoryPath);
    ~CycleWatch();

    int count();

private:
    int m_inotify = -1;
    int m_count = 0;
};

} // namespace VornSyncTest
