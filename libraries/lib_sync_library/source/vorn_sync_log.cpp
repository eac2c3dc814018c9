#include "vorn_sync_log.h"

#include "vorn_utilities.h"

#include <QThread>

namespace VornSyncLog {

void trace(const char* tag, const char* method, const QString& message)
{
    // One multi-argument arg(): a file name in the message may hold "%1".
    qDebug().noquote()
        << QStringLiteral("[-- SYNC --]: %1%2 - %3").arg(QLatin1String(tag), QLatin1String(method), message);
}

QString named(const QString& fileName, int directoryId)
{
    return QStringLiteral("'%1' (dirId=%2)").arg(fileName, QString::number(directoryId));
}

QDebug critical(const void* object, const char* sourcePath, int line)
{
    QDebug stream = qCritical();
    stream << "\n"
           << getDate() << ";\t"
           << "Thread =" << QThread::currentThread() << ";\t"
           << "This =" << object << ";\t" << sourcePath << ";\t" << line << ";\t";
    return stream;
}

} // namespace VornSyncLog
