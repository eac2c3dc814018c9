#pragma once

#include "vorn_cli_background.h"
#include "vorn_cli_request.h"
#include "vorn_cli_types.h"

#include <QObject>
#include <QVector>

class VornCliSession;
class VornCliStateDirectory;

// The command "rename": looks whether both sides and the state have the new name already, locks both names,
// renames the local file and has the manager carry that to the distant side. Lives on the host's thread; what
// might hang on a share is asked on another one.
class VornCliRenamer : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornCliRenamer)

public:
    VornCliRenamer(VornCliSession& session, const VornCliStateDirectory& state, QObject* parent = nullptr);

    void rename(const VornCliRequest& request); // its alias is known, its names are bare
    // Whether the state still has to take in a rename from or to this name.
    bool isUnderWay(const QString& alias, const QString& name);

private:
    struct Facts;
    struct Committed
    {
        QString alias;
        QString oldName;
        QString newName;
    };

    bool isOver(const Committed& rename) const;
    void remember(const VornCliRequest& request);
    static Facts look(const VornCliPair& pair, const QString& oldName, const QString& newName);
    bool checkTracked(const VornCliRequest& request) const;
    bool checkFacts(const VornCliRequest& request, const Facts& facts) const;
    void carryOut(const VornCliRequest& request, const Facts& facts);
    void renameLocked(const VornCliRequest& request, const VornCliPair& pair, const Facts& facts);

    VornCliSession& m_session;
    const VornCliStateDirectory& m_state;
    QVector<Committed> m_committed; // those that were not seen to be over
    VornCliBackground m_background;
};
