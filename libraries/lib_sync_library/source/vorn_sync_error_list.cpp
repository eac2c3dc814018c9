#include "vorn_sync_error_list.h"

#include <algorithm>
#include <utility>

namespace {

bool isSame(const VornSyncErrorFile& left, const VornSyncErrorFile& right)
{
    return left.status == right.status && left.errorCode == right.errorCode &&
           left.fileName == right.fileName && left.aliasName == right.aliasName;
}

QVariantMap entry(const VornSyncErrorFile& file)
{
    return {{QStringLiteral("aliasName"), file.aliasName},
            {QStringLiteral("fileName"), file.fileName},
            {QStringLiteral("errorCode"), file.errorCode},
            {QStringLiteral("status"), file.status}};
}

} // namespace

int VornSyncErrorList::count(VornSyncDatabase& database, const std::optional<qint64>& revision)
{
    if (revision && revision == m_countRevision)
        return m_count;
    bool isCounted = false;
    m_count = database.countFilesInError(&isCounted);
    m_countRevision = isCounted ? revision : std::nullopt;
    return m_count;
}

void VornSyncErrorList::update(VornSyncDatabase& database)
{
    if (m_count > 0 && m_countRevision && m_revision == m_countRevision)
        return;
    std::vector<VornSyncErrorFile> listed;
    const bool isRead = m_count < 1 || database.readErrorFiles([&listed](const VornSyncErrorFile& file) {
        listed.push_back(file);
    });
    m_revision = isRead ? m_countRevision : std::nullopt;
    if (!isRead)
        listed.clear();
    replace(std::move(listed));
}

// Mostly one entry has changed, gone or come: what stands before and after it is taken over.
void VornSyncErrorList::replace(std::vector<VornSyncErrorFile> listed)
{
    const auto head = std::mismatch(m_listed.begin(), m_listed.end(), listed.begin(), listed.end(), isSame);
    const auto tail = std::mismatch(m_listed.rbegin(), std::make_reverse_iterator(head.first),
                                    listed.rbegin(), std::make_reverse_iterator(head.second), isSame);
    QVariantList files = m_files.mid(0, int(head.first - m_listed.begin()));
    for (auto changed = head.second; changed != tail.second.base(); ++changed)
        files.append(entry(*changed));
    files += m_files.mid(int(tail.first.base() - m_listed.begin()));
    m_files = files;
    m_listed = std::move(listed);
}
