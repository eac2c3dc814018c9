#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

namespace VornSyncFuzz {

// A SQLite connection beside the library's, open while it lives. Statements that fail give nothing.
class OutsideConnection
{
    Q_DISABLE_COPY_MOVE(OutsideConnection)

public:
    explicit OutsideConnection(const QString& databasePath);
    ~OutsideConnection();

    bool exec(const QString& sql);
    // Every value as text.
    QVector<QStringList> rows(const QString& sql, bool* succeeded = nullptr);
    QString value(const QString& sql);

private:
    QString m_name;
};

} // namespace VornSyncFuzz
