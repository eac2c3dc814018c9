#pragma once

#include "vorn_sync_task.h"

#include <QObject>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QVector>

#include <memory>

class VornSyncManager;

namespace VornSyncFuzz {

// A manager whose engine was brought to the host's thread and whose tasks run as they come: what a call leads to is
// over when settle() returns, and no timer is waited for. One pair is registered, "docs".
class InlineHost : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(InlineHost)

public:
    explicit InlineHost(const QString& root);
    ~InlineHost() override;

    static QString alias() { return QStringLiteral("docs"); }
    QString localPath() const { return m_root + QStringLiteral("/local"); }
    QString distantPath() const { return m_root + QStringLiteral("/distant"); }
    // Of pairs that are registered later.
    QString otherLocalPath() const { return m_root + QStringLiteral("/other_local"); }
    QString otherDistantPath() const { return m_root + QStringLiteral("/other_distant"); }
    QString trashRoot() const { return m_root + QStringLiteral("/trash"); }
    QString statePath() const { return m_root + QStringLiteral("/state"); }
    QString databasePath() const { return statePath() + QStringLiteral("/state.db"); }

    VornSyncManager& manager() { return *m_manager; }
    // Everything that was asked for is done, waiting pairs are started.
    void settle();
    int taskCount() const { return m_taskCount; }

    QStringList takeErrors();
    QVector<QPair<QString, bool>> takeAnswers(); // of file-ready requests

private:
    void bringEngineHere();
    void settleWhatWasStarted();
    void runSoon(const pVornSyncTask& task);

    const QString m_root;
    std::unique_ptr<VornSyncManager> m_manager;
    int m_taskCount = 0;
    QStringList m_errors;
    QVector<QPair<QString, bool>> m_answers;
};

} // namespace VornSyncFuzz
