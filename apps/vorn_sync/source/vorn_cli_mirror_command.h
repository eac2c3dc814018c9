#pragma once

#include "vorn_cli_mirror_options.h"
#include "vorn_cli_output.h"
#include "vorn_cli_pair_list.h"
#include "vorn_cli_state_directory.h"

#include <memory>

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
    int openState();
    int addPairs(VornCliSession* session);
    int addPair(VornCliSession* session, const VornCliPair& pair);
    int chooseAlias(const VornCliSession& session, QStringList* taken, VornCliPair* pair) const;
    int runOnce(VornCliSession* session);
    int runUntilSignal(VornCliSession* session);
    std::unique_ptr<VornCliOutput> createOutput() const;

    VornCliMirrorOptions m_options;
    std::unique_ptr<VornCliStateDirectory> m_state;
    std::unique_ptr<VornCliPairList> m_pairList;
    std::unique_ptr<VornCliOutput> m_output;
    std::unique_ptr<VornCliSignalWatcher> m_signalWatcher;
};
