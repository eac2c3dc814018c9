#pragma once

#include "vorn_cli_command_client.h"
#include "vorn_cli_command_options.h"

// A command to a running host, from the command line to the exit code. Lives on the main thread.
class VornCliClientCommand
{
    Q_DISABLE_COPY_MOVE(VornCliClientCommand)

public:
    explicit VornCliClientCommand(const VornCliCommandEntry& command);

    // `arguments` are the program's name and what follows the command's name. Gives the exit code.
    int run(const QStringList& arguments);

private:
    int ask();
    bool isAboutTheState() const; // "status" and "errors", which the database can answer too
    int confirm() const;
    int readDatabase() const;
    int show(QJsonObject answer) const;
    int showStatus(QJsonObject status) const;
    int showErrors(QJsonObject answer) const;
    int refuse(int exitCode, const QString& why, const QStringList& details = QStringList()) const;
    static void writeJson(const QJsonObject& object);
    void writeNoHost() const;

    VornCliCommandOptions m_options;
};
