#include "vorn_utilities.h"

#include <QDateTime>
#include <QFileInfo>

QString getDate()
{
    return QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz"));
}

QString addLastPathSepIfNeeded(const QString& path)
{
    if (path.endsWith(QLatin1Char('/')))
        return path;
    return path + QLatin1Char('/');
}

QString getAssociatedDirectoryName(const QString& filePath)
{
    const QFileInfo file(filePath);
    const QString baseName = file.completeBaseName();

    // Without a suffix the base name is the file itself; ".bashrc" has an empty one and "...x" one of ".."
    // and either would name the directory the file lies in, or its parent.
    if (!file.fileName().contains(QLatin1Char('.')))
        return QString();
    if (baseName.isEmpty() || baseName == QLatin1String(".") || baseName == QLatin1String(".."))
        return QString();
    return file.path() + QLatin1Char('/') + baseName;
}

QString getAssociatedDirectoryPath(const QString& filePath)
{
    const QString path = getAssociatedDirectoryName(filePath);
    return !path.isEmpty() && QFileInfo(path).isDir() ? path : QString();
}
