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
    <message id="vorn_sync_state_not_created">
        <source>The state directory can't be created: %1</source>
        <translation>The state directory can't be created: %1</translation>
    </message>
    <message id="vorn_sync_state_not_locked">
        <source>The state directory can't be locked; is it writable? %1</source>
        <translation>The state directory can't be locked; is it writable? %1</translation>
    </message>
    <message id="vorn_sync_state_in_use">
        <source>The state directory %1 is in use by process %2 (%3 on %4). Stop it first, or choose another directory with --state.</source>
        <translation>The state directory %1 is in use by process %2 (%3 on %4). Stop it first, or choose another directory with --state.</translation>
    </message>
    <message id="vorn_sync_pairs_unreadable">
        <source>The remembered pairs can't be read: %1</source>
        <translation>The remembered pairs can't be read: %1</translation>
    </message>
    <message id="vorn_sync_pairs_damaged">
        <source>The remembered pairs are damaged or of a newer version: %1</source>
        <translation>The remembered pairs are damaged or of a newer version: %1</translation>
    </message>
    <message id="vorn_sync_pairs_not_remembered">
        <source>The pairs can't be remembered in %1: %2</source>
        <translation>The pairs can't be remembered in %1: %2</translation>
    </message>
    <message id="vorn_sync_no_pair">
        <source>No pair is given, and none is remembered in '%1'.</source>
        <translation>No pair is given, and none is remembered in '%1'.</translation>
    </message>
    <message id="vorn_sync_local_known">
        <source>'%1' is known under the alias '%2', not '%3'.</source>
        <translation>'%1' is known under the alias '%2', not '%3'.</translation>
    </message>
    <message id="vorn_sync_alias_taken">
        <source>The alias '%1' belongs to another local directory.</source>
        <translation>The alias '%1' belongs to another local directory.</translation>
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
    <message id="vorn_sync_moved_to_trash">
        <source>moved to the trash %1/%2</source>
        <translation>moved to the trash %1/%2</translation>
    </message>
    <message id="vorn_sync_renamed_distant">
        <source>renamed on the distant side %1/%2</source>
        <translation>renamed on the distant side %1/%2</translation>
    </message>
    <message id="vorn_sync_pair_suspended">
        <source>Pair %1: suspended by a command.</source>
        <translation>Pair %1: suspended by a command.</translation>
    </message>
    <message id="vorn_sync_pair_resumed">
        <source>Pair %1: no longer suspended.</source>
        <translation>Pair %1: no longer suspended.</translation>
    </message>
    <message id="vorn_sync_pair_forgotten">
        <source>Pair %1: forgotten by a command.</source>
        <translation>Pair %1: forgotten by a command.</translation>
    </message>
    <message id="vorn_sync_resetting">
        <source>The state is being emptied; all pairs are then mirrored anew.</source>
        <translation>The state is being emptied; all pairs are then mirrored anew.</translation>
    </message>
    <message id="vorn_sync_commands_refused">
        <source>No commands can be taken in the state directory: %1</source>
        <translation>No commands can be taken in the state directory: %1</translation>
    </message>
    <message id="vorn_sync_no_errors">
        <source>No file is in error.</source>
        <translation>No file is in error.</translation>
    </message>
    <message id="vorn_sync_more_errors" numerus="yes">
        <source>... and %n more.</source>
        <translation>
            <numerusform>... and %n more.</numerusform>
            <numerusform>... and %n more.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_status_host">
        <source>The host is process %1, version %2.</source>
        <translation>The host is process %1, version %2.</translation>
    </message>
    <message id="vorn_sync_status_counters">
        <source>Up to date %1 | pending %2 | in progress %3 | in error %4</source>
        <translation>Up to date %1 | pending %2 | in progress %3 | in error %4</translation>
    </message>
    <message id="vorn_sync_status_suspended">
        <source>(suspended)</source>
        <translation>(suspended)</translation>
    </message>
    <message id="vorn_sync_status_local_missing">
        <source>(the local directory is missing)</source>
        <translation>(the local directory is missing)</translation>
    </message>
    <message id="vorn_sync_status_distant_missing">
        <source>(the distant directory is missing)</source>
        <translation>(the distant directory is missing)</translation>
    </message>
    <message id="vorn_sync_status_recent">
        <source>%1 done: %2</source>
        <translation>%1 done: %2</translation>
    </message>
    <message id="vorn_sync_status_recent_failed">
        <source>%1 failed: %2</source>
        <translation>%1 failed: %2</translation>
    </message>
    <message id="vorn_sync_progress_ago">
        <source>%1 ago</source>
        <translation>%1 ago</translation>
    </message>
    <message id="vorn_sync_progress_never">
        <source>never</source>
        <translation>never</translation>
    </message>
    <message id="vorn_sync_progress_listed">
        <source>Listed to the end: local %1, distant %2 | all verified: %3</source>
        <translation>Listed to the end: local %1, distant %2 | all verified: %3</translation>
    </message>
    <message id="vorn_sync_progress_error">
        <source>%1: in error %2 for %3, tries: %4</source>
        <translation>%1: in error %2 for %3, tries: %4</translation>
    </message>
    <message id="vorn_sync_progress_waiting">
        <source>%1: waits for %2, tries: %3</source>
        <translation>%1: waits for %2, tries: %3</translation>
    </message>
    <message id="vorn_sync_progress_failed">
        <source>%1: waits for %2, tries: %3, last error %4</source>
        <translation>%1: waits for %2, tries: %3, last error %4</translation>
    </message>
    <message id="vorn_sync_progress_deferred">
        <source>%1: put off for %2, cycles: %3; a side file says that it is being written</source>
        <translation>%1: put off for %2, cycles: %3; a side file says that it is being written</translation>
    </message>
    <message id="vorn_sync_progress_unexamined" numerus="yes">
        <source>%n local files can't be examined for %2, such as %1</source>
        <translation>
            <numerusform>%n local file can't be examined for %2: %1</numerusform>
            <numerusform>%n local files can't be examined for %2, such as %1</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_progress_unanswered" numerus="yes">
        <source>%n files could not be compared by the last verification, such as %1</source>
        <translation>
            <numerusform>%n file could not be compared by the last verification: %1</numerusform>
            <numerusform>%n files could not be compared by the last verification, such as %1</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_progress_more" numerus="yes">
        <source>and %n more</source>
        <translation>
            <numerusform>and %n more</numerusform>
            <numerusform>and %n more</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_stuck">
        <source>STUCK: %1</source>
        <translation>STUCK: %1</translation>
    </message>
    <message id="vorn_sync_stuck_waiting">
        <source>%1 waits for %2; expected: %3 at most.</source>
        <translation>%1 waits for %2; expected: %3 at most.</translation>
    </message>
    <message id="vorn_sync_stuck_deferred">
        <source>%1 is put off for %2, since it is being written; expected: %3 at most.</source>
        <translation>%1 is put off for %2, since it is being written; expected: %3 at most.</translation>
    </message>
    <message id="vorn_sync_stuck_unexamined">
        <source>%1 can't be examined for %2; expected: %3 at most.</source>
        <translation>%1 can't be examined for %2; expected: %3 at most.</translation>
    </message>
    <message id="vorn_sync_stuck_never_listed">
        <source>Pair %1 was never listed.</source>
        <translation>Pair %1 was never listed.</translation>
    </message>
    <message id="vorn_sync_stuck_local_unlisted">
        <source>Pair %1: the local side was not listed to its end for %2; expected: %3 at most.</source>
        <translation>Pair %1: the local side was not listed to its end for %2; expected: %3 at most.</translation>
    </message>
    <message id="vorn_sync_stuck_distant_unlisted">
        <source>Pair %1: the distant side was not listed to its end for %2; expected: %3 at most.</source>
        <translation>Pair %1: the distant side was not listed to its end for %2; expected: %3 at most.</translation>
    </message>
    <message id="vorn_sync_stuck_unverified">
        <source>Pair %1: not all files were verified for %2; expected: %3 at most.</source>
        <translation>Pair %1: not all files were verified for %2; expected: %3 at most.</translation>
    </message>
    <message id="vorn_sync_stuck_more" numerus="yes">
        <source>And %n more files.</source>
        <translation>
            <numerusform>And %n more file.</numerusform>
            <numerusform>And %n more files.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_may_retry">
        <source>You may have it tried again:</source>
        <translation>You may have it tried again:</translation>
    </message>
    <message id="vorn_sync_may_acknowledge">
        <source>If it was meant to go, take note of that; the distant copy stays:</source>
        <translation>If it was meant to go, take note of that; the distant copy stays:</translation>
    </message>
    <message id="vorn_sync_may_put_back">
        <source>If it was not, put the file back, for instance from its distant copy; then take note all the same, and it is sent again.</source>
        <translation>If it was not, put the file back, for instance from its distant copy; then take note all the same, and it is sent again.</translation>
    </message>
    <message id="vorn_sync_may_restore">
        <source>You may send the local file again:</source>
        <translation>You may send the local file again:</translation>
    </message>
    <message id="vorn_sync_may_trash">
        <source>Or you may move the local file to the trash:</source>
        <translation>Or you may move the local file to the trash:</translation>
    </message>
    <message id="vorn_sync_may_make_readable">
        <source>Close the program that locks the file, or correct its permissions.</source>
        <translation>Close the program that locks the file, or correct its permissions.</translation>
    </message>
    <message id="vorn_sync_may_bring_back">
        <source>Bring the directory back, for instance by mounting the share.</source>
        <translation>Bring the directory back, for instance by mounting the share.</translation>
    </message>
    <message id="vorn_sync_may_make_writable">
        <source>Correct the permissions, or mount the share for writing.</source>
        <translation>Correct the permissions, or mount the share for writing.</translation>
    </message>
    <message id="vorn_sync_may_make_room">
        <source>Make room on the distant side, and check the file's name and the connection.</source>
        <translation>Make room on the distant side, and check the file's name and the connection.</translation>
    </message>
    <message id="vorn_sync_may_compare">
        <source>Compare both files first. To keep the distant one, copy it over the local one by hand.</source>
        <translation>Compare both files first. To keep the distant one, copy it over the local one by hand.</translation>
    </message>
    <message id="vorn_sync_may_send_over">
        <source>To keep the local one, send it over the distant one:</source>
        <translation>To keep the local one, send it over the distant one:</translation>
    </message>
    <message id="vorn_sync_may_close_distant">
        <source>Close the distant file wherever it is open.</source>
        <translation>Close the distant file wherever it is open.</translation>
    </message>
    <message id="vorn_sync_may_check_directory">
        <source>Check the names and permissions in the directory that belongs to the file.</source>
        <translation>Check the names and permissions in the directory that belongs to the file.</translation>
    </message>
    <message id="vorn_sync_may_clear_the_way">
        <source>Move away what has the file's name on the distant side, mostly a directory.</source>
        <translation>Move away what has the file's name on the distant side, mostly a directory.</translation>
    </message>
    <message id="vorn_sync_confirm_reset">
        <source>Everything that the state %1 knows of its files is forgotten, and every local file is sent again. Type 'yes' to go on:</source>
        <translation>Everything that the state %1 knows of its files is forgotten, and every local file is sent again. Type 'yes' to go on:</translation>
    </message>
    <message id="vorn_sync_confirm_word">
        <source>yes</source>
        <translation>yes</translation>
    </message>
    <message id="vorn_sync_done_acknowledged">
        <source>%1/%2: noted that the local file is gone.</source>
        <translation>%1/%2: noted that the local file is gone.</translation>
    </message>
    <message id="vorn_sync_done_restored">
        <source>%1/%2: the local file is sent again.</source>
        <translation>%1/%2: the local file is sent again.</translation>
    </message>
    <message id="vorn_sync_done_retried">
        <source>%1/%2: taken up again.</source>
        <translation>%1/%2: taken up again.</translation>
    </message>
    <message id="vorn_sync_done_retried_all" numerus="yes">
        <source>%n files were taken up again.</source>
        <translation>
            <numerusform>%n file was taken up again.</numerusform>
            <numerusform>%n files were taken up again.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_done_acknowledged_all" numerus="yes">
        <source>Noted that %n local files are gone.</source>
        <translation>
            <numerusform>Noted that %n local file is gone.</numerusform>
            <numerusform>Noted that %n local files are gone.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_done_trashed_all" numerus="yes">
        <source>%n files are moved to the trash.</source>
        <translation>
            <numerusform>%n file is moved to the trash.</numerusform>
            <numerusform>%n files are moved to the trash.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_done_trashed">
        <source>%1/%2: moved to the trash.</source>
        <translation>%1/%2: moved to the trash.</translation>
    </message>
    <message id="vorn_sync_done_deleted">
        <source>%1/%2: the distant copy is removed too.</source>
        <translation>%1/%2: the distant copy is removed too.</translation>
    </message>
    <message id="vorn_sync_done_deleted_local">
        <source>%1/%2: noted as deleted; the distant copy stays.</source>
        <translation>%1/%2: noted as deleted; the distant copy stays.</translation>
    </message>
    <message id="vorn_sync_done_renamed">
        <source>%1/%2: is %3 now; the distant file follows.</source>
        <translation>%1/%2: is %3 now; the distant file follows.</translation>
    </message>
    <message id="vorn_sync_done_cycle">
        <source>A cycle was asked for.</source>
        <translation>A cycle was asked for.</translation>
    </message>
    <message id="vorn_sync_done_sent">
        <source>%1/%2: is sent at once.</source>
        <translation>%1/%2: is sent at once.</translation>
    </message>
    <message id="vorn_sync_done_sent_later">
        <source>%1/%2: an operation on it runs or waits; it is sent after that.</source>
        <translation>%1/%2: an operation on it runs or waits; it is sent after that.</translation>
    </message>
    <message id="vorn_sync_done_paused">
        <source>Mirroring is paused.</source>
        <translation>Mirroring is paused.</translation>
    </message>
    <message id="vorn_sync_done_resumed">
        <source>Mirroring goes on.</source>
        <translation>Mirroring goes on.</translation>
    </message>
    <message id="vorn_sync_done_suspended">
        <source>Pair %1 is suspended.</source>
        <translation>Pair %1 is suspended.</translation>
    </message>
    <message id="vorn_sync_done_unsuspended">
        <source>Pair %1 is not suspended any more.</source>
        <translation>Pair %1 is not suspended any more.</translation>
    </message>
    <message id="vorn_sync_done_forgotten">
        <source>Pair %1 is forgotten; no file was touched.</source>
        <translation>Pair %1 is forgotten; no file was touched.</translation>
    </message>
    <message id="vorn_sync_done_reset" numerus="yes">
        <source>The state was emptied; %n pairs are mirrored anew.</source>
        <translation>
            <numerusform>The state was emptied; %n pair is mirrored anew.</numerusform>
            <numerusform>The state was emptied; %n pairs are mirrored anew.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_refused_no_host">
        <source>No host runs on the state directory %1</source>
        <translation>No host runs on the state directory %1</translation>
    </message>
    <message id="vorn_sync_refused_no_access">
        <source>The state directory may not be accessed: %1</source>
        <translation>The state directory may not be accessed: %1</translation>
    </message>
    <message id="vorn_sync_refused_no_answer">
        <source>The host has not answered within %1 s. Whether it carries the command out is not known.</source>
        <translation>The host has not answered within %1 s. Whether it carries the command out is not known.</translation>
    </message>
    <message id="vorn_sync_refused_ending">
        <source>The host has ended, or started anew, before it answered.</source>
        <translation>The host has ended, or started anew, before it answered.</translation>
    </message>
    <message id="vorn_sync_refused_bad_answer">
        <source>What runs there gave an answer that can't be understood.</source>
        <translation>What runs there gave an answer that can't be understood.</translation>
    </message>
    <message id="vorn_sync_refused_bad_request">
        <source>The host could not understand the request.</source>
        <translation>The host could not understand the request.</translation>
    </message>
    <message id="vorn_sync_refused_protocol">
        <source>The host speaks another version of the protocol: %1</source>
        <translation>The host speaks another version of the protocol: %1</translation>
    </message>
    <message id="vorn_sync_refused_unknown_command">
        <source>The host does not know this command: %1</source>
        <translation>The host does not know this command: %1</translation>
    </message>
    <message id="vorn_sync_refused_too_many">
        <source>The host has too many commands at once. Try again.</source>
        <translation>The host has too many commands at once. Try again.</translation>
    </message>
    <message id="vorn_sync_refused_resetting">
        <source>The host is emptying its state. Try again when that is done.</source>
        <translation>The host is emptying its state. Try again when that is done.</translation>
    </message>
    <message id="vorn_sync_refused_needs_yes">
        <source>Without a terminal to ask on, this needs --yes.</source>
        <translation>Without a terminal to ask on, this needs --yes.</translation>
    </message>
    <message id="vorn_sync_refused_declined">
        <source>Nothing was done.</source>
        <translation>Nothing was done.</translation>
    </message>
    <message id="vorn_sync_refused_state_unreadable">
        <source>The state database can't be read.</source>
        <translation>The state database can't be read.</translation>
    </message>
    <message id="vorn_sync_refused_failed">
        <source>The library refused it:</source>
        <translation>The library refused it:</translation>
    </message>
    <message id="vorn_sync_refused_unknown_alias">
        <source>There is no pair with the alias '%1'.</source>
        <translation>There is no pair with the alias '%1'.</translation>
    </message>
    <message id="vorn_sync_refused_invalid_name">
        <source>This is not the name of a file in the directory: '%1'</source>
        <translation>This is not the name of a file in the directory: '%1'</translation>
    </message>
    <message id="vorn_sync_refused_not_tracked">
        <source>%1/%2: is not known as a mirrored file.</source>
        <translation>%1/%2: is not known as a mirrored file.</translation>
    </message>
    <message id="vorn_sync_refused_not_in_error">
        <source>%1/%2: is not in error.</source>
        <translation>%1/%2: is not in error.</translation>
    </message>
    <message id="vorn_sync_refused_not_acknowledgeable">
        <source>%1/%2: has error %3; only a local file that is gone (2) can be taken note of.</source>
        <translation>%1/%2: has error %3; only a local file that is gone (2) can be taken note of.</translation>
    </message>
    <message id="vorn_sync_refused_not_restorable">
        <source>%1/%2: has error %3; only a file whose distant copy is gone (15) can be restored.</source>
        <translation>%1/%2: has error %3; only a file whose distant copy is gone (15) can be restored.</translation>
    </message>
    <message id="vorn_sync_refused_busy">
        <source>%1/%2: an operation on it runs, is wanted, or has failed and waits. Try again later.</source>
        <translation>%1/%2: an operation on it runs, is wanted, or has failed and waits. Try again later.</translation>
    </message>
    <message id="vorn_sync_refused_local_missing">
        <source>%1/%2: there is no such file in the local directory.</source>
        <translation>%1/%2: there is no such file in the local directory.</translation>
    </message>
    <message id="vorn_sync_refused_still_there">
        <source>%1/%2: is still in the local directory. Delete it first, or move it to the trash.</source>
        <translation>%1/%2: is still in the local directory. Delete it first, or move it to the trash.</translation>
    </message>
    <message id="vorn_sync_refused_local_exists">
        <source>%1/%2: the local directory has something with this name.</source>
        <translation>%1/%2: the local directory has something with this name.</translation>
    </message>
    <message id="vorn_sync_refused_distant_exists">
        <source>%1/%2: the distant directory has something with this name.</source>
        <translation>%1/%2: the distant directory has something with this name.</translation>
    </message>
    <message id="vorn_sync_refused_tracked_exists">
        <source>%1/%2: is known as a mirrored file already.</source>
        <translation>%1/%2: is known as a mirrored file already.</translation>
    </message>
    <message id="vorn_sync_refused_same_name">
        <source>Old and new name are the same: '%1'</source>
        <translation>Old and new name are the same: '%1'</translation>
    </message>
    <message id="vorn_sync_refused_name_not_mirrored">
        <source>A file of this name is not mirrored: '%1'</source>
        <translation>A file of this name is not mirrored: '%1'</translation>
    </message>
    <message id="vorn_sync_refused_pair_unavailable">
        <source>Pair %1: one of the directories is missing at the moment.</source>
        <translation>Pair %1: one of the directories is missing at the moment.</translation>
    </message>
    <message id="vorn_sync_refused_rename_failed">
        <source>%1/%2: the local file could not be renamed: %3</source>
        <translation>%1/%2: the local file could not be renamed: %3</translation>
    </message>
    <message id="vorn_sync_refused_paused">
        <source>Mirroring is paused; resume it first.</source>
        <translation>Mirroring is paused; resume it first.</translation>
    </message>
    <message id="vorn_sync_refused_not_ready">
        <source>There is no file, or it was not ready in time: %1</source>
        <translation>There is no file, or it was not ready in time: %1</translation>
    </message>
    <message id="vorn_sync_refused_reset_failed">
        <source>The state could not be emptied, or not all pairs could be registered again.</source>
        <translation>The state could not be emptied, or not all pairs could be registered again.</translation>
    </message>
</context>
</TS>
