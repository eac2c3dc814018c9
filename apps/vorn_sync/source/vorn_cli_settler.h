#pragma once

#include "vorn_cli_background.h"
#include "vorn_cli_exclusions.h"
#include "vorn_cli_listing.h"
#include "vorn_cli_types.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QTimer>

class VornCliSession;

// Finds out when there is nothing more to do: a complete cycle has ended, nothing runs, waits or is held
// back, and every file of the host's own listing is done or in error. Lives on the host's thread.
//
// What can't come to that end is given up after it has stayed quiet for a while: the files of a pair whose
// directory is missing, a file whose excluded companion stays beside it, an entry that the system does not
// let us look at. The result is then "not up to date", with a remark on each.
class VornCliSettler : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornCliSettler)

public:
    VornCliSettler(VornCliSession& session, const QStringList& exclusions, QObject* parent = nullptr);

    void begin(); // the session has been started with its probe

    // Errors as far as they are known now, also those whose next try waits for a time-out.
    VornCliSummary summary(VornCliOutcome outcome) const;

    // After settled(): the state directory could not be worked in, so nothing is known.
    bool hasStateFailed() const { return m_hasStateFailed; }

signals:
    void settled(const VornCliSummary& summary);

private:
    using States = QVector<VornCliPairState>; // of the available pairs, in the session's order

    void onFileStarted(const VornCliFile& file);
    void onFileCompleted(const VornCliFile& file, bool ok);
    void onCycleEnded();
    void onReset();
    bool isHeld() const;
    void onActivity();
    void evaluate();
    void examine();
    void onExamined(const States& states, int generation);
    bool isSettled(const States& states) const;
    bool isGivenUp(const States& states) const;
    bool needsRestart() const;
    void restart();
    void startNextRound();
    void finish(const States& states);
    void giveUpState();
    VornCliFileError errorOf(const VornCliFileKey& key) const;
    VornCliKnownErrors knownErrors() const;
    int unconfirmed(const States& states) const;
    QStringList remarks(const States& states) const;

    VornCliSession& m_session;
    VornCliExclusions m_exclusions;
    VornCliBackground m_background;
    QTimer m_evaluateTimer; // one look for a burst of news
    QTimer m_roundTimer;
    QElapsedTimer m_quiet; // since something was started, ended or counted differently
    VornCliCounters m_lastCounters;
    QHash<VornCliFileKey, VornCliFileError> m_failed; // in error in this run, not copied since
    QSet<VornCliFileKey> m_tried;                     // started in this run
    int m_cyclesEnded = 0;
    int m_quietCycles = 0; // ended since the last activity
    int m_restarts = 0;
    int m_generation = 0; // counts activities, to tell a stale examination
    bool m_isExamining = false;
    bool m_isFinished = false;
    bool m_hasStateFailed = false;
};
