#include "vorn_cli_change_batcher.h"

namespace {

constexpr int kGatherMs = 20;      // files that one command saves together arrive this close to each other
constexpr int kBatchPauseMs = 250; // longer than the worker's countdown of 200 ms, with some slack
constexpr int kQuietMs = 500;      // a file that nobody closes is sent after this long without a write
constexpr int kQuietCheckMs = 100;

} // namespace

VornCliChangeBatcher::VornCliChangeBatcher(QObject* parent)
    : QObject(parent)
{
    m_clock.start();
    m_batchTimer.setSingleShot(true);
    m_quietTimer.setInterval(kQuietCheckMs);
    connect(&m_batchTimer, &QTimer::timeout, this, &VornCliChangeBatcher::flush);
    connect(&m_quietTimer, &QTimer::timeout, this, &VornCliChangeBatcher::collectQuiet);
}

void VornCliChangeBatcher::addSaved(const QString& alias, const QString& name)
{
    const VornCliFileKey file(alias, name);
    m_touchedAt.remove(file);
    if (m_inBatch.contains(file))
        return;
    m_inBatch.insert(file);
    m_batch.append(file);
    if (!m_batchTimer.isActive())
        m_batchTimer.start(kGatherMs);
}

void VornCliChangeBatcher::addTouched(const QString& alias, const QString& name)
{
    m_touchedAt.insert({alias, name}, m_clock.elapsed());
    if (!m_quietTimer.isActive())
        m_quietTimer.start();
}

void VornCliChangeBatcher::collectQuiet()
{
    const qint64 now = m_clock.elapsed();
    QVector<VornCliFileKey> quiet;
    for (auto it = m_touchedAt.cbegin(); it != m_touchedAt.cend(); ++it) {
        if (now - it.value() >= kQuietMs)
            quiet.append(it.key());
    }
    for (const VornCliFileKey& file : quiet)
        addSaved(file.first, file.second);
    if (m_touchedAt.isEmpty())
        m_quietTimer.stop();
}

void VornCliChangeBatcher::flush()
{
    if (m_batch.isEmpty())
        return;
    const QVector<VornCliFileKey> batch = m_batch;
    m_batch.clear();
    m_inBatch.clear();
    m_batchTimer.start(kBatchPauseMs);
    emit batchReady(batch);
}
