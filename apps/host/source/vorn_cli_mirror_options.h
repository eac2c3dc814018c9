#pragma once

#include "vorn_cli_types.h"

// Where a mirror shows itself: by the command "vorn_sync mirror", or in a window.
enum class VornCliShownIn { Terminal, Window };

// The command line of a mirror, checked as far as it can be without looking into the state. A value.
class VornCliMirrorOptions
{
public:
    enum class Result { Run, ShowHelp, Refused };

    explicit VornCliMirrorOptions(VornCliShownIn shownIn = VornCliShownIn::Terminal)
        : m_shownIn(shownIn)
    {
    }

    // `arguments` are the program's name and what follows the command's name.
    Result parse(const QStringList& arguments);

    QString error() const { return m_error; } // after Refused
    QString helpText() const { return m_helpText; }

    // Pairs as named, absolute; the alias is empty where none was given.
    const QVector<VornCliPair>& pairs() const { return m_pairs; }
    QString statePath() const { return m_statePath; }
    QStringList exclusions() const { return m_exclusions; }
    QString language() const { return m_language; }
    int intervalMs() const { return m_intervalMs; }
    QString theme() const { return m_theme; } // of a window: "light", "dark"; empty: the desktop's
    bool mayStartEmpty() const { return m_shownIn == VornCliShownIn::Window; } // where pairs can be added
    bool once() const { return m_once; }
    bool watch() const { return m_watch; }
    bool verbose() const { return m_verbose; }
    bool json() const { return m_json; }
    bool quiet() const { return m_quiet; }

private:
    bool readInterval(const QString& text);
    bool readLanguage(const QString& text);
    bool readTheme(const QString& text);
    bool readPairs(const QStringList& paths, const QStringList& aliases);
    bool checkPairs();
    bool refuse(const QString& error);

    VornCliShownIn m_shownIn;
    QString m_error;
    QString m_helpText;
    QVector<VornCliPair> m_pairs;
    QString m_statePath;
    QStringList m_exclusions;
    QString m_language;
    int m_intervalMs = 0;
    QString m_theme;
    bool m_once = false;
    bool m_watch = false;
    bool m_verbose = false;
    bool m_json = false;
    bool m_quiet = false;
};
