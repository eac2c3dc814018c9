#pragma once

#include "vorn_cli_types.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QTimer>

// Collects what the watcher sees into batches. Lives on the host's thread.
//
// The manager's worker starts a countdown of 200 ms anew with every file that arrives, so files that trickle
// in would hold back the first copy for as long as they trickle. A batch is therefore sent at once, and the
// next one only after the worker has had time to begin.
class VornCliChangeBatcher : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornCliChangeBatcher)

public:
    explicit VornCliChangeBatcher(QObject* parent = nullptr);

    void addSaved(const QString& alias, const QString& name); // closed or moved in: goes with the next batch
    void addTouched(const QString& alias, const QString& name); // still open: goes once it has been quiet

signals:
    void batchReady(const QVector<VornCliFileKey>& files);

private:
    void collectQuiet();
    void flush();

    QVector<VornCliFileKey> m_batch; // in order of arrival
    QSet<VornCliFileKey> m_inBatch;
    QHash<VornCliFileKey, qint64> m_touchedAt; // m_clock's milliseconds at the last event
    QElapsedTimer m_clock;
    QTimer m_batchTimer; // runs while a batch gathers, and between two batches
    QTimer m_quietTimer;
};
