// Makes the mistake that it is asked for, so that the sanitizer run can prove that it would be seen.

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QMutex>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStringList>
#include <QThread>
#include <QVariant>

#include <atomic>
#include <cstdio>
#include <limits>
#include <memory>

namespace {

constexpr int kRounds = 100000;
constexpr int kMessages = 1000;
constexpr int kUsageError = 2;

// Volatile and read from outside: the compiler may neither fold the accesses into one nor drop them.
volatile int sharedCounter = 0;

int race()
{
    // Both threads are running before either counts: the end of one and the start of the other would
    // otherwise order the two. The order of the barrier is relaxed, so it orders nothing itself.
    std::atomic_int running{0};
    const auto count = [&running] {
        running.fetch_add(1, std::memory_order_relaxed);
        while (running.load(std::memory_order_relaxed) < 2)
            QThread::yieldCurrentThread();
        for (int round = 0; round < kRounds; ++round)
            sharedCounter = sharedCounter + 1;
    };
    const std::unique_ptr<QThread> first(QThread::create(count));
    const std::unique_ptr<QThread> second(QThread::create(count));
    first->start();
    second->start();
    first->wait();
    second->wait();
    std::printf("counted %d\n", sharedCounter);
    return 0;
}

// Queued strings and data under a QMutex between two threads: what the library does all day.
bool talk()
{
    QMutex mutex;
    QStringList guarded; // under the mutex; taken by both threads
    int received = 0;
    QEventLoop loop;
    const auto receive = [&](const QString& text) {
        const QMutexLocker lock(&mutex);
        received += guarded.contains(text) ? 1 : 0;
        if (received == kMessages)
            loop.quit();
    };
    const std::unique_ptr<QThread> sender(QThread::create([&] {
        for (int message = 0; message < kMessages; ++message) {
            const QString text = QStringLiteral("message %1").arg(message);
            const QMutexLocker lock(&mutex);
            guarded.append(text);
            QMetaObject::invokeMethod(
                &loop, [&receive, text] { receive(text); }, Qt::QueuedConnection);
        }
    }));
    sender->start();
    loop.exec();
    sender->wait();
    return received == kMessages;
}

bool useSqlite()
{
    bool isDone = false;
    {
        QSqlDatabase database =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("control"));
        database.setDatabaseName(QStringLiteral(":memory:"));
        QSqlQuery query(database);
        isDone = database.open() && query.exec(QStringLiteral("SELECT 1")) && query.next();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("control"));
    return isDone;
}

// Every Qt file mapped into this process, the SQLite driver among them, comes from `prefix`.
bool allQtComesFrom(const QString& prefix)
{
    QFile maps(QStringLiteral("/proc/self/maps"));
    if (!maps.open(QIODevice::ReadOnly))
        return false;
    bool isDriverSeen = false;
    const QStringList lines = QString::fromLocal8Bit(maps.readAll()).split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        const bool isDriver = line.contains(QLatin1String("libqsqlite"));
        isDriverSeen = isDriverSeen || isDriver;
        if ((isDriver || line.contains(QLatin1String("libQt"))) && !line.contains(prefix)) {
            std::printf("not instrumented: %s\n", qPrintable(line));
            return false;
        }
    }
    return isDriverSeen;
}

int clean(const QString& qtPrefix)
{
    return talk() && useSqlite() && allQtComesFrom(qtPrefix) ? 0 : 1;
}

int useAfterFree()
{
    // Through a volatile pointer, or the compiler sees the mistake itself.
    int* volatile number = new int(sharedCounter);
    delete number;
    return *number;
}

int leak()
{
    volatile auto* lost = new char[kMessages];
    lost[0] = 1;
    lost = nullptr;
    return lost == nullptr ? 0 : 1;
}

int overflow()
{
    sharedCounter = std::numeric_limits<int>::max();
    sharedCounter = sharedCounter + 1;
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QString mistake = arguments.value(1);
    if (mistake == QLatin1String("race"))
        return race();
    if (mistake == QLatin1String("clean"))
        return clean(arguments.value(2));
    if (mistake == QLatin1String("use_after_free"))
        return useAfterFree();
    if (mistake == QLatin1String("leak"))
        return leak();
    if (mistake == QLatin1String("overflow"))
        return overflow();
    std::fprintf(stderr, "usage: sanitizer_control race|clean QT_PREFIX|use_after_free|leak|overflow\n");
    return kUsageError;
}
