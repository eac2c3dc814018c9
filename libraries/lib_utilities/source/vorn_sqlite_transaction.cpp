#include "vorn_sqlite_transaction.h"

#include "vorn_sqlite_connection.h"
#include "vorn_sqlite_database.h"

VornSqliteTransaction::VornSqliteTransaction(VornSqliteDatabase& database, ForeignKeys foreignKeys)
    : m_database(database)
    , m_connection(database.enter())
{
    // The switch is without effect inside a transaction.
    m_areForeignKeysOff = foreignKeys == ForeignKeys::Unchecked && !m_connection.isInTransaction() &&
                          m_connection.open() && m_connection.setForeignKeys(false);
    m_connection.begin();
}

VornSqliteTransaction::~VornSqliteTransaction()
{
    if (!m_isEnded)
        end(false);
}

bool VornSqliteTransaction::isActive() const
{
    return !m_isEnded && !m_connection.isTransactionBroken();
}

bool VornSqliteTransaction::commit()
{
    return !m_isEnded && end(true);
}

bool VornSqliteTransaction::end(bool commit)
{
    m_isEnded = true;
    const bool isWritten = m_connection.end(commit);
    if (m_areForeignKeysOff)
        m_connection.setForeignKeys(true);
    m_database.leave(m_connection);
    return isWritten;
}
