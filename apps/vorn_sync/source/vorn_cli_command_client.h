#pragma once

#include <QJsonObject>
#include <QString>

// Asks the host that runs on a state directory and waits for its answer, never longer than it is told. Lives on
// the calling thread, which needs no event loop.
class VornCliCommandClient
{
public:
    enum class Result { Answered, NoHost, NoAccess, NoAnswer, HostEnded, BadAnswer };

    explicit VornCliCommandClient(const QString& stateDirectory);

    Result ask(const QString& command, const QJsonObject& arguments, int timeoutMs);
    QJsonObject answer() const { return m_answer; } // after Answered

private:
    QString m_stateDirectory;
    QJsonObject m_answer;
};
