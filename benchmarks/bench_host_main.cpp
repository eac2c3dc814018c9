// What the comparison scripts lead through standard input (see bench_host.h).
//   vorn_sync_bench_host DATABASE TRASH INTERVAL_MS [PATTERN...]

#include "bench_host.h"

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int intervalMs = arguments.value(3).toInt();
    if (arguments.size() < 4 || intervalMs < 1) {
        QTextStream(stderr) << "usage: vorn_sync_bench_host DATABASE TRASH INTERVAL_MS [PATTERN...]\n";
        return 2;
    }
    const BenchHost host(arguments.at(1), arguments.at(2), intervalMs, arguments.mid(4));
    return QCoreApplication::exec();
}
