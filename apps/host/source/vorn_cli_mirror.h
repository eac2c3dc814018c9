#pragma once

#include "vorn_cli_mirror_options.h"
#include "vorn_cli_output.h"
#include "vorn_cli_pair_list.h"
#include "vorn_cli_state_directory.h"

#include <memory>

class VornCliCommandServer;
class VornCliRequestHandler;
class VornCliSession;

// A mirror on a state directory: the lock on it, the remembered pairs and those of the command line, the
// session, and the door for commands. Lives on the host's thread.
class VornCliMirror
{
    Q_DISABLE_COPY_MOVE(VornCliMirror)

public:
    // `options` must outlive the mirror.
    explicit VornCliMirror(const VornCliMirrorOptions& options);
    ~VornCliMirror();

    // These give an exit code, and what to say with it when it is not kExitOk.
    int lockState();
    int open(VornCliOutput* output); // which must outlive the mirror as well
    QString error() const { return m_error; }

    // While it is open; also of what is remembered. False: the texts say why.
    bool add(const VornCliPair& pair, QStringList* texts);
    bool forget(const QString& alias, QStringList* texts);

    const VornCliStateDirectory& state() const { return m_state; }
    VornCliSession* session() const { return m_session.get(); } // null until it is open

private:
    int addPairs();
    int addPair(const VornCliPair& pair);
    int chooseAlias(QStringList* taken, VornCliPair* pair);
    int fail(int exitCode, const QString& error);

    const VornCliMirrorOptions& m_options;
    VornCliStateDirectory m_state;
    VornCliPairList m_pairList;
    QString m_error;
    VornCliOutput* m_output = nullptr;
    std::unique_ptr<VornCliCommandServer> m_server;
    std::unique_ptr<VornCliSession> m_session;
    std::unique_ptr<VornCliRequestHandler> m_handler;
};
