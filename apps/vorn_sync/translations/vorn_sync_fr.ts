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
</context>
</TS>
