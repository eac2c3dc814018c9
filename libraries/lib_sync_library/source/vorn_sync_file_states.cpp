#include "vorn_sync_file_states.h"

#include "vorn_sqlite_database.h"
#include "vorn_sync_times.h"

#include <QDebug>

VornSyncFileStates::Row VornSyncFileStates::read(int directoryId, const QString& fileName)
{
    QVariantList values;
    const bool isFound =
        m_database.executeQuery(values,
                                QStringLiteral("SELECT status FROM file_tracking WHERE file_name = ? AND "
                                               "directories_id = ?"),
                                {VornSqliteDatabase::boundText(fileName), directoryId}) &&
        values.size() == 1;
    return isFound ? Row{true, values.first().toInt()} : Row();
}

bool VornSyncFileStates::write(int directoryId, const QString& fileName, int status, int errorCode)
{
    return write(directoryId, fileName, read(directoryId, fileName), status, errorCode);
}

bool VornSyncFileStates::write(int directoryId, const QString& fileName, const Row& current, int status,
                               int errorCode)
{
    const QString name = VornSqliteDatabase::boundText(fileName);
    const bool isError = status == ceSfsError;
    if (isError && VornSyncTypes::baseStatus(current.status) == ceSfsUnknown)
        qWarning() << "VornSyncDatabase::setFileStatus: file" << fileName << "in dir" << directoryId
                   << "transitioning to Error from an Unknown base ; resolveFileError will not be able to "
                      "auto-retry.";
    const int stored = isError ? current.status | ceSfsError : status;
    const int code = isError ? errorCode : int(ceSecNone);
    if (!current.isFound)
        return m_database.executeQuery(
            QStringLiteral("INSERT INTO file_tracking (file_name, directories_id, status, error_code, "
                           "status_changed_at) VALUES (?, ?, ?, ?, ?)"),
            {name, directoryId, stored, code, VornSyncTimes::nowText()});
    const QString sql = VornSyncTypes::isTombstoned(status)
                            ? QStringLiteral("UPDATE file_tracking SET status = ?, error_code = ?, "
                                             "status_changed_at = ? WHERE file_name = ? AND "
                                             "directories_id = ?")
                            : QStringLiteral("UPDATE file_tracking SET status = ?, error_code = ?, "
                                             "status_changed_at = ?, trashed_date = NULL WHERE "
                                             "file_name = ? AND directories_id = ?");
    return m_database.executeQuery(sql, {stored, code, VornSyncTimes::nowText(), name, directoryId});
}
