#include "thread_watch.h"

#include "wait.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>

namespace VornSyncTest {

namespace {

QString tasksPath(qint64 processId)
{
    return QStringLiteral("/proc/%1/task")
        .arg(processId == 0 ? QStringLiteral("self") : QString::number(processId));
}

QByteArray contentOf(const QString& taskPath, const char* file)
{
    QFile source(taskPath + QLatin1Char('/') + QLatin1String(file));
    return source.open(QIODevice::ReadOnly) ? source.readAll().trimmed() : QByteArray();
}

// Their directories.
QStringList tasksOfLibrary(qint64 processId)
{
    QStringList result;
    const QString tasks = tasksPath(processId);
    for (const QString& task : QDir(tasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QString path = tasks + QLatin1Char('/') + task;
        const QByteArray name = contentOf(path, "comm");
        if (name == "SyncWorkerThrea" || name == "SyncSynchronize" || name == "SyncObserverThr")
            result << path;
    }
    return result;
}

QStringList namesOf(const QStringList& taskPaths)
{
    QStringList result;
    for (const QString& path : taskPaths)
        result << QString::fromUtf8(contentOf(path, "comm"));
    return result;
}

} // namespace

QStringList libraryThreads(qint64 processId)
{
    return namesOf(tasksOfLibrary(processId));
}

QStringList threadsThatWait(ThreadWait kind, qint64 processId)
{
    const char* kernelFunction =
        kind == ThreadWait::ForAnswer ? "request_wait_answer" : "folio_wait_bit_common";
    QStringList waiting;
    for (const QString& path : tasksOfLibrary(processId)) {
        if (contentOf(path, "wchan") == kernelFunction)
            waiting << path;
    }
    return namesOf(waiting);
}

bool awaitHang(qint64 processId)
{
    constexpr qint64 kLongMs = 300; // an answer that comes at all has come by then
    QElapsedTimer waiting;
    return waitFor([&] {
        if (threadsThatWait(ThreadWait::ForAnswer, processId).isEmpty())
            waiting.invalidate();
        else if (!waiting.isValid())
            waiting.start();
        return waiting.isValid() && waiting.elapsed() >= kLongMs;
    });
}

} // namespace VornSyncTest
