#pragma once

#include <QSet>
#include <QString>

class VornSyncDatabase;
class VornSyncPass;

// What one pass could not get forward, on its way to the notes. Lives as long as its pass, on the
// synchronizer's thread.
class VornSyncPassReport
{
    Q_DISABLE_COPY_MOVE(VornSyncPassReport)

public:
    VornSyncPassReport() = default;

    // The disk did not say what there is under the name.
    void addUnexamined(const QString& fileName) { m_unexamined.insert(fileName); }
    void addDeferred(const QString& fileName) { m_deferred.insert(fileName); }
    // Every file was decided on.
    void setWhole() { m_isWhole = true; }

    void write(VornSyncDatabase& database, const VornSyncPass& pass, int syncIntervalMs) const;

private:
    QSet<QString> m_unexamined;
    QSet<QString> m_deferred;
    bool m_isWhole = false;
};
