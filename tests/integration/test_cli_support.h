#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVector>

namespace VornSyncTest {

// How a run of the program ended.
struct CliResult
{
    bool hasEnded = false; // false: it did not start, did not end in time, or crashed
    int exitCode = -1;
    QByteArray out;
    QByteArray err;

    QString words() const; // for the message of a failed check
};

// A running vorn_sync. What it writes is gathered; the destructor kills it.
class CliProcess
{
    Q_DISABLE_COPY_MOVE(CliProcess)

public:
    CliProcess() = default;
    ~CliProcess();

    bool start(const QStringList& arguments, const QProcessEnvironment& environment);
    bool start(const QString& program, const QStringList& arguments, const QProcessEnvironment& environment);
    bool isRunning() const { return m_process.state() == QProcess::Running; }
    qint64 processId() const { return m_process.processId(); }

    QByteArray out();
    QByteArray err();
    bool waitForOut(const QByteArray& text); // false: not written in time
    bool waitForErr(const QByteArray& text);

    bool sendSignal(int signalNumber) const;
    CliResult waitForEnd();

private:
    QProcess m_process;
    QByteArray m_out;
    QByteArray m_err;
};

// A world of its own for runs of the program: home and state directories below a temporary one, UTF-8,
// English. Directories for pairs are made on demand.
class CliWorld
{
    Q_DISABLE_COPY_MOVE(CliWorld)

public:
    CliWorld();

    QString path(const QString& name) const { return m_root.path() + QLatin1Char('/') + name; }
    QString makeDirectory(const QString& name) const; // its absolute path
    QString statePath() const { return path(QStringLiteral("state")); }

    void setVariable(const QString& name, const QString& value) { m_environment.insert(name, value); }
    void removeVariable(const QString& name) { m_environment.remove(name); }
    QProcessEnvironment environment() const { return m_environment; }

    CliResult run(const QStringList& arguments) const;
    // "mirror --state <statePath()>" and the arguments.
    QStringList mirrorArguments(const QStringList& arguments) const;
    CliResult mirror(const QStringList& arguments) const;

private:
    QTemporaryDir m_root;
    QProcessEnvironment m_environment;
};

// The objects that --json has written. A line that is not an object makes `valid` false.
struct JsonLines
{
    bool valid = true;
    QVector<QJsonObject> objects;

    explicit JsonLines(const QByteArray& out);
    QVector<QJsonObject> events(const QString& event) const;
    QStringList filesOf(const QString& event) const; // sorted
};

bool makeFifo(const QString& path);
bool makeSocket(const QString& path); // the path must be short, as the system wants it

} // namespace VornSyncTest
