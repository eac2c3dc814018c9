#include "vorn_monitor_pair_editor.h"

#include "vorn_cli_mirror.h"
#include "vorn_cli_session.h"
#include "vorn_cli_text.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>

#include <algorithm>

using VornCliText::printable;

namespace {

// A path as somebody types it. It stays relative where it is: what it would be relative to is not to be seen.
QString pathOf(const QString& typed)
{
    if (typed == QLatin1String("~") || typed.startsWith(QLatin1String("~/")))
        return QDir::cleanPath(QDir::homePath() + typed.mid(1));
    return typed.isEmpty() ? typed : QDir::cleanPath(typed);
}

// What the library says, in its own words; never nothing.
QString sentences(const QStringList& texts)
{
    if (texts.isEmpty())
        return qtTrId("vorn_sync_monitor_pair_refused");
    QStringList shown;
    for (const QString& text : texts)
        shown.append(printable(text));
    return shown.join(QLatin1Char('\n'));
}

} // namespace

VornMonitorPairEditor::VornMonitorPairEditor(VornCliMirror& mirror, QObject* parent)
    : QObject(parent)
    , m_mirror(mirror)
{
}

VornMonitorPairEditor::~VornMonitorPairEditor()
{
    delete m_picker;
}

QString VornMonitorPairEditor::suggestedAlias(const QString& local) const
{
    const VornCliSession& session = *m_mirror.session();
    const QString path = pathOf(local);
    if (path.isEmpty())
        return QString();
    const QString known = session.aliasOfLocal(path);
    if (!known.isEmpty())
        return known;
    QStringList taken{VornCliCycleProbe::reservedAlias()};
    const QVector<VornCliPair> pairs = session.pairs();
    for (const VornCliPair& pair : pairs)
        taken.append(pair.alias);
    QString alias = VornCliPairList::freeAlias(path, taken);
    while (session.isKnownAlias(alias)) {
        taken.append(alias);
        alias = VornCliPairList::freeAlias(path, taken);
    }
    return alias;
}

QString VornMonitorPairEditor::removalQuestion(const QString& alias) const
{
    return qtTrId("vorn_sync_monitor_ask_remove_pair")
        .arg(printable(alias), printable(m_mirror.state().trashPath() + QLatin1Char('/') + alias));
}

QString VornMonitorPairEditor::add(const QString& alias, const QString& local, const QString& distant)
{
    const VornCliPair pair{alias, pathOf(local), pathOf(distant)};
    const QString refused = refusal(pair);
    if (!refused.isEmpty())
        return refused;
    QStringList texts;
    return m_mirror.add(pair, &texts) ? QString() : sentences(texts);
}

QString VornMonitorPairEditor::remove(const QString& alias)
{
    if (m_mirror.session()->isResetting())
        return qtTrId("vorn_sync_monitor_resetting");
    QStringList texts;
    return m_mirror.forget(alias, &texts) ? QString() : sentences(texts);
}

// ---- What the library would not say, or not before it has registered something --------------------------

QString VornMonitorPairEditor::refusal(const VornCliPair& pair) const
{
    if (m_mirror.session()->isResetting())
        return qtTrId("vorn_sync_monitor_resetting");
    if (pair.local.isEmpty() || pair.distant.isEmpty())
        return qtTrId("vorn_sync_monitor_directory_empty");
    for (const QString& path : {pair.local, pair.distant}) {
        if (QDir::isRelativePath(path))
            return qtTrId("vorn_sync_monitor_directory_relative").arg(printable(path));
        if (path == m_mirror.state().path())
            return qtTrId("vorn_sync_monitor_directory_is_state").arg(printable(path));
    }
    if (pair.local == pair.distant)
        return qtTrId("vorn_sync_monitor_directories_same");
    if (!QFileInfo(pair.local).isDir())
        return qtTrId("vorn_sync_monitor_local_missing").arg(printable(pair.local));
    return aliasRefusal(pair);
}

// The manager goes on with what it knows where an alias or a local directory is registered otherwise.
QString VornMonitorPairEditor::aliasRefusal(const VornCliPair& pair) const
{
    const VornCliSession& session = *m_mirror.session();
    if (pair.alias.isEmpty())
        return qtTrId("vorn_sync_monitor_name_empty");
    if (pair.alias == VornCliCycleProbe::reservedAlias())
        return qtTrId("vorn_sync_monitor_name_reserved").arg(printable(pair.alias));
    const QVector<VornCliPair> pairs = session.pairs();
    const auto same = std::find_if(pairs.cbegin(), pairs.cend(),
                                   [&pair](const VornCliPair& one) { return one.local == pair.local; });
    if (same != pairs.cend())
        return qtTrId("vorn_sync_monitor_local_taken").arg(printable(pair.local), printable(same->alias));
    const QString known = session.aliasOfLocal(pair.local); // of a run that nobody remembers
    if (!known.isEmpty() && known != pair.alias)
        return qtTrId("vorn_sync_monitor_local_known").arg(printable(pair.local), printable(known));
    VornCliPairStatus taken;
    if (session.findPair(pair.alias, &taken) || (session.isKnownAlias(pair.alias) && known.isEmpty()))
        return qtTrId("vorn_sync_monitor_name_taken").arg(printable(pair.alias));
    return QString();
}

// ---- Choosing -------------------------------------------------------------------------------------------

void VornMonitorPairEditor::chooseDirectory(const QString& field, const QString& title, const QString& from)
{
    delete m_picker;
    const QString start = pathOf(from);
    m_picker = new QFileDialog(nullptr, title, start.isEmpty() ? QDir::homePath() : start);
    m_picker->setObjectName(QStringLiteral("picker"));
    m_picker->setAttribute(Qt::WA_DeleteOnClose);
    m_picker->setFileMode(QFileDialog::Directory);
    m_picker->setOption(QFileDialog::ShowDirsOnly);
    m_picker->setLabelText(QFileDialog::FileName, qtTrId("vorn_sync_monitor_directory"));
    m_picker->setLabelText(QFileDialog::Accept, qtTrId("vorn_sync_monitor_choose"));
    m_picker->setLabelText(QFileDialog::Reject, qtTrId("vorn_sync_monitor_cancel"));
    connect(m_picker, &QFileDialog::fileSelected, this,
            [this, field](const QString& path) { emit directoryChosen(field, path); });
    m_picker->open();
}
