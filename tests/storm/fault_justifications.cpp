#include "fault_justifications.h"

#include "fault_sweep.h"
#include "literals.h"

#include <QRegularExpression>

#include <array>

namespace VornSyncTest {

namespace {

// Of an outcome: the first one whose expressions match wholly gives the reason.
struct Justification
{
    const char* operation;
    const char* function;
    const char* role;
    const char* text; // of the outcome
    const char* reason;
};

constexpr char kAny[] = ".*";
// What a call that fails may cost and the operation still be called done: nothing, or something that the next cycle
// makes good. (A move back is reported to nobody, and ends with a local file that is gone: the user is asked.)
constexpr char kHarmless[] =
    "done(, with an error message)?(, in error .2.|, in error .12., a time-out settles it|, a "
    "cycle settles it|, the user's answer settles it)*";
constexpr char kStateFile[] = "(database|log of the database|index of the log|journal of the database)";

constexpr Justification kJustifications[] = {
    {kAny, kAny, kAny, "done, with an error message.*",
     "The failure was told: a statement failed whose answer the outcome does not depend on (the marks of "
     "newer distant "
     "files, the error code of before), and errorOccurred was emitted."},
    {kAny, "fcntl64", kStateFile, kHarmless,
     "SQLite takes a lock that it can't get for one that somebody else holds, and asks again. At the end of "
     "the file's "
     "use only its tidying is left out."},
    {kAny, "open64|fdatasync|close", "directory of the database", kHarmless,
     "SQLite makes the name of a new file last where the system can do that, and goes on where it can't."},
    {kAny, "unlink|close|fchown|fchmod", kStateFile, kHarmless,
     "Tidying: a side file that stays is used or removed by the next opening, its owner matters to nobody."},
    {kAny, "stat64|lstat64|fstat64|access|readlink|realpath", "(.*database|index of the log|directory above)",
     kHarmless,
     "SQLite asks what it could do without: whether the file is still the one that it opened, whether a name "
     "is a link."},
    {kAny, "pread64|pwrite64|ftruncate64|fdatasync", "(database|log of the database)", kHarmless,
     "A checkpoint, made when the change is already safe in the log: what it can't do, a later one does."},
    {kAny, kAny, "(log of the database|index of the log|journal of the database)", kHarmless,
     "The switch to a write-ahead log fails, and SQLite works with a journal until the file is opened "
     "again."},
    {kAny, "chmod", ".*(file|companion)", kHarmless,
     "QFile::copy gives the copy the mode of the original where that can be done. The mode is not mirrored."},
    {kAny, "close|fdatasync", ".* unnamed (file|companion)", kHarmless,
     "QFile::copy does not look at the answer. What the system then loses of the copy is seen by its size: "
     "before it "
     "takes another file's place, by the next pass, or by verification."},
    {kAny, "close|closedir", kAny, kHarmless, "What was only read has nothing to lose by being closed."},
    {kAny, "ioctl|sendfile", ".* unnamed (file|companion)", kHarmless,
     "The system's own ways to copy are tried first; Qt then reads and writes by itself."},
    {kAny, "read", ".* (file|companion)", kHarmless,
     "The copy was whole: this was the reading beyond its end. A read before it fails the copy."},
    {kAny, "access", kAny, kHarmless,
     "Qt asks whether it might before it does; the deed itself has its own answer."},
    {kAny, "rename", kAny, kHarmless,
     "Where the system refuses one rename over the old file, the old one is removed and the new one renamed, "
     "and only "
     "while the new one is surely there."},
    {"Move to the trash.*", "unlink", "local file",
     "done, a cycle settles it, but the file is not in the trash",
     "A move is done when its copy is: the local file that could not be removed comes back with the next "
     "pass, is sent, "
     "and its copy leaves the trash. The wish is forgotten, no file is; the user sees the file and asks "
     "again."},
    {kAny, "unlink", kAny, kHarmless,
     "The last step of a move back is not looked at either: both files are there."},
    {kAny, "lstat|openat|fdopendir|opendir|readdir", kAny, kHarmless,
     "Only a name that is surely free counts as free. A temporary name that may be taken is not overwritten "
     "(QFile::copy "
     "refuses that) and not tidied away; where it matters that a file is absent, doubt is an error of its "
     "own."},
    {kAny, "stat64|stat|statx|fstatat64", kAny, kHarmless,
     "The question is asked again by the step that depends on it: opening the file, the size check of a "
     "copy, the last "
     "look at what was sent. A size or time that stayed unknown is found out by the next pass."},
    {kAny, "open64", "database", kHarmless,
     "The file could not be opened for a moment: it is opened again for the next statement."},
};

bool matches(const char* expression, const QString& text)
{
    const QRegularExpression whole(QRegularExpression::anchoredPattern(QString::fromLatin1(expression)));
    return whole.match(text).hasMatch();
}

} // namespace

namespace FaultJustifications {

int numberOf(const FaultOutcome& outcome)
{
    int number = 0;
    for (const Justification& justification : kJustifications) {
        ++number;
        if (matches(justification.operation, outcome.operation) &&
            matches(justification.function, outcome.call.function) &&
            matches(justification.role, outcome.call.role) && matches(justification.text, outcome.text))
            return number;
    }
    return 0;
}

QStringList texts()
{
    QStringList texts;
    for (const Justification& justification : kJustifications)
        texts << QString::fromUtf8(justification.reason);
    return texts;
}

} // namespace FaultJustifications

} // namespace VornSyncTest
