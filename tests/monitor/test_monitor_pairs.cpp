#include "monitor_world.h"

#include "vorn_cli_locale.h"

#include <QApplication>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QTranslator>

using namespace VornSyncTest;

namespace {

// A window on one pair, and two directories that are none yet: "photos" with one file, and "album".
struct PairsWorld : MonitorWorld
{
    bool openBesideNewDirectories()
    {
        return mirror({"old.doc"_s}) && photos.write("a.jpg"_s, "picture") && open();
    }

    const Side photos{world().makeDirectory("photos"_s)};
    const Side album{world().makeDirectory("album"_s)};
};

} // namespace

// Adding and removing pairs, as a user does it.
class TestMonitorPairs : public QObject
{
    Q_OBJECT

private slots:
    void addingByClicks();
    void addingByKeysAlone();
    void theNameFollowsTheDirectoryUntilItIsTyped();
    void namesOfDirectoriesAreData();
    void refusals_data();
    void refusals();
    void aRefusedPairCanBeCorrected();
    void theDistantDirectoryMayComeLater();
    void whatIsAddedInAPauseWaitsForItsEnd();
    void whatCannotBeRememberedIsNotMirrored();
    void choosingADirectory();
    void choosingADirectoryInFrench();
    void removingAsksAndTouchesNoFile();
    void removingByKeysAlone();
    void aRemovalThatFailsIsTold();
    void startsWithoutAPair();
    void fitsASmallScreen();
    void speaksFrench();

private:
    static bool fill(MonitorWorld* world, const QString& field, const QString& text);
    static bool fillAll(MonitorWorld* world, const QString& name, const QString& local,
                        const QString& distant);
    static QByteArray remembered(const MonitorWorld& world);
    static int rowsOf(const MonitorWorld& world, const QString& alias);
};

// Types over what stands in the field.
bool TestMonitorPairs::fill(MonitorWorld* world, const QString& field, const QString& text)
{
    if (!world->click(field))
        return false;
    world->press(Qt::Key_A, Qt::ControlModifier);
    world->press(Qt::Key_Delete);
    world->type(text);
    return world->textOf(field) == text;
}

bool TestMonitorPairs::fillAll(MonitorWorld* world, const QString& name, const QString& local,
                               const QString& distant)
{
    return fill(world, "localField"_s, local) && fill(world, "distantField"_s, distant) &&
           fill(world, "nameField"_s, name);
}

QByteArray TestMonitorPairs::remembered(const MonitorWorld& world)
{
    QFile file(world.world().statePath() + "/pairs.json"_s);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// What the state knows of a pair: itself and its files.
int TestMonitorPairs::rowsOf(const MonitorWorld& world, const QString& alias)
{
    return world.database()
        .value("SELECT (SELECT count(*) FROM directories WHERE alias_name = ?) + (SELECT count(*) FROM "
               "file_tracking "
               "ft JOIN directories d ON d.id = ft.directories_id WHERE d.alias_name = ?)"_s,
               {alias, alias})
        .toInt();
}

// ---- Adding ---------------------------------------------------------------------------------------------

void TestMonitorPairs::addingByClicks()
{
    PairsWorld world;
    QVERIFY(world.openBesideNewDirectories());
    QVERIFY(world.click("addPairButton"_s));
    QVERIFY(fill(&world, "localField"_s, world.photos.path()));
    QVERIFY(fill(&world, "distantField"_s, world.album.path() + QLatin1Char('/')));
    QCOMPARE(world.textOf("nameField"_s), "photos"_s);
    QVERIFY(world.click("addButton"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.item("localField"_s) == nullptr, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.items("pairRow"_s).size(), 2, kWaitMs);
    const QQuickItem* row = world.items("pairRow"_s).at(1);
    QCOMPARE(row->property("shownAlias").toString(), "photos"_s);
    QCOMPARE(row->property("distant").toString(), world.album.path());
    QTRY_COMPARE_WITH_TIMEOUT(world.album.read("a.jpg"_s), QByteArray("picture"), kWaitMs);

    // Its directories are watched from then on, and it is there again after a restart.
    QVERIFY(QDir().rename(world.album.path(), world.album.path() + ".away"_s));
    QTRY_COMPARE_WITH_TIMEOUT(world.textOf("stateText"_s), "A directory is not there"_s, kWaitMs);
    QCOMPARE(world.complaints(), QString());
    world.close();
    QVERIFY(world.open());
    QVERIFY(world.await("pairRow"_s) != nullptr);
    QCOMPARE(world.items("pairRow"_s).size(), 2);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorPairs::addingByKeysAlone()
{
    PairsWorld world;
    QVERIFY(world.openBesideNewDirectories());
    world.press(Qt::Key_3, Qt::ControlModifier);
    world.press(Qt::Key_N, Qt::ControlModifier); // from another page, too
    QVERIFY(world.await("localField"_s) != nullptr);
    world.type(world.photos.path());
    world.press(Qt::Key_Tab);
    world.press(Qt::Key_Tab);
    world.type(world.album.path());
    world.press(Qt::Key_Return);
    QTRY_VERIFY_WITH_TIMEOUT(world.item("localField"_s) == nullptr, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.album.read("a.jpg"_s), QByteArray("picture"), kWaitMs);

    world.press(Qt::Key_N, Qt::ControlModifier); // empty again, and Escape leaves without a word
    QVERIFY(world.await("localField"_s) != nullptr);
    QCOMPARE(world.textOf("localField"_s) + world.textOf("distantField"_s) + world.textOf("nameField"_s),
             QString());
    world.press(Qt::Key_Escape);
    QTRY_VERIFY_WITH_TIMEOUT(world.item("localField"_s) == nullptr, kWaitMs);
    QCOMPARE(world.items("pairRow"_s).size(), 2);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorPairs::theNameFollowsTheDirectoryUntilItIsTyped()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    QVERIFY(world.open());
    QVERIFY(world.click("addPairButton"_s));
    QVERIFY(fill(&world, "localField"_s, "/somewhere/docs"_s)); // a name that is taken
    QCOMPARE(world.textOf("nameField"_s), "docs-2"_s);
    QVERIFY(fill(&world, "nameField"_s, "mine"_s));
    QVERIFY(fill(&world, "localField"_s, "/elsewhere/papers"_s));
    QCOMPARE(world.textOf("nameField"_s), "mine"_s);
    QVERIFY(fill(&world, "nameField"_s, QString()));
    QVERIFY(fill(&world, "localField"_s, "/elsewhere/letters"_s));
    QCOMPARE(world.textOf("nameField"_s), "letters"_s);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorPairs::namesOfDirectoriesAreData()
{
    const QString name = "50%1 \"off\" <b>\u00e9t\u00e9\u202e"_s;
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    const Side local(world.world().makeDirectory(name));
    const Side distant(world.world().makeDirectory("album"_s));
    QVERIFY(local.write("a.jpg"_s, "picture"));
    QVERIFY(world.open());
    QVERIFY(world.click("addPairButton"_s));
    QVERIFY(fill(&world, "localField"_s, local.path()));
    QVERIFY(fill(&world, "distantField"_s, distant.path()));
    QCOMPARE(world.textOf("nameField"_s), name);
    QVERIFY(world.click("addButton"_s));
    QTRY_COMPARE_WITH_TIMEOUT(distant.read("a.jpg"_s), QByteArray("picture"), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.items("pairRow"_s).size(), 2, kWaitMs);
    QCOMPARE(world.items("pairRow"_s).at(1)->property("shownAlias").toString(),
             "50%1 \"off\" <b>\u00e9t\u00e9\\u202e"_s);
    QVERIFY(world.click("removePairButton"_s, world.items("pairRow"_s).at(1)));
    QVERIFY(world.await("question"_s) != nullptr);
    QVERIFY(world.textOf("question"_s).contains("50%1 \"off\" <b>\u00e9t\u00e9\\u202e"_s));
    QVERIFY(world.click("yesButton"_s));
    QTRY_COMPARE_WITH_TIMEOUT(world.items("pairRow"_s).size(), 1, kWaitMs);
    QCOMPARE(rowsOf(world, name), 0);
    QCOMPARE(world.complaints(), QString());
}

// "%L" is the local directory of the pair that there is, "%N" and "%M" are new ones, "%S" is that of the state.
void TestMonitorPairs::refusals_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("local");
    QTest::addColumn<QString>("distant");
    QTest::addColumn<QString>("problem");
    const QString empty = "Give a local and a distant directory."_s;
    QTest::newRow("nothing") << QString() << QString() << QString() << empty;
    QTest::newRow("no distant directory") << "new"_s
                                          << "%N"_s << QString() << empty;
    QTest::newRow("no name") << QString() << "%N"_s
                             << "%M"_s
                             << "Give the pair a name."_s;
    QTest::newRow("a relative directory") << "new"_s
                                          << "%N"_s
                                          << "album"_s
                                          << "Give the whole path of the directory, from “/” on: album"_s;
    QTest::newRow("a missing directory") << "new"_s
                                         << "/nowhere/at all"_s
                                         << "%M"_s
                                         << "There is no such local directory: /nowhere/at all"_s;
    QTest::newRow("one directory") << "new"_s
                                   << "%N"_s
                                   << "%N/"_s
                                   << "The local and the distant directory must be different."_s;
    QTest::newRow("the state's directory")
        << "new"_s
        << "%N"_s
        << "%S"_s
        << "The directory with VornSync's own state can't be part of a pair: %S"_s;
    QTest::newRow("a local directory again") << "new"_s
                                             << "%L"_s
                                             << "%M"_s
                                             << "%L is mirrored already, as the pair “docs”."_s;
    QTest::newRow("a name again") << "docs"_s
                                  << "%N"_s
                                  << "%M"_s
                                  << "The name “docs” belongs to another pair."_s;
    QTest::newRow("the reserved name")
        << VornCliCycleProbe::reservedAlias() << "%N"_s
        << "%M"_s
        << "The name “%1” is reserved."_s.arg(VornCliCycleProbe::reservedAlias());
    QTest::newRow("what the library refuses") << ".."_s
                                              << "%N"_s
                                              << "%M"_s
                                              << "ERROR: Alias: '..' cannot name a trash directory."_s;
    QTest::newRow("the trash as a target")
        << "new"_s
        << "%N"_s
        << "%S/trash/new"_s
        << "ERROR: Local, distant and trash directories of alias: 'new' must be different."_s;
}

void TestMonitorPairs::refusals()
{
    QFETCH(const QString, name);
    QFETCH(const QString, local);
    QFETCH(const QString, distant);
    QFETCH(const QString, problem);
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    const QString newLocal = world.world().makeDirectory("photos"_s);
    const QString newDistant = world.world().makeDirectory("album"_s);
    const auto place = [&](QString text) {
        return text.replace("%L"_s, world.local().path())
            .replace("%N"_s, newLocal)
            .replace("%M"_s, newDistant)
            .replace("%S"_s, world.world().statePath());
    };
    const QByteArray before = remembered(world);
    QVERIFY(world.open());
    QVERIFY(world.click("addPairButton"_s));
    QVERIFY(fillAll(&world, name, place(local), place(distant)));
    QVERIFY(world.click("addButton"_s));
    QTRY_COMPARE_WITH_TIMEOUT(world.textOf("pairProblem"_s), place(problem), kWaitMs);
    QVERIFY(world.item("localField"_s) != nullptr); // it is still open
    QVERIFY(world.click("cancelButton"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.item("localField"_s) == nullptr, kWaitMs);
    QCOMPARE(world.items("pairRow"_s).size(), 1);
    QCOMPARE(world.database().value("SELECT count(*) FROM directories"_s).toInt(), 1);
    QCOMPARE(remembered(world), before);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorPairs::aRefusedPairCanBeCorrected()
{
    PairsWorld world;
    QVERIFY(world.openBesideNewDirectories());
    QVERIFY(world.click("addPairButton"_s));
    QVERIFY(fillAll(&world, "docs"_s, world.photos.path(), world.album.path()));
    QVERIFY(world.click("addButton"_s));
    QTRY_VERIFY_WITH_TIMEOUT(!world.textOf("pairProblem"_s).isEmpty(), kWaitMs);
    QVERIFY(fill(&world, "nameField"_s, "pictures"_s));
    QVERIFY(world.click("addButton"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.item("localField"_s) == nullptr, kWaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(world.album.exists("a.jpg"_s), kWaitMs);
    QVERIFY(world.click("addPairButton"_s)); // nothing of it is left
    QVERIFY(world.await("localField"_s) != nullptr);
    QVERIFY(world.item("pairProblem"_s) == nullptr);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorPairs::theDistantDirectoryMayComeLater()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    const Side local(world.world().makeDirectory("photos"_s));
    const Side distant(local.path() + ".album"_s);
    QVERIFY(local.write("a.jpg"_s, "picture"));
    QVERIFY(world.open());
    QVERIFY(world.click("addPairButton"_s));
    QVERIFY(fillAll(&world, "photos"_s, local.path(), distant.path()));
    QVERIFY(world.click("addButton"_s));
    QTRY_COMPARE_WITH_TIMEOUT(world.items("pairState"_s).size(), 2, kWaitMs);
    QCOMPARE(world.items("pairState"_s).at(1)->property("text").toString(),
             "The distant directory is missing"_s);
    QVERIFY(QDir().mkpath(distant.path()));
    QTRY_VERIFY_WITH_TIMEOUT(distant.exists("a.jpg"_s), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.items("pairState"_s).at(1)->property("text").toString(), "Mirrored"_s,
                              kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorPairs::whatIsAddedInAPauseWaitsForItsEnd()
{
    constexpr int kLongAfterAStartMs = 1500; // a pair starts 100 ms after it was registered
    PairsWorld world;
    QVERIFY(world.openBesideNewDirectories());
    QVERIFY(world.click("pauseButton"_s));
    QVERIFY(world.click("addPairButton"_s));
    QVERIFY(fillAll(&world, "photos"_s, world.photos.path(), world.album.path()));
    QVERIFY(world.click("addButton"_s));
    QTRY_COMPARE_WITH_TIMEOUT(world.items("pairRow"_s).size(), 2, kWaitMs);
    QVERIFY(!waitFor([&] { return world.album.exists("a.jpg"_s); }, kLongAfterAStartMs));
    QVERIFY(world.click("pauseButton"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.album.exists("a.jpg"_s), kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

// Or it would be gone with the next start, and nobody would know.
void TestMonitorPairs::whatCannotBeRememberedIsNotMirrored()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    const Side local(world.world().makeDirectory("photos"_s));
    const Side distant(world.world().makeDirectory("album"_s));
    QVERIFY(world.open());
    const QString list = world.world().statePath() + "/pairs.json"_s;
    QVERIFY(QFile::rename(list, list + ".kept"_s));
    QVERIFY(QDir().mkpath(list)); // what no file can take the place of
    QVERIFY(world.click("addPairButton"_s));
    QVERIFY(fillAll(&world, "photos"_s, local.path(), distant.path()));
    QVERIFY(world.click("addButton"_s));
    QTRY_VERIFY_WITH_TIMEOUT(
        world.textOf("pairProblem"_s).startsWith("The pairs can't be remembered in %1: "_s.arg(list)),
        kWaitMs);
    QCOMPARE(world.items("pairRow"_s).size(), 1);
    QCOMPARE(rowsOf(world, "photos"_s), 0);

    QVERIFY(QDir().rmdir(list) && QFile::rename(list + ".kept"_s, list));
    QVERIFY(world.click("addButton"_s)); // now it works
    QTRY_COMPARE_WITH_TIMEOUT(world.items("pairRow"_s).size(), 2, kWaitMs);
    QVERIFY(remembered(world).contains("photos"));
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorPairs::choosingADirectory()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"old.doc"_s}));
    const QString local = world.world().makeDirectory("photos"_s);
    QVERIFY(world.open());
    const auto picker = [] {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        return dialog != nullptr && dialog->isVisible() ? dialog : nullptr;
    };
    QVERIFY(world.click("addPairButton"_s));
    QVERIFY(world.click("distantChooseButton"_s));
    QTRY_VERIFY_WITH_TIMEOUT(picker() != nullptr, kWaitMs);
    QCOMPARE(picker()->windowTitle(), "Distant directory; files of the same name there are replaced"_s);
    picker()->reject();
    QTRY_VERIFY_WITH_TIMEOUT(picker() == nullptr, kWaitMs);

    QVERIFY(world.click("localChooseButton"_s));
    QTRY_VERIFY_WITH_TIMEOUT(picker() != nullptr, kWaitMs);
    auto* line = picker()->findChild<QLineEdit*>("fileNameEdit"_s);
    QVERIFY(line != nullptr);
    line->selectAll();
    QTest::keyClicks(line, local);
    QTest::keyClick(line, Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(world.textOf("localField"_s), local, kWaitMs);
    QCOMPARE(world.textOf("nameField"_s), "photos"_s);
    QCOMPARE(world.textOf("distantField"_s), QString());
    QTRY_VERIFY_WITH_TIMEOUT(picker() == nullptr, kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

// The desktop's dialog; where it has none, Qt's own, with Qt's own catalogue.
void TestMonitorPairs::choosingADirectoryInFrench()
{
    const bool isCatalogueThere = VornCliLocale::installQtCatalogue("fr"_s);
    const QList<QTranslator*> catalogues = QCoreApplication::instance()->findChildren<QTranslator*>();
    qDeleteAll(catalogues);
    if (!isCatalogueThere)
        QSKIP("Qt's own catalogue (qttranslations5-l10n, qt6-translations-l10n) is missing.");
    MonitorWorld world("fr"_s);
    QVERIFY(world.mirror({"old.doc"_s}));
    QVERIFY(world.open());
    QVERIFY(world.click("addPairButton"_s));
    QVERIFY(world.click("localChooseButton"_s));
    const auto label = [](const char* name) {
        const QWidget* dialog = QApplication::activeModalWidget();
        const auto* found = dialog == nullptr ? nullptr : dialog->findChild<QLabel*>(QLatin1String(name));
        return found == nullptr ? QString() : found->text();
    };
    QTRY_COMPARE_WITH_TIMEOUT(label("fileNameLabel"), "Répertoire :"_s, kWaitMs);
    QCOMPARE(label("lookInLabel"), "Voir dans :"_s);
    QApplication::activeModalWidget()->close();
    QCOMPARE(world.complaints(), QString());
}

// ---- Removing -------------------------------------------------------------------------------------------

void TestMonitorPairs::removingAsksAndTouchesNoFile()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"a.doc"_s, "b.doc"_s, "lost.doc"_s}));
    QVERIFY(world.plantError("lost.doc"_s, 15, kUpToDateInError));
    QVERIFY(world.open());
    QCOMPARE(world.manager().errorCount(), 1);
    const QStringList local = world.local().names();
    const QStringList distant = world.distant().names();
    QVERIFY(world.click("removePairButton"_s));
    QVERIFY(world.await("question"_s) != nullptr);
    QVERIFY2(world.textOf("question"_s).startsWith("Stop mirroring the pair “docs”?\n\nNo file is touched"_s),
             qPrintable(world.textOf("question"_s)));
    QVERIFY(world.textOf("question"_s).contains(world.world().statePath() + "/trash/docs"_s));
    QVERIFY(world.textOf("question"_s).endsWith("over whatever the distant side has then."_s));
    QVERIFY(world.click("noButton"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.item("question"_s) == nullptr, kWaitMs);
    QCOMPARE(world.items("pairRow"_s).size(), 1);
    QCOMPARE(rowsOf(world, "docs"_s), 4);

    QVERIFY(world.click("removePairButton"_s));
    QVERIFY(world.click("yesButton"_s));
    QTRY_COMPARE_WITH_TIMEOUT(world.items("pairRow"_s).size(), 0, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.manager().errorCount(), 0, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.host().errors()->count(), 0, kWaitMs);
    QCOMPARE(rowsOf(world, "docs"_s), 0);
    QVERIFY(!remembered(world).contains("docs"));
    QCOMPARE(world.local().names(), local);
    QCOMPARE(world.distant().names(), distant);

    QVERIFY(world.local().write("new.doc"_s, "content")); // and added again it is mirrored as ever
    QVERIFY(world.click("addPairButton"_s));
    QVERIFY(fillAll(&world, "docs"_s, world.local().path(), world.distant().path()));
    QVERIFY(world.click("addButton"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.distant().exists("new.doc"_s), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(world.manager().doneCount(), 4, kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorPairs::removingByKeysAlone()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"a.doc"_s}));
    QVERIFY(world.open());
    const auto focused = [&world] {
        const QQuickItem* item = world.window()->activeFocusItem();
        return item == nullptr ? QString() : item->objectName();
    };
    const auto tabTo = [&](const QString& name) {
        for (int i = 0; i < 30 && focused() != name; ++i)
            world.press(Qt::Key_Tab);
        return focused() == name;
    };
    QVERIFY(world.await("pairRow"_s) != nullptr);
    QVERIFY(tabTo("removePairButton"_s));
    world.press(Qt::Key_Space);
    QVERIFY(world.await("question"_s) != nullptr);
    QTRY_COMPARE_WITH_TIMEOUT(focused(), "noButton"_s, kWaitMs);
    QVERIFY(tabTo("yesButton"_s));
    world.press(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(world.items("pairRow"_s).size(), 0, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(focused(), "pairList"_s, kWaitMs); // not lost with the row
    QCOMPARE(world.textOf("emptyText"_s), "No pair is mirrored."_s);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorPairs::aRemovalThatFailsIsTold()
{
    MonitorWorld world;
    QVERIFY(world.mirror({"a.doc"_s}));
    QVERIFY(world.open());
    const QString list = world.world().statePath() + "/pairs.json"_s;
    QVERIFY(QFile::remove(list) && QDir().mkpath(list));
    QVERIFY(world.click("removePairButton"_s));
    QVERIFY(world.click("yesButton"_s));
    QVERIFY(world.await("message"_s) != nullptr);
    QVERIFY2(world.textOf("message"_s).startsWith("The pairs can't be remembered in %1: "_s.arg(list)),
             qPrintable(world.textOf("message"_s)));
    QVERIFY(world.click("closeButton"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.item("message"_s) == nullptr, kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

// ---- The window -----------------------------------------------------------------------------------------

void TestMonitorPairs::startsWithoutAPair()
{
    MonitorWorld world;
    QVERIFY(world.local().write("a.doc"_s, "content"));
    QVERIFY(world.open());
    QTRY_COMPARE_WITH_TIMEOUT(world.textOf("emptyText"_s), "No pair is mirrored."_s, kWaitMs);
    QVERIFY(world.click("addPairButton"_s));
    QVERIFY(fillAll(&world, "docs"_s, world.local().path(), world.distant().path()));
    QVERIFY(world.click("addButton"_s));
    QTRY_VERIFY_WITH_TIMEOUT(world.distant().exists("a.doc"_s), kWaitMs);
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorPairs::fitsASmallScreen()
{
    const QString nowhere = "/"_s + QString(250, QLatin1Char('n'));
    MonitorWorld world;
    QVERIFY(world.mirror({"a.doc"_s}));
    QVERIFY(world.open());
    const auto isInside = [&world](const QString& name) {
        const QQuickItem* item = world.item(name);
        return item != nullptr &&
               QRectF(QPointF(), QSizeF(world.window()->size()))
                   .contains(item->mapRectToScene(QRectF(0, 0, item->width(), item->height())));
    };
    QVERIFY(world.click("addPairButton"_s));
    QVERIFY(fillAll(&world, "new"_s, nowhere, "/tmp"_s));
    QVERIFY(world.click("addButton"_s));
    QVERIFY(world.await("pairProblem"_s) != nullptr);
    for (const QSize& size : {QSize(683, 384), QSize(480, 700), QSize(940, 660), QSize(480, 360)}) {
        world.window()->resize(size);
        QTRY_COMPARE_WITH_TIMEOUT(world.window()->size(), size, kWaitMs);
        for (const QString& name : {"localField"_s, "localChooseButton"_s, "distantField"_s, "nameField"_s,
                                    "pairProblem"_s, "addButton"_s, "cancelButton"_s}) {
            QVERIFY2(waitFor([&] { return isInside(name); }),
                     qPrintable("%1 at %2 x %3"_s.arg(name, QString::number(size.width()),
                                                      QString::number(size.height()))));
        }
    }
    QVERIFY(world.click("cancelButton"_s));
    for (const QString& name : {"addPairButton"_s, "pairRow"_s, "removePairButton"_s, "eventList"_s})
        QVERIFY2(waitFor([&] { return isInside(name); }), qPrintable(name));
    QVERIFY(world.click("removePairButton"_s));
    QVERIFY(world.await("question"_s) != nullptr);
    for (const QString& name : {"question"_s, "yesButton"_s, "noButton"_s})
        QVERIFY2(waitFor([&] { return isInside(name); }), qPrintable(name));
    QCOMPARE(world.complaints(), QString());
}

void TestMonitorPairs::speaksFrench()
{
    MonitorWorld world("fr"_s);
    QVERIFY(world.mirror({"a.doc"_s}));
    QVERIFY(world.open());
    world.press(Qt::Key_U, Qt::AltModifier); // the mnemonic of « Ajouter une paire… »
    QVERIFY(world.click("addButton"_s));
    QTRY_COMPARE_WITH_TIMEOUT(world.textOf("pairProblem"_s),
                              "Indiquez un répertoire local et un répertoire distant."_s, kWaitMs);
    QVERIFY(world.click("cancelButton"_s));
    QVERIFY(world.click("removePairButton"_s));
    QVERIFY(world.await("question"_s) != nullptr);
    QVERIFY2(world.textOf("question"_s).startsWith("Ne plus copier la paire « docs » ?"_s),
             qPrintable(world.textOf("question"_s)));
    QCOMPARE(world.textOf("yesButton"_s), "Ne plus copier"_s);
    QCOMPARE(world.complaints(), QString());
}

QTEST_MAIN(TestMonitorPairs)
#include "test_monitor_pairs.moc"
