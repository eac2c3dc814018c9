#include "fault_sweep.h"

#include "fault_justifications.h"
#include "fault_table.h"
#include "literals.h"
#include "raw_database.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include <sys/wait.h>
#include <unistd.h>

namespace VornSyncTest {

namespace {

using Told = FaultOperation::Told;
using Settling = FaultWorld::Settling;

struct NamedError
{
    const char* name;
    int number;
};

constexpr std::array<NamedError, 5> kErrors = {
    {{"EIO", EIO}, {"ENOSPC", ENOSPC}, {"EACCES", EACCES}, {"ESTALE", ESTALE}, {"EDQUOT", EDQUOT}}};

const QString kDone = QStringLiteral("done");
const QString kDoneLater = QStringLiteral("done when tried again");
const QString kKilled = QStringLiteral("killed");

// In memory: a sweep lays out some thousand worlds.
const QString kRoot = QStringLiteral("/dev/shm");
constexpr int kKillStep = 5;       // of a short sweep
constexpr int kShortKills = 2;     // an operation, each followed by faults in the start
constexpr int kShortCallStep = 31; // calls of that start
constexpr int kWholeCallStep = 13;
constexpr std::array<Fault::Reach, 4> kReaches = {Fault::Reach::Once, Fault::Reach::Function,
                                                  Fault::Reach::Place, Fault::Reach::ForEver};

QStringList allErrorNames()
{
    QStringList names;
    for (const NamedError& error : kErrors)
        names << QLatin1String(error.name);
    return names;
}

int errorNumber(const QString& name)
{
    const auto* found = std::find_if(kErrors.begin(), kErrors.end(), [&](const NamedError& error) {
        return name == QLatin1String(error.name);
    });
    return found == kErrors.end() ? 0 : found->number;
}

QString inWords(Told told, const FaultWorld& world)
{
    switch (told) {
    case Told::Done:
        return (world.runCount() > 1 ? kDoneLater : kDone) +
               (world.errors().isEmpty() || world.runCount() > 1 ? QString() : ", with an error message"_s);
    case Told::Failed:
        return "failed"_s;
    case Told::Nothing:
        break;
    }
    return world.errors().isEmpty() ? "no message"_s : "an error message"_s;
}

QString inWords(Settling settling)
{
    switch (settling) {
    case Settling::AtOnce:
        return QString();
    case Settling::Cycle:
        return ", a cycle settles it"_s;
    case Settling::User:
        return ", the user's answer settles it"_s;
    case Settling::Timeout:
        return ", a time-out settles it"_s;
    case Settling::Never:
        break;
    }
    return ", never settled"_s;
}

bool isTemporary(const QString& path)
{
    static const QRegularExpression form("(^|/)qt_temp\\.[^/]{6}$|\\.[0-9a-f]{4}$"_s);
    return form.match(path).hasMatch();
}

} // namespace

QString nameOf(Fault::Reach reach)
{
    switch (reach) {
    case Fault::Reach::Once:
        return "once"_s;
    case Fault::Reach::Function:
        return "every such call"_s;
    case Fault::Reach::Place:
        return "every call there"_s;
    case Fault::Reach::ForEver:
        break;
    }
    return "every call"_s;
}

QStringList errorNames(Fault::Reach reach)
{
    switch (reach) {
    case Fault::Reach::Once:
        break;
    case Fault::Reach::Function:
        return {"ENOSPC"_s, "EACCES"_s};
    case Fault::Reach::Place:
        return {"ESTALE"_s};
    case Fault::Reach::ForEver:
        return {"EIO"_s};
    }
    return allErrorNames();
}

namespace {

QString nameOf(const Fault& fault)
{
    for (const NamedError& error : kErrors) {
        if (error.number == fault.error)
            return QLatin1String(error.name) + QLatin1Char(' ') + VornSyncTest::nameOf(fault.reach);
    }
    return kKilled;
}

QVector<Fault> faultsAt(int number)
{
    QVector<Fault> faults;
    for (const Fault::Reach reach : kReaches) {
        const QStringList names = FaultSweep::isExhaustive() ? allErrorNames() : errorNames(reach);
        for (const QString& name : names)
            faults << Fault{number, errorNumber(name), reach};
    }
    if (FaultSweep::isWhole())
        return faults;
    // Of a call that fails once and of one that goes on failing one each, in turn.
    const int once = int(errorNames(Fault::Reach::Once).size());
    return {faults.at(number % once), faults.at(once + number % (faults.size() - once))};
}

} // namespace

bool FaultOutcome::isDoneAllTheSame() const
{
    return fault != kKilled && text.startsWith(kDone) && !text.startsWith(kDoneLater);
}

FaultSweep::FaultSweep(const FaultOperation& operation)
    : m_operation(operation)
    , m_directory(std::make_unique<QTemporaryDir>(kRoot + "/vorn_sync_sweep.XXXXXX"_s))
{
    // The order in which a set is walked is part of what a sweep repeats.
    qSetGlobalQHashSeed(0);
    FileCalls::watch(QFile::encodeName(m_directory->path()));
}

bool FaultSweep::isWhole()
{
    return isExhaustive() || qgetenv("VORN_SYNC_SWEEP") == "all";
}

bool FaultSweep::isPossible()
{
    return QFileInfo(kRoot).isWritable();
}

bool FaultSweep::isExhaustive()
{
    return qgetenv("VORN_SYNC_SWEEP") == "exhaustive";
}

QString FaultSweep::where(int number, const QString& fault) const
{
    const FaultCall call = m_calls.value(number);
    return "%1, call %2 (%3, %4), %5: "_s.arg(m_operation.title, QString::number(number), call.function,
                                              call.role, fault);
}

// A world as the operation finds it. The database knows the paths, so it is made where it is used.
bool FaultSweep::layOut(const QString& from)
{
    std::error_code error;
    std::filesystem::remove_all(QFile::encodeName(path("w"_s)).toStdString(), error);
    return !error && copyTree(path(from), path("w"_s));
}

QString FaultSweep::prepare()
{
    if (!m_directory->isValid())
        return "no directory: "_s + m_directory->errorString();
    {
        FaultWorld world(path("w"_s));
        if (!world.create() || !world.start() || !m_operation.prepare(world) || !world.forgetTheHour())
            return m_operation.title + ": the world can't be prepared: "_s + world.errors().join(" "_s);
    }
    if (!QDir().rename(path("w"_s), path("before"_s)) || !layOut("before"_s))
        return "the world can't be kept"_s;
    {
        FaultWorld world(path("w"_s));
        if (m_operation.contents)
            m_contentsBefore = m_operation.contents(world);
        open(world);
        if (m_operation.leaveFailed) {
            m_operation.leaveFailed(world);
            m_contentsFailed = m_operation.contents(world);
        }
    }
    if (!layOut("before"_s))
        return "the world can't be laid out"_s;
    FaultWorld world(path("w"_s));
    open(world);
    Told told = Told::Nothing;
    {
        const FaultPoint point(path("w"_s), Fault(), m_operation.isSendfileRefused);
        told = m_operation.act(world);
        m_calls = point.calls();
    }
    if (told == Told::Failed || m_calls.isEmpty())
        return m_operation.title + ": fails without a fault: "_s + world.errors().join(" "_s);
    if (m_operation.contents)
        m_contentsAfter = m_operation.contents(world);
    FaultOutcome outcome;
    return judge(world, told, inWords(told, world), outcome);
}

void FaultSweep::open(FaultWorld& world) const
{
    if (m_operation.contents)
        world.openDatabase();
    else if (!m_operation.isStart)
        world.start();
}

// --- Losses ---------------------------------------------------------------------------------------------

// A file that is not there any more, or that nobody has written like that.
QString FaultSweep::lost(bool isFaultOver) const
{
    const Side root(path("w"_s));
    QList<QByteArray> known = m_operation.known;
    for (const FaultKeep& keep : m_operation.keeps) {
        known << keep.contents;
        const bool isKept = std::any_of(keep.paths.begin(), keep.paths.end(), [&](const QString& file) {
            return root.exists(file) && keep.contents.contains(root.read(file));
        });
        if (!isKept && !(keep.isReplaced && m_isRenameRefused))
            return "lost: "_s + keep.paths.join(" or "_s);
    }
    const QStringList files = root.allFiles();
    for (const QString& file : files) {
        if (file.startsWith("state/"_s) || isTemporary(file))
            continue;
        const QByteArray content = root.read(file);
        // A copy that was cut short may stand on the distant side and in the trash, but not stay.
        const bool mayBeShort = !isFaultOver && !file.startsWith("local/"_s);
        if (std::none_of(known.begin(), known.end(), [&](const QByteArray& whole) {
                return content == whole || (mayBeShort && whole.startsWith(content));
            }))
            return "'%1' holds what nobody wrote (%2 bytes)"_s.arg(file, QString::number(content.size()));
    }
    return QString();
}

// --- Errors ---------------------------------------------------------------------------------------------

QString FaultSweep::sweepErrors()
{
    for (int number = 0; number < m_calls.size(); ++number) {
        const QVector<Fault> faults = faultsAt(number);
        for (const Fault& fault : faults) {
            const QString problem = sweepError(number, fault);
            if (!problem.isEmpty())
                return where(number, nameOf(fault)) + problem;
        }
    }
    return QString();
}

QString FaultSweep::sweepError(int number, const Fault& fault)
{
    if (!layOut("before"_s))
        return "the world can't be laid out"_s;
    FaultWorld world(path("w"_s));
    open(world);
    Told told = Told::Nothing;
    FaultOutcome outcome;
    outcome.operation = m_operation.title;
    outcome.number = number;
    outcome.fault = nameOf(fault);
    {
        const FaultPoint point(path("w"_s), fault, m_operation.isSendfileRefused);
        told = m_operation.act(world);
        if (!point.hasFired())
            return "the call was not made"_s;
        outcome.call = point.calls().at(number);
    }
    m_isRenameRefused = fault.reach == Fault::Reach::Function && outcome.call.function == "rename"_s;
    if (outcome.call.function != m_calls.at(number).function || outcome.call.role != m_calls.at(number).role)
        return "another call: %1, %2"_s.arg(outcome.call.function, outcome.call.role);
    const QString beginning = inWords(told, world);
    if (m_operation.isStart)
        world.restart();
    const QString problem = judge(world, told, beginning, outcome);
    if (!problem.isEmpty())
        return problem;
    if (outcome.isDoneAllTheSame() && FaultJustifications::numberOf(outcome) == 0 &&
        !FaultTable::isBeingMade())
        return "reported as done (%1), and no reason is known why that is right"_s.arg(outcome.text);
    m_outcomes << outcome;
    return QString();
}

QString FaultSweep::judge(FaultWorld& world, Told told, const QString& beginning, FaultOutcome& outcome)
{
    return m_operation.contents ? compareContents(world, told, beginning, outcome)
                                : recover(world, told, beginning, outcome);
}

// The fault is over: nothing is lost, the world comes to rest, and what the host wanted can be had.
QString FaultSweep::recover(FaultWorld& world, Told told, const QString& beginning, FaultOutcome& outcome)
{
    const QString lostAtOnce = lost(false);
    if (!lostAtOnce.isEmpty())
        return lostAtOnce;
    const QString codes = world.errorCodes();
    const QString inError = codes.isEmpty() ? QString() : ", in error (%1)"_s.arg(codes);
    if (m_operation.isAskedFirst)
        m_operation.askAgain(world);
    const Settling settling = world.settle();
    if (settling == Settling::Never)
        return "does not come to rest: "_s + world.problems();
    outcome.text = beginning + inError + inWords(settling);
    if (told == Told::Done && m_operation.missedGoal && !m_operation.missedGoal(world).isEmpty())
        outcome.text += ", but "_s + m_operation.missedGoal(world);
    if (m_operation.askAgain)
        m_operation.askAgain(world);
    if (world.settle() == Settling::Never)
        return "does not come to rest again: "_s + world.problems();
    if (m_operation.missedGoal && !m_operation.missedGoal(world).isEmpty())
        return m_operation.missedGoal(world);
    if (!world.temporaryFiles().isEmpty())
        outcome.text += ", leaves a temporary file"_s;
    const QString problem = world.lastingProblems();
    return problem.isEmpty() ? lost(true) : problem;
}

// All of the change or nothing of it, and all of it once it can be done.
QString FaultSweep::compareContents(FaultWorld& world, Told told, const QString& beginning,
                                    FaultOutcome& outcome)
{
    outcome.text = beginning;
    const auto isLeftFailed = [&](const QString& found) {
        return !m_contentsFailed.isNull() && found == m_contentsFailed;
    };
    const auto isWhole = [&](const QString& found) {
        return found == m_contentsBefore || found == m_contentsAfter || isLeftFailed(found);
    };
    QString contents = m_operation.contents(world);
    if (!isWhole(contents)) {
        outcome.text += ", whole after the next start"_s;
        if (!world.restart())
            return "does not start again: "_s + world.errors().join(" "_s);
        contents = m_operation.contents(world);
    }
    if (!isWhole(contents))
        return "neither before nor after:\n"_s + contents;
    if (told == Told::Done && contents != m_contentsAfter)
        return "said to be done, and is not:\n"_s + contents;
    if (told != Told::Done)
        outcome.text += contents == m_contentsAfter    ? ", done all the same"_s
                        : contents == m_contentsBefore ? ", nothing is changed"_s
                                                       : ", in error"_s;
    if (isLeftFailed(contents))
        return QString();
    const bool isDone = contents == m_contentsAfter || m_operation.act(world) != Told::Failed;
    if (!isDone || m_operation.contents(world) != m_contentsAfter)
        return "can't be done later:\n"_s + m_operation.contents(world);
    return RawDatabase(world.databasePath()).integrityProblems();
}

// --- Kills ----------------------------------------------------------------------------------------------

// False when the operation ended before that call. Nothing of the parent is in use: worlds live shortly.
bool FaultSweep::killAt(int number)
{
    const pid_t child = ::fork();
    if (child == 0) {
        FaultWorld world(path("w"_s));
        open(world);
        const FaultPoint point(path("w"_s), {number, 0, Fault::Reach::Once}, m_operation.isSendfileRefused);
        m_operation.act(world);
        ::_exit(EXIT_SUCCESS);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child)
        qFatal("no child");
    if (WIFSIGNALED(status) ? WTERMSIG(status) != SIGKILL : WEXITSTATUS(status) != EXIT_SUCCESS)
        qFatal("the child ended otherwise: %d", status);
    return WIFSIGNALED(status);
}

QString FaultSweep::sweepKills()
{
    for (int number = 0; number < m_calls.size(); number += isWhole() ? 1 : kKillStep) {
        const QString problem = sweepKill(number);
        if (!problem.isEmpty())
            return where(number, "killed"_s) + problem;
    }
    return QString();
}

QString FaultSweep::sweepKill(int number)
{
    m_isRenameRefused = false;
    if (!layOut("before"_s))
        return "the world can't be laid out"_s;
    if (!killAt(number))
        return "the child was not killed"_s;
    FaultOutcome outcome;
    outcome.operation = m_operation.title;
    outcome.number = number;
    outcome.call = m_calls.at(number);
    outcome.fault = kKilled;
    const QString problem = m_operation.contents ? compareAfterKill(outcome) : recoverAfterKill(outcome);
    m_outcomes << outcome;
    return problem;
}

QString FaultSweep::recoverAfterKill(FaultOutcome& outcome)
{
    const QString lostAtOnce = lost(false);
    if (!lostAtOnce.isEmpty())
        return lostAtOnce;
    FaultWorld world(path("w"_s));
    if (!world.start())
        return "does not start again: "_s + world.errors().join(" "_s);
    return recover(world, Told::Nothing, "started again"_s, outcome);
}

// Looked at before the start: it would begin to tidy.
QString FaultSweep::compareAfterKill(FaultOutcome& outcome)
{
    FaultWorld world(path("w"_s));
    const QString contents = m_operation.contents(world);
    const bool isWhole = contents == m_contentsBefore || contents == m_contentsAfter;
    outcome.text = contents == m_contentsAfter ? "done"_s : "nothing is changed"_s;
    if (!world.start())
        return "does not start again: "_s + world.errors().join(" "_s);
    if (isWhole)
        return RawDatabase(world.databasePath()).integrityProblems();
    outcome.text = "whole after the next start"_s;
    return m_operation.contents(world) == m_contentsAfter ? QString()
                                                          : "neither before nor after:\n"_s + contents;
}

// --- Kills and faults in the start that follows ---------------------------------------------------------

// After every kill of a whole sweep some calls of the start, in turn: all would take a day.
QString FaultSweep::sweepRecoveries()
{
    const int killStep = isWhole() ? 1 : qMax(1, callCount() / kShortKills);
    const int callStep = isExhaustive() ? 1 : isWhole() ? kWholeCallStep : kShortCallStep;
    for (int killedAt = killStep / 2; killedAt < m_calls.size(); killedAt += killStep) {
        if (!layOut("before"_s) || !killAt(killedAt))
            return where(killedAt, "killed"_s) + "not killed"_s;
        if (!QDir(path("killed"_s)).removeRecursively() || !copyTree(path("w"_s), path("killed"_s)))
            return "the killed world can't be kept"_s;
        bool isReached = true;
        for (int number = killedAt % callStep; isReached; number += callStep) {
            const std::size_t turn = std::size_t(killedAt + number);
            const Fault fault{number, kErrors[turn % kErrors.size()].number,
                              kReaches[turn % kReaches.size()]};
            const QString problem = sweepRecovery(fault, isReached);
            if (!problem.isEmpty())
                return where(killedAt, "killed"_s) +
                       "then call %1, %2: "_s.arg(QString::number(number), nameOf(fault)) + problem;
            ++m_recoveryCount;
        }
    }
    return QString();
}

QString FaultSweep::sweepRecovery(const Fault& fault, bool& isReached)
{
    m_isRenameRefused = fault.reach == Fault::Reach::Function; // of whatever function
    if (!layOut("killed"_s))
        return "the killed world can't be laid out"_s;
    FaultWorld world(path("w"_s));
    bool isStarted = false;
    Told told = Told::Nothing;
    {
        FaultPoint point(path("w"_s), fault, m_operation.isSendfileRefused);
        point.spareJournal();
        if (m_operation.contents) {
            world.openDatabase();
            told = m_operation.act(world);
        } else {
            isStarted = world.start();
            world.cycle();
        }
        isReached = point.hasFired();
    }
    world.findPair();
    FaultOutcome outcome;
    if (m_operation.contents)
        return compareContents(world, told, QString(), outcome);
    if (!isStarted && !world.restart())
        return "does not start again: "_s + world.errors().join(" "_s);
    return recover(world, Told::Nothing, QString(), outcome);
}

} // namespace VornSyncTest
