#include "test_cli_support.h"

#include "pair.h"

#include <QDateTime>
#include <QDirIterator>
#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QSet>
#include <QTest>
#include <QXmlStreamReader>

using VornSyncTest::CliProcess;
using VornSyncTest::CliResult;
using VornSyncTest::CliWorld;
using VornSyncTest::JsonLines;
using VornSyncTest::Side;

namespace {

QStringList errorIds()
{
    return {
        QStringLiteral("none"),
        QStringLiteral("unknown"),
        QStringLiteral("local_file_missing"),
        QStringLiteral("local_file_not_readable"),
        QStringLiteral("distant_dir_missing"),
        QStringLiteral("distant_dir_not_writable"),
        QStringLiteral("copy_failed"),
        QStringLiteral("copy_size_mismatch"),
        QStringLiteral("rename_failed"),
        QStringLiteral("assoc_dir_copy_failed"),
        QStringLiteral("local_dir_remove_failed"),
        QStringLiteral("trash_delete_failed"),
        QStringLiteral("task_creation_failed"),
        QStringLiteral("max_retries_exceeded"),
        QStringLiteral("distant_rename_failed"),
        QStringLiteral("distant_file_missing"),
    };
}

// Texts of a catalogue's source by id; plural forms are joined.
QHash<QString, QString> catalogue(const QString& language)
{
    QFile file(QStringLiteral(VORN_SYNC_APPS_DIR "/host/translations/vorn_sync_%1.ts").arg(language));
    QHash<QString, QString> texts;
    if (!file.open(QIODevice::ReadOnly))
        return texts;
    QXmlStreamReader reader(&file);
    QString id;
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (reader.name() == QLatin1String("message"))
            id = reader.attributes().value(QLatin1String("id")).toString();
        else if (reader.name() == QLatin1String("translation"))
            texts.insert(id, reader.readElementText(QXmlStreamReader::IncludeChildElements).simplified());
    }
    return reader.hasError() ? QHash<QString, QString>() : texts;
}

QSet<QString> idsInSources()
{
    QSet<QString> ids;
    const QRegularExpression use(QStringLiteral("\"(vorn_sync_[a-z_]*[a-z])\""));
    for (const char* directory : {"/host/source", "/vorn_sync/source"}) {
        QDirIterator files(QStringLiteral(VORN_SYNC_APPS_DIR) + QLatin1String(directory),
                           {QStringLiteral("*.cpp")}, QDir::Files);
        while (files.hasNext()) {
            QFile file(files.next());
            if (!file.open(QIODevice::ReadOnly))
                continue;
            QRegularExpressionMatchIterator matches = use.globalMatch(QString::fromUtf8(file.readAll()));
            while (matches.hasNext())
                ids.insert(matches.next().captured(1));
        }
    }
    return ids;
}

QStringList placeholders(const QString& text)
{
    QSet<QString> found;
    QRegularExpressionMatchIterator matches = QRegularExpression(QStringLiteral("%[0-9n]")).globalMatch(text);
    while (matches.hasNext())
        found.insert(matches.next().captured());
    QStringList sorted = found.values();
    sorted.sort();
    return sorted;
}

struct OnePair
{
    CliWorld world;
    Side local{world.makeDirectory(QStringLiteral("local"))};
    Side distant{world.makeDirectory(QStringLiteral("distant"))};

    QStringList arguments(const QStringList& options) const
    {
        return world.mirrorArguments(QStringList{QStringLiteral("--once"), local.path(), distant.path()} +
                                     options);
    }
    CliResult once(const QStringList& options = QStringList()) const { return world.run(arguments(options)); }
};

// Runs the program on a terminal of the given width and gives what the terminal received.
CliResult runOnTerminal(const OnePair& pair, int columns)
{
    const QString command = QStringLiteral("stty cols %1 rows 24 && exec \"$0\" \"$@\"").arg(columns);
    QStringList words{QStringLiteral("sh"), QStringLiteral("-c"), command, QStringLiteral(VORN_SYNC_PROGRAM)};
    words += pair.arguments({});
    for (QString& word : words)
        word =
            QLatin1Char('\'') + word.replace(QLatin1Char('\''), QLatin1String("'\\''")) + QLatin1Char('\'');
    CliProcess process;
    if (!process.start(QStringLiteral("script"),
                       {QStringLiteral("-q"), QStringLiteral("-e"), QStringLiteral("-c"),
                        words.join(QLatin1Char(' ')), QStringLiteral("/dev/null")},
                       pair.world.environment()))
        return CliResult();
    return process.waitForEnd();
}

} // namespace

// What the program writes, and where.
class TestCliOutput : public QObject
{
    Q_OBJECT

private slots:
    void jsonLines();
    void jsonCarriesOddNames();
    void quiet();
    void quietShowsErrors();
    void verboseShowsEverySignal();
    void plainLinesOnAPipe();
    void escapesControlCharacters();
    void progressLineOnATerminal();
    void progressLineIsClipped();
    void defaultStateDirectory();
    void relativeXdgStateHomeIsIgnored();
    void languageOfTheEnvironment();
    void catalogues();
};

void TestCliOutput::jsonLines()
{
    const OnePair pair;
    QVERIFY(pair.local.write(QStringLiteral("a"), "a"));
    QVERIFY(pair.local.write(QStringLiteral("b"), "b"));
    const CliResult result = pair.once({QStringLiteral("--json")});
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    const JsonLines lines(result.out);
    QVERIFY2(lines.valid, qPrintable(result.words()));
    for (const QJsonObject& object : lines.objects) {
        const QString time = object.value(QLatin1String("time")).toString();
        QVERIFY2(QDateTime::fromString(time, Qt::ISODateWithMs).isValid() && time.endsWith(QLatin1Char('Z')),
                 qPrintable(time));
        QVERIFY(!object.value(QLatin1String("event")).toString().isEmpty());
    }
    const QVector<QJsonObject> started = lines.events(QStringLiteral("started"));
    QCOMPARE(started.size(), 1);
    QCOMPARE(started.constFirst().value(QLatin1String("state")).toString(), pair.world.statePath());
    const QVector<QJsonObject> pairs = lines.events(QStringLiteral("pair"));
    QCOMPARE(pairs.size(), 1);
    QCOMPARE(pairs.constFirst().value(QLatin1String("local")).toString(), pair.local.path());
    QCOMPARE(pairs.constFirst().value(QLatin1String("distant")).toString(), pair.distant.path());

    const QStringList files{QStringLiteral("a"), QStringLiteral("b")};
    QCOMPARE(lines.filesOf(QStringLiteral("sync_started")), files);
    QCOMPARE(lines.filesOf(QStringLiteral("sync_completed")), files);
    const QJsonObject completed = lines.events(QStringLiteral("sync_completed")).constLast();
    QCOMPARE(completed.value(QLatin1String("alias")).toString(), QStringLiteral("local"));
    QCOMPARE(completed.value(QLatin1String("path")).toString(),
             pair.local.filePath(completed.value(QLatin1String("file")).toString()));
    QCOMPARE(completed.value(QLatin1String("ok")), QJsonValue(true));
    const QJsonObject counters = completed.value(QLatin1String("counters")).toObject();
    for (const char* counter : {"in_progress", "pending", "errors", "done"}) {
        const QJsonValue value = counters.value(QLatin1String(counter));
        QVERIFY2(value.isDouble() && value.toInt() >= 0 && value.toInt() <= 2, qPrintable(result.words()));
    }
    const QJsonObject finished = lines.objects.constLast();
    QCOMPARE(finished.value(QLatin1String("event")).toString(), QStringLiteral("finished"));
    QCOMPARE(finished.value(QLatin1String("outcome")).toString(), QStringLiteral("up_to_date"));
    QCOMPARE(finished.value(QLatin1String("counters")).toObject().value(QLatin1String("done")).toInt(), 2);
}

void TestCliOutput::jsonCarriesOddNames()
{
    const OnePair pair;
    QStringList names{
        QStringLiteral("%1%2%n"),   QStringLiteral("a\"quote'"),           QStringLiteral("line\nfeed\ttab"),
        QStringLiteral("\x1b[31m"), QStringLiteral("été 日本 \U0001F600"), QStringLiteral("\\u0041")};
    names.sort();
    for (const QString& name : qAsConst(names))
        QVERIFY(pair.local.write(name, "x"));
    const CliResult result = pair.once({QStringLiteral("--json")});
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    const JsonLines lines(result.out);
    QVERIFY2(lines.valid, qPrintable(result.words()));
    QCOMPARE(lines.filesOf(QStringLiteral("sync_completed")), names);
}

void TestCliOutput::quiet()
{
    const OnePair pair;
    QVERIFY(pair.local.write(QStringLiteral("a"), "a"));
    const CliResult result = pair.once({QStringLiteral("--quiet")});
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    QVERIFY2(result.out.isEmpty() && result.err.isEmpty(), qPrintable(result.words()));
    QCOMPARE(pair.distant.read(QStringLiteral("a")), QByteArray("a"));
}

void TestCliOutput::quietShowsErrors()
{
    const OnePair pair;
    QVERIFY(pair.local.write(QStringLiteral("a"), "a"));
    QCOMPARE(pair.once().exitCode, 0);
    QVERIFY(pair.local.remove(QStringLiteral("a")));
    const CliResult result = pair.once({QStringLiteral("--quiet")});
    QVERIFY2(result.exitCode == 1, qPrintable(result.words()));
    QVERIFY2(result.out.isEmpty(), qPrintable(result.words()));
    QVERIFY2(result.err.contains("  local/a: error 2: "), qPrintable(result.words()));
}

void TestCliOutput::verboseShowsEverySignal()
{
    const OnePair pair;
    QVERIFY(pair.local.write(QStringLiteral("a"), "a"));
    const CliResult result = pair.once({QStringLiteral("--verbose")});
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    const QByteArray path = pair.local.filePath(QStringLiteral("a")).toUtf8();
    QVERIFY2(result.out.contains("syncStarted " + path + '\n'), qPrintable(result.words()));
    QVERIFY(result.out.contains("syncCompleted " + path + " ok\n"));
    QVERIFY(result.out.contains("countersChanged in progress "));
    QVERIFY(result.out.contains("idleChanged "));
    QVERIFY(result.out.contains("recentEventsChanged\n"));
#ifdef VORN_SYNC_TRACE_LINES
    QVERIFY2(result.err.contains("[-- SYNC --]: "), qPrintable(result.words()));
#else
    QVERIFY2(!result.err.contains("[-- SYNC --]: "), qPrintable(result.words()));
#endif
}

void TestCliOutput::plainLinesOnAPipe()
{
    const OnePair pair;
    QVERIFY(pair.local.write(QStringLiteral("a"), "a"));
    const CliResult result = pair.once();
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    QVERIFY2(!result.out.contains('\r') && !result.out.contains('\x1b'), qPrintable(result.words()));
    QVERIFY2(result.err.isEmpty(), qPrintable(result.words()));
    QVERIFY(result.out.contains("\ncopied local/a\n"));
}

void TestCliOutput::escapesControlCharacters()
{
    const OnePair pair;
    QVERIFY(pair.local.write(QStringLiteral("red\x1b[31m\n\u202Etxt"), "x"));
    const CliResult result = pair.once();
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    QVERIFY2(result.out.contains("copied local/red\\x1b[31m\\n\\u202etxt\n"), qPrintable(result.words()));
    QVERIFY(!result.out.contains('\x1b'));
}

void TestCliOutput::progressLineOnATerminal()
{
    const OnePair pair;
    for (int i = 0; i < 5; ++i)
        QVERIFY(pair.local.write(QStringLiteral("file %1").arg(i), "x"));
    const CliResult result = runOnTerminal(pair, 100);
    if (!result.hasEnded)
        QSKIP("script(1) is not there to make a terminal");
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    const QRegularExpression line(QStringLiteral(
        "\\rdone \\d+ \\| pending \\d+ \\| in error 0 \\| local/file \\d \\| \\d+:\\d\\d\\x1b\\[K"));
    QVERIFY2(line.match(QString::fromUtf8(result.out)).hasMatch(), qPrintable(result.words()));
    QVERIFY2(result.out.contains("\rdone 5 | pending 0 | in error 0 | "), qPrintable(result.words()));
    QVERIFY2(!result.out.contains("copied"), qPrintable(result.words()));
    QVERIFY2(result.out.contains("Everything is up to date: 5 files."), qPrintable(result.words()));
}

void TestCliOutput::progressLineIsClipped()
{
    constexpr int kColumns = 48;
    const OnePair pair;
    const QString name = QStringLiteral("日本") + QString(200, QLatin1Char('x')) + QStringLiteral("\x1b\n");
    QVERIFY(pair.local.write(name, "x"));
    const CliResult result = runOnTerminal(pair, kColumns);
    if (!result.hasEnded)
        QSKIP("script(1) is not there to make a terminal");
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    int withFile = 0;
    const QStringList segments = QString::fromUtf8(result.out).split(QLatin1Char('\r'));
    for (QString segment : segments) {
        if (!segment.startsWith(QLatin1String("done ")))
            continue;
        QVERIFY2(segment.endsWith(QLatin1String("\x1b[K")), qPrintable(segment));
        segment.chop(3);
        QVERIFY2(!segment.contains(QLatin1Char('\x1b')) && !segment.contains(QLatin1Char('\n')),
                 qPrintable(segment));
        const auto wide = segment.count(QChar(0x65e5)) + segment.count(QChar(0x672c)); // two columns each
        QVERIFY2(segment.size() + wide < kColumns, qPrintable(segment));
        withFile += segment.contains(QLatin1String("| local/")) ? 1 : 0;
    }
    QVERIFY2(withFile > 0, qPrintable(result.words()));
}

void TestCliOutput::defaultStateDirectory()
{
    const CliWorld world;
    const QString local = world.makeDirectory(QStringLiteral("local"));
    const CliResult result = world.run({QStringLiteral("mirror"), QStringLiteral("--once"), local,
                                        world.makeDirectory(QStringLiteral("distant"))});
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    const QString state = world.path(QStringLiteral("xdg/vorn_sync"));
    QVERIFY2(result.out.startsWith("State: " + state.toUtf8() + '\n'), qPrintable(result.words()));
    const Side side(state);
    QVERIFY(side.exists(QStringLiteral("state.db")));
    QVERIFY(side.exists(QStringLiteral("pairs.json")));
    QVERIFY(side.exists(QStringLiteral("trash/local")));
    QVERIFY(!side.exists(QStringLiteral("lock")));
    QCOMPARE(QFile::permissions(state) & (QFile::ReadGroup | QFile::ReadOther), QFile::Permissions());
}

void TestCliOutput::relativeXdgStateHomeIsIgnored()
{
    CliWorld world;
    world.setVariable(QStringLiteral("XDG_STATE_HOME"), QStringLiteral("relative"));
    const CliResult result = world.run({QStringLiteral("mirror"), QStringLiteral("--once"),
                                        world.makeDirectory(QStringLiteral("local")),
                                        world.makeDirectory(QStringLiteral("distant"))});
    QVERIFY2(result.exitCode == 0, qPrintable(result.words()));
    const QByteArray state = world.path(QStringLiteral("home/.local/state/vorn_sync")).toUtf8();
    QVERIFY2(result.out.startsWith("State: " + state + '\n'), qPrintable(result.words()));
}

void TestCliOutput::languageOfTheEnvironment()
{
    OnePair pair;
    pair.world.removeVariable(QStringLiteral("LC_ALL"));
    pair.world.setVariable(QStringLiteral("LANG"), QStringLiteral("fr_FR.UTF-8"));
    const CliResult french = pair.once();
    QVERIFY2(french.out.endsWith("Tout est à jour : 0 fichier.\n"), qPrintable(french.words()));
    const CliResult english = pair.once({QStringLiteral("--lang"), QStringLiteral("en")});
    QVERIFY2(english.out.endsWith("Everything is up to date: 0 files.\n"), qPrintable(english.words()));
    pair.world.setVariable(QStringLiteral("LANG"), QStringLiteral("de_DE.UTF-8"));
    const CliResult other = pair.once();
    QVERIFY2(other.out.endsWith("Everything is up to date: 0 files.\n"), qPrintable(other.words()));
}

// Both catalogues hold every id of the library and every one that the program uses, with a sentence each.
void TestCliOutput::catalogues()
{
    const QHash<QString, QString> english = catalogue(QStringLiteral("en"));
    const QHash<QString, QString> french = catalogue(QStringLiteral("fr"));
    QSet<QString> ids = idsInSources();
    QVERIFY(ids.size() > 10);
    const QStringList errors = errorIds();
    for (const QString& id : errors)
        ids.insert(QStringLiteral("VornSyncDatabase_error_") + id);
    for (const QString& id : qAsConst(ids)) {
        QVERIFY2(!english.value(id).isEmpty(), qPrintable(id));
        QVERIFY2(!french.value(id).isEmpty(), qPrintable(id));
        QVERIFY2(placeholders(english.value(id)) == placeholders(french.value(id)), qPrintable(id));
        QVERIFY2(english.value(id) != french.value(id), qPrintable(id));
    }
    QCOMPARE(english.size(), ids.size());
    QCOMPARE(french.size(), ids.size());
}

QTEST_GUILESS_MAIN(TestCliOutput)
#include "test_cli_output.moc"
