#pragma once

#include "vorn_cli_types.h"

#include <QAbstractListModel>

// The pairs and how they stand. Lives on the window's thread.
class VornMonitorPairs : public QAbstractListModel
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornMonitorPairs)
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        AliasRole = Qt::UserRole + 1,
        ShownAliasRole,
        LocalRole,
        DistantRole,
        IsSuspendedRole,
        IsAwayRole,
        StateTextRole
    };

    explicit VornMonitorPairs(QObject* parent = nullptr);

    void setPairs(const QVector<VornCliPairStatus>& pairs);
    int count() const { return static_cast<int>(m_pairs.size()); }
    bool isAnyAway() const; // a directory is missing

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

signals:
    void countChanged();

private:
    QVector<VornCliPairStatus> m_pairs;
};
