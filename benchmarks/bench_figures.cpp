#include "bench_figures.h"

#include <QByteArray>
#include <QFile>
#include <QJsonDocument>

#include <cstdio>
#include <ctime>

namespace {

double clockSecs(clockid_t clock)
{
    timespec now = {};
    ::clock_gettime(clock, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

double statusMib(const QByteArray& field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith(field + ':'))
            return line.mid(field.size() + 1).replace("kB", "").trimmed().toDouble() / 1024;
    }
    return 0;
}

} // namespace

double BenchFigures::processCpuSecs()
{
    return clockSecs(CLOCK_PROCESS_CPUTIME_ID);
}

double BenchFigures::threadCpuSecs()
{
    return clockSecs(CLOCK_THREAD_CPUTIME_ID);
}

double BenchFigures::monotonicSecs()
{
    return clockSecs(CLOCK_MONOTONIC);
}

double BenchFigures::residentMib()
{
    return statusMib(QByteArrayLiteral("VmRSS"));
}

double BenchFigures::peakResidentMib()
{
    return statusMib(QByteArrayLiteral("VmHWM"));
}

bool BenchFigures::resetPeak()
{
    QFile references(QStringLiteral("/proc/self/clear_refs"));
    return references.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && references.write("5\n") == 2;
}

QJsonObject BenchFigures::measured(const std::function<bool()>& run)
{
    const double restMib = residentMib();
    resetPeak();
    const double cpu = processCpuSecs();
    const double wall = monotonicSecs();
    const bool isOk = run();
    return {{QStringLiteral("cpu"), processCpuSecs() - cpu},
            {QStringLiteral("wall"), monotonicSecs() - wall},
            {QStringLiteral("rest_mib"), restMib},
            {QStringLiteral("peak_mib"), peakResidentMib()},
            {QStringLiteral("ok"), isOk}};
}

void BenchFigures::print(const QJsonObject& figures)
{
    const QByteArray line = QJsonDocument(figures).toJson(QJsonDocument::Compact) + '\n';
    std::fwrite(line.constData(), 1, size_t(line.size()), stdout);
    std::fflush(stdout);
}
