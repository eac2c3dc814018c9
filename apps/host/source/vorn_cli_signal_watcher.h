#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGINT, SIGTERM and SIGHUP into a Qt signal. Lives on the host's thread; one instance a process.
// Only the first one is caught: another one while the program is ending ends it at once.
class VornCliSignalWatcher : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornCliSignalWatcher)

public:
    explicit VornCliSignalWatcher(QObject* parent = nullptr);
    ~VornCliSignalWatcher() override;

    int signalNumber() const { return m_signalNumber; } // 0 until one has come

signals:
    void caught(int signalNumber);

private:
    void onReadable();

    QSocketNotifier* m_notifier = nullptr; // child
    int m_signalNumber = 0;
};
