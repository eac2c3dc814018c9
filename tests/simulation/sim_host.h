#pragma once

#include "raw_database.h"
#include "sim_actors.h"
#include "sim_world.h"

#include <QObject>
#include <QVariant>

#include <memory>

class VornSyncManager;

namespace VornSyncTest {

// The application in a simulated process: registers the pair, acts at random until the safety phase is over, and
// then heals the world and waits until all has come to rest. Lives on the process's main thread.
class SimHost : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SimHost)

public:
    SimHost(SimWorld& world, SimDisk& disk);
    ~SimHost() override;

    // The whole life of the process.
    void live();

private:
    void start();
    void stop();
    void act();
    void actOnFile(int name);
    void writeAndTell(int name);
    void deleteAndTell(int name);
    void tombstone(int name);
    void moveToTrash(int first); // that one, or the next that is there
    void askFor(int name);
    void beginRename(int from);
    void moveForRename(int from, int to);
    void endRename(int from, int to, bool isMoved);
    int numberOf(const QVariant& errorFile) const;
    void answerErrors();
    void answerAll();
    void resumeLater();
    void comeBackLater();
    void reset();
    void registerAgain();
    void addPair();
    void noteErrors();

    void heal();
    void awaitRest();
    void settle();
    void probe();
    QString openWork();
    QString listedErrors() const;
    void checkDatabase();
    void waitMs(qint64 ms);
    qint64 healBoundSecs() const;
    QString name(int number) const { return m_world.fileName(number); }

    SimWorld& m_world;
    SimDisk& m_disk;
    RawDatabase m_raw;
    std::unique_ptr<VornSyncManager> m_manager;
    int m_openRenames = 0;
    bool m_isStateUnusable = false;
};

} // namespace VornSyncTest
