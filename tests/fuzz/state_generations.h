#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

namespace VornSyncFuzz {

// A state file that an earlier version of the library made: the statements that make it, rows included.
struct StateGeneration
{
    QString name;
    QStringList statements;
};

QVector<StateGeneration> oldStateGenerations();

} // namespace VornSyncFuzz
