#include "vorn_sync_types.h"

#include <QCoreApplication>
#include <QMap>
#include <QTest>
#include <QTranslator>

#include <limits>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

const QMap<int, const char*>& statusNames()
{
    static const QMap<int, const char*> names = {
        {0, "ceSfsUnknown"},    {17, "ceSfsUpToDate"}, {18, "ceSfsPendingSync"},
        {20, "ceSfsSyncing"},   {33, "ceSfsTrashed"},  {34, "ceSfsPendingDelete"},
        {36, "ceSfsDeleting"},  {40, "ceSfsDeleted"},  {66, "ceSfsPendingRestore"},
        {68, "ceSfsRestoring"}, {128, "ceSfsError"},
    };
    return names;
}

struct CodeTexts
{
    const char* name;
    const char* translationId;
};

const QList<CodeTexts>& codeTexts()
{
    static const QList<CodeTexts> texts = {
        {"ceSecNone", "VornSyncDatabase_error_none"},
        {"ceSecUnknown", "VornSyncDatabase_error_unknown"},
        {"ceSecLocalFileMissing", "VornSyncDatabase_error_local_file_missing"},
        {"ceSecLocalFileNotReadable", "VornSyncDatabase_error_local_file_not_readable"},
        {"ceSecDistantDirMissing", "VornSyncDatabase_error_distant_dir_missing"},
        {"ceSecDistantDirNotWritable", "VornSyncDatabase_error_distant_dir_not_writable"},
        {"ceSecCopyFailed", "VornSyncDatabase_error_copy_failed"},
        {"ceSecCopySizeMismatch", "VornSyncDatabase_error_copy_size_mismatch"},
        {"ceSecRenameFailed", "VornSyncDatabase_error_rename_failed"},
        {"ceSecAssocDirCopyFailed", "VornSyncDatabase_error_assoc_dir_copy_failed"},
        {"ceSecLocalDirRemoveFailed", "VornSyncDatabase_error_local_dir_remove_failed"},
        {"ceSecTrashDeleteFailed", "VornSyncDatabase_error_trash_delete_failed"},
        {"ceSecTaskCreationFailed", "VornSyncDatabase_error_task_creation_failed"},
        {"ceSecMaxRetriesExceeded", "VornSyncDatabase_error_max_retries_exceeded"},
        {"ceSecDistantRenameFailed", "VornSyncDatabase_error_distant_rename_failed"},
        {"ceSecDistantFileMissing", "VornSyncDatabase_error_distant_file_missing"},
    };
    return texts;
}

// A host's catalogue of one text.
class OneTextTranslator : public QTranslator
{
public:
    QString translate(const char*, const char* sourceText, const char*, int) const override
    {
        if (qstrcmp(sourceText, "VornSyncDatabase_error_none") != 0)
            return QString();
        return text("Aucune erreur");
    }
    bool isEmpty() const override { return false; }
};

} // namespace

class TestSyncTypes : public QObject
{
    Q_OBJECT

private slots:
    void statusValues();
    void statusName();
    void errorCodes();
    void errorCodesOutsideTheTable_data();
    void errorCodesOutsideTheTable();
    void errorMessageIsTranslated();
    void operationName();
    void classifications();
    void statusGroups();
    void staleTimeout_data();
    void staleTimeout();
    void staleTimeoutBounds();
    void fileNames_data();
    void fileNames();
};

// The numbers are part of the database file.
void TestSyncTypes::statusValues()
{
    QCOMPARE(int(ceSfsUnknown), 0);
    QCOMPARE(int(ceSfsUpToDate), 17);
    QCOMPARE(int(ceSfsPendingSync), 18);
    QCOMPARE(int(ceSfsSyncing), 20);
    QCOMPARE(int(ceSfsTrashed), 33);
    QCOMPARE(int(ceSfsPendingDelete), 34);
    QCOMPARE(int(ceSfsDeleting), 36);
    QCOMPARE(int(ceSfsDeleted), 40);
    QCOMPARE(int(ceSfsPendingRestore), 66);
    QCOMPARE(int(ceSfsRestoring), 68);
    QCOMPARE(int(ceSfsError), 128);
    QCOMPARE(sizeof(SyncFileStatus), sizeof(qint32));
    QCOMPARE(sizeof(SyncErrorCode), sizeof(qint32));
    QCOMPARE(sizeof(SyncOperation), sizeof(qint32));
    QCOMPARE(int(ceStoCopy), 0);
    QCOMPARE(int(ceStoMove), 1);
    QCOMPARE(int(ceStoMoveBack), 2);
    QCOMPARE(int(ceStoRename), 3);
    QCOMPARE(VornSyncTypes::kNoDirectoryId, -1);
    QCOMPARE(VornSyncTypes::undefinedTimeText(), text("UNDEFINED"));
}

// Every value of a byte: what the table does not name has no name, 1, 19 and 129 among them.
void TestSyncTypes::statusName()
{
    for (int status = -1; status <= 256; ++status)
        QCOMPARE(VornSyncTypes::statusName(status), text(statusNames().value(status, "")));
    QCOMPARE(VornSyncTypes::statusName(128), text("ceSfsError"));
    QCOMPARE(VornSyncTypes::statusName(129), QString());
}

void TestSyncTypes::errorCodes()
{
    QCOMPARE(codeTexts().size(), 16);
    QCOMPARE(int(ceSecDistantFileMissing), 15);
    for (int code = 0; code < codeTexts().size(); ++code) {
        QCOMPARE(VornSyncTypes::errorCodeName(code), text(codeTexts().at(code).name));
        QCOMPARE(VornSyncTypes::errorMessage(code), text(codeTexts().at(code).translationId));
    }
    QCOMPARE(int(ceSecCopyFailed), 6);
    QCOMPARE(int(ceSecMaxRetriesExceeded), 13);
}

void TestSyncTypes::errorCodesOutsideTheTable_data()
{
    QTest::addColumn<int>("code");
    QTest::newRow("16") << 16;
    QTest::newRow("-1") << -1;
    QTest::newRow("largest") << std::numeric_limits<int>::max();
    QTest::newRow("smallest") << std::numeric_limits<int>::min();
}

void TestSyncTypes::errorCodesOutsideTheTable()
{
    QFETCH(int, code);
    QCOMPARE(VornSyncTypes::errorCodeName(code), QString());
    QCOMPARE(VornSyncTypes::errorMessage(code), QString());
    QVERIFY(!VornSyncTypes::isAcknowledgeOnly(code));
    QVERIFY(!VornSyncTypes::isRestoreOrDelete(code));
}

void TestSyncTypes::errorMessageIsTranslated()
{
    OneTextTranslator translator;
    QVERIFY(QCoreApplication::installTranslator(&translator));
    QCOMPARE(VornSyncTypes::errorMessage(0), text("Aucune erreur"));
    QCOMPARE(VornSyncTypes::errorMessage(1), text("VornSyncDatabase_error_unknown"));
    QVERIFY(QCoreApplication::removeTranslator(&translator));
    QCOMPARE(VornSyncTypes::errorMessage(0), text("VornSyncDatabase_error_none"));
}

void TestSyncTypes::operationName()
{
    QCOMPARE(VornSyncTypes::operationName(0), text("ceStoCopy"));
    QCOMPARE(VornSyncTypes::operationName(1), text("ceStoMove"));
    QCOMPARE(VornSyncTypes::operationName(2), text("ceStoMoveBack"));
    QCOMPARE(VornSyncTypes::operationName(3), text("ceStoRename"));
    QCOMPARE(VornSyncTypes::operationName(4), QString());
    QCOMPARE(VornSyncTypes::operationName(-1), QString());
}

void TestSyncTypes::classifications()
{
    for (int code = -1; code <= 17; ++code) {
        QCOMPARE(VornSyncTypes::isAcknowledgeOnly(code), code == 2);
        QCOMPARE(VornSyncTypes::isRestoreOrDelete(code), code == 15);
    }
}

void TestSyncTypes::statusGroups()
{
    const QList<int> statuses = statusNames().keys();
    for (const int status : statuses) {
        const bool isTombstone = status == 33 || status == 40;
        const bool isWorking = status == 20 || status == 36 || status == 68;
        const bool isWaiting = status == 18 || status == 34 || status == 66;
        QCOMPARE(VornSyncTypes::isTombstoned(status), isTombstone);
        QCOMPARE(VornSyncTypes::isInProgress(status), isWorking);
        QCOMPARE(VornSyncTypes::isPending(status), isWaiting);
        QCOMPARE(VornSyncTypes::isInError(status), status == 128);
        QVERIFY(VornSyncTypes::isInError(status | ceSfsError));
        QCOMPARE(VornSyncTypes::baseStatus(status | ceSfsError), status == 128 ? 0 : status);
    }
}

void TestSyncTypes::staleTimeout_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<int>("expected");
    QTest::newRow("empty") << 18 << qint64(0) << 120;
    QTest::newRow("negative size") << 18 << qint64(-1) << 120;
    QTest::newRow("smallest size") << 18 << std::numeric_limits<qint64>::min() << 120;
    QTest::newRow("just 120") << 18 << qint64(9216000) << 120;
    QTest::newRow("one block less") << 18 << qint64(9216000 - 1) << 120;
    QTest::newRow("just 121") << 18 << qint64(9318400) << 121;
    QTest::newRow("syncing") << 20 << qint64(10240000) << 130;
    QTest::newRow("integer division") << 20 << qint64(10240000 + 102399) << 130;
    QTest::newRow("restore pending") << 66 << qint64(100000000) << 600;
    QTest::newRow("restoring") << 68 << qint64(10240000) << 130;
    QTest::newRow("just 599") << 66 << qint64(569 * 102400) << 599;
    QTest::newRow("just 600") << 66 << qint64(570 * 102400) << 600;
    QTest::newRow("largest size") << 20 << std::numeric_limits<qint64>::max() << 600;
    QTest::newRow("delete pending") << 34 << qint64(0) << 30;
    QTest::newRow("delete pending, large") << 34 << qint64(100000000) << 30;
    QTest::newRow("deleting") << 36 << qint64(5) << 30;
    QTest::newRow("trashed") << 33 << qint64(10240000) << 0;
    QTest::newRow("deleted") << 40 << qint64(10240000) << 0;
    QTest::newRow("up to date") << 17 << qint64(10240000) << 0;
    QTest::newRow("error") << 128 << qint64(10240000) << 0;
    QTest::newRow("error while syncing") << 148 << qint64(10240000) << 0;
}

void TestSyncTypes::staleTimeout()
{
    QFETCH(int, status);
    QFETCH(qint64, size);
    QFETCH(int, expected);
    QCOMPARE(VornSyncTypes::staleTimeoutSecs(status, size), expected);
}

void TestSyncTypes::staleTimeoutBounds()
{
    const QList<int> timed{18, 20, 34, 36, 66, 68};
    for (int status = -1; status <= 256; ++status)
        QCOMPARE(VornSyncTypes::staleTimeoutSecs(status, 1000) > 0, timed.contains(status));
}

void TestSyncTypes::fileNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("isValid");
    QTest::newRow("plain") << "a.txt" << true;
    QTest::newRow("hidden") << ".bashrc" << true;
    QTest::newRow("three dots") << "..." << true;
    QTest::newRow("backslash") << "a\\b" << true;
    QTest::newRow("odd") << "-%1\n\"'" << true;
    QTest::newRow("empty") << "" << false;
    QTest::newRow("this directory") << "." << false;
    QTest::newRow("parent") << ".." << false;
    QTest::newRow("separator") << "../a" << false;
    QTest::newRow("absolute") << "/a" << false;
    QTest::newRow("trailing separator") << "a/" << false;
    QTest::newRow("nul") << QString(text("a") + QChar(0) + text("b")) << false;
}

void TestSyncTypes::fileNames()
{
    QFETCH(QString, name);
    QFETCH(bool, isValid);
    QCOMPARE(VornSyncTypes::isValidFileName(name), isValid);
    QCOMPARE(VornSyncTypes::isValidFileName(std::string_view(name.toStdString())), isValid);
}

QTEST_GUILESS_MAIN(TestSyncTypes)
#include "test_sync_types.moc"
