#pragma once

#include <QStringList>

namespace VornSyncTest {

struct FaultOutcome;

// Why an operation may be reported as done although one of its calls failed. Numbered from 1, as docs/FAULTS.md
// refers to them.
namespace FaultJustifications {

// 0 when there is none.
int numberOf(const FaultOutcome& outcome);
QStringList texts();

} // namespace FaultJustifications

} // namespace VornSyncTest
