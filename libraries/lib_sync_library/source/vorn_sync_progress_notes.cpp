#include "vorn_sync_progress_notes.h"

#include "vorn_sqlite_database.h"
#include "vorn_sqlite_silence.h"
#include "vorn_sync_schema_objects.h"

#include <QDateTime>
#include <QStringList>
#include <QVariantList>
#include <QVector>

using VornSyncSchemaObjects::table;
using VornSyncSchemaObjects::trigger;

namespace {

// A note that would say the same but for a moment is not written: cycles may follow each other closely.
constexpr int kResolutionSecs = 10;

// The statuses at rest: up to date, trashed, deleted.
QString atRest(const char* row)
{
    return QStringLiteral("%1.status IN (17, 33, 40)").arg(QLatin1String(row));
}

QString keyIs(const char* row)
{
    return QStringLiteral("directories_id = %1.directories_id AND file_name = %1.file_name")
        .arg(QLatin1String(row));
}

QVector<VornSyncSchemaObject> tables()
{
    return {
        table("pair_progress",
              QStringLiteral(
                  "(directories_id INTEGER PRIMARY KEY REFERENCES directories(id) ON DELETE CASCADE, "
                  "since INTEGER NOT NULL, sync_interval_ms INTEGER, saturated_at INTEGER, local_listed_at "
                  "INTEGER, "
                  "distant_listed_at INTEGER, unexamined_since INTEGER, unexamined_files INTEGER NOT "
                  "NULL DEFAULT 0, unexamined_name TEXT, verified_at INTEGER, unanswered_files "
                  "INTEGER NOT NULL DEFAULT 0, unanswered_name TEXT)")),
        // Without a foreign key: it would refuse what old rows without a directory go through.
        table("file_waits",
              QStringLiteral(
                  "(directories_id INTEGER NOT NULL, file_name TEXT NOT NULL, since INTEGER NOT NULL, "
                  "tries INTEGER NOT NULL DEFAULT 0, last_error INTEGER NOT NULL DEFAULT 0, PRIMARY "
                  "KEY (directories_id, file_name)) WITHOUT ROWID")),
        table("file_deferrals",
              QStringLiteral(
                  "(directories_id INTEGER NOT NULL, file_name TEXT NOT NULL, since INTEGER NOT NULL, "
                  "times INTEGER NOT NULL DEFAULT 0, PRIMARY KEY (directories_id, file_name), "
                  "FOREIGN KEY (directories_id) REFERENCES directories(id) ON DELETE CASCADE) "
                  "WITHOUT ROWID")),
    };
}

// A pair that was given another directory has not been listed at all.
QVector<VornSyncSchemaObject> pairTriggers()
{
    const QString now = QStringLiteral("CAST(strftime('%s', 'now') AS INTEGER)");
    return {
        trigger(
            "pair_progress_insert", QStringLiteral("AFTER INSERT ON directories"),
            QStringLiteral("INSERT OR REPLACE INTO pair_progress (directories_id, since) VALUES (NEW.id, ") +
                now + QStringLiteral(");")),
        trigger(
            "pair_progress_paths",
            QStringLiteral("AFTER UPDATE OF local_path, distant_path ON directories WHEN NEW.local_path IS "
                           "NOT OLD.local_path OR NEW.distant_path IS NOT OLD.distant_path"),
            QStringLiteral("INSERT OR REPLACE INTO pair_progress (directories_id, since) VALUES (NEW.id, ") +
                now + QStringLiteral(");")),
    };
}

// A file waits from the first status that is no rest to the next that is one, whatever lies between.
QVector<VornSyncSchemaObject> waitTriggers()
{
    const QString begin =
        QStringLiteral("INSERT OR IGNORE INTO file_waits (directories_id, file_name, since, tries, "
                       "last_error) VALUES (NEW.directories_id, NEW.file_name, CAST(COALESCE(strftime('%s', "
                       "NEW.status_changed_at), strftime('%s', 'now')) AS INTEGER), NEW.status IN (20, 36, "
                       "68), NEW.error_code);");
    const QString endNew = QLatin1String("DELETE FROM file_waits WHERE ") + keyIs("NEW") + QLatin1Char(';');
    const QString statusChanges =
        QStringLiteral("AFTER UPDATE OF status ON file_tracking WHEN OLD.status IS NOT NEW.status AND ");
    const QString move =
        QStringLiteral(
            "UPDATE OR REPLACE %1 SET directories_id = NEW.directories_id, file_name = NEW.file_name "
            "WHERE ") +
        keyIs("OLD") + QLatin1Char(';');

    return {
        trigger("file_waits_insert",
                QStringLiteral("AFTER INSERT ON file_tracking WHEN NOT ") + atRest("NEW"), begin),
        trigger("file_waits_insert_at_rest",
                QStringLiteral("AFTER INSERT ON file_tracking WHEN ") + atRest("NEW"), endNew),
        trigger("file_waits_begin",
                statusChanges + QLatin1String("NOT ") + atRest("NEW") + QLatin1String(" AND ") +
                    atRest("OLD"),
                begin),
        trigger("file_waits_go_on",
                statusChanges + QLatin1String("NEW.status IN (20, 36, 68) AND OLD.status IN (18, 34, 66)"),
                QStringLiteral("UPDATE file_waits SET tries = tries + 1 WHERE ") + keyIs("NEW") +
                    QLatin1Char(';')),
        trigger("file_waits_error",
                QStringLiteral("AFTER UPDATE OF error_code ON file_tracking WHEN NEW.error_code != 0"),
                QStringLiteral("UPDATE file_waits SET last_error = NEW.error_code WHERE ") + keyIs("NEW") +
                    QLatin1Char(';')),
        trigger("file_waits_end", statusChanges + atRest("NEW"), endNew),
        trigger("file_waits_key",
                QStringLiteral("AFTER UPDATE OF file_name, directories_id ON file_tracking"),
                move.arg(QStringLiteral("file_waits")) + QLatin1Char(' ') +
                    move.arg(QStringLiteral("file_deferrals"))),
        trigger("file_waits_delete", QStringLiteral("AFTER DELETE ON file_tracking"),
                QLatin1String("DELETE FROM file_waits WHERE ") + keyIs("OLD") +
                    QLatin1String("; DELETE FROM file_deferrals WHERE ") + keyIs("OLD") + QLatin1Char(';')),
    };
}

// What is sent, or is the user's word, is put off no longer.
QVector<VornSyncSchemaObject> deferralTriggers()
{
    const QString isOver = QStringLiteral("WHEN NEW.status IN (18, 20, 33, 34, 36, 40, 66, 68)");
    const QString forget =
        QLatin1String("DELETE FROM file_deferrals WHERE ") + keyIs("NEW") + QLatin1Char(';');
    return {
        trigger("file_deferrals_insert", QStringLiteral("AFTER INSERT ON file_tracking ") + isOver, forget),
        trigger("file_deferrals_status", QStringLiteral("AFTER UPDATE OF status ON file_tracking ") + isOver,
                forget),
    };
}

// What a file of an older version, or a table that was made anew by hand, is in need of.
QString pairStatement()
{
    return QStringLiteral("INSERT OR IGNORE INTO pair_progress (directories_id, since) SELECT id, "
                          "CAST(strftime('%s', 'now') AS INTEGER) FROM directories");
}

QStringList waitStatements()
{
    return {
        QStringLiteral("INSERT OR IGNORE INTO file_waits (directories_id, file_name, since, last_error) "
                       "SELECT f.directories_id, f.file_name, CAST(COALESCE(strftime('%s', "
                       "f.status_changed_at), strftime('%s', 'now')) AS INTEGER), f.error_code FROM "
                       "file_tracking f WHERE NOT ") +
            atRest("f"),
        QStringLiteral("DELETE FROM file_waits WHERE NOT EXISTS (SELECT 1 FROM file_tracking f WHERE "
                       "f.file_name = file_waits.file_name AND f.directories_id = file_waits.directories_id "
                       "AND NOT ") +
            atRest("f") + QLatin1Char(')'),
    };
}

qint64 nowSecs()
{
    return QDateTime::currentSecsSinceEpoch();
}

QVariant textOrNull(const QString& text)
{
    return text.isEmpty() ? QVariant(QVariant::String) : QVariant(text);
}

// Whether a time column has anything to say at all and is not as good as `now`: it may also lie ahead of a clock
// that was set back.
QString isDue(const char* column)
{
    return QStringLiteral("COALESCE(%1 NOT BETWEEN ? AND ?, 1)").arg(QLatin1String(column));
}

} // namespace

bool VornSyncProgressNotes::install()
{
    if (!VornSyncSchemaObjects::isTable(m_database, "file_tracking") ||
        !VornSyncSchemaObjects::isTable(m_database, "directories"))
        return true;
    bool wasAnyMade = false;
    if (!VornSyncSchemaObjects::put(
            m_database, tables() + pairTriggers() + waitTriggers() + deferralTriggers(), wasAnyMade) ||
        !m_database.executeQuery(pairStatement()))
        return false;
    // Triggers that were there have seen every change: among a million rows there is nothing to look for.
    const QStringList statements = wasAnyMade ? waitStatements() : QStringList();
    for (const QString& statement : statements) {
        if (!m_database.executeQuery(statement))
            return false;
    }
    return true;
}

// --- Passes and verifications ---------------------------------------------------------------------------

void VornSyncProgressNotes::notePass(const VornSyncPassNote& note)
{
    const VornSqliteSilence silence(m_database);
    noteListings(note);
    if (!note.isWhole)
        return;
    m_database.executeQuery(
        QStringLiteral("UPDATE pair_progress SET unexamined_since = CASE WHEN ? = 0 THEN NULL ELSE "
                       "COALESCE(unexamined_since, ?) END, unexamined_files = ?, unexamined_name = ? WHERE "
                       "directories_id = ? AND (unexamined_files IS NOT ? OR unexamined_name IS NOT ?)"),
        {note.unexaminedFiles, nowSecs(), note.unexaminedFiles, textOrNull(note.unexaminedName),
         note.directoryId, note.unexaminedFiles, textOrNull(note.unexaminedName)});
    keepDeferrals(note.directoryId, note.deferredNames);
}

void VornSyncProgressNotes::noteListings(const VornSyncPassNote& note)
{
    const qint64 now = nowSecs();
    QStringList columns = {QStringLiteral("sync_interval_ms = ?")};
    QStringList conditions = {QStringLiteral("sync_interval_ms IS NOT ?")};
    QVariantList columnValues = {note.syncIntervalMs};
    QVariantList conditionValues = {note.syncIntervalMs};
    const auto add = [&](const char* column) {
        columns << QLatin1String(column) + QLatin1String(" = ?");
        columnValues << now;
        conditions << isDue(column);
        conditionValues << now - kResolutionSecs << now;
    };
    if (note.isLocalListed)
        add("local_listed_at");
    if (note.isDistantListed)
        add("distant_listed_at");
    m_database.executeQuery(
        QStringLiteral("UPDATE pair_progress SET %1 WHERE directories_id = ? AND (%2)")
            .arg(columns.join(QLatin1String(", ")), conditions.join(QLatin1String(" OR "))),
        columnValues + QVariantList{note.directoryId} + conditionValues);
}

void VornSyncProgressNotes::noteSaturation()
{
    const VornSqliteSilence silence(m_database);
    const qint64 now = nowSecs();
    m_database.executeQuery(QStringLiteral("UPDATE pair_progress SET saturated_at = ? WHERE ") +
                                isDue("saturated_at"),
                            {now, now - kResolutionSecs, now});
}

void VornSyncProgressNotes::noteRound(const VornSyncRoundNote& note)
{
    const VornSqliteSilence silence(m_database);
    QString columns = QStringLiteral("unanswered_files = ?, unanswered_name = ?");
    QString conditions = QStringLiteral("unanswered_files IS NOT ? OR unanswered_name IS NOT ?");
    const QVariantList answers = {note.unansweredFiles, textOrNull(note.unansweredName)};
    QVariantList columnValues = answers;
    QVariantList conditionValues = answers;
    // One file without an answer, and it can't be said that all were verified.
    if (note.unansweredFiles == 0) {
        columns += QLatin1String(", verified_at = ?");
        columnValues << note.beganAtSecs;
        conditions += QLatin1String(" OR ") + isDue("verified_at");
        conditionValues << note.beganAtSecs - kResolutionSecs << note.beganAtSecs;
    }
    m_database.executeQuery(QStringLiteral("UPDATE pair_progress SET %1 WHERE directories_id = ? AND (%2)")
                                .arg(columns, conditions),
                            columnValues + QVariantList{note.directoryId} + conditionValues);
}

// --- Files ----------------------------------------------------------------------------------------------

void VornSyncProgressNotes::noteRetry(int directoryId, const QString& fileName)
{
    const VornSqliteSilence silence(m_database);
    m_database.executeQuery(QStringLiteral("UPDATE file_waits SET tries = tries + 1 WHERE directories_id = ? "
                                           "AND file_name = ?"),
                            {directoryId, fileName});
}

void VornSyncProgressNotes::noteDeferral(int directoryId, const QString& fileName)
{
    const VornSqliteSilence silence(m_database);
    m_database.executeQuery(
        QStringLiteral(
            "INSERT INTO file_deferrals (directories_id, file_name, since, times) SELECT id, ?, ?, 1 "
            "FROM directories WHERE id = ? ON CONFLICT (directories_id, file_name) DO UPDATE SET "
            "times = times + 1"),
        {fileName, nowSecs(), directoryId});
}

// What a whole pass has not put off again is not put off any more: the file may have gone, or come to be as its
// row again.
void VornSyncProgressNotes::keepDeferrals(int directoryId, const QSet<QString>& fileNames)
{
    QVariantList noted;
    m_database.executeQuery(noted,
                            QStringLiteral("SELECT file_name FROM file_deferrals WHERE directories_id = ?"),
                            {directoryId});
    for (const QVariant& fileName : qAsConst(noted)) {
        if (!fileNames.contains(fileName.toString()))
            m_database.executeQuery(
                QStringLiteral("DELETE FROM file_deferrals WHERE directories_id = ? AND file_name = ?"),
                {directoryId, fileName});
    }
}
