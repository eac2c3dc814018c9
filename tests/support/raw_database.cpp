#include "raw_database.h"

#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QUuid>

namespace VornSyncTest {

namespace {

QVariantMap toMap(const QSqlRecord& record)
{
    QVariantMap map;
    for (int column = 0; column < record.count(); ++column)
        map.insert(record.fieldName(column), record.value(column));
    return map;
}

QString execOne(const QSqlDatabase& database, const QString& sql, const QVariantList& values,
                QList<QVariantMap>* result)
{
    QSqlQuery query(database);
    if (!query.prepare(sql))
        return query.lastError().text();
    for (const QVariant& value : values)
        query.addBindValue(value);
    if (!query.exec())
        return query.lastError().text();
    while (result && query.next())
        result->append(toMap(query.record()));
    return QString();
}

} // namespace

RawDatabase::RawDatabase(const QString& filePath)
    : m_filePath(filePath)
{
}

QList<QVariantMap> RawDatabase::rows(const QString& sql, const QVariantList& values)
{
    QList<QVariantMap> result;
    run({sql}, values, false, &result);
    return result;
}

QVariant RawDatabase::value(const QString& sql, const QVariantList& values)
{
    QList<QVariantMap> result;
    run({sql}, values, false, &result);
    return result.isEmpty() || result.first().isEmpty() ? QVariant() : result.first().first();
}

bool RawDatabase::exec(const QString& sql, const QVariantList& values)
{
    return run({sql}, values, true, nullptr);
}

bool RawDatabase::execAll(const QStringList& statements)
{
    return run(statements, QVariantList(), true, nullptr);
}

QVariantMap RawDatabase::fileRow(int directoryId, const QString& fileName)
{
    return rows(QStringLiteral("SELECT * FROM file_tracking WHERE directories_id = ? AND file_name = ?"),
                {directoryId, fileName})
        .value(0);
}

QVariantMap RawDatabase::directoryRow(int directoryId)
{
    return rows(QStringLiteral("SELECT * FROM directories WHERE id = ?"), {directoryId}).value(0);
}

QString RawDatabase::integrityProblems()
{
    QStringList problems;
    const QList<QVariantMap> answers = rows(QStringLiteral("PRAGMA integrity_check"));
    for (const QVariantMap& row : answers) {
        const QString answer = row.first().toString();
        if (answer != QLatin1String("ok"))
            problems << answer;
    }
    if (!m_lastError.isEmpty())
        return m_lastError;
    const QList<QVariantMap> orphans = rows(QStringLiteral("PRAGMA foreign_key_check"));
    for (const QVariantMap& row : orphans)
        problems << QStringLiteral("row %1 of %2 has no parent in %3")
                        .arg(row.value(QStringLiteral("rowid")).toString(),
                             row.value(QStringLiteral("table")).toString(),
                             row.value(QStringLiteral("parent")).toString());
    if (!m_lastError.isEmpty())
        return m_lastError;
    return problems.join(QLatin1String("; "));
}

bool RawDatabase::run(const QStringList& statements, const QVariantList& values, bool mayCreate,
                      QList<QVariantMap>* result)
{
    m_lastError.clear();
    if (!mayCreate && !QFileInfo::exists(m_filePath)) {
        m_lastError = QStringLiteral("no such file: ") + m_filePath;
        return false;
    }
    const QString name = QUuid::createUuid().toString();
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        database.setDatabaseName(m_filePath);
        if (!database.open())
            m_lastError = database.lastError().text();
        for (const QString& sql : statements) {
            if (m_lastError.isEmpty())
                m_lastError = execOne(database, sql, values, result);
        }
        database.close();
    }
    QSqlDatabase::removeDatabase(name);
    return m_lastError.isEmpty();
}

} // namespace VornSyncTest
