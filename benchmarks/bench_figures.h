#pragma once

#include <QJsonObject>

#include <functional>

// What a process can say of itself, and how the benchmark programs say it: one JSON object a line.
namespace BenchFigures {

double processCpuSecs();
double threadCpuSecs(); // of the calling thread
double monotonicSecs(); // the clock that Python's time.monotonic() reads
double residentMib();
double peakResidentMib(); // since the start, or since resetPeak()
bool resetPeak();

// CPU and wall time, peak memory, and whether `run` found what it should.
QJsonObject measured(const std::function<bool()>& run);
void print(const QJsonObject& figures);

} // namespace BenchFigures
