#include "mounts.h"
#include "pair.h"
#include "vorn_sync_files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>
#include <QTest>

#include <memory>

#include <sys/stat.h>
#include <unistd.h>

using namespace VornSyncTest;

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

bool setMode(const QString& path, mode_t mode)
{
    return ::chmod(QFile::encodeName(path).constData(), mode) == 0;
}

} // namespace

namespace QTest {

template<> char* toString(const VornSyncPresence& presence)
{
    switch (presence) {
    case VornSyncPresence::Present:
        return qstrdup("Present");
    case VornSyncPresence::Absent:
        return qstrdup("Absent");
    case VornSyncPresence::Unknown:
        return qstrdup("Unknown");
    }
    return nullptr;
}

} // namespace QTest

class TestSyncFiles : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void plainFile();
    void linkToAFile();
    void largeFile();
    void otherKinds();
    void danglingLink();
    void absentFile();
    void missingParentIsUnknown();
    void fileAsParentIsUnknown();
    void linkLoopIsUnknown();
    void nameTooLongIsUnknown();
    void unreachableFileIsUnknown();
    void unreadableParentIsUnknown();
    void listedEntryThatVanishedIsUnknown();
    void aPathWithANulIsUnknown();
    void noDirectoryNoPath();
    void oddNames();
    void directoryPresence();
    void unreachableDirectoryIsUnknown();
    void renames();
    void renameReplaces();
    void renameFailsWithTheReason();
    void renameNeverCopies();
    void sameFile();
    void samePlace();
    void qtTemporaryNames_data();
    void qtTemporaryNames();
    void qtTemporaryNameIsTheRealOne();

private:
    QString local(const char* name) const { return m_pair->local().filePath(text(name)); }

    std::unique_ptr<Pair> m_pair;
};

void TestSyncFiles::init()
{
    m_pair = std::make_unique<Pair>();
    QVERIFY(m_pair->isValid());
}

void TestSyncFiles::plainFile()
{
    const QDateTime time(QDate(2022, 5, 6), QTime(7, 8, 9, 125), Qt::UTC);
    QVERIFY(m_pair->local().write(text("a.txt"), "12345"));
    QVERIFY(m_pair->local().setLmd(text("a.txt"), time));
    for (const VornSyncFileFacts& facts :
         {VornSyncFiles::facts(local("a.txt")), VornSyncFiles::listedFacts(local("a.txt"))}) {
        QCOMPARE(facts.presence, VornSyncPresence::Present);
        QVERIFY(facts.isPlainFile);
        QCOMPARE(facts.size, qint64(5));
        QCOMPARE(facts.lmdSecs, time.toSecsSinceEpoch());
        QCOMPARE(facts.lmdNanosecs, qint64(125000000));
    }
}

void TestSyncFiles::linkToAFile()
{
    QVERIFY(m_pair->local().write(text("target"), "123"));
    QVERIFY(QFile::link(local("target"), local("link")));
    const VornSyncFileFacts facts = VornSyncFiles::facts(local("link"));
    QCOMPARE(facts.presence, VornSyncPresence::Present);
    QVERIFY(facts.isPlainFile);
    QCOMPARE(facts.size, qint64(3));
}

void TestSyncFiles::largeFile()
{
    const qint64 size = (qint64(5) << 32) + 7;
    QVERIFY(m_pair->local().write(text("sparse"), QByteArray()));
    QVERIFY(QFile::resize(local("sparse"), size));
    QCOMPARE(VornSyncFiles::facts(local("sparse")).size, size);
}

void TestSyncFiles::otherKinds()
{
    QVERIFY(m_pair->local().makeDirectory(text("directory")));
    QVERIFY(::mkfifo(QFile::encodeName(local("fifo")).constData(), 0666) == 0);
    for (const QString& path : {local("directory"), local("fifo"), text("/dev/null")}) {
        for (const VornSyncFileFacts& facts :
             {VornSyncFiles::facts(path), VornSyncFiles::listedFacts(path)}) {
            QCOMPARE(facts.presence, VornSyncPresence::Present);
            QVERIFY(!facts.isPlainFile);
            QCOMPARE(facts.size, qint64(0));
            QCOMPARE(facts.lmdSecs, qint64(0));
        }
    }
}

void TestSyncFiles::danglingLink()
{
    QVERIFY(QFile::link(local("nowhere"), local("link")));
    for (const VornSyncFileFacts& facts :
         {VornSyncFiles::facts(local("link")), VornSyncFiles::listedFacts(local("link"))}) {
        QCOMPARE(facts.presence, VornSyncPresence::Present);
        QVERIFY(!facts.isPlainFile);
    }
}

void TestSyncFiles::absentFile()
{
    const VornSyncFileFacts facts = VornSyncFiles::facts(local("absent"));
    QCOMPARE(facts.presence, VornSyncPresence::Absent);
    QVERIFY(!facts.isPlainFile);
    QCOMPARE(facts.size, qint64(0));
}

void TestSyncFiles::missingParentIsUnknown()
{
    QCOMPARE(VornSyncFiles::facts(local("gone/file")).presence, VornSyncPresence::Unknown);
    QCOMPARE(VornSyncFiles::facts(QString()).presence, VornSyncPresence::Unknown);
}

void TestSyncFiles::fileAsParentIsUnknown()
{
    QVERIFY(m_pair->local().write(text("file"), "x"));
    QCOMPARE(VornSyncFiles::facts(local("file/inside")).presence, VornSyncPresence::Unknown);
}

void TestSyncFiles::linkLoopIsUnknown()
{
    QVERIFY(QFile::link(local("loop"), local("loop")));
    QCOMPARE(VornSyncFiles::facts(local("loop")).presence, VornSyncPresence::Unknown);
    QCOMPARE(VornSyncFiles::facts(local("loop/file")).presence, VornSyncPresence::Unknown);
}

void TestSyncFiles::nameTooLongIsUnknown()
{
    const QString name(256, QLatin1Char('x'));
    QCOMPARE(VornSyncFiles::facts(m_pair->local().filePath(name)).presence, VornSyncPresence::Unknown);
}

void TestSyncFiles::unreachableFileIsUnknown()
{
    QVERIFY(m_pair->local().write(text("sub/file"), "x"));
    QVERIFY(setMode(m_pair->rootPath(), 0755) && setMode(local("sub"), 0644));
    const UnprivilegedScope user;
    if (!user.isActive())
        QSKIP("cannot become an ordinary user");
    QCOMPARE(VornSyncFiles::facts(local("sub/file")).presence, VornSyncPresence::Unknown);
    QCOMPARE(VornSyncFiles::facts(local("sub/absent")).presence, VornSyncPresence::Unknown);
    QCOMPARE(VornSyncFiles::listedFacts(local("sub/file")).presence, VornSyncPresence::Unknown);
}

// The parent may be passed through but not read: that an entry is not in it can't be seen.
void TestSyncFiles::unreadableParentIsUnknown()
{
    QVERIFY(m_pair->local().write(text("sub/file"), "x"));
    QVERIFY(setMode(m_pair->rootPath(), 0755) && setMode(local("sub"), 0711));
    const UnprivilegedScope user;
    if (!user.isActive())
        QSKIP("cannot become an ordinary user");
    QCOMPARE(VornSyncFiles::facts(local("sub/file")).presence, VornSyncPresence::Present);
    QCOMPARE(VornSyncFiles::facts(local("sub/absent")).presence, VornSyncPresence::Unknown);
}

void TestSyncFiles::listedEntryThatVanishedIsUnknown()
{
    QCOMPARE(VornSyncFiles::listedFacts(local("vanished")).presence, VornSyncPresence::Unknown);
}

// The system knows only what stands before it.
void TestSyncFiles::aPathWithANulIsUnknown()
{
    QVERIFY(m_pair->local().write(text("a"), "1234"));
    const QString end = QString(QChar(QChar::Null)) + text("b");
    QCOMPARE(VornSyncFiles::facts(local("a") + end).presence, VornSyncPresence::Unknown);
    QCOMPARE(VornSyncFiles::facts(local("none") + end).presence, VornSyncPresence::Unknown);
    QCOMPARE(VornSyncFiles::directoryPresence(m_pair->localPath() + end), VornSyncPresence::Unknown);
}

// "/a.txt" would be surely absent.
void TestSyncFiles::noDirectoryNoPath()
{
    QCOMPARE(VornSyncFiles::joined(QStringLiteral("/tmp"), QStringLiteral("a%1.txt")),
             QStringLiteral("/tmp/a%1.txt"));
    QCOMPARE(VornSyncFiles::joined(QString(), QStringLiteral("a.txt")), QString());
    QCOMPARE(VornSyncFiles::facts(VornSyncFiles::joined(QString(), QStringLiteral("a.txt"))).presence,
             VornSyncPresence::Unknown);
}

void TestSyncFiles::oddNames()
{
    for (const QString& name : {text("%1 \"quoted\" 'x'"), text("two\nlines"), text("-rf"),
                                text("\xe6\x97\xa5\xf0\x9f\x93\x81"), QString(255, QLatin1Char('x'))}) {
        QVERIFY(m_pair->local().write(name, "1234"));
        QCOMPARE(VornSyncFiles::facts(m_pair->local().filePath(name)).size, qint64(4));
    }
}

void TestSyncFiles::directoryPresence()
{
    QVERIFY(m_pair->local().write(text("file"), "x"));
    QVERIFY(QFile::link(m_pair->localPath(), m_pair->rootPath() + text("/link")));
    QVERIFY(QFile::link(local("nowhere"), local("dangling")));
    QCOMPARE(VornSyncFiles::directoryPresence(m_pair->localPath()), VornSyncPresence::Present);
    QCOMPARE(VornSyncFiles::directoryPresence(m_pair->rootPath() + text("/link")), VornSyncPresence::Present);
    QCOMPARE(VornSyncFiles::directoryPresence(local("absent")), VornSyncPresence::Absent);
    QCOMPARE(VornSyncFiles::directoryPresence(local("file")), VornSyncPresence::Unknown);
    QCOMPARE(VornSyncFiles::directoryPresence(QString()), VornSyncPresence::Unknown);
}

void TestSyncFiles::unreachableDirectoryIsUnknown()
{
    QVERIFY(m_pair->local().makeDirectory(text("closed/inner")));
    QVERIFY(setMode(m_pair->rootPath(), 0755) && setMode(local("closed"), 0600));
    const UnprivilegedScope user;
    if (!user.isActive())
        QSKIP("cannot become an ordinary user");
    QCOMPARE(VornSyncFiles::directoryPresence(local("closed/inner")), VornSyncPresence::Unknown);
}

void TestSyncFiles::renames()
{
    QVERIFY(m_pair->local().write(text("a %1"), "x"));
    QString error = text("untouched");
    QVERIFY(VornSyncFiles::rename(local("a %1"), local("\xc3\xa9"), &error));
    QCOMPARE(error, text("untouched"));
    QCOMPARE(m_pair->local().names(), QStringList(text("\xc3\xa9")));
}

void TestSyncFiles::renameReplaces()
{
    QVERIFY(m_pair->local().write(text("a"), "new"));
    QVERIFY(m_pair->local().write(text("b"), "old"));
    QVERIFY(VornSyncFiles::rename(local("a"), local("b")));
    QCOMPARE(m_pair->local().names(), QStringList(text("b")));
    QCOMPARE(m_pair->local().read(text("b")), QByteArray("new"));
}

void TestSyncFiles::renameFailsWithTheReason()
{
    QString error;
    QVERIFY(!VornSyncFiles::rename(local("absent"), local("b"), &error));
    QCOMPARE(error, text("No such file or directory"));
    QVERIFY(!VornSyncFiles::rename(local("absent"), local("b")));

    QVERIFY(m_pair->local().write(text("a"), "x"));
    QVERIFY(m_pair->local().makeDirectory(text("directory")));
    QVERIFY(!VornSyncFiles::rename(local("a"), local("directory"), &error));
    QCOMPARE(error, text("Is a directory"));
}

void TestSyncFiles::renameNeverCopies()
{
    const TmpfsMount other(m_pair->distantPath());
    if (!other.isMounted())
        QSKIP(qPrintable(other.reason()));
    QVERIFY(m_pair->local().write(text("a"), "x"));
    QString error;
    QVERIFY(!VornSyncFiles::rename(local("a"), m_pair->distant().filePath(text("a")), &error));
    QCOMPARE(error, text("Invalid cross-device link"));
    QCOMPARE(m_pair->local().names(), QStringList(text("a")));
    QCOMPARE(m_pair->distant().names(), QStringList());
}

void TestSyncFiles::sameFile()
{
    QVERIFY(m_pair->local().write(text("a"), "x"));
    QVERIFY(m_pair->local().write(text("b"), "x"));
    QVERIFY(QFile::link(local("a"), local("soft")));
    QVERIFY(::link(QFile::encodeName(local("a")).constData(), QFile::encodeName(local("hard")).constData()) ==
            0);
    QVERIFY(VornSyncFiles::isSameFile(local("a"), local("a")));
    QVERIFY(VornSyncFiles::isSameFile(local("a"), local("soft")));
    QVERIFY(VornSyncFiles::isSameFile(local("a"), local("hard")));
    QVERIFY(!VornSyncFiles::isSameFile(local("a"), local("b")));
    QVERIFY(!VornSyncFiles::isSameFile(local("a"), local("absent")));
    QVERIFY(!VornSyncFiles::isSameFile(local("absent"), local("absent too")));
}

void TestSyncFiles::samePlace()
{
    QVERIFY(QFile::link(m_pair->localPath(), m_pair->rootPath() + text("/link")));
    const QString path = m_pair->localPath();
    QVERIFY(VornSyncFiles::isSamePlace(path, path));
    QVERIFY(VornSyncFiles::isSamePlace(path, path + text("/")));
    QVERIFY(VornSyncFiles::isSamePlace(path, path + text("/../local/.")));
    QVERIFY(VornSyncFiles::isSamePlace(path, m_pair->rootPath() + text("/link")));
    QVERIFY(VornSyncFiles::isSamePlace(path + text("/new/one"), m_pair->rootPath() + text("/link/new/one")));
    QVERIFY(VornSyncFiles::isSamePlace(path + text("/new"), path + text("/x/../new")));
    QVERIFY(!VornSyncFiles::isSamePlace(path, m_pair->distantPath()));
    QVERIFY(!VornSyncFiles::isSamePlace(path, path + text("/below")));
    QVERIFY(!VornSyncFiles::isSamePlace(path + text("/one"), path + text("/two")));
    QVERIFY(VornSyncFiles::isSamePlace(path, QDir::current().relativeFilePath(path)));
}

void TestSyncFiles::qtTemporaryNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("isTemporary");
    QTest::newRow("form") << "qt_temp.AbC123" << true;
    QTest::newRow("short") << "qt_temp.AbC12" << false;
    QTest::newRow("long") << "qt_temp.AbC1234" << false;
    QTest::newRow("bare") << "qt_temp." << false;
    QTest::newRow("other case") << "QT_temp.AbC123" << false;
    QTest::newRow("prefixed") << "aqt_temp.bC123" << false;
    QTest::newRow("empty") << "" << false;
}

void TestSyncFiles::qtTemporaryNames()
{
    QFETCH(QString, name);
    QFETCH(bool, isTemporary);
    QCOMPARE(VornSyncFiles::isQtTemporaryName(name), isTemporary);
}

// The template that QFile::copy uses, filled in by Qt itself.
void TestSyncFiles::qtTemporaryNameIsTheRealOne()
{
    QTemporaryFile file(local("qt_temp.XXXXXX"));
    QVERIFY(file.open());
    QVERIFY(VornSyncFiles::isQtTemporaryName(QFileInfo(file.fileName()).fileName()));
}

QTEST_GUILESS_MAIN(TestSyncFiles)
#include "test_sync_files.moc"
