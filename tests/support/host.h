#pragma once

#include "cycle_watch.h"
#include "pair.h"
#include "raw_database.h"
#include "trace_capture.h"
#include "vorn_sync_manager.h"
#include "wait.h"

#include <QList>
#include <QPair>
#include <QStringList>
#include <QVariantMap>

#include <map>
#include <memory>

namespace VornSyncTest {

// A cycle never comes by itself: a test that awaits one asks for it.
constexpr int kNoCyclesMs = 600000;

struct HostOptions
{
    int syncIntervalMs = 100; // several cycles a second
    QStringList patterns = {};
    QString databasePath = {}; // empty: in the first pair's root
    QString trashRoot = {};    // empty: likewise
    QString distantPath = {};  // of the first pair; empty: likewise
};

// A host application in small: one manager, its pairs, and what its signals said. Sees the library as any host
// does; the disk and the database are looked at from outside. The first pair is "docs". An empty pair of its
// own tells it when cycles come by.
class Host : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Host)

public:
    explicit Host(const HostOptions& options = HostOptions());
    ~Host() override;

    // --- Life ---

    // Creates the manager and registers every pair, as a host does at each start.
    [[nodiscard]] bool start();
    // Creates the manager and registers nothing.
    void create();
    [[nodiscard]] bool registerPairs();
    void stop();
    [[nodiscard]] bool restart();

    VornSyncManager* manager() const { return m_manager.get(); }
    // Hands the manager over: the caller, or a slot with deleteLater(), deletes it.
    VornSyncManager* releaseManager() { return m_manager.release(); }

    // --- Pairs ---

    static QString alias() { return QStringLiteral("docs"); }
    const Pair& pair() const { return *m_pairs.at(alias()); }
    const Pair& pair(const QString& alias) const { return *m_pairs.at(alias); }
    const Side& local() const { return pair().local(); }
    const Side& distant() const { return pair().distant(); }
    Side trash() const { return Side(trashRoot() + QLatin1Char('/') + alias()); }
    const Pair& cyclePair() const { return m_cyclePair; }
    // One more pair; registered at once when there is a manager.
    [[nodiscard]] bool addPair(const QString& alias);
    // From now on this object checks nothing about the pair.
    void forgetPair(const QString& alias) { m_pairs.erase(alias); }
    // A name that is not expected to be mirrored.
    void leaveOut(const QString& fileName) { m_leftOut << fileName; }

    QString databasePath() const { return m_options.databasePath; }
    QString trashRoot() const { return m_options.trashRoot; }
    RawDatabase& raw() { return m_raw; }
    // Lets a row look as if its status had been set an hour ago: longer than any status may last.
    [[nodiscard]] bool age(const QString& fileName);
    QVariantMap row(const QString& fileName, const QString& alias = Host::alias());
    int status(const QString& fileName, const QString& alias = Host::alias());
    int directoryId(const QString& alias = Host::alias());

    // --- What the signals said ---

    QStringList started() const { return m_started; }
    QList<QPair<QString, bool>> completed() const { return m_completed; }
    int completedCount(const QString& filePath) const;
    QList<bool> idleChanges() const { return m_idleChanges; }
    QStringList errors() const { return m_errors; }
    // The errors so far; they count as expected.
    QStringList takeErrors();
    bool hasError(const QString& text) const;
    // Every error text from now on that holds this one is expected.
    void expectErrors(const QString& part) { m_expectedErrors << part; }
    void expectCriticals() { m_areCriticalsExpected = true; }
    void expectWarnings() { m_areWarningsExpected = true; }
    // Every "<file name>/<error code>" that was ever listed in error, in the order of appearance. An error that is
    // retried by itself is listed until the next cycle only, and may never be seen where they follow closely.
    QStringList seenErrorFiles() const { return m_seenErrorFiles; }
    TraceCapture& trace() { return m_trace; }

    // --- Waiting ---

    // Complete cycles over all available pairs, begun and ended from now on. Asks for them where none comes by.
    [[nodiscard]] bool awaitCycles(int count, int timeoutMs = kWaitMs);
    // Until nothing runs or waits, every file is on the distant side and every row is as the disk. Empty, or
    // what was still open at the end.
    [[nodiscard]] QString settle(int timeoutMs = kWaitMs);
    // What is not true at rest; empty when all is. Needs a settled host.
    [[nodiscard]] QString restProblems();

private:
    void connectSignals();
    void noteErrorFiles();
    QString openWork();
    QString rowProblems(const QString& alias, const Pair& pair);
    QString rowProblem(const QString& fileName, const Pair& pair, const QVariantMap& row) const;
    QString counterProblems();
    QString messageProblems() const;
    QStringList snapshot();
    QStringList unexpectedErrors() const;
    bool isMirrored(const QString& fileName) const;
    QStringList patternsOfUnmirrored(const Pair& pair) const;

    HostOptions m_options;
    TraceCapture m_trace;
    std::map<QString, std::unique_ptr<Pair>> m_pairs;
    Pair m_cyclePair;
    CycleWatch m_cycleWatch;
    int m_cycleCountAtStart = 0;
    RawDatabase m_raw;
    std::unique_ptr<VornSyncManager> m_manager;
    QStringList m_leftOut;

    QStringList m_started;
    QList<QPair<QString, bool>> m_completed;
    QList<bool> m_idleChanges;
    QStringList m_errors;
    QStringList m_expectedErrors;
    QStringList m_seenErrorFiles;
    bool m_areCriticalsExpected = false;
    bool m_areWarningsExpected = false;
};

} // namespace VornSyncTest

// Settles the host and demands that nothing is left to do or wrong.
#define VERIFY_AT_REST(host)                                                                                 \
    do {                                                                                                     \
        QCOMPARE((host).settle(), QString());                                                                \
        QCOMPARE((host).restProblems(), QString());                                                          \
    } while (false)
