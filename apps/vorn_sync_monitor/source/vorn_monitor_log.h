#pragma once

#include <QAbstractListModel>
#include <QTime>
#include <QVector>

// The last lines that were said, oldest first. Lives on the window's thread.
class VornMonitorLog : public QAbstractListModel
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornMonitorLog)

public:
    enum Role { TextRole = Qt::UserRole + 1, TimeRole, IsProblemRole };

    explicit VornMonitorLog(QObject* parent = nullptr);

    void add(const QString& text, bool isProblem); // `text` is shown as it is: it must be printable
    QStringList problems() const;

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    struct Line
    {
        QTime time;
        QString text;
        bool isProblem = false;
    };

    QVector<Line> m_lines;
};
