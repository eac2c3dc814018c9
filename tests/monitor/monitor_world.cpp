#include "monitor_world.h"

#include "vorn_monitor_command.h"

#include <QCoreApplication>
#include <QTranslator>

#include <algorithm>

namespace VornSyncTest {

namespace {

void collect(const QQuickItem* item, const QString& name, QList<QQuickItem*>* found)
{
    const QList<QQuickItem*> children = item->childItems();
    for (QQuickItem* child : children) {
        if (!child->isVisible())
            continue;
        if (child->objectName() == name)
            found->append(child);
        collect(child, name, found);
    }
}

QPointF centreOf(const QQuickItem* item)
{
    return item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
}

} // namespace

MonitorWorld::MonitorWorld(const QString& language)
    : m_local(m_world.makeDirectory(QStringLiteral("local")))
    , m_distant(m_world.makeDirectory(QStringLiteral("distant")))
    , m_language(language)
{
    VornMonitorCommand::installCatalogues(language);
}

MonitorWorld::~MonitorWorld()
{
    close();
    const QList<QTranslator*> catalogues = QCoreApplication::instance()->findChildren<QTranslator*>();
    qDeleteAll(catalogues);
}

// ---- The mirror -----------------------------------------------------------------------------------------

bool MonitorWorld::mirror(const QStringList& names)
{
    const bool isWritten = std::all_of(names.cbegin(), names.cend(), [this](const QString& name) {
        return m_local.write(name, "content of " + name.toUtf8());
    });
    return isWritten &&
           m_world.mirror({"--once"_s, "--alias"_s, "docs"_s, m_local.path(), m_distant.path()}).exitCode ==
               0;
}

bool MonitorWorld::plantError(const QString& name, int code, int status)
{
    return database().exec("UPDATE file_tracking SET status = ?, error_code = ? WHERE file_name = ?"_s,
                           {status, code, name});
}

bool MonitorWorld::plantMissing(int count, int code)
{
    return database().exec(
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < ?) "
        "INSERT INTO file_tracking (directories_id, file_name, status, error_code) "
        "SELECT (SELECT id FROM directories), printf('missing-%05d.doc', i), ?, ? FROM n"_s,
        {count, kUpToDateInError, code});
}

bool MonitorWorld::open(const QStringList& options)
{
    const QStringList common{"vorn_sync_monitor"_s,
                             "--state"_s,
                             m_world.statePath(),
                             "--interval"_s,
                             "600000"_s,
                             "--lang"_s,
                             m_language};
    if (m_options.parse(common + options) != VornCliMirrorOptions::Result::Run)
        return false;
    m_mirror = std::make_unique<VornMonitorMirror>(m_options);
    if (m_mirror->open() != kExitOk)
        return false;
    window()->requestActivate();
    return QTest::qWaitForWindowExposed(window()) && QTest::qWaitForWindowActive(window());
}

int MonitorWorld::statusOf(const QString& name) const
{
    const QVariant status =
        database().value("SELECT status FROM file_tracking WHERE file_name = ?"_s, {name});
    return status.isValid() ? status.toInt() : -1;
}

bool MonitorWorld::cycleUntilError(const QString& name, int code)
{
    return waitFor([&] {
        const QVector<VornCliFileError> errors = m_mirror->session()->errors();
        const bool isListed = std::any_of(errors.cbegin(), errors.cend(), [&](const VornCliFileError& error) {
            return error.name == name && error.code == code;
        });
        if (!isListed)
            manager().requestSync();
        return isListed;
    });
}

QString MonitorWorld::complaints() const
{
    QStringList texts = m_messages.warnings() + m_messages.criticals();
    const auto isPlatforms = [](const QString& text) { // the offscreen one's
        return text.startsWith("This plugin does not support "_s);
    };
    texts.erase(std::remove_if(texts.begin(), texts.end(), isPlatforms), texts.end());
    return texts.join(QLatin1Char('\n'));
}

// ---- The window -----------------------------------------------------------------------------------------

QList<QQuickItem*> MonitorWorld::items(const QString& name, const QQuickItem* below) const
{
    QList<QQuickItem*> found;
    collect(below == nullptr ? m_mirror->window()->contentItem() : below, name, &found);
    std::stable_sort(found.begin(), found.end(), [](const QQuickItem* left, const QQuickItem* right) {
        return centreOf(left).y() < centreOf(right).y();
    });
    return found;
}

QQuickItem* MonitorWorld::item(const QString& name, const QQuickItem* below) const
{
    const QList<QQuickItem*> found = items(name, below);
    return found.isEmpty() ? nullptr : found.constFirst();
}

QQuickItem* MonitorWorld::row(const QString& listName, const QString& fileName) const
{
    const QQuickItem* list = item(listName);
    if (list == nullptr)
        return nullptr;
    const QList<QQuickItem*> rows = items("errorRow"_s, list);
    const auto found = std::find_if(rows.cbegin(), rows.cend(), [&fileName](const QQuickItem* row) {
        return row->property("fileName").toString() == fileName;
    });
    return found == rows.cend() ? nullptr : *found;
}

QString MonitorWorld::textOf(const QString& name) const
{
    const QQuickItem* shown = item(name);
    return shown == nullptr ? QString() : shown->property("text").toString();
}

// Layouts put their items in place just before a frame is drawn: between two frames nothing can be told of places.
bool MonitorWorld::awaitFrame()
{
    bool isDrawn = false;
    const QObject watch;
    QObject::connect(window(), &QQuickWindow::frameSwapped, &watch, [&isDrawn] { isDrawn = true; });
    window()->update();
    return waitFor([&isDrawn] { return isDrawn; });
}

QQuickItem* MonitorWorld::await(const QString& name, const QQuickItem* below)
{
    QQuickItem* usable = nullptr;
    const bool isThere = waitFor([&] {
        const QQuickItem* found = item(name, below);
        if (found == nullptr || !found->isEnabled())
            return false;
        const QPointF place = centreOf(found);
        usable = awaitFrame() ? item(name, below) : nullptr;
        return usable != nullptr && usable->isEnabled() && centreOf(usable) == place;
    });
    return isThere ? usable : nullptr;
}

bool MonitorWorld::click(const QString& name, const QQuickItem* below)
{
    const QQuickItem* target = await(name, below);
    if (target == nullptr)
        return false;
    QTest::mouseClick(window(), Qt::LeftButton, Qt::NoModifier, centreOf(target).toPoint());
    return true;
}

void MonitorWorld::type(const QString& text)
{
    for (const QChar letter : text)
        QTest::sendKeyEvent(QTest::Click, window(), Qt::Key_unknown, QString(letter), Qt::NoModifier);
}

void MonitorWorld::press(Qt::Key key, Qt::KeyboardModifiers modifiers)
{
    QTest::keyClick(window(), key, modifiers);
}

} // namespace VornSyncTest
