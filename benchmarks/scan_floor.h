#pragma once

#include <QString>

// The least that a mirror without a memory of its own could do: both directories are listed, and each file on both
// sides is asked for its size and time. Nothing is matched, kept or compared.
class ScanFloor
{
public:
    // The number of entries seen; -1 when one side can't be read.
    static int scan(const QString& localPath, const QString& distantPath);
};
