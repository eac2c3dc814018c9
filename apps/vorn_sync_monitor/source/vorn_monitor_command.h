#pragma once

#include "vorn_cli_mirror_options.h"

// The program: a mirror on a state directory, and its window. Lives on the window's thread.
class VornMonitorCommand
{
public:
    int run(const QStringList& arguments); // gives the exit code

    // For the whole application: what the window, the mirror and Qt's own dialogs say.
    static void installCatalogues(const QString& language);

private:
    int refuse(int exitCode, const QString& error) const;
    int show();

    VornCliMirrorOptions m_options{VornCliShownIn::Window};
};
