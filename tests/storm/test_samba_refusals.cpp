#include "child_process.h"
#include "host.h"
#include "literals.h"
#include "mounts.h"
#include "samba_share.h"

#include <QFile>
#include <QProcess>
#include <QTest>

#include <array>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>

using namespace VornSyncTest;

namespace {

constexpr int kFileCount = 4;
constexpr int kBeingSent = 20;
constexpr int kSlowMs = 120000;

QByteArray filler(int kibibytes, char first)
{
    QByteArray result(kibibytes * 1024, '\0');
    for (int i = 0; i < result.size(); ++i)
        result[i] = char(first + i * 7 + i / 1024);
    return result;
}

} // namespace

// Another client of the share that has a file open, as programs do: others may read and write it, and neither
// remove nor rename it. It is the download of a file into a pipe that nobody reads.
class OtherClient
{
    Q_DISABLE_COPY_MOVE(OtherClient)

public:
    OtherClient() = default;
    // False: there is no such client.
    bool hold(const SambaShare& share, const QString& name)
    {
        const QString program = ChildProcess::find("smbclient"_s);
        const QString pipe = m_directory.filePath("pipe"_s);
        return !program.isEmpty() && ::mkfifo(QFile::encodeName(pipe).constData(), 0600) == 0 &&
               m_client.begin(program, {"--configfile="_s + share.serverConfiguration(), "-p"_s,
                                        QString::number(share.port()), "-N"_s, "//127.0.0.1/share"_s, "-c"_s,
                                        "get \"%1\" \"%2\""_s.arg(name, pipe)});
    }
    void release() { m_client.killGroup(); }

private:
    QTemporaryDir m_directory;
    ChildProcess m_client;
};

// The server is there, and says no.
class TestSambaRefusals : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void aFullShare();
    void filesHeldOpen();
    void aFileWithLockedBytes();

private:
    Side server() const { return Side(m_share->serverPath()); }
    bool isHeld(const QString& name) const;
    bool retryNow(const QStringList& names);

    std::unique_ptr<SambaShare> m_share;
    std::unique_ptr<TmpfsMount> m_room;
    std::unique_ptr<Host> m_host;
};

void TestSambaRefusals::init()
{
    m_share = std::make_unique<SambaShare>();
    if (!m_share->start())
        QSKIP(qPrintable("no Samba share: "_s + m_share->reason()));
    HostOptions options;
    options.syncIntervalMs = kNoCyclesMs; // a cycle clears what is listed
    options.distantPath = m_share->mountedPath();
    m_host = std::make_unique<Host>(options);
}

void TestSambaRefusals::cleanup()
{
    m_host.reset();
    m_share->killServer();
    m_room.reset();
    m_share.reset();
}

// The next cycle clears their errors; that they are sent takes until they are stale.
bool TestSambaRefusals::retryNow(const QStringList& names)
{
    m_host->manager()->requestSync();
    for (const QString& name : names) {
        if (!waitFor([&] { return m_host->status(name) == kBeingSent; }) || !m_host->age(name))
            return false;
    }
    m_host->manager()->requestSync();
    return true;
}

void TestSambaRefusals::aFullShare()
{
    Host& host = *m_host;
    m_share->killServer();
    m_room = std::make_unique<TmpfsMount>(m_share->serverPath(), "size=4m"_s);
    if (!m_room->isMounted())
        QSKIP(qPrintable(m_room->reason()));
    QVERIFY(m_share->resumeServer());
    QVERIFY(waitFor([&] { return QFile::exists(m_share->mountedPath()); }));
    for (int i = 0; i < kFileCount; ++i)
        QVERIFY(host.local().write("file %1.bin"_s.arg(i), filler(100, char(i))));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);

    QFile theirs(server().filePath("theirs.bin"_s));
    QVERIFY(theirs.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    const QByteArray page(4096, 'f');
    while (theirs.write(page) == page.size()) {
    }
    theirs.close();
    host.expectErrors("Failure to copy file: '"_s);
    QVERIFY(host.local().write("file 1.bin"_s, filler(700, 'g')));
    QVERIFY(host.local().write("new.bin"_s, filler(300, 'n')));
    host.manager()->requestSync();
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 2 && host.manager()->isIdle(); }, kSlowMs));
    QStringList seen = host.seenErrorFiles();
    seen.sort();
    QCOMPARE(seen, (QStringList{"file 1.bin/6"_s, "new.bin/6"_s}));
    // What is there stays, and nothing half is there.
    for (int i = 0; i < kFileCount; ++i)
        QCOMPARE(server().read("file %1.bin"_s.arg(i)), filler(100, char(i)));
    QCOMPARE(server().names().size(), kFileCount + 1);

    QVERIFY(server().remove("theirs.bin"_s));
    QVERIFY(retryNow({"file 1.bin"_s, "new.bin"_s}));
    VERIFY_AT_REST(host);
    QCOMPARE(server().read("file 1.bin"_s), filler(700, 'g'));
    QCOMPARE(server().read("new.bin"_s), filler(300, 'n'));
}

// As the server lists it.
bool TestSambaRefusals::isHeld(const QString& name) const
{
    QProcess status;
    status.start(ChildProcess::find("smbstatus"_s),
                 {"--locks"_s, "--configfile="_s + m_share->serverConfiguration()});
    return status.waitForFinished() && status.readAllStandardOutput().contains(name.toUtf8());
}

// The user goes on locally. The share keeps what it could not give, and nobody else waits for it.
void TestSambaRefusals::filesHeldOpen()
{
    Host& host = *m_host;
    for (const char* name : {"held.doc", "free.doc", "renamed.doc", "deleted.doc"})
        QVERIFY(host.local().write(QLatin1String(name), name));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    const QStringList held = {"held.doc"_s, "renamed.doc"_s, "deleted.doc"_s};
    std::array<OtherClient, 3> clients;
    for (int i = 0; i < held.size(); ++i) {
        if (!clients.at(std::size_t(i)).hold(*m_share, held.at(i)))
            QSKIP("there is no smbclient");
        QVERIFY(waitFor([&] { return isHeld(held.at(i)); }));
    }

    host.expectErrors("held.doc"_s);
    host.expectErrors("renamed.doc"_s);
    QVERIFY(host.manager()->lockForRename(Host::alias(), "renamed.doc"_s, "new name.doc"_s));
    QVERIFY(host.local().rename("renamed.doc"_s, "new name.doc"_s));
    host.manager()->commitRename(Host::alias(), "renamed.doc"_s, "new name.doc"_s);
    QVERIFY(host.local().remove("deleted.doc"_s));
    host.manager()->notifyLocalFileDeleted(Host::alias(), "deleted.doc"_s);
    for (const char* name : {"held.doc", "free.doc"}) {
        QVERIFY(host.local().write(QLatin1String(name), "second version"));
        host.manager()->notifyLocalFileChanged(Host::alias(), QLatin1String(name));
    }
    QVERIFY(waitFor([&] { return server().read("free.doc"_s) == "second version"; }));
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 2 && host.manager()->isIdle(); }, kSlowMs));
    QStringList seen = host.seenErrorFiles();
    seen.sort();
    QCOMPARE(seen, (QStringList{"held.doc/8"_s, "renamed.doc/14"_s}));
    // Required: a removal that the share refuses is traced and not tried again.
    QCOMPARE(host.status("deleted.doc"_s), 40);
    for (const QString& name : held)
        QCOMPARE(server().read(name), name.toUtf8());
    QCOMPARE(server().names().size(), 4);
    QCOMPARE(host.local().names(), (QStringList{"free.doc"_s, "held.doc"_s, "new name.doc"_s}));

    for (OtherClient& client : clients)
        client.release();
    for (const QString& name : held)
        QVERIFY(waitFor([&] { return !isHeld(name); }));
    // The new version and the new name are sent; the old name is the user's to acknowledge.
    QVERIFY(retryNow({"held.doc"_s}));
    QVERIFY(waitFor([&] { return host.seenErrorFiles().contains("renamed.doc/2"_s); }));
    host.manager()->acknowledgeAllMissing();
    VERIFY_AT_REST(host);
    QCOMPARE(server().read("held.doc"_s), QByteArray("second version"));
    QCOMPARE(server().read("new name.doc"_s), QByteArray("renamed.doc"));
    QCOMPARE(server().names().size(), 5);
}

// The bytes of the old version are locked by a program on the server. The new version comes beside it.
void TestSambaRefusals::aFileWithLockedBytes()
{
    Host& host = *m_host;
    QVERIFY(host.local().write("locked.db"_s, "first version"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QFile file(server().filePath("locked.db"_s));
    QVERIFY(file.open(QIODevice::ReadWrite));
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    QCOMPARE(::fcntl(file.handle(), F_SETLK, &lock), 0);
    QVERIFY(host.local().write("locked.db"_s, "second version of it"));
    host.manager()->requestSync();
    VERIFY_AT_REST(host);
    QCOMPARE(server().read("locked.db"_s), QByteArray("second version of it"));
    QCOMPARE(file.readAll(), QByteArray("first version"));
    QCOMPARE(host.seenErrorFiles(), QStringList());
}

QTEST_GUILESS_MAIN(TestSambaRefusals)
#include "test_samba_refusals.moc"
