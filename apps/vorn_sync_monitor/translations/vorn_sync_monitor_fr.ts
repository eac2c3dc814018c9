<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name></name>
    <message id="vorn_sync_monitor_title">
        <source>VornSync</source>
        <translation>VornSync</translation>
    </message>
    <message id="vorn_sync_monitor_window_refused">
        <source>The window can't be shown.</source>
        <translation>La fenêtre ne peut pas être affichée.</translation>
    </message>
    <message id="vorn_sync_monitor_overview">
        <source>&amp;Overview</source>
        <translation>&amp;Aperçu</translation>
    </message>
    <message id="vorn_sync_monitor_errors_tab">
        <source>&amp;Files in error</source>
        <translation>&amp;Fichiers en erreur</translation>
    </message>
    <message id="vorn_sync_monitor_errors_tab_count">
        <source>&amp;Files in error (%1)</source>
        <translation>&amp;Fichiers en erreur (%1)</translation>
    </message>
    <message id="vorn_sync_monitor_log_tab">
        <source>&amp;Log</source>
        <translation>&amp;Journal</translation>
    </message>
    <message id="vorn_sync_monitor_sync">
        <source>&amp;Synchronise now</source>
        <translation>&amp;Synchroniser maintenant</translation>
    </message>
    <message id="vorn_sync_monitor_sync_hint">
        <source>Looks at all pairs now (F5)</source>
        <translation>Examine toutes les paires maintenant (F5)</translation>
    </message>
    <message id="vorn_sync_monitor_pause">
        <source>&amp;Pause</source>
        <translation>Mettre en &amp;pause</translation>
    </message>
    <message id="vorn_sync_monitor_resume">
        <source>&amp;Resume</source>
        <translation>&amp;Reprendre</translation>
    </message>
    <message id="vorn_sync_monitor_pause_hint">
        <source>Starts nothing new until it is resumed (Ctrl+P)</source>
        <translation>Ne commence plus rien jusqu'à la reprise (Ctrl+P)</translation>
    </message>
    <message id="vorn_sync_monitor_resume_hint">
        <source>Goes on mirroring (Ctrl+P)</source>
        <translation>Reprend la copie (Ctrl+P)</translation>
    </message>
    <message id="vorn_sync_monitor_show">
        <source>Show or &amp;hide the window</source>
        <translation>Afficher ou &amp;masquer la fenêtre</translation>
    </message>
    <message id="vorn_sync_monitor_quit">
        <source>&amp;Quit</source>
        <translation>&amp;Quitter</translation>
    </message>
    <message id="vorn_sync_monitor_cancel">
        <source>Cancel</source>
        <translation>Annuler</translation>
    </message>
    <message id="vorn_sync_monitor_state_up_to_date">
        <source>Everything is up to date</source>
        <translation>Tout est à jour</translation>
    </message>
    <message id="vorn_sync_monitor_state_working" numerus="yes">
        <source>%n operations to go</source>
        <translation>
            <numerusform>Encore %n opération</numerusform>
            <numerusform>Encore %n opérations</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_monitor_state_paused">
        <source>Paused</source>
        <translation>En pause</translation>
    </message>
    <message id="vorn_sync_monitor_state_away">
        <source>A directory is not there</source>
        <translation>Un répertoire est absent</translation>
    </message>
    <message id="vorn_sync_monitor_state_attention" numerus="yes">
        <source>%n files in error</source>
        <translation>
            <numerusform>%n fichier en erreur</numerusform>
            <numerusform>%n fichiers en erreur</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_monitor_count_done">
        <source>Up to date</source>
        <translation>À jour</translation>
    </message>
    <message id="vorn_sync_monitor_count_pending">
        <source>Pending</source>
        <translation>En attente</translation>
    </message>
    <message id="vorn_sync_monitor_count_in_progress">
        <source>In progress</source>
        <translation>En cours</translation>
    </message>
    <message id="vorn_sync_monitor_count_errors">
        <source>In error</source>
        <translation>En erreur</translation>
    </message>
    <message id="vorn_sync_monitor_counter">
        <source>%1: %2</source>
        <translation>%1 : %2</translation>
    </message>
    <message id="vorn_sync_monitor_progress">
        <source>Progress of the operations</source>
        <translation>Avancement des opérations</translation>
    </message>
    <message id="vorn_sync_monitor_state_label">
        <source>State: %1</source>
        <translation>État : %1</translation>
    </message>
    <message id="vorn_sync_monitor_pairs">
        <source>Pairs</source>
        <translation>Paires</translation>
    </message>
    <message id="vorn_sync_monitor_no_pairs">
        <source>No pair is mirrored.</source>
        <translation>Aucune paire n'est copiée.</translation>
    </message>
    <message id="vorn_sync_monitor_pair_mirrored">
        <source>Mirrored</source>
        <translation>Copiée</translation>
    </message>
    <message id="vorn_sync_monitor_pair_local_missing">
        <source>The local directory is missing</source>
        <translation>Le répertoire local est absent</translation>
    </message>
    <message id="vorn_sync_monitor_pair_distant_missing">
        <source>The distant directory is missing</source>
        <translation>Le répertoire distant est absent</translation>
    </message>
    <message id="vorn_sync_monitor_pair_paused">
        <source>Paused</source>
        <translation>En pause</translation>
    </message>
    <message id="vorn_sync_monitor_pair_label">
        <source>Pair %1: %2, from %3 to %4</source>
        <translation>Paire %1 : %2, de %3 vers %4</translation>
    </message>
    <message id="vorn_sync_monitor_pause_pair">
        <source>Pause</source>
        <translation>Pause</translation>
    </message>
    <message id="vorn_sync_monitor_resume_pair">
        <source>Resume</source>
        <translation>Reprendre</translation>
    </message>
    <message id="vorn_sync_monitor_pause_pair_name">
        <source>Pause the pair %1</source>
        <translation>Mettre en pause la paire %1</translation>
    </message>
    <message id="vorn_sync_monitor_resume_pair_name">
        <source>Resume the pair %1</source>
        <translation>Reprendre la paire %1</translation>
    </message>
    <message id="vorn_sync_monitor_recent">
        <source>Recent operations</source>
        <translation>Opérations récentes</translation>
    </message>
    <message id="vorn_sync_monitor_no_recent">
        <source>Nothing has been sent since the start.</source>
        <translation>Rien n'a été envoyé depuis le démarrage.</translation>
    </message>
    <message id="vorn_sync_monitor_event_done">
        <source>Done</source>
        <translation>Réussie</translation>
    </message>
    <message id="vorn_sync_monitor_event_failed">
        <source>Failed</source>
        <translation>Échouée</translation>
    </message>
    <message id="vorn_sync_monitor_event_label">
        <source>%1: %2, %3</source>
        <translation>%1 : %2, %3</translation>
    </message>
    <message id="vorn_sync_monitor_no_errors">
        <source>No file is in error.</source>
        <translation>Aucun fichier n'est en erreur.</translation>
    </message>
    <message id="vorn_sync_monitor_group_empty">
        <source>None is left here; look at the other tabs.</source>
        <translation>Il n'en reste plus ici ; voyez les autres onglets.</translation>
    </message>
    <message id="vorn_sync_monitor_groups">
        <source>What you may do</source>
        <translation>Ce que vous pouvez faire</translation>
    </message>
    <message id="vorn_sync_monitor_group_tab">
        <source>%1 (%2)</source>
        <translation>%1 (%2)</translation>
    </message>
    <message id="vorn_sync_monitor_group_restore">
        <source>Restore or delete</source>
        <translation>Restaurer ou supprimer</translation>
    </message>
    <message id="vorn_sync_monitor_group_compare">
        <source>Compare and send over</source>
        <translation>Comparer et remplacer</translation>
    </message>
    <message id="vorn_sync_monitor_group_acknowledge">
        <source>Acknowledge</source>
        <translation>Prendre acte</translation>
    </message>
    <message id="vorn_sync_monitor_group_retry">
        <source>Retry</source>
        <translation>Réessayer</translation>
    </message>
    <message id="vorn_sync_monitor_explain_restore">
        <source>The distant copy is gone. Restoring sends the local file again; deleting moves the local file to the trash.</source>
        <translation>La copie distante a disparu. Restaurer envoie de nouveau le fichier local ; supprimer le déplace dans la corbeille.</translation>
    </message>
    <message id="vorn_sync_monitor_explain_compare">
        <source>The distant copy has become smaller: somebody may have written a newer version. Compare both files first; sending over replaces the distant one.</source>
        <translation>La copie distante est devenue plus petite : quelqu'un a peut-être écrit une version plus récente. Comparez d'abord les deux fichiers ; remplacer écrase le fichier distant.</translation>
    </message>
    <message id="vorn_sync_monitor_explain_acknowledge">
        <source>The local file is gone. Acknowledging takes note of that; the distant copy stays. To keep the file, put it back first.</source>
        <translation>Le fichier local a disparu. Prendre acte le confirme ; la copie distante reste. Pour garder le fichier, remettez-le d'abord en place.</translation>
    </message>
    <message id="vorn_sync_monitor_explain_retry">
        <source>The operation has failed. Correct the cause; the next cycle tries again by itself, retrying does so now.</source>
        <translation>L'opération a échoué. Corrigez la cause ; le prochain cycle réessaie de lui-même, réessayer le fait maintenant.</translation>
    </message>
    <message id="vorn_sync_monitor_acknowledge">
        <source>Acknowledge</source>
        <translation>Prendre acte</translation>
    </message>
    <message id="vorn_sync_monitor_acknowledge_all">
        <source>Acknowledge all…</source>
        <translation>Prendre acte pour tous…</translation>
    </message>
    <message id="vorn_sync_monitor_restore">
        <source>Restore</source>
        <translation>Restaurer</translation>
    </message>
    <message id="vorn_sync_monitor_restore_all">
        <source>Restore all…</source>
        <translation>Tout restaurer…</translation>
    </message>
    <message id="vorn_sync_monitor_trash">
        <source>Delete to trash</source>
        <translation>Mettre à la corbeille</translation>
    </message>
    <message id="vorn_sync_monitor_trash_all">
        <source>Delete all to trash…</source>
        <translation>Tout mettre à la corbeille…</translation>
    </message>
    <message id="vorn_sync_monitor_retry">
        <source>Retry</source>
        <translation>Réessayer</translation>
    </message>
    <message id="vorn_sync_monitor_retry_all">
        <source>Retry all…</source>
        <translation>Tout réessayer…</translation>
    </message>
    <message id="vorn_sync_monitor_send_over">
        <source>Send over</source>
        <translation>Remplacer</translation>
    </message>
    <message id="vorn_sync_monitor_send_over_all">
        <source>Send all over…</source>
        <translation>Tout remplacer…</translation>
    </message>
    <message id="vorn_sync_monitor_answer_label">
        <source>%1: %2</source>
        <translation>%1 : %2</translation>
    </message>
    <message id="vorn_sync_monitor_ask_acknowledge" numerus="yes">
        <source>Take note that %n files are gone? Their distant copies stay.</source>
        <translation>
            <numerusform>Prendre acte que %n fichier a disparu ? Sa copie distante reste.</numerusform>
            <numerusform>Prendre acte que %n fichiers ont disparu ? Leurs copies distantes restent.</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_monitor_ask_restore" numerus="yes">
        <source>Send %n local files again, to where their distant copies were?</source>
        <translation>
            <numerusform>Envoyer de nouveau %n fichier local, là où se trouvait sa copie distante ?</numerusform>
            <numerusform>Envoyer de nouveau %n fichiers locaux, là où se trouvaient leurs copies distantes ?</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_monitor_ask_trash" numerus="yes">
        <source>Move %n local files to the trash?</source>
        <translation>
            <numerusform>Déplacer %n fichier local dans la corbeille ?</numerusform>
            <numerusform>Déplacer %n fichiers locaux dans la corbeille ?</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_monitor_ask_retry" numerus="yes">
        <source>Try %n failed operations again?</source>
        <translation>
            <numerusform>Réessayer %n opération échouée ?</numerusform>
            <numerusform>Réessayer %n opérations échouées ?</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_monitor_ask_send_over" numerus="yes">
        <source>Send %n local files over their distant copies, which may be newer?</source>
        <translation>
            <numerusform>Remplacer %n copie distante, peut-être plus récente, par le fichier local ?</numerusform>
            <numerusform>Remplacer %n copies distantes, peut-être plus récentes, par les fichiers locaux ?</numerusform>
        </translation>
    </message>
    <message id="vorn_sync_monitor_error_label">
        <source>%1, pair %2. %3</source>
        <translation>%1, paire %2. %3</translation>
    </message>
    <message id="vorn_sync_monitor_log">
        <source>What has happened</source>
        <translation>Ce qui s'est passé</translation>
    </message>
    <message id="vorn_sync_monitor_log_empty">
        <source>Nothing has happened yet.</source>
        <translation>Rien ne s'est encore passé.</translation>
    </message>
    <message id="vorn_sync_monitor_problem">
        <source>Problem: %1</source>
        <translation>Problème : %1</translation>
    </message>
    <message id="vorn_sync_monitor_add_pair">
        <source>&amp;Add a pair…</source>
        <translation>Ajouter &amp;une paire…</translation>
    </message>
    <message id="vorn_sync_monitor_add_pair_hint">
        <source>Mirrors another directory (Ctrl+N)</source>
        <translation>Copie un autre répertoire (Ctrl+N)</translation>
    </message>
    <message id="vorn_sync_monitor_new_pair">
        <source>Add a pair</source>
        <translation>Ajouter une paire</translation>
    </message>
    <message id="vorn_sync_monitor_local_directory">
        <source>Local directory, whose files are sent</source>
        <translation>Répertoire local, dont les fichiers sont envoyés</translation>
    </message>
    <message id="vorn_sync_monitor_distant_directory">
        <source>Distant directory; files of the same name there are replaced</source>
        <translation>Répertoire distant ; les fichiers de même nom y sont remplacés</translation>
    </message>
    <message id="vorn_sync_monitor_pair_name">
        <source>Name of the pair</source>
        <translation>Nom de la paire</translation>
    </message>
    <message id="vorn_sync_monitor_choose_directory">
        <source>Choose…</source>
        <translation>Choisir…</translation>
    </message>
    <message id="vorn_sync_monitor_choose_name">
        <source>Choose: %1</source>
        <translation>Choisir : %1</translation>
    </message>
    <message id="vorn_sync_monitor_choose">
        <source>Choose</source>
        <translation>Choisir</translation>
    </message>
    <message id="vorn_sync_monitor_directory">
        <source>Directory:</source>
        <translation>Répertoire :</translation>
    </message>
    <message id="vorn_sync_monitor_add">
        <source>Add</source>
        <translation>Ajouter</translation>
    </message>
    <message id="vorn_sync_monitor_close">
        <source>Close</source>
        <translation>Fermer</translation>
    </message>
    <message id="vorn_sync_monitor_remove_pair">
        <source>Remove…</source>
        <translation>Retirer…</translation>
    </message>
    <message id="vorn_sync_monitor_remove_pair_name">
        <source>Remove the pair %1</source>
        <translation>Retirer la paire %1</translation>
    </message>
    <message id="vorn_sync_monitor_stop_mirroring">
        <source>Stop mirroring</source>
        <translation>Ne plus copier</translation>
    </message>
    <message id="vorn_sync_monitor_ask_remove_pair">
        <source>Stop mirroring the pair “%1”?

No file is touched, here or there. What is known of its files is forgotten: what is in error, what was deleted on purpose, what lies in the trash. Files in %2 stay there until you delete them.

If you add the pair again, every local file is sent, over whatever the distant side has then.</source>
        <translation>Ne plus copier la paire « %1 » ?

Aucun fichier n'est touché, ni ici ni là-bas. Ce qui est connu de ses fichiers est oublié : les erreurs, ce qui a été supprimé volontairement, ce qui est dans la corbeille. Les fichiers de %2 y restent jusqu'à ce que vous les supprimiez.

Si vous ajoutez la paire de nouveau, chaque fichier local est envoyé, par-dessus ce que le côté distant a alors.</translation>
    </message>
    <message id="vorn_sync_monitor_pair_refused">
        <source>The pair was refused.</source>
        <translation>La paire a été refusée.</translation>
    </message>
    <message id="vorn_sync_monitor_resetting">
        <source>The state is just being reset; try again in a moment.</source>
        <translation>L'état est en cours de réinitialisation ; réessayez dans un instant.</translation>
    </message>
    <message id="vorn_sync_monitor_directory_empty">
        <source>Give a local and a distant directory.</source>
        <translation>Indiquez un répertoire local et un répertoire distant.</translation>
    </message>
    <message id="vorn_sync_monitor_directory_relative">
        <source>Give the whole path of the directory, from “/” on: %1</source>
        <translation>Indiquez le chemin complet du répertoire, à partir de « / » : %1</translation>
    </message>
    <message id="vorn_sync_monitor_directory_is_state">
        <source>The directory with VornSync's own state can't be part of a pair: %1</source>
        <translation>Le répertoire de l'état de VornSync ne peut pas faire partie d'une paire : %1</translation>
    </message>
    <message id="vorn_sync_monitor_directories_same">
        <source>The local and the distant directory must be different.</source>
        <translation>Le répertoire local et le répertoire distant doivent être différents.</translation>
    </message>
    <message id="vorn_sync_monitor_local_missing">
        <source>There is no such local directory: %1</source>
        <translation>Ce répertoire local n'existe pas : %1</translation>
    </message>
    <message id="vorn_sync_monitor_local_taken">
        <source>%1 is mirrored already, as the pair “%2”.</source>
        <translation>%1 est déjà copié : c'est la paire « %2 ».</translation>
    </message>
    <message id="vorn_sync_monitor_local_known">
        <source>%1 was mirrored before, as the pair “%2”: give it that name again.</source>
        <translation>%1 a déjà été copié : c'était la paire « %2 ». Redonnez-lui ce nom.</translation>
    </message>
    <message id="vorn_sync_monitor_name_empty">
        <source>Give the pair a name.</source>
        <translation>Donnez un nom à la paire.</translation>
    </message>
    <message id="vorn_sync_monitor_name_reserved">
        <source>The name “%1” is reserved.</source>
        <translation>Le nom « %1 » est réservé.</translation>
    </message>
    <message id="vorn_sync_monitor_name_taken">
        <source>The name “%1” belongs to another pair.</source>
        <translation>Le nom « %1 » appartient à une autre paire.</translation>
    </message>
</context>
</TS>
