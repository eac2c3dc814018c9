#pragma once

#include "sim_profile.h"
#include "sim_scheduler.h"

#include <QByteArray>
#include <QString>
#include <QVector>

#include <random>

namespace VornSyncTest {

constexpr int kSimNoVersion = -1;
constexpr int kSimMaxVersions = 4096;
constexpr int kSimMaxNames = 16;
constexpr int kSimLogLines = 400;
constexpr int kSimLogLineBytes = 240;

enum class SimSide { Local, Distant, Trash };

enum class SimWeather { Fair, Away, Unreachable, Empty, ReadOnly, Full, Slow };

// One byte string that somebody wrote. Its length is its own, so that no change is hidden by the tolerance for
// times.
struct SimVersion
{
    int name = 0;           // under which it was written
    bool isForeign = false; // by another workstation
    int length = 0;
    int shownLength = 0; // less than the length while the writer is at it
    qint64 writtenNs = 0;
    qint64 writtenWallMs = 0;
    qint64 meantNs = 0; // the last time that the host or the user wanted it to be sent
    qint64 deliveredNs =
        -1; // the last time that it arrived on the distant side, unless it was removed there since
    qint64 sentNs = -1;  // the last time, whatever came after
    quint32 places = 0;  // the names that it may have there: renames add to them
    int incarnation = 0; // in which it was delivered
};

struct SimFile
{
    int local = kSimNoVersion;
    int distant = kSimNoVersion;
    int trash = kSimNoVersion;
    qint64 trashedWallMs = 0;
    qint64 localChangedNs = 0;
    qint64 localAbsentNs = 0; // when it was absent last
    qint64 distantAbsentNs = 0;
    qint64 trashWishNs = -1;   // the user asked for the move
    qint64 deleteWishNs = -1;  // the host announced a deletion
    qint64 readyWishNs = -1;   // the host asked for the file
    qint64 renameWishNs = -1;  // the host renamed it, from or to
    qint64 lockedSinceNs = -1; // the host holds the name for a rename
    qint64 sideCarSinceNs = -1;
    int listedCode = 0;        // the error that the host was shown
    bool mayBeOld = false;     // an empty mount point took in a version meant for the share
    bool isDeleteOpen = false; // announced in fair weather, and nothing has gone wrong since
};

// Everything that outlives a simulated process: in memory shared by the parent and its children.
struct SimState
{
    SimClock clock;
    std::mt19937_64 worldRandom;
    std::mt19937_64 faultRandom;
    SimFile files[kSimMaxNames];
    SimVersion versions[kSimMaxVersions];
    int versionCount = 0;
    int incarnation = 0;
    int crashesLeft = 0;
    int clockJumpsLeft = 0;
    qint64 crashAtCall = -1;
    qint64 calls = 0;
    qint64 endNs = 0; // of the safety phase
    SimWeather weather = SimWeather::Fair;
    qint64 setBackSecs = 0; // by how much the clock was set back in all
    bool isHealing = false;
    bool hadDisturbance = false; // a crash, a fault or a reset: what was delivered may be sent again
    bool isDone = false;
    quint64 actions = 0;
    quint64 faults = 0;
    quint64 engineChanges = 0;
    char log[kSimLogLines][kSimLogLineBytes] = {};
    quint64 logCount = 0;
    char failure[2 * kSimLogLineBytes] = {};
};

// The files as the model knows them, and the judge of every change that the engine makes. All members are for
// whichever thread has its turn.
class SimWorld
{
    Q_DISABLE_COPY_MOVE(SimWorld)

public:
    SimWorld(SimState* state, const SimProfile& profile, const QByteArray& root, bool isLoud);

    SimState& state() { return m_state; }
    const SimProfile& profile() const { return m_profile; }
    QByteArray root() const { return m_root; }
    QByteArray directory(SimSide side) const;
    QByteArray path(SimSide side, int name) const;
    QString fileName(int name) const { return m_profile.fileNames.at(name); }
    int nameCount() const { return int(m_profile.fileNames.size()); }
    SimFile& file(int name) { return m_state.files[name]; }
    SimVersion& version(int number) { return m_state.versions[number]; }

    quint64 random(quint64 bound) { return m_state.worldRandom() % bound; }
    bool chance(int permille) { return int(random(1000)) < permille; }
    static qint64 nowNs() { return SimScheduler::monotonicNs(); }

    void log(const QString& text);
    // Ends the process: something was lost, or is not as it must be.
    [[noreturn]] void fail(const QString& reason);

    // --- What users, hosts and other workstations do ---

    // A new byte string under that name; `isSlow`: it grows while others look.
    bool write(SimSide side, int name, bool isSlow = false);
    bool remove(SimSide side, int name);
    bool renameLocal(int from, int to);
    void setLocalWanted(int name); // it is to be sent, whatever was before
    void lookAgain();              // after the share has changed as a whole

    // --- What the engine does ---

    // Name of a final path and its side; -1 for anything else (temporary files, side-cars).
    int find(const QByteArray& path, SimSide& side) const;
    void onRemoved(const QByteArray& path);
    void onRenamed(const QByteArray& from, const QByteArray& to);
    // What a process that was killed may leave in the local directory, where it is a file like any other.
    bool isLeftSibling(const QString& fileName) const;
    void onErrorListed(int name, int code, int status);

    // What is not as it must be when all has come to rest; empty when nothing is.
    QString restProblem();

private:
    QString leftOver() const;

    struct Found
    {
        int version = kSimNoVersion;
        int length = 0;
        bool isWhole = false;
        bool exists = false;
    };

    Found look(const QByteArray& path) const;
    void noteAbsence(SimSide side, int name);
    int newVersion(SimSide side, int name);
    bool hasFinishedSibling(SimSide side, int name) const;
    void judgeRemoval(SimSide side, int name);
    void judgeUnknownArrival(const QByteArray& path);
    void judgeArrival(SimSide side, int name, const Found& found, int previous);
    void judgeDistantArrival(int name, int number, int previous);
    bool isRetried(int name, const SimVersion& sent);
    void judgeLocalArrival(int name, int number, int previous);
    bool isOlderThanSent(int name, const SimVersion& lost) const;
    QString named(int name) const;
    bool isRecent(qint64 ns, qint64 withinSecs) const;

    SimState& m_state;
    const SimProfile& m_profile;
    const QByteArray m_root;
    const bool m_isLoud;
};

} // namespace VornSyncTest
