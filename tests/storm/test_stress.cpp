#include "host.h"
#include "literals.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QMap>
#include <QPointer>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSet>
#include <QTest>
#include <QThread>
#include <QVector>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <iterator>
#include <memory>
#include <vector>

using namespace VornSyncTest;

namespace {

constexpr int kDefaultOperations = 1200;
constexpr int kIntervalMs = 20; // a cycle runs nearly always, every sixth verifies
constexpr int kNames = 10;
constexpr int kMaximumBytes = 3000;
constexpr int kMaximumPauseUs = 3000;
constexpr int kOperationsPerLull = 40; // on average
constexpr int kLullMs = 600;           // longer than the worker waits for another task
// How often something is chosen, in proportion.
constexpr int kRarely = 1;
constexpr int kOften = 6;
// Required: a local file counts as changed only when its time, recorded in seconds, is more than 3 s later.
constexpr int kQuickMs = 4500;
constexpr int kHealRounds = 12;
constexpr int kHealRoundMs = 6000;
constexpr int kShownOperations = 60;
constexpr int kMoreChances = 20;
const QString kSideAlias = QStringLiteral("side");
const QString kSideCarSuffix = QStringLiteral("-wal");

quint32 numberFromEnvironment(const char* name, quint32 otherwise)
{
    bool isGiven = false;
    const quint32 given = qEnvironmentVariable(name).toUInt(&isGiven);
    return isGiven ? given : otherwise;
}

// The public members by name, in the order of the header. Signals are no calls.
QStringList publicMembers()
{
    QFile header(QStringLiteral(VORN_SYNC_MANAGER_HEADER));
    if (!header.open(QIODevice::ReadOnly))
        return QStringList();
    QString text = QString::fromUtf8(header.readAll());
    text.remove(
        QRegularExpression(QStringLiteral("/\\*.*?\\*/"), QRegularExpression::DotMatchesEverythingOption));
    text.remove(QRegularExpression(QStringLiteral("//[^\\n]*")));
    const auto begin = text.indexOf(QLatin1String("public:"));
    const auto end = text.indexOf(QLatin1String("signals:"));
    text = text.mid(begin, end - begin);
    QStringList result;
    const QRegularExpression declaration(
        QStringLiteral("([~\\w]+)\\s*\\([^()]*\\)\\s*(?:const)?\\s*(?:override)?\\s*;"));
    for (auto match = declaration.globalMatch(text); match.hasNext();)
        result << match.next().captured(1);
    return result;
}

// What one user has under one alias, and what others did to it on the share.
struct Belongings
{
    QMap<QString, QByteArray> files; // as the user wrote them last
    QSet<QByteArray> foreign;        // written on the distant side; a file-ready request may bring it
    QSet<QByteArray> everWritten;    // by the user; one may bring a deleted file back
    QSet<QByteArray> everSent;       // seen on the distant side
    QMap<QString, QElapsedTimer> lastWritten;
    QSet<QByteArray> quicklyWritten; // so soon after another version that their times do not tell them apart
    QSet<QString> mayBeTrashed;
};

// One host application with its user: everything that both may do at any time.
class Desk : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Desk)

public:
    Desk(const QString& name, QRandomGenerator& random, QStringList& log);

    bool open();
    // One member of the manager, or one thing that happens on the disk.
    void act();
    // Nobody does anything until a task has ended, or none seems to run.
    void lull();
    // Every member once, in any order.
    void actThroughAll();
    QSet<QString> calledMembers() const { return m_called; }

    // Faults off, every question answered, until nothing is left to do. Empty, or what is still open.
    QString heal();
    // What is not as the user left it.
    QStringList losses();
    Host& host() { return *m_host; }
    QString summary() const;

private:
    struct Member
    {
        const char* name;
        int weight;
        std::function<bool()> call; // false: there was nothing to call it with
    };
    struct Disk
    {
        const char* name;
        int weight;
        std::function<void()> happen;
    };

    void addMembers();
    void addRareMembers();
    void addDecisions();
    void addRenames();
    void addNotifications();
    void addDisk();
    void run(const Member& member);
    void note(const QString& text);
    QString storyOf(const QString& name);
    void listen();

    VornSyncManager& manager() { return *m_host->manager(); }
    Belongings& of(const QString& alias) { return m_belongings[alias]; }
    int below(int bound) { return int(m_random.bounded(bound)); }
    QString anyAlias() { return below(3) == 0 ? kSideAlias : Host::alias(); }
    QString anyName();
    QString anyFile(const QString& alias);
    const Side& local(const QString& alias) const { return m_host->pair(alias).local(); }
    const Side& distant(const QString& alias) const { return m_host->pair(alias).distant(); }
    QByteArray newContent(const QString& name);
    void forgetRename() { m_rename = Rename(); }
    void registerPair(const QString& alias);
    void replaceManager(bool isDeletedBySlot);
    void write(const QString& alias, const QString& name);
    void writeForeign(const QString& alias, const QString& name);
    void noteDistant(const QString& alias, const QString& name);
    void answerErrors();
    void clearFaults();

    struct Rename
    {
        QString alias;
        QString from;
        QString to;
    };

    const QString m_name;
    QRandomGenerator& m_random;
    QStringList& m_log;
    std::unique_ptr<Host> m_host;
    std::vector<Member> m_members;
    std::vector<Disk> m_disk;
    QSet<QString> m_called;
    QMap<QString, Belongings> m_belongings;
    Rename m_rename; // locked now; no alias: none
    int m_versions = 0;
    int m_requests = 0; // file-ready requests of the present manager, and its answers
    int m_answers = 0;
    int m_managers = 0;
    QElapsedTimer m_clock;
};

// --- Life -----------------------------------------------------------------------------------------------

Desk::Desk(const QString& name, QRandomGenerator& random, QStringList& log)
    : m_name(name)
    , m_random(random)
    , m_log(log)
{
    HostOptions options;
    options.syncIntervalMs = kIntervalMs;
    options.patterns = QStringList{QLatin1Char('*') + kSideCarSuffix};
    m_host = std::make_unique<Host>(options);
    addMembers();
    addRareMembers();
    addDecisions();
    addRenames();
    addNotifications();
    addDisk();
}

bool Desk::open()
{
    m_clock.start();
    // Whatever is refused or fails meanwhile is said; what must not happen is looked for at the end.
    m_host->expectErrors(QString());
    m_host->expectWarnings();
    m_host->expectCriticals();
    for (int i = 0; i < kNames; ++i)
        write(Host::alias(), anyName());
    if (!m_host->addPair(kSideAlias) || !m_host->start())
        return false;
    listen();
    return true;
}

// Slots that call back in, as those of a host do.
void Desk::listen()
{
    m_requests = m_answers = 0;
    ++m_managers;
    connect(m_host->manager(), &VornSyncManager::fileReady, this, [this] { ++m_answers; });
    connect(m_host->manager(), &VornSyncManager::recentEventsChanged, this, [this] {
        if (m_host->manager())
            manager().recentEvents();
    });
    connect(m_host->manager(), &VornSyncManager::syncCompleted, this, [this] {
        if (m_host->manager() && below(20) == 0)
            manager().requestSync();
    });
}

// Destroyed at any moment: by its owner, or with deleteLater() by a slot.
void Desk::replaceManager(bool isDeletedBySlot)
{
    forgetRename();
    if (isDeletedBySlot) {
        QPointer<VornSyncManager> old(m_host->releaseManager());
        connect(old, &VornSyncManager::countersChanged, old, &QObject::deleteLater);
        QMetaObject::invokeMethod(old, "countersChanged", Qt::QueuedConnection);
        QTRY_VERIFY_WITH_TIMEOUT(old.isNull(), kWaitMs);
    } else {
        m_host->stop();
    }
    QVERIFY(m_host->start());
    listen();
}

void Desk::registerPair(const QString& alias)
{
    const Pair& pair = m_host->pair(alias);
    manager().addDirectory(alias, pair.localPath(), pair.distantPath());
}

// --- Names and contents ---------------------------------------------------------------------------------

QString Desk::anyName()
{
    static const QStringList special = {"50%1 off"_s, "Ünï\ncode"_s, "a'b\""_s, "report.doc"_s};
    return below(3) == 0 ? special.at(below(int(special.size()))) : "file %1"_s.arg(below(kNames));
}

QString Desk::anyFile(const QString& alias)
{
    const QMap<QString, QByteArray>& files = of(alias).files;
    return files.isEmpty() ? QString() : std::next(files.cbegin(), below(int(files.size()))).key();
}

QByteArray Desk::newContent(const QString& name)
{
    return "version " + QByteArray::number(++m_versions) + " of " + name.toUtf8() +
           QByteArray(below(kMaximumBytes), 'x');
}

void Desk::write(const QString& alias, const QString& name)
{
    const QByteArray content = newContent(name);
    note("%1/%2: the user writes version %3"_s.arg(alias, name, QString::number(m_versions)));
    QVERIFY(local(alias).write(name, content));
    Belongings& belongings = of(alias);
    belongings.files.insert(name, content);
    belongings.everWritten.insert(content);
    QElapsedTimer& age = belongings.lastWritten[name];
    if (age.isValid() && age.elapsed() < kQuickMs)
        belongings.quicklyWritten.insert(content);
    age.start();
}

// Before it is overwritten or deleted over there, or at the end.
void Desk::noteDistant(const QString& alias, const QString& name)
{
    of(alias).everSent.insert(distant(alias).read(name));
}

void Desk::writeForeign(const QString& alias, const QString& name)
{
    if (QFileInfo(distant(alias).filePath(name)).isDir())
        return;
    noteDistant(alias, name);
    const QByteArray content = "foreign " + newContent(name);
    note("%1/%2: another workstation writes version %3"_s.arg(alias, name, QString::number(m_versions)));
    of(alias).foreign.insert(content);
    QVERIFY(distant(alias).write(name, content));
}

// --- Every member ---------------------------------------------------------------------------------------

void Desk::addMembers()
{
    const auto ask = [this](const char* name, const std::function<void()>& call) {
        m_members.push_back({name, 4 * kOften, [call] {
                                 call();
                                 return true;
                             }});
    };
    ask("isAliasDirectorySynchronised", [this] { manager().isAliasDirectorySynchronised(anyAlias()); });
    ask("isLocalDirectorySynchronised",
        [this] { manager().isLocalDirectorySynchronised(local(anyAlias()).path()); });
    ask("getLocalDirSynchronizedAlias",
        [this] { manager().getLocalDirSynchronizedAlias(local(anyAlias()).path()); });
    ask("isPausedAll", [this] { manager().isPausedAll(); });
    ask("isIdle", [this] { manager().isIdle(); });
    ask("inProgressCount", [this] { QVERIFY(manager().inProgressCount() >= 0); });
    ask("pendingCount", [this] { QVERIFY(manager().pendingCount() >= 0); });
    ask("errorCount", [this] { QVERIFY(manager().errorCount() >= 0); });
    ask("doneCount", [this] { QVERIFY(manager().doneCount() >= 0); });
    ask("recentEvents", [this] { QVERIFY(manager().recentEvents().size() <= 5); });
    ask("errorFiles", [this] { QCOMPARE(manager().errorFiles().size(), manager().errorCount()); });
    ask("errorCodeMessage", [this] { QVERIFY(!manager().errorCodeMessage(below(16)).isEmpty()); });
    ask("isAcknowledgeOnly", [this] { QVERIFY(manager().isAcknowledgeOnly(2)); });
    ask("isRestoreOrDelete", [this] { QVERIFY(manager().isRestoreOrDelete(15)); });
    ask("requestSync", [this] { manager().requestSync(); });
}

void Desk::addRareMembers()
{
    const auto rare = [this](const char* name, int weight, const std::function<void()>& call) {
        m_members.push_back({name, weight, [call] {
                                 call();
                                 return true;
                             }});
    };
    rare("VornSyncManager", kRarely, [this] { replaceManager(false); });
    rare("~VornSyncManager", kRarely, [this] { replaceManager(true); });
    rare("addDirectory", 8 * kOften, [this] { registerPair(anyAlias()); });
    rare("delDirectory", 2 * kOften, [this] { manager().delDirectory(anyAlias()); });
    rare("setDirectoryAvailability", 6 * kOften,
         [this] { manager().setDirectoryAvailability(anyAlias(), below(4) != 0); });
    rare("pauseAll", 2 * kOften, [this] {
        manager().pauseAll();
        QVERIFY(manager().isPausedAll());
    });
    rare("resumeAll", 6 * kOften, [this] {
        manager().resumeAll();
        QVERIFY(!manager().isPausedAll());
    });
    rare("resetSyncDatabase", kRarely, [this] {
        forgetRename();
        QVERIFY(manager().resetSyncDatabase(below(200)));
        registerPair(Host::alias());
        registerPair(kSideAlias);
    });
    rare("wipeSyncDatabaseFile", kRarely, [this] {
        forgetRename();
        QVERIFY(manager().wipeSyncDatabaseFile());
        registerPair(Host::alias());
        registerPair(kSideAlias);
    });
    rare("requestFileReady", 10 * kOften, [this] {
        const QString alias = anyAlias();
        const QString name = anyName();
        ++m_requests;
        note("%1/%2: is asked for"_s.arg(alias, name));
        manager().requestFileReady(distant(alias).filePath(name));
        // Before the copy that brings it.
        if (below(3) == 0)
            write(alias, name);
    });
}

void Desk::addDecisions()
{
    m_members.push_back({"retrySync", 6 * kOften, [this] {
                             const QVariantList errors = manager().errorFiles();
                             const QVariantMap entry = errors.isEmpty()
                                                           ? QVariantMap()
                                                           : errors.at(below(int(errors.size()))).toMap();
                             manager().retrySync(entry.value("aliasName"_s, anyAlias()).toString(),
                                                 entry.value("fileName"_s, anyName()).toString());
                             return true;
                         }});
    m_members.push_back({"retryAllErrors", 3 * kOften, [this] {
                             manager().retryAllErrors();
                             return true;
                         }});
    m_members.push_back({"acknowledgeAllMissing", 3 * kOften, [this] {
                             manager().acknowledgeAllMissing();
                             return true;
                         }});
    m_members.push_back({"deleteAllDistantMissing", 2 * kOften, [this] {
                             for (const QVariant& entry : manager().errorFiles())
                                 of(entry.toMap().value("aliasName"_s).toString())
                                     .mayBeTrashed.insert(entry.toMap().value("fileName"_s).toString());
                             manager().deleteAllDistantMissing();
                             return true;
                         }});
    m_members.push_back({"moveToTrashFile", 4 * kOften, [this] {
                             const QString alias = anyAlias();
                             const QString name = anyName();
                             of(alias).mayBeTrashed.insert(name);
                             note("%1/%2: to the trash"_s.arg(alias, name));
                             manager().moveToTrashFile(alias, name);
                             if (below(3) == 0)
                                 write(alias, name);
                             return true;
                         }});
}

// A lock may be held while other things happen.
void Desk::addRenames()
{
    m_members.push_back({"lockForRename", 12 * kOften, [this] {
                             const QString alias = anyAlias();
                             const QString from = anyFile(alias);
                             const QString to = anyName();
                             if (!m_rename.alias.isEmpty() || from.isEmpty() || local(alias).exists(to))
                                 return false;
                             if (manager().lockForRename(alias, from, to))
                                 m_rename = {alias, from, to};
                             return true;
                         }});
    m_members.push_back({"commitRename", 12 * kOften, [this] {
                             const Rename rename = m_rename;
                             if (rename.alias.isEmpty())
                                 return false;
                             forgetRename();
                             // It may be in the trash, or brought anew, since it was locked.
                             if (!local(rename.alias).exists(rename.from) ||
                                 local(rename.alias).exists(rename.to) ||
                                 !local(rename.alias).rename(rename.from, rename.to)) {
                                 manager().abortRename(rename.alias, rename.from, rename.to);
                                 return false;
                             }
                             Belongings& belongings = of(rename.alias);
                             if (belongings.files.contains(rename.from))
                                 belongings.files.insert(rename.to, belongings.files.take(rename.from));
                             belongings.lastWritten[rename.to] = belongings.lastWritten.take(rename.from);
                             if (belongings.mayBeTrashed.contains(rename.from))
                                 belongings.mayBeTrashed.insert(rename.to);
                             note("%1/%2: is now %3"_s.arg(rename.alias, rename.from, rename.to));
                             manager().commitRename(rename.alias, rename.from, rename.to);
                             return true;
                         }});
    m_members.push_back({"abortRename", 4 * kOften, [this] {
                             const Rename rename = m_rename;
                             forgetRename();
                             // One that is not locked is no harm.
                             manager().abortRename(rename.alias.isEmpty() ? anyAlias() : rename.alias,
                                                   rename.from, rename.to);
                             return true;
                         }});
}

void Desk::addNotifications()
{
    m_members.push_back({"notifyLocalFileChanged", 10 * kOften, [this] {
                             const QString alias = anyAlias();
                             const QString name = anyName();
                             if (below(2) == 0)
                                 write(alias, name);
                             manager().notifyLocalFileChanged(alias, name);
                             return true;
                         }});
    const auto deletion = [this](const char* name,
                                 void (VornSyncManager::*member)(const QString&, const QString&)) {
        m_members.push_back({name, 4 * kOften, [this, member] {
                                 const QString alias = anyAlias();
                                 const QString file = anyFile(alias);
                                 if (file.isEmpty())
                                     return false;
                                 // It may have gone to the trash.
                                 if (local(alias).exists(file) && !local(alias).remove(file))
                                     return false;
                                 of(alias).files.remove(file);
                                 note("%1/%2: deleted"_s.arg(alias, file));
                                 (manager().*member)(alias, file);
                                 return true;
                             }});
    };
    deletion("notifyLocalFileDeleted", &VornSyncManager::notifyLocalFileDeleted);
    deletion("tombstoneLocalFile", &VornSyncManager::tombstoneLocalFile);
}

// --- The disk -------------------------------------------------------------------------------------------

void Desk::addDisk()
{
    const auto happens = [this](const char* name, int weight,
                                const std::function<void(const QString& alias)>& happen) {
        m_disk.push_back({name, weight, [this, happen] { happen(anyAlias()); }});
    };
    happens("the user writes", 12 * kOften, [this](const QString& alias) { write(alias, anyName()); });
    happens("the user deletes", 3 * kOften, [this](const QString& alias) {
        const QString name = anyFile(alias);
        if (!name.isEmpty() && local(alias).remove(name))
            of(alias).files.remove(name);
    });
    happens("another workstation writes", 4 * kOften,
            [this](const QString& alias) { writeForeign(alias, anyName()); });
    happens("another workstation deletes", 3 * kOften, [this](const QString& alias) {
        const QString name = anyName();
        if (!distant(alias).exists(name))
            return;
        noteDistant(alias, name);
        distant(alias).remove(name);
    });
    happens("a directory is in the way", 1 * kOften, [this](const QString& alias) {
        const QString name = anyName();
        if (!distant(alias).exists(name))
            distant(alias).makeDirectory(name);
    });
    happens("the share is away", 1 * kOften, [this](const QString& alias) {
        const QString path = distant(alias).path();
        QDir().rename(path, path + ".away"_s);
    });
    happens("the share is back", 6 * kOften, [this](const QString& alias) {
        const QString path = distant(alias).path();
        QDir().rename(path + ".away"_s, path);
    });
    happens("a side file comes", 1 * kOften, [this](const QString& alias) {
        QVERIFY(local(alias).write(anyName() + kSideCarSuffix, "side"));
    });
    happens("side files go", 3 * kOften, [this](const QString& alias) {
        for (const QString& name : local(alias).names().filter(kSideCarSuffix))
            local(alias).remove(name);
    });
}

// --- Acting ---------------------------------------------------------------------------------------------

void Desk::note(const QString& text)
{
    m_log << "%1 %2: %3"_s.arg(m_clock.elapsed(), 6).arg(m_name, text);
}

// What the library did with a file, as far as it says so.
QString Desk::storyOf(const QString& name)
{
    const QStringList lines = m_log.filter(name) + m_host->trace().debugLines().filter(name);
    return QLatin1Char('\n') + lines.join(QLatin1Char('\n'));
}

void Desk::run(const Member& member)
{
    note(QLatin1String(member.name));
    if (member.call())
        m_called.insert(QLatin1String(member.name));
}

void Desk::act()
{
    int total = 0;
    for (const Member& member : m_members)
        total += member.weight;
    const int memberTotal = total;
    for (const Disk& disk : m_disk)
        total += disk.weight;
    int chosen = below(total);
    if (chosen < memberTotal) {
        auto member = m_members.cbegin();
        for (; chosen >= member->weight; ++member)
            chosen -= member->weight;
        return run(*member);
    }
    chosen -= memberTotal;
    auto disk = m_disk.cbegin();
    for (; chosen >= disk->weight; ++disk)
        chosen -= disk->weight;
    note(QLatin1String(disk->name));
    disk->happen();
}

void Desk::lull()
{
    const int ended = int(m_host->completed().size());
    if (!waitFor([&] { return m_host->completed().size() > ended; }, kLullMs))
        note("no task ended"_s);
}

void Desk::actThroughAll()
{
    std::vector<Member> left = m_members;
    while (!left.empty()) {
        const auto next = left.begin() + below(int(left.size()));
        run(*next);
        left.erase(next);
    }
}

QString Desk::summary() const
{
    const auto completed = m_host->completed();
    const auto failed = std::count_if(completed.cbegin(), completed.cend(),
                                      [](const QPair<QString, bool>& entry) { return !entry.second; });
    return "%1 tasks begun, %2 ended, %3 of them failed, %4 managers, %5 kinds of errors"_s.arg(
        QString::number(m_host->started().size()), QString::number(completed.size()), QString::number(failed),
        QString::number(m_managers), QString::number(m_host->seenErrorFiles().size()));
}

// --- The end --------------------------------------------------------------------------------------------

void Desk::clearFaults()
{
    for (const QString& alias : {Host::alias(), kSideAlias}) {
        const QString path = distant(alias).path();
        QDir().rename(path + ".away"_s, path);
        for (const QString& name : distant(alias).names()) {
            if (QFileInfo(distant(alias).filePath(name)).isDir())
                distant(alias).remove(name);
        }
        for (const QString& name : local(alias).names().filter(kSideCarSuffix))
            local(alias).remove(name);
    }
}

// The user wants what is on this side, and knows what was deleted.
void Desk::answerErrors()
{
    for (const QString& alias : {Host::alias(), kSideAlias}) {
        for (const QString& name : local(alias).names())
            manager().notifyLocalFileChanged(alias, name);
    }
    manager().acknowledgeAllMissing();
    manager().retryAllErrors();
}

QString Desk::heal()
{
    if (!m_rename.alias.isEmpty())
        manager().abortRename(m_rename.alias, m_rename.from, m_rename.to);
    // Every request was answered, and once.
    if (!waitFor([this] { return m_answers == m_requests; }))
        return "%1 file-ready requests had %2 answers"_s.arg(m_requests).arg(m_answers);
    clearFaults();
    QString open;
    for (int round = 0; round < kHealRounds; ++round) {
        // What was under way is looked at anew at a start, instead of when it is stale.
        replaceManager(false);
        answerErrors();
        open = m_host->settle(kHealRoundMs);
        if (open.isEmpty())
            return m_host->restProblems();
    }
    return open;
}

QStringList Desk::losses()
{
    QStringList result;
    for (const QString& alias : {Host::alias(), kSideAlias}) {
        Belongings& belongings = of(alias);
        const Side trash(m_host->trashRoot() + QLatin1Char('/') + alias);
        for (const QString& name : distant(alias).names())
            noteDistant(alias, name);
        // A version from elsewhere may take the place of one that was sent, but not of any other.
        const auto isKnown = [&](const QString& name, const QByteArray& content) {
            const QByteArray own = belongings.files.value(name);
            if (content == own)
                return true;
            // Nor of one that was asked to be trashed, at whatever moment that came to be done: what comes to that name
            // afterwards takes its place in the trash too.
            if (belongings.mayBeTrashed.contains(name))
                return belongings.foreign.contains(content) || belongings.everWritten.contains(content);
            return belongings.foreign.contains(content) &&
                   (belongings.everSent.contains(own) || belongings.quicklyWritten.contains(own));
        };
        for (auto file = belongings.files.cbegin(); file != belongings.files.cend(); ++file) {
            const bool isHere = local(alias).exists(file.key());
            const bool isInTrash = belongings.mayBeTrashed.contains(file.key()) && trash.exists(file.key());
            const QByteArray content = isHere ? local(alias).read(file.key()) : trash.read(file.key());
            if (!isHere && !isInTrash)
                result << alias + ": gone: "_s + file.key() + storyOf(file.key());
            else if (!isKnown(file.key(), content))
                result << alias + ": '%1' holds: "_s.arg(file.key()) + QString::fromUtf8(content.left(60)) +
                              ", and not: "_s + QString::fromUtf8(file.value().left(60)) +
                              storyOf(file.key());
        }
        for (const QString& name : local(alias).names()) {
            const QByteArray content = local(alias).read(name);
            if (!belongings.files.contains(name) && !belongings.foreign.contains(content) &&
                !belongings.everWritten.contains(content))
                result << alias + ": nobody wrote: "_s + name;
        }
    }
    return result;
}

} // namespace

// The host's thread calls every member at any time, while the engine's threads pass, copy, verify and watch, two
// managers in one process. VORN_TEST_SEED replays the choices, VORN_SYNC_STRESS_OPERATIONS says how many.
class TestStress : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void everyMemberIsKnown();
    void everythingAtAnyTime();

private:
    QRandomGenerator m_random;
};

void TestStress::initTestCase()
{
    const quint32 seed = numberFromEnvironment("VORN_TEST_SEED", QRandomGenerator::global()->generate());
    qInfo("VORN_TEST_SEED=%u", seed);
    m_random.seed(seed);
}

void TestStress::everyMemberIsKnown()
{
    // A new one without a place among the calls fails the story below.
    const QStringList members = publicMembers();
    QVERIFY2(members.contains("wipeSyncDatabaseFile"_s) && members.contains("requestSync"_s) &&
                 members.contains("~VornSyncManager"_s),
             qPrintable(members.join(QLatin1Char(' '))));
}

void TestStress::everythingAtAnyTime()
{
    const int operations = int(numberFromEnvironment("VORN_SYNC_STRESS_OPERATIONS", kDefaultOperations));
    QStringList log;
    Desk first("first"_s, m_random, log);
    Desk second("second"_s, m_random, log);
    QVERIFY(first.open());
    QVERIFY(second.open());
    first.actThroughAll();
    for (int operation = 0; operation < operations && !QTest::currentTestFailed(); ++operation) {
        Desk& desk = m_random.bounded(4) == 0 ? second : first;
        desk.act();
        if (m_random.bounded(kOperationsPerLull) == 0)
            desk.lull();
        // Paced time is the point, and nothing is awaited: now and then a busy host lets the others go first.
        if (m_random.bounded(2) == 0)
            QThread::usleep(m_random.bounded(kMaximumPauseUs)); // paced
        QCoreApplication::processEvents(QEventLoop::AllEvents, 1 + int(m_random.bounded(3)));
    }
    if (QTest::currentTestFailed()) {
        std::fputs(log.mid(log.size() - kShownOperations).join(QLatin1Char('\n')).toUtf8().constData(),
                   stderr);
        return;
    }
    // Some members wait for an occasion: a lock that was given, a file to be deleted.
    const auto uncalled = [&] {
        QStringList result;
        for (const QString& member : publicMembers()) {
            if (!first.calledMembers().contains(member))
                result << member;
        }
        return result;
    };
    for (int more = 0; more < kMoreChances && !uncalled().isEmpty(); ++more)
        first.actThroughAll();
    QCOMPARE(uncalled(), QStringList());
    // Not with qInfo(): the host keeps all messages to itself.
    std::printf("%d operations: %s\n", operations, qPrintable(first.summary()));
    std::fflush(stdout);
    QCOMPARE(first.heal(), QString());
    QCOMPARE(second.heal(), QString());
    for (Desk* desk : {&first, &second}) {
        const QString lost = desk->losses().join(QLatin1Char('\n'));
        // Longer than a message of the test's may be.
        std::fputs(lost.toUtf8().constData(), stderr);
        QVERIFY2(lost.isEmpty(), "files are lost; their stories are above");
    }
}

QTEST_GUILESS_MAIN(TestStress)
#include "test_stress.moc"
