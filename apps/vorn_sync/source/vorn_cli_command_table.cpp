#include "vorn_cli_command_table.h"

#include <algorithm>

namespace {

constexpr int kNameColumns = 19;

QLatin1String text(const char* characters)
{
    return QLatin1String(characters);
}

QVector<VornCliCommandEntry> makeCommands()
{
    return {
        {text("status"), text(""),
         text("How the mirror stands: counters, pairs, what does not come forward."),
         text("Shown of each pair: when both sides were last listed, since when files wait and how often "
              "they\n"
              "were tried. Without a running host the state's database is read.\n"
              "Exit code 1: files are in error; 6: none is, but something has waited for too long, was not\n"
              "listed or was not verified."),
         text("")},
        {text("errors"), text(""),
         text("Files in error: what happened, what to do, and the command that does it."),
         text("Without a running host the state's database is read. Exit code 1: files are in error."),
         text("")},
        {text("retry"), text("ALIAS NAME"), text("Takes a file in error up again."),
         text("Code 2 is acknowledged by it, code 15 restored."), text("alias name")},
        {text("retry-all"), text(""),
         text("Takes all files in error up again, but those whose local file is gone."),
         text("Those whose distant copy is gone are restored by it."), text("")},
        {text("acknowledge"), text("ALIAS NAME"), text("Takes note that a local file is gone (code 2)."),
         text("The distant copy stays."), text("alias name")},
        {text("acknowledge-all"), text(""), text("Takes note of all local files that are gone (code 2)."),
         text("The distant copies stay."), text("")},
        {text("restore"), text("ALIAS NAME"),
         text("Sends a file whose distant copy is gone (code 15) again."), text(""), text("alias name")},
        {text("trash"), text("ALIAS NAME"), text("Moves a local file to the pair's trash."),
         text("The distant copy stays."), text("alias name")},
        {text("delete-all-missing"), text(""),
         text("Moves all files whose distant copy is gone (code 15) to the trash."), text(""), text("")},
        {text("deleted"), text("ALIAS NAME"),
         text("Tells that a local file was deleted on purpose: the distant copy goes too."),
         text("With --keep-distant the distant copy stays. The file must be gone already."),
         text("alias name")},
        {text("rename"), text("ALIAS OLD NEW"), text("Renames a file on both sides."),
         text("Nothing is ever replaced: NEW must be free on both sides."), text("alias name new_name")},
        {text("ready"), text("ALIAS NAME | DISTANT-PATH"),
         text("Makes a file of the distant side ready locally and prints its path."),
         text("A version that another workstation has written is copied first, for 15 seconds at most.\n"
              "Exit code 1: there is no file, or it was not ready in time."),
         text("path|alias name")},
        {text("sync"), text("[ALIAS NAME]"), text("Asks for a cycle now, or sends one file at once."),
         text(""), text("|alias name")},
        {text("pause"), text("[ALIAS]"), text("Suspends everything, or one pair."),
         text("Operations already handed out end normally. A host that starts anew is not paused."),
         text("|alias")},
        {text("resume"), text("[ALIAS]"), text("Takes back \"pause\", for everything or for one pair."),
         text(""), text("|alias")},
        {text("forget"), text("ALIAS"), text("Forgets a pair and what is known of its files."),
         text("No file is touched on either side."), text("alias")},
        {text("reset"), text(""), text("Empties the state; all remembered pairs are then mirrored anew."),
         text(
             "Forgotten are all errors and the decisions that wait in them, and which files were deleted or\n"
             "trashed. No file is touched, but every local file is sent again, over whatever the distant "
             "side "
             "has.\nAsks first, unless --yes is given."),
         text("")},
    };
}

} // namespace

QVector<QStringList> VornCliCommandEntry::argumentLists() const
{
    QVector<QStringList> lists;
    const QStringList alternatives = QString(arguments).split(QLatin1Char('|'));
    for (const QString& alternative : alternatives)
        lists.append(alternative.split(QLatin1Char(' '), Qt::SkipEmptyParts));
    return lists;
}

namespace VornCliCommandTable {

const QVector<VornCliCommandEntry>& commands()
{
    static const QVector<VornCliCommandEntry> all = makeCommands();
    return all;
}

const VornCliCommandEntry* find(const QString& name)
{
    const QVector<VornCliCommandEntry>& all = commands();
    const auto found = std::find_if(all.cbegin(), all.cend(),
                                    [&name](const VornCliCommandEntry& entry) { return name == entry.name; });
    return found == all.cend() ? nullptr : &*found;
}

QString overview()
{
    QStringList lines;
    for (const VornCliCommandEntry& entry : commands())
        lines.append(QStringLiteral("  ") + QString(entry.name).leftJustified(kNameColumns) + entry.help);
    return lines.join(QLatin1Char('\n'));
}

} // namespace VornCliCommandTable
