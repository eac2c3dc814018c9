<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US">
<context>
    <name></name>
    <message id="vorn_sync_monitor_title">
        <source>VornSync</source>
        <translation>VornSync</translation>
    </message>
    <message id="vorn_sync_monitor_window_refused">
        <source>The window can't be shown.</source>
        <translation>The window can't be shown.</translation>
    </message>
    <message id="vorn_sync_monitor_overview">
        <source>&amp;Overview</source>
        <translation>&amp;Overview</translation>
    </message>
    <message id="vorn_sync_monitor_errors_tab">
        <source>&amp;Files in error</source>
        <translation>&amp;Files in error</translation>
    </message>
    <message id="vorn_sync_monitor_errors_tab_count">
        <source>&amp;Files in error (%1)</source>
        <translation>&amp;Files in error (%1)</translation>
    </message>
    <message id="vorn_sync_monitor_log_tab">
        <source>&amp;Log</source>
        <translation>&amp;Log</translation>
    </message>
    <message id="vorn_sync_monitor_sync">
        <source>&amp;Synchronise now</source>
        <translation>&amp;Synchronise now</translation>
    </message>
    <message id="vorn_sync_monitor_sync_hint">
        <source>Looks at all pairs now (F5)</source>
        <translation>Looks at all pairs now (F5)</translation>
    </message>
    <message id="vorn_sync_monitor_pause">
        <source>&amp;Pause</source>
        <translation>&amp;Pause</translation>
    </message>
    <message id="vorn_sync_monitor_resume">
        <source>&amp;Resume</source>
        <translation>&amp;Resume</translation>
    </message>
    <message id="vorn_sync_monitor_pause_hint">
        <source>Starts nothing new until it is resumed (Ctrl+P)</source>
        <translation>Starts nothing new until it is resumed (Ctrl+P)</translation>
    </message>
    <message id="vorn_sync_monitor_resume_hint">
        <source>Goes on mirroring (Ctrl+P)</source>
        <translation>Goes on mirroring (Ctrl+P)</translation>
    </message>
    <message id="vorn_sync_monitor_show">
        <source>Show or &amp;hide the window</source>
        <translation>Show or &amp;hide the window</translation>
    </message>
    <message id="vorn_sync_monitor_quit">
        <source>&amp;Quit</source>
        <translation>&amp;Quit</translation>
    </message>
    <message id="vorn_sync_monitor_cancel">
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
    <message id="vorn_sync_monitor_state_up_to_date">
        <source>Everything is up to date</source>
        <translation>Everything is up to date</translation>
    </message>
    <message id="vorn_sync_monitor_state_working" numerus="yes">
        <source>%n operations to go</source>
        <translation>
            <numerusform>%n operation to go</numerusform>
            <numerusform>%n operations to go</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_monitor_state_paused">
        <source>Paused</source>
        <translation>Paused</translation>
    </message>
    <message id="vorn_sync_monitor_state_away">
        <source>A directory is not there</source>
        <translation>A directory is not there</translation>
    </message>
    <message id="vorn_sync_monitor_state_attention" numerus="yes">
        <source>%n files in error</source>
        <translation>
            <numerusform>%n file in error</numerusform>
            <numerusform>%n files in error</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_monitor_count_done">
        <source>Up to date</source>
        <translation>Up to date</translation>
    </message>
    <message id="vorn_sync_monitor_count_pending">
        <source>Pending</source>
        <translation>Pending</translation>
    </message>
    <message id="vorn_sync_monitor_count_in_progress">
        <source>In progress</source>
        <translation>In progress</translation>
    </message>
    <message id="vorn_sync_monitor_count_errors">
        <source>In error</source>
        <translation>In error</translation>
    </message>
    <message id="vorn_sync_monitor_counter">
        <source>%1: %2</source>
        <translation>%1: %2</translation>
    </message>
    <message id="vorn_sync_monitor_progress">
        <source>Progress of the operations</source>
        <translation>Progress of the operations</translation>
    </message>
    <message id="vorn_sync_monitor_state_label">
        <source>State: %1</source>
        <translation>State: %1</translation>
    </message>
    <message id="vorn_sync_monitor_pairs">
        <source>Pairs</source>
        <translation>Pairs</translation>
    </message>
    <message id="vorn_sync_monitor_no_pairs">
        <source>No pair is mirrored.</source>
        <translation>No pair is mirrored.</translation>
    </message>
    <message id="vorn_sync_monitor_pair_mirrored">
        <source>Mirrored</source>
        <translation>Mirrored</translation>
    </message>
    <message id="vorn_sync_monitor_pair_local_missing">
        <source>The local directory is missing</source>
        <translation>The local directory is missing</translation>
    </message>
    <message id="vorn_sync_monitor_pair_distant_missing">
        <source>The distant directory is missing</source>
        <translation>The distant directory is missing</translation>
    </message>
    <message id="vorn_sync_monitor_pair_paused">
        <source>Paused</source>
        <translation>Paused</translation>
    </message>
    <message id="vorn_sync_monitor_pair_label">
        <source>Pair %1: %2, from %3 to %4</source>
        <translation>Pair %1: %2, from %3 to %4</translation>
    </message>
    <message id="vorn_sync_monitor_pause_pair">
        <source>Pause</source>
        <translation>Pause</translation>
    </message>
    <message id="vorn_sync_monitor_resume_pair">
        <source>Resume</source>
        <translation>Resume</translation>
    </message>
    <message id="vorn_sync_monitor_pause_pair_name">
        <source>Pause the pair %1</source>
        <translation>Pause the pair %1</translation>
    </message>
    <message id="vorn_sync_monitor_resume_pair_name">
        <source>Resume the pair %1</source>
        <translation>Resume the pair %1</translation>
    </message>
    <message id="vorn_sync_monitor_recent">
        <source>Recent operations</source>
        <translation>Recent operations</translation>
    </message>
    <message id="vorn_sync_monitor_no_recent">
        <source>Nothing has been sent since the start.</source>
        <translation>Nothing has been sent since the start.</translation>
    </message>
    <message id="vorn_sync_monitor_event_done">
        <source>Done</source>
        <translation>Done</translation>
    </message>
    <message id="vorn_sync_monitor_event_failed">
        <source>Failed</source>
        <translation>Failed</translation>
    </message>
    <message id="vorn_sync_monitor_event_label">
        <source>%1: %2, %3</source>
        <translation>%1: %2, %3</translation>
    </message>
    <message id="vorn_sync_monitor_no_errors">
        <source>No file is in error.</source>
        <translation>No file is in error.</translation>
    </message>
    <message id="vorn_sync_monitor_group_empty">
        <source>None is left here; look at the other tabs.</source>
        <translation>None is left here; look at the other tabs.</translation>
    </message>
    <message id="vorn_sync_monitor_groups">
        <source>What you may do</source>
        <translation>What you may do</translation>
    </message>
    <message id="vorn_sync_monitor_group_tab">
        <source>%1 (%2)</source>
        <translation>%1 (%2)</translation>
    </message>
    <message id="vorn_sync_monitor_group_restore">
        <source>Restore or delete</source>
        <translation>Restore or delete</translation>
    </message>
    <message id="vorn_sync_monitor_group_compare">
        <source>Compare and send over</source>
        <translation>Compare and send over</translation>
    </message>
    <message id="vorn_sync_monitor_group_acknowledge">
        <source>Acknowledge</source>
        <translation>Acknowledge</translation>
    </message>
    <message id="vorn_sync_monitor_group_retry">
        <source>Retry</source>
        <translation>Retry</translation>
    </message>
    <message id="vorn_sync_monitor_explain_restore">
        <source>The distant copy is gone. Restoring sends the local file again; deleting moves the local file to the trash.</source>
        <translation>The distant copy is gone. Restoring sends the local file again; deleting moves the local file to the trash.</translation>
    </message>
    <message id="vorn_sync_monitor_explain_compare">
        <source>The distant copy has become smaller: somebody may have written a newer version. Compare both files first; sending over replaces the distant one.</source>
        <translation>The distant copy has become smaller: somebody may have written a newer version. Compare both files first; sending over replaces the distant one.</translation>
    </message>
    <message id="vorn_sync_monitor_explain_acknowledge">
        <source>The local file is gone. Acknowledging takes note of that; the distant copy stays. To keep the file, put it back first.</source>
        <translation>The local file is gone. Acknowledging takes note of that; the distant copy stays. To keep the file, put it back first.</translation>
    </message>
    <message id="vorn_sync_monitor_explain_retry">
        <source>The operation has failed. Correct the cause; the next cycle tries again by itself, retrying does so now.</source>
        <translation>The operation has failed. Correct the cause; the next cycle tries again by itself, retrying does so now.</translation>
    </message>
    <message id="vorn_sync_monitor_acknowledge">
        <source>Acknowledge</source>
        <translation>Acknowledge</translation>
    </message>
    <message id="vorn_sync_monitor_acknowledge_all">
        <source>Acknowledge all…</source>
        <translation>Acknowledge all…</translation>
    </message>
    <message id="vorn_sync_monitor_restore">
        <source>Restore</source>
        <translation>Restore</translation>
    </message>
    <message id="vorn_sync_monitor_restore_all">
        <source>Restore all…</source>
        <translation>Restore all…</translation>
    </message>
    <message id="vorn_sync_monitor_trash">
        <source>Delete to trash</source>
        <translation>Delete to trash</translation>
    </message>
    <message id="vorn_sync_monitor_trash_all">
        <source>Delete all to trash…</source>
        <translation>Delete all to trash…</translation>
    </message>
    <message id="vorn_sync_monitor_retry">
        <source>Retry</source>
        <translation>Retry</translation>
    </message>
    <message id="vorn_sync_monitor_retry_all">
        <source>Retry all…</source>
        <translation>Retry all…</translation>
    </message>
    <message id="vorn_sync_monitor_send_over">
        <source>Send over</source>
        <translation>Send over</translation>
    </message>
    <message id="vorn_sync_monitor_send_over_all">
        <source>Send all over…</source>
        <translation>Send all over…</translation>
    </message>
    <message id="vorn_sync_monitor_answer_label">
        <source>%1: %2</source>
        <translation>%1: %2</translation>
    </message>
    <message id="vorn_sync_monitor_ask_acknowledge" numerus="yes">
        <source>Take note that %n files are gone? Their distant copies stay.</source>
        <translation>
            <numerusform>Take note that %n file is gone? Its distant copy stays.</numerusform>
            <numerusform>Take note that %n files are gone? Their distant copies stay.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_monitor_ask_restore" numerus="yes">
        <source>Send %n local files again, to where their distant copies were?</source>
        <translation>
            <numerusform>Send %n local file again, to where its distant copy was?</numerusform>
            <numerusform>Send %n local files again, to where their distant copies were?</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_monitor_ask_trash" numerus="yes">
        <source>Move %n local files to the trash?</source>
        <translation>
            <numerusform>Move %n local file to the trash?</numerusform>
            <numerusform>Move %n local files to the trash?</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_monitor_ask_retry" numerus="yes">
        <source>Try %n failed operations again?</source>
        <translation>
            <numerusform>Try %n failed operation again?</numerusform>
            <numerusform>Try %n failed operations again?</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_monitor_ask_send_over" numerus="yes">
        <source>Send %n local files over their distant copies, which may be newer?</source>
        <translation>
            <numerusform>Send %n local file over its distant copy, which may be newer?</numerusform>
            <numerusform>Send %n local files over their distant copies, which may be newer?</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_monitor_error_label">
        <source>%1, pair %2. %3</source>
        <translation>%1, pair %2. %3</translation>
    </message>
    <message id="vorn_sync_monitor_log">
        <source>What has happened</source>
        <translation>What has happened</translation>
    </message>
    <message id="vorn_sync_monitor_log_empty">
        <source>Nothing has happened yet.</source>
        <translation>Nothing has happened yet.</translation>
    </message>
    <message id="vorn_sync_monitor_problem">
        <source>Problem: %1</source>
        <translation>Problem: %1</translation>
    </message>
    <message id="vorn_sync_monitor_add_pair">
        <source>&amp;Add a pair…</source>
        <translation>&amp;Add a pair…</translation>
    </message>
    <message id="vorn_sync_monitor_add_pair_hint">
        <source>Mirrors another directory (Ctrl+N)</source>
        <translation>Mirrors another directory (Ctrl+N)</translation>
    </message>
    <message id="vorn_sync_monitor_new_pair">
        <source>Add a pair</source>
        <translation>Add a pair</translation>
    </message>
    <message id="vorn_sync_monitor_local_directory">
        <source>Local directory, whose files are sent</source>
        <translation>Local directory, whose files are sent</translation>
    </message>
    <message id="vorn_sync_monitor_distant_directory">
        <source>Distant directory; files of the same name there are replaced</source>
        <translation>Distant directory; files of the same name there are replaced</translation>
    </message>
    <message id="vorn_sync_monitor_pair_name">
        <source>Name of the pair</source>
        <translation>Name of the pair</translation>
    </message>
    <message id="vorn_sync_monitor_choose_directory">
        <source>Choose…</source>
        <translation>Choose…</translation>
    </message>
    <message id="vorn_sync_monitor_choose_name">
        <source>Choose: %1</source>
        <translation>Choose: %1</translation>
    </message>
    <message id="vorn_sync_monitor_choose">
        <source>Choose</source>
        <translation>Choose</translation>
    </message>
    <message id="vorn_sync_monitor_directory">
        <source>Directory:</source>
        <translation>Directory:</translation>
    </message>
    <message id="vorn_sync_monitor_add">
        <source>Add</source>
        <translation>Add</translation>
    </message>
    <message id="vorn_sync_monitor_close">
        <source>Close</source>
        <translation>Close</translation>
    </message>
    <message id="vorn_sync_monitor_remove_pair">
        <source>Remove…</source>
        <translation>Remove…</translation>
    </message>
    <message id="vorn_sync_monitor_remove_pair_name">
        <source>Remove the pair %1</source>
        <translation>Remove the pair %1</translation>
    </message>
    <message id="vorn_sync_monitor_stop_mirroring">
        <source>Stop mirroring</source>
        <translation>Stop mirroring</translation>
    </message>
    <message id="vorn_sync_monitor_ask_remove_pair">
        <source>Stop mirroring the pair “%1”?

No file is touched, here or there. What is known of its files is forgotten: what is in error, what was deleted on purpose, what lies in the trash. Files in %2 stay there until you delete them.

If you add the pair again, every local file is sent, over whatever the distant side has then.</source>
        <translation>Stop mirroring the pair “%1”?

No file is touched, here or there. What is known of its files is forgotten: what is in error, what was deleted on purpose, what lies in the trash. Files in %2 stay there until you delete them.

If you add the pair again, every local file is sent, over whatever the distant side has then.</translation>
    </message>
    <message id="vorn_sync_monitor_pair_refused">
        <source>The pair was refused.</source>
        <translation>The pair was refused.</translation>
    </message>
    <message id="vorn_sync_monitor_resetting">
        <source>The state is just being reset; try again in a moment.</source>
        <translation>The state is just being reset; try again in a moment.</translation>
    </message>
    <message id="vorn_sync_monitor_directory_empty">
        <source>Give a local and a distant directory.</source>
        <translation>Give a local and a distant directory.</translation>
    </message>
    <message id="vorn_sync_monitor_directory_relative">
        <source>Give the whole path of the directory, from “/” on: %1</source>
        <translation>Give the whole path of the directory, from “/” on: %1</translation>
    </message>
    <message id="vorn_sync_monitor_directory_is_state">
        <source>The directory with VornSync's own state can't be part of a pair: %1</source>
        <translation>The directory with VornSync's own state can't be part of a pair: %1</translation>
    </message>
    <message id="vorn_sync_monitor_directories_same">
        <source>The local and the distant directory must be different.</source>
        <translation>The local and the distant directory must be different.</translation>
    </message>
    <message id="vorn_sync_monitor_local_missing">
        <source>There is no such local directory: %1</source>
        <translation>There is no such local directory: %1</translation>
    </message>
    <message id="vorn_sync_monitor_local_taken">
        <source>%1 is mirrored already, as the pair “%2”.</source>
        <translation>%1 is mirrored already, as the pair “%2”.</translation>
    </message>
    <message id="vorn_sync_monitor_local_known">
        <source>%1 was mirrored before, as the pair “%2”: give it that name again.</source>
        <translation>%1 was mirrored before, as the pair “%2”: give it that name again.</translation>
    </message>
    <message id="vorn_sync_monitor_name_empty">
        <source>Give the pair a name.</source>
        <translation>Give the pair a name.</translation>
    </message>
    <message id="vorn_sync_monitor_name_reserved">
        <source>The name “%1” is reserved.</source>
        <translation>The name “%1” is reserved.</translation>
    </message>
    <message id="vorn_sync_monitor_name_taken">
        <source>The name “%1” belongs to another pair.</source>
        <translation>The name “%1” belongs to another pair.</translation>
    </message>
</context>
</TS>
