#pragma once

#include "vorn_cli_error_guide.h"
#include "vorn_cli_types.h"

#include <QObject>
#include <QTimer>

#include <deque>

class VornCliSession;

// The user's answers on their way to the manager: some in each turn of the event loop, each only to the error that was
// shown. Lives on the window's thread.
class VornMonitorAnswers : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornMonitorAnswers)

public:
    explicit VornMonitorAnswers(VornCliSession& session, QObject* parent = nullptr); // which must outlive it

    void add(VornCliAnswer answer, const QVector<VornCliFileError>& files);
    // Answers wait to be given or to take effect.
    bool isBusy() const { return m_isBusy; }

signals:
    void settled(); // it is not busy any more

private:
    struct Answer
    {
        VornCliAnswer answer = VornCliAnswer::ByHand;
        VornCliFileError file;
    };

    void giveSome();
    void give(const Answer& answer);
    void lookForEffect();
    void settle();
    bool isListed(const VornCliFileError& file) const; // with that error

    VornCliSession& m_session;
    std::deque<Answer> m_waiting;
    VornCliFileError m_last; // that was answered; the engine takes up one after the other
    bool m_isBusy = false;
    int m_errorCount = 0;
    QTimer m_turnTimer;
    QTimer m_patienceTimer;
};
