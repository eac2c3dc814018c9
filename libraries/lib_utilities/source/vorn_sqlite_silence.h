#pragma once

#include <QtGlobal>

class VornSqliteDatabase;
class VornSqliteConnection;

// While it lives, nobody is told of what the calling thread's statements meet, and they hardly wait for another
// writer: for notes that nothing depends on. Not inside a transaction.
class VornSqliteSilence
{
    Q_DISABLE_COPY_MOVE(VornSqliteSilence)

public:
    explicit VornSqliteSilence(VornSqliteDatabase& database);
    ~VornSqliteSilence();

private:
    VornSqliteDatabase& m_database;
    VornSqliteConnection& m_connection;
    const int m_errorsBefore;
};
