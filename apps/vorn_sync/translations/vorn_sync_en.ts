<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US">
<context>
    <name></name>
    <message id="VornSyncDatabase_error_none">
        <source>No error.</source>
        <translation>No error.</translation>
    </message>
    <message id="VornSyncDatabase_error_unknown">
        <source>The file failed for a reason that was not recorded. Retry it.</source>
        <translation>The file failed for a reason that was not recorded. Retry it.</translation>
    </message>
    <message id="VornSyncDatabase_error_local_file_missing">
        <source>The local file is gone. If that was intended, acknowledge it; otherwise put the file back from its distant copy.</source>
        <translation>The local file is gone. If that was intended, acknowledge it; otherwise put the file back from its distant copy.</translation>
    </message>
    <message id="VornSyncDatabase_error_local_file_not_readable">
        <source>The local file can't be read. Check its permissions, and whether another program has locked it.</source>
        <translation>The local file can't be read. Check its permissions, and whether another program has locked it.</translation>
    </message>
    <message id="VornSyncDatabase_error_distant_dir_missing">
        <source>The distant directory is missing. Check that the share is mounted and reachable.</source>
        <translation>The distant directory is missing. Check that the share is mounted and reachable.</translation>
    </message>
    <message id="VornSyncDatabase_error_distant_dir_not_writable">
        <source>The distant directory can't be written to. Check its permissions and whether the share is mounted read-only.</source>
        <translation>The distant directory can't be written to. Check its permissions and whether the share is mounted read-only.</translation>
    </message>
    <message id="VornSyncDatabase_error_copy_failed">
        <source>The file could not be copied. Check the free space and the connection to the distant side.</source>
        <translation>The file could not be copied. Check the free space and the connection to the distant side.</translation>
    </message>
    <message id="VornSyncDatabase_error_copy_size_mismatch">
        <source>The distant copy has another size than the local file. Retry to send the local file again.</source>
        <translation>The distant copy has another size than the local file. Retry to send the local file again.</translation>
    </message>
    <message id="VornSyncDatabase_error_rename_failed">
        <source>The finished copy could not take the place of the old distant file. Check whether another program has that file open.</source>
        <translation>The finished copy could not take the place of the old distant file. Check whether another program has that file open.</translation>
    </message>
    <message id="VornSyncDatabase_error_assoc_dir_copy_failed">
        <source>The directory that belongs to the file could not be copied completely. Check the free space and the permissions on both sides.</source>
        <translation>The directory that belongs to the file could not be copied completely. Check the free space and the permissions on both sides.</translation>
    </message>
    <message id="VornSyncDatabase_error_local_dir_remove_failed">
        <source>The local directory that belongs to the file could not be removed after the move. Check its permissions.</source>
        <translation>The local directory that belongs to the file could not be removed after the move. Check its permissions.</translation>
    </message>
    <message id="VornSyncDatabase_error_trash_delete_failed">
        <source>The file could not be deleted from the trash. Check the permissions of the trash directory.</source>
        <translation>The file could not be deleted from the trash. Check the permissions of the trash directory.</translation>
    </message>
    <message id="VornSyncDatabase_error_task_creation_failed">
        <source>The operation on the file could not be prepared. Check that both directories of the pair are still registered, then retry.</source>
        <translation>The operation on the file could not be prepared. Check that both directories of the pair are still registered, then retry.</translation>
    </message>
    <message id="VornSyncDatabase_error_max_retries_exceeded">
        <source>The operation on the file failed several times and was given up. Check that nothing else, such as a directory of the same name, is in the way on the distant side, then retry.</source>
        <translation>The operation on the file failed several times and was given up. Check that nothing else, such as a directory of the same name, is in the way on the distant side, then retry.</translation>
    </message>
    <message id="VornSyncDatabase_error_distant_rename_failed">
        <source>The distant file could not be renamed. Check whether another program has it open.</source>
        <translation>The distant file could not be renamed. Check whether another program has it open.</translation>
    </message>
    <message id="VornSyncDatabase_error_distant_file_missing">
        <source>The distant copy is gone. Restore it from the local file, or delete the local file too.</source>
        <translation>The distant copy is gone. Restore it from the local file, or delete the local file too.</translation>
    </message>
    <message id="vorn_sync_state">
        <source>State: %1</source>
        <translation>State: %1</translation>
    </message>
    <message id="vorn_sync_pair">
        <source>Pair %1: %2 -&gt; %3</source>
        <translation>Pair %1: %2 -&gt; %3</translation>
    </message>
    <message id="vorn_sync_pair_available">
        <source>Pair %1: both directories are there; mirroring goes on.</source>
        <translation>Pair %1: both directories are there; mirroring goes on.</translation>
    </message>
    <message id="vorn_sync_local_missing">
        <source>Pair %1: the local directory is missing, the pair waits for it: %2</source>
        <translation>Pair %1: the local directory is missing, the pair waits for it: %2</translation>
    </message>
    <message id="vorn_sync_distant_missing">
        <source>Pair %1: the distant directory is missing, the pair waits for it: %2</source>
        <translation>Pair %1: the distant directory is missing, the pair waits for it: %2</translation>
    </message>
    <message id="vorn_sync_distant_replaced">
        <source>Pair %1: the distant directory is now %2; it was %3</source>
        <translation>Pair %1: the distant directory is now %2; it was %3</translation>
    </message>
    <message id="vorn_sync_watch_refused">
        <source>Pair %1: the system refuses to watch %2; changes are found by the cycle only.</source>
        <translation>Pair %1: the system refuses to watch %2; changes are found by the cycle only.</translation>
    </message>
    <message id="vorn_sync_restarting">
        <source>Starting again, to take up files that an earlier failure has left waiting.</source>
        <translation>Starting again, to take up files that an earlier failure has left waiting.</translation>
    </message>
    <message id="vorn_sync_state_failed">
        <source>The state directory can't be worked in: %1</source>
        <translation>The state directory can't be worked in: %1</translation>
    </message>
    <message id="vorn_sync_copied">
        <source>copied %1/%2</source>
        <translation>copied %1/%2</translation>
    </message>
    <message id="vorn_sync_failed">
        <source>failed %1/%2</source>
        <translation>failed %1/%2</translation>
    </message>
    <message id="vorn_sync_progress">
        <source>done %1 | pending %2 | in error %3</source>
        <translation>done %1 | pending %2 | in error %3</translation>
    </message>
    <message id="vorn_sync_file_busy">
        <source>%1/%2: held back, an excluded companion file lies beside it</source>
        <translation>%1/%2: held back, an excluded companion file lies beside it</translation>
    </message>
    <message id="vorn_sync_file_unreadable">
        <source>%1/%2: the system does not say what this is</source>
        <translation>%1/%2: the system does not say what this is</translation>
    </message>
    <message id="vorn_sync_listing_failed">
        <source>Pair %1: one of the directories can't be read: %2, %3</source>
        <translation>Pair %1: one of the directories can't be read: %2, %3</translation>
    </message>
    <message id="vorn_sync_names_skipped" numerus="yes">
        <source>Pair %1: %n names that this character encoding can't represent were left out.</source>
        <translation>
            <numerusform>Pair %1: %n name that this character encoding can't represent was left out.</numerusform>
            <numerusform>Pair %1: %n names that this character encoding can't represent were left out.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_unconfirmed" numerus="yes">
        <source>%n files could not be confirmed as mirrored.</source>
        <translation>
            <numerusform>%n file could not be confirmed as mirrored.</numerusform>
            <numerusform>%n files could not be confirmed as mirrored.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_up_to_date" numerus="yes">
        <source>Everything is up to date: %n files.</source>
        <translation>
            <numerusform>Everything is up to date: %n file.</numerusform>
            <numerusform>Everything is up to date: %n files.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_not_up_to_date" numerus="yes">
        <source>Not everything is up to date: %n files are.</source>
        <translation>
            <numerusform>Not everything is up to date: %n file is.</numerusform>
            <numerusform>Not everything is up to date: %n files are.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_stopped" numerus="yes">
        <source>Stopped: %n files are up to date.</source>
        <translation>
            <numerusform>Stopped: %n file is up to date.</numerusform>
            <numerusform>Stopped: %n files are up to date.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_interrupted" numerus="yes">
        <source>Interrupted before everything was settled: %n files are up to date.</source>
        <translation>
            <numerusform>Interrupted before everything was settled: %n file is up to date.</numerusform>
            <numerusform>Interrupted before everything was settled: %n files are up to date.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_files_in_error" numerus="yes">
        <source>%n files are in error:</source>
        <translation>
            <numerusform>%n file is in error:</numerusform>
            <numerusform>%n files are in error:</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_error_line">
        <source>  %1/%2: error %3: %4</source>
        <translation>  %1/%2: error %3: %4</translation>
    </message>
</context>
</TS>
