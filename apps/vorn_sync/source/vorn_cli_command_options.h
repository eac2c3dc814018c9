#pragma once

#include "vorn_cli_command_table.h"
#include "vorn_cli_guard.h"

#include <QJsonObject>

class QCommandLineParser;

// The command line of a command to a running host. A value.
class VornCliCommandOptions
{
public:
    enum class Result { Run, ShowHelp, Refused };

    explicit VornCliCommandOptions(const VornCliCommandEntry& command);

    // `arguments` are the program's name and what follows the command's name.
    Result parse(const QStringList& arguments);

    QString error() const { return m_error; } // after Refused
    QString helpText() const { return m_helpText; }

    QString command() const { return m_command.name; }
    QString program() const { return m_program; } // as it was called
    QString statePath() const { return m_statePath; }
    QString language() const { return m_language; }
    bool json() const { return m_json; }
    bool yes() const { return m_yes; }
    int timeoutMs() const { return m_timeoutMs; }     // for the host's answer
    VornCliLimits limits() const { return m_limits; } // of "status"
    QJsonObject request() const { return m_arguments; }

private:
    struct Options;

    bool read(const QCommandLineParser& parser, const Options& options);
    bool readArguments(const QStringList& given);
    bool readTimes(const QString& timeout, const QString& wait);
    bool readLimits(const QCommandLineParser& parser, const Options& options);
    bool readMilliseconds(const QString& option, const QString& text, int* milliseconds);
    bool readSeconds(const QString& option, const QString& text, int most, int* seconds);
    bool refuse(const QString& error);

    const VornCliCommandEntry& m_command;
    QString m_error;
    QString m_helpText;
    QString m_program;
    QString m_statePath;
    QString m_language;
    QJsonObject m_arguments;
    VornCliLimits m_limits;
    int m_timeoutMs = 0;
    bool m_json = false;
    bool m_yes = false;
};
