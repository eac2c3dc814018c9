#include "test_cli_support.h"

#include "mounts.h"
#include "pair.h"

#include <QFile>
#include <QFileInfo>
#include <QTest>

using VornSyncTest::CliResult;
using VornSyncTest::CliWorld;
using VornSyncTest::JsonLines;
using VornSyncTest::Side;

namespace {

// One world with one pair, "local" and "distant".
struct OnePair
{
    CliWorld world;
    Side local{world.makeDirectory(QStringLiteral("local"))};
    Side distant{world.makeDirectory(QStringLiteral("distant"))};

    CliResult once(const QStringList& options = QStringList()) const
    {
        return world.mirror(QStringList{QStringLiteral("--once"), local.path(), distant.path()} + options);
    }
};

const char kBlockedSentence[] = "The operation on the file failed several times and was given up.";

} // namespace

// "mirror --once" with files in error: each is listed with alias, name, code and a sentence.
class TestCliErrors : public QObject
{
    Q_OBJECT

private slots:
    void fileInError_data();
    void fileInError();
    void errorOfAnEarlierRunIsTriedAgain();
    void manyFilesInError();
    void missingLocalFile();
    void missingDistantFile();
    void unreadableFile();
};

void TestCliErrors::fileInError_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QByteArray>("heading");
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("en") << QStringLiteral("en") << QByteArray("1 file is in error:\n")
                        << QByteArray("  local/blocked: error 13: ") + kBlockedSentence;
    QTest::newRow("fr") << QStringLiteral("fr") << QByteArray("1 fichier est en erreur :\n")
                        << QByteArray(
                               "  local/blocked : erreur 13 : L'opération sur le fichier a échoué plusieurs "
                               "fois et a été abandonnée.");
}

void TestCliErrors::fileInError()
{
    QFETCH(QString, language);
    QFETCH(QByteArray, heading);
    QFETCH(QByteArray, line);
    const OnePair pair;
    QVERIFY(pair.local.write(QStringLiteral("blocked"), "x"));
    QVERIFY(pair.local.write(QStringLiteral("fine"), "fine"));
    QVERIFY(pair.distant.makeDirectory(QStringLiteral("blocked")));

    const CliResult result = pair.once({QStringLiteral("--lang"), language});
    QVERIFY2(result.hasEnded && result.exitCode == 1, qPrintable(result.words()));
    QVERIFY2(result.err.contains(heading), qPrintable(result.words()));
    QVERIFY2(result.err.contains(line), qPrintable(result.words()));
    QCOMPARE(pair.distant.read(QStringLiteral("fine")), QByteArray("fine"));
}

// A second run tries the file again instead of waiting for minutes: it fails as before, or it succeeds.
void TestCliErrors::errorOfAnEarlierRunIsTriedAgain()
{
    const OnePair pair;
    QVERIFY(pair.local.write(QStringLiteral("blocked"), "x"));
    QVERIFY(pair.distant.makeDirectory(QStringLiteral("blocked")));
    QCOMPARE(pair.once().exitCode, 1);

    const CliResult again = pair.once({QStringLiteral("--json")});
    QVERIFY2(again.hasEnded && again.exitCode == 1, qPrintable(again.words()));
    const JsonLines lines(again.out);
    QVERIFY2(!lines.events(QStringLiteral("sync_started")).isEmpty(), qPrintable(again.words()));
    const QVector<QJsonObject> errors = lines.events(QStringLiteral("error_file"));
    QCOMPARE(errors.size(), 1);
    QCOMPARE(errors.constFirst().value(QLatin1String("alias")).toString(), QStringLiteral("local"));
    QCOMPARE(errors.constFirst().value(QLatin1String("file")).toString(), QStringLiteral("blocked"));
    QCOMPARE(errors.constFirst().value(QLatin1String("code")).toInt(), 13);
    QVERIFY(errors.constFirst()
                .value(QLatin1String("message"))
                .toString()
                .startsWith(QLatin1String(kBlockedSentence)));

    QVERIFY(pair.distant.remove(QStringLiteral("blocked")));
    const CliResult fixed = pair.once();
    QVERIFY2(fixed.exitCode == 0, qPrintable(fixed.words()));
    QCOMPARE(pair.distant.read(QStringLiteral("blocked")), QByteArray("x"));
}

// More failures than fit in flight: some are in error long before a cycle can run.
void TestCliErrors::manyFilesInError()
{
    const OnePair pair;
    constexpr int kFiles = 14;
    for (int i = 0; i < kFiles; ++i) {
        const QString name = QStringLiteral("blocked %1").arg(i);
        QVERIFY(pair.local.write(name, "x"));
        QVERIFY(pair.distant.makeDirectory(name));
    }
    QVERIFY(pair.local.write(QStringLiteral("fine"), "fine"));
    const CliResult result = pair.once({QStringLiteral("--json")});
    QVERIFY2(result.hasEnded && result.exitCode == 1, qPrintable(result.words()));
    QCOMPARE(JsonLines(result.out).events(QStringLiteral("error_file")).size(), kFiles);
    QCOMPARE(pair.distant.read(QStringLiteral("fine")), QByteArray("fine"));
}

void TestCliErrors::missingLocalFile()
{
    const OnePair pair;
    QVERIFY(pair.local.write(QStringLiteral("a"), "a"));
    QVERIFY(pair.local.write(QStringLiteral("b"), "b"));
    QCOMPARE(pair.once().exitCode, 0);
    QVERIFY(pair.local.remove(QStringLiteral("a")));
    const CliResult result = pair.once();
    QVERIFY2(result.hasEnded && result.exitCode == 1, qPrintable(result.words()));
    QVERIFY2(result.err.contains("  local/a: error 2: The local file is gone."), qPrintable(result.words()));
    QVERIFY(pair.distant.exists(QStringLiteral("a")));
}

void TestCliErrors::missingDistantFile()
{
    const OnePair pair;
    QVERIFY(pair.local.write(QStringLiteral("a"), "a"));
    QCOMPARE(pair.once().exitCode, 0);
    QVERIFY(pair.distant.remove(QStringLiteral("a")));
    const CliResult result = pair.once();
    QVERIFY2(result.hasEnded && result.exitCode == 1, qPrintable(result.words()));
    QVERIFY2(result.err.contains("  local/a: error 15: The distant copy is gone."),
             qPrintable(result.words()));
}

void TestCliErrors::unreadableFile()
{
    // Where only root can read the Qt that the program was built with, the user would run it with another one.
    const VornSyncTest::ProcessResult sameQt = VornSyncTest::runAsUser(
        QStringLiteral("test"), {QStringLiteral("-r"), QStringLiteral(VORN_SYNC_QT_CORE)});
    if (!sameQt.hasRun || sameQt.exitCode != 0)
        QSKIP("an ordinary user can't read the Qt in use, or there is no way to become one");
    const OnePair pair;
    QVERIFY(pair.local.write(QStringLiteral("secret"), "secret"));
    QVERIFY(pair.local.write(QStringLiteral("open"), "open"));
    QVERIFY(QFile::setPermissions(pair.local.filePath(QStringLiteral("secret")), QFile::WriteOwner));
    const QString root = QFileInfo(pair.local.path()).path();
    const QString state = pair.world.makeDirectory(QStringLiteral("state"));
    constexpr QFile::Permissions kAll = QFile::Permissions(0x7777);
    for (const QString& path : {root, state, pair.distant.path(), pair.local.path()})
        QVERIFY(QFile::setPermissions(path, kAll));
    const VornSyncTest::ProcessResult result = VornSyncTest::runAsUser(
        QStringLiteral(VORN_SYNC_PROGRAM),
        pair.world.mirrorArguments({QStringLiteral("--once"), pair.local.path(), pair.distant.path()}));
    if (!result.hasRun)
        QSKIP(qPrintable(result.reason));
    QVERIFY2(result.exitCode == 1, (result.output + result.errorOutput).constData());
    QVERIFY2(result.errorOutput.contains("  local/secret: error 3: The local file can't be read."),
             result.errorOutput.constData());
    QCOMPARE(pair.distant.read(QStringLiteral("open")), QByteArray("open"));
}

QTEST_GUILESS_MAIN(TestCliErrors)
#include "test_cli_errors.moc"
