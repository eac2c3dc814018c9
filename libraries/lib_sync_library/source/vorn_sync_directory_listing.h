#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <string_view>

class VornSyncOpenDirectory;

// Lists one directory with error codes, so that a listing that was cut short is never taken for a short
// directory. Used on the synchronizer's thread.
class VornSyncDirectoryListing
{
public:
    enum class Outcome {
        Complete,   // every entry was read
        Missing,    // there is no such directory
        Failed,     // the directory could not be read to its end
        Interrupted // the thread was asked to stop meanwhile
    };

    struct Entry
    {
        std::string_view name;    // in UTF-8, whatever the locale
        bool isPlainFile = false; // a regular file, or a link to one
        bool isHidden = false;    // leading dot
    };

    // Reads the entries one by one, of whatever kind, but those whose name the locale can't represent. The
    // name is valid during the call.
    using Visitor = std::function<void(const Entry& entry)>;
    static VornSyncDirectoryListing read(const QString& directoryPath, const Visitor& visit);
    // Of a directory that has just been opened; an empty path was none.
    static VornSyncDirectoryListing read(VornSyncOpenDirectory& directory, const Visitor& visit);

    Outcome outcome() const { return m_outcome; }
    bool isComplete() const { return m_outcome == Outcome::Complete; }
    // The system's reason when the outcome is Failed.
    QString errorText() const { return m_errorText; }

private:
    // `utf8` holds the name where it is not the native one.
    static bool readName(const char* nativeName, QByteArray& utf8, std::string_view& name);

    Outcome m_outcome = Outcome::Missing;
    QString m_errorText;
};
