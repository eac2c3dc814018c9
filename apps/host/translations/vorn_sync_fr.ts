<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name></name>
    <message id="VornSyncDatabase_error_none">
        <source>No error.</source>
        <translation>Aucune erreur.</translation>
    </message>
    <message id="VornSyncDatabase_error_unknown">
        <source>The file failed for a reason that was not recorded. Retry it.</source>
        <translation>Le fichier a échoué pour une raison qui n'a pas été enregistrée. Réessayez.</translation>
    </message>
    <message id="VornSyncDatabase_error_local_file_missing">
        <source>The local file is gone. If that was intended, acknowledge it; otherwise put the file back from its distant copy.</source>
        <translation>Le fichier local a disparu. Si c'était voulu, prenez-en acte ; sinon, remettez-le en place à partir de sa copie distante.</translation>
    </message>
    <message id="VornSyncDatabase_error_local_file_not_readable">
        <source>The local file can't be read. Check its permissions, and whether another program has locked it.</source>
        <translation>Le fichier local ne peut pas être lu. Vérifiez ses droits d'accès, et qu'aucun autre programme ne l'a verrouillé.</translation>
    </message>
    <message id="VornSyncDatabase_error_distant_dir_missing">
        <source>The distant directory is missing. Check that the share is mounted and reachable.</source>
        <translation>Le répertoire distant est absent. Vérifiez que le partage est monté et joignable.</translation>
    </message>
    <message id="VornSyncDatabase_error_distant_dir_not_writable">
        <source>The distant directory can't be written to. Check its permissions and whether the share is mounted read-only.</source>
        <translation>Le répertoire distant n'est pas accessible en écriture. Vérifiez ses droits d'accès et que le partage n'est pas monté en lecture seule.</translation>
    </message>
    <message id="VornSyncDatabase_error_copy_failed">
        <source>The file could not be copied. Check the free space and the connection to the distant side.</source>
        <translation>Le fichier n'a pas pu être copié. Vérifiez l'espace libre et la connexion au côté distant.</translation>
    </message>
    <message id="VornSyncDatabase_error_copy_size_mismatch">
        <source>The distant copy has another size than the local file. Retry to send the local file again.</source>
        <translation>La copie distante n'a pas la même taille que le fichier local. Réessayez pour envoyer de nouveau le fichier local.</translation>
    </message>
    <message id="VornSyncDatabase_error_rename_failed">
        <source>The finished copy could not take the place of the old distant file. Check whether another program has that file open.</source>
        <translation>La copie terminée n'a pas pu prendre la place de l'ancien fichier distant. Vérifiez qu'aucun autre programme n'a ce fichier ouvert.</translation>
    </message>
    <message id="VornSyncDatabase_error_assoc_dir_copy_failed">
        <source>The directory that belongs to the file could not be copied completely. Check the free space and the permissions on both sides.</source>
        <translation>Le répertoire associé au fichier n'a pas pu être copié entièrement. Vérifiez l'espace libre et les droits d'accès des deux côtés.</translation>
    </message>
    <message id="VornSyncDatabase_error_local_dir_remove_failed">
        <source>The local directory that belongs to the file could not be removed after the move. Check its permissions.</source>
        <translation>Le répertoire local associé au fichier n'a pas pu être supprimé après le déplacement. Vérifiez ses droits d'accès.</translation>
    </message>
    <message id="VornSyncDatabase_error_trash_delete_failed">
        <source>The file could not be deleted from the trash. Check the permissions of the trash directory.</source>
        <translation>Le fichier n'a pas pu être supprimé de la corbeille. Vérifiez les droits d'accès du répertoire de la corbeille.</translation>
    </message>
    <message id="VornSyncDatabase_error_task_creation_failed">
        <source>The operation on the file could not be prepared. Check that both directories of the pair are still registered, then retry.</source>
        <translation>L'opération sur le fichier n'a pas pu être préparée. Vérifiez que les deux répertoires de la paire sont toujours enregistrés, puis réessayez.</translation>
    </message>
    <message id="VornSyncDatabase_error_max_retries_exceeded">
        <source>The operation on the file failed several times and was given up. Check that nothing else, such as a directory of the same name, is in the way on the distant side, then retry.</source>
        <translation>L'opération sur le fichier a échoué plusieurs fois et a été abandonnée. Vérifiez que rien d'autre, comme un répertoire du même nom, ne fait obstacle du côté distant, puis réessayez.</translation>
    </message>
    <message id="VornSyncDatabase_error_distant_rename_failed">
        <source>The distant file could not be renamed. Check whether another program has it open.</source>
        <translation>Le fichier distant n'a pas pu être renommé. Vérifiez qu'aucun autre programme ne l'a ouvert.</translation>
    </message>
    <message id="VornSyncDatabase_error_distant_file_missing">
        <source>The distant copy is gone. Restore it from the local file, or delete the local file too.</source>
        <translation>La copie distante a disparu. Restaurez-la à partir du fichier local, ou supprimez aussi le fichier local.</translation>
    </message>
    <message id="vorn_sync_state">
        <source>State: %1</source>
        <translation>État : %1</translation>
    </message>
    <message id="vorn_sync_state_not_created">
        <source>The state directory can't be created: %1</source>
        <translation>Le répertoire d'état ne peut pas être créé : %1</translation>
    </message>
    <message id="vorn_sync_state_not_locked">
        <source>The state directory can't be locked; is it writable? %1</source>
        <translation>Le répertoire d'état ne peut pas être verrouillé ; est-il accessible en écriture ? %1</translation>
    </message>
    <message id="vorn_sync_state_in_use">
        <source>The state directory %1 is in use by process %2 (%3 on %4). Stop it first, or choose another directory with --state.</source>
        <translation>Le répertoire d'état %1 est utilisé par le processus %2 (%3 sur %4). Arrêtez-le d'abord, ou choisissez un autre répertoire avec --state.</translation>
    </message>
    <message id="vorn_sync_pairs_unreadable">
        <source>The remembered pairs can't be read: %1</source>
        <translation>Les paires mémorisées ne peuvent pas être lues : %1</translation>
    </message>
    <message id="vorn_sync_pairs_damaged">
        <source>The remembered pairs are damaged or of a newer version: %1</source>
        <translation>Les paires mémorisées sont endommagées ou d'une version plus récente : %1</translation>
    </message>
    <message id="vorn_sync_pairs_not_remembered">
        <source>The pairs can't be remembered in %1: %2</source>
        <translation>Les paires ne peuvent pas être mémorisées dans %1 : %2</translation>
    </message>
    <message id="vorn_sync_no_pair">
        <source>No pair is given, and none is remembered in '%1'.</source>
        <translation>Aucune paire n'est donnée, et aucune n'est mémorisée dans « %1 ».</translation>
    </message>
    <message id="vorn_sync_local_known">
        <source>'%1' is known under the alias '%2', not '%3'.</source>
        <translation>« %1 » est connu sous l'alias « %2 », pas « %3 ».</translation>
    </message>
    <message id="vorn_sync_alias_taken">
        <source>The alias '%1' belongs to another local directory.</source>
        <translation>L'alias « %1 » appartient à un autre répertoire local.</translation>
    </message>
    <message id="vorn_sync_pair">
        <source>Pair %1: %2 -&gt; %3</source>
        <translation>Paire %1 : %2 -&gt; %3</translation>
    </message>
    <message id="vorn_sync_pair_available">
        <source>Pair %1: both directories are there; mirroring goes on.</source>
        <translation>Paire %1 : les deux répertoires sont là ; la copie continue.</translation>
    </message>
    <message id="vorn_sync_local_missing">
        <source>Pair %1: the local directory is missing, the pair waits for it: %2</source>
        <translation>Paire %1 : le répertoire local est absent, la paire l'attend : %2</translation>
    </message>
    <message id="vorn_sync_distant_missing">
        <source>Pair %1: the distant directory is missing, the pair waits for it: %2</source>
        <translation>Paire %1 : le répertoire distant est absent, la paire l'attend : %2</translation>
    </message>
    <message id="vorn_sync_distant_replaced">
        <source>Pair %1: the distant directory is now %2; it was %3</source>
        <translation>Paire %1 : le répertoire distant est maintenant %2 ; c'était %3</translation>
    </message>
    <message id="vorn_sync_watch_refused">
        <source>Pair %1: the system refuses to watch %2; changes are found by the cycle only.</source>
        <translation>Paire %1 : le système refuse de surveiller %2 ; les changements ne seront trouvés que par le cycle.</translation>
    </message>
    <message id="vorn_sync_restarting">
        <source>Starting again, to take up files that an earlier failure has left waiting.</source>
        <translation>Nouveau démarrage, pour reprendre les fichiers qu'un échec antérieur a laissés en attente.</translation>
    </message>
    <message id="vorn_sync_state_failed">
        <source>The state directory can't be worked in: %1</source>
        <translation>Impossible de travailler dans le répertoire d'état : %1</translation>
    </message>
    <message id="vorn_sync_copied">
        <source>copied %1/%2</source>
        <translation>copié %1/%2</translation>
    </message>
    <message id="vorn_sync_failed">
        <source>failed %1/%2</source>
        <translation>échoué %1/%2</translation>
    </message>
    <message id="vorn_sync_progress">
        <source>done %1 | pending %2 | in error %3</source>
        <translation>faits %1 | en attente %2 | en erreur %3</translation>
    </message>
    <message id="vorn_sync_file_busy">
        <source>%1/%2: held back, an excluded companion file lies beside it</source>
        <translation>%1/%2 : retenu, un fichier d'accompagnement exclu se trouve à côté</translation>
    </message>
    <message id="vorn_sync_file_unreadable">
        <source>%1/%2: the system does not say what this is</source>
        <translation>%1/%2 : le système ne dit pas de quoi il s'agit</translation>
    </message>
    <message id="vorn_sync_listing_failed">
        <source>Pair %1: one of the directories can't be read: %2, %3</source>
        <translation>Paire %1 : l'un des répertoires ne peut pas être lu : %2, %3</translation>
    </message>
    <message id="vorn_sync_names_skipped" numerus="yes">
        <source>Pair %1: %n names that this character encoding can't represent were left out.</source>
        <translation>
            <numerusform>Paire %1 : %n nom que cet encodage ne peut pas représenter a été ignoré.</numerusform>
            <numerusform>Paire %1 : %n noms que cet encodage ne peut pas représenter ont été ignorés.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_unconfirmed" numerus="yes">
        <source>%n files could not be confirmed as mirrored.</source>
        <translation>
            <numerusform>%n fichier n'a pas pu être confirmé comme copié.</numerusform>
            <numerusform>%n fichiers n'ont pas pu être confirmés comme copiés.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_up_to_date" numerus="yes">
        <source>Everything is up to date: %n files.</source>
        <translation>
            <numerusform>Tout est à jour : %n fichier.</numerusform>
            <numerusform>Tout est à jour : %n fichiers.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_not_up_to_date" numerus="yes">
        <source>Not everything is up to date: %n files are.</source>
        <translation>
            <numerusform>Tout n'est pas à jour : %n fichier l'est.</numerusform>
            <numerusform>Tout n'est pas à jour : %n fichiers le sont.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_stopped" numerus="yes">
        <source>Stopped: %n files are up to date.</source>
        <translation>
            <numerusform>Arrêté : %n fichier est à jour.</numerusform>
            <numerusform>Arrêté : %n fichiers sont à jour.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_interrupted" numerus="yes">
        <source>Interrupted before everything was settled: %n files are up to date.</source>
        <translation>
            <numerusform>Interrompu avant que tout soit réglé : %n fichier est à jour.</numerusform>
            <numerusform>Interrompu avant que tout soit réglé : %n fichiers sont à jour.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_files_in_error" numerus="yes">
        <source>%n files are in error:</source>
        <translation>
            <numerusform>%n fichier est en erreur :</numerusform>
            <numerusform>%n fichiers sont en erreur :</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_error_line">
        <source>  %1/%2: error %3: %4</source>
        <translation>  %1/%2 : erreur %3 : %4</translation>
    </message>
    <message id="vorn_sync_moved_to_trash">
        <source>moved to the trash %1/%2</source>
        <translation>mis à la corbeille %1/%2</translation>
    </message>
    <message id="vorn_sync_renamed_distant">
        <source>renamed on the distant side %1/%2</source>
        <translation>renommé du côté distant %1/%2</translation>
    </message>
    <message id="vorn_sync_pair_suspended">
        <source>Pair %1: suspended by a command.</source>
        <translation>Paire %1 : suspendue par une commande.</translation>
    </message>
    <message id="vorn_sync_pair_resumed">
        <source>Pair %1: no longer suspended.</source>
        <translation>Paire %1 : n'est plus suspendue.</translation>
    </message>
    <message id="vorn_sync_pair_forgotten">
        <source>Pair %1: forgotten by a command.</source>
        <translation>Paire %1 : oubliée par une commande.</translation>
    </message>
    <message id="vorn_sync_resetting">
        <source>The state is being emptied; all pairs are then mirrored anew.</source>
        <translation>L'état est en cours de vidage ; toutes les paires seront ensuite copiées de nouveau.</translation>
    </message>
    <message id="vorn_sync_commands_refused">
        <source>No commands can be taken in the state directory: %1</source>
        <translation>Aucune commande ne peut être reçue dans le répertoire d'état : %1</translation>
    </message>
    <message id="vorn_sync_no_errors">
        <source>No file is in error.</source>
        <translation>Aucun fichier n'est en erreur.</translation>
    </message>
    <message id="vorn_sync_more_errors" numerus="yes">
        <source>... and %n more.</source>
        <translation>
            <numerusform>... et %n autre.</numerusform>
            <numerusform>... et %n autres.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_status_host">
        <source>The host is process %1, version %2.</source>
        <translation>L'hôte est le processus %1, version %2.</translation>
    </message>
    <message id="vorn_sync_status_counters">
        <source>Up to date %1 | pending %2 | in progress %3 | in error %4</source>
        <translation>À jour %1 | en attente %2 | en cours %3 | en erreur %4</translation>
    </message>
    <message id="vorn_sync_status_suspended">
        <source>(suspended)</source>
        <translation>(suspendue)</translation>
    </message>
    <message id="vorn_sync_status_local_missing">
        <source>(the local directory is missing)</source>
        <translation>(le répertoire local est absent)</translation>
    </message>
    <message id="vorn_sync_status_distant_missing">
        <source>(the distant directory is missing)</source>
        <translation>(le répertoire distant est absent)</translation>
    </message>
    <message id="vorn_sync_status_recent">
        <source>%1 done: %2</source>
        <translation>%1 fait : %2</translation>
    </message>
    <message id="vorn_sync_status_recent_failed">
        <source>%1 failed: %2</source>
        <translation>%1 échoué : %2</translation>
    </message>
    <message id="vorn_sync_progress_ago">
        <source>%1 ago</source>
        <translation>il y a %1</translation>
    </message>
    <message id="vorn_sync_progress_never">
        <source>never</source>
        <translation>jamais</translation>
    </message>
    <message id="vorn_sync_progress_listed">
        <source>Listed to the end: local %1, distant %2 | all verified: %3</source>
        <translation>Énumérés jusqu'au bout : local %1, distant %2 | tout vérifié : %3</translation>
    </message>
    <message id="vorn_sync_progress_error">
        <source>%1: in error %2 for %3, tries: %4</source>
        <translation>%1 : en erreur %2 depuis %3, essais : %4</translation>
    </message>
    <message id="vorn_sync_progress_waiting">
        <source>%1: waits for %2, tries: %3</source>
        <translation>%1 : attend depuis %2, essais : %3</translation>
    </message>
    <message id="vorn_sync_progress_failed">
        <source>%1: waits for %2, tries: %3, last error %4</source>
        <translation>%1 : attend depuis %2, essais : %3, dernière erreur %4</translation>
    </message>
    <message id="vorn_sync_progress_deferred">
        <source>%1: put off for %2, cycles: %3; a side file says that it is being written</source>
        <translation>%1 : remis depuis %2, cycles : %3 ; un fichier annexe indique qu'il est en cours d'écriture</translation>
    </message>
    <message id="vorn_sync_progress_unexamined" numerus="yes">
        <source>%n local files can't be examined for %2, such as %1</source>
        <translation>
            <numerusform>%n fichier local ne peut pas être examiné depuis %2 : %1</numerusform>
            <numerusform>%n fichiers locaux ne peuvent pas être examinés depuis %2, dont %1</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_progress_unanswered" numerus="yes">
        <source>%n files could not be compared by the last verification, such as %1</source>
        <translation>
            <numerusform>%n fichier n'a pas pu être comparé à la dernière vérification : %1</numerusform>
            <numerusform>%n fichiers n'ont pas pu être comparés à la dernière vérification, dont %1</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_progress_more" numerus="yes">
        <source>and %n more</source>
        <translation>
            <numerusform>et %n autre</numerusform>
            <numerusform>et %n autres</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_stuck">
        <source>STUCK: %1</source>
        <translation>BLOQUÉ : %1</translation>
    </message>
    <message id="vorn_sync_stuck_waiting">
        <source>%1 waits for %2; expected: %3 at most.</source>
        <translation>%1 attend depuis %2 ; attendu : %3 au plus.</translation>
    </message>
    <message id="vorn_sync_stuck_deferred">
        <source>%1 is put off for %2, since it is being written; expected: %3 at most.</source>
        <translation>%1 est remis depuis %2, étant en cours d'écriture ; attendu : %3 au plus.</translation>
    </message>
    <message id="vorn_sync_stuck_unexamined">
        <source>%1 can't be examined for %2; expected: %3 at most.</source>
        <translation>%1 ne peut pas être examiné depuis %2 ; attendu : %3 au plus.</translation>
    </message>
    <message id="vorn_sync_stuck_never_listed">
        <source>Pair %1 was never listed.</source>
        <translation>La paire %1 n'a jamais été énumérée.</translation>
    </message>
    <message id="vorn_sync_stuck_local_unlisted">
        <source>Pair %1: the local side was not listed to its end for %2; expected: %3 at most.</source>
        <translation>Paire %1 : le côté local n'a pas été énuméré jusqu'au bout depuis %2 ; attendu : %3 au plus.</translation>
    </message>
    <message id="vorn_sync_stuck_distant_unlisted">
        <source>Pair %1: the distant side was not listed to its end for %2; expected: %3 at most.</source>
        <translation>Paire %1 : le côté distant n'a pas été énuméré jusqu'au bout depuis %2 ; attendu : %3 au plus.</translation>
    </message>
    <message id="vorn_sync_stuck_unverified">
        <source>Pair %1: not all files were verified for %2; expected: %3 at most.</source>
        <translation>Paire %1 : tous les fichiers n'ont pas été vérifiés depuis %2 ; attendu : %3 au plus.</translation>
    </message>
    <message id="vorn_sync_stuck_more" numerus="yes">
        <source>And %n more files.</source>
        <translation>
            <numerusform>Et %n autre fichier.</numerusform>
            <numerusform>Et %n autres fichiers.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_may_retry">
        <source>You may have it tried again:</source>
        <translation>Vous pouvez faire un nouvel essai :</translation>
    </message>
    <message id="vorn_sync_may_acknowledge">
        <source>If it was meant to go, take note of that; the distant copy stays:</source>
        <translation>Si sa disparition est voulue, prenez-en acte ; la copie distante reste :</translation>
    </message>
    <message id="vorn_sync_may_put_back">
        <source>If it was not, put the file back, for instance from its distant copy; then take note all the same, and it is sent again.</source>
        <translation>Sinon, remettez le fichier en place, par exemple à partir de sa copie distante ; prenez ensuite acte quand même, et il sera envoyé de nouveau.</translation>
    </message>
    <message id="vorn_sync_may_restore">
        <source>You may send the local file again:</source>
        <translation>Vous pouvez renvoyer le fichier local :</translation>
    </message>
    <message id="vorn_sync_may_trash">
        <source>Or you may move the local file to the trash:</source>
        <translation>Ou vous pouvez mettre le fichier local à la corbeille :</translation>
    </message>
    <message id="vorn_sync_may_make_readable">
        <source>Close the program that locks the file, or correct its permissions.</source>
        <translation>Fermez le programme qui verrouille le fichier, ou corrigez ses droits d'accès.</translation>
    </message>
    <message id="vorn_sync_may_bring_back">
        <source>Bring the directory back, for instance by mounting the share.</source>
        <translation>Rétablissez le répertoire, par exemple en montant le partage.</translation>
    </message>
    <message id="vorn_sync_may_make_writable">
        <source>Correct the permissions, or mount the share for writing.</source>
        <translation>Corrigez les droits d'accès, ou montez le partage en écriture.</translation>
    </message>
    <message id="vorn_sync_may_make_room">
        <source>Make room on the distant side, and check the file's name and the connection.</source>
        <translation>Faites de la place du côté distant, et vérifiez le nom du fichier et la connexion.</translation>
    </message>
    <message id="vorn_sync_may_compare">
        <source>Compare both files first. To keep the distant one, copy it over the local one by hand.</source>
        <translation>Comparez d'abord les deux fichiers. Pour garder celui du côté distant, copiez-le à la main par-dessus le fichier local.</translation>
    </message>
    <message id="vorn_sync_may_send_over">
        <source>To keep the local one, send it over the distant one:</source>
        <translation>Pour garder le fichier local, envoyez-le par-dessus le fichier distant :</translation>
    </message>
    <message id="vorn_sync_may_close_distant">
        <source>Close the distant file wherever it is open.</source>
        <translation>Fermez le fichier distant partout où il est ouvert.</translation>
    </message>
    <message id="vorn_sync_may_check_directory">
        <source>Check the names and permissions in the directory that belongs to the file.</source>
        <translation>Vérifiez les noms et les droits d'accès dans le répertoire associé au fichier.</translation>
    </message>
    <message id="vorn_sync_may_clear_the_way">
        <source>Move away what has the file's name on the distant side, mostly a directory.</source>
        <translation>Déplacez ce qui porte le nom du fichier du côté distant, le plus souvent un répertoire.</translation>
    </message>
    <message id="vorn_sync_confirm_reset">
        <source>Everything that the state %1 knows of its files is forgotten, and every local file is sent again. Type 'yes' to go on:</source>
        <translation>Tout ce que l'état %1 sait de ses fichiers sera oublié, et chaque fichier local sera envoyé de nouveau. Tapez « oui » pour continuer :</translation>
    </message>
    <message id="vorn_sync_confirm_word">
        <source>yes</source>
        <translation>oui</translation>
    </message>
    <message id="vorn_sync_done_acknowledged">
        <source>%1/%2: noted that the local file is gone.</source>
        <translation>%1/%2 : il est pris acte de la disparition du fichier local.</translation>
    </message>
    <message id="vorn_sync_done_restored">
        <source>%1/%2: the local file is sent again.</source>
        <translation>%1/%2 : le fichier local est renvoyé.</translation>
    </message>
    <message id="vorn_sync_done_retried">
        <source>%1/%2: taken up again.</source>
        <translation>%1/%2 : repris.</translation>
    </message>
    <message id="vorn_sync_done_retried_all" numerus="yes">
        <source>%n files were taken up again.</source>
        <translation>
            <numerusform>%n fichier a été repris.</numerusform>
            <numerusform>%n fichiers ont été repris.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_done_acknowledged_all" numerus="yes">
        <source>Noted that %n local files are gone.</source>
        <translation>
            <numerusform>Il est pris acte de la disparition de %n fichier local.</numerusform>
            <numerusform>Il est pris acte de la disparition de %n fichiers locaux.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_done_trashed_all" numerus="yes">
        <source>%n files are moved to the trash.</source>
        <translation>
            <numerusform>%n fichier est mis à la corbeille.</numerusform>
            <numerusform>%n fichiers sont mis à la corbeille.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_done_trashed">
        <source>%1/%2: moved to the trash.</source>
        <translation>%1/%2 : mis à la corbeille.</translation>
    </message>
    <message id="vorn_sync_done_deleted">
        <source>%1/%2: the distant copy is removed too.</source>
        <translation>%1/%2 : la copie distante est supprimée aussi.</translation>
    </message>
    <message id="vorn_sync_done_deleted_local">
        <source>%1/%2: noted as deleted; the distant copy stays.</source>
        <translation>%1/%2 : noté comme supprimé ; la copie distante reste.</translation>
    </message>
    <message id="vorn_sync_done_renamed">
        <source>%1/%2: is %3 now; the distant file follows.</source>
        <translation>%1/%2 : s'appelle maintenant %3 ; le fichier distant suit.</translation>
    </message>
    <message id="vorn_sync_done_cycle">
        <source>A cycle was asked for.</source>
        <translation>Un cycle a été demandé.</translation>
    </message>
    <message id="vorn_sync_done_sent">
        <source>%1/%2: is sent at once.</source>
        <translation>%1/%2 : envoyé tout de suite.</translation>
    </message>
    <message id="vorn_sync_done_sent_later">
        <source>%1/%2: an operation on it runs or waits; it is sent after that.</source>
        <translation>%1/%2 : une opération est en cours ou en attente ; il sera envoyé ensuite.</translation>
    </message>
    <message id="vorn_sync_done_paused">
        <source>Mirroring is paused.</source>
        <translation>La copie est suspendue.</translation>
    </message>
    <message id="vorn_sync_done_resumed">
        <source>Mirroring goes on.</source>
        <translation>La copie continue.</translation>
    </message>
    <message id="vorn_sync_done_suspended">
        <source>Pair %1 is suspended.</source>
        <translation>La paire %1 est suspendue.</translation>
    </message>
    <message id="vorn_sync_done_unsuspended">
        <source>Pair %1 is not suspended any more.</source>
        <translation>La paire %1 n'est plus suspendue.</translation>
    </message>
    <message id="vorn_sync_done_forgotten">
        <source>Pair %1 is forgotten; no file was touched.</source>
        <translation>La paire %1 est oubliée ; aucun fichier n'a été touché.</translation>
    </message>
    <message id="vorn_sync_done_reset" numerus="yes">
        <source>The state was emptied; %n pairs are mirrored anew.</source>
        <translation>
            <numerusform>L'état a été vidé ; %n paire est copiée de nouveau.</numerusform>
            <numerusform>L'état a été vidé ; %n paires sont copiées de nouveau.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_refused_no_host">
        <source>No host runs on the state directory %1</source>
        <translation>Aucun hôte ne fonctionne sur le répertoire d'état %1</translation>
    </message>
    <message id="vorn_sync_refused_no_access">
        <source>The state directory may not be accessed: %1</source>
        <translation>L'accès au répertoire d'état n'est pas permis : %1</translation>
    </message>
    <message id="vorn_sync_refused_no_answer">
        <source>The host has not answered within %1 s. Whether it carries the command out is not known.</source>
        <translation>L'hôte n'a pas répondu en %1 s. On ne sait pas s'il exécutera la commande.</translation>
    </message>
    <message id="vorn_sync_refused_ending">
        <source>The host has ended, or started anew, before it answered.</source>
        <translation>L'hôte s'est arrêté, ou a redémarré, avant de répondre.</translation>
    </message>
    <message id="vorn_sync_refused_bad_answer">
        <source>What runs there gave an answer that can't be understood.</source>
        <translation>Ce qui fonctionne là a donné une réponse incompréhensible.</translation>
    </message>
    <message id="vorn_sync_refused_bad_request">
        <source>The host could not understand the request.</source>
        <translation>L'hôte n'a pas compris la demande.</translation>
    </message>
    <message id="vorn_sync_refused_protocol">
        <source>The host speaks another version of the protocol: %1</source>
        <translation>L'hôte parle une autre version du protocole : %1</translation>
    </message>
    <message id="vorn_sync_refused_unknown_command">
        <source>The host does not know this command: %1</source>
        <translation>L'hôte ne connaît pas cette commande : %1</translation>
    </message>
    <message id="vorn_sync_refused_too_many">
        <source>The host has too many commands at once. Try again.</source>
        <translation>L'hôte a trop de commandes à la fois. Réessayez.</translation>
    </message>
    <message id="vorn_sync_refused_resetting">
        <source>The host is emptying its state. Try again when that is done.</source>
        <translation>L'hôte vide son état. Réessayez quand ce sera fait.</translation>
    </message>
    <message id="vorn_sync_refused_needs_yes">
        <source>Without a terminal to ask on, this needs --yes.</source>
        <translation>Sans terminal pour poser la question, --yes est nécessaire.</translation>
    </message>
    <message id="vorn_sync_refused_declined">
        <source>Nothing was done.</source>
        <translation>Rien n'a été fait.</translation>
    </message>
    <message id="vorn_sync_refused_state_unreadable">
        <source>The state database can't be read.</source>
        <translation>La base de données d'état ne peut pas être lue.</translation>
    </message>
    <message id="vorn_sync_refused_failed">
        <source>The library refused it:</source>
        <translation>La bibliothèque l'a refusé :</translation>
    </message>
    <message id="vorn_sync_refused_unknown_alias">
        <source>There is no pair with the alias '%1'.</source>
        <translation>Il n'y a pas de paire avec l'alias « %1 ».</translation>
    </message>
    <message id="vorn_sync_refused_invalid_name">
        <source>This is not the name of a file in the directory: '%1'</source>
        <translation>Ceci n'est pas le nom d'un fichier du répertoire : « %1 »</translation>
    </message>
    <message id="vorn_sync_refused_not_tracked">
        <source>%1/%2: is not known as a mirrored file.</source>
        <translation>%1/%2 : n'est pas connu comme fichier copié.</translation>
    </message>
    <message id="vorn_sync_refused_not_in_error">
        <source>%1/%2: is not in error.</source>
        <translation>%1/%2 : n'est pas en erreur.</translation>
    </message>
    <message id="vorn_sync_refused_not_acknowledgeable">
        <source>%1/%2: has error %3; only a local file that is gone (2) can be taken note of.</source>
        <translation>%1/%2 : a l'erreur %3 ; on ne peut prendre acte que de la disparition d'un fichier local (2).</translation>
    </message>
    <message id="vorn_sync_refused_not_restorable">
        <source>%1/%2: has error %3; only a file whose distant copy is gone (15) can be restored.</source>
        <translation>%1/%2 : a l'erreur %3 ; on ne peut restaurer qu'un fichier dont la copie distante a disparu (15).</translation>
    </message>
    <message id="vorn_sync_refused_busy">
        <source>%1/%2: an operation on it runs, is wanted, or has failed and waits. Try again later.</source>
        <translation>%1/%2 : une opération est en cours ou demandée, ou elle a échoué et attend. Réessayez plus tard.</translation>
    </message>
    <message id="vorn_sync_refused_local_missing">
        <source>%1/%2: there is no such file in the local directory.</source>
        <translation>%1/%2 : il n'y a pas un tel fichier dans le répertoire local.</translation>
    </message>
    <message id="vorn_sync_refused_still_there">
        <source>%1/%2: is still in the local directory. Delete it first, or move it to the trash.</source>
        <translation>%1/%2 : est encore dans le répertoire local. Supprimez-le d'abord, ou mettez-le à la corbeille.</translation>
    </message>
    <message id="vorn_sync_refused_local_exists">
        <source>%1/%2: the local directory has something with this name.</source>
        <translation>%1/%2 : le répertoire local contient quelque chose qui porte ce nom.</translation>
    </message>
    <message id="vorn_sync_refused_distant_exists">
        <source>%1/%2: the distant directory has something with this name.</source>
        <translation>%1/%2 : le répertoire distant contient quelque chose qui porte ce nom.</translation>
    </message>
    <message id="vorn_sync_refused_tracked_exists">
        <source>%1/%2: is known as a mirrored file already.</source>
        <translation>%1/%2 : est déjà connu comme fichier copié.</translation>
    </message>
    <message id="vorn_sync_refused_same_name">
        <source>Old and new name are the same: '%1'</source>
        <translation>L'ancien et le nouveau nom sont les mêmes : « %1 »</translation>
    </message>
    <message id="vorn_sync_refused_name_not_mirrored">
        <source>A file of this name is not mirrored: '%1'</source>
        <translation>Un fichier de ce nom n'est pas copié : « %1 »</translation>
    </message>
    <message id="vorn_sync_refused_pair_unavailable">
        <source>Pair %1: one of the directories is missing at the moment.</source>
        <translation>Paire %1 : l'un des répertoires est absent en ce moment.</translation>
    </message>
    <message id="vorn_sync_refused_rename_failed">
        <source>%1/%2: the local file could not be renamed: %3</source>
        <translation>%1/%2 : le fichier local n'a pas pu être renommé : %3</translation>
    </message>
    <message id="vorn_sync_refused_paused">
        <source>Mirroring is paused; resume it first.</source>
        <translation>La copie est suspendue ; reprenez-la d'abord.</translation>
    </message>
    <message id="vorn_sync_refused_not_ready">
        <source>There is no file, or it was not ready in time: %1</source>
        <translation>Il n'y a pas de fichier, ou il n'était pas prêt à temps : %1</translation>
    </message>
    <message id="vorn_sync_refused_reset_failed">
        <source>The state could not be emptied, or not all pairs could be registered again.</source>
        <translation>L'état n'a pas pu être vidé, ou toutes les paires n'ont pas pu être enregistrées de nouveau.</translation>
    </message>
</context>
</TS>
