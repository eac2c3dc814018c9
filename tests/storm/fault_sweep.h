#pragma once

#include "fault_operations.h"
#include "fault_point.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVector>

#include <memory>

namespace VornSyncTest {

// What came of one fault at one call.
struct FaultOutcome
{
    QString operation;
    int number = 0; // of the call
    FaultCall call;
    QString fault; // "EIO once", "ENOSPC every such call", "EACCES every call there", "killed"
    QString text;

    // Reported as done by the run in which the call failed.
    bool isDoneAllTheSame() const;
};

QString nameOf(Fault::Reach reach);
// The errors of a whole sweep: all that there are for a call that fails once, the likely ones for others.
QStringList errorNames(Fault::Reach reach);

// Makes every call of an operation fail in turn, each time in a fresh copy of the same world, and looks at what
// becomes of the files, the rows and the host's word. A short sweep takes two faults a call, in turn; a whole one
// takes all. A call that fails although the operation is reported as done needs a reason why that is right.
class FaultSweep
{
    Q_DISABLE_COPY_MOVE(FaultSweep)

public:
    explicit FaultSweep(const FaultOperation& operation);

    static bool isPossible();
    // By the environment: VORN_SYNC_SWEEP=all, =exhaustive.
    static bool isWhole();
    static bool isExhaustive();

    // Each gives an empty text, or what is wrong.
    QString prepare();
    QString sweepErrors();
    QString sweepKills();
    // A kill, and a fault in the start that follows.
    QString sweepRecoveries();

    int callCount() const { return int(m_calls.size()); }
    int recoveryCount() const { return m_recoveryCount; }
    const QVector<FaultOutcome>& outcomes() const { return m_outcomes; }

private:
    QString path(const QString& name) const { return m_directory->filePath(name); }
    QString where(int number, const QString& fault) const;
    [[nodiscard]] bool layOut(const QString& from);
    void open(FaultWorld& world) const;
    QString lost(bool isFaultOver) const;

    QString sweepError(int number, const Fault& fault);
    QString judge(FaultWorld& world, FaultOperation::Told told, const QString& beginning,
                  FaultOutcome& outcome);
    QString recover(FaultWorld& world, FaultOperation::Told told, const QString& beginning,
                    FaultOutcome& outcome);
    QString compareContents(FaultWorld& world, FaultOperation::Told told, const QString& beginning,
                            FaultOutcome& outcome);
    bool killAt(int number);
    QString sweepKill(int number);
    QString recoverAfterKill(FaultOutcome& outcome);
    QString compareAfterKill(FaultOutcome& outcome);
    QString sweepRecovery(const Fault& fault, bool& isReached);

    const FaultOperation m_operation;
    std::unique_ptr<QTemporaryDir> m_directory;
    QVector<FaultCall> m_calls;
    QVector<FaultOutcome> m_outcomes;
    int m_recoveryCount = 0;
    bool m_isRenameRefused = false; // by the fault that is being judged
    // Of a change of the database.
    QString m_contentsBefore;
    QString m_contentsAfter;
    QString m_contentsFailed;
};

} // namespace VornSyncTest
