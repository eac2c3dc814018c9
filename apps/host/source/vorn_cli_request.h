#pragma once

#include <QJsonObject>
#include <QPointer>
#include <QString>
#include <QStringList>

class VornCliCommandConnection;

// One command's request, and the way back to who sent it. A value; whoever sent it may be gone when the answer
// is there. Lives on the host's thread.
class VornCliRequest
{
public:
    VornCliRequest(VornCliCommandConnection* connection, const QJsonObject& request);

    QString command() const;
    QString alias() const;
    QString name() const;
    QString newName() const;
    QString path() const;
    bool has(QLatin1String key) const { return m_arguments.contains(key); }
    bool flag(QLatin1String key) const { return m_arguments.value(key).toBool(); }
    int number(QLatin1String key, int otherwise) const { return m_arguments.value(key).toInt(otherwise); }

    // "done" and "refused" name sentences of the catalogue: vorn_sync_done_..., vorn_sync_refused_...
    void done(const QString& what, const QStringList& details = QStringList()) const;
    void doneMany(const QString& what, int count) const;
    void give(QJsonObject answer) const; // data; "ok" is added
    void refuse(const QString& why, const QStringList& details = QStringList(),
                const QStringList& texts = QStringList()) const;

private:
    void answer(const QJsonObject& object) const;

    QPointer<VornCliCommandConnection> m_connection;
    QString m_command;
    QJsonObject m_arguments;
};
