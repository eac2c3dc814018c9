#pragma once

#include <QList>
#include <QString>
#include <QVariantList>
#include <QVariantMap>

namespace VornSyncTest {

// A look at a database file from outside, with a connection of its own that is opened for each call and
// closed at its end. May be used from any thread. A call that fails says why in lastError().
class RawDatabase
{
public:
    explicit RawDatabase(const QString& filePath);

    QList<QVariantMap> rows(const QString& sql, const QVariantList& values = QVariantList());
    // The only column of the first row.
    QVariant value(const QString& sql, const QVariantList& values = QVariantList());
    // These create a missing file.
    bool exec(const QString& sql, const QVariantList& values = QVariantList());
    bool execAll(const QStringList& statements);

    // The one row of a file or a directory; empty when there is none.
    QVariantMap fileRow(int directoryId, const QString& fileName);
    QVariantMap directoryRow(int directoryId);

    // What PRAGMA integrity_check and PRAGMA foreign_key_check complain of; empty when all is well.
    QString integrityProblems();

    QString lastError() const { return m_lastError; }

private:
    bool run(const QStringList& statements, const QVariantList& values, bool mayCreate,
             QList<QVariantMap>* result);

    QString m_filePath;
    QString m_lastError;
};

} // namespace VornSyncTest
