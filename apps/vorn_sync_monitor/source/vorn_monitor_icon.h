#pragma once

#include "vorn_monitor_status.h"

#include <QIcon>
#include <QQuickImageProvider>

// The sign of a state, told by its shape as well as by its colour. As an image provider it gives "status/N" with
// the number of the state to QML. A value; the window's thread.
class VornMonitorIcon : public QQuickImageProvider
{
public:
    VornMonitorIcon();

    static QPixmap pixmap(VornMonitorStatus::State state, int extent);
    static QIcon icon(VornMonitorStatus::State state);

    QPixmap requestPixmap(const QString& id, QSize* size, const QSize& requestedSize) override;
};
