#pragma once

#include <QHash>
#include <QMultiHash>
#include <QObject>
#include <QString>

class QFileSystemWatcher;
class QSocketNotifier;

// Watches local directories for saved files: inotify on Linux; elsewhere a plain directory watch, which does
// not name files and so only ever asks for a cycle. Lives on the host's thread.
class VornCliWatcher : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornCliWatcher)

public:
    explicit VornCliWatcher(QObject* parent = nullptr);
    ~VornCliWatcher() override;

    bool watch(const QString& alias, const QString& directory); // again for an alias: starts afresh
    void unwatch(const QString& alias);

signals:
    void fileSaved(const QString& alias, const QString& name);   // closed after writing, or moved in
    void fileTouched(const QString& alias, const QString& name); // created or written, perhaps still open
    void eventsLost(); // something has changed, and it is not known what

private:
#ifdef Q_OS_LINUX
    void onReadable();
    void handle(int watchId, quint32 mask, const QByteArray& encodedName);

    int m_descriptor = -1;
    QSocketNotifier* m_notifier = nullptr; // child
    QHash<QString, int> m_watchIds;        // by alias
    QMultiHash<int, QString> m_aliases;    // two paths may lead to one directory, which has one watch
#else
    QFileSystemWatcher* m_watcher = nullptr; // child
    QHash<QString, QString> m_directories;   // by alias
#endif
};
