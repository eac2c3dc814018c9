#include "vorn_monitor_icon.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>

namespace {

constexpr int kGrid = 32; // the signs are drawn on a square of this extent
constexpr qreal kStroke = 3.4;
constexpr int kDefaultExtent = 32;

QColor colourOf(VornMonitorStatus::State state)
{
    switch (state) {
    case VornMonitorStatus::State::UpToDate:
        return QColor(0x1a, 0x7f, 0x37);
    case VornMonitorStatus::State::Working:
        return QColor(0x09, 0x69, 0xda);
    case VornMonitorStatus::State::Paused:
    case VornMonitorStatus::State::Away:
        return QColor(0x65, 0x6d, 0x76);
    case VornMonitorStatus::State::Attention:
        break;
    }
    return QColor(0xbc, 0x4c, 0x00);
}

QPainterPath signOf(VornMonitorStatus::State state)
{
    QPainterPath path;
    switch (state) {
    case VornMonitorStatus::State::UpToDate: // a check mark
        path.moveTo(9.5, 16.5);
        path.lineTo(14, 21);
        path.lineTo(22.5, 11.5);
        break;
    case VornMonitorStatus::State::Working: // an arrow to the other side
        path.moveTo(8.5, 16);
        path.lineTo(23, 16);
        path.moveTo(17, 10);
        path.lineTo(23, 16);
        path.lineTo(17, 22);
        break;
    case VornMonitorStatus::State::Paused: // two bars
        path.moveTo(12.5, 10.5);
        path.lineTo(12.5, 21.5);
        path.moveTo(19.5, 10.5);
        path.lineTo(19.5, 21.5);
        break;
    case VornMonitorStatus::State::Away: // a broken line
        path.moveTo(8.5, 16);
        path.lineTo(13, 16);
        path.moveTo(19, 16);
        path.lineTo(23.5, 16);
        break;
    case VornMonitorStatus::State::Attention: // an exclamation mark
        path.moveTo(16, 9);
        path.lineTo(16, 17.5);
        path.moveTo(16, 23);
        path.lineTo(16, 23.1);
        break;
    }
    return path;
}

} // namespace

VornMonitorIcon::VornMonitorIcon()
    : QQuickImageProvider(QQuickImageProvider::Pixmap)
{
}

QPixmap VornMonitorIcon::pixmap(VornMonitorStatus::State state, int extent)
{
    QPixmap pixmap(extent, extent);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(double(extent) / kGrid, double(extent) / kGrid);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colourOf(state));
    painter.drawEllipse(QRectF(1, 1, kGrid - 2, kGrid - 2));
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(Qt::white, kStroke, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(signOf(state));
    return pixmap;
}

QIcon VornMonitorIcon::icon(VornMonitorStatus::State state)
{
    QIcon icon;
    for (const int extent : {16, 22, 32, 48, 64})
        icon.addPixmap(pixmap(state, extent));
    return icon;
}

QPixmap VornMonitorIcon::requestPixmap(const QString& id, QSize* size, const QSize& requestedSize)
{
    const int extent = std::max(requestedSize.width(), requestedSize.height());
    const auto state = static_cast<VornMonitorStatus::State>(id.section(QLatin1Char('/'), -1).toInt());
    const QPixmap result = pixmap(state, extent > 0 ? extent : kDefaultExtent);
    if (size != nullptr)
        *size = result.size();
    return result;
}
