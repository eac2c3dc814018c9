#include "vorn_sync_pass_report.h"

#include "vorn_sync_pass.h"
#include "vorn_sync_progress_notes.h"

#include <algorithm>

void VornSyncPassReport::write(VornSyncDatabase& database, const VornSyncPass& pass, int syncIntervalMs) const
{
    VornSyncPassNote note;
    note.directoryId = pass.directoryId();
    note.syncIntervalMs = syncIntervalMs;
    note.isLocalListed = pass.isLocalListed();
    note.isDistantListed = pass.isDistantAccessible();
    note.isWhole = m_isWhole;
    note.unexaminedFiles = int(m_unexamined.size());
    // The same one each time: a set has no order to rely on.
    const auto first = std::min_element(m_unexamined.cbegin(), m_unexamined.cend());
    if (first != m_unexamined.cend())
        note.unexaminedName = *first;
    note.deferredNames = m_deferred;
    VornSyncProgressNotes(database).notePass(note);
}
