#pragma once

#include <QtGlobal>

class VornSqliteDatabase;
class VornSqliteConnection;

// A transaction of the calling thread, begun as a writer (BEGIN IMMEDIATE) so that it waits for its turn
// instead of failing half-way, and rolled back when it ends without commit(). Nested ones join the outermost:
// nothing is written before that one commits, and one that is not committed undoes the whole.
//
// A statement that breaks a constraint fails alone. One that fails for a reason that may have ended the
// transaction (a full disk, an I/O error, a lock) lets every further statement fail and undoes the whole.
class VornSqliteTransaction
{
    Q_DISABLE_COPY_MOVE(VornSqliteTransaction)

public:
    enum class ForeignKeys { Checked, Unchecked };

    // Unchecked: foreign keys are off for the life of an outermost transaction.
    explicit VornSqliteTransaction(VornSqliteDatabase& database,
                                   ForeignKeys foreignKeys = ForeignKeys::Checked);
    ~VornSqliteTransaction();

    // False when it could not begin, or when nothing can succeed in it any more.
    bool isActive() const;

    // True when everything is written (of a nested one: when it still can be). Ends the transaction.
    bool commit();

private:
    bool end(bool commit);

    VornSqliteDatabase& m_database;
    VornSqliteConnection& m_connection;
    bool m_isEnded = false;
    bool m_areForeignKeysOff = false;
};
