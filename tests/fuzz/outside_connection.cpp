#include "outside_connection.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QVariant>

namespace VornSyncFuzz {

OutsideConnection::OutsideConnection(const QString& databasePath)
    : m_name(QStringLiteral("outside %1").arg(databasePath))
{
    QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
    database.setDatabaseName(databasePath);
    database.open();
}

OutsideConnection::~OutsideConnection()
{
    QSqlDatabase::removeDatabase(m_name);
}

bool OutsideConnection::exec(const QString& sql)
{
    return QSqlQuery(QSqlDatabase::database(m_name)).exec(sql);
}

QVector<QStringList> OutsideConnection::rows(const QString& sql, bool* succeeded)
{
    QVector<QStringList> result;
    QSqlQuery query(QSqlDatabase::database(m_name));
    query.setForwardOnly(true);
    bool done = query.exec(sql);
    while (done && query.next()) {
        QStringList row;
        for (int column = 0; column < query.record().count(); ++column)
            row << query.value(column).toString();
        result << row;
    }
    done = done && query.lastError().type() == QSqlError::NoError;
    if (succeeded)
        *succeeded = done;
    return result;
}

QString OutsideConnection::value(const QString& sql)
{
    return rows(sql).value(0).value(0);
}

} // namespace VornSyncFuzz
