#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

namespace VornSyncFuzz {

// What a state database file holds, as seen by SQLite without the library.
struct StateView
{
    // As the library recognises it; Other when the tables are not those of any generation.
    enum class Generation { Empty, First, Second, Third, Other };

    bool isDatabase = false; // SQLite takes it for one
    bool isValid = false;    // and finds nothing wrong in it
    Generation generation = Generation::Other;
    bool hasPlainSchema = false;  // nothing but the tables of its generation, declared as they were made
    QMap<QString, QString> files; // key to content, in every generation's common columns
    QMap<QString, QString> directories; // id to content
    QStringList all;                    // every row of every table, and the schema

    // Opens the file, with what lies beside it: hand a copy.
    static StateView read(const QString& databasePath);
};

// What is in `before` and not the same in `after`; empty when nothing was lost.
QString lostRows(const QMap<QString, QString>& before, const QMap<QString, QString>& after);

} // namespace VornSyncFuzz
