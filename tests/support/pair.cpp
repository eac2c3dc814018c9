#include "pair.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

namespace VornSyncTest {

namespace {

constexpr qint64 kCompareBlockBytes = 1 << 20;

bool writeWith(const QString& path, const QByteArray& content, QIODevice::OpenMode mode)
{
    if (!QDir().mkpath(QFileInfo(path).path()))
        return false;
    QFile file(path);
    return file.open(mode) && file.write(content) == content.size() && file.flush();
}

bool isExcluded(const QString& name, const QStringList& patterns)
{
    for (const QString& pattern : patterns) {
        const QRegularExpression expression(QRegularExpression::wildcardToRegularExpression(pattern));
        if (expression.match(name).hasMatch())
            return true;
    }
    return false;
}

bool isQtTemporary(const QString& name)
{
    static const QRegularExpression form(QStringLiteral("^qt_temp\\..{6}$"));
    return form.match(name).hasMatch();
}

bool hasTemporaryForm(const QString& name)
{
    static const QRegularExpression form(QStringLiteral("\\.[0-9a-f]{4}$"));
    return form.match(name).hasMatch();
}

QString difference(const QString& name, const QString& localPath, const QString& distantPath)
{
    QFile local(localPath);
    QFile distant(distantPath);
    if (!distant.exists())
        return QStringLiteral("'%1' is missing on the distant side").arg(name);
    if (!local.open(QIODevice::ReadOnly) || !distant.open(QIODevice::ReadOnly))
        return QStringLiteral("'%1' cannot be opened on both sides").arg(name);
    if (local.size() != distant.size())
        return QStringLiteral("'%1' has %2 bytes locally and %3 on the distant side")
            .arg(name, QString::number(local.size()), QString::number(distant.size()));
    while (!local.atEnd()) {
        const qint64 position = local.pos();
        if (local.read(kCompareBlockBytes) != distant.read(kCompareBlockBytes))
            return QStringLiteral("'%1' differs in the block at byte %2")
                .arg(name, QString::number(position));
    }
    return QString();
}

QStringList leftovers(const Side& side, const Side& other)
{
    QStringList result;
    const QStringList paths = side.allFiles();
    for (const QString& path : paths) {
        const QString name = QFileInfo(path).fileName();
        if (isQtTemporary(name) || (hasTemporaryForm(name) && !other.exists(path)))
            result << side.filePath(path);
    }
    return result;
}

} // namespace

Side::Side(const QString& path)
    : m_path(path)
{
}

bool Side::write(const QString& name, const QByteArray& content) const
{
    return writeWith(filePath(name), content, QIODevice::WriteOnly | QIODevice::Truncate);
}

bool Side::append(const QString& name, const QByteArray& content) const
{
    return writeWith(filePath(name), content, QIODevice::WriteOnly | QIODevice::Append);
}

bool Side::remove(const QString& name) const
{
    const QFileInfo info(filePath(name));
    if (info.isDir() && !info.isSymLink())
        return QDir(info.filePath()).removeRecursively();
    return QFile::remove(info.filePath());
}

bool Side::rename(const QString& from, const QString& to) const
{
    return QDir().mkpath(QFileInfo(filePath(to)).path()) && QFile::rename(filePath(from), filePath(to));
}

bool Side::makeDirectory(const QString& name) const
{
    return QDir().mkpath(filePath(name));
}

bool Side::setLmd(const QString& name, const QDateTime& time) const
{
    QFile file(filePath(name));
    return file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly) &&
           file.setFileTime(time, QFileDevice::FileModificationTime);
}

bool Side::replace(const QString& name, const QByteArray& content, const QDateTime& lmd) const
{
    const Side outside(QFileInfo(m_path).path());
    const QString draft = QStringLiteral("draft of ") + QFileInfo(m_path).fileName();
    return outside.write(draft, content) && (!lmd.isValid() || outside.setLmd(draft, lmd)) &&
           ::rename(QFile::encodeName(outside.filePath(draft)).constData(),
                    QFile::encodeName(filePath(name)).constData()) == 0;
}

bool Side::exists(const QString& name) const
{
    const QFileInfo info(filePath(name));
    return info.exists() || info.isSymLink();
}

QByteArray Side::read(const QString& name) const
{
    QFile file(filePath(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QDateTime Side::lmd(const QString& name) const
{
    return QFileInfo(filePath(name)).lastModified().toUTC();
}

QStringList Side::names() const
{
    QStringList result =
        QDir(m_path).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    result.sort();
    return result;
}

QStringList Side::allFiles() const
{
    QStringList result;
    QDirIterator it(m_path, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext())
        result << it.next().mid(m_path.size() + 1);
    result.sort();
    return result;
}

Pair::Pair(const QString& distantPath)
    : m_local(m_root.filePath(QStringLiteral("local")))
    , m_distant(distantPath.isEmpty() ? m_root.filePath(QStringLiteral("distant")) : distantPath)
{
    QDir().mkpath(localPath());
    QDir().mkpath(this->distantPath());
    QDir().mkpath(trashRoot());
}

QString Pair::trashRoot() const
{
    return m_root.filePath(QStringLiteral("trash"));
}

QString Pair::databasePath() const
{
    return m_root.filePath(QStringLiteral("state.sqlite"));
}

QString Pair::compareTrees(const QStringList& excludedPatterns) const
{
    const QStringList names = QDir(localPath()).entryList(QDir::Files, QDir::Name);
    for (const QString& name : names) {
        if (isExcluded(name, excludedPatterns) || isQtTemporary(name))
            continue;
        const QString found = difference(name, m_local.filePath(name), m_distant.filePath(name));
        if (!found.isEmpty())
            return found;
    }
    return QString();
}

QStringList Pair::temporaryFiles() const
{
    return leftovers(m_local, m_distant) + leftovers(m_distant, m_local);
}

} // namespace VornSyncTest
