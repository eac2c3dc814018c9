#pragma once

#include "vorn_cli_types.h"

#include <QObject>
#include <QPointer>

class QFileDialog;
class VornCliMirror;

// Adds pairs to the mirror and takes them away, as the user asks. Lives on the window's thread.
class VornMonitorPairEditor : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornMonitorPairEditor)

public:
    // It must outlive this, and be open.
    explicit VornMonitorPairEditor(VornCliMirror& mirror, QObject* parent = nullptr);
    ~VornMonitorPairEditor() override;

    Q_INVOKABLE QString suggestedAlias(const QString& local) const;
    // What is asked before a pair goes, and what happens to its files.
    Q_INVOKABLE QString removalQuestion(const QString& alias) const;

    // These say why it was refused; empty: done.
    Q_INVOKABLE QString add(const QString& alias, const QString& local, const QString& distant);
    Q_INVOKABLE QString remove(const QString& alias);

    // Asks for a directory in a dialog of the desktop, which is answered with directoryChosen() or not at all.
    Q_INVOKABLE void chooseDirectory(const QString& field, const QString& title, const QString& from);

signals:
    void directoryChosen(const QString& field, const QString& path);

private:
    QString refusal(const VornCliPair& pair) const;
    QString aliasRefusal(const VornCliPair& pair) const;

    VornCliMirror& m_mirror;
    QPointer<QFileDialog> m_picker;
};
