#include "bench_host.h"

#include "bench_figures.h"

#include <vorn_sync_manager.h>

#include <QCoreApplication>

#include <unistd.h>

using namespace BenchFigures;

namespace {

constexpr int kReadBytes = 4096;

QJsonObject answer(bool isOk)
{
    return {{QStringLiteral("ok"), isOk}};
}

} // namespace

BenchHost::BenchHost(const QString& databasePath, const QString& trashPath, int intervalMs,
                     const QStringList& patterns)
    : m_input(STDIN_FILENO, QSocketNotifier::Read)
{
    connect(&m_input, &QSocketNotifier::activated, this, &BenchHost::onReadable);
    print(measured([&] {
        m_manager = std::make_unique<VornSyncManager>(databasePath, trashPath, intervalMs, patterns);
        return true;
    }));
    countSignals();
}

BenchHost::~BenchHost() = default;

void BenchHost::countSignals()
{
    const VornSyncManager* manager = m_manager.get();
    connect(manager, &VornSyncManager::syncStarted, this, [this] {
        ++m_started;
        m_startedAt = monotonicSecs();
        m_startedProcessCpu = processCpuSecs();
        m_startedThreadCpu = threadCpuSecs();
    });
    connect(manager, &VornSyncManager::syncCompleted, this, [this](const QString&, bool succeeded) {
        ++m_completed;
        m_failed += succeeded ? 0 : 1;
        m_completedAt = monotonicSecs();
    });
    connect(manager, &VornSyncManager::countersChanged, this, [this] { ++m_refreshes; });
    connect(manager, &VornSyncManager::errorOccurred, this,
            [](const QString& text) { qWarning("%s", qPrintable(text)); });
}

void BenchHost::onReadable()
{
    char buffer[kReadBytes];
    const ssize_t length = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (length <= 0) {
        m_input.setEnabled(false);
        return QCoreApplication::quit();
    }
    m_pendingInput.append(buffer, int(length));
    for (auto end = m_pendingInput.indexOf('\n'); end >= 0; end = m_pendingInput.indexOf('\n')) {
        const QString line = QString::fromUtf8(m_pendingInput.left(end));
        m_pendingInput.remove(0, end + 1);
        obey(line.split(QLatin1Char('\t')));
    }
}

void BenchHost::obey(const QStringList& words)
{
    const QString& command = words.first();
    if (command == QLatin1String("quit"))
        return quit();
    if (command == QLatin1String("counts"))
        return print(counts());
    if (command == QLatin1String("figures"))
        return print(figures());
    bool isOk = true;
    if (command == QLatin1String("pair") && words.size() == 4)
        isOk = m_manager->addDirectory(words.at(1), words.at(2), words.at(3));
    else if (command == QLatin1String("sync"))
        m_manager->requestSync();
    else if (command == QLatin1String("reset"))
        reset();
    else if (command == QLatin1String("heartbeat") && words.size() == 2)
        words.at(1) == QLatin1String("on") ? m_heartbeat.start() : m_heartbeat.stop();
    else
        isOk = false;
    print(answer(isOk));
}

void BenchHost::reset()
{
    m_started = 0;
    m_completed = 0;
    m_failed = 0;
    m_refreshes = 0;
    resetPeak();
    m_heartbeat.reset();
}

void BenchHost::quit()
{
    m_heartbeat.stop();
    print(measured([this] {
        m_manager.reset();
        return true;
    }));
    QCoreApplication::quit();
}

QJsonObject BenchHost::counts() const
{
    return {{QStringLiteral("started"), m_started},
            {QStringLiteral("completed"), m_completed},
            {QStringLiteral("errors"), m_manager->errorCount()}};
}

QJsonObject BenchHost::figures() const
{
    QJsonObject all = counts();
    all.insert(QStringLiteral("failed"), m_failed);
    all.insert(QStringLiteral("refreshes"), m_refreshes);
    all.insert(QStringLiteral("done"), m_manager->doneCount());
    all.insert(QStringLiteral("started_at"), m_startedAt);
    all.insert(QStringLiteral("started_process_cpu"), m_startedProcessCpu);
    all.insert(QStringLiteral("started_thread_cpu"), m_startedThreadCpu);
    all.insert(QStringLiteral("completed_at"), m_completedAt);
    all.insert(QStringLiteral("now"), monotonicSecs());
    all.insert(QStringLiteral("process_cpu"), processCpuSecs());
    all.insert(QStringLiteral("thread_cpu"), threadCpuSecs());
    all.insert(QStringLiteral("rss_mib"), residentMib());
    all.insert(QStringLiteral("peak_mib"), peakResidentMib());
    all.insert(QStringLiteral("heartbeat"), m_heartbeat.figures());
    return all;
}
