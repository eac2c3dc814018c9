#pragma once

#include <QLatin1String>
#include <QString>
#include <QStringList>
#include <QVector>

// The commands that speak to a running host, besides "mirror", which is that host.
struct VornCliCommandEntry
{
    QLatin1String name;
    QLatin1String synopsis; // the arguments as the help shows them
    QLatin1String help;     // one line
    QLatin1String details;  // more, for the command's own help
    // The arguments' names in a request; alternatives, of different lengths, are separated by "|".
    QLatin1String arguments;

    QVector<QStringList> argumentLists() const;
};

namespace VornCliCommandTable {

const QVector<VornCliCommandEntry>& commands();
const VornCliCommandEntry* find(const QString& name); // null: there is none
QString overview();                                   // a line for each

} // namespace VornCliCommandTable
