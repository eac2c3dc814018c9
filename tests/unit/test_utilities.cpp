#include "pair.h"
#include "vorn_utilities.h"

#include <QDateTime>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <memory>

using namespace VornSyncTest;

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

} // namespace

class TestUtilities : public QObject
{
    Q_OBJECT

private slots:
    void date();
    void lastPathSeparator_data();
    void lastPathSeparator();
    void ascii();
    void associatedDirectory_data();
    void associatedDirectory();
    void associatedDirectoryNeedsADirectory();
    void associatedDirectoryMayBeALink();
    void associatedDirectoryNeedsNoFile();
};

void TestUtilities::date()
{
    const QDateTime before = QDateTime::currentDateTime();
    const QString date = getDate();
    const QDateTime after = QDateTime::currentDateTime();
    QVERIFY2(QRegularExpression(text("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}$"))
                 .match(date)
                 .hasMatch(),
             qPrintable(date));
    const QDateTime read = QDateTime::fromString(date, text("yyyy-MM-dd hh:mm:ss.zzz"));
    QVERIFY(before <= read);
    QVERIFY(read <= after);
}

void TestUtilities::lastPathSeparator_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");
    QTest::newRow("without") << "/a/b"
                             << "/a/b/";
    QTest::newRow("with") << "/a/b/"
                          << "/a/b/";
    QTest::newRow("root") << "/"
                          << "/";
    QTest::newRow("empty") << ""
                           << "/";
    QTest::newRow("two") << "/a//"
                         << "/a//";
    QTest::newRow("place holder") << "/a %1"
                                  << "/a %1/";
    QTest::newRow("relative") << "a"
                              << "a/";
}

void TestUtilities::lastPathSeparator()
{
    QFETCH(QString, path);
    QFETCH(QString, expected);
    QCOMPARE(addLastPathSepIfNeeded(path), expected);
}

// A byte that is none may stand in the part that is looked at eight bytes at a time, or behind it.
void TestUtilities::ascii()
{
    for (std::size_t size = 0; size < 40; ++size) {
        std::string name(size, '\x7f');
        QVERIFY(isAscii(name));
        for (std::size_t i = 0; i < size; ++i) {
            name[i] = '\x80';
            QVERIFY(!isAscii(name));
            name[i] = '\0';
        }
        QVERIFY(isAscii(name));
    }
}

void TestUtilities::associatedDirectory_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("directory"); // made beside the file, when it is a bare name
    QTest::addColumn<bool>("isFound");
    QTest::newRow("has one") << "report.doc"
                             << "report" << true;
    QTest::newRow("has none") << "report.doc"
                              << "" << false;
    QTest::newRow("complete base name") << "a.tar.gz"
                                        << "a.tar" << true;
    QTest::newRow("not the short base name") << "a.tar.gz"
                                             << "a" << false;
    QTest::newRow("other directory") << "report.doc"
                                     << "reports" << false;
    QTest::newRow("without suffix") << "report"
                                    << "" << false;
    QTest::newRow("hidden file") << ".bashrc"
                                 << "" << false;
    QTest::newRow("hidden file with suffix") << ".bashrc.bak"
                                             << ".bashrc" << true;
    QTest::newRow("base name is this directory") << "..x"
                                                 << "" << false;
    QTest::newRow("base name is the parent") << "...x"
                                             << "" << false;
    QTest::newRow("trailing dot") << "report."
                                  << "report" << true;
    QTest::newRow("odd name") << "%1 \"q\"\n.x"
                              << "%1 \"q\"\n"
                              << true;
    QTest::newRow("unicode") << text("\xc3\xa9t\xc3\xa9.txt") << text("\xc3\xa9t\xc3\xa9") << true;
}

void TestUtilities::associatedDirectory()
{
    QFETCH(QString, file);
    QFETCH(QString, directory);
    QFETCH(bool, isFound);
    const Pair pair;
    QVERIFY(pair.local().write(file, "x"));
    if (!directory.isEmpty())
        QVERIFY(pair.local().makeDirectory(directory));
    const QString expected = isFound ? pair.local().filePath(directory) : QString();
    QCOMPARE(getAssociatedDirectoryPath(pair.local().filePath(file)), expected);
}

void TestUtilities::associatedDirectoryNeedsADirectory()
{
    const Pair pair;
    QVERIFY(pair.local().write(text("report.doc"), "x"));
    QVERIFY(pair.local().write(text("report"), "a file"));
    QCOMPARE(getAssociatedDirectoryPath(pair.local().filePath(text("report.doc"))), QString());
}

void TestUtilities::associatedDirectoryMayBeALink()
{
    const Pair pair;
    QVERIFY(QFile::link(pair.distantPath(), pair.local().filePath(text("report"))));
    QCOMPARE(getAssociatedDirectoryPath(pair.local().filePath(text("report.doc"))),
             pair.local().filePath(text("report")));
}

void TestUtilities::associatedDirectoryNeedsNoFile()
{
    const Pair pair;
    QVERIFY(pair.local().makeDirectory(text("report")));
    QCOMPARE(getAssociatedDirectoryPath(pair.local().filePath(text("report.doc"))),
             pair.local().filePath(text("report")));
}

QTEST_GUILESS_MAIN(TestUtilities)
#include "test_utilities.moc"
