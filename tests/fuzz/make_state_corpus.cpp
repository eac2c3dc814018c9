// Writes the seeds of the state database's fuzzer: small valid files of every generation, with and without a
// write-ahead log, and some that are none. Whoever runs as root gives a directory that anybody may write to.

#include "outside_connection.h"
#include "sandbox.h"
#include "state_generations.h"
#include "state_input.h"
#include "vorn_sync_database.h"

#include <QDir>

#include <cstdio>

using namespace VornSyncFuzz;

namespace {

const QString kSmallPages = QStringLiteral("PRAGMA page_size = 512");

class SeedWriter
{
public:
    explicit SeedWriter(const QString& directory)
        : m_directory(directory)
    {
    }

    void write(const QString& name, quint8 way, const QByteArray& file, const QByteArray& log = QByteArray())
    {
        StateInput input;
        input.way = way;
        input.file = file;
        input.log = log;
        m_seeds.append({name, input.toBytes()});
    }
    void write(const QString& name, quint8 way, const QString& databasePath)
    {
        m_seeds.append({name, StateInput::fromFiles(way, databasePath).toBytes()});
    }
    void flush()
    {
        for (const auto& [name, bytes] : qAsConst(m_seeds))
            writeFile(m_directory + QLatin1Char('/') + name, bytes);
    }

private:
    QString m_directory;
    QVector<QPair<QString, QByteArray>> m_seeds;
};

void writeGeneration(SeedWriter& writer, const StateGeneration& generation)
{
    const QString path =
        Sandbox::instance().freshDirectory(QStringLiteral("seed")) + QStringLiteral("/state.db");
    {
        OutsideConnection connection(path);
        connection.exec(kSmallPages);
        for (const QString& statement : generation.statements)
            FUZZ_REQUIRE(connection.exec(statement), statement);
    }
    writer.write(generation.name, StateInput::DatabaseAlone, path);
    writer.write(generation.name + QStringLiteral("-managed"), StateInput::WholeManager, path);
    OutsideConnection connection(path);
    connection.exec(QStringLiteral("PRAGMA journal_mode = WAL"));
    connection.exec(QStringLiteral("UPDATE file_tracking SET size = 4711"));
    writer.write(generation.name + QStringLiteral("-log"), StateInput::DatabaseAlone, path);
}

// As this version leaves it, with everything that it adds.
void writeCurrent(SeedWriter& writer)
{
    const QString path =
        Sandbox::instance().freshDirectory(QStringLiteral("seed")) + QStringLiteral("/state.db");
    {
        const StateGeneration newest = oldStateGenerations().last();
        OutsideConnection connection(path);
        connection.exec(kSmallPages);
        for (const QString& statement : newest.statements)
            FUZZ_REQUIRE(connection.exec(statement), statement);
    }
    {
        VornSyncDatabase database(path);
        const QDateTime time(QDate(2024, 3, 1), QTime(10, 0), Qt::UTC);
        FUZZ_REQUIRE(database.initialize() &&
                         database.recordDistantGrown(1, QStringLiteral("report.doc"), 99, time, time, 12),
                     path);
    }
    writer.write(QStringLiteral("current"), StateInput::DatabaseAlone, path);
    writer.write(QStringLiteral("current-wiped"), StateInput::WipedAfterwards, path);
    writer.write(QStringLiteral("current-managed"), StateInput::WholeManager, path);
}

void writeOthers(SeedWriter& writer)
{
    const QByteArray text = QByteArrayLiteral("This is no database at all.\n").repeated(40);
    writer.write(QStringLiteral("empty"), StateInput::DatabaseAlone, QByteArray());
    writer.write(QStringLiteral("empty-managed"), StateInput::WholeManager, QByteArray());
    writer.write(QStringLiteral("text"), StateInput::WipedAfterwards, text);
    writer.write(QStringLiteral("text-managed"), StateInput::WholeManager | StateInput::WipedAfterwards,
                 text);
    writer.write(QStringLiteral("text-kept"), StateInput::WholeManager, text);
    writer.write(QStringLiteral("text-log"), StateInput::DatabaseAlone, text, text);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: fuzz_make_state_corpus DIRECTORY\n");
        return 2;
    }
    const QString directory = QDir(QString::fromLocal8Bit(argv[1])).absolutePath();
    Sandbox::instance();
    SeedWriter writer(directory);
    for (const StateGeneration& generation : oldStateGenerations())
        writeGeneration(writer, generation);
    writeCurrent(writer);
    writeOthers(writer);
    writer.flush();
    return 0;
}
