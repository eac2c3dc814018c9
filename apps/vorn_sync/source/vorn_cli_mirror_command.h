#pragma once

#include "vorn_cli_mirror_options.h"
#include "vorn_cli_output.h"

#include <memory>

class VornCliMirror;
class VornCliSession;
class VornCliSignalWatcher;

// "vorn_sync mirror": registers pairs and keeps them mirrored. Lives on the host's thread.
class VornCliMirrorCommand
{
    Q_DISABLE_COPY_MOVE(VornCliMirrorCommand)

public:
    VornCliMirrorCommand();
    ~VornCliMirrorCommand();

    // `arguments` are the program's name and what follows the command's name. Gives the exit code.
    int run(const QStringList& arguments);

private:
    int mirror();
    int runOnce(const VornCliMirror& mirror);
    int runUntilSignal(VornCliSession* session);
    std::unique_ptr<VornCliOutput> createOutput() const;

    VornCliMirrorOptions m_options;
    std::unique_ptr<VornCliOutput> m_output;
    std::unique_ptr<VornCliSignalWatcher> m_signalWatcher;
};
