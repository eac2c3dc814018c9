#include "test_cli_commands_support.h"

#include "wait.h"

#include <QDateTime>
#include <QDirIterator>
#include <QFileInfo>
#include <QJsonDocument>

namespace VornSyncTest {

bool CliHost::start(const QStringList& options)
{
    return process.start(QStringList{QStringLiteral("mirror"), QStringLiteral("--state"), state,
                                     QStringLiteral("--interval"), QStringLiteral("3600000"),
                                     QStringLiteral("--alias"), QStringLiteral("docs"), local.path(),
                                     distant.path()} +
                             options,
                         world.environment()) &&
           process.waitForOut("docs");
}

bool CliHost::isMirrored(const QString& name) const
{
    return local.exists(name) && distant.exists(name) && local.read(name) == distant.read(name);
}

bool CliHost::startWith(const QStringList& names)
{
    constexpr int kUpToDate = 17;
    for (const QString& name : names) {
        if (!local.write(name, name.toUtf8() + " content"))
            return false;
    }
    if (!start())
        return false;
    return waitFor([&] {
        for (const QString& name : names) {
            if (!isMirrored(name) || statusOf(name) != kUpToDate)
                return false;
        }
        return true;
    });
}

CliResult CliHost::run(const QStringList& words) const
{
    QStringList arguments = words;
    arguments.insert(1, QStringLiteral("--state"));
    arguments.insert(2, state);
    return world.run(arguments);
}

QJsonObject CliHost::json(const QStringList& words) const
{
    QStringList arguments = words;
    arguments.insert(1, QStringLiteral("--json"));
    const CliResult result = run(arguments);
    const JsonLines lines(result.out);
    return lines.valid && lines.objects.size() == 1 && result.err.isEmpty() ? lines.objects.constFirst()
                                                                            : QJsonObject();
}

QJsonObject CliHost::errorJson(const QString& name) const
{
    const QJsonArray errors = json({QStringLiteral("errors")}).value(QLatin1String("errors")).toArray();
    for (const QJsonValue& error : errors) {
        if (error.toObject().value(QLatin1String("file")).toString() == name)
            return error.toObject();
    }
    return QJsonObject();
}

bool CliHost::syncUntilError(const QString& name, int code) const
{
    return waitFor([&] {
        return run({QStringLiteral("sync")}).exitCode == 0 &&
               errorJson(name).value(QLatin1String("code")).toInt() == code;
    });
}

int CliHost::statusOf(const QString& name) const
{
    const QVariant status =
        database().value(QStringLiteral("SELECT status FROM file_tracking WHERE file_name = ?"), {name});
    return status.isValid() ? status.toInt() : -1;
}

QStringList snapshot(const QString& directory)
{
    QStringList entries;
    QDirIterator it(directory, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        const QFileInfo info = it.fileInfo();
        entries.append(QStringLiteral("%1 %2 %3")
                           .arg(info.filePath(), QString::number(info.isDir() ? 0 : info.size()),
                                QString::number(info.lastModified().toMSecsSinceEpoch())));
    }
    const QFileInfo top(directory);
    entries.append(QString::number(top.lastModified().toMSecsSinceEpoch()));
    entries.sort();
    return entries;
}

} // namespace VornSyncTest
