#pragma once

#include <QString>
#include <QVector>

class VornSqliteDatabase;

// A table or a trigger beside the fixed tables.
struct VornSyncSchemaObject
{
    QString name;
    QString sql; // as SQLite keeps it
};

namespace VornSyncSchemaObjects {

VornSyncSchemaObject table(const char* name, const QString& definition);
VornSyncSchemaObject trigger(const char* name, const QString& event, const QString& body);

// Makes what is missing, and makes anew what has another shape: that is another version's, and a trigger that does not
// fit its table would let no row be written any more. Inside the transaction that brings the schema up to date;
// `wasAnyMade` is set when something was made.
bool put(VornSqliteDatabase& database, const QVector<VornSyncSchemaObject>& objects, bool& wasAnyMade);

// A view of that name has no triggers of this kind.
bool isTable(VornSqliteDatabase& database, const char* name);

} // namespace VornSyncSchemaObjects
