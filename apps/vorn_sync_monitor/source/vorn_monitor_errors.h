#pragma once

#include "vorn_monitor_answers.h"
#include "vorn_monitor_error_group.h"

#include <QHash>
#include <QObject>
#include <QTimer>

class VornCliSession;

// The files in error, in groups by what the user may do, and the user's answers. Lives on the window's thread.
class VornMonitorErrors : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornMonitorErrors)
    Q_PROPERTY(QList<QObject*> groups READ groups CONSTANT)
    Q_PROPERTY(int count READ count NOTIFY changed)

public:
    explicit VornMonitorErrors(VornCliSession& session, QObject* parent = nullptr); // which must outlive it

    QList<QObject*> groups() const;
    int count() const;

    // An answer is given only to the error that was shown: what a retry does depends on the code.
    Q_INVOKABLE void give(int answer, const QString& alias, const QString& fileName, int errorCode,
                          int status);

    // For all of a group: ask() notes the files as they are now and says how many; confirm() answers these, so
    // that nobody agrees to 5 and gets 5000.
    Q_INVOKABLE int ask(QObject* group, int answer);
    Q_INVOKABLE void confirm();

signals:
    void changed(); // the manager's list was read

private:
    VornMonitorErrorGroup::Kind kindOf(const VornCliFileError& error);
    void refresh();
    void awaitRefresh();

    VornCliSession& m_session;
    QVector<VornMonitorErrorGroup*> m_groups;                    // children
    QHash<QPair<int, int>, VornMonitorErrorGroup::Kind> m_kinds; // by code and status, as they turn up
    QTimer m_refreshTimer;
    int m_refreshDelayMs = 0;
    VornCliAnswer m_askedAnswer = VornCliAnswer::ByHand;
    QVector<VornCliFileError> m_asked;
    VornMonitorAnswers m_answers;
};
