#include "host.h"
#include "literals.h"

#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace VornSyncTest;

namespace {

QStringList oddNames()
{
    return {
        "it's.txt"_s,
        "\"quoted\".txt"_s,
        "'; DROP TABLE file_tracking; --"_s,
        "100%1 of %2 %L3 %n.txt"_s,
        "two\nlines.txt"_s,
        "tab\there"_s,
        "\x01\x1b[31mcontrol\x7f"_s,
        "-rf"_s,
        "--help"_s,
        " leading space"_s,
        "trailing space "_s,
        "dot at the end."_s,
        "two..dots"_s,
        "back\\slash"_s,
        "star*question?"_s,
        "[brackets]"_s,
        "$HOME `id` $(id)"_s,
        "~"_s,
        "a:b|c<d>e"_s,
        "Ünïcödé ß.txt"_s,
        "e\u0301 decomposed.txt"_s,
        "é composed.txt"_s,
        "日本語.txt"_s,
        "שלום.txt"_s,
        "😀.txt"_s,
        "UPPER.txt"_s,
        "upper.txt"_s,
        QString(255, QLatin1Char('a')),
        QString(85, QChar(0x65e5)), // 255 bytes in UTF-8
        QString(250, QLatin1Char('b')) + ".text"_s,
    };
}

bool makeSocket(const QString& path)
{
    sockaddr_un address = {};
    const QByteArray native = QFile::encodeName(path);
    if (std::size_t(native.size()) >= sizeof(address.sun_path))
        return false;
    address.sun_family = AF_UNIX;
    std::copy(native.begin(), native.end(), address.sun_path);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    void* const generic = &address;
    const bool isBound = ::bind(socket, static_cast<sockaddr*>(generic), sizeof(address)) == 0;
    ::close(socket);
    return isBound;
}

bool makeLink(const QString& target, const QString& path)
{
    return ::symlink(QFile::encodeName(target).constData(), QFile::encodeName(path).constData()) == 0;
}

bool makeFifo(const QString& path)
{
    return ::mkfifo(QFile::encodeName(path).constData(), 0644) == 0;
}

} // namespace

class TestMirrorNames : public QObject
{
    Q_OBJECT

private slots:
    void oddNamesAreData();
    void aNameThatCannotBeRepresentedIsPassedOver();
    void excludedFilesAreNeverSent();
    void aPatternThatComesLaterForgetsTheRowsAlone();
    void anInvalidPatternIsDroppedAndTheOthersHold();
    void specialFilesBlockNothing();
    void specialFilesThatTheHostNamesAreRefused();
    void aLinkIsMirroredAsItsFile();
    void aFileThatBecomesSomethingElseIsLeftAlone();
    void aDirectoryInThePlaceOfADistantFileCostsNoOtherItsTurn();
    void invalidNamesAreRefused_data();
    void invalidNamesAreRefused();
    void aMissingFileThatTheHostNamesIsReported();
    void anUnknownAliasIsIgnored();
};

void TestMirrorNames::oddNamesAreData()
{
    if (QFile::encodeName("日本"_s) != QByteArray("日本"))
        QSKIP("the locale is not UTF-8");
    const QStringList names = oddNames();
    Host host;
    for (const QString& name : names)
        QVERIFY2(host.local().write(name, name.toUtf8()), qPrintable(name));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().names().size(), names.size());
    QCOMPARE(host.manager()->doneCount(), names.size());

    // Over an existing file the road is another one.
    for (const QString& name : names)
        QVERIFY2(host.local().append(name, " changed"), qPrintable(name));
    VERIFY_AT_REST(host);
    for (const QString& name : names)
        QCOMPARE(host.distant().read(name), name.toUtf8() + " changed");

    const QVariantMap event = host.manager()->recentEvents().value(0).toMap();
    QCOMPARE(host.local().filePath(event.value("fileName"_s).toString()),
             event.value("filePath"_s).toString());
}

void TestMirrorNames::aNameThatCannotBeRepresentedIsPassedOver()
{
    Host host;
    const QByteArray path = QFile::encodeName(host.local().filePath("latin"_s)) + "\xe9.txt";
    const int file = ::open(path.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    QVERIFY(file >= 0);
    QCOMPARE(::write(file, "x", 1), ssize_t(1));
    ::close(file);
    if (QFile::encodeName(QFile::decodeName(path)) == path)
        QSKIP("the locale represents every name");
    QVERIFY(host.local().write("plain.txt"_s, "p"));
    host.leaveOut(QFile::decodeName(path).section(QLatin1Char('/'), -1));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(host.awaitCycles(7));
    QCOMPARE(host.distant().names(), QStringList{"plain.txt"_s});
    QCOMPARE(host.manager()->doneCount(), 1);
    QCOMPARE(host.raw().value("SELECT COUNT(*) FROM file_tracking"_s).toInt(), 1);
}

void TestMirrorNames::excludedFilesAreNeverSent()
{
    HostOptions options;
    options.patterns = QStringList{"*.tmp"_s, "~$*"_s, "thumbs.db"_s, "a?.bak"_s, "[xyz]1"_s, QString()};
    Host host(options);
    const QStringList excluded = {"a.tmp"_s,     "A.TMP"_s,  ".tmp.tmp"_s, "~$doc.docx"_s,
                                  "Thumbs.db"_s, "ab.bak"_s, "x1"_s,       "Y1"_s};
    const QStringList sent = {"a.tmp.txt"_s, "tmp"_s, "doc~$.docx"_s, "mythumbs.db"_s,
                              "abc.bak"_s,   "w1"_s,  "x12"_s};
    for (const QString& name : excluded + sent)
        QVERIFY(host.local().write(name, name.toUtf8()));
    QVERIFY(host.start());
    QVERIFY(host.local().write("later.tmp"_s, "l"));
    host.manager()->notifyLocalFileChanged(Host::alias(), "unknown alias is not the point"_s);
    host.expectErrors("'unknown alias is not the point'"_s);
    host.expectWarnings();
    host.leaveOut("unknown alias is not the point"_s);
    VERIFY_AT_REST(host);
    QStringList expected = sent;
    expected.sort();
    QCOMPARE(host.distant().names(), expected);
}

void TestMirrorNames::aPatternThatComesLaterForgetsTheRowsAlone()
{
    // Each start takes its patterns anew: two hosts, one after the other, on the same files.
    HostOptions first;
    Host before(first);
    QVERIFY(before.local().write("draft.bak"_s, "draft"));
    QVERIFY(before.local().write("text.txt"_s, "text"));
    QVERIFY(before.start());
    VERIFY_AT_REST(before);
    const QString local = before.pair().localPath();
    const QString distant = before.pair().distantPath();
    before.stop();

    VornSyncManager manager(before.databasePath(), before.trashRoot(), 100, {"*.BAK"_s});
    QVERIFY(manager.addDirectory(Host::alias(), local, distant));
    QVERIFY(waitFor([&] { return manager.doneCount() == 1; }));
    QVERIFY(before.row("draft.bak"_s).isEmpty());
    QCOMPARE(before.status("text.txt"_s), 17);
    QCOMPARE(before.distant().read("draft.bak"_s), QByteArray("draft"));
    QCOMPARE(before.local().read("draft.bak"_s), QByteArray("draft"));
    QVERIFY(before.local().append("draft.bak"_s, " more"));
    QVERIFY(before.local().append("text.txt"_s, " more"));
    QVERIFY(waitFor([&] { return before.distant().read("text.txt"_s) == "text more"; }));
    QCOMPARE(before.distant().read("draft.bak"_s), QByteArray("draft"));
}

void TestMirrorNames::anInvalidPatternIsDroppedAndTheOthersHold()
{
    HostOptions options;
    options.patterns = QStringList{"[z-a]"_s, "*.tmp"_s};
    Host host(options);
    host.expectWarnings();
    QVERIFY(host.local().write("a.tmp"_s, "a"));
    QVERIFY(host.local().write("m"_s, "m"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().names(), QStringList{"m"_s});
    QVERIFY2(host.trace().warnings().size() == 1, qPrintable(host.trace().warnings().join("; "_s)));
    QVERIFY(host.trace().warnings().first().startsWith(
        "VornSyncSynchronizer: ignoring invalid exclusion pattern"_s));
    QVERIFY(host.trace().warnings().first().contains("[z-a]"_s));
}

void TestMirrorNames::specialFilesBlockNothing()
{
    Host host;
    const Side& local = host.local();
    QVERIFY(makeFifo(local.filePath("a fifo"_s)));
    QVERIFY(makeSocket(local.filePath("a socket"_s)));
    QVERIFY(makeLink("nowhere"_s, local.filePath("a dangling link"_s)));
    QVERIFY(makeLink("a loop"_s, local.filePath("a loop"_s)));
    QVERIFY(makeLink("/dev/zero"_s, local.filePath("a device"_s)));
    QVERIFY(makeLink("a fifo"_s, local.filePath("a link to a fifo"_s)));
    QVERIFY(local.write("directory/inner.txt"_s, "i"));
    QVERIFY(makeLink("directory"_s, local.filePath("a link to a directory"_s)));
    QVERIFY(local.write("plain.txt"_s, "p"));
    // Qt lists links as files whatever they lead to.
    host.leaveOut("a device"_s);
    host.leaveOut("a link to a fifo"_s);
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(host.awaitCycles(7)); // a verification too
    QCOMPARE(host.distant().names(), QStringList{"plain.txt"_s});
    QCOMPARE(host.manager()->doneCount(), 1);
    VERIFY_AT_REST(host);
}

void TestMirrorNames::specialFilesThatTheHostNamesAreRefused()
{
    Host host;
    const QStringList names = {"a fifo"_s, "a socket"_s, "a dangling link"_s, "a directory"_s, "a device"_s};
    QVERIFY(makeFifo(host.local().filePath(names.at(0))));
    QVERIFY(makeSocket(host.local().filePath(names.at(1))));
    QVERIFY(makeLink("nowhere"_s, host.local().filePath(names.at(2))));
    QVERIFY(host.local().makeDirectory(names.at(3)));
    QVERIFY(makeLink("/dev/zero"_s, host.local().filePath(names.at(4))));
    host.leaveOut(names.at(4)); // Qt lists links as files whatever they lead to
    QVERIFY(host.start());
    for (const QString& name : names)
        host.manager()->notifyLocalFileChanged(Host::alias(), name);
    QVERIFY(host.local().write("plain.txt"_s, "p"));
    host.manager()->notifyLocalFileChanged(Host::alias(), "plain.txt"_s);
    QCOMPARE(host.settle(), QString());

    QStringList expected;
    for (const QString& name : names)
        expected
            << "Synchronizer error: ERROR: Impossible to process synchronization, not a plain file: '%1'."_s
                   .arg(name);
    QCOMPARE(host.takeErrors(), expected);
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().names(), QStringList{"plain.txt"_s});
}

void TestMirrorNames::aLinkIsMirroredAsItsFile()
{
    Host host;
    const Side outside(host.pair().rootPath());
    QVERIFY(outside.write("target.txt"_s, "version 1"));
    QVERIFY(makeLink("../target.txt"_s, host.local().filePath("link.txt"_s)));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    const QFileInfo copy(host.distant().filePath("link.txt"_s));
    QVERIFY(copy.isFile() && !copy.isSymLink());
    QCOMPARE(host.distant().read("link.txt"_s), QByteArray("version 1"));

    QVERIFY(outside.write("target.txt"_s, "version 2, longer"));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read("link.txt"_s), QByteArray("version 2, longer"));
}

void TestMirrorNames::aFileThatBecomesSomethingElseIsLeftAlone()
{
    Host host;
    const QStringList names = {"fifo"_s, "dangling"_s, "directory"_s};
    for (const QString& name : names)
        QVERIFY(host.local().write(name, name.toUtf8()));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    for (const QString& name : names)
        QVERIFY(host.local().remove(name));
    QVERIFY(makeFifo(host.local().filePath("fifo"_s)));
    QVERIFY(makeLink("nowhere"_s, host.local().filePath("dangling"_s)));
    QVERIFY(host.local().makeDirectory("directory"_s));
    QVERIFY(host.local().write("other.txt"_s, "o"));
    QVERIFY(waitFor([&] { return host.distant().exists("other.txt"_s); }));
    QVERIFY(host.awaitCycles(7));
    for (const QString& name : names) {
        QCOMPARE(host.distant().read(name), name.toUtf8());
        // A pass that fell between the removal and the new entry has seen the file missing.
        QVERIFY(host.status(name) == 17 || host.row(name).value("error_code"_s).toInt() == 2);
        host.leaveOut(name);
    }
    VERIFY_AT_REST(host);
}

void TestMirrorNames::aDirectoryInThePlaceOfADistantFileCostsNoOtherItsTurn()
{
    HostOptions options;
    options.syncIntervalMs = kNoCyclesMs;
    Host host(options);
    QVERIFY(host.distant().write("blocked.txt/inner.txt"_s, "theirs"));
    QVERIFY(host.local().write("blocked.txt"_s, "mine"));
    QVERIFY(host.local().write("other.txt"_s, "other"));
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return host.status("other.txt"_s) == 17; }));
    // Without a message the runs are counted: five, 1, 2, 3 and 4 s apart.
    const QString path = host.local().filePath("blocked.txt"_s);
    QVERIFY(waitFor([&] { return host.completed().contains(qMakePair(path, false)); }));
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 1; }));
    QCOMPARE(host.seenErrorFiles(), QStringList{"blocked.txt/13"_s});
    QCOMPARE(host.started().count(path), 1);
    QCOMPARE(host.distant().read("blocked.txt/inner.txt"_s), QByteArray("theirs"));

    // Cleared by the next cycle, the row waits for its time-out, and then finds the way free.
    QVERIFY(host.awaitCycles(1));
    QCOMPARE(host.status("blocked.txt"_s), 20);
    QVERIFY(host.distant().remove("blocked.txt"_s));
    QVERIFY(host.age("blocked.txt"_s));
    QVERIFY(host.awaitCycles(1));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read("blocked.txt"_s), QByteArray("mine"));
}

void TestMirrorNames::invalidNamesAreRefused_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("empty") << QString();
    QTest::newRow("dot") << "."_s;
    QTest::newRow("dot dot") << ".."_s;
    QTest::newRow("in a directory") << "a/b"_s;
    QTest::newRow("out of the directory") << "../outside.txt"_s;
    QTest::newRow("absolute") << "/etc/passwd"_s;
    QTest::newRow("NUL") << "a"_s + QChar(QChar::Null) + "b"_s;
}

void TestMirrorNames::invalidNamesAreRefused()
{
    QFETCH(QString, name);
    Host host;
    QVERIFY(Side(host.pair().rootPath()).write("outside.txt"_s, "o"));
    QVERIFY(host.start());
    host.manager()->notifyLocalFileChanged(Host::alias(), name);
    QCOMPARE(host.takeErrors(),
             QStringList{"ERROR: Invalid file name: '"_s + name + "' for alias: 'docs'."_s});
    VERIFY_AT_REST(host);
    QCOMPARE(host.raw().value("SELECT COUNT(*) FROM file_tracking"_s).toInt(), 0);
    QCOMPARE(host.distant().names(), QStringList());
}

void TestMirrorNames::aMissingFileThatTheHostNamesIsReported()
{
    Host host;
    host.expectWarnings(); // an error without a base status
    QVERIFY(host.start());
    host.manager()->notifyLocalFileChanged(Host::alias(), "missing.txt"_s);
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 1; }));
    QCOMPARE(host.takeErrors(),
             QStringList{"Synchronizer error: ERROR: Impossible to process synchronization, "
                         "local file does not exist: 'missing.txt'."_s});
    QCOMPARE(host.row("missing.txt"_s).value("error_code"_s).toInt(), 2);
    host.leaveOut("missing.txt"_s);
    VERIFY_AT_REST(host);
}

void TestMirrorNames::anUnknownAliasIsIgnored()
{
    Host host;
    QVERIFY(host.start());
    host.manager()->notifyLocalFileChanged("nobody"_s, "text.txt"_s);
    host.manager()->notifyLocalFileChanged("nobody"_s, "../text.txt"_s);
    host.manager()->setDirectoryAvailability("nobody"_s, true);
    host.manager()->setDirectoryAvailability("nobody"_s, false);
    VERIFY_AT_REST(host);
    QCOMPARE(host.errors(), QStringList());
}

QTEST_GUILESS_MAIN(TestMirrorNames)
#include "test_mirror_names.moc"
