#pragma once

#include <QString>

// The temporary siblings of copies into local directories, where a pass would take them for files of the user:
// it would send one, and miss it as soon as the copy has taken its place. May be used from any thread: the
// worker's adds while the synchronizer's asks.
class VornSyncLocalSiblings
{
    Q_DISABLE_COPY_MOVE(VornSyncLocalSiblings)

public:
    // The path is a sibling while this lives.
    explicit VornSyncLocalSiblings(const QString& path);
    ~VornSyncLocalSiblings();

    // A sibling that is there, or one that was there when an older listing saw it. A file that the user gives the
    // name of an old sibling is the user's.
    static bool contains(const QString& path);

private:
    const QString m_path;
};
