#include "trace_capture.h"
#include "vorn_sync_log.h"

#include <QRegularExpression>
#include <QTest>
#include <QThread>

using namespace VornSyncTest;

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

QString* lastCategory = nullptr;

void noteCategory(QtMsgType, const QMessageLogContext& context, const QString&)
{
    *lastCategory = QString::fromLatin1(context.category);
}

} // namespace

class TestSyncLog : public QObject
{
    Q_OBJECT

private slots:
    void traceLine();
    void traceKeepsTheMessageAsItIs_data();
    void traceKeepsTheMessageAsItIs();
    void macroBuildsNothingWhenCompiledOut();
    void macroIsOneStatement();
    void criticalHead();
    void linesGoToTheDefaultCategory();
    void mayBeUsedFromAnyThread();
};

void TestSyncLog::traceLine()
{
    TraceCapture capture;
    VornSyncLog::trace("Wrkr: ", "onAddTask", text("queue size = 3"));
    QCOMPARE(capture.debugLines(), QStringList(text("[-- SYNC --]: Wrkr: onAddTask - queue size = 3")));
    QCOMPARE(capture.criticals(), QStringList());
    QCOMPARE(capture.warnings(), QStringList());
}

void TestSyncLog::traceKeepsTheMessageAsItIs_data()
{
    QTest::addColumn<QString>("message");
    QTest::newRow("place holders") << "'%1 %2 %3 %n 100%'";
    QTest::newRow("quotes and backslash") << "\"a\\b\" 'c'";
    QTest::newRow("newline") << "a\nb\tc";
    QTest::newRow("unicode") << text("\xe6\x97\xa5\xf0\x9f\x93\x81");
    QTest::newRow("empty") << "";
}

void TestSyncLog::traceKeepsTheMessageAsItIs()
{
    QFETCH(QString, message);
    TraceCapture capture;
    VornSyncLog::trace("DB: ", "m", message);
    QCOMPARE(capture.debugLines(), QStringList(text("[-- SYNC --]: DB: m - ") + message));
}

void TestSyncLog::macroBuildsNothingWhenCompiledOut()
{
    TraceCapture capture;
    int built = 0;
    const auto message = [&built] {
        ++built;
        return text("x");
    };
    VORN_SYNC_TRACE("Task: ", "m", message());
    QCOMPARE(VornSyncLog::kTraceLines, traceLinesBuiltIn());
    QCOMPARE(built, traceLinesBuiltIn() ? 1 : 0);
    QCOMPARE(capture.debugLines().size(), built);
}

void TestSyncLog::macroIsOneStatement()
{
    TraceCapture capture;
    const bool condition = QTest::currentTestFunction() == nullptr;
    if (condition)
        VORN_SYNC_TRACE("Task: ", "m", text("not written"));
    else
        VORN_SYNC_TRACE("Task: ", "m", text("written"));
    QCOMPARE(capture.count(text("written")), traceLinesBuiltIn() ? 1 : 0);
    QCOMPARE(capture.count(text("not written")), 0);
}

void TestSyncLog::criticalHead()
{
    TraceCapture capture;
    VornSyncLog::critical(this, "libraries/lib_sync_library/source/vorn_sync_manager_p", 42)
        << "VornSyncManagerPrivate::method: text";
    QCOMPARE(capture.debugLines(), QStringList());
    QCOMPARE(capture.criticals().size(), 1);

    QString thread;
    QDebug(&thread).nospace() << QThread::currentThread();
    QString object;
    QDebug(&object).nospace() << static_cast<const void*>(this);
    const QString tail = text(" ;\t Thread = ") + thread + text(" ;\t This = ") + object +
                         text(" ;\t libraries/lib_sync_library/source/vorn_sync_manager_p ;\t 42 ;\t "
                              "VornSyncManagerPrivate::method: text");
    const QString line = capture.criticals().constFirst();
    QVERIFY2(line.endsWith(tail), qPrintable(line));
    const QRegularExpression head(text("^\n \"\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}\"$"));
    QVERIFY2(head.match(line.left(line.size() - tail.size())).hasMatch(), qPrintable(line));
}

void TestSyncLog::linesGoToTheDefaultCategory()
{
    QString traceCategory;
    QString criticalCategory;
    const QtMessageHandler previousHandler = qInstallMessageHandler(&noteCategory);
    lastCategory = &traceCategory;
    VornSyncLog::trace("DB: ", "m", QString());
    lastCategory = &criticalCategory;
    VornSyncLog::critical(this, "path", 1) << "text";
    qInstallMessageHandler(previousHandler);
    QCOMPARE(traceCategory, text("default"));
    QCOMPARE(criticalCategory, text("default"));
}

void TestSyncLog::mayBeUsedFromAnyThread()
{
    constexpr int kThreads = 4;
    constexpr int kLines = 200;
    TraceCapture capture;
    QList<QThread*> threads;
    for (int i = 0; i < kThreads; ++i) {
        QThread* thread = QThread::create([i] {
            for (int line = 0; line < kLines; ++line)
                VornSyncLog::trace("Sync: ", "m",
                                   text("%1/%2").arg(QString::number(i), QString::number(line)));
        });
        threads << thread;
        thread->start();
    }
    for (QThread* thread : qAsConst(threads)) {
        QVERIFY(thread->wait(30000));
        delete thread;
    }
    const QStringList lines = capture.linesOf(text("Sync: "));
    QCOMPARE(lines.size(), kThreads * kLines);
    for (int i = 0; i < kThreads; ++i) {
        const QStringList own = lines.filter(text("m - %1/").arg(i));
        QCOMPARE(own.size(), kLines);
        QCOMPARE(own.last(), text("m - %1/%2").arg(QString::number(i), QString::number(kLines - 1)));
    }
}

QTEST_GUILESS_MAIN(TestSyncLog)
#include "test_sync_log.moc"
