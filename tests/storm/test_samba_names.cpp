#include "host.h"
#include "literals.h"
#include "samba_share.h"

#include <QDir>
#include <QFileInfo>
#include <QTest>

#include <memory>

using namespace VornSyncTest;

namespace {

constexpr int kCycleMs = 50;
constexpr int kDistantMissing = 15;
constexpr int kSlowMs = 120000;

QByteArray content(const QString& name)
{
    return "content of " + name.toUtf8();
}

} // namespace

// Shares that do not give a name back as it was written, or a time as it was set. What can't be mirrored so is told
// to the user; the rest is mirrored, and the local files stay as they are.
class TestSambaNames : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void twoSecondTimes();
    void namesThatAreGivenBackOtherwise_data();
    void namesThatAreGivenBackOtherwise();
    void namesThatAreTakenAsTheyAre();
    void twoNamesThatAreOneOverThere_data();
    void twoNamesThatAreOneOverThere();
    void oneOfTwoNamesIsDeleted();

private:
    bool start(const QStringList& settings, const QStringList& names);
    bool isListed(const QString& name, int code) const;
    QByteArray onServer(const QString& name) const { return Side(m_share->serverPath()).read(name); }
    void addPairsOfNames();
    void collide();

    std::unique_ptr<SambaShare> m_share;
    std::unique_ptr<Host> m_host;
    QString m_loser;  // of two names that are one: the one that the share doesn't list
    QString m_winner; // the one that it lists, with whatever content
};

void TestSambaNames::cleanup()
{
    m_host.reset();
    m_share.reset();
    m_loser.clear();
    m_winner.clear();
}

// False: no share, with the reason, or the host didn't start.
bool TestSambaNames::start(const QStringList& settings, const QStringList& names)
{
    m_share = std::make_unique<SambaShare>(settings);
    if (!m_share->start())
        return false;
    HostOptions options;
    options.distantPath = m_share->mountedPath();
    options.syncIntervalMs = kCycleMs;
    m_host = std::make_unique<Host>(options);
    for (const QString& name : names) {
        if (!m_host->local().write(name, content(name)))
            return false;
    }
    return m_host->start();
}

#define START_OR_SKIP(settings, names)                                                                       \
    do {                                                                                                     \
        const bool hasStarted = start(settings, names);                                                      \
        if (!m_share->reason().isEmpty())                                                                    \
            QSKIP(qPrintable("no Samba share: "_s + m_share->reason()));                                     \
        QVERIFY(hasStarted);                                                                                 \
    } while (false)

bool TestSambaNames::isListed(const QString& name, int code) const
{
    for (const QVariant& value : m_host->manager()->errorFiles()) {
        const QVariantMap entry = value.toMap();
        if (entry.value("fileName"_s).toString() == name && entry.value("errorCode"_s).toInt() == code)
            return true;
    }
    return false;
}

void TestSambaNames::twoSecondTimes()
{
    QStringList names;
    for (int i = 0; i < 8; ++i)
        names << "file %1.txt"_s.arg(i);
    START_OR_SKIP(QStringList{"dos filetime resolution = yes"_s}, names);
    Host& host = *m_host;
    VERIFY_AT_REST(host);
    for (const QString& name : names)
        QCOMPARE(host.distant().lmd(name).toMSecsSinceEpoch() % 2000, 0);
    const int sent = int(host.started().size());
    QVERIFY(host.restart());
    VERIFY_AT_REST(host);
    QCOMPARE(host.started().size(), sent);
    // A request sees no newer version in times that were rounded.
    QStringList answers;
    connect(host.manager(), &VornSyncManager::fileReady, this,
            [&](const QString& path, bool found) { answers << (found ? path : QString()); });
    for (const QString& name : names)
        host.manager()->requestFileReady(host.distant().filePath(name));
    QCOMPARE(answers.size(), names.size());
    // Changes are seen, one of the same size and time when it is announced.
    QVERIFY(host.local().append(names.at(0), "more"));
    QVERIFY(host.local().replace(names.at(1), content(names.at(1)).toUpper(), host.local().lmd(names.at(1))));
    host.manager()->notifyLocalFileChanged(Host::alias(), names.at(1));
    VERIFY_AT_REST(host);
    QCOMPARE(host.started().size(), sent + 2);
    for (const QString& name : names)
        QCOMPARE(onServer(name), host.local().read(name));
    QCOMPARE(host.seenErrorFiles(), QStringList());
}

void TestSambaNames::namesThatAreGivenBackOtherwise_data()
{
    QTest::addColumn<QStringList>("settings");
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QStringList>("onServer");
    const QStringList percent = {"100%.txt"_s, "a@b.txt"_s};
    QTest::newRow("% and @, which the client lists as %25 and %40") << QStringList() << percent << percent;
    QTest::newRow("% and two digits, which the client takes for a character")
        << QStringList() << QStringList{"a%20b.txt"_s} << QStringList{"a b.txt"_s};
    const QStringList mangled = {"dot."_s, "dots..."_s, "space "_s,
                                 "con"_s,  "aux.txt"_s, "n"_s.repeated(200) + QLatin1Char('.')};
    QTest::newRow("names that the server mangles: dots and spaces at the end, devices")
        << QStringList{"mangled names = yes"_s} << mangled << mangled;
    QTest::newRow("a share that knows small letters only")
        << QStringList{"preserve case = no"_s, "short preserve case = no"_s, "default case = lower"_s}
        << QStringList{"Report.TXT"_s, "ÉTÉ.txt"_s} << QStringList{"report.txt"_s, "été.txt"_s};
}

void TestSambaNames::namesThatAreGivenBackOtherwise()
{
    QFETCH(QStringList, settings);
    QFETCH(QStringList, names);
    QFETCH(QStringList, onServer);
    START_OR_SKIP(settings, names + QStringList{"plain.txt"_s});
    Host& host = *m_host;
    for (const QString& name : names) {
        host.leaveOut(name);
        QVERIFY(waitFor([&] { return isListed(name, kDistantMissing); }));
    }
    // They were sent all the same, and no pass sends them again.
    VERIFY_AT_REST(host);
    QCOMPARE(host.started().size(), names.size() + 1);
    for (int i = 0; i < names.size(); ++i)
        QCOMPARE(this->onServer(onServer.at(i)), content(names.at(i)));

    // The user's "restore" sends each once more, into the same file.
    host.manager()->retryAllErrors();
    QVERIFY(waitFor([&] { return host.completed().size() == names.size() * 2 + 1; }));
    for (const QString& name : names)
        QVERIFY(waitFor([&] { return isListed(name, kDistantMissing); }));
    QCOMPARE(Side(m_share->serverPath()).names().size(), names.size() + 1);

    // A name that the share gives back: a rename, and all is well.
    for (int i = 0; i < names.size(); ++i) {
        QVERIFY(host.local().rename(names.at(i), "renamed %1.txt"_s.arg(i)));
        host.manager()->tombstoneLocalFile(Host::alias(), names.at(i));
    }
    VERIFY_AT_REST(host);
    QCOMPARE(host.manager()->errorCount(), 0);
    for (int i = 0; i < names.size(); ++i)
        QCOMPARE(this->onServer("renamed %1.txt"_s.arg(i)), content(names.at(i)));
    QCOMPARE(this->onServer("plain.txt"_s), content("plain.txt"_s));
}

// Where the server mangles nothing, the same names are names like any other.
void TestSambaNames::namesThatAreTakenAsTheyAre()
{
    const QStringList names = {"dot."_s, "dots..."_s, "space "_s,     " first"_s,
                               "con"_s,  "aux.txt"_s, "NAME~1.TXT"_s, "n"_s.repeated(200) + QLatin1Char('.')};
    START_OR_SKIP(QStringList(), names);
    VERIFY_AT_REST(*m_host);
    for (const QString& name : names)
        QCOMPARE(onServer(name), content(name));
    QCOMPARE(m_host->seenErrorFiles(), QStringList());
}

void TestSambaNames::addPairsOfNames()
{
    QTest::addColumn<QStringList>("names");
    QTest::newRow("upper and lower case") << QStringList{"Name.txt"_s, "NAME.txt"_s};
    QTest::newRow("one as the client spells the other") << QStringList{"a%20b.txt"_s, "a b.txt"_s};
}

void TestSambaNames::twoNamesThatAreOneOverThere_data()
{
    addPairsOfNames();
}

// One of them is listed, since the share lists one name only. Which content is there depends on who came last.
void TestSambaNames::collide()
{
    QFETCH(QStringList, names);
    START_OR_SKIP(QStringList(), names + QStringList{"plain.txt"_s});
    Host& host = *m_host;
    for (const QString& name : names)
        host.leaveOut(name);
    QVERIFY(waitFor([&] { return host.manager()->errorCount() > 0; }));
    for (const QString& name : names)
        (QDir(m_share->mountedPath()).entryList(QDir::Files).contains(name) ? m_winner : m_loser) = name;
    QVERIFY(waitFor([&] { return isListed(m_loser, kDistantMissing); }));
    VERIFY_AT_REST(host);
    QCOMPARE(Side(m_share->serverPath()).names().size(), 2);
    const QByteArray found = onServer(m_winner);
    QVERIFY2(found == content(m_winner) || found == content(m_loser), found.constData());
}

void TestSambaNames::twoNamesThatAreOneOverThere()
{
    collide();
    if (QTest::currentTestFailed() || m_loser.isEmpty())
        return;
    Host& host = *m_host;
    for (const QString& name : {m_winner, m_loser})
        QCOMPARE(host.local().read(name), content(name));
    // The user gives the one a name of its own and touches the other.
    QVERIFY(host.local().rename(m_loser, "of its own.txt"_s));
    host.manager()->tombstoneLocalFile(Host::alias(), m_loser);
    QVERIFY(host.local().append(m_winner, ", again"));
    host.manager()->notifyLocalFileChanged(Host::alias(), m_winner);
    VERIFY_AT_REST(host);
    QVERIFY(waitFor([&] { return onServer(m_winner) == content(m_winner) + ", again"; }, kSlowMs));
    QCOMPARE(onServer("of its own.txt"_s), content(m_loser));
    QCOMPARE(host.manager()->errorCount(), 0);
    VERIFY_AT_REST(host);
}

// With the one, the only distant file goes: the other is told to be without, and comes back when asked for.
void TestSambaNames::oneOfTwoNamesIsDeleted()
{
    START_OR_SKIP(QStringList(), (QStringList{"Name.txt"_s, "NAME.txt"_s}));
    Host& host = *m_host;
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 1; }));
    const bool isFirstListed = isListed("Name.txt"_s, kDistantMissing);
    const QString deleted = isFirstListed ? "Name.txt"_s : "NAME.txt"_s;
    const QString kept = isFirstListed ? "NAME.txt"_s : "Name.txt"_s;
    QVERIFY(host.local().remove(deleted));
    host.manager()->notifyLocalFileDeleted(Host::alias(), deleted);
    QVERIFY(waitFor([&] { return isListed(kept, kDistantMissing); }));
    QCOMPARE(host.local().read(kept), content(kept));
    host.manager()->retrySync(Host::alias(), kept);
    VERIFY_AT_REST(host);
    QCOMPARE(onServer(kept), content(kept));
    QCOMPARE(host.local().names(), QStringList{kept});
}

QTEST_GUILESS_MAIN(TestSambaNames)
#include "test_samba_names.moc"
