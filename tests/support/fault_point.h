#pragma once

#include "file_calls.h"

#include <QString>
#include <QVector>

namespace VornSyncTest {

// One call of an operation below a root, in words that are the same in every run.
struct FaultCall
{
    QString function;          // "rename"
    QString role;              // "distant temporary file to distant file"
    QString place = QString(); // "distant": the side, or the database's directory
};

// What happens to the call of a number, counted from 0 in the order in which an operation makes them.
struct Fault
{
    static constexpr int kNever = -1;

    enum class Reach {
        Once,
        Function, // every later call of the function too, as writes on a full disk
        Place,    // every later call at the place too, as on a share that is away
        ForEver   // every later call too
    };

    int at = kNever;
    int error = 0; // 0: the process is killed
    Reach reach = Reach::Once;
};

// Counts the file-system calls of the process below a root and makes one of them fail, or all from one on. One at
// a time lives. In the process of a test that links this, SQLite's waiting for a lock takes no time.
class FaultPoint
{
public:
    // With `isSendfileRefused` the system is one that can't copy from file to file by itself.
    FaultPoint(const QString& root, const Fault& fault, bool isSendfileRefused = false);
    ~FaultPoint();
    FaultPoint(const FaultPoint&) = delete;
    FaultPoint& operator=(const FaultPoint&) = delete;

    // SQLite takes a journal that can't be asked for for one that is not there. After a crash that is the end of the
    // database, and nobody above SQLite can do anything about it: such a question counts, and is answered.
    void spareJournal() { m_isJournalSpared = true; }

    const QVector<FaultCall>& calls() const { return m_calls; }
    bool hasFired() const { return m_fault.at != Fault::kNever && m_calls.size() > m_fault.at; }

private:
    int errorOf(const FileCalls::Call& call);
    bool isReached(int number) const;

    QByteArray m_root;
    Fault m_fault;
    bool m_isSendfileRefused = false;
    bool m_isJournalSpared = false;
    QVector<FaultCall> m_calls;
};

} // namespace VornSyncTest
