#pragma once

#include "literals.h"
#include "raw_database.h"
#include "trace_capture.h"
#include "vorn_sync_database.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace VornSyncTest {

// A state database in a temporary directory, with one registered directory, and a look into it from outside.
class SyncDatabaseFixture
{
    Q_DISABLE_COPY_MOVE(SyncDatabaseFixture)

public:
    SyncDatabaseFixture()
        : database(path())
        , raw(path())
        , errors(&database, &VornSyncDatabase::errorOccurred)
    {
        isReady = database.initialize();
        directoryId = database.addDirectory("alias"_s, "/local"_s, "/distant"_s, "/trash"_s);
    }

    QString path() const { return directory.filePath("state.db"_s); }

    // A row as somebody else would write it.
    bool insert(const QString& fileName, int status, const QVariantMap& columns = QVariantMap())
    {
        QStringList names = {"file_name"_s, "directories_id"_s, "status"_s};
        QStringList marks = {"?"_s, "?"_s, "?"_s};
        QVariantList values = {fileName, directoryId, status};
        for (auto column = columns.cbegin(); column != columns.cend(); ++column) {
            names << column.key();
            marks << "?"_s;
            values << column.value();
        }
        return raw.exec(
            "INSERT INTO file_tracking (%1) VALUES (%2)"_s.arg(names.join(", "_s), marks.join(", "_s)),
            values);
    }

    QVariantMap row(const QString& fileName) { return raw.fileRow(directoryId, fileName); }
    int rowCount() { return raw.value("SELECT COUNT(*) FROM file_tracking"_s).toInt(); }

    // The text of each error so far; those of other threads arrive through the event loop.
    QStringList errorTexts() const
    {
        QCoreApplication::sendPostedEvents();
        QStringList texts;
        for (const QVariantList& error : errors)
            texts << error.first().toString();
        return texts;
    }

    // Takes the key off file_tracking, so that one key can be held by two rows.
    bool dropKey()
    {
        return raw.execAll({"DROP TABLE file_tracking"_s,
                            "CREATE TABLE file_tracking (file_name TEXT NOT NULL, directories_id INTEGER NOT "
                            "NULL, size INTEGER, local_lmd TEXT, distant_lmd TEXT, status INTEGER NOT NULL "
                            "DEFAULT 0, trashed_date TEXT, error_code INTEGER NOT NULL DEFAULT 0, "
                            "status_changed_at TEXT)"_s});
    }

    QTemporaryDir directory;
    VornSyncDatabase database;
    RawDatabase raw;
    QSignalSpy errors;
    bool isReady = false;
    int directoryId = -1;
};

inline QString utcText(qint64 secs)
{
    return QDateTime::fromSecsSinceEpoch(secs, Qt::UTC).toString(Qt::ISODate);
}

// True for an ISO 8601 text in UTC of a moment between `from` and now.
inline bool isRecent(const QVariant& text, const QDateTime& from)
{
    const QDateTime time = QDateTime::fromString(text.toString(), Qt::ISODate);
    return text.toString().endsWith(QLatin1Char('Z')) && time.isValid() &&
           time.toSecsSinceEpoch() >= from.toSecsSinceEpoch() && time <= QDateTime::currentDateTimeUtc();
}

} // namespace VornSyncTest
