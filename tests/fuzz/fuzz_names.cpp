// Any text as a name, an alias or a path, through every member of the exported class that takes one: a bad one gets
// the error that its member promises and changes nothing, a good one comes back as it was given, and nothing outside
// the pair's directories, the trash root and the state is ever touched.

#include "inline_host.h"
#include "names_input.h"
#include "outside_connection.h"
#include "outside_writes.h"
#include "sandbox.h"
#include "vorn_sync_manager.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QSet>

#include <cstdio>
#include <functional>
#include <iterator>
#include <memory>

using namespace VornSyncFuzz;

namespace {

constexpr int kMaximumNameBytes = 255;
constexpr std::size_t kMaximumBytes = 8192;

bool isValidName(const QString& name)
{
    return !name.isEmpty() && name != QLatin1String(".") && name != QLatin1String("..") &&
           !name.contains(QLatin1Char('/')) && !name.contains(QChar(QChar::Null));
}

bool isCleanText(const QString& text)
{
    return QString::fromUtf8(text.toUtf8()) == text;
}

// A name that a file may have here and that is mirrored.
bool isStorable(const QString& name)
{
    return isValidName(name) && isCleanText(name) && QFile::decodeName(QFile::encodeName(name)) == name &&
           QFile::encodeName(name).size() <= kMaximumNameBytes && !name.startsWith(QLatin1String("qt_temp."));
}

QString invalidNameError(const QString& name, const QString& alias)
{
    return QStringLiteral("ERROR: Invalid file name: '%1' for alias: '%2'.").arg(name, alias);
}

// Every file and directory below, with its content; but for what is below `leftOut`.
QStringList tree(const QString& path, const QString& leftOut = QString())
{
    QStringList result;
    QDirIterator it(path, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString entry = it.next();
        if (leftOut.isEmpty() || !entry.startsWith(leftOut))
            result << entry + QLatin1Char(' ') + QString::fromLatin1(readFile(entry));
    }
    result.sort();
    return result;
}

class Game
{
public:
    explicit Game(const QString& root)
        : m_root(root)
        , m_host(root)
    {
    }

    void play(const NamesStep& step);
    void end();

private:
    using FileMember = void (VornSyncManager::*)(const QString& alias, const QString& name);
    using RenameCall = std::function<void(const QString& alias, const QString& from, const QString& to)>;

    // --- Stories of a good name ---
    void send(const QString& name);
    void rename(const QString& from, const QString& to);
    void trash(const QString& name);
    void remove(const QString& name);
    void tombstone(const QString& name);
    void open(const QString& name);
    void fetch(const QString& name);

    // --- Calls with anything ---
    void call(FileMember member, const NamesStep& step);
    void callRename(const NamesStep& step, bool hasOwnLine, const RenameCall& member);
    void callUnchecked(const NamesStep& step);
    void addAlias(const QString& alias);
    void addPath(const QString& path);
    void removeAlias(const QString& alias);
    void ask(const QString& text);
    void askForPath(const QString& path);
    void decideAll();

    bool isTame(const QString& name) const { return isStorable(name) && !m_wild.contains(name); }
    bool isOnDisk(const QString& name) const;
    QString local(const QString& name) const { return m_host.localPath() + QLatin1Char('/') + name; }
    QString distant(const QString& name) const { return m_host.distantPath() + QLatin1Char('/') + name; }
    QString trashed(const QString& name) const
    {
        return m_host.trashRoot() + QLatin1Char('/') + InlineHost::alias() + QLatin1Char('/') + name;
    }
    void requireQuiet(const QString& what);
    QStringList state();
    bool isKnown(const QString& alias) const
    {
        return alias == InlineHost::alias() || m_aliases.contains(alias);
    }

    const QString m_root;
    InlineHost m_host;
    QMap<QString, QByteArray> m_files; // what is in the local directory and must be on the distant side
    QSet<QString> m_wild;              // names about which nothing is known any more
    QSet<QString> m_aliases;           // registered besides the first
    bool m_isCalm = true;              // no call with anything was made
    int m_versions = 0;
};

bool Game::isOnDisk(const QString& name) const
{
    return QFileInfo::exists(local(name)) || QFileInfo::exists(distant(name));
}

void Game::requireQuiet(const QString& what)
{
    const QStringList errors = m_host.takeErrors();
    FUZZ_REQUIRE(errors.isEmpty(), what + QLatin1String(": ") + errors.join(QLatin1Char('\n')));
}

// What is on the disk and in the database.
QStringList Game::state()
{
    QStringList result = tree(m_root, m_host.statePath());
    OutsideConnection connection(m_host.databasePath());
    for (const QString& table : {QStringLiteral("directories"), QStringLiteral("file_tracking")}) {
        for (const QStringList& row : connection.rows(QStringLiteral("SELECT * FROM %1").arg(table)))
            result << row.join(QLatin1Char('|'));
    }
    return result;
}

// --- Stories of a good name -----------------------------------------------------------------------------

void Game::send(const QString& name)
{
    if (!isTame(name))
        return;
    const QByteArray content = "version " + QByteArray::number(++m_versions) + " of " + name.toUtf8();
    writeFile(local(name), content);
    m_files.insert(name, content);
    m_host.manager().notifyLocalFileChanged(InlineHost::alias(), name);
    m_host.settle();
    requireQuiet(QStringLiteral("sending"));
    FUZZ_REQUIRE(readFile(distant(name)) == content, name);
}

void Game::rename(const QString& from, const QString& to)
{
    if (!isTame(from) || !isTame(to) || !m_files.contains(from) || isOnDisk(to))
        return;
    FUZZ_REQUIRE(m_host.manager().lockForRename(InlineHost::alias(), from, to),
                 from + QLatin1String(" to ") + to);
    FUZZ_REQUIRE(std::rename(QFile::encodeName(local(from)).constData(),
                             QFile::encodeName(local(to)).constData()) == 0,
                 to);
    m_files.insert(to, m_files.take(from));
    m_host.manager().commitRename(InlineHost::alias(), from, to);
    m_host.settle();
    requireQuiet(QStringLiteral("renaming"));
    FUZZ_REQUIRE(readFile(distant(to)) == m_files.value(to), to);
    FUZZ_REQUIRE(!QFileInfo::exists(distant(from)), from);
}

void Game::trash(const QString& name)
{
    if (!isTame(name) || !m_files.contains(name))
        return;
    m_host.manager().moveToTrashFile(InlineHost::alias(), name);
    m_host.settle();
    requireQuiet(QStringLiteral("moving to the trash"));
    FUZZ_REQUIRE(!QFileInfo::exists(local(name)), name);
    FUZZ_REQUIRE(readFile(trashed(name)) == m_files.value(name), name);
    m_files.remove(name);
}

void Game::remove(const QString& name)
{
    if (!isTame(name) || !m_files.contains(name))
        return;
    FUZZ_REQUIRE(QFile::remove(local(name)), name);
    m_host.manager().notifyLocalFileDeleted(InlineHost::alias(), name);
    m_host.settle();
    requireQuiet(QStringLiteral("deleting"));
    FUZZ_REQUIRE(!QFileInfo::exists(distant(name)), name);
    m_files.remove(name);
}

void Game::tombstone(const QString& name)
{
    if (!isTame(name) || !m_files.contains(name))
        return;
    FUZZ_REQUIRE(QFile::remove(local(name)), name);
    m_host.manager().tombstoneLocalFile(InlineHost::alias(), name);
    m_host.settle();
    requireQuiet(QStringLiteral("deleting locally"));
    FUZZ_REQUIRE(readFile(distant(name)) == m_files.take(name), name);
}

void Game::open(const QString& name)
{
    if (!isTame(name) || !m_files.contains(name))
        return;
    m_host.takeAnswers();
    m_host.manager().requestFileReady(distant(name));
    m_host.settle();
    requireQuiet(QStringLiteral("opening"));
    const QVector<QPair<QString, bool>> expected = {qMakePair(local(name), true)};
    FUZZ_REQUIRE(m_host.takeAnswers() == expected, name);
}

// A file of another workstation.
void Game::fetch(const QString& name)
{
    if (!isTame(name) || isOnDisk(name))
        return;
    const QByteArray content = "another version of " + name.toUtf8();
    writeFile(distant(name), content);
    m_host.takeAnswers();
    m_host.manager().requestFileReady(distant(name));
    m_host.settle();
    requireQuiet(QStringLiteral("fetching"));
    const QVector<QPair<QString, bool>> expected = {qMakePair(local(name), true)};
    FUZZ_REQUIRE(m_host.takeAnswers() == expected, name);
    FUZZ_REQUIRE(readFile(local(name)) == content, name);
    m_files.insert(name, content);
}

// --- Calls with anything --------------------------------------------------------------------------------

void Game::call(FileMember member, const NamesStep& step)
{
    const QString alias = step.hasAlias ? step.first : InlineHost::alias();
    const QString name = step.hasAlias ? step.second : step.first;
    const bool isRefused = !isKnown(alias) || !isValidName(name);
    if (!isRefused)
        m_wild << name;
    const QStringList before = isRefused ? state() : QStringList();
    (m_host.manager().*member)(alias, name);
    m_host.settle();
    const QStringList errors = m_host.takeErrors();
    m_isCalm = m_isCalm && isRefused;
    // Two texts that are no proper UTF-16 may be the same alias to the database.
    if (!isRefused || !isCleanText(alias))
        return;
    FUZZ_REQUIRE(errors == (isKnown(alias) ? QStringList{invalidNameError(name, alias)} : QStringList()),
                 errors.join(QLatin1Char('\n')));
    FUZZ_REQUIRE(state() == before, QStringLiteral("a refused call changed something"));
}

void Game::callRename(const NamesStep& step, bool hasOwnLine, const RenameCall& member)
{
    const QString alias = step.hasAlias ? step.first : InlineHost::alias();
    const QString from = step.hasAlias ? step.second : step.first;
    const QString to = step.hasAlias ? step.first : step.second;
    const bool isSilent = hasOwnLine && (from.isEmpty() || to.isEmpty() || from == to);
    const bool isRefused = !isKnown(alias) || isSilent || !isValidName(from) || !isValidName(to);
    if (!isRefused)
        m_wild << from << to;
    const QStringList before = isRefused ? state() : QStringList();
    member(alias, from, to);
    m_host.settle();
    const QStringList errors = m_host.takeErrors();
    m_isCalm = m_isCalm && isRefused;
    if (!isRefused || !isCleanText(alias))
        return;
    const QStringList expected = isKnown(alias) && !isSilent
                                     ? QStringList{invalidNameError(isValidName(from) ? to : from, alias)}
                                     : QStringList();
    FUZZ_REQUIRE(errors == expected, errors.join(QLatin1Char('\n')));
    FUZZ_REQUIRE(state() == before, QStringLiteral("a refused rename changed something"));
}

// A file of that name where the file system takes it, tame or not, and whatever comes of it.
void Game::callUnchecked(const NamesStep& step)
{
    if (!isValidName(step.first))
        return;
    m_isCalm = false;
    m_wild << step.first;
    QFile file(local(step.first));
    if (file.open(QIODevice::WriteOnly))
        file.write("wild");
    file.close();
    m_host.manager().notifyLocalFileChanged(InlineHost::alias(), step.first);
    m_host.settle();
    m_host.takeErrors();
}

void Game::addAlias(const QString& alias)
{
    const QString place = QDir::cleanPath(m_host.trashRoot() + QLatin1Char('/') + alias);
    const bool isNameable = !alias.isEmpty() && !alias.contains(QChar(QChar::Null)) &&
                            place.startsWith(m_host.trashRoot() + QLatin1Char('/'));
    const bool isFirst = m_aliases.isEmpty() && alias != InlineHost::alias();
    const QStringList before = isNameable ? QStringList() : state();
    const bool isAdded =
        m_host.manager().addDirectory(alias, m_host.otherLocalPath(), m_host.otherDistantPath());
    m_host.settle();
    const QStringList errors = m_host.takeErrors();
    if (!isNameable) {
        FUZZ_REQUIRE(!isAdded && state() == before, alias);
        FUZZ_REQUIRE(
            errors ==
                QStringList{QStringLiteral("ERROR: Alias: '%1' cannot name a trash directory.").arg(alias)},
            errors.join(QLatin1Char('\n')));
        return;
    }
    FUZZ_REQUIRE(isAdded || !errors.isEmpty(), QStringLiteral("refused without a word"));
    if (!isAdded || !isFirst || !isCleanText(alias))
        return;
    m_aliases << alias;
    FUZZ_REQUIRE(m_host.manager().isAliasDirectorySynchronised(alias), alias);
    FUZZ_REQUIRE(m_host.manager().getLocalDirSynchronizedAlias(m_host.otherLocalPath()) == alias, alias);
    FUZZ_REQUIRE(QFileInfo(place).isDir(), place);
    const QString file = QStringLiteral("/in other.txt");
    writeFile(m_host.otherLocalPath() + file, "of the other");
    m_host.manager().notifyLocalFileChanged(alias, file.mid(1));
    m_host.settle();
    requireQuiet(alias);
    FUZZ_REQUIRE(readFile(m_host.otherDistantPath() + file) == "of the other", alias);
}

// Only paths that lead to no directory: any other would rightly become a pair's side.
void Game::addPath(const QString& path)
{
    if (QFileInfo(path).isDir() || QFileInfo(m_root + QLatin1Char('/') + path).isDir())
        return;
    for (const QString& given : {path, m_root + QLatin1Char('/') + path}) {
        const QString alias = QStringLiteral("paths");
        FUZZ_REQUIRE(!m_host.manager().addDirectory(alias, given, m_host.otherDistantPath()), given);
        FUZZ_REQUIRE(!m_host.takeErrors().isEmpty(), given);
        FUZZ_REQUIRE(!m_host.manager().isAliasDirectorySynchronised(alias), given);
        m_host.manager().isLocalDirectorySynchronised(given);
        m_host.manager().getLocalDirSynchronizedAlias(given);
        if (!m_aliases.isEmpty())
            continue;
        const bool isAdded = m_host.manager().addDirectory(alias, m_host.otherLocalPath(), given);
        m_host.settle();
        m_host.manager().requestFileReady(given + QStringLiteral("/a"));
        m_host.manager().requestSync();
        m_host.settle();
        FUZZ_REQUIRE(m_host.manager().delDirectory(alias) == isAdded, given);
        m_host.settle();
        m_host.takeErrors();
        m_host.takeAnswers();
    }
}

void Game::removeAlias(const QString& alias)
{
    if (alias == InlineHost::alias())
        return;
    const bool wasKnown = m_aliases.remove(alias);
    m_host.manager().setDirectoryAvailability(alias, false);
    m_host.manager().setDirectoryAvailability(alias, true);
    m_host.settle();
    requireQuiet(alias);
    const bool isRemoved = m_host.manager().delDirectory(alias);
    m_host.settle();
    m_host.takeErrors();
    FUZZ_REQUIRE(isRemoved == wasKnown || !isCleanText(alias), alias);
}

void Game::ask(const QString& text)
{
    const bool isAlias = m_host.manager().isAliasDirectorySynchronised(text);
    FUZZ_REQUIRE(isAlias == isKnown(text) || !isCleanText(text), text);
    FUZZ_REQUIRE(!m_host.manager().isLocalDirectorySynchronised(text) || text == m_host.localPath() ||
                     text == m_host.otherLocalPath() || !isCleanText(text),
                 text);
    m_host.manager().getLocalDirSynchronizedAlias(text);
    requireQuiet(text);
}

void Game::askForPath(const QString& path)
{
    m_wild << QFileInfo(path).fileName();
    m_isCalm = false; // it may bring a distant file that was left there
    m_host.takeAnswers();
    m_host.manager().requestFileReady(path);
    m_host.settle();
    FUZZ_REQUIRE(m_host.takeAnswers().size() == 1, path);
    m_host.takeErrors();
}

void Game::decideAll()
{
    m_host.manager().retryAllErrors();
    m_host.manager().acknowledgeAllMissing();
    m_host.manager().requestSync();
    m_host.settle();
    m_host.takeErrors();
}

void Game::play(const NamesStep& step)
{
    VornSyncManager& manager = m_host.manager();
    static const FileMember fileMembers[] = {&VornSyncManager::retrySync, &VornSyncManager::moveToTrashFile,
                                             &VornSyncManager::notifyLocalFileChanged,
                                             &VornSyncManager::notifyLocalFileDeleted,
                                             &VornSyncManager::tombstoneLocalFile};
    using Story = std::function<void()>;
    const Story stories[] = {
        [&] { send(step.first); },
        [&] { rename(step.first, step.second); },
        [&] { trash(step.first); },
        [&] { remove(step.first); },
        [&] { tombstone(step.first); },
        [&] { open(step.first); },
        [&] { fetch(step.first); },
        [&] { call(fileMembers[0], step); },
        [&] { call(fileMembers[1], step); },
        [&] { call(fileMembers[2], step); },
        [&] { call(fileMembers[3], step); },
        [&] { call(fileMembers[4], step); },
        [&] {
            callRename(step, true, [&](const QString& alias, const QString& from, const QString& to) {
                manager.lockForRename(alias, from, to);
            });
        },
        [&] {
            callRename(step, false, [&](const QString& alias, const QString& from, const QString& to) {
                manager.commitRename(alias, from, to);
            });
        },
        [&] {
            callRename(step, false, [&](const QString& alias, const QString& from, const QString& to) {
                manager.abortRename(alias, from, to);
            });
        },
        [&] { callUnchecked(step); },
        [&] { addAlias(step.first); },
        [&] { addPath(step.first); },
        [&] { removeAlias(step.first); },
        [&] { ask(step.first); },
        [&] { askForPath(step.hasAlias ? step.first : distant(step.first)); },
        [&] { decideAll(); },
    };
    stories[std::size_t(step.action) % std::size(stories)]();
}

// A further cycle finds nothing to do for the good names.
void Game::end()
{
    const int tasks = m_host.taskCount();
    for (int cycle = 0; cycle < 2; ++cycle) {
        m_host.manager().requestSync();
        m_host.settle();
    }
    if (m_isCalm) {
        requireQuiet(QStringLiteral("at the end"));
        FUZZ_REQUIRE(m_host.taskCount() == tasks, QStringLiteral("a further cycle found something to do"));
        FUZZ_REQUIRE(m_host.manager().doneCount() == m_files.size() + m_aliases.size(),
                     QStringLiteral("%1 files are done").arg(m_host.manager().doneCount()));
    }
    for (auto file = m_files.cbegin(); file != m_files.cend(); ++file) {
        if (m_wild.contains(file.key()))
            continue;
        FUZZ_REQUIRE(readFile(local(file.key())) == file.value(), file.key());
        FUZZ_REQUIRE(readFile(distant(file.key())) == file.value(), file.key());
    }
}

// Places beside the pair's that a name with a way out would reach.
QStringList plantCanaries(const QString& root)
{
    for (const QString& place : {QStringLiteral("/canary"), QStringLiteral("/pair/canary")}) {
        FUZZ_REQUIRE(QDir().mkpath(root + place), place);
        for (const QString& name : {QStringLiteral("/a"), QStringLiteral("/.hidden"), QStringLiteral("/%1")})
            writeFile(root + place + name, "untouched");
    }
    writeFile(root + QStringLiteral("/a"), "untouched");
    writeFile(root + QStringLiteral("/pair/a"), "untouched");
    return tree(root);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size > kMaximumBytes)
        return 0;
    const QString root = Sandbox::instance().freshDirectory(QStringLiteral("names"));
    const QStringList canaries = plantCanaries(root);
    // A relative path leads here.
    FUZZ_REQUIRE(QDir::setCurrent(root + QStringLiteral("/canary")), root);
    {
        const QString pair = root + QStringLiteral("/pair");
        auto game = std::make_unique<Game>(pair);
        const OutsideWrites outsideWrites({pair + QStringLiteral("/local"), pair + QStringLiteral("/distant"),
                                           pair + QStringLiteral("/other_local"),
                                           pair + QStringLiteral("/other_distant"),
                                           pair + QStringLiteral("/trash"), pair + QStringLiteral("/state")});
        for (const NamesStep& step : namesSteps(data, size))
            game->play(step);
        game->end();
        game.reset();
    }
    QStringList left;
    for (const QString& entry : tree(root, root + QStringLiteral("/pair/state"))) {
        if (!entry.startsWith(root + QStringLiteral("/pair/")) || canaries.contains(entry))
            left << entry;
    }
    FUZZ_REQUIRE(left == canaries, left.join(QLatin1Char('\n')));
    return 0;
}
