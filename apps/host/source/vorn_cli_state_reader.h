#pragma once

#include "vorn_cli_progress.h"
#include "vorn_cli_types.h"

#include <QString>
#include <QVariantList>
#include <QVariantMap>

#include <functional>
#include <memory>

class QTemporaryDir;

// Reads a state database and never writes to it. All SQL of the host stands here. Lives on the thread that
// creates it; no connection outlives a call.
class VornCliStateReader
{
    Q_DISABLE_COPY_MOVE(VornCliStateReader)

public:
    enum class Owner {
        Running, // this process's manager has the database open
        Nobody   // no host runs: a copy is read, since even a reader would leave side files beside a database
    };
    // What a row says of a file.
    enum class Standing {
        Unreadable,
        Untracked, // no row, or a deleted or trashed file
        Settled,
        Busy // an operation is wanted or runs, or has failed and waits to be taken up again
    };

    VornCliStateReader(const QString& databasePath, Owner owner);
    ~VornCliStateReader();

    bool isReadable() const;

    Standing standing(const QString& alias, const QString& name) const;
    bool counters(VornCliCounters* counters) const;
    bool errors(QVector<VornCliFileError>* errors) const; // without sentences
    bool pairs(QVector<VornCliPair>* pairs) const;
    // Looks at the local files that wait, too, for their sizes.
    bool progress(VornCliProgress* progress) const;

private:
    bool takeCopy(const QString& databasePath);
    bool pairProgress(VornCliProgress* progress) const;
    bool waits(VornCliProgress* progress) const;
    bool deferrals(VornCliProgress* progress) const;
    // Every row goes to `take`, as the values of its columns.
    bool select(const QString& sql, const QVariantList& values,
                const std::function<void(const QVariantList&)>& take) const;

    QString m_path;                        // of what is read; empty: nothing can be
    std::unique_ptr<QTemporaryDir> m_copy; // null while a manager has the database open
};
