#pragma once

#include <QStringList>

namespace VornSyncFuzz {

// While one of these lives, the process ends with a report when any thread of it creates, changes or removes, or
// tries to, what lies outside the allowed directories. The functions that stand in the executable itself come
// before the C library's, for Qt, SQLite and the C++ library too. One at a time.
class OutsideWrites
{
    Q_DISABLE_COPY_MOVE(OutsideWrites)

public:
    explicit OutsideWrites(const QStringList& allowedDirectories);
    ~OutsideWrites();
};

} // namespace VornSyncFuzz
