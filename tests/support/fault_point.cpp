#include "fault_point.h"

#include <QFile>
#include <QRegularExpression>

#include <cerrno>
#include <csignal>
#include <cstring>

#include <sys/types.h>
#include <unistd.h>

// Takes the place of the sleep between SQLite's tries to get a lock, and takes no time: SQLite counts the time by the
// number of tries. Nothing else asks for it.
// Simulated time: nobody sleeps here.
extern "C" __attribute__((visibility("default"))) int usleep(useconds_t)
{
    return 0;
}

namespace VornSyncTest {

namespace {

QString databaseRole(const QString& path)
{
    if (path == QLatin1String("state"))
        return QStringLiteral("directory of the database");
    if (path.endsWith(QLatin1String("-wal")))
        return QStringLiteral("log of the database");
    if (path.endsWith(QLatin1String("-shm")))
        return QStringLiteral("index of the log");
    return path.endsWith(QLatin1String("-journal")) ? QStringLiteral("journal of the database")
                                                    : QStringLiteral("database");
}

// What a path of one side is; directories of companions have no dot in their names.
QString kindOfEntry(const QString& entry, bool isDescriptorOfFile)
{
    static const QRegularExpression temporary(QStringLiteral("(^|/)qt_temp\\.[^/]{6}$|\\.[0-9a-f]{4}$"));
    if (entry.isEmpty())
        return isDescriptorOfFile ? QStringLiteral("unnamed file") : QStringLiteral("directory");
    const QString of = entry.contains(QLatin1Char('/')) ? QStringLiteral("companion") : QString();
    const QString name = entry.mid(entry.lastIndexOf(QLatin1Char('/')) + 1);
    if (temporary.match(entry).hasMatch())
        return of.isEmpty() ? QStringLiteral("temporary file") : QStringLiteral("temporary companion");
    if (!name.contains(QLatin1Char('.')))
        return isDescriptorOfFile ? QStringLiteral("unnamed companion")
                                  : QStringLiteral("companion directory");
    return of.isEmpty() ? QStringLiteral("file") : of;
}

QString roleOfPath(const QByteArray& root, const QByteArray& nativePath, bool isDescriptorOfFile)
{
    if (!nativePath.startsWith(root))
        return QString();
    const QString path = QFile::decodeName(nativePath.mid(root.size() + 1));
    const QString side = path.section(QLatin1Char('/'), 0, 0);
    if (side.isEmpty())
        return QStringLiteral("directory above");
    if (side == QLatin1String("state"))
        return databaseRole(path);
    // The trash of the one pair lies a level deeper.
    const int levels = side == QLatin1String("trash") ? 2 : 1;
    return side + QLatin1Char(' ') + kindOfEntry(path.section(QLatin1Char('/'), levels), isDescriptorOfFile);
}

QString placeOf(const QByteArray& root, const QByteArray& nativePath)
{
    return QFile::decodeName(nativePath.mid(root.size() + 1)).section(QLatin1Char('/'), 0, 0);
}

bool is(const FileCalls::Call& call, const char* function)
{
    return std::strcmp(call.function, function) == 0;
}

FaultCall inWords(const QByteArray& root, const FileCalls::Call& call)
{
    // A file without a name is known by its directory.
    const bool isOfFile = call.descriptor >= 0 && !is(call, "readdir") && !is(call, "readdir64") &&
                          !is(call, "closedir") && !is(call, "fdopendir");
    const QString role = roleOfPath(root, call.path, isOfFile);
    const QString target = roleOfPath(root, call.target, isOfFile);
    const bool isBoth = !role.isEmpty() && !target.isEmpty() && call.effect == FileCalls::Effect::Changes;
    return {QString::fromLatin1(call.function),
            isBoth           ? QStringLiteral("%1 to %2").arg(role, target)
            : role.isEmpty() ? target
                             : role,
            placeOf(root, role.isEmpty() ? call.target : call.path)};
}

} // namespace

FaultPoint::FaultPoint(const QString& root, const Fault& fault, bool isSendfileRefused)
    : m_root(QFile::encodeName(root))
    , m_fault(fault)
    , m_isSendfileRefused(isSendfileRefused)
{
    FileCalls::setHooks({[this](const FileCalls::Call& call) { return errorOf(call); }, nullptr});
}

FaultPoint::~FaultPoint()
{
    FileCalls::setHooks({});
}

int FaultPoint::errorOf(const FileCalls::Call& call)
{
    if (!call.path.startsWith(m_root) && !call.target.startsWith(m_root))
        return 0;
    if (m_isSendfileRefused && is(call, "sendfile"))
        return EINVAL;
    const int number = int(m_calls.size());
    m_calls.append(inWords(m_root, call));
    const bool isAboutJournal = (is(call, "stat64") || is(call, "access")) && call.path.endsWith("-journal");
    if (!isReached(number) || (m_isJournalSpared && isAboutJournal))
        return 0;
    if (m_fault.error == 0)
        ::kill(::getpid(), SIGKILL);
    return m_fault.error;
}

bool FaultPoint::isReached(int number) const
{
    if (m_fault.at == Fault::kNever || number < m_fault.at)
        return false;
    switch (m_fault.reach) {
    case Fault::Reach::Once:
        return number == m_fault.at;
    case Fault::Reach::Function:
        return m_calls.at(number).function == m_calls.at(m_fault.at).function;
    case Fault::Reach::Place:
        return m_calls.at(number).place == m_calls.at(m_fault.at).place;
    case Fault::Reach::ForEver:
        break;
    }
    return true;
}

} // namespace VornSyncTest
