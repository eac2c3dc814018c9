#include "vorn_monitor_error_group.h"

#include "vorn_cli_text.h"

#include <QCoreApplication>

#include <algorithm>

namespace {

// A view takes a reset of 10000 rows better than that many changes of it.
constexpr int kMaxChanges = 200;

QVector<VornCliAnswer> answersOf(VornMonitorErrorGroup::Kind kind)
{
    switch (kind) {
    case VornMonitorErrorGroup::Kind::Restore:
        return {VornCliAnswer::Restore, VornCliAnswer::Trash};
    case VornMonitorErrorGroup::Kind::Acknowledge:
        return {VornCliAnswer::Acknowledge};
    case VornMonitorErrorGroup::Kind::Compare:
    case VornMonitorErrorGroup::Kind::Retry:
        break;
    }
    return {VornCliAnswer::Retry};
}

struct AnswerTexts
{
    const char* key;
    const char* labelId;
    const char* labelForAllId;
    const char* questionId;
};

AnswerTexts textsOf(VornCliAnswer answer, VornMonitorErrorGroup::Kind kind)
{
    switch (answer) {
    case VornCliAnswer::Acknowledge:
        return {"acknowledge", "vorn_sync_monitor_acknowledge", "vorn_sync_monitor_acknowledge_all",
                "vorn_sync_monitor_ask_acknowledge"};
    case VornCliAnswer::Restore:
        return {"restore", "vorn_sync_monitor_restore", "vorn_sync_monitor_restore_all",
                "vorn_sync_monitor_ask_restore"};
    case VornCliAnswer::Trash:
        return {"trash", "vorn_sync_monitor_trash", "vorn_sync_monitor_trash_all",
                "vorn_sync_monitor_ask_trash"};
    case VornCliAnswer::ByHand:
    case VornCliAnswer::Retry:
        break;
    }
    if (kind == VornMonitorErrorGroup::Kind::Compare) {
        return {"retry", "vorn_sync_monitor_send_over", "vorn_sync_monitor_send_over_all",
                "vorn_sync_monitor_ask_send_over"};
    }
    return {"retry", "vorn_sync_monitor_retry", "vorn_sync_monitor_retry_all", "vorn_sync_monitor_ask_retry"};
}

// What may be done by hand.
QString hintFor(const VornCliFileError& file)
{
    QStringList sentences;
    const QVector<VornCliAdvice> advices = VornCliErrorGuide::advice(file);
    for (const VornCliAdvice& advice : advices) {
        if (advice.answer == VornCliAnswer::ByHand)
            sentences.append(advice.sentence);
    }
    return sentences.join(QLatin1Char(' '));
}

bool isSameFile(const VornCliFileError& left, const VornCliFileError& right)
{
    return left.alias == right.alias && left.name == right.name;
}

// By code point, as the database sorts: what UTF-16 spells with surrogates comes last.
bool isBefore(const QString& left, const QString& right)
{
    const auto rank = [](QChar unit) {
        constexpr int kBehindAll = 0x10000;
        return unit.isSurrogate() ? kBehindAll + unit.unicode() : int(unit.unicode());
    };
    return std::lexicographical_compare(left.cbegin(), left.cend(), right.cbegin(), right.cend(),
                                        [&rank](QChar one, QChar other) { return rank(one) < rank(other); });
}

// Rows that went and came at a place of the new list.
struct Change
{
    int row = 0;
    int removed = 0;
    int inserted = 0;
};

// The places at which `after` differs from `before`; both are in the same order.
QVector<Change> changesBetween(const QVector<VornCliFileError>& before,
                               const QVector<VornCliFileError>& after)
{
    QVector<Change> changes;
    int from = 0;
    int to = 0;
    const auto note = [&changes](int row, int removed, int inserted) {
        if (!changes.isEmpty()) {
            Change& last = changes.last();
            if (last.row + last.inserted == row) {
                last.removed += removed;
                last.inserted += inserted;
                return;
            }
        }
        changes.append({row, removed, inserted});
    };
    while (from < before.size() || to < after.size()) {
        if (from < before.size() && to < after.size() && isSameFile(before.at(from), after.at(to))) {
            ++from;
            ++to;
        } else if (to == after.size() || (from < before.size() && VornMonitorErrorGroup::isListedBefore(
                                                                      before.at(from), after.at(to)))) {
            note(to, 1, 0);
            ++from;
        } else {
            note(to, 0, 1);
            ++to;
        }
    }
    return changes;
}

} // namespace

VornMonitorErrorGroup::VornMonitorErrorGroup(Kind kind, QObject* parent)
    : QAbstractListModel(parent)
    , m_kind(kind)
{
}

QVector<VornMonitorErrorGroup::Kind> VornMonitorErrorGroup::kinds()
{
    return {Kind::Restore, Kind::Compare, Kind::Acknowledge, Kind::Retry};
}

VornMonitorErrorGroup::Kind VornMonitorErrorGroup::kindOf(const VornCliFileError& error)
{
    const QVector<VornCliAdvice> advices = VornCliErrorGuide::advice(error);
    for (const VornCliAdvice& advice : advices) {
        switch (advice.answer) {
        case VornCliAnswer::ByHand:
            break;
        case VornCliAnswer::Acknowledge:
            return Kind::Acknowledge;
        case VornCliAnswer::Restore:
        case VornCliAnswer::Trash:
            return Kind::Restore;
        case VornCliAnswer::Retry:
            return advice.mayReplaceNewer ? Kind::Compare : Kind::Retry;
        }
    }
    return Kind::Retry;
}

bool VornMonitorErrorGroup::isListedBefore(const VornCliFileError& left, const VornCliFileError& right)
{
    return left.alias == right.alias ? isBefore(left.name, right.name) : isBefore(left.alias, right.alias);
}

bool VornMonitorErrorGroup::isSameError(const VornCliFileError& left, const VornCliFileError& right)
{
    return isSameFile(left, right) && left.code == right.code && left.status == right.status;
}

QString VornMonitorErrorGroup::key() const
{
    switch (m_kind) {
    case Kind::Restore:
        return QStringLiteral("restore");
    case Kind::Compare:
        return QStringLiteral("compare");
    case Kind::Acknowledge:
        return QStringLiteral("acknowledge");
    case Kind::Retry:
        return QStringLiteral("retry");
    }
    return QString();
}

QString VornMonitorErrorGroup::title() const
{
    switch (m_kind) {
    case Kind::Restore:
        return qtTrId("vorn_sync_monitor_group_restore");
    case Kind::Compare:
        return qtTrId("vorn_sync_monitor_group_compare");
    case Kind::Acknowledge:
        return qtTrId("vorn_sync_monitor_group_acknowledge");
    case Kind::Retry:
        return qtTrId("vorn_sync_monitor_group_retry");
    }
    return QString();
}

QString VornMonitorErrorGroup::explanation() const
{
    switch (m_kind) {
    case Kind::Restore:
        return qtTrId("vorn_sync_monitor_explain_restore");
    case Kind::Compare:
        return qtTrId("vorn_sync_monitor_explain_compare");
    case Kind::Acknowledge:
        return qtTrId("vorn_sync_monitor_explain_acknowledge");
    case Kind::Retry:
        return qtTrId("vorn_sync_monitor_explain_retry");
    }
    return QString();
}

QVariantList VornMonitorErrorGroup::answers() const
{
    QVariantList list;
    const QVector<VornCliAnswer> answers = answersOf(m_kind);
    for (const VornCliAnswer answer : answers) {
        const AnswerTexts texts = textsOf(answer, m_kind);
        list.append(QVariantMap{{QStringLiteral("answer"), static_cast<int>(answer)},
                                {QStringLiteral("key"), QLatin1String(texts.key)},
                                {QStringLiteral("label"), qtTrId(texts.labelId)},
                                {QStringLiteral("labelForAll"), qtTrId(texts.labelForAllId)}});
    }
    return list;
}

QString VornMonitorErrorGroup::question(int answer, int count) const
{
    return qtTrId(textsOf(static_cast<VornCliAnswer>(answer), m_kind).questionId, count);
}

// ---- Rows -----------------------------------------------------------------------------------------------

void VornMonitorErrorGroup::setFiles(const QVector<VornCliFileError>& files)
{
    const int before = count();
    if (!applyChanges(files)) {
        beginResetModel();
        m_files = files;
        endResetModel();
    }
    if (count() != before)
        emit countChanged();
}

// False: they are too many, and nothing was done.
bool VornMonitorErrorGroup::applyChanges(const QVector<VornCliFileError>& files)
{
    const QVector<Change> changes = changesBetween(m_files, files);
    if (changes.size() > kMaxChanges)
        return false;
    for (const Change& change : changes) {
        if (change.removed > 0) {
            beginRemoveRows(QModelIndex(), change.row, change.row + change.removed - 1);
            m_files.remove(change.row, change.removed);
            endRemoveRows();
        }
        if (change.inserted > 0) {
            beginInsertRows(QModelIndex(), change.row, change.row + change.inserted - 1);
            m_files.insert(change.row, change.inserted, VornCliFileError());
            std::copy_n(files.cbegin() + change.row, change.inserted, m_files.begin() + change.row);
            endInsertRows();
        }
    }
    for (int row = 0; row < count(); ++row) {
        if (isSameError(m_files.at(row), files.at(row)))
            continue;
        m_files[row] = files.at(row);
        emit dataChanged(index(row), index(row));
    }
    return true;
}

int VornMonitorErrorGroup::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant VornMonitorErrorGroup::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return QVariant();
    const VornCliFileError& file = m_files.at(index.row());
    switch (role) {
    case AliasRole:
        return file.alias;
    case FileNameRole:
        return file.name;
    case ErrorCodeRole:
        return file.code;
    case StatusRole:
        return file.status;
    case ShownAliasRole:
        return VornCliText::printable(file.alias);
    case ShownNameRole:
        return VornCliText::printable(file.name);
    case SentenceRole:
        return VornCliErrorGuide::sentence(file.code);
    case HintRole:
        return hintFor(file);
    }
    return QVariant();
}

QHash<int, QByteArray> VornMonitorErrorGroup::roleNames() const
{
    return {{AliasRole, "alias"},           {FileNameRole, "fileName"},
            {ErrorCodeRole, "errorCode"},   {StatusRole, "status"},
            {ShownAliasRole, "shownAlias"}, {ShownNameRole, "shownName"},
            {SentenceRole, "sentence"},     {HintRole, "hint"}};
}
