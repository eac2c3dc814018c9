#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

class QCoreApplication;

namespace VornSyncFuzz {

// Where one fuzzing process plays: a directory of its own in memory, an event loop's application, no privileges
// (hostile input may name any path of the machine) and no message that reaches the terminal. One a process; made
// before the first input is run and never destroyed: the process may end in the middle of one.
class Sandbox
{
    Q_DISABLE_COPY_MOVE(Sandbox)

public:
    static Sandbox& instance();

    QString path() const { return m_directory.path(); }
    QString filePath(const QString& name) const { return path() + QLatin1Char('/') + name; }

    // An empty directory of that name, whatever was there.
    QString freshDirectory(const QString& name) const;

private:
    Sandbox();

    QTemporaryDir m_directory;
    QCoreApplication* m_application = nullptr;
};

QByteArray readFile(const QString& path);
void writeFile(const QString& path, const QByteArray& content);

} // namespace VornSyncFuzz

// What must hold whatever the input is.
#define FUZZ_REQUIRE(condition, explanation)                                                                 \
    do {                                                                                                     \
        if (!(condition))                                                                                    \
            VornSyncFuzz::giveUp(__FILE__, __LINE__, #condition, explanation);                               \
    } while (false)

namespace VornSyncFuzz {

[[noreturn]] void giveUp(const char* file, int line, const char* condition, const QString& explanation);

} // namespace VornSyncFuzz
