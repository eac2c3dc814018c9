#pragma once

#include "vorn_sync_database.h"
#include "vorn_sync_directory_listing.h"
#include "vorn_sync_file_decision.h"
#include "vorn_sync_name_table.h"
#include "vorn_sync_pass_report.h"

#include <QByteArray>
#include <QHash>
#include <QSet>
#include <QStringList>

#include <memory>
#include <string_view>
#include <vector>

class VornSyncExclusions;
class VornSyncOpenDirectory;

// What one pass over a directory knows: its rows, read in one statement, and one listing of each side, matched
// to the rows as it is read. A row that is written while the pass runs is read again before it is decided on.
// Lives for one pass, on the synchronizer's thread.
class VornSyncPass
{
    Q_DISABLE_COPY_MOVE(VornSyncPass)

public:
    // `directoriesVersion`: that of the database, from before the paths were read.
    VornSyncPass(VornSyncDatabase& database, int directoriesVersion, int directoryId,
                 const QString& localPath, const QString& distantPath, const QSet<QString>& renaming);
    ~VornSyncPass();

    // False when nothing may be decided: the rows can't be read, the local listing was cut short, or the
    // thread is to stop. `error`: what to tell the user, if anything.
    bool gather(QString& error);

    // False when the directory was removed, or the state wiped, since its paths were read: its id may mean another
    // pair by now.
    bool isStillMeant();

    int directoryId() const { return m_directoryId; }
    bool isDistantAccessible() const { return m_distantListing.isComplete(); }
    bool isLocalListed() const { return m_isLocalListed; }
    VornSyncPassReport& report() { return m_report; }
    // "trackedFiles=%1, distantFiles=%2, localFiles=%3, distantAccessible=%4", filled in.
    QString summary() const;
    // As the row was when the pass began.
    bool wasUpToDate(const QString& fileName) const;

    // The files of the pass by number: those with a row first, then the local ones without.
    int trackedCount() const { return m_trackedCount; }
    int count() const { return int(m_items.size()); }
    QString fileName(int item) const { return QString::fromUtf8(name(item).data(), int(name(item).size())); }
    std::string_view name(int item) const { return m_names.at(item); } // in UTF-8
    // It had a row when the pass began that was no tombstone.
    bool isTracked(int item) const;
    // The local directory listed it as a plain file that is not hidden.
    bool isListed(int item) const { return at(item).isListed; }

    // Everything about one file that a decision asks for, as it is now. Its name is left out: for most files there is
    // nothing to be done, and nobody asks.
    VornSyncPassFile file(int item);
    QString localFilePath(int item) const;

    // The file needs nothing, whichever way it is looked at: as long as nobody writes its row, it need not be
    // decided on again in this pass.
    void setSettled(int item) { at(item).isSettled = true; }
    // It will be decided on again: with the same answer of the disk.
    void keepAnswer(int item, const VornSyncFileFacts& local) { m_answers.insert(item, local); }
    bool isSettled(int item) const;

    // Whether a sibling says that the file is being written; one listing serves all files of the pass.
    bool isInDirectory(const QString& localFilePath) const;
    bool hasActiveSideCar(const QString& fileName, const VornSyncExclusions& exclusions);

private:
    // The row as it was read, and what the listings say: small, since there are as many as files.
    struct Item
    {
        int status = ceSfsUnknown;
        bool distantLmdUndefined = false;
        bool isDistantNewer = false; // its mark stands in m_marked
        bool isInLocalDirectory = false;
        bool isInDistantDirectory = false;
        bool isListed = false;
        bool isSettled = false;
        qint64 size = 0;
        qint64 localLmdSecs = 0;
    };

    Item& at(int item) { return m_items[std::size_t(item)]; }
    const Item& at(int item) const { return m_items[std::size_t(item)]; }
    bool readRows();
    void addRow(std::string_view name, const VornSyncFileRow& row);
    int append(std::string_view name, const Item& item);
    void addLocal(const VornSyncDirectoryListing::Entry& entry);
    void addDistant(const VornSyncDirectoryListing::Entry& entry);
    VornSyncFileRow readRow(int item) const;
    bool isRowChanged(int item) const;
    bool readRowAgain(int item, VornSyncPassFile& file) const;
    VornSyncFileFacts localFacts(int item, bool isInError);
    VornSyncFileFacts askDisk(int item, bool isInError);
    const char* nativeName(int item);

    VornSyncDatabase& m_database;
    const int m_directoryId;
    const QString m_localPath;
    const QString m_distantPath;
    const QSet<QString> m_renaming; // locked when the pass began

    VornSyncDirectoryListing m_distantListing;
    std::unique_ptr<VornSyncOpenDirectory> m_localDirectory; // open as long as its files are asked for
    QByteArray m_nativeName;                                 // of one that is not ASCII
    bool m_isLocalListed = false;                            // to the end
    VornSyncPassReport m_report;
    std::vector<Item> m_items;
    mutable VornSyncNameTable m_names;       // of the items; those with a row are found by name
    QHash<int, VornSyncFileRow> m_marked;    // the rows with a mark, which are few
    QHash<int, VornSyncFileFacts> m_answers; // of the disk, to be used again
    int m_trackedCount = 0;
    int m_directoriesVersion = 0; // what the paths and the id were read under
    bool m_isMeant = true;        // once it is not, it never is again
    int m_plainLocalCount = 0;
    int m_plainDistantCount = 0;
    QStringList m_excludedNames;
    bool m_hasExcludedNames = false; // they are looked for when the first side-car test asks
};
