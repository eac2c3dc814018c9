#include "test_cli_support.h"

#include "literals.h"
#include "pair.h"
#include "wait.h"

#include <QDirIterator>
#include <QFile>
#include <QMap>
#include <QRegularExpression>
#include <QSet>
#include <QXmlStreamReader>

#include <csignal>
#include <memory>

using namespace VornSyncTest;

// The program as it is started: alone on its state, by its options, ended by a signal.
class TestMonitorProgram : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void refusesToRunBesideAMirrorInATerminal();
    void refusesInFrench();
    void aMirrorInATerminalRefusesToRunBesideIt();
    void refusesWhatMakesNoSense_data();
    void refusesWhatMakesNoSense();
    void showsItsOptions();
    void endsBySignal_data();
    void endsBySignal();
    void takesNewPairsAndRemembersThem();
    void cataloguesHaveTheSameTexts();

private:
    QStringList pair() const { return {m_local->path(), m_distant->path()}; }
    bool startMonitor(CliProcess* process, const QStringList& options);
    bool isMirrored(const QString& name) const;

    std::unique_ptr<CliWorld> m_world;
    std::unique_ptr<Side> m_local;
    std::unique_ptr<Side> m_distant;
};

namespace {

const QString kProgram = QStringLiteral(VORN_SYNC_MONITOR_PROGRAM);

} // namespace

void TestMonitorProgram::init()
{
    m_world = std::make_unique<CliWorld>();
    m_local = std::make_unique<Side>(m_world->makeDirectory("local"_s));
    m_distant = std::make_unique<Side>(m_world->makeDirectory("distant"_s));
    QVERIFY(m_local->write("a.doc"_s, "content"));
}

bool TestMonitorProgram::startMonitor(CliProcess* process, const QStringList& options)
{
    return process->start(kProgram, QStringList{"--state"_s, m_world->statePath()} + options,
                          m_world->environment());
}

bool TestMonitorProgram::isMirrored(const QString& name) const
{
    return waitFor([&] { return m_distant->exists(name) && m_distant->read(name) == m_local->read(name); });
}

void TestMonitorProgram::refusesToRunBesideAMirrorInATerminal()
{
    CliProcess terminal;
    QVERIFY(terminal.start(m_world->mirrorArguments(pair()), m_world->environment()));
    QVERIFY(isMirrored("a.doc"_s));
    CliProcess monitor;
    QVERIFY(startMonitor(&monitor, {}));
    const CliResult refused = monitor.waitForEnd();
    QVERIFY2(refused.exitCode == 5, qPrintable(refused.words()));
    QVERIFY2(refused.err.contains("is in use by process " + QByteArray::number(terminal.processId())),
             qPrintable(refused.words()));
    QVERIFY(terminal.isRunning());
    QVERIFY(terminal.sendSignal(SIGTERM));
    QCOMPARE(terminal.waitForEnd().exitCode, 0);
}

// A desktop shows this in a dialog: it has the window's language.
void TestMonitorProgram::refusesInFrench()
{
    CliProcess terminal;
    QVERIFY(terminal.start(m_world->mirrorArguments(pair()), m_world->environment()));
    QVERIFY(isMirrored("a.doc"_s));
    CliProcess monitor;
    QVERIFY(startMonitor(&monitor, {"--lang"_s, "fr"_s}));
    const CliResult refused = monitor.waitForEnd();
    QVERIFY2(refused.exitCode == 5, qPrintable(refused.words()));
    const QByteArray reason = "est utilisé par le processus " + QByteArray::number(terminal.processId());
    QVERIFY2(refused.err.contains(reason), qPrintable(refused.words()));
}

void TestMonitorProgram::aMirrorInATerminalRefusesToRunBesideIt()
{
    CliProcess monitor;
    QVERIFY(startMonitor(&monitor, pair()));
    QVERIFY(isMirrored("a.doc"_s));
    const CliResult refused = m_world->mirror({});
    QVERIFY2(refused.exitCode == 5, qPrintable(refused.words()));
    QVERIFY2(refused.err.contains(QByteArray::number(monitor.processId())), qPrintable(refused.words()));
    CliProcess another;
    QVERIFY(startMonitor(&another, {}));
    QCOMPARE(another.waitForEnd().exitCode, 5);

    const CliResult status = m_world->run({"status"_s, "--state"_s, m_world->statePath()});
    QVERIFY2(status.exitCode == 0 && status.out.contains(QByteArray::number(monitor.processId())),
             qPrintable(status.words()));
    QVERIFY(monitor.sendSignal(SIGTERM));
    const CliResult ended = monitor.waitForEnd();
    QVERIFY2(ended.exitCode == 0, qPrintable(ended.words()));
    QCOMPARE(m_world->mirror({"--once"_s}).exitCode, 0);
}

void TestMonitorProgram::refusesWhatMakesNoSense_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<int>("exitCode");
    QTest::newRow("half a pair") << QStringList{"/tmp"_s} << 2;
    QTest::newRow("a missing directory") << QStringList{"/nowhere/local"_s, "/tmp"_s} << 2;
    QTest::newRow("a theme") << QStringList{"--theme"_s, "pink"_s} << 2;
    QTest::newRow("a language") << QStringList{"--lang"_s, "xx"_s} << 2;
    QTest::newRow("an option of the terminal") << QStringList{"--once"_s} << 2;
}

void TestMonitorProgram::refusesWhatMakesNoSense()
{
    QFETCH(const QStringList, options);
    QFETCH(const int, exitCode);
    CliProcess monitor;
    QVERIFY(startMonitor(&monitor, options));
    const CliResult result = monitor.waitForEnd();
    QVERIFY2(result.exitCode == exitCode, qPrintable(result.words()));
    QVERIFY2(result.err.startsWith("vorn_sync_monitor: "), qPrintable(result.words()));
    QVERIFY(!QFile::exists(m_world->statePath()));
}

void TestMonitorProgram::showsItsOptions()
{
    CliProcess monitor;
    QVERIFY(startMonitor(&monitor, {"--help"_s}));
    const CliResult result = monitor.waitForEnd();
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(result.out.contains("--theme") && !result.out.contains("--once"), qPrintable(result.words()));
    QVERIFY2(result.out.contains("vorn_sync_monitor [options] [LOCAL DISTANT]"), qPrintable(result.words()));
}

void TestMonitorProgram::endsBySignal_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGHUP") << SIGHUP;
}

void TestMonitorProgram::endsBySignal()
{
    QFETCH(const int, signal);
    CliProcess monitor;
    QVERIFY(startMonitor(&monitor, pair()));
    QVERIFY(isMirrored("a.doc"_s));
    QVERIFY(monitor.sendSignal(signal));
    const CliResult ended = monitor.waitForEnd();
    QVERIFY2(ended.exitCode == 0, qPrintable(ended.words()));
    QVERIFY2(!ended.err.contains("qrc:"), qPrintable(ended.words())); // no QML message, in the end neither
}

void TestMonitorProgram::takesNewPairsAndRemembersThem()
{
    {
        CliProcess monitor;
        QVERIFY(startMonitor(&monitor, QStringList{"--alias"_s, "papers"_s} + pair()));
        QVERIFY(isMirrored("a.doc"_s));
        QVERIFY(monitor.sendSignal(SIGTERM));
        QCOMPARE(monitor.waitForEnd().exitCode, 0);
    }
    QVERIFY(m_local->write("b.doc"_s, "content"));
    CliProcess monitor;
    QVERIFY(startMonitor(&monitor, {}));
    QVERIFY(isMirrored("b.doc"_s));
    const CliResult status = m_world->run({"status"_s, "--state"_s, m_world->statePath()});
    QVERIFY2(status.out.contains("Pair papers"), qPrintable(status.words()));
}

// ---- Catalogues -----------------------------------------------------------------------------------------

namespace {

// By id: what the text is to hold in each form ("%1", "%n", a mnemonic).
QMap<QString, QStringList> formsOf(const QString& language)
{
    QFile file(QStringLiteral(VORN_SYNC_APPS_DIR "/vorn_sync_monitor/translations/vorn_sync_monitor_%1.ts")
                   .arg(language));
    QMap<QString, QStringList> forms;
    if (!file.open(QIODevice::ReadOnly))
        return forms;
    QXmlStreamReader reader(&file);
    QString id;
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (reader.name() == QLatin1String("message"))
            id = reader.attributes().value(QLatin1String("id")).toString();
        if (reader.name() != QLatin1String("translation") && reader.name() != QLatin1String("numerusform"))
            continue;
        const QString text = reader.readElementText(QXmlStreamReader::IncludeChildElements);
        QString marks;
        for (const QString& mark : {"%1"_s, "%2"_s, "%3"_s, "%4"_s, "%n"_s, "&"_s})
            marks += text.contains(mark) ? mark : QString();
        if (!text.trimmed().isEmpty())
            forms[id] << marks;
    }
    return forms;
}

} // namespace

void TestMonitorProgram::cataloguesHaveTheSameTexts()
{
    const QMap<QString, QStringList> english = formsOf("en"_s);
    QVERIFY(english.size() > 50);
    QCOMPARE(formsOf("fr"_s), english);

    // Every text that is used is there, and the other way round.
    QSet<QString> used;
    const QRegularExpression use("\"(vorn_sync_monitor_[a-z_]*[a-z])\""_s);
    QDirIterator files(QStringLiteral(VORN_SYNC_APPS_DIR "/vorn_sync_monitor"), {"*.cpp"_s, "*.qml"_s},
                       QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QRegularExpressionMatchIterator matches = use.globalMatch(QString::fromUtf8(file.readAll()));
        while (matches.hasNext())
            used.insert(matches.next().captured(1));
    }
    const QList<QString> ids = english.keys();
    QStringList differing = (used - QSet<QString>(ids.cbegin(), ids.cend())).values();
    for (const QString& id : ids) {
        if (!used.contains(id))
            differing << id;
    }
    QCOMPARE(differing.join(QLatin1Char(' ')), QString());
}

QTEST_GUILESS_MAIN(TestMonitorProgram)
#include "test_monitor_program.moc"
