#include "vorn_monitor_pairs.h"

#include "vorn_cli_text.h"

#include <QCoreApplication>

#include <algorithm>

namespace {

bool isAway(const VornCliPairStatus& status)
{
    return !status.localThere || !status.distantThere;
}

QString stateText(const VornCliPairStatus& status)
{
    if (!status.localThere)
        return qtTrId("vorn_sync_monitor_pair_local_missing");
    if (!status.distantThere)
        return qtTrId("vorn_sync_monitor_pair_distant_missing");
    return status.suspended ? qtTrId("vorn_sync_monitor_pair_paused")
                            : qtTrId("vorn_sync_monitor_pair_mirrored");
}

bool isSamePair(const VornCliPairStatus& left, const VornCliPairStatus& right)
{
    return left.pair.alias == right.pair.alias && left.pair.local == right.pair.local &&
           left.pair.distant == right.pair.distant;
}

} // namespace

VornMonitorPairs::VornMonitorPairs(QObject* parent)
    : QAbstractListModel(parent)
{
}

void VornMonitorPairs::setPairs(const QVector<VornCliPairStatus>& pairs)
{
    if (!std::equal(pairs.cbegin(), pairs.cend(), m_pairs.cbegin(), m_pairs.cend(), isSamePair)) {
        beginResetModel();
        m_pairs = pairs;
        endResetModel();
        emit countChanged();
        return;
    }
    for (int row = 0; row < count(); ++row) {
        const VornCliPairStatus& now = pairs.at(row);
        const VornCliPairStatus& before = m_pairs.at(row);
        if (now.localThere == before.localThere && now.distantThere == before.distantThere &&
            now.suspended == before.suspended)
            continue;
        m_pairs[row] = now;
        emit dataChanged(index(row), index(row));
    }
}

bool VornMonitorPairs::isAnyAway() const
{
    return std::any_of(m_pairs.cbegin(), m_pairs.cend(), isAway);
}

int VornMonitorPairs::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant VornMonitorPairs::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return QVariant();
    const VornCliPairStatus& status = m_pairs.at(index.row());
    switch (role) {
    case AliasRole:
        return status.pair.alias;
    case ShownAliasRole:
        return VornCliText::printable(status.pair.alias);
    case LocalRole:
        return VornCliText::printable(status.pair.local);
    case DistantRole:
        return VornCliText::printable(status.pair.distant);
    case IsSuspendedRole:
        return status.suspended;
    case IsAwayRole:
        return isAway(status);
    case StateTextRole:
        return stateText(status);
    }
    return QVariant();
}

QHash<int, QByteArray> VornMonitorPairs::roleNames() const
{
    return {{AliasRole, "alias"},        {ShownAliasRole, "shownAlias"},   {LocalRole, "local"},
            {DistantRole, "distant"},    {IsSuspendedRole, "isSuspended"}, {IsAwayRole, "isAway"},
            {StateTextRole, "stateText"}};
}
