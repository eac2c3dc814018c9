#include "engine_parts_fixture.h"
#include "vorn_sync_verifier.h"

#include <QSignalSpy>
#include <QTest>

#include <limits>

using namespace VornSyncTest;

namespace {

constexpr qint64 kBudgetMs = 60000; // long enough on a loaded machine

struct VerifierParts : EngineParts
{
    VerifierParts() { verifier.setDatabase(&database); }

    VornSyncVerifier verifier{paths, renames, observations, nullptr};
};

// Up to date on both sides, with one byte.
bool putUpToDate(EngineParts& parts, const QString& fileName)
{
    return parts.pair.local().write(fileName, "x") && parts.pair.distant().write(fileName, "x") &&
           parts.putRow(fileName, ceSfsUpToDate, ceSecNone, 1);
}

} // namespace

class TestVerifier : public QObject
{
    Q_OBJECT

private slots:
    void budget_data();
    void budget();
    void run_looksAtEachFile();
    void run_withoutABudget();
    void run_leavesUnavailableDirectoriesAlone();
    void run_believesTheRowNotTheQueue();
    void run_overRowsThatCantBeRead_isNoRound();
    void verify_aLockedFile();
    void verify_inAnUnknownDirectory();
    void clear_whileItRuns();
};

void TestVerifier::budget_data()
{
    QTest::addColumn<int>("syncIntervalMs");
    QTest::addColumn<qint64>("budgetMs");
    QTest::newRow("a fifth") << 30000 << qint64(6000);
    QTest::newRow("minimum") << 300 << qint64(100);
    QTest::newRow("no interval") << 0 << qint64(100);
    QTest::newRow("as large as can be") << std::numeric_limits<int>::max() << qint64(429496729);
}

void TestVerifier::budget()
{
    QFETCH(int, syncIntervalMs);
    QTEST(VornSyncVerifier::budgetMs(syncIntervalMs), "budgetMs");
}

void TestVerifier::run_looksAtEachFile()
{
    VerifierParts parts;
    QVERIFY(parts.start());
    QSignalSpy changes(&parts.verifier, &VornSyncVerifier::errorStateChanged);
    for (const QString& name : {"well.txt"_s, "gone.txt"_s, "shrunk.txt"_s, "edited.txt"_s})
        QVERIFY(putUpToDate(parts, name));
    QVERIFY(parts.pair.local().remove("gone.txt"_s));
    QVERIFY(parts.pair.distant().write("shrunk.txt"_s, ""));
    QVERIFY(parts.pair.local().write("edited.txt"_s, "longer"));
    parts.verifier.run(kBudgetMs);
    QCOMPARE(parts.state("well.txt"_s), "17/0"_s);
    QCOMPARE(parts.state("gone.txt"_s), "145/2"_s);
    QCOMPARE(parts.state("shrunk.txt"_s), "145/7"_s);
    QCOMPARE(parts.state("edited.txt"_s), "0/0"_s);
    QCOMPARE(changes.count(), 3);

    // The queue is filled again for the next run.
    QVERIFY(parts.pair.local().remove("well.txt"_s));
    parts.verifier.run(kBudgetMs);
    QCOMPARE(parts.state("well.txt"_s), "145/2"_s);
}

void TestVerifier::run_withoutABudget()
{
    VerifierParts parts;
    QVERIFY(parts.start());
    QVERIFY(parts.putRow("gone.txt"_s, ceSfsUpToDate));
    parts.verifier.run(0);
    QCOMPARE(parts.state("gone.txt"_s), "17/0"_s);
}

void TestVerifier::run_leavesUnavailableDirectoriesAlone()
{
    VerifierParts parts;
    QVERIFY(parts.start());
    QVERIFY(parts.putRow("gone.txt"_s, ceSfsUpToDate));
    QVERIFY(parts.raw.exec("UPDATE directories SET available = 0"_s));
    parts.verifier.run(kBudgetMs);
    QCOMPARE(parts.state("gone.txt"_s), "17/0"_s);
}

void TestVerifier::run_believesTheRowNotTheQueue()
{
    VerifierParts parts;
    QVERIFY(parts.start());
    QVERIFY(parts.putRow("first.txt"_s, ceSfsUpToDate));
    QVERIFY(parts.putRow("second.txt"_s, ceSfsUpToDate));
    // The host deletes whichever comes second when the first is found missing.
    connect(&parts.verifier, &VornSyncVerifier::errorStateChanged, this, [&parts] {
        for (const QString& name : {"first.txt"_s, "second.txt"_s}) {
            if (parts.state(name) == "17/0"_s)
                QVERIFY(parts.database.setFileDeleted(parts.id, name));
        }
    });
    QSignalSpy changes(&parts.verifier, &VornSyncVerifier::errorStateChanged);
    parts.verifier.run(kBudgetMs);
    QCOMPARE(changes.count(), 1);
    QStringList states{parts.state("first.txt"_s), parts.state("second.txt"_s)};
    states.sort();
    QCOMPARE(states, (QStringList{"145/2"_s, "40/0"_s}));
}

// What was not read was not verified, and nobody may say so.
void TestVerifier::run_overRowsThatCantBeRead_isNoRound()
{
    VerifierParts parts;
    QVERIFY(parts.start());
    QVERIFY(putUpToDate(parts, "a.txt"_s));
    const QString verifiedAt = "SELECT verified_at FROM pair_progress"_s;
    QVERIFY(parts.raw.exec("ALTER TABLE file_tracking RENAME TO away"_s));
    parts.verifier.run(kBudgetMs);
    QVERIFY(parts.raw.exec("ALTER TABLE away RENAME TO file_tracking"_s));
    QVERIFY(parts.raw.value(verifiedAt).isNull());
    parts.verifier.run(kBudgetMs);
    QVERIFY(!parts.raw.value(verifiedAt).isNull());
}

void TestVerifier::verify_aLockedFile()
{
    VerifierParts parts;
    QVERIFY(parts.start());
    QVERIFY(parts.putRow("old.txt"_s, ceSfsUpToDate));
    QVERIFY(parts.renames.lock(parts.id, "old.txt"_s, "new.txt"_s));
    QVERIFY(!parts.verifier.verify(parts.id, "old.txt"_s, 0));
    QCOMPARE(parts.state("old.txt"_s), "17/0"_s);
    QVERIFY(parts.renames.release(parts.id, "old.txt"_s, "new.txt"_s));
    QVERIFY(parts.verifier.verify(parts.id, "old.txt"_s, 0));
    QCOMPARE(parts.state("old.txt"_s), "145/2"_s);
}

void TestVerifier::verify_inAnUnknownDirectory()
{
    VerifierParts parts;
    QVERIFY(parts.start());
    QSignalSpy changes(&parts.verifier, &VornSyncVerifier::errorStateChanged);
    QVERIFY(!parts.verifier.verify(parts.id + 1, "a.txt"_s, 0));
    QCOMPARE(changes.count(), 0);
}

void TestVerifier::clear_whileItRuns()
{
    VerifierParts parts;
    QVERIFY(parts.start());
    for (int i = 0; i < 3; ++i)
        QVERIFY(parts.putRow("%1.txt"_s.arg(i), ceSfsUpToDate));
    connect(&parts.verifier, &VornSyncVerifier::errorStateChanged, this,
            [&] { parts.verifier.clear(parts.id); });
    parts.verifier.run(kBudgetMs);
    const QString inError = "SELECT COUNT(*) FROM file_tracking WHERE status = 145"_s;
    QCOMPARE(parts.raw.value(inError).toInt(), 1);
    parts.verifier.clear(parts.id + 1); // of no concern to the others
    parts.verifier.run(kBudgetMs);
    QCOMPARE(parts.raw.value(inError).toInt(), 2);
}

QTEST_GUILESS_MAIN(TestVerifier)
#include "test_verifier.moc"
