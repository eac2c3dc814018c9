#pragma once

#include "fault_sweep.h"

#include <QMap>
#include <QString>
#include <QStringList>
#include <QVector>

namespace VornSyncTest {

// docs/FAULTS.md: what comes of a fault at each call of each operation. Written from outcomes, and read again, so
// that a sweep can tell whether it still says the truth.
class FaultTable
{
public:
    static QString filePath();
    // Qt and SQLite decide what is called when: a table that was made with others says nothing about these.
    static bool isOfThisEnvironment();

    // Where the table tells otherwise than a sweep has found, empty when it does not. While the table is made,
    // by VORN_SYNC_FAULT_OUTCOMES=<directory>, the outcomes are kept there instead.
    static bool isBeingMade();
    static QString compareOrKeep(const FaultSweep& sweep);
    // The table from the outcomes that were kept.
    static bool write(const QString& keptIn);

    bool read(const QString& path);
    QString text() const;

    QStringList operations() const;
    int callCount(const QString& operation) const;
    bool isJustificationUsed(int number) const;

private:
    // What came of the faults at one call, by the fault's name: "EIO once".
    struct Row
    {
        FaultCall call;
        QMap<QString, QString> texts;
    };

    void add(const FaultOutcome& outcome);
    QString difference(const FaultOutcome& outcome) const;
    QString cell(const Row& row, Fault::Reach reach) const;
    QString line(int first, int last, const Row& row) const;
    void readLine(const QString& operation, const QString& line);
    void readCell(Row& row, Fault::Reach reach, const QString& cell) const;

    QString m_environment;
    QMap<QString, QVector<Row>> m_rows;
};

} // namespace VornSyncTest
