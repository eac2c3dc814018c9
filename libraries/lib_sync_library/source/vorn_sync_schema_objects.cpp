#include "vorn_sync_schema_objects.h"

#include "vorn_sqlite_database.h"

#include <QHash>
#include <QVariantMap>

namespace {

bool make(VornSqliteDatabase& database, const VornSyncSchemaObject& object, const QVariantMap& present)
{
    const QString type = present.value(QStringLiteral("type")).toString();
    return (type.isEmpty() || database.executeQuery(QStringLiteral("DROP %1 %2").arg(type, object.name))) &&
           database.executeQuery(object.sql);
}

} // namespace

namespace VornSyncSchemaObjects {

VornSyncSchemaObject table(const char* name, const QString& definition)
{
    return {QLatin1String(name), QStringLiteral("CREATE TABLE %1 %2").arg(QLatin1String(name), definition)};
}

VornSyncSchemaObject trigger(const char* name, const QString& event, const QString& body)
{
    return {QLatin1String(name),
            QStringLiteral("CREATE TRIGGER %1 %2 BEGIN %3 END").arg(QLatin1String(name), event, body)};
}

bool put(VornSqliteDatabase& database, const QVector<VornSyncSchemaObject>& objects, bool& wasAnyMade)
{
    VornSqliteDatabase::Rows rows;
    if (!database.executeQuery(rows, QStringLiteral("SELECT name, type, sql FROM sqlite_master")))
        return false;
    QHash<QString, QVariantMap> present;
    for (const QVariantMap& row : qAsConst(rows))
        present.insert(row.value(QStringLiteral("name")).toString(), row);
    for (const VornSyncSchemaObject& object : objects) {
        const QVariantMap found = present.value(object.name);
        if (found.value(QStringLiteral("sql")).toString() == object.sql)
            continue;
        if (!make(database, object, found))
            return false;
        wasAnyMade = true;
    }
    return true;
}

bool isTable(VornSqliteDatabase& database, const char* name)
{
    QVariantList names;
    return database.executeQuery(
               names, QStringLiteral("SELECT name FROM sqlite_master WHERE type = 'table' AND name = ?"),
               {QLatin1String(name)}) &&
           !names.isEmpty();
}

} // namespace VornSyncSchemaObjects
