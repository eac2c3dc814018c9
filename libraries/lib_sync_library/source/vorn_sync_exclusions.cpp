#include "vorn_sync_exclusions.h"

#include "vorn_sync_directory_listing.h"

#include <QDebug>
#include <QFileInfo>

#include <algorithm>

namespace {

// What an asterisk does not stand for.
constexpr QLatin1Char kSeparator('/');

// Nothing that has a meaning in a wildcard pattern.
bool isPlainAscii(const QString& text)
{
    return std::all_of(text.begin(), text.end(), [](QChar c) {
        return c.unicode() > 0 && c.unicode() < 0x80 && !QStringLiteral("*?[]\\/").contains(c);
    });
}

} // namespace

VornSyncExclusions::VornSyncExclusions(const QStringList& patterns)
{
    for (const QString& text : patterns) {
        if (text.isEmpty())
            continue;
        const Pattern pattern = compile(text);
        if (pattern.kind != Pattern::Kind::Expression || pattern.expression.isValid()) {
            exclusionPatterns.append(pattern);
            continue;
        }
        qWarning() << "VornSyncSynchronizer: ignoring invalid exclusion pattern" << text
                   << "reason:" << pattern.expression.errorString();
    }
}

VornSyncExclusions::Pattern VornSyncExclusions::compile(const QString& pattern)
{
    const bool isOpenBegin = pattern.startsWith(QLatin1Char('*'));
    const bool isOpenEnd = pattern.endsWith(QLatin1Char('*'));
    Pattern compiled;
    compiled.literal = pattern.mid(isOpenBegin ? 1 : 0);
    if (isOpenEnd && !isOpenBegin)
        compiled.literal.chop(1);
    if (isPlainAscii(compiled.literal) && !(isOpenBegin && isOpenEnd)) {
        compiled.kind = isOpenBegin ? Pattern::Kind::Suffix
                        : isOpenEnd ? Pattern::Kind::Prefix
                                    : Pattern::Kind::Whole;
        return compiled;
    }
    compiled.expression = QRegularExpression(QRegularExpression::wildcardToRegularExpression(pattern),
                                             QRegularExpression::CaseInsensitiveOption);
    return compiled;
}

bool VornSyncExclusions::Pattern::matches(const QString& fileName) const
{
    switch (kind) {
    case Kind::Whole:
        return fileName.compare(literal, Qt::CaseInsensitive) == 0;
    case Kind::Prefix:
        return fileName.startsWith(literal, Qt::CaseInsensitive) && !fileName.contains(kSeparator);
    case Kind::Suffix:
        return fileName.endsWith(literal, Qt::CaseInsensitive) && !fileName.contains(kSeparator);
    case Kind::Expression:
        break;
    }
    return expression.match(fileName).hasMatch();
}

bool VornSyncExclusions::matches(const QString& fileName) const
{
    if (fileName.isEmpty())
        return false;
    return std::any_of(exclusionPatterns.begin(), exclusionPatterns.end(),
                       [&fileName](const Pattern& pattern) { return pattern.matches(fileName); });
}

bool VornSyncExclusions::hasSideCarBeside(const QString& filePath) const
{
    const QFileInfo file(filePath);
    const QString fileName = file.fileName();
    bool hasSideCar = false;
    using Listing = VornSyncDirectoryListing;
    const Listing listing = Listing::read(file.path(), [&](const Listing::Entry& entry) {
        if (hasSideCar || !entry.isPlainFile || entry.isHidden)
            return;
        const QString name = QString::fromUtf8(entry.name.data(), int(entry.name.size()));
        hasSideCar = name.startsWith(fileName) && name != fileName && matches(name);
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
