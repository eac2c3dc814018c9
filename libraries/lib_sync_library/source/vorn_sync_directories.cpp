#include "vorn_sync_directories.h"

#include <array>

namespace {

// Indexed by DirectoryField.
constexpr std::array<const char*, 4> kColumns = {"alias_name", "local_path", "distant_path", "trash_path"};

QLatin1String columnName(VornSyncDirectories::Field field)
{
    return QLatin1String(kColumns.at(std::size_t(field)));
}

QString bound(const QString& text)
{
    return VornSqliteDatabase::boundText(text);
}

} // namespace

int VornSyncDirectories::add(const QString& aliasName, const QString& localPath, const QString& distantPath,
                             const QString& trashPath)
{
    const int aliasId = idOf(VornSyncDatabase::AliasName, aliasName);
    const int pathId = idOf(VornSyncDatabase::LocalPath, localPath);
    if (aliasId != pathId)
        return aliasId;
    if (aliasId == VornSyncTypes::kNoDirectoryId) {
        const bool done = m_database.executeQuery(
            QStringLiteral("INSERT INTO directories (alias_name, local_path, distant_path, trash_path, "
                           "available) VALUES (?, ?, ?, ?, 0) ON CONFLICT(local_path) DO NOTHING"),
            {bound(aliasName), bound(localPath), bound(distantPath), bound(trashPath)});
        return done ? idOf(VornSyncDatabase::AliasName, aliasName) : VornSyncTypes::kNoDirectoryId;
    }
    writePaths(aliasId, distantPath, trashPath);
    return aliasId;
}

void VornSyncDirectories::writePaths(int directoryId, const QString& distantPath, const QString& trashPath)
{
    VornSqliteDatabase::Rows rows;
    m_database.executeQuery(
        rows, QStringLiteral("SELECT distant_path, trash_path FROM directories WHERE id = ?"), {directoryId});
    if (rows.size() != 1 || (rows.first().value(QStringLiteral("distant_path")).toString() == distantPath &&
                             rows.first().value(QStringLiteral("trash_path")).toString() == trashPath))
        return;
    m_database.executeQuery(
        QStringLiteral("UPDATE directories SET distant_path = ?, trash_path = ? WHERE id = ?"),
        {bound(distantPath), bound(trashPath), directoryId});
}

int VornSyncDirectories::idOf(Field field, const QString& value)
{
    QVariantList ids;
    const bool done = m_database.executeQuery(
        ids, QStringLiteral("SELECT id FROM directories WHERE %1 = ?").arg(columnName(field)),
        {bound(value)});
    return done && ids.size() == 1 ? ids.first().toInt() : VornSyncTypes::kNoDirectoryId;
}

bool VornSyncDirectories::readField(int directoryId, Field field, QString& text)
{
    QVariantList texts;
    const bool done = m_database.executeQuery(
        texts, QStringLiteral("SELECT %1 FROM directories WHERE id = ?").arg(columnName(field)),
        {directoryId});
    text = done && texts.size() == 1 ? texts.first().toString() : QString();
    return done;
}

QList<int> VornSyncDirectories::ids(bool availableOnly)
{
    QVariantList values;
    m_database.executeQuery(values, availableOnly
                                        ? QStringLiteral("SELECT id FROM directories WHERE available = 1")
                                        : QStringLiteral("SELECT id FROM directories"));
    QList<int> ids;
    for (const QVariant& value : qAsConst(values))
        ids << value.toInt();
    return ids;
}

QStringList VornSyncDirectories::localPaths(bool availableOnly)
{
    QVariantList values;
    m_database.executeQuery(
        values, availableOnly ? QStringLiteral("SELECT local_path FROM directories WHERE available = 1")
                              : QStringLiteral("SELECT local_path FROM directories"));
    QStringList paths;
    for (const QVariant& value : qAsConst(values))
        paths << value.toString();
    return paths;
}

bool VornSyncDirectories::remove(int directoryId)
{
    return m_database.executeQuery(QStringLiteral("DELETE FROM directories WHERE id = ?"), {directoryId});
}

bool VornSyncDirectories::setAvailable(int directoryId, bool isAvailable)
{
    return m_database.executeQuery(QStringLiteral("UPDATE directories SET available = ? WHERE id = ?"),
                                   {isAvailable ? 1 : 0, directoryId});
}
