#pragma once

#include <QMutex>
#include <QString>
#include <QStringList>

namespace VornSyncTest {

// True when the library was built with its trace lines; tests skip what they assert about them otherwise.
bool traceLinesBuiltIn();

// Collects every message of the process while it lives, from all threads. Nothing reaches the previous
// handler unless VORN_TEST_VERBOSE is set. Captures may be nested: each collects, the newest ends first.
class TraceCapture
{
    Q_DISABLE_COPY_MOVE(TraceCapture)

public:
    TraceCapture();
    ~TraceCapture();

    QStringList debugLines() const;
    QStringList warnings() const;
    QStringList criticals() const;
    void clear();

    // Whether a debug line holds `text`, and how many do.
    bool contains(const QString& text) const;
    int count(const QString& text) const;

    // The library's trace lines of one class tag ("Sync: "), in order, without "[-- SYNC --]: " and the tag.
    QStringList linesOf(const QString& tag) const;

private:
    QStringList ownCopy(const QStringList& lines) const;
    static void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& message);
    void add(QtMsgType type, const QString& message);

    QtMessageHandler m_previous = nullptr;
    TraceCapture* m_outer = nullptr;

    // Taken by every thread that writes a message, and by the readers above.
    mutable QMutex m_mutex;
    QStringList m_debugLines;
    QStringList m_warnings;
    QStringList m_criticals;
};

} // namespace VornSyncTest
