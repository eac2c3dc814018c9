#include "vorn_monitor_log.h"

namespace {

constexpr int kMaxLines = 1000; // more than anyone scrolls back; a mirror runs for months

} // namespace

VornMonitorLog::VornMonitorLog(QObject* parent)
    : QAbstractListModel(parent)
{
}

void VornMonitorLog::add(const QString& text, bool isProblem)
{
    if (m_lines.size() == kMaxLines) {
        beginRemoveRows(QModelIndex(), 0, 0);
        m_lines.removeFirst();
        endRemoveRows();
    }
    beginInsertRows(QModelIndex(), int(m_lines.size()), int(m_lines.size()));
    m_lines.append({QTime::currentTime(), text, isProblem});
    endInsertRows();
}

QStringList VornMonitorLog::problems() const
{
    QStringList texts;
    for (const Line& line : m_lines) {
        if (line.isProblem)
            texts.append(line.text);
    }
    return texts;
}

int VornMonitorLog::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_lines.size());
}

QVariant VornMonitorLog::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return QVariant();
    const Line& line = m_lines.at(index.row());
    switch (role) {
    case TextRole:
        return line.text;
    case TimeRole:
        return line.time.toString(QStringLiteral("HH:mm:ss"));
    case IsProblemRole:
        return line.isProblem;
    }
    return QVariant();
}

QHash<int, QByteArray> VornMonitorLog::roleNames() const
{
    return {{TextRole, "text"}, {TimeRole, "time"}, {IsProblemRole, "isProblem"}};
}
