#include "vorn_cli_listing.h"

#include <QFile>

#include <chrono>
#include <filesystem>
#include <string>
#include <system_error>

namespace fs = std::filesystem;

namespace {

// The manager takes a copy as current when its time is at most this far from the local file's.
constexpr auto kTimeTolerance = std::chrono::seconds(3);

fs::path toPath(const QString& text)
{
    return fs::path(QFile::encodeName(text).toStdString());
}

// Empty when the name can't be represented: it would not lead back to the same file.
QString toName(const std::string& bytes)
{
    const QByteArray encoded = QByteArray::fromStdString(bytes);
    const QString name = QFile::decodeName(encoded);
    return QFile::encodeName(name) == encoded ? name : QString();
}

// What is at the end of a link that leads nowhere is known: no plain file.
bool leadsNowhere(const std::error_code& error)
{
    return error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory ||
           error == std::errc::too_many_symbolic_link_levels;
}

void sort(const fs::directory_entry& entry, const QString& name, const VornCliExclusions& exclusions,
          VornCliLocalListing* listing)
{
    if (exclusions.matches(name)) {
        listing->leftOut.insert(name);
        return;
    }
    if (!exclusions.isMirrored(name))
        return;
    std::error_code error;
    const bool plain = entry.is_regular_file(error);
    if (plain)
        listing->mirrored.insert(name);
    else if (error && !leadsNowhere(error))
        listing->unreadable.append(name);
}

// Calls `visit` for each entry; false when the directory could not be read to its end.
template<typename Visit> bool forEachEntry(const QString& directory, Visit visit)
{
    std::error_code error;
    fs::directory_iterator entries(toPath(directory), error);
    while (!error && entries != fs::directory_iterator()) {
        visit(*entries);
        entries.increment(error);
    }
    return !error;
}

// A file is held back while a companion that begins with its name is there and excluded ("data.db-wal").
QSet<QString> withCompanion(const VornCliLocalListing& listing)
{
    QSet<QString> held;
    for (const QString& companion : listing.leftOut) {
        for (int length = 1; length < companion.size(); ++length) {
            const QString name = companion.left(length);
            if (listing.mirrored.contains(name))
                held.insert(name);
        }
    }
    return held;
}

bool looksCopied(const VornCliPair& pair, const QString& name)
{
    std::error_code error;
    const fs::path local = toPath(pair.local + QLatin1Char('/') + name);
    const fs::path distant = toPath(pair.distant + QLatin1Char('/') + name);
    const auto localSize = fs::file_size(local, error);
    if (error || fs::file_size(distant, error) != localSize || error)
        return false;
    const auto localTime = fs::last_write_time(local, error);
    if (error)
        return false;
    const auto distantTime = fs::last_write_time(distant, error);
    return !error && distantTime + kTimeTolerance >= localTime;
}

} // namespace

namespace VornCliListing {

VornCliLocalListing listLocal(const QString& directory, const VornCliExclusions& exclusions)
{
    VornCliLocalListing listing;
    listing.complete = forEachEntry(directory, [&](const fs::directory_entry& entry) {
        const QString name = toName(entry.path().filename().native());
        if (name.isEmpty())
            ++listing.unrepresentable;
        else
            sort(entry, name, exclusions, &listing);
    });
    return listing;
}

VornCliPairState examine(const VornCliPair& pair, const VornCliExclusions& exclusions,
                         const VornCliKnownErrors& errors)
{
    const VornCliLocalListing local = listLocal(pair.local, exclusions);
    QSet<QString> distantNames;
    const bool distantRead = forEachEntry(pair.distant, [&distantNames](const fs::directory_entry& entry) {
        distantNames.insert(toName(entry.path().filename().native()));
    });

    VornCliPairState state;
    state.pair = pair;
    state.complete = local.complete && distantRead;
    state.unreadable = local.unreadable;
    state.unrepresentable = local.unrepresentable;
    const QSet<QString> held = withCompanion(local);
    for (const QString& name : local.mirrored) {
        const VornCliFileKey key(pair.alias, name);
        if (errors.current.contains(key))
            continue;
        if (errors.before.contains(key)) {
            ++state.failedBefore;
            continue;
        }
        ++state.clean;
        if (held.contains(name) && !looksCopied(pair, name))
            state.busy.append(name);
        else if (!distantNames.contains(name))
            ++state.missing;
    }
    return state;
}

bool isPlainFile(const QString& path)
{
    std::error_code error;
    return fs::is_regular_file(toPath(path), error);
}

} // namespace VornCliListing
