#pragma once

#include <QString>

// Where a running host listens for commands: a socket in the state directory, under a path that the system takes
// even where the directory's own path is too long for a socket. A value that must live as long as the path is
// used; any thread.
class VornCliSocketPath
{
    Q_DISABLE_COPY_MOVE(VornCliSocketPath)

public:
    explicit VornCliSocketPath(const QString& stateDirectory);
    ~VornCliSocketPath();

    // To bind or connect to; empty: the directory can't be opened.
    QString path() const { return m_path; }
    bool isPermitted() const { return m_isPermitted; } // false: the directory is somebody else's

    static QString fileName();

private:
    QString m_path;
    int m_directory = -1; // a descriptor; -1: the path is short enough without
    bool m_isPermitted = true;
};
