#include "vorn_sqlite_silence.h"

#include "vorn_sqlite_connection.h"
#include "vorn_sqlite_database.h"

namespace {

// Another thread's write is over by then; a lock from outside may last.
constexpr int kNoteBusyTimeoutMs = 100;

} // namespace

VornSqliteSilence::VornSqliteSilence(VornSqliteDatabase& database)
    : m_database(database)
    , m_connection(database.enter())
    , m_errorsBefore(m_connection.errorCount())
{
    Q_ASSERT(!m_connection.isInTransaction());
    m_connection.setBusyTimeoutMs(kNoteBusyTimeoutMs);
}

VornSqliteSilence::~VornSqliteSilence()
{
    m_connection.setBusyTimeoutMs(VornSqliteConnection::kBusyTimeoutMs);
    m_connection.dropErrorsAfter(m_errorsBefore);
    m_database.leave(m_connection);
}
