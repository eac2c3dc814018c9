#include "thread_watch.h"

#include <QDir>
#include <QFile>

namespace VornSyncTest {

namespace {

const QString kTasks = QStringLiteral("/proc/self/task");

QByteArray contentOf(const QString& task, const char* file)
{
    QFile source(kTasks + QLatin1Char('/') + task + QLatin1Char('/') + QLatin1String(file));
    return source.open(QIODevice::ReadOnly) ? source.readAll().trimmed() : QByteArray();
}

QStringList tasksOfLibrary()
{
    QStringList result;
    for (const QString& task : QDir(kTasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QByteArray name = contentOf(task, "comm");
        if (name == "SyncWorkerThrea" || name == "SyncSynchronize" || name == "SyncObserverThr")
            result << task;
    }
    return result;
}

QStringList namesOf(const QStringList& tasks)
{
    QStringList result;
    for (const QString& task : tasks)
        result << QString::fromUtf8(contentOf(task, "comm"));
    return result;
}

} // namespace

QStringList libraryThreads()
{
    return namesOf(tasksOfLibrary());
}

QStringList threadsThatWait(ThreadWait kind)
{
    const char* kernelFunction =
        kind == ThreadWait::ForAnswer ? "request_wait_answer" : "folio_wait_bit_common";
    QStringList waiting;
    for (const QString& task : tasksOfLibrary()) {
        if (contentOf(task, "wchan") == kernelFunction)
            waiting << task;
    }
    return namesOf(waiting);
}

} // namespace VornSyncTest
