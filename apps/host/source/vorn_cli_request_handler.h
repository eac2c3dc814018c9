#pragma once

#include "vorn_cli_renamer.h"
#include "vorn_cli_request.h"
#include "vorn_cli_types.h"

#include <QObject>

#include <functional>

class VornCliCommandConnection;
class VornCliPairList;
class VornCliSession;
class VornCliStateDirectory;
class VornSyncManager;

// What each command means for the running session. Lives on the host's thread; nothing here waits.
class VornCliRequestHandler : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornCliRequestHandler)

public:
    // All three must outlive the handler.
    VornCliRequestHandler(VornCliSession& session, VornCliPairList& pairList,
                          const VornCliStateDirectory& state, QObject* parent = nullptr);

    // Answered from the event loop: who sent it may be deleted by then.
    void take(VornCliCommandConnection* connection, const QJsonObject& request);

private:
    using Handle = void (VornCliRequestHandler::*)(const VornCliRequest& request);
    struct Entry;

    void handle(const VornCliRequest& request);
    void status(const VornCliRequest& request);
    void errors(const VornCliRequest& request);
    void retry(const VornCliRequest& request);
    void acknowledge(const VornCliRequest& request);
    void restore(const VornCliRequest& request);
    void retryAll(const VornCliRequest& request);
    void acknowledgeAll(const VornCliRequest& request);
    void deleteAllMissing(const VornCliRequest& request);
    void trash(const VornCliRequest& request);
    void deleted(const VornCliRequest& request);
    void rename(const VornCliRequest& request);
    void ready(const VornCliRequest& request);
    void sync(const VornCliRequest& request);
    void syncFile(const VornCliRequest& request);
    void pause(const VornCliRequest& request);
    void resume(const VornCliRequest& request);
    void forget(const VornCliRequest& request);
    void reset(const VornCliRequest& request);

    bool checkAlias(const VornCliRequest& request);
    bool checkFile(const VornCliRequest& request); // alias and name
    bool checkName(const VornCliRequest& request, const QString& name);
    bool checkTracked(const VornCliRequest& request, bool mayBeBusy);
    // The error of the file; refuses where there is none.
    bool findError(const VornCliRequest& request, VornCliFileError* error);
    void retryError(const VornCliRequest& request, int onlyCode, const QString& otherwise);
    void forAllErrors(const VornCliRequest& request, const QString& done,
                      const std::function<bool(int code)>& isMeant, void (VornSyncManager::*action)());

    VornCliSession& m_session;
    VornCliPairList& m_pairList;
    const VornCliStateDirectory& m_state;
    VornCliRenamer m_renamer;
};
