#pragma once

#include "vorn_cli_background.h"
#include "vorn_cli_types.h"

#include <QObject>
#include <QTimer>

// Asks every few seconds whether the directories of the pairs are there. Lives on the host's thread; the
// questions are put on another one, since a share that is away may take its time to answer.
class VornCliAvailabilityPoller : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornCliAvailabilityPoller)

public:
    explicit VornCliAvailabilityPoller(QObject* parent = nullptr);

    void start(const QVector<VornCliPair>& pairs);

signals:
    // Sent after every look at a pair, also when nothing has changed.
    void looked(const QString& alias, bool localThere, bool distantThere);

private:
    void look();

    QVector<VornCliPair> m_pairs;
    QTimer m_timer;
    VornCliBackground m_background;
};
