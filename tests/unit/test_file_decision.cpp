#include "vorn_sync_file_decision.h"

#include <QTest>

namespace {

constexpr qint64 kSize = 100;
constexpr qint64 kTimeSecs = 1000000;
constexpr int kInError = ceSfsUpToDate | ceSfsError;

VornSyncFileFacts plainFile(qint64 size = kSize, qint64 secs = kTimeSecs)
{
    VornSyncFileFacts facts;
    facts.presence = VornSyncPresence::Present;
    facts.isPlainFile = true;
    facts.size = size;
    facts.lmdSecs = secs;
    return facts;
}

VornSyncFileFacts notPlain()
{
    VornSyncFileFacts facts;
    facts.presence = VornSyncPresence::Present;
    return facts;
}

VornSyncFileFacts absent()
{
    VornSyncFileFacts facts;
    facts.presence = VornSyncPresence::Absent;
    return facts;
}

// A file that was sent, is unchanged and lies on both sides.
VornSyncPassFile settled(int status = ceSfsUpToDate)
{
    VornSyncPassFile file;
    file.hasRow = true;
    file.row.fileName = QStringLiteral("a.txt");
    file.row.status = status;
    file.row.size = kSize;
    file.row.localLmdSecs = kTimeSecs;
    file.local = plainFile();
    file.distant = VornSyncPresence::Present;
    file.isDistantAccessible = true;
    return file;
}

template<typename Change> VornSyncPassFile changed(VornSyncPassFile file, Change change)
{
    change(file);
    return file;
}

// As settled(), with a newer distant version found when the local file was `size` bytes of time `secs`.
VornSyncPassFile marked(qint64 size, qint64 secs)
{
    return changed(settled(), [=](VornSyncPassFile& file) {
        file.row.isDistantNewer = true;
        file.row.markedLocalSize = size;
        file.row.markedLocalLmdSecs = secs;
        file.row.size = size + 1; // follows the distant copy
    });
}

} // namespace

Q_DECLARE_METATYPE(VornSyncPassFile)
Q_DECLARE_METATYPE(VornSyncVerdict)

class TestFileDecision : public QObject
{
    Q_OBJECT

private slots:
    void trackedFile_data();
    void trackedFile();
    void localFile_data();
    void localFile();
    void localChange_data();
    void localChange();
    void heldByNewerDistant_data();
    void heldByNewerDistant();
};

void TestFileDecision::trackedFile_data()
{
    using File = VornSyncPassFile;
    using Verdict = VornSyncVerdict;
    QTest::addColumn<File>("file");
    QTest::addColumn<Verdict>("verdict");

    QTest::newRow("settled") << settled() << Verdict::Skip;
    QTest::newRow("a rename comes before all else")
        << changed(settled(ceSfsSyncing), [](File& f) { f.isRenaming = true; }) << Verdict::SkipRenaming;
    QTest::newRow("a rename comes before a missing local file")
        << changed(settled(), [](File& f) { f.isRenaming = true, f.local = absent(); })
        << Verdict::SkipRenaming;
    for (int status : {ceSfsSyncing, ceSfsDeleting, ceSfsRestoring})
        QTest::addRow("in progress %d", status)
            << changed(settled(status), [](File& f) { f.local = absent(); }) << Verdict::SkipInProgress;
    QTest::newRow("in error and in progress")
        << settled(ceSfsSyncing | ceSfsError) << Verdict::SkipInProgress;
    for (int status : {ceSfsTrashed, ceSfsDeleted})
        QTest::addRow("tombstoned %d", status)
            << changed(settled(status), [](File& f) { f.local = absent(); }) << Verdict::SkipTombstoned;

    QTest::newRow("local file surely gone")
        << changed(settled(), [](File& f) { f.local = absent(); }) << Verdict::ReportLocalMissing;
    QTest::newRow("local file surely gone, distant side away")
        << changed(settled(), [](File& f) { f.local = absent(), f.isDistantAccessible = false; })
        << Verdict::ReportLocalMissing;
    for (int status : {ceSfsUnknown, ceSfsPendingSync, ceSfsPendingDelete, ceSfsPendingRestore})
        QTest::addRow("local file surely gone in %d", status)
            << changed(settled(status), [](File& f) { f.local = absent(); }) << Verdict::ReportLocalMissing;
    QTest::newRow("local file surely gone and in error: said before")
        << changed(settled(kInError), [](File& f) { f.local = absent(); }) << Verdict::Skip;
    QTest::newRow("no certain answer about the local file")
        << changed(settled(), [](File& f) { f.local = VornSyncFileFacts(); }) << Verdict::LeaveAlone;
    QTest::newRow("a directory, FIFO or dangling link of that name")
        << changed(settled(), [](File& f) { f.local = notPlain(); }) << Verdict::LeaveAlone;
    QTest::newRow("no certain answer, in error")
        << changed(settled(kInError), [](File& f) { f.local = VornSyncFileFacts(); }) << Verdict::LeaveAlone;

    QTest::newRow("distant side away")
        << changed(settled(), [](File& f) { f.isDistantAccessible = false; }) << Verdict::ForgetObservation;
    QTest::newRow("distant side away, locally changed")
        << changed(settled(), [](File& f) { f.isDistantAccessible = false, f.local = plainFile(kSize + 1); })
        << Verdict::ForgetObservation;

    const auto missing = [](File& f) { f.distant = VornSyncPresence::Absent; };
    QTest::newRow("distant copy gone") << changed(settled(), missing) << Verdict::ObserveDistantMissing;
    QTest::newRow("distant copy gone, locally changed")
        << changed(settled(), [](File& f) { f.distant = VornSyncPresence::Absent, f.local = plainFile(1); })
        << Verdict::ObserveDistantMissing;
    QTest::newRow("distant copy gone, in error") << changed(settled(kInError), missing) << Verdict::Skip;
    for (int status : {ceSfsUnknown, ceSfsPendingSync, ceSfsPendingDelete, ceSfsPendingRestore})
        QTest::addRow("distant copy never completed in %d", status)
            << changed(settled(status), missing) << Verdict::Copy;

    QTest::newRow("other size") << changed(settled(), [](File& f) { f.local = plainFile(kSize - 1); })
                                << Verdict::Copy;
    QTest::newRow("later beyond the tolerance")
        << changed(settled(), [](File& f) { f.local = plainFile(kSize, kTimeSecs + 4); }) << Verdict::Copy;
    QTest::newRow("earlier beyond the tolerance")
        << changed(settled(), [](File& f) { f.local = plainFile(kSize, kTimeSecs - 4); }) << Verdict::Copy;
    QTest::newRow("within the tolerance")
        << changed(settled(), [](File& f) { f.local = plainFile(kSize, kTimeSecs + 3); }) << Verdict::Skip;
    QTest::newRow("changed while in error")
        << changed(settled(kInError), [](File& f) { f.local = plainFile(kSize + 1); }) << Verdict::Copy;
    QTest::newRow("in error, unchanged") << settled(kInError) << Verdict::Skip;

    QTest::newRow("unknown, unchanged") << settled(ceSfsUnknown) << Verdict::Examine;
    QTest::newRow("unknown, changed")
        << changed(settled(ceSfsUnknown), [](File& f) { f.local = plainFile(1); }) << Verdict::Copy;
    QTest::newRow("distant time undefined")
        << changed(settled(), [](File& f) { f.row.distantLmdUndefined = true; }) << Verdict::Examine;
    QTest::newRow("distant time undefined, in error")
        << changed(settled(kInError), [](File& f) { f.row.distantLmdUndefined = true; }) << Verdict::Skip;
    QTest::newRow("distant time undefined, waiting")
        << changed(settled(ceSfsPendingSync), [](File& f) { f.row.distantLmdUndefined = true; })
        << Verdict::Skip;

    QTest::newRow("newer on the distant side") << marked(kSize, kTimeSecs) << Verdict::Skip;
    QTest::newRow("newer on the distant side, then changed here")
        << changed(marked(kSize, kTimeSecs), [](File& f) { f.local = plainFile(kSize, kTimeSecs + 60); })
        << Verdict::Copy;
}

void TestFileDecision::trackedFile()
{
    QFETCH(VornSyncPassFile, file);
    QFETCH(VornSyncVerdict, verdict);
    QVERIFY(VornSyncFileDecision::forTracked(file) == verdict);
}

void TestFileDecision::localFile_data()
{
    using File = VornSyncPassFile;
    using Verdict = VornSyncVerdict;
    QTest::addColumn<File>("file");
    QTest::addColumn<Verdict>("verdict");

    QTest::newRow("settled") << settled() << Verdict::Skip;
    QTest::newRow("new") << changed(File(), [](File& f) { f.local = plainFile(); }) << Verdict::Copy;
    QTest::newRow("new, and one like it is on the distant side already")
        << changed(File(), [](File& f) { f.local = plainFile(), f.distant = VornSyncPresence::Present; })
        << Verdict::Copy;
    QTest::newRow("a rename comes before all else")
        << changed(settled(kInError), [](File& f) { f.isRenaming = f.isDistantObserved = true; })
        << Verdict::SkipRenaming;
    QTest::newRow("observed comes before in error")
        << changed(settled(kInError), [](File& f) { f.isDistantObserved = true; }) << Verdict::SkipObserved;
    QTest::newRow("observed and changed")
        << changed(settled(), [](File& f) { f.isDistantObserved = true, f.local = plainFile(1); })
        << Verdict::SkipObserved;
    QTest::newRow("in error and changed")
        << changed(settled(kInError), [](File& f) { f.local = plainFile(1); }) << Verdict::SkipInError;
    QTest::newRow("in error comes before in progress")
        << settled(ceSfsSyncing | ceSfsError) << Verdict::SkipInError;
    for (int status : {ceSfsSyncing, ceSfsDeleting, ceSfsRestoring})
        QTest::addRow("in progress %d", status) << settled(status) << Verdict::SkipInProgress;
    QTest::newRow("vanished since it was listed")
        << changed(settled(), [](File& f) { f.local = VornSyncFileFacts(); }) << Verdict::LeaveAlone;
    QTest::newRow("replaced by something else since it was listed")
        << changed(settled(ceSfsDeleted), [](File& f) { f.local = notPlain(); }) << Verdict::LeaveAlone;
    for (int status : {ceSfsTrashed, ceSfsDeleted})
        QTest::addRow("back, as it was, from %d", status) << settled(status) << Verdict::Resurrect;
    QTest::newRow("other size") << changed(settled(), [](File& f) { f.local = plainFile(kSize + 1); })
                                << Verdict::Copy;
    QTest::newRow("waiting and changed: refused where it starts")
        << changed(settled(ceSfsPendingSync), [](File& f) { f.local = plainFile(kSize + 1); })
        << Verdict::Copy;
    QTest::newRow("unknown, unchanged: the tracked pass examines it")
        << settled(ceSfsUnknown) << Verdict::Skip;
    QTest::newRow("newer on the distant side") << marked(kSize, kTimeSecs) << Verdict::Skip;
}

void TestFileDecision::localFile()
{
    QFETCH(VornSyncPassFile, file);
    QFETCH(VornSyncVerdict, verdict);
    QVERIFY(VornSyncFileDecision::forLocal(file) == verdict);
}

void TestFileDecision::localChange_data()
{
    using File = VornSyncPassFile;
    QTest::addColumn<File>("file");
    QTest::addColumn<bool>("isChanged");

    QTest::newRow("as recorded") << settled() << false;
    QTest::newRow("no row") << changed(settled(), [](File& f) { f.hasRow = false; }) << true;
    QTest::newRow("trashed, as recorded") << settled(ceSfsTrashed) << true;
    QTest::newRow("deleted, as recorded") << settled(ceSfsDeleted) << true;
    QTest::newRow("other size") << changed(settled(), [](File& f) { f.local.size = 0; }) << true;
    QTest::newRow("3 s later") << changed(settled(), [](File& f) { f.local.lmdSecs = kTimeSecs + 3; })
                               << false;
    QTest::newRow("4 s later") << changed(settled(), [](File& f) { f.local.lmdSecs = kTimeSecs + 4; })
                               << true;
    QTest::newRow("3 s earlier") << changed(settled(), [](File& f) { f.local.lmdSecs = kTimeSecs - 3; })
                                 << false;
    QTest::newRow("4 s earlier") << changed(settled(), [](File& f) { f.local.lmdSecs = kTimeSecs - 4; })
                                 << true;
    QTest::newRow("beyond 32 bits, as recorded")
        << changed(settled(), [](File& f) { f.row.size = f.local.size = (Q_INT64_C(1) << 33) + 7; }) << false;
    QTest::newRow("beyond 32 bits, other in the high half") << changed(settled(), [](File& f) {
        f.row.size = Q_INT64_C(1) << 33;
        f.local.size = Q_INT64_C(1) << 34;
    }) << true;
    QTest::newRow("time not recorded") << changed(settled(), [](File& f) { f.row.localLmdSecs = 0; }) << true;
    QTest::newRow("marked, as it was") << marked(kSize, kTimeSecs) << false;
    QTest::newRow("marked, changed") << marked(kSize + 5, kTimeSecs) << true;
}

void TestFileDecision::localChange()
{
    QFETCH(VornSyncPassFile, file);
    QFETCH(bool, isChanged);
    QCOMPARE(VornSyncFileDecision::isLocalChanged(file), isChanged);
}

void TestFileDecision::heldByNewerDistant_data()
{
    QTest::addColumn<VornSyncPassFile>("file");
    QTest::addColumn<bool>("isHeld");

    QTest::newRow("no mark") << settled() << false;
    QTest::newRow("as it was") << marked(kSize, kTimeSecs) << true;
    QTest::newRow("other size") << marked(kSize + 1, kTimeSecs) << false;
    QTest::newRow("other time, no tolerance") << marked(kSize, kTimeSecs + 1) << false;
    QTest::newRow("no mark, whatever the marked values")
        << changed(marked(kSize, kTimeSecs), [](VornSyncPassFile& f) { f.row.isDistantNewer = false; })
        << false;
}

void TestFileDecision::heldByNewerDistant()
{
    QFETCH(VornSyncPassFile, file);
    QFETCH(bool, isHeld);
    QCOMPARE(VornSyncFileDecision::isHeldByNewerDistant(file), isHeld);
}

QTEST_APPLESS_MAIN(TestFileDecision)
#include "test_file_decision.moc"
