#include "fault_table.h"

#include "fault_justifications.h"
#include "fault_operations.h"
#include "literals.h"

#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>

#include <algorithm>
#include <array>

namespace VornSyncTest {

namespace {

const QString kKilled = QStringLiteral("killed");
const QString kHead =
    QStringLiteral("| calls | function | on | once | every such call | every call there | every call | "
                   "killed |");
constexpr int kColumns = 8;
constexpr char kKeptIn[] = "VORN_SYNC_FAULT_OUTCOMES";
constexpr int kKeptFields = 6;

constexpr std::array<Fault::Reach, 4> kReaches = {Fault::Reach::Once, Fault::Reach::Function,
                                                  Fault::Reach::Place, Fault::Reach::ForEver};

QString faultName(const QString& error, Fault::Reach reach)
{
    return error + QLatin1Char(' ') + nameOf(reach);
}

QString textWithReason(const FaultOutcome& outcome)
{
    return outcome.isDoneAllTheSame()
               ? "%1 [%2]"_s.arg(outcome.text).arg(FaultJustifications::numberOf(outcome))
               : outcome.text;
}

bool keep(const QString& directory, const QVector<FaultOutcome>& outcomes)
{
    QFile file("%1/%2.%3"_s.arg(directory, outcomes.first().operation,
                                outcomes.first().fault.section(QLatin1Char(' '), -1)));
    QByteArray lines;
    for (const FaultOutcome& outcome : outcomes)
        lines += QStringList{outcome.operation,     QString::number(outcome.number),
                             outcome.call.function, outcome.call.role,
                             outcome.fault,         outcome.text}
                     .join(QLatin1Char('\t'))
                     .toUtf8() +
                 '\n';
    return file.open(QIODevice::WriteOnly) && file.write(lines) == lines.size();
}

QStringList sweptOperations()
{
    QStringList titles;
    const QVector<FaultOperation> all = taskOperations() + engineOperations() + databaseOperations();
    for (const FaultOperation& operation : all)
        titles << operation.title;
    return titles;
}

QString environment()
{
    QString sqlite;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE"_s, "version"_s);
        database.setDatabaseName(":memory:"_s);
        if (database.open()) {
            QSqlQuery query(database);
            if (query.exec("SELECT sqlite_version()"_s) && query.next())
                sqlite = query.value(0).toString();
        }
    }
    QSqlDatabase::removeDatabase("version"_s);
    return "Swept with Qt %1 and SQLite %2, in memory."_s.arg(QLatin1String(qVersion()), sqlite);
}

constexpr char kIntroduction[] = R"(# Every call that can fail

Written by `scripts/fault_table.sh`; the sweeps in `tests/storm` compare it with what they find.

Each table is one operation, each line one of its calls of the file system (or several in a row), made below the
pair's directories and the database's directory. What is made to fail:

- the call alone, with EIO, ENOSPC, EACCES, ESTALE and EDQUOT in turn ("once"; what is said holds for all five, unless
  some are named);
- the call and every later one of its function, with ENOSPC and EACCES ("every such call": writes on a full disk);
- the call and every later one on its side, with ESTALE ("every call there": a share that is away);
- the call and every later one at all, with EIO ("every call");
- nothing, but the process is killed there and started again ("killed").

Then the fault is over. In every case: no file is lost or half, the database is whole, the pair comes to rest with both
sides alike and every row as the disk is, and what was asked for can be had. Left out is giving back a lock: no system
refuses it.

| what happens | means |
|---|---|
| done | reported as done although the call failed; the number in brackets is the reason why that is right |
| done when tried again | the first run failed and was reported; a further one ended well |
| failed | reported as failed |
| no message, an error message | the operation reports nothing when it ends; whether an error was emitted |
| in error (6) | then a file is listed in error with that code |
| a cycle settles it | the next cycles bring the pair to rest |
| the user's answer settles it | ... after the files in error were retried or acknowledged |
| a time-out settles it | ... after rows in progress became stale (30 to 600 s) |
| nothing is changed, done all the same, in error | what the database holds after a change that was reported as failed, or was cut off |
| leaves a temporary file | one of the copy's temporary files could not be removed, or nobody was left to do it |
)";

} // namespace

QString FaultTable::filePath()
{
    return QStringLiteral(VORN_SYNC_FAULT_TABLE);
}

bool FaultTable::isOfThisEnvironment()
{
    FaultTable table;
    return table.read(filePath()) && table.m_environment == environment();
}

bool FaultTable::isBeingMade()
{
    return qEnvironmentVariableIsSet(kKeptIn);
}

QString FaultTable::compareOrKeep(const FaultSweep& sweep)
{
    const QByteArray keptIn = qgetenv(kKeptIn);
    if (!keptIn.isEmpty())
        return keep(QFile::decodeName(keptIn), sweep.outcomes()) ? QString() : "the outcomes can't be kept"_s;
    if (!isOfThisEnvironment())
        return QString();
    FaultTable table;
    table.read(filePath());
    const QString title = sweep.outcomes().first().operation;
    if (table.callCount(title) != sweep.callCount())
        return "%1: the table has %2 calls, it makes %3"_s.arg(title, QString::number(table.callCount(title)),
                                                               QString::number(sweep.callCount()));
    for (const FaultOutcome& outcome : sweep.outcomes()) {
        const QString difference = table.difference(outcome);
        if (!difference.isEmpty())
            return difference;
    }
    return QString();
}

bool FaultTable::write(const QString& keptIn)
{
    FaultTable table;
    table.m_environment = environment();
    const QStringList names = QDir(keptIn).entryList(QDir::Files, QDir::Name);
    for (const QString& name : names) {
        QFile kept(keptIn + QLatin1Char('/') + name);
        if (!kept.open(QIODevice::ReadOnly))
            return false;
        const QStringList lines =
            QString::fromUtf8(kept.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        for (const QString& line : lines) {
            const QStringList fields = line.split(QLatin1Char('\t'));
            if (fields.size() != kKeptFields)
                return false;
            table.add({fields.at(0),
                       fields.at(1).toInt(),
                       {fields.at(2), fields.at(3)},
                       fields.at(4),
                       fields.at(5)});
        }
    }
    QFile file(filePath());
    const QByteArray text = table.text().toUtf8();
    return !names.isEmpty() && file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

void FaultTable::add(const FaultOutcome& outcome)
{
    QVector<Row>& rows = m_rows[outcome.operation];
    rows.resize(qMax(rows.size(), outcome.number + 1));
    rows[outcome.number].call = outcome.call;
    rows[outcome.number].texts.insert(outcome.fault, textWithReason(outcome));
}

// --- Writing --------------------------------------------------------------------------------------------

QString FaultTable::text() const
{
    QString text = QString::fromUtf8(kIntroduction);
    text += "\n## Why \"done\" is right\n\n"_s;
    const QStringList reasons = FaultJustifications::texts();
    for (int i = 0; i < reasons.size(); ++i)
        text += "%1. %2\n"_s.arg(QString::number(i + 1), reasons.at(i));
    text += "\n## The calls\n\n%1\n"_s.arg(m_environment);
    const QStringList titles = sweptOperations();
    for (const QString& title : titles) {
        const QVector<Row> rows = m_rows.value(title);
        text += "\n### %1\n\n%2\n|%3\n"_s.arg(title, kHead, "---|"_s.repeated(kColumns));
        for (int first = 0; first < rows.size();) {
            int last = first;
            while (last + 1 < rows.size() && line(0, 0, rows.at(last + 1)) == line(0, 0, rows.at(first)))
                ++last;
            text += line(first, last, rows.at(first)) + QLatin1Char('\n');
            first = last + 1;
        }
    }
    return text;
}

QString FaultTable::line(int first, int last, const Row& row) const
{
    QStringList cells{first == last ? QString::number(first) : "%1-%2"_s.arg(first).arg(last),
                      "`%1`"_s.arg(row.call.function), row.call.role};
    for (const Fault::Reach reach : kReaches)
        cells << cell(row, reach);
    cells << row.texts.value(kKilled);
    return "| %1 |"_s.arg(cells.join(" | "_s));
}

// What comes of most errors, and then of those that are named.
QString FaultTable::cell(const Row& row, Fault::Reach reach) const
{
    QStringList texts;
    QMap<QString, QStringList> errorsOf;
    const QStringList errors = errorNames(reach);
    for (const QString& error : errors) {
        const QString text = row.texts.value(faultName(error, reach));
        if (!texts.contains(text))
            texts << text;
        errorsOf[text] << error;
    }
    std::stable_sort(texts.begin(), texts.end(), [&](const QString& left, const QString& right) {
        return errorsOf.value(left).size() > errorsOf.value(right).size();
    });
    QStringList parts{texts.first()};
    for (int i = 1; i < texts.size(); ++i)
        parts << "%1: %2"_s.arg(errorsOf.value(texts.at(i)).join(QLatin1Char(' ')), texts.at(i));
    return parts.join("; "_s);
}

// --- Reading --------------------------------------------------------------------------------------------

bool FaultTable::read(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    QString operation;
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        if (line.startsWith("Swept with "_s))
            m_environment = line;
        else if (line.startsWith("### "_s))
            operation = line.mid(4);
        else if (line.startsWith("| "_s) && line != kHead)
            readLine(operation, line);
    }
    return true;
}

void FaultTable::readLine(const QString& operation, const QString& line)
{
    const QStringList cells = line.mid(2, line.size() - 4).split(" | "_s);
    if (cells.size() != kColumns)
        return;
    const int first = cells.at(0).section(QLatin1Char('-'), 0, 0).toInt();
    const int last = cells.at(0).section(QLatin1Char('-'), -1).toInt();
    Row row;
    row.call = {QString(cells.at(1)).remove(QLatin1Char('`')), cells.at(2), QString()};
    for (std::size_t i = 0; i < kReaches.size(); ++i)
        readCell(row, kReaches[i], cells.at(3 + int(i)));
    row.texts.insert(kKilled, cells.at(kColumns - 1));
    QVector<Row>& rows = m_rows[operation];
    rows.resize(qMax(rows.size(), last + 1));
    std::fill(rows.begin() + first, rows.begin() + last + 1, row);
}

void FaultTable::readCell(Row& row, Fault::Reach reach, const QString& cell) const
{
    const QStringList parts = cell.split("; "_s);
    const QStringList errors = errorNames(reach);
    for (const QString& error : errors)
        row.texts.insert(faultName(error, reach), parts.first());
    for (const QString& part : parts.mid(1)) {
        const QStringList named = part.section(": "_s, 0, 0).split(QLatin1Char(' '));
        for (const QString& error : named)
            row.texts.insert(faultName(error, reach), part.section(": "_s, 1));
    }
}

QStringList FaultTable::operations() const
{
    return m_rows.keys();
}

int FaultTable::callCount(const QString& operation) const
{
    return int(m_rows.value(operation).size());
}

bool FaultTable::isJustificationUsed(int number) const
{
    const QString mark = " [%1]"_s.arg(number);
    for (const QVector<Row>& rows : m_rows) {
        for (const Row& row : rows) {
            if (std::any_of(row.texts.begin(), row.texts.end(),
                            [&mark](const QString& text) { return text.endsWith(mark); }))
                return true;
        }
    }
    return false;
}

QString FaultTable::difference(const FaultOutcome& outcome) const
{
    const Row row = m_rows.value(outcome.operation).value(outcome.number);
    const QString told = row.texts.value(outcome.fault);
    if (FaultSweep::isExhaustive() && !row.texts.contains(outcome.fault))
        return QString(); // more than the table tells
    const QString found = textWithReason(outcome);
    if (row.call.function == outcome.call.function && row.call.role == outcome.call.role && told == found)
        return QString();
    return "%1, call %2, %3: the table says '%4, %5: %6', it is '%7, %8: %9'"_s.arg(
        outcome.operation, QString::number(outcome.number), outcome.fault, row.call.function, row.call.role,
        told, outcome.call.function, outcome.call.role, found);
}

} // namespace VornSyncTest
