// What the comparison scripts run beside a peer's program. Prints one JSON object.
//   vorn_sync_bench prepare ROOT N               makes a mirrored directory of N files
//   vorn_sync_bench pass DATABASE [N]            one pass over it that finds nothing to do, after N others (0): the first
//                                                reads all rows, the second finds that nobody wrote any since
//   vorn_sync_bench floor LOCAL DISTANT          lists both and asks for each file, and nothing else
//   vorn_sync_bench copy SOURCE DESTINATION      one file, as a copy task of the library sends it
//   vorn_sync_bench plain_copy SOURCE DESTINATION    the same file by QFile::copy, and nothing else
//   vorn_sync_bench open DATABASE                brings a state database of any generation to the current schema
//   vorn_sync_bench refresh DATABASE WRITER N    N refreshes of the manager's counters; WRITER changes one row in
//                                                error before each: "nobody", "own" or "other" (process)

#include "bench_figures.h"
#include "engine_bench.h"
#include "mirrored_directory.h"
#include "scan_floor.h"

#include <QCoreApplication>
#include <QFile>
#include <QHash>
#include <QTextStream>

namespace {

QJsonObject prepare(const QString& root, int count)
{
    const MirroredDirectory directory(root, count);
    return {{QStringLiteral("local"), directory.localPath()},
            {QStringLiteral("distant"), directory.distantPath()},
            {QStringLiteral("database"), directory.databasePath()}};
}

QJsonObject run(const QStringList& words)
{
    using EngineBench::Writer;
    static const QHash<QString, Writer> writers{{QStringLiteral("nobody"), Writer::Nobody},
                                                {QStringLiteral("own"), Writer::OwnProcess},
                                                {QStringLiteral("other"), Writer::OtherProcess}};
    const QString what = words.value(0);
    if (what == QLatin1String("prepare") && words.size() == 3)
        return prepare(words.at(1), words.at(2).toInt());
    if (what == QLatin1String("pass") && (words.size() == 2 || words.size() == 3))
        return EngineBench::pass(words.at(1), words.value(2).toInt());
    if (what == QLatin1String("floor") && words.size() == 3)
        return BenchFigures::measured([&words] { return ScanFloor::scan(words.at(1), words.at(2)) > 0; });
    if (what == QLatin1String("copy") && words.size() == 3)
        return EngineBench::copy(words.at(1), words.at(2));
    if (what == QLatin1String("plain_copy") && words.size() == 3)
        return BenchFigures::measured([&words] { return QFile::copy(words.at(1), words.at(2)); });
    if (what == QLatin1String("open") && words.size() == 2)
        return EngineBench::open(words.at(1));
    if (what == QLatin1String("refresh") && words.size() == 4 && writers.contains(words.at(2)))
        return EngineBench::refresh(words.at(1), writers.value(words.at(2)), words.at(3).toInt());
    return QJsonObject();
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QJsonObject figures = run(QCoreApplication::arguments().mid(1));
    if (figures.isEmpty()) {
        QTextStream(stderr)
            << "usage: vorn_sync_bench prepare ROOT N | pass DATABASE [N] | copy SOURCE DESTINATION | "
               "plain_copy SOURCE DESTINATION | open DATABASE | refresh DATABASE nobody|own|other N\n";
        return 2;
    }
    BenchFigures::print(figures);
    return figures.value(QStringLiteral("ok")).toBool(true) ? 0 : 1;
}
