#include "vorn_cli_settler.h"

#include "vorn_cli_messages.h"
#include "vorn_cli_session.h"

#include <algorithm>
#include <cstdlib>

namespace {

constexpr int kEvaluateDelayMs = 50;
constexpr int kFirstPauseMs = 500;    // between two cycles that are asked for while something is still open
constexpr int kLongestPauseMs = 8000; // the pause doubles up to this while nothing happens
constexpr int kQuietEnoughMs = 6000;  // a held-back file is tried again ten times, 500 ms apart
constexpr int kQuietCyclesEnough = 2; // a missing distant file is believed the second time it is seen
// The longest that a row may wait for its time-out is 600 s; a cycle later it has moved.
constexpr qint64 kLongestWaitMs = 660000;
constexpr int kMostRestarts = 3;
constexpr int kUnknownErrorCode = 1;
constexpr int kInProgressStatus = 0x04; // the bit of a raw status that says an operation was running

VornCliFileKey keyOf(const VornCliFileError& error)
{
    return {error.alias, error.name};
}

int total(const QVector<VornCliPairState>& states, int VornCliPairState::*count)
{
    int sum = 0;
    for (const VornCliPairState& state : states)
        sum += state.*count;
    return sum;
}

template<typename Predicate> bool anyOf(const QVector<VornCliPairState>& states, Predicate predicate)
{
    return std::any_of(states.cbegin(), states.cend(), predicate);
}

bool isHeldUp(const VornCliPairState& state)
{
    return !state.busy.isEmpty() || !state.unreadable.isEmpty() || !state.complete;
}

} // namespace

VornCliSettler::VornCliSettler(VornCliSession& session, const QStringList& exclusions, QObject* parent)
    : QObject(parent)
    , m_session(session)
    , m_exclusions(exclusions)
{
    m_evaluateTimer.setSingleShot(true);
    m_evaluateTimer.setInterval(kEvaluateDelayMs);
    m_roundTimer.setSingleShot(true);
    m_roundTimer.setInterval(kFirstPauseMs);
    connect(&m_evaluateTimer, &QTimer::timeout, this, &VornCliSettler::evaluate);
    connect(&m_roundTimer, &QTimer::timeout, this, &VornCliSettler::startNextRound);
    connect(&m_session, &VornCliSession::fileStarted, this, &VornCliSettler::onFileStarted);
    connect(&m_session, &VornCliSession::fileCompleted, this, &VornCliSettler::onFileCompleted);
    connect(&m_session, &VornCliSession::wasReset, this, &VornCliSettler::onReset);
    connect(&m_session, &VornCliSession::refreshed, &m_evaluateTimer, qOverload<>(&QTimer::start));
}

void VornCliSettler::begin()
{
    m_quiet.start();
    connect(m_session.probe(), &VornCliCycleProbe::ready, this, &VornCliSettler::startNextRound);
    connect(m_session.probe(), &VornCliCycleProbe::cycleEnded, this, &VornCliSettler::onCycleEnded);
    connect(m_session.probe(), &VornCliCycleProbe::failed, this, &VornCliSettler::giveUpState);
    // Errors of an earlier run: they count only once they were tried again in this one.
    const QVector<VornCliFileError> errors = m_session.errors();
    for (const VornCliFileError& error : errors)
        m_failed.insert(keyOf(error), error);
}

VornCliSummary VornCliSettler::summary(VornCliOutcome outcome) const
{
    VornCliSummary summary;
    summary.outcome = outcome;
    summary.counters = m_session.counters();
    summary.errors = m_session.errors();
    return summary;
}

void VornCliSettler::onFileStarted(const VornCliFile& file)
{
    m_tried.insert({file.alias, file.name});
    onActivity();
}

void VornCliSettler::onFileCompleted(const VornCliFile& file, bool ok)
{
    const VornCliFileKey key(file.alias, file.name);
    if (ok)
        m_failed.remove(key);
    else
        m_failed.insert(key, errorOf(key));
    onActivity();
}

// A cycle may have taken the error away before it could be read; what was wrong is then not known.
VornCliFileError VornCliSettler::errorOf(const VornCliFileKey& key) const
{
    const QVector<VornCliFileError> errors = m_session.errors();
    const auto found = std::find_if(errors.cbegin(), errors.cend(),
                                    [&key](const VornCliFileError& error) { return keyOf(error) == key; });
    if (found != errors.cend())
        return *found;
    VornCliFileError error;
    error.alias = key.first;
    error.name = key.second;
    error.code = kUnknownErrorCode;
    error.sentence = m_session.errorSentence(kUnknownErrorCode);
    return error;
}

void VornCliSettler::onCycleEnded()
{
    ++m_cyclesEnded;
    ++m_quietCycles;
    m_evaluateTimer.start();
}

void VornCliSettler::onReset()
{
    m_cyclesEnded = 0;
    m_failed.clear();
    m_tried.clear();
    onActivity();
}

// By a command: what is paused is taken up again later, and an emptied state is filled anew.
bool VornCliSettler::isHeld() const
{
    return m_session.isPaused() || m_session.isResetting();
}

void VornCliSettler::onActivity()
{
    ++m_generation;
    m_quietCycles = 0;
    m_quiet.restart();
    m_roundTimer.setInterval(kFirstPauseMs);
    m_evaluateTimer.start();
}

void VornCliSettler::evaluate()
{
    const VornCliCounters counters = m_session.counters();
    if (!(counters == m_lastCounters)) {
        m_lastCounters = counters;
        onActivity();
        return;
    }
    const QVector<VornCliFileError> errors = m_session.errors();
    for (const VornCliFileError& error : errors)
        m_failed.insert(keyOf(error), error);
    if (m_isFinished || m_isExamining || m_cyclesEnded == 0 || counters.inProgress > 0 || isHeld())
        return;
    if (needsRestart())
        restart();
    else
        examine();
}

// A try of an earlier run that failed leaves a file in progress with nobody working on it: the manager's
// next cycle takes the error away, and only a time-out of minutes or a new start takes the file up again.
bool VornCliSettler::needsRestart() const
{
    if (m_restarts >= kMostRestarts)
        return false;
    const QSet<VornCliFileKey> current = knownErrors().current;
    return std::any_of(m_failed.cbegin(), m_failed.cend(), [&](const VornCliFileError& error) {
        const VornCliFileKey key = keyOf(error);
        return (error.status & kInProgressStatus) && !current.contains(key) && !m_tried.contains(key);
    });
}

void VornCliSettler::restart()
{
    ++m_restarts;
    m_cyclesEnded = 0;
    onActivity();
    if (!m_session.restart())
        giveUpState();
}

void VornCliSettler::examine()
{
    const QVector<VornCliPair> away = m_session.unavailablePairs();
    QVector<VornCliPair> pairs = m_session.pairs();
    pairs.erase(std::remove_if(pairs.begin(), pairs.end(),
                               [&away](const VornCliPair& pair) {
                                   return std::any_of(
                                       away.cbegin(), away.cend(),
                                       [&pair](const VornCliPair& one) { return one.alias == pair.alias; });
                               }),
                pairs.end());
    m_isExamining = true;
    const auto look = [pairs, exclusions = m_exclusions, errors = knownErrors()] {
        States states;
        for (const VornCliPair& pair : pairs)
            states.append(VornCliListing::examine(pair, exclusions, errors));
        return states;
    };
    m_background.run(
        look, [this, generation = m_generation](const States& states) { onExamined(states, generation); });
}

void VornCliSettler::onExamined(const States& states, int generation)
{
    m_isExamining = false;
    if (m_isFinished || isHeld())
        return;
    if (generation != m_generation)
        m_evaluateTimer.start(); // something has happened meanwhile
    else if (isSettled(states) || isGivenUp(states))
        finish(states);
    else if (!m_roundTimer.isActive())
        m_roundTimer.start();
}

bool VornCliSettler::isSettled(const States& states) const
{
    const VornCliCounters counters = m_session.counters();
    if (!m_session.unavailablePairs().isEmpty() || counters.pending > 0 || anyOf(states, isHeldUp) ||
        total(states, &VornCliPairState::missing) > 0) {
        return false;
    }
    const int clean = total(states, &VornCliPairState::clean);
    const int failedBefore = total(states, &VornCliPairState::failedBefore);
    // A file that failed before is either still waiting, or was found to be up to date without a copy.
    return counters.done == clean || counters.done == clean + failedBefore;
}

bool VornCliSettler::isGivenUp(const States& states) const
{
    if (m_quiet.elapsed() > kLongestWaitMs)
        return true;
    const bool quietEnough = m_quietCycles >= kQuietCyclesEnough && m_quiet.elapsed() >= kQuietEnoughMs;
    return quietEnough && (!m_session.unavailablePairs().isEmpty() || anyOf(states, isHeldUp));
}

void VornCliSettler::startNextRound()
{
    if (m_isFinished)
        return;
    m_roundTimer.setInterval(std::min(m_roundTimer.interval() * 2, kLongestPauseMs));
    m_roundTimer.stop(); // setting the interval of a timer that has just fired does not start it
    m_session.probe()->requestCycle();
}

void VornCliSettler::finish(const States& states)
{
    m_isFinished = true;
    VornCliSummary result = summary(VornCliOutcome::UpToDate);
    const int clean = total(states, &VornCliPairState::clean);
    if (result.counters.done < clean + total(states, &VornCliPairState::failedBefore)) {
        const QSet<VornCliFileKey> waiting = knownErrors().before;
        for (const VornCliFileKey& key : waiting)
            result.errors.append(m_failed.value(key));
    }
    result.remarks = remarks(states);
    for (const VornCliPairState& state : states) {
        if (state.unrepresentable > 0)
            result.notes.append(VornCliMessages::namesSkipped(state.pair, state.unrepresentable));
    }
    if (!result.errors.isEmpty() || !result.remarks.isEmpty())
        result.outcome = VornCliOutcome::NotUpToDate;
    emit settled(result);
}

VornCliKnownErrors VornCliSettler::knownErrors() const
{
    VornCliKnownErrors known;
    const QVector<VornCliFileError> errors = m_session.errors();
    for (const VornCliFileError& error : errors)
        known.current.insert(keyOf(error));
    for (auto it = m_failed.cbegin(); it != m_failed.cend(); ++it) {
        if (m_tried.contains(it.key()) && !known.current.contains(it.key()))
            known.before.insert(it.key());
    }
    return known;
}

void VornCliSettler::giveUpState()
{
    m_isFinished = true;
    m_hasStateFailed = true;
    emit settled(summary(VornCliOutcome::NotUpToDate));
}

int VornCliSettler::unconfirmed(const States& states) const
{
    if (!m_session.unavailablePairs().isEmpty() || anyOf(states, isHeldUp) || isSettled(states))
        return 0;
    const int expected =
        total(states, &VornCliPairState::clean) + total(states, &VornCliPairState::failedBefore);
    return std::max(
        {1, std::abs(expected - m_session.counters().done), total(states, &VornCliPairState::missing)});
}

QStringList VornCliSettler::remarks(const States& states) const
{
    QStringList remarks = m_session.availabilityRemarks();
    for (const VornCliPairState& state : states) {
        for (const QString& name : state.busy)
            remarks.append(VornCliMessages::fileBusy(state.pair.alias, name));
        for (const QString& name : state.unreadable)
            remarks.append(VornCliMessages::fileUnreadable(state.pair.alias, name));
        if (!state.complete)
            remarks.append(VornCliMessages::listingFailed(state.pair));
    }
    const int count = unconfirmed(states);
    if (count > 0)
        remarks.append(VornCliMessages::unconfirmed(count));
    return remarks;
}
