#include "sim_world.h"

#include "file_calls.h"
#include "vorn_sync_types.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace VornSyncTest {

namespace {

constexpr qint64 kNsPerSec = 1000000000;
constexpr int kSiblingSuffixLength = 5; // ".3a5f"
constexpr int kHeaderLength = 8;        // "v000123\n"
constexpr int kBaseLength = 40;
constexpr int kLongBaseLength = 20000; // takes several reads
constexpr int kLongFilePermille = 50;
constexpr int kTrashRetentionDays = 30;
constexpr qint64 kMsPerDay = 86400000;
// Retries, a queue before it and a slow share: how long a wish may take to come true.
constexpr qint64 kWishSecs = 3600;
constexpr qint64 kToleranceMs = 3999; // whole seconds are compared

QByteArray content(int number, int length)
{
    QByteArray bytes = QByteArray("v") + QByteArray::number(number).rightJustified(6, '0') + '\n';
    bytes.reserve(length);
    quint32 value = quint32(number) * 2654435761U + 1;
    while (bytes.size() < length) {
        value = value * 1664525U + 1013904223U;
        bytes.append(char('!' + (value >> 24) % 90));
    }
    bytes.truncate(length);
    return bytes;
}

bool readAll(const QByteArray& path, QByteArray& bytes)
{
    const int descriptor = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    char buffer[65536];
    for (;;) {
        const ssize_t count = ::read(descriptor, buffer, sizeof buffer);
        if (count <= 0)
            break;
        bytes.append(buffer, int(count));
    }
    ::close(descriptor);
    return true;
}

void setTime(const QByteArray& path)
{
    const qint64 ns = SimScheduler::wallNs();
    const timespec time{ns / kNsPerSec, ns % kNsPerSec};
    const timespec both[2] = {time, time};
    ::utimensat(AT_FDCWD, path.constData(), both, 0);
}

bool writeAll(const QByteArray& path, const QByteArray& bytes, int flags)
{
    const int descriptor = ::open(path.constData(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0644);
    if (descriptor < 0)
        return false;
    const bool isWritten = ::write(descriptor, bytes.constData(), size_t(bytes.size())) == bytes.size();
    ::close(descriptor);
    setTime(path);
    return isWritten;
}

const char* sideName(SimSide side)
{
    switch (side) {
    case SimSide::Local:
        return "local";
    case SimSide::Distant:
        return "distant";
    case SimSide::Trash:
        return "trash/docs";
    }
    return "";
}

int& versionOn(SimFile& file, SimSide side)
{
    switch (side) {
    case SimSide::Local:
        return file.local;
    case SimSide::Distant:
        return file.distant;
    case SimSide::Trash:
        break;
    }
    return file.trash;
}

} // namespace

SimWorld::SimWorld(SimState* state, const SimProfile& profile, const QByteArray& root, bool isLoud)
    : m_state(*state)
    , m_profile(profile)
    , m_root(root)
    , m_isLoud(isLoud)
{
}

QByteArray SimWorld::directory(SimSide side) const
{
    return m_root + '/' + sideName(side);
}

QByteArray SimWorld::path(SimSide side, int name) const
{
    return directory(side) + '/' + QFile::encodeName(fileName(name));
}

QString SimWorld::named(int name) const
{
    QString text = fileName(name).left(24);
    return QLatin1Char('\'') + text.replace(QLatin1Char('\n'), QLatin1String("\\n")) + QLatin1Char('\'');
}

bool SimWorld::isRecent(qint64 ns, qint64 withinSecs) const
{
    return ns >= 0 && nowNs() - ns <= withinSecs * kNsPerSec;
}

void SimWorld::log(const QString& text)
{
    const QByteArray line =
        QByteArray::number(double(nowNs()) / double(kNsPerSec), 'f', 3).rightJustified(12) + ' ' +
        text.toUtf8();
    char* const place = m_state.log[m_state.logCount++ % kSimLogLines];
    std::snprintf(place, kSimLogLineBytes, "%s", line.constData());
    SimScheduler::note(line.constData());
    if (m_isLoud)
        std::fprintf(stderr, "%s\n", line.constData());
}

void SimWorld::fail(const QString& reason)
{
    log(QStringLiteral("FAILED: ") + reason);
    std::snprintf(m_state.failure, sizeof m_state.failure, "%s", reason.toUtf8().constData());
    ::_exit(1);
}

// --- Users, hosts, other workstations -------------------------------------------------------------------

int SimWorld::newVersion(SimSide side, int name)
{
    if (m_state.versionCount == kSimMaxVersions)
        return kSimNoVersion;
    const int number = m_state.versionCount++;
    SimVersion& made = version(number);
    made = SimVersion();
    made.name = name;
    made.isForeign = side == SimSide::Distant;
    made.length = (chance(kLongFilePermille) ? kLongBaseLength : kBaseLength) + number;
    // Others write longer and shorter ones than ours.
    if (made.isForeign && chance(500))
        made.length = kHeaderLength + 1 + number / 128;
    made.shownLength = made.length;
    made.writtenNs = made.meantNs = nowNs();
    made.writtenWallMs = SimScheduler::wallMs();
    made.places = 1U << name;
    return number;
}

bool SimWorld::write(SimSide side, int name, bool isSlow)
{
    const int number = newVersion(side, name);
    if (number == kSimNoVersion)
        return false;
    SimVersion& made = version(number);
    const QByteArray place = path(side, name);
    const QByteArray bytes = content(number, made.length);
    const FileCalls::Unseen unseen;
    if (isSlow)
        made.shownLength = made.length / 2;
    // As editors do it: the new file takes the old one's place in one step.
    const QByteArray draft = m_root + "/draft" + QByteArray::number(number);
    if (!writeAll(draft, bytes.left(made.shownLength), O_TRUNC) ||
        ::rename(draft.constData(), place.constData()) != 0)
        return false;
    noteAbsence(side, name);
    versionOn(file(name), side) = number;
    file(name).isDeleteOpen = false;
    if (side == SimSide::Local)
        file(name).localChangedNs = nowNs();
    log(QStringLiteral("%1 writes %2: v%3, %4 bytes%5")
            .arg(side == SimSide::Local ? QStringLiteral("user") : QStringLiteral("other workstation"),
                 named(name), QString::number(number), QString::number(made.shownLength),
                 isSlow ? QStringLiteral(" so far") : QString()));
    if (!isSlow)
        return true;

    SimScheduler::sleepMs(qint64(100 + random(3000)));
    if (file(name).local != number)
        return true; // renamed or replaced meanwhile
    made.shownLength = made.length;
    made.writtenNs = made.meantNs = nowNs();
    made.writtenWallMs = SimScheduler::wallMs();
    file(name).localChangedNs = nowNs();
    writeAll(place, bytes.mid(made.length / 2), O_APPEND);
    log(QStringLiteral("user ends %1: v%2").arg(named(name), QString::number(number)));
    return true;
}

bool SimWorld::remove(SimSide side, int name)
{
    const FileCalls::Unseen unseen;
    if (::unlink(path(side, name).constData()) != 0)
        return false;
    versionOn(file(name), side) = kSimNoVersion;
    log(QStringLiteral("%1 removes %2")
            .arg(side == SimSide::Local ? QStringLiteral("user") : QStringLiteral("other workstation"),
                 named(name)));
    return true;
}

bool SimWorld::renameLocal(int from, int to)
{
    const FileCalls::Unseen unseen;
    if (::rename(path(SimSide::Local, from).constData(), path(SimSide::Local, to).constData()) != 0)
        return false;
    SimFile& source = file(from);
    SimFile& target = file(to);
    noteAbsence(SimSide::Local, to);
    target.local = source.local;
    source.local = kSimNoVersion;
    source.localAbsentNs = nowNs();
    source.renameWishNs = target.renameWishNs = target.localChangedNs = nowNs();
    // The distant copy of an older version may travel, too.
    for (const int number : {target.local, source.distant}) {
        if (number != kSimNoVersion) {
            version(number).places |= 1U << to;
            version(number).meantNs = nowNs();
        }
    }
    log(QStringLiteral("host renames %1 to %2").arg(named(from), named(to)));
    return true;
}

// Up to now the file was not there.
void SimWorld::noteAbsence(SimSide side, int name)
{
    if (versionOn(file(name), side) != kSimNoVersion)
        return;
    if (side == SimSide::Local)
        file(name).localAbsentNs = nowNs();
    if (side == SimSide::Distant)
        file(name).distantAbsentNs = nowNs();
}

void SimWorld::setLocalWanted(int name)
{
    if (file(name).local != kSimNoVersion)
        version(file(name).local).meantNs = nowNs();
}

void SimWorld::lookAgain()
{
    const FileCalls::Unseen unseen;
    for (int name = 0; name < nameCount(); ++name) {
        const Found found = look(path(SimSide::Distant, name));
        if (!found.exists || file(name).distant == kSimNoVersion)
            file(name).distantAbsentNs = nowNs();
        file(name).distant = found.version;
    }
}

// --- The engine -----------------------------------------------------------------------------------------

int SimWorld::find(const QByteArray& path, SimSide& side) const
{
    for (const SimSide candidate : {SimSide::Local, SimSide::Distant, SimSide::Trash}) {
        const QByteArray start = directory(candidate) + '/';
        if (!path.startsWith(start))
            continue;
        side = candidate;
        return int(m_profile.fileNames.indexOf(QFile::decodeName(path.mid(start.size()))));
    }
    return -1;
}

SimWorld::Found SimWorld::look(const QByteArray& path) const
{
    Found found;
    QByteArray bytes;
    found.exists = readAll(path, bytes);
    bool isNumber = false;
    const int number = bytes.mid(1, kHeaderLength - 2).toInt(&isNumber);
    if (!found.exists || !isNumber || bytes.at(0) != 'v' || number >= m_state.versionCount)
        return found;
    const SimVersion& known = m_state.versions[number];
    if (bytes != content(number, int(bytes.size())))
        return found;
    found.version = number;
    found.length = int(bytes.size());
    found.isWhole =
        bytes.size() == known.length || bytes.size() == known.shownLength || bytes.size() == known.length / 2;
    return found;
}

void SimWorld::onRemoved(const QByteArray& path)
{
    SimSide side = SimSide::Local;
    const int name = find(path, side);
    if (name < 0)
        return;
    ++m_state.engineChanges;
    log(QStringLiteral("engine removes %1 %2").arg(QLatin1String(sideName(side)), named(name)));
    judgeRemoval(side, name);
    // It is as if it had never been sent.
    if (side == SimSide::Distant && file(name).distant != kSimNoVersion)
        version(file(name).distant).deliveredNs = -1;
    versionOn(file(name), side) = kSimNoVersion;
    if (side == SimSide::Local)
        file(name).localAbsentNs = nowNs();
    if (side == SimSide::Distant)
        file(name).distantAbsentNs = nowNs();
}

// Where one rename over the old file is refused, it is removed first: its successor must lie beside it, whole, or be
// the file that the host renamed.
bool SimWorld::hasFinishedSibling(SimSide side, int name) const
{
    const QString fileName = m_profile.fileNames.at(name);
    const QString directoryPath = QFile::decodeName(directory(side));
    const QStringList entries = QDir(directoryPath).entryList(QDir::Files | QDir::Hidden);
    return std::any_of(entries.begin(), entries.end(), [&](const QString& entry) {
        return entry.size() > kSiblingSuffixLength &&
               fileName.startsWith(entry.chopped(kSiblingSuffixLength)) && entry != fileName &&
               look(QFile::encodeName(directoryPath + QLatin1Char('/') + entry)).isWhole;
    });
}

void SimWorld::judgeRemoval(SimSide side, int name)
{
    SimFile& removed = file(name);
    switch (side) {
    case SimSide::Local:
        if (isRecent(removed.readyWishNs, kWishSecs) && hasFinishedSibling(side, name))
            return;
        if (!isRecent(removed.trashWishNs, kWishSecs))
            fail(QStringLiteral("local file %1 was removed, and nobody asked for it").arg(named(name)));
        if (removed.trash != removed.local)
            fail(QStringLiteral("local file %1 (v%2) was removed, and the trash holds v%3")
                     .arg(named(name), QString::number(removed.local), QString::number(removed.trash)));
        return;
    case SimSide::Distant:
        if (hasFinishedSibling(side, name) || isRecent(removed.renameWishNs, kWishSecs))
            return;
        if (!isRecent(removed.deleteWishNs, kWishSecs))
            fail(QStringLiteral("distant file %1 was removed, and nobody asked for it").arg(named(name)));
        return;
    case SimSide::Trash:
        break;
    }
    const qint64 days = (SimScheduler::wallMs() - removed.trashedWallMs) / kMsPerDay;
    const bool hasComeBack = removed.local != kSimNoVersion || isRecent(removed.localChangedNs, 60);
    if (days < kTrashRetentionDays && !hasComeBack)
        fail(QStringLiteral("trashed file %1 was removed after %2 days")
                 .arg(named(name), QString::number(days)));
}

void SimWorld::onRenamed(const QByteArray& from, const QByteArray& to)
{
    SimSide fromSide = SimSide::Local;
    SimSide side = SimSide::Local;
    const int source = find(from, fromSide);
    const int name = find(to, side);
    if (source >= 0) {
        if (fromSide != SimSide::Distant || !isRecent(file(source).renameWishNs, kWishSecs))
            fail(
                QStringLiteral("%1 %2 was moved away").arg(QLatin1String(sideName(fromSide)), named(source)));
        if (name >= 0)
            file(name).isDeleteOpen = false;
        file(source).distant = kSimNoVersion;
        file(source).distantAbsentNs = nowNs();
    }
    if (name < 0)
        return judgeUnknownArrival(to);
    ++m_state.engineChanges;
    const FileCalls::Unseen unseen;
    const Found found = look(to);
    const int previous = versionOn(file(name), side);
    noteAbsence(side, name);
    log(QStringLiteral("engine puts v%1 to %2 %3 (was v%4)")
            .arg(QString::number(found.version), QLatin1String(sideName(side)), named(name),
                 QString::number(previous)));
    if (source < 0)
        judgeArrival(side, name, found, previous);
    versionOn(file(name), side) = found.version;
}

// A temporary file, or something that must not be there.
void SimWorld::judgeUnknownArrival(const QByteArray& path)
{
    const QString fileName = QFile::decodeName(path.mid(path.lastIndexOf('/') + 1));
    const QStringList& patterns = m_profile.exclusionPatterns;
    const bool isExcluded = std::any_of(patterns.begin(), patterns.end(), [&](const QString& pattern) {
        return fileName.endsWith(QStringView(pattern).mid(1)); // all of them begin with "*"
    });
    if (isExcluded && path.startsWith(directory(SimSide::Distant) + '/'))
        fail(QStringLiteral("'%1' was sent and is excluded").arg(fileName));
}

void SimWorld::judgeArrival(SimSide side, int name, const Found& found, int previous)
{
    // A file that is new over there is not compared with anything: verification finds what a lying share lost, and
    // who asks for the file before that gets it as it is.
    const bool isUnchecked =
        side == SimSide::Local || (side == SimSide::Distant && previous == kSimNoVersion);
    if (!found.isWhole && !(isUnchecked && m_profile.lyingPermille > 0))
        fail(QStringLiteral("%1 %2 is torn").arg(QLatin1String(sideName(side)), named(name)));
    if (found.version == kSimNoVersion)
        return;
    if (!found.isWhole && side == SimSide::Local)
        version(found.version).shownLength = found.length;
    if (!(version(found.version).places & (1U << name)))
        fail(QStringLiteral("%1 %2 got v%3, which belongs to %4")
                 .arg(QLatin1String(sideName(side)), named(name), QString::number(found.version),
                      named(version(found.version).name)));
    switch (side) {
    case SimSide::Local:
        return judgeLocalArrival(name, found.version, previous);
    case SimSide::Distant:
        return judgeDistantArrival(name, found.version, previous);
    case SimSide::Trash:
        file(name).trashedWallMs = SimScheduler::wallMs();
        return;
    }
}

void SimWorld::judgeLocalArrival(int name, int number, int previous)
{
    if (!isRecent(file(name).readyWishNs, kWishSecs))
        fail(QStringLiteral("local %1 got v%2, and nobody asked for it")
                 .arg(named(name), QString::number(number)));
    if (m_state.weather == SimWeather::Empty)
        file(name).mayBeOld = true;
    // It came from the distant side.
    version(number).deliveredNs = version(number).sentNs = std::max(version(number).deliveredNs, nowNs());
    if (previous == kSimNoVersion || previous == number)
        return;
    const SimVersion& lost = version(previous);
    const bool wasSent = lost.deliveredNs >= 0 && lost.writtenNs <= lost.deliveredNs;
    if (!wasSent && !isOlderThanSent(name, lost))
        fail(QStringLiteral("local %1: v%2 was replaced and had never been sent")
                 .arg(named(name), QString::number(previous)));
}

// Required: a local file counts as changed by its user only if its time is more than 3 s later than the one recorded.
bool SimWorld::isOlderThanSent(int name, const SimVersion& lost) const
{
    const SimVersion* const begin = m_state.versions;
    return std::any_of(begin, begin + m_state.versionCount, [&](const SimVersion& other) {
        const bool wasHere = (other.places & (1U << name)) && &other != &lost && other.deliveredNs >= 0;
        return wasHere && lost.writtenWallMs <= other.writtenWallMs + kToleranceMs;
    });
}

void SimWorld::judgeDistantArrival(int name, int number, int previous)
{
    SimVersion& sent = version(number);
    const bool wasDelivered = sent.deliveredNs >= 0 && sent.incarnation == m_state.incarnation;
    if (previous != kSimNoVersion && previous != number) {
        const SimVersion& lost = version(previous);
        // Required: a rename onto a name that has a row leaves that row, and the next pass finds the file changed.
        if (lost.isForeign && wasDelivered && !isRecent(file(name).renameWishNs, kWishSecs) &&
            !m_state.hadDisturbance && sent.deliveredNs < lost.writtenNs && sent.meantNs < lost.writtenNs &&
            sent.writtenNs < sent.deliveredNs && !isRetried(name, sent))
            fail(QStringLiteral(
                     "distant %1: v%2 of another workstation was replaced by v%3, which had been sent "
                     "before and not changed since")
                     .arg(named(name), QString::number(previous), QString::number(number)));
    }
    if (m_profile.hasSideCars && file(name).sideCarSinceNs >= 0 &&
        nowNs() - file(name).sideCarSinceNs > 60 * kNsPerSec)
        fail(QStringLiteral("distant %1 was sent while its side-car was there").arg(named(name)));
    if (m_state.weather == SimWeather::Empty)
        file(name).mayBeOld = true;
    else if (number == file(name).local)
        file(name).mayBeOld = false;
    file(name).isDeleteOpen = false;
    sent.deliveredNs = sent.sentNs = nowNs();
    sent.incarnation = m_state.incarnation;
}

// Required: a copy whose file was removed before it was sent is tried again a few times, and sends what was fetched
// under that name meanwhile.
bool SimWorld::isRetried(int name, const SimVersion& sent)
{
    constexpr qint64 kRetriesSecs = 15; // 1 + 2 + 3 + 4 s and the worker's queue
    const SimFile& known = file(name);
    return known.localChangedNs > sent.writtenNs && isRecent(known.localAbsentNs, kRetriesSecs);
}

bool SimWorld::isLeftSibling(const QString& fileName) const
{
    const QStringList& names = m_profile.fileNames;
    return m_state.hadDisturbance && std::any_of(names.begin(), names.end(), [&](const QString& name) {
               return fileName.size() > kSiblingSuffixLength &&
                      name.startsWith(fileName.chopped(kSiblingSuffixLength));
           });
}

void SimWorld::onErrorListed(int name, int code, int status)
{
    log(QStringLiteral("%1 is in error: %2").arg(named(name), QString::number(code)));
    const qint64 windowSecs = 4 * m_profile.syncIntervalSecs + 120;
    const SimFile& listed = file(name);
    if (listed.lockedSinceNs >= 0 && !isRecent(listed.lockedSinceNs, 1) && m_profile.faultPermille == 0)
        fail(QStringLiteral("%1 is reported while a rename has its name").arg(named(name)));
    // An error travels with the file that is renamed.
    if (isRecent(listed.renameWishNs, windowSecs))
        return;
    const bool isShrunk = code == ceSecCopySizeMismatch && VornSyncTypes::baseStatus(status) == ceSfsUpToDate;
    if (isShrunk && listed.distant != kSimNoVersion && !version(listed.distant).isForeign &&
        m_profile.lyingPermille == 0)
        fail(QStringLiteral("%1 is reported shrunk on the distant side, and is as it was sent")
                 .arg(named(name)));
    if (code == ceSecLocalFileMissing && listed.local != kSimNoVersion &&
        !isRecent(listed.localAbsentNs, windowSecs))
        fail(QStringLiteral("%1 is reported missing locally, and has been there").arg(named(name)));
    if (code == ceSecDistantFileMissing && listed.distant != kSimNoVersion &&
        !isRecent(listed.distantAbsentNs, windowSecs))
        fail(QStringLiteral("%1 is reported missing on the distant side, and has been there")
                 .arg(named(name)));
}

// --- At rest --------------------------------------------------------------------------------------------

QString SimWorld::restProblem()
{
    const FileCalls::Unseen unseen;
    for (int name = 0; name < nameCount(); ++name) {
        const SimFile& known = file(name);
        const Found local = look(path(SimSide::Local, name));
        const Found distant = look(path(SimSide::Distant, name));
        if (local.exists != (known.local != kSimNoVersion) || (local.exists && local.version != known.local))
            fail(QStringLiteral("local %1 is v%2 and must be v%3")
                     .arg(named(name), QString::number(local.version), QString::number(known.local)));
        if (!local.exists) {
            if (known.isDeleteOpen && distant.exists)
                return QStringLiteral("the deletion of %1 did not reach the distant side").arg(named(name));
            continue;
        }
        if (!distant.exists)
            return QStringLiteral("%1 is not on the distant side").arg(named(name));
        if (distant.version == local.version && distant.isWhole)
            continue;
        if (!distant.isWhole)
            return QStringLiteral("distant %1 is torn").arg(named(name));
        // A newer version of another workstation stays; one that is as long as ours can't be seen.
        const SimVersion& other = version(distant.version);
        const SimVersion& ours = version(local.version);
        const bool isNewer = other.isForeign && other.writtenNs >= ours.sentNs && ours.sentNs >= 0;
        if (!isNewer && !known.mayBeOld)
            return QStringLiteral("%1 is v%2 locally and v%3 on the distant side")
                .arg(named(name), QString::number(local.version), QString::number(distant.version));
    }
    return leftOver();
}

// Where nothing went wrong nothing may be left behind.
QString SimWorld::leftOver() const
{
    if (m_state.hadDisturbance || m_profile.hasSideCars)
        return QString();
    for (const SimSide side : {SimSide::Local, SimSide::Distant}) {
        const QStringList entries =
            QDir(QFile::decodeName(directory(side))).entryList(QDir::Files | QDir::Hidden);
        for (const QString& entry : entries) {
            if (!m_profile.fileNames.contains(entry))
                return QStringLiteral("'%1' was left on the %2 side")
                    .arg(entry, QLatin1String(sideName(side)));
        }
    }
    return QString();
}

} // namespace VornSyncTest
