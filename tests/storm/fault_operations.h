#pragma once

#include "fault_world.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

#include <functional>

namespace VornSyncTest {

// One of these files must be there with one of these contents, at any moment.
struct FaultKeep
{
    QStringList paths; // relative to the world's root
    QList<QByteArray> contents;
    // Replaced by what is to take its place: where the system goes on refusing the rename, it is removed first.
    bool isReplaced = false;
};

// Something that is done to a world while one of its file-system calls fails.
struct FaultOperation
{
    enum class Told { Done, Failed, Nothing }; // what the host gets to know

    QString title;
    std::function<bool(FaultWorld&)> prepare;
    std::function<Told(FaultWorld&)> act;
    QVector<FaultKeep> keeps;
    QList<QByteArray> known; // what else a file may hold, if it is there
    // What the host asks for once more when the world is at rest, and why that is not done then.
    std::function<void(FaultWorld&)> askAgain;
    std::function<QString(FaultWorld&)> missedGoal;
    bool isAskedFirst = false; // without it the world is at rest otherwise than the operation wants it
    bool isSendfileRefused = false;
    bool isStart = false; // begins before the world is started

    // Of a change of the database: what it holds, every row with all that is decided by it.
    std::function<QString(FaultWorld&)> contents;
    // What the change leaves when it fails and says so, where that is something else than before.
    std::function<void(FaultWorld&)> leaveFailed;
};

// One file: copies, moves, renames.
QVector<FaultOperation> taskOperations();
// What the engine does of itself.
QVector<FaultOperation> engineOperations();
// What the database does in one piece, or not at all.
QVector<FaultOperation> databaseOperations();

} // namespace VornSyncTest
