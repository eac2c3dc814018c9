#pragma once

#include "vorn_sync_types.h"

#include <QByteArray>
#include <QString>
#include <QVector>
#include <QtGlobal>

#include <functional>
#include <string_view>

// What a pass needs of one row of file_tracking, and of its mark.
struct VornSyncFileRow
{
    QString fileName;
    int status = ceSfsUnknown;
    qint64 size = 0;                  // bytes at the last recorded synchronisation
    qint64 localLmdSecs = 0;          // local time at that moment, since the epoch; 0: not known
    bool distantLmdUndefined = false; // the distant time is still to be found out
    bool isDistantNewer = false;      // marked: verification found a newer version on the distant side
    qint64 markedLocalSize = 0;       // the local file as it was when the mark was set
    qint64 markedLocalLmdSecs = 0;
};

// Many rows as one: of each column all values in one text, in the same order. Names are separated by "/", which none of
// them holds, all else by ",". Qt makes a value of its own of every column of every row it reads, which costs several
// times what SQLite needs to find it. Status and whether the distant time is still to be found out stand apart, and only
// for rows that are not as nearly all are: up to date, with a distant time.
//
// Example: "a" is up to date, "b" was never sent. count 2, names "a/b", sizes "3,0", localLmds
// "2026-11-21T10:39:02Z,", others "0,0,b".
struct VornSyncPackedRows
{
    // `name` in UTF-8; both are valid during the call. The name in the row is left empty.
    using Visitor = std::function<void(std::string_view name, const VornSyncFileRow& row)>;

    // False when a value is missing, holds a separator, or is no number where one belongs: then nothing can be told of
    // the rows.
    bool isSound() const;
    // Each row of sound ones.
    void forEach(const Visitor& visit) const;
    qint64 byteCount() const;

    int count = 0;
    QByteArray names;
    QByteArray sizes;
    QByteArray localLmds;
    QByteArray
        others; // "status,undefined,name" each; undefined is 1 where the distant time is still to be found out
    QByteArray markedSizes; // nothing for a row without a mark; wholly empty when there are no marks
    QByteArray markedLmds;

private:
    bool areOthersSound() const;
};

// Of one directory. They share what they hold, like all values of Qt.
using VornSyncPackedParts = QVector<VornSyncPackedRows>;
