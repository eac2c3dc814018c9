#include "vorn_sync_exclusions.h"

#include "vorn_sync_directory_listing.h"

#include <QDebug>
#include <QFileInfo>

#include <algorithm>

VornSyncExclusions::VornSyncExclusions(const QStringList& patterns)
{
    for (const QString& pattern : patterns) {
        if (pattern.isEmpty())
            continue;
        const QRegularExpression expression(QRegularExpression::wildcardToRegularExpression(pattern),
                                            QRegularExpression::CaseInsensitiveOption);
        if (expression.isValid()) {
            exclusionPatterns.append(expression);
            continue;
        }
        qWarning() << "VornSyncSynchronizer: ignoring invalid exclusion pattern" << pattern
                   << "reason:" << expression.errorString();
    }
}

bool VornSyncExclusions::matches(const QString& fileName) const
{
    if (fileName.isEmpty())
        return false;
    return std::any_of(exclusionPatterns.begin(), exclusionPatterns.end(),
                       [&fileName](const QRegularExpression& e) { return e.match(fileName).hasMatch(); });
}

bool VornSyncExclusions::hasSideCarBeside(const QString& filePath) const
{
    const QFileInfo file(filePath);
    const QString fileName = file.fileName();
    bool hasSideCar = false;
    using Listing = VornSyncDirectoryListing;
    const Listing listing = Listing::read(file.path(), [&](const Listing::Entry& entry) {
        hasSideCar = hasSideCar || (entry.isPlainFile && !entry.isHidden && entry.name.startsWith(fileName) &&
                                    entry.name != fileName && matches(entry.name));
    });
    // What was not listed, at shutdown or on a failing disk, may be the one that was looked for.
    return hasSideCar || listing.outcome() == Listing::Outcome::Failed ||
           listing.outcome() == Listing::Outcome::Interrupted;
}

// Sorted names that begin with the file's name stand together, from the name itself on.
bool VornSyncExclusions::hasSideCar(const QStringList& sortedNames, const QString& fileName)
{
    auto it = std::lower_bound(sortedNames.constBegin(), sortedNames.constEnd(), fileName);
    if (it != sortedNames.constEnd() && *it == fileName)
        ++it;
    return it != sortedNames.constEnd() && it->startsWith(fileName);
}
