#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace VornSyncTest {

// One side of a pair: a directory and the verbs a story is told with. Names are relative to the directory
// and may hold "/"; missing directories are created. The verbs give false when the file system refused.
class Side
{
public:
    explicit Side(const QString& path);

    QString path() const { return m_path; }
    QString filePath(const QString& name) const { return m_path + QLatin1Char('/') + name; }

    bool write(const QString& name, const QByteArray& content) const;
    bool append(const QString& name, const QByteArray& content) const;
    bool remove(const QString& name) const; // a file, or a directory with all in it
    bool rename(const QString& from, const QString& to) const;
    bool makeDirectory(const QString& name) const;
    bool setLmd(const QString& name, const QDateTime& time) const;
    // Puts a whole file into the place of another one, with its time (now, unless given): nobody sees it half done.
    bool replace(const QString& name, const QByteArray& content, const QDateTime& lmd = QDateTime()) const;

    bool exists(const QString& name) const; // a dangling link exists
    QByteArray read(const QString& name) const;
    QDateTime lmd(const QString& name) const; // in UTC
    QStringList names() const;                // all entries at the top, hidden ones too, sorted
    QStringList allFiles() const;             // every file below, relative paths, sorted

private:
    QString m_path;
};

// A local and a distant directory with a trash root and a database path, all in one temporary directory, unless the
// distant directory is given: a share, say.
class Pair
{
    Q_DISABLE_COPY_MOVE(Pair)

public:
    explicit Pair(const QString& distantPath = QString());

    bool isValid() const { return m_root.isValid(); }
    QString rootPath() const { return m_root.path(); }
    QString localPath() const { return m_local.path(); }
    QString distantPath() const { return m_distant.path(); }
    QString trashRoot() const;
    QString databasePath() const;

    const Side& local() const { return m_local; }
    const Side& distant() const { return m_distant; }

    // Empty when every plain local file (hidden ones, names excluded by a wildcard and Qt's own temporary
    // files left out) has a distant file of the same content; otherwise the first difference in words.
    QString compareTrees(const QStringList& excludedPatterns = QStringList()) const;

    // Files that a copy would leave behind if it were not cleaned up, on either side and at any depth:
    // "qt_temp.XXXXXX", and "<name>.<4 hex digits>" which the other side does not have.
    QStringList temporaryFiles() const;
    bool noTemporaryFiles() const { return temporaryFiles().isEmpty(); }

private:
    QTemporaryDir m_root;
    Side m_local;
    Side m_distant;
};

} // namespace VornSyncTest
