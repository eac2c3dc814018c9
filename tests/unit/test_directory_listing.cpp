#include "disk_hooks.h"
#include "literals.h"
#include "mounts.h"
#include "trace_capture.h"
#include "vorn_sync_directory_listing.h"
#include "vorn_sync_open_directory.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QVector>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace VornSyncTest;
using Outcome = VornSyncDirectoryListing::Outcome;

Q_DECLARE_METATYPE(VornSyncDirectoryListing::Outcome)

namespace {

constexpr int kManyEntries = 300; // more than are read between two looks at the thread

struct Entry
{
    QString name;
    bool isPlainFile = false;
    bool isHidden = false;
};

// A listing with all that it was shown.
struct Listed
{
    VornSyncDirectoryListing listing;
    QVector<Entry> entries;

    VornSyncDirectoryListing::Outcome outcome() const { return listing.outcome(); }
    QString errorText() const { return listing.errorText(); }
    bool contains(const QString& name) const { return find(name) != entries.end(); }
    Entry at(const QString& name) const { return contains(name) ? *find(name) : Entry(); }
    int plainFileCount() const
    {
        return int(std::count_if(entries.begin(), entries.end(),
                                 [](const Entry& entry) { return entry.isPlainFile && !entry.isHidden; }));
    }

private:
    QVector<Entry>::const_iterator find(const QString& name) const
    {
        return std::find_if(entries.begin(), entries.end(),
                            [&name](const Entry& entry) { return entry.name == name; });
    }
};

Listed list(const QString& path)
{
    Listed listed;
    listed.listing =
        VornSyncDirectoryListing::read(path, [&listed](const VornSyncDirectoryListing::Entry& entry) {
            listed.entries.append({QString::fromUtf8(entry.name.data(), int(entry.name.size())),
                                   entry.isPlainFile, entry.isHidden});
        });
    return listed;
}

bool write(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write("x") == 1;
}

VornSyncFileFacts factsIn(const QString& path, const char* name)
{
    return VornSyncOpenDirectory(QFile::encodeName(path)).facts(name);
}

bool makeSocket(const QString& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, QFile::encodeName(path).constData(), sizeof(address.sun_path));
    const int handle = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const bool ok = ::bind(handle, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    ::close(handle);
    return ok;
}

} // namespace

class TestDirectoryListing : public QObject
{
    Q_OBJECT

private slots:
    void kindsOfEntries();
    void emptyDirectory();
    void names_data();
    void names();
    void nameWithoutRepresentation_isSkippedAndTraced();
    void missingDirectory();
    void emptyPath_isMissing();
    void pathThroughFile_isFailed();
    void forbiddenDirectory_isFailed();
    void listingThatFailsHalfWay_isFailed();
    void listingThatFailsAtOnce_isFailed();
    void vanishedHalfWay_isNotMissing();
    void interruptedThread_stopsListing();
    void keptEntriesStayAsTheyWere();

    void factsOfAPlainFile();
    void factsOfOtherKinds();
    void factsOfAVanishedEntry();
    void factsWithoutADirectory();
    void factsOfAForbiddenDirectory();
    void factsOfAReplacedDirectory();
    void factsWhileListing();
    void factsThatCantBeHad();
};

void TestDirectoryListing::kindsOfEntries()
{
    QTemporaryDir root;
    const QDir dir(root.path());
    QVERIFY(write(dir.filePath("a.txt"_s)));
    QVERIFY(write(dir.filePath(".hidden"_s)));
    QVERIFY(dir.mkdir("sub"_s));
    QVERIFY(write(dir.filePath("sub/below.txt"_s)));
    QVERIFY(QFile::link(dir.filePath("a.txt"_s), dir.filePath("link"_s)));
    QVERIFY(QFile::link(dir.filePath("nowhere"_s), dir.filePath("dangling"_s)));
    QVERIFY(QFile::link(dir.filePath("sub"_s), dir.filePath("dirlink"_s)));
    QVERIFY(::mkfifo(QFile::encodeName(dir.filePath("fifo"_s)).constData(), 0600) == 0);
    QVERIFY(makeSocket(dir.filePath("socket"_s)));

    const auto listing = list(root.path());
    QCOMPARE(listing.outcome(), Outcome::Complete);
    QVERIFY(listing.listing.isComplete());
    QCOMPARE(listing.errorText(), QString());
    QCOMPARE(listing.entries.size(), 8);
    QCOMPARE(listing.plainFileCount(), 2); // a.txt and the link to it

    const auto isPlain = [&listing](const QString& name) { return listing.at(name).isPlainFile; };
    for (const QString& name : {"a.txt"_s, "link"_s, ".hidden"_s})
        QVERIFY2(isPlain(name), qPrintable(name));
    for (const QString& name : {"sub"_s, "dirlink"_s, "dangling"_s, "fifo"_s, "socket"_s})
        QVERIFY2(!isPlain(name), qPrintable(name));
    QVERIFY(listing.at(".hidden"_s).isHidden);
    QVERIFY(!listing.at("a.txt"_s).isHidden);
    QCOMPARE(listing.at("a.txt"_s).name, "a.txt"_s);
    QVERIFY(!listing.contains("A.TXT"_s));
    QVERIFY(!listing.contains("."_s));
    QVERIFY(!listing.contains(".."_s));
    QVERIFY(!listing.contains("below.txt"_s));
    QVERIFY(listing.contains("fifo"_s));
    QVERIFY(!listing.contains("nowhere"_s));
}

void TestDirectoryListing::emptyDirectory()
{
    QTemporaryDir root;
    const auto listing = list(root.path());
    QCOMPARE(listing.outcome(), Outcome::Complete);
    QCOMPARE(listing.entries.size(), 0);
    QCOMPARE(listing.plainFileCount(), 0);
}

void TestDirectoryListing::names_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("percent") << "%1 %2%n"_s;
    QTest::newRow("quotes") << "a'b\"c"_s;
    QTest::newRow("newline") << "a\nb"_s;
    QTest::newRow("leading dash") << "-rf"_s;
    QTest::newRow("leading space") << " a "_s;
    QTest::newRow("backslash") << "a\\b"_s;
    QTest::newRow("accents") << "Ünïcødé.txt"_s;
    QTest::newRow("outside the plane") << "😀.txt"_s;
    QTest::newRow("255 bytes") << QString(255, QLatin1Char('n'));
}

void TestDirectoryListing::names()
{
    QFETCH(QString, name);
    QTemporaryDir root;
    QVERIFY(write(root.filePath(name)));
    const auto listing = list(root.path());
    QCOMPARE(listing.entries.size(), 1);
    QCOMPARE(listing.entries.first().name, name);
    QVERIFY(listing.entries.first().isPlainFile);
    QVERIFY(listing.contains(name));
}

void TestDirectoryListing::nameWithoutRepresentation_isSkippedAndTraced()
{
    QTemporaryDir root;
    QVERIFY(write(root.filePath("a.txt"_s)));
    const QByteArray path = QFile::encodeName(root.path()) + "/bad\xff.txt";
    const int handle = ::creat(path.constData(), 0600);
    if (handle < 0)
        QSKIP("the file system takes no such name");
    ::close(handle);

    TraceCapture trace;
    const auto listing = list(root.path());
    QCOMPARE(listing.outcome(), Outcome::Complete);
    QCOMPARE(listing.entries.size(), 1);
    QCOMPARE(listing.entries.first().name, "a.txt"_s);
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf("Sync: "_s),
                 QStringList("listDirectory - Skip a name that the locale can't represent: '%1'"_s.arg(
                     QFile::decodeName("bad\xff.txt"))));
    ::unlink(path.constData());
}

void TestDirectoryListing::missingDirectory()
{
    QTemporaryDir root;
    const auto listing = list(root.filePath("nowhere/below"_s));
    QCOMPARE(listing.outcome(), Outcome::Missing);
    QVERIFY(!listing.listing.isComplete());
    QCOMPARE(listing.entries.size(), 0);
}

void TestDirectoryListing::emptyPath_isMissing()
{
    QCOMPARE(list(QString()).outcome(), Outcome::Missing);
}

void TestDirectoryListing::pathThroughFile_isFailed()
{
    QTemporaryDir root;
    QVERIFY(write(root.filePath("file"_s)));
    for (const QString& path : {root.filePath("file"_s), root.filePath("file/below"_s)}) {
        const auto listing = list(path);
        QCOMPARE(listing.outcome(), Outcome::Failed);
        QCOMPARE(listing.errorText(), "Not a directory"_s);
    }
}

void TestDirectoryListing::forbiddenDirectory_isFailed()
{
    QTemporaryDir root;
    QVERIFY(QDir().mkpath(root.filePath("closed"_s)));
    QVERIFY(write(root.filePath("closed/a.txt"_s)));
    QVERIFY(::chmod(QFile::encodeName(root.filePath("closed"_s)).constData(), 0) == 0);
    UnprivilegedScope scope;
    if (!scope.isActive())
        QSKIP("permissions are not checked for this user");
    const auto listing = list(root.filePath("closed"_s));
    QCOMPARE(listing.outcome(), Outcome::Failed);
    QCOMPARE(listing.errorText(), "Permission denied"_s);
}

void TestDirectoryListing::listingThatFailsHalfWay_isFailed()
{
    QTemporaryDir root;
    for (const QString& name : {"a"_s, "b"_s, "c"_s, "d"_s})
        QVERIFY(write(root.filePath(name)));
    FailingListing hook(root.path(), 4, EIO);
    const auto listing = list(root.path());
    QCOMPARE(listing.outcome(), Outcome::Failed);
    QVERIFY(!listing.listing.isComplete());
    QCOMPARE(listing.errorText(), "Input/output error"_s);
}

void TestDirectoryListing::listingThatFailsAtOnce_isFailed()
{
    QTemporaryDir root;
    FailingListing hook(root.path(), 0, EACCES);
    const auto listing = list(root.path());
    QCOMPARE(listing.outcome(), Outcome::Failed);
    QCOMPARE(listing.entries.size(), 0);
}

// A share that goes away while it is read may well say "no such file": what was read before proves that the
// directory was there.
void TestDirectoryListing::vanishedHalfWay_isNotMissing()
{
    QTemporaryDir root;
    for (const QString& name : {"a"_s, "b"_s, "c"_s})
        QVERIFY(write(root.filePath(name)));
    FailingListing hook(root.path(), 4, ENOENT);
    QCOMPARE(list(root.path()).outcome(), Outcome::Failed);
}

void TestDirectoryListing::interruptedThread_stopsListing()
{
    QTemporaryDir root;
    for (int i = 0; i < kManyEntries; ++i)
        QVERIFY(write(root.filePath(QString::number(i))));
    Listed listing;
    const std::unique_ptr<QThread> thread(QThread::create([&] {
        QThread::currentThread()->requestInterruption();
        listing = list(root.path());
    }));
    thread->start();
    QVERIFY(thread->wait(30000));
    QCOMPARE(listing.outcome(), Outcome::Interrupted);
    QVERIFY(!listing.listing.isComplete());
}

// The entry that a visitor is shown is reused: one that it keeps must not change with the next.
void TestDirectoryListing::keptEntriesStayAsTheyWere()
{
    QTemporaryDir root;
    const QStringList names = {"a"_s, "a longer name"_s, "b"_s, "Ünïcødé"_s};
    for (const QString& name : names)
        QVERIFY(write(root.filePath(name)));
    QStringList seen;
    for (const Entry& entry : list(root.path()).entries)
        seen.append(entry.name);
    seen.sort();
    QCOMPARE(seen, names);
}

// --- What the disk says of one entry --------------------------------------------------------------------

void TestDirectoryListing::factsOfAPlainFile()
{
    QTemporaryDir root;
    QFile file(root.filePath("Ünï %1"_s));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("12345") == 5);
    file.close();
    const timespec times[2] = {{1600000000, 0}, {1700000000, 123456000}};
    QVERIFY(::utimensat(AT_FDCWD, QFile::encodeName(file.fileName()).constData(), times, 0) == 0);
    QVERIFY(QFile::link("Ünï %1"_s, root.filePath("link"_s)));
    for (const char* name : {"Ünï %1", "link"}) {
        const VornSyncFileFacts facts = factsIn(root.path(), name);
        QCOMPARE(facts.presence, VornSyncPresence::Present);
        QVERIFY(facts.isPlainFile);
        QCOMPARE(facts.size, 5);
        QCOMPARE(facts.lmdSecs, 1700000000);
        QCOMPARE(facts.lmdNanosecs, 123456000);
    }
}

// Nothing is opened: a FIFO without a writer would hold the test up for ever.
void TestDirectoryListing::factsOfOtherKinds()
{
    QTemporaryDir root;
    const QDir dir(root.path());
    QVERIFY(dir.mkdir("sub"_s));
    QVERIFY(QFile::link(dir.filePath("sub"_s), dir.filePath("dirlink"_s)));
    QVERIFY(QFile::link(dir.filePath("nowhere"_s), dir.filePath("dangling"_s)));
    QVERIFY(::mkfifo(QFile::encodeName(dir.filePath("fifo"_s)).constData(), 0600) == 0);
    QVERIFY(makeSocket(dir.filePath("socket"_s)));
    for (const char* name : {"sub", "dirlink", "dangling", "fifo", "socket"}) {
        const VornSyncFileFacts facts = factsIn(root.path(), name);
        QVERIFY2(facts.presence == VornSyncPresence::Present, name);
        QVERIFY2(!facts.isPlainFile, name);
        QCOMPARE(facts.size, 0);
        QCOMPARE(facts.lmdSecs, 0);
    }
}

// It was listed a moment ago: what has become of it, nobody knows.
void TestDirectoryListing::factsOfAVanishedEntry()
{
    QTemporaryDir root;
    const VornSyncFileFacts facts = factsIn(root.path(), "vanished");
    QCOMPARE(facts.presence, VornSyncPresence::Unknown);
    QVERIFY(!facts.isPlainFile);

    QVERIFY(QFile::link("loop"_s, root.filePath("loop"_s)));
    QCOMPARE(factsIn(root.path(), "loop").presence, VornSyncPresence::Unknown);
}

void TestDirectoryListing::factsWithoutADirectory()
{
    QTemporaryDir root;
    QVERIFY(write(root.filePath("file"_s)));
    for (const QString& path : {root.filePath("nowhere"_s), root.filePath("file"_s)}) {
        VornSyncOpenDirectory directory(QFile::encodeName(path));
        QCOMPARE(directory.facts("a").presence, VornSyncPresence::Unknown);
        QVERIFY(!directory.next());
        QVERIFY(directory.error());
        QVERIFY(!directory.next());
        QCOMPARE(directory.facts("a").presence, VornSyncPresence::Unknown);
    }
}

// What can't be listed is not looked into, even where the system would let one.
void TestDirectoryListing::factsOfAForbiddenDirectory()
{
    QTemporaryDir root;
    QVERIFY(::chmod(QFile::encodeName(root.path()).constData(), 0755) == 0);
    QVERIFY(QDir().mkpath(root.filePath("closed"_s)));
    QVERIFY(write(root.filePath("closed/a.txt"_s)));
    const QByteArray closed = QFile::encodeName(root.filePath("closed"_s));
    QVERIFY(::chmod(closed.constData(), 0711) == 0);
    UnprivilegedScope scope;
    if (!scope.isActive())
        QSKIP("permissions are not checked for this user");
    struct stat buffer = {};
    QVERIFY(::stat((closed + "/a.txt").constData(), &buffer) == 0);
    VornSyncOpenDirectory directory(closed);
    QVERIFY(!directory.next());
    QCOMPARE(directory.error(), std::error_code(EACCES, std::generic_category()));
    QCOMPARE(directory.facts("a.txt").presence, VornSyncPresence::Unknown);
}

void TestDirectoryListing::factsOfAReplacedDirectory()
{
    QTemporaryDir root;
    QVERIFY(QDir().mkpath(root.filePath("dir"_s)));
    QVERIFY(write(root.filePath("dir/old"_s)));
    VornSyncOpenDirectory directory(QFile::encodeName(root.filePath("dir"_s)));
    QVERIFY(QFile::rename(root.filePath("dir"_s), root.filePath("moved"_s)));
    QVERIFY(QDir().mkpath(root.filePath("dir"_s)));
    QVERIFY(write(root.filePath("dir/new"_s)));

    QVERIFY(directory.next());
    QCOMPARE(QByteArray(directory.name()), QByteArray("old"));
    QVERIFY(!directory.next());
    QVERIFY(!directory.error());
#ifdef VORN_SYNC_PORTABLE_DIRECTORY
    // It goes by the path: "old" is not there, and what that means is unknown.
    QCOMPARE(directory.facts("old").presence, VornSyncPresence::Unknown);
    QVERIFY(directory.facts("new").isPlainFile);
#else
    QVERIFY(directory.facts("old").isPlainFile);
    QCOMPARE(directory.facts("new").presence, VornSyncPresence::Unknown);
#endif
}

void TestDirectoryListing::factsWhileListing()
{
    QTemporaryDir root;
    for (int i = 0; i < kManyEntries; ++i) {
        QFile file(root.filePath(QString::number(i)));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(i));
    }
    VornSyncOpenDirectory directory(QFile::encodeName(root.path()));
    QVector<bool> seen(kManyEntries);
    while (directory.next()) {
        const QByteArray name = directory.name();
        QCOMPARE(directory.facts(directory.name()).size, name.toLongLong());
        QCOMPARE(directory.facts("7").size, 7); // another one: the order goes on
        QCOMPARE(QByteArray(directory.name()), name);
        QVERIFY(directory.isPlainFile());
        QVERIFY(!std::exchange(seen[name.toInt()], true));
    }
    QVERIFY(!directory.error());
    QCOMPARE(seen.count(true), kManyEntries);
    QCOMPARE(directory.facts("7").size, 7); // after the end
}

void TestDirectoryListing::factsThatCantBeHad()
{
    QTemporaryDir root;
    QVERIFY(write(root.filePath("a"_s)));
    QCOMPARE(factsIn(root.path(), QByteArray(256, 'n').constData()).presence, VornSyncPresence::Unknown);
    const StatHook hook(root.filePath("a"_s), [] { return EIO; });
    const VornSyncFileFacts facts = factsIn(root.path(), "a");
    QCOMPARE(facts.presence, VornSyncPresence::Unknown);
    QVERIFY(!facts.isPlainFile);
}

QTEST_GUILESS_MAIN(TestDirectoryListing)
#include "test_directory_listing.moc"
