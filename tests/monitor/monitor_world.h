#pragma once

#include "test_cli_support.h"

#include "literals.h"
#include "pair.h"
#include "raw_database.h"
#include "trace_capture.h"
#include "wait.h"

#include "vorn_monitor_host.h"
#include "vorn_monitor_mirror.h"

#include "vorn_cli_session.h"

#include "vorn_sync_manager.h"

#include <QQuickItem>
#include <QQuickWindow>

#include <memory>

namespace VornSyncTest {

// The bits and values of a row's status that the tests plant.
constexpr int kUpToDateInError = 145;
constexpr int kSyncingInError = 148;

// The window as the program opens it, on a real mirror of the pair "docs". Its cycle never comes round by itself.
// Every message from QML counts as a failure: check it with complaints().
class MonitorWorld
{
    Q_DISABLE_COPY_MOVE(MonitorWorld)

public:
    explicit MonitorWorld(const QString& language = QStringLiteral("en"));
    ~MonitorWorld();

    // Writes the files and mirrors them with the command line; the window finds the pair remembered.
    [[nodiscard]] bool mirror(const QStringList& names);
    // Puts rows in error, as if an operation on each had failed. The window must be closed.
    [[nodiscard]] bool plantError(const QString& name, int code, int status);
    [[nodiscard]] bool plantMissing(int count, int code); // rows of files that are on neither side
    [[nodiscard]] bool open(const QStringList& options = QStringList());
    void close() { m_mirror.reset(); }

    const CliWorld& world() const { return m_world; }
    const Side& local() const { return m_local; }
    const Side& distant() const { return m_distant; }
    Side trash() const { return Side(m_world.statePath() + QStringLiteral("/trash/docs")); }
    RawDatabase database() const { return RawDatabase(m_world.statePath() + QStringLiteral("/state.db")); }
    int statusOf(const QString& name) const; // -1: no row

    VornMonitorMirror& monitor() { return *m_mirror; }
    VornSyncManager& manager() { return *m_mirror->session()->manager(); }
    VornMonitorHost& host() { return *m_mirror->host(); }
    QQuickWindow* window() { return m_mirror->window(); }
    // Asks for cycles until the file is listed with that error.
    [[nodiscard]] bool cycleUntilError(const QString& name, int code);
    QString complaints() const; // empty: none

    // --- What is in the window; only what can be seen counts, and what is named more than once in reading order
    QList<QQuickItem*> items(const QString& name, const QQuickItem* below = nullptr) const;
    QQuickItem* item(const QString& name, const QQuickItem* below = nullptr) const; // null: none
    QQuickItem* row(const QString& listName, const QString& fileName) const;        // that shows the name
    QString textOf(const QString& name) const;

    // Waits until the item is there, can be used, and has come to rest.
    [[nodiscard]] QQuickItem* await(const QString& name, const QQuickItem* below = nullptr);
    [[nodiscard]] bool click(const QString& name, const QQuickItem* below = nullptr);
    void type(const QString& text);
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier);

private:
    bool awaitFrame();

    CliWorld m_world;
    Side m_local;
    Side m_distant;
    QString m_language;
    TraceCapture m_messages;
    VornCliMirrorOptions m_options{VornCliShownIn::Window};
    std::unique_ptr<VornMonitorMirror> m_mirror;
};

} // namespace VornSyncTest
