#pragma once

#include "vorn_cli_exclusions.h"
#include "vorn_cli_types.h"

#include <QSet>

// The host's own look at a pair, independent of what the manager reports. Opens nothing, so a FIFO or a
// device never blocks it; may run on any thread.

// The plain files directly in a local directory, by what the manager does with them.
struct VornCliLocalListing
{
    bool complete = false;   // false: the directory could not be read to its end
    QSet<QString> mirrored;  // names that have to be on the distant side in the end
    QSet<QString> leftOut;   // plain files that an exclusion pattern matches
    QStringList unreadable;  // entries of which the system does not say what they are
    int unrepresentable = 0; // names that are not valid in the character encoding in force
};

// How a pair stands. Errors are known from the manager, the rest from both directories.
struct VornCliPairState
{
    VornCliPair pair;
    bool complete = false;
    int clean = 0;        // mirrored names that are not in error and did not fail in this run
    int failedBefore = 0; // mirrored names that failed in this run and wait for their next try
    int missing = 0;      // of the clean ones: without an entry on the distant side
    QStringList busy;     // held back: an excluded companion file lies beside them
    QStringList unreadable;
    int unrepresentable = 0;
};

struct VornCliKnownErrors
{
    QSet<VornCliFileKey> current; // in error now
    QSet<VornCliFileKey> before;  // in error earlier in this run, not mirrored since
};

namespace VornCliListing {

VornCliLocalListing listLocal(const QString& directory, const VornCliExclusions& exclusions);

VornCliPairState examine(const VornCliPair& pair, const VornCliExclusions& exclusions,
                         const VornCliKnownErrors& errors);

// True for a regular file and a link to one.
bool isPlainFile(const QString& path);

} // namespace VornCliListing
