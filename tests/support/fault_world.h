#pragma once

#include "pair.h"
#include "trace_capture.h"
#include "vorn_sync_database.h"
#include "vorn_sync_synchronizer.h"
#include "vorn_sync_task.h"

#include <QList>
#include <QSet>
#include <QStringList>

#include <memory>

namespace VornSyncTest {

// One pair with its database, all below one root, mirrored on this thread by the engine alone: tasks run when they
// are taken, and what would wait for a time-out does not. The root may be copied while no world is open on it.
class FaultWorld
{
    Q_DISABLE_COPY_MOVE(FaultWorld)

public:
    // How far the world had to be helped before it came to rest.
    enum class Settling { AtOnce, Cycle, User, Timeout, Never };

    explicit FaultWorld(const QString& rootPath);
    ~FaultWorld();

    // Empty directories, and a database that knows them.
    [[nodiscard]] bool create();
    // As a host starts on what is there. False when the database is not usable.
    bool start();
    // The database alone, as it is.
    void openDatabase();
    // Knows the pair again after a start at which the database could not be read.
    void findPair();
    // The process ends, and another one begins on what is there.
    bool restart();

    const Side& local() const { return m_local; }
    const Side& distant() const { return m_distant; }
    const Side& trash() const { return m_trash; }
    QString databasePath() const { return m_root.filePath(QStringLiteral("state/state.db")); }
    VornSyncDatabase& database() { return *m_database; }
    VornSyncSynchronizer& sync() { return *m_sync; }
    int id() const { return m_id; }

    // Writes a local file, long ago, and has it sent.
    [[nodiscard]] bool send(const QString& name, const QByteArray& content);
    [[nodiscard]] bool write(const Side& side, const QString& name, const QByteArray& content);
    // What was just recorded gets a time that no clock shows: whether a second has passed since must not count.
    [[nodiscard]] bool forgetTheHour();
    [[nodiscard]] bool execute(const QString& sql, const QVariantList& values = QVariantList());

    // Runs what was dispatched, tries of it that the engine asks for included.
    void runTasks();
    void cycle();

    // What the host was told since the last call of forget().
    int completedCount() const { return m_completedCount; }
    int failedCount() const { return m_failedCount; }
    int runCount() const { return m_runCount; }
    const QStringList& errors() const { return m_errors; }
    void forget();
    // The codes of the files in error, as "6" or "2, 15".
    QString errorCodes();

    // Cycles, the user's answers and time-outs until nothing is left to do.
    Settling settle();
    // Why this is not a state of rest.
    QString problems();
    // The same, with what takes longer to find out.
    QString lastingProblems();
    QStringList temporaryFiles() const;
    // Every row without its times, one a line.
    QString dump();

private:
    void connectSignals();
    void answerErrors();
    void letTimePass();
    bool comesToRest(int cycles);
    QString rowProblem(const QVariantMap& row, QSet<QString>& tracked) const;

    Side m_root;
    Side m_local;
    Side m_distant;
    Side m_trash;
    TraceCapture m_trace;
    std::unique_ptr<VornSyncDatabase> m_database;
    std::unique_ptr<VornSyncSynchronizer> m_sync;
    QList<pVornSyncTask> m_tasks;
    int m_id = VornSyncTypes::kNoDirectoryId;
    int m_completedCount = 0;
    int m_failedCount = 0;
    int m_runCount = 0;
    QStringList m_errors;
};

// Copies a directory with the times of its files.
[[nodiscard]] bool copyTree(const QString& from, const QString& to);

} // namespace VornSyncTest
