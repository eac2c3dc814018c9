#pragma once

#include "vorn_monitor_errors.h"
#include "vorn_monitor_log.h"
#include "vorn_monitor_pair_editor.h"
#include "vorn_monitor_pairs.h"
#include "vorn_monitor_status.h"

#include <QObject>

// What the window shows and asks for besides the manager's own properties and calls. Lives on the window's thread.
class VornMonitorHost : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornMonitorHost)
    Q_PROPERTY(VornMonitorStatus* status READ status CONSTANT)
    Q_PROPERTY(VornMonitorPairs* pairs READ pairs CONSTANT)
    Q_PROPERTY(VornMonitorPairEditor* pairEditor READ pairEditor CONSTANT)
    Q_PROPERTY(VornMonitorErrors* errors READ errors CONSTANT)
    Q_PROPERTY(VornMonitorLog* log READ log CONSTANT)
    Q_PROPERTY(QString statePath READ statePath CONSTANT)
    Q_PROPERTY(QString theme READ theme CONSTANT) // "light", "dark", or empty: the desktop's

public:
    // Both must outlive it, and the mirror must be open.
    VornMonitorHost(VornCliMirror& mirror, VornMonitorLog& log, const QString& theme,
                    QObject* parent = nullptr);

    VornMonitorStatus* status() { return &m_status; }
    VornMonitorPairs* pairs() { return &m_pairs; }
    VornMonitorPairEditor* pairEditor() { return &m_pairEditor; }
    VornMonitorErrors* errors() { return &m_errors; }
    VornMonitorLog* log() { return &m_log; }
    QString statePath() const;
    QString theme() const { return m_theme; }

    Q_INVOKABLE void setPaused(bool paused);
    Q_INVOKABLE void setSuspended(const QString& alias, bool suspended);
    Q_INVOKABLE QString printable(const QString& text) const;

private:
    void refresh();

    VornCliSession& m_session;
    VornMonitorLog& m_log;
    QString m_statePath;
    QString m_theme;
    VornMonitorPairs m_pairs;
    VornMonitorPairEditor m_pairEditor;
    VornMonitorStatus m_status;
    VornMonitorErrors m_errors;
};
