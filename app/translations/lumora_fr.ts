<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name>Autostart</name>
    <message>
        <source>Lumora could not be set to start at login. %1</source>
        <translation>Impossible de configurer le lancement de Lumora à l’ouverture de session. %1</translation>
    </message>
    <message>
        <source>Lumora could not be kept from starting at login. Could not remove “%1”: %2</source>
        <translation>Impossible d’empêcher le lancement de Lumora à l’ouverture de session. Impossible de supprimer «&#xa0;%1&#xa0;»&#xa0;: %2</translation>
    </message>
</context>
<context>
    <name>CommandLine</name>
    <message>
        <source>unknown option for status: %1</source>
        <translation>option inconnue pour status&#xa0;: %1</translation>
    </message>
    <message>
        <source>--json and --waybar do not go together</source>
        <translation>--json et --waybar ne vont pas ensemble</translation>
    </message>
    <message>
        <source>Codex is connected.</source>
        <translation>Codex est connecté.</translation>
    </message>
    <message>
        <source>Run `codex login` in a terminal, then try again.</source>
        <translation>Exécutez `codex login` dans un terminal, puis réessayez.</translation>
    </message>
    <message>
        <source>%1 needs one provider: claude or codex</source>
        <translation>%1 attend un fournisseur&#xa0;: claude ou codex</translation>
    </message>
    <message>
        <source>unknown provider for %1: %2</source>
        <translation>fournisseur inconnu pour %1&#xa0;: %2</translation>
    </message>
    <message>
        <source>unknown option for check-updates: %1</source>
        <translation>option inconnue pour check-updates&#xa0;: %1</translation>
    </message>
    <message>
        <source>%1 needs a value</source>
        <translation>%1 attend une valeur</translation>
    </message>
    <message>
        <source>--feed needs an address or a file</source>
        <translation>--feed attend une adresse ou un fichier</translation>
    </message>
    <message>
        <source>Usage: lumora [COMMAND] [OPTIONS]

Shows how much of your Claude Code and Codex usage allowance is left.

Commands:
  status [--all] [--json | --waybar]
                           Print the panel line for the connected tools, the
                           snapshots as JSON, or one JSON line for waybar&apos;s custom
                           module; --all shows both tools. The JSON and the
                           tooltip carry each tool&apos;s pace from the kept history.
  history [--provider ID] [--since 7d] [--json | --csv]
                           Print the figures the tray has kept (claude-code, codex;
                           since 7d, 12h or 30m ago), as a table, JSON or CSV.
  connect claude           Install Lumora&apos;s Claude Code status line, show Claude Code.
  connect codex            Show Codex once it is installed and signed in.
  disconnect claude        Remove the status line, restore the one you had before,
                           and stop showing Claude Code.
  disconnect codex         Stop showing Codex.
  check-updates [--feed URL-OR-PATH] [--current-version V]
                           Ask the update feed whether a newer Lumora is published.
  popover                  Open the running tray&apos;s usage popover.
  break                    Start a break in the running tray (bind it to a key).
  settings                 Open the running tray&apos;s settings.
  quit                     Quit the running tray.

Options:
  -h, --help               Show this help.
  -V, --version            Show the version.

Without a command, lumora starts the tray, or opens the popover of the one that runs.
</source>
        <translation>Utilisation&#xa0;: lumora [COMMANDE] [OPTIONS]

Indique ce qu’il reste de votre quota d’utilisation de Claude Code et de Codex.

Commandes&#xa0;:
  status [--all] [--json | --waybar]
                           Affiche la ligne du panneau pour les outils connectés,
                           les relevés en JSON ou une ligne JSON pour un module
                           personnalisé de waybar&#xa0;; --all affiche les deux outils.
                           Le JSON et l’infobulle indiquent le rythme de chaque
                           outil d’après l’historique conservé.
  history [--provider ID] [--since 7d] [--json | --csv]
                           Affiche les valeurs conservées (claude-code, codex&#xa0;;
                           depuis 7d, 12h ou 30m) en tableau, en JSON ou en CSV.
  connect claude           Installe la ligne d’état de Lumora pour Claude Code et
                           affiche Claude Code.
  connect codex            Affiche Codex dès qu’il est installé et connecté.
  disconnect claude        Retire la ligne d’état, rétablit la vôtre et n’affiche
                           plus Claude Code.
  disconnect codex         N’affiche plus Codex.
  check-updates [--feed URL-OU-CHEMIN] [--current-version V]
                           Demande au flux de mises à jour si une version plus
                           récente de Lumora est publiée.
  popover                  Ouvre la fenêtre d’utilisation de Lumora en cours.
  break                    Lance une pause dans Lumora en cours (à associer à une touche).
  settings                 Ouvre les paramètres de Lumora en cours.
  quit                     Quitte Lumora en cours.

Options&#xa0;:
  -h, --help               Affiche cette aide.
  -V, --version            Affiche la version.

Sans commande, lumora se lance dans la zone de notification ou ouvre la fenêtre de celui qui tourne déjà.
</translation>
    </message>
    <message>
        <source>%1 takes no options</source>
        <translation>%1 n’accepte aucune option</translation>
    </message>
    <message>
        <source>unknown option: %1</source>
        <translation>option inconnue&#xa0;: %1</translation>
    </message>
    <message>
        <source>unknown command: %1</source>
        <translation>commande inconnue&#xa0;: %1</translation>
    </message>
    <message>
        <source>--json and --csv do not go together</source>
        <translation>--json et --csv ne vont pas ensemble</translation>
    </message>
    <message>
        <source>--since takes a count of days, hours or minutes, such as 7d, 12h or 30m: %1</source>
        <translation>--since attend un nombre de jours, d’heures ou de minutes, par exemple 7d, 12h ou 30m&#xa0;: %1</translation>
    </message>
    <message>
        <source>unknown provider: %1 (claude-code or codex)</source>
        <translation>fournisseur inconnu&#xa0;: %1 (claude-code ou codex)</translation>
    </message>
    <message>
        <source>unknown option for history: %1</source>
        <translation>option inconnue pour history&#xa0;: %1</translation>
    </message>
    <message>
        <source>the usage history could not be read: %1</source>
        <translation>impossible de lire l’historique d’utilisation&#xa0;: %1</translation>
    </message>
    <message>
        <source>No figures in that time.</source>
        <translation>Aucune valeur sur cette période.</translation>
    </message>
    <message>
        <source>No usage history yet: the tray keeps one while it runs.</source>
        <translation>Pas encore d’historique d’utilisation&#xa0;: Lumora en tient un tant qu’il tourne dans la zone de notification.</translation>
    </message>
    <message>
        <source>captured (UTC)</source>
        <translation>relevé (UTC)</translation>
    </message>
    <message>
        <source>provider</source>
        <translation>fournisseur</translation>
    </message>
    <message>
        <source>window</source>
        <translation>fenêtre</translation>
    </message>
    <message>
        <source>left</source>
        <translation>reste</translation>
    </message>
    <message>
        <source>resets (UTC)</source>
        <translation>réinitialisation (UTC)</translation>
    </message>
    <message>
        <source>Lumora did not quit.</source>
        <translation>Lumora ne s’est pas arrêté.</translation>
    </message>
    <message>
        <source>Lumora did not answer: %1</source>
        <translation>Lumora n’a pas répondu&#xa0;: %1</translation>
    </message>
</context>
<context>
    <name>DBusMenu</name>
    <message>
        <source>Show Usage</source>
        <translation>Afficher l’utilisation</translation>
    </message>
    <message>
        <source>Take a Break</source>
        <translation>Faire une pause</translation>
    </message>
    <message>
        <source>Refresh</source>
        <translation>Actualiser</translation>
    </message>
    <message>
        <source>Settings…</source>
        <translation>Paramètres…</translation>
    </message>
    <message>
        <source>Quit Lumora</source>
        <translation>Quitter Lumora</translation>
    </message>
</context>
<context>
    <name>DesktopServices</name>
    <message>
        <source>Images (%1)</source>
        <translation>Images (%1)</translation>
    </message>
</context>
<context>
    <name>Messages</name>
    <message>
        <source>Could not read “%1”: %2</source>
        <translation>Impossible de lire «&#xa0;%1&#xa0;»&#xa0;: %2</translation>
    </message>
    <message>
        <source>The update feed must use HTTPS.</source>
        <translation>Le flux de mises à jour doit utiliser HTTPS.</translation>
    </message>
    <message>
        <source>The update server did not return a valid response.</source>
        <translation>Le serveur de mises à jour n’a pas renvoyé de réponse valide.</translation>
    </message>
    <message>
        <source>The update information is unexpectedly large.</source>
        <translation>Les informations de mise à jour sont anormalement volumineuses.</translation>
    </message>
    <message>
        <source>The update information is invalid.</source>
        <translation>Les informations de mise à jour ne sont pas valides.</translation>
    </message>
    <message>
        <source>The update version is invalid.</source>
        <translation>La version de la mise à jour n’est pas valide.</translation>
    </message>
    <message>
        <source>The update download must use HTTPS.</source>
        <translation>Le téléchargement de la mise à jour doit utiliser HTTPS.</translation>
    </message>
    <message>
        <source>The release notes must use HTTPS.</source>
        <translation>Les notes de version doivent utiliser HTTPS.</translation>
    </message>
    <message>
        <source>The request timed out.</source>
        <translation>La requête a expiré.</translation>
    </message>
    <message>
        <source>Could not create a file next to “%1”: %2</source>
        <translation>Impossible de créer un fichier à côté de «&#xa0;%1&#xa0;»&#xa0;: %2</translation>
    </message>
    <message>
        <source>Could not write “%1”: %2</source>
        <translation>Impossible d’écrire «&#xa0;%1&#xa0;»&#xa0;: %2</translation>
    </message>
    <message>
        <source>Could not set the permissions of “%1”: %2</source>
        <translation>Impossible de définir les autorisations de «&#xa0;%1&#xa0;»&#xa0;: %2</translation>
    </message>
    <message>
        <source>Could not replace “%1”: %2</source>
        <translation>Impossible de remplacer «&#xa0;%1&#xa0;»&#xa0;: %2</translation>
    </message>
    <message>
        <source>Could not create the folder “%1”: %2</source>
        <translation>Impossible de créer le dossier «&#xa0;%1&#xa0;»&#xa0;: %2</translation>
    </message>
    <message>
        <source>No usage data was found in the Claude status line cache.</source>
        <translation>Aucune donnée d’utilisation n’a été trouvée dans le cache de la ligne d’état de Claude.</translation>
    </message>
    <message>
        <source>%1 (%2) could not be read.</source>
        <translation>Impossible de lire %1 (%2).</translation>
    </message>
    <message>
        <source>%1 (%2) is not valid JSON: %3 at byte %4.</source>
        <translation>JSON non valide dans %1 (%2)&#xa0;: %3 à l’octet %4.</translation>
    </message>
    <message>
        <source>Claude Code settings</source>
        <translation>les réglages de Claude Code</translation>
    </message>
    <message>
        <source>Lumora&apos;s backup of your status line</source>
        <translation>la sauvegarde de votre ligne d’état par Lumora</translation>
    </message>
    <message>
        <source>Could not remove “%1”: %2</source>
        <translation>Impossible de supprimer «&#xa0;%1&#xa0;»&#xa0;: %2</translation>
    </message>
    <message>
        <source>Claude Code settings could not be updated safely.</source>
        <translation>Les réglages de Claude Code n’ont pas pu être mis à jour en toute sécurité.</translation>
    </message>
    <message>
        <source>Lumora&apos;s status-line helper is missing (%1). Reinstall Lumora.</source>
        <translation>L’assistant de ligne d’état de Lumora est introuvable (%1). Réinstallez Lumora.</translation>
    </message>
    <message>
        <source>Claude Code is not installed.</source>
        <translation>Claude Code n’est pas installé.</translation>
    </message>
    <message>
        <source>Enable official Claude Code status sync.</source>
        <translation>Activez la synchronisation officielle de l’état de Claude Code.</translation>
    </message>
    <message>
        <source>Open Claude Code and send a message once to sync usage.</source>
        <translation>Ouvrez Claude Code et envoyez un message une fois pour synchroniser l’utilisation.</translation>
    </message>
    <message>
        <source>Codex app-server exited with code %1.</source>
        <translation>Codex app-server s’est arrêté avec le code %1.</translation>
    </message>
    <message>
        <source>Codex usage check timed out.</source>
        <translation>La vérification de l’utilisation de Codex a expiré.</translation>
    </message>
    <message>
        <source>The Codex app-server did not return usage data.</source>
        <translation>Codex app-server n’a renvoyé aucune donnée d’utilisation.</translation>
    </message>
    <message>
        <source>The Codex response did not include a usage window.</source>
        <translation>La réponse de Codex ne contenait aucune fenêtre d’utilisation.</translation>
    </message>
    <message>
        <source>Codex is not installed.</source>
        <translation>Codex n’est pas installé.</translation>
    </message>
    <message>
        <source>Sign in to Codex to continue.</source>
        <translation>Connectez-vous à Codex pour continuer.</translation>
    </message>
    <message>
        <source>Codex setup is incomplete.</source>
        <translation>La configuration de Codex est incomplète.</translation>
    </message>
    <message>
        <source>The data could not be read because it is not in the correct format.</source>
        <translation>Les données n’ont pas pu être lues, car leur format est incorrect.</translation>
    </message>
    <message>
        <source>The local status check timed out.</source>
        <translation>La vérification de l’état local a expiré.</translation>
    </message>
    <message>
        <source>Could not create the folder “%1”.</source>
        <translation>Impossible de créer le dossier «&#xa0;%1&#xa0;».</translation>
    </message>
    <message>
        <source>Preview data</source>
        <translation>Données d’aperçu</translation>
    </message>
    <message>
        <source>Codex is disconnected.</source>
        <translation>Codex est déconnecté.</translation>
    </message>
    <message>
        <source>Claude Code is disconnected.</source>
        <translation>Claude Code est déconnecté.</translation>
    </message>
    <message>
        <source>Lumora is checked with Claude Code %1.</source>
        <translation>Lumora est vérifié avec Claude Code %1.</translation>
    </message>
    <message>
        <source>The update channel is not configured in this build.</source>
        <translation>Aucun canal de mise à jour n’est configuré dans cette version.</translation>
    </message>
    <message>
        <source>Lumora is up to date.</source>
        <translation>Lumora est à jour.</translation>
    </message>
    <message>
        <source>Lumora %1 is available.</source>
        <translation>Lumora %1 est disponible.</translation>
    </message>
    <message>
        <source>Lumora is not running.</source>
        <translation>Lumora n’est pas lancé.</translation>
    </message>
    <message>
        <source>Claude Code status is unavailable.</source>
        <translation>L’état de Claude Code est indisponible.</translation>
    </message>
    <message>
        <source>Codex status is unavailable.</source>
        <translation>L’état de Codex est indisponible.</translation>
    </message>
    <message>
        <source>Last known local status</source>
        <translation>Dernier état local connu</translation>
    </message>
    <message>
        <source>That photo could not be used. Please choose another image.</source>
        <translation>Cette photo ne peut pas être utilisée. Veuillez choisir une autre image.</translation>
    </message>
    <message>
        <source>Choose a Break Background</source>
        <translation>Choisir un fond pour les pauses</translation>
    </message>
    <message>
        <source>Choose Photo</source>
        <translation>Choisir la photo</translation>
    </message>
    <message>
        <source>Take a Break</source>
        <translation>Faire une pause</translation>
    </message>
    <message>
        <source>Lumora has no tray to sit in</source>
        <translation>Lumora ne trouve pas de zone de notification</translation>
    </message>
    <message>
        <source>This desktop shows no tray icons, so Lumora cannot show its usage in the panel. On GNOME, install and turn on the AppIndicator extension (gnome-shell-extension-appindicator); Lumora appears there as soon as it is on. Until then, `lumora popover` shows the usage.</source>
        <translation>Ce bureau n’affiche aucune icône de zone de notification&#xa0;: Lumora ne peut donc pas afficher l’utilisation dans le panneau. Sous GNOME, installez et activez l’extension AppIndicator (gnome-shell-extension-appindicator)&#xa0;; Lumora y apparaît dès qu’elle est active. En attendant, `lumora popover` affiche l’utilisation.</translation>
    </message>
    <message>
        <source>Lumora needs a desktop session to show its tray. `lumora status` works without one.</source>
        <translation>Lumora a besoin d’une session de bureau pour s’afficher dans la zone de notification. `lumora status` fonctionne sans.</translation>
    </message>
    <message>
        <source>Lumora Settings</source>
        <translation>Paramètres de Lumora</translation>
    </message>
</context>
<context>
    <name>RelativeTime</name>
    <message>
        <source>in 1 day %1 hr</source>
        <translation>dans 1 jour %1 h</translation>
    </message>
    <message>
        <source>in 1 day</source>
        <translation>dans 1 jour</translation>
    </message>
    <message numerus="yes">
        <source>in %n days %1 hr</source>
        <translation>
            <numerusform>dans %n jour %1 h</numerusform>
            <numerusform>dans %n jours %1 h</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>in %n days</source>
        <translation>
            <numerusform>dans %n jour</numerusform>
            <numerusform>dans %n jours</numerusform>
        </translation>
    </message>
    <message>
        <source>in %1 hr %2 min</source>
        <translation>dans %1 h %2 min</translation>
    </message>
    <message numerus="yes">
        <source>in %n hr</source>
        <translation>
            <numerusform>dans %n h</numerusform>
            <numerusform>dans %n h</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>in %n min</source>
        <translation>
            <numerusform>dans %n min</numerusform>
            <numerusform>dans %n min</numerusform>
        </translation>
    </message>
    <message>
        <source>1 day %1 hr ago</source>
        <translation>il y a 1 jour %1 h</translation>
    </message>
    <message>
        <source>1 day ago</source>
        <translation>il y a 1 jour</translation>
    </message>
    <message numerus="yes">
        <source>%n days %1 hr ago</source>
        <translation>
            <numerusform>il y a %n jour %1 h</numerusform>
            <numerusform>il y a %n jours %1 h</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n days ago</source>
        <translation>
            <numerusform>il y a %n jour</numerusform>
            <numerusform>il y a %n jours</numerusform>
        </translation>
    </message>
    <message>
        <source>%1 hr %2 min ago</source>
        <translation>il y a %1 h %2 min</translation>
    </message>
    <message numerus="yes">
        <source>%n hr ago</source>
        <translation>
            <numerusform>il y a %n h</numerusform>
            <numerusform>il y a %n h</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n min ago</source>
        <translation>
            <numerusform>il y a %n min</numerusform>
            <numerusform>il y a %n min</numerusform>
        </translation>
    </message>
    <message>
        <source>in under a minute</source>
        <translation>dans moins d’une minute</translation>
    </message>
    <message>
        <source>just now</source>
        <translation>à l’instant</translation>
    </message>
</context>
<context>
    <name>SettingsColorWell</name>
    <message>
        <source>Text Color</source>
        <translation>Couleur du texte</translation>
    </message>
</context>
<context>
    <name>SettingsView</name>
    <message>
        <source>Connections</source>
        <translation>Connexions</translation>
    </message>
    <message>
        <source>Codex</source>
        <translation>Codex</translation>
    </message>
    <message>
        <source>Disconnect Codex</source>
        <translation>Déconnecter Codex</translation>
    </message>
    <message>
        <source>Claude Code</source>
        <translation>Claude Code</translation>
    </message>
    <message>
        <source>Disconnect Claude Code</source>
        <translation>Déconnecter Claude Code</translation>
    </message>
    <message>
        <source>Last checked</source>
        <translation>Dernière vérification</translation>
    </message>
    <message>
        <source>Refresh Now</source>
        <translation>Actualiser</translation>
    </message>
    <message>
        <source>Break Screen</source>
        <translation>Écran de pause</translation>
    </message>
    <message>
        <source>Text Color</source>
        <translation>Couleur du texte</translation>
    </message>
    <message>
        <source>Reset to White</source>
        <translation>Rétablir le blanc</translation>
    </message>
    <message>
        <source>Delete Photo</source>
        <translation>Supprimer la photo</translation>
    </message>
    <message>
        <source>Notifications</source>
        <translation>Notifications</translation>
    </message>
    <message>
        <source>Usage and reset notifications</source>
        <translation>Notifications d’utilisation et de réinitialisation</translation>
    </message>
    <message>
        <source>Only notifies at 80%, at the limit, and after a reset.</source>
        <translation>Uniquement à 80&#xa0;%, à la limite et après une réinitialisation.</translation>
    </message>
    <message>
        <source>Pace warnings</source>
        <translation>Alertes de rythme</translation>
    </message>
    <message>
        <source>Once per window, when the pace reaches the limit within 30 minutes and before the reset.</source>
        <translation>Une fois par fenêtre, quand le rythme atteint la limite dans les 30 minutes et avant la réinitialisation.</translation>
    </message>
    <message>
        <source>Updates</source>
        <translation>Mises à jour</translation>
    </message>
    <message>
        <source>Version</source>
        <translation>Version</translation>
    </message>
    <message>
        <source>Startup</source>
        <translation>Démarrage</translation>
    </message>
    <message>
        <source>Start Lumora at login</source>
        <translation>Lancer Lumora à l’ouverture de session</translation>
    </message>
    <message>
        <source>Privacy</source>
        <translation>Confidentialité</translation>
    </message>
    <message>
        <source>Keep usage history</source>
        <translation>Conserver l’historique d’utilisation</translation>
    </message>
    <message>
        <source>The history holds only percentages and times, for 90 days.</source>
        <translation>L’historique ne contient que des pourcentages et des heures, pendant 90 jours.</translation>
    </message>
    <message>
        <source>Clear History</source>
        <translation>Effacer l’historique</translation>
    </message>
</context>
<context>
    <name>UsageNotifications</name>
    <message>
        <source>%1 is resting</source>
        <translation>%1 est en pause</translation>
    </message>
    <message>
        <source>%1 is ready</source>
        <translation>%1 est de nouveau prêt</translation>
    </message>
    <message>
        <source>You can use %1 again.</source>
        <translation>Vous pouvez de nouveau utiliser %1.</translation>
    </message>
    <message>
        <source>%1 usage reached 80%</source>
        <translation>%1&#xa0;: 80&#xa0;% du quota utilisés</translation>
    </message>
    <message>
        <source>At this pace %1 reaches its limit %2</source>
        <translation>À ce rythme, %1 atteindra sa limite %2</translation>
    </message>
    <message>
        <source>Reset time is unavailable.</source>
        <translation>L’heure de réinitialisation est inconnue.</translation>
    </message>
    <message>
        <source>Expected reset: %1</source>
        <translation>Réinitialisation prévue&#xa0;: %1</translation>
    </message>
</context>
<context>
    <name>UsagePace</name>
    <message>
        <source>Not enough data for a pace yet</source>
        <translation>Pas encore assez de données pour un rythme</translation>
    </message>
    <message>
        <source>At this pace: limit %1</source>
        <translation>À ce rythme&#xa0;: limite %1</translation>
    </message>
    <message>
        <source>At this pace: %1% left at reset</source>
        <translation>À ce rythme&#xa0;: %1&#xa0;% restant à la réinitialisation</translation>
    </message>
</context>
<context>
    <name>UsageSnapshot</name>
    <message>
        <source>%1hr %2min</source>
        <comment>time to the reset</comment>
        <translation>%1 h %2 min</translation>
    </message>
</context>
<context>
    <name>UsageWindowLabel</name>
    <message>
        <source>Session limit</source>
        <translation>Limite de session</translation>
    </message>
    <message>
        <source>Daily limit</source>
        <translation>Limite quotidienne</translation>
    </message>
    <message>
        <source>Weekly limit</source>
        <translation>Limite hebdomadaire</translation>
    </message>
    <message>
        <source>Monthly limit</source>
        <translation>Limite mensuelle</translation>
    </message>
    <message>
        <source>Credits</source>
        <translation>Crédits</translation>
    </message>
</context>
<context>
    <name>WaybarStatus</name>
    <message>
        <source>%1: usage needs sync (last update %2)</source>
        <translation>%1&#xa0;: synchronisation nécessaire (dernière mise à jour %2)</translation>
    </message>
    <message>
        <source>%1: %2</source>
        <comment>Codex: Codex is not installed.</comment>
        <translation>%1&#xa0;: %2</translation>
    </message>
    <message>
        <source>Status is unavailable.</source>
        <translation>L’état est indisponible.</translation>
    </message>
    <message>
        <source>%1 · %2: %3% left, resets %4</source>
        <translation>%1 · %2&#xa0;: %3&#xa0;% restant, réinitialisation à %4</translation>
    </message>
    <message>
        <source>%1 · %2: %3% left</source>
        <translation>%1 · %2&#xa0;: %3&#xa0;% restant</translation>
    </message>
    <message>
        <source>No tool is shown. Connect one with `lumora connect claude` or `lumora connect codex`.</source>
        <translation>Aucun outil n’est affiché. Connectez-en un avec `lumora connect claude` ou `lumora connect codex`.</translation>
    </message>
</context>
<context>
    <name>lumora::AppModel</name>
    <message>
        <source>%1 usage needs sync</source>
        <translation>%1&#xa0;: synchronisation nécessaire</translation>
    </message>
    <message>
        <source>%1 is available</source>
        <translation>%1 est disponible</translation>
    </message>
    <message>
        <source>Approaching the limit</source>
        <translation>Limite bientôt atteinte</translation>
    </message>
    <message>
        <source>%1 is resting</source>
        <translation>%1 est en pause</translation>
    </message>
    <message>
        <source>Status unavailable</source>
        <translation>État indisponible</translation>
    </message>
</context>
<context>
    <name>lumora::BreakViewModel</name>
    <message>
        <source>1 minute</source>
        <translation>1 minute</translation>
    </message>
    <message numerus="yes">
        <source>%n minutes</source>
        <translation>
            <numerusform>%n minute</numerusform>
            <numerusform>%n minutes</numerusform>
        </translation>
    </message>
    <message>
        <source>1 hour</source>
        <translation>1 heure</translation>
    </message>
    <message numerus="yes">
        <source>%n hours</source>
        <translation>
            <numerusform>%n heure</numerusform>
            <numerusform>%n heures</numerusform>
        </translation>
    </message>
    <message>
        <source>%1 %2</source>
        <comment>1 hour 5 minutes</comment>
        <translation>%1 %2</translation>
    </message>
    <message>
        <source>%1 LEFT</source>
        <comment>42% LEFT</comment>
        <translation>%1 RESTANT</translation>
    </message>
    <message>
        <source>Reset time unavailable</source>
        <translation>Réinitialisation inconnue</translation>
    </message>
    <message>
        <source>RESETS IN</source>
        <translation>RÉINITIALISATION DANS</translation>
    </message>
    <message>
        <source>Break</source>
        <translation>Pause</translation>
    </message>
    <message>
        <source>Press Escape or click to end the break</source>
        <translation>Appuyez sur Échap ou cliquez pour terminer la pause</translation>
    </message>
</context>
<context>
    <name>lumora::PopoverViewModel</name>
    <message>
        <source>Download Lumora %1</source>
        <translation>Télécharger Lumora %1</translation>
    </message>
    <message>
        <source>AI usage at a glance</source>
        <translation>Usage de l’IA en un coup d’œil</translation>
    </message>
    <message>
        <source>Update</source>
        <translation>Mise à jour</translation>
    </message>
    <message>
        <source>Refresh</source>
        <translation>Actualiser</translation>
    </message>
    <message>
        <source>Break</source>
        <translation>Pause</translation>
    </message>
    <message>
        <source>Settings</source>
        <translation>Paramètres</translation>
    </message>
    <message>
        <source>Quit Lumora</source>
        <translation>Quitter Lumora</translation>
    </message>
    <message>
        <source>Refreshing</source>
        <translation>Actualisation en cours</translation>
    </message>
</context>
<context>
    <name>lumora::ProviderCardModel</name>
    <message>
        <source>Open Claude Code and send a message to refresh the official usage status. The last percentage is hidden when it is no longer current.</source>
        <translation>Ouvrez Claude Code et envoyez un message pour actualiser l’état d’utilisation officiel. Le dernier pourcentage est masqué dès qu’il n’est plus à jour.</translation>
    </message>
    <message>
        <source>Usage and reset time only. No chats, code, files, or credentials.</source>
        <translation>Uniquement l’utilisation et l’heure de réinitialisation. Ni conversations, ni code, ni fichiers, ni identifiants.</translation>
    </message>
    <message>
        <source>Connect your existing local %1 session.</source>
        <translation>Connectez votre session locale %1 existante.</translation>
    </message>
    <message>
        <source>Checking local setup…</source>
        <translation>Vérification de la configuration locale…</translation>
    </message>
    <message>
        <source>%1 is not installed.</source>
        <translation>%1 n’est pas installé.</translation>
    </message>
    <message>
        <source>Sign in through the official %1 app first.</source>
        <translation>Connectez-vous d’abord dans l’application officielle %1.</translation>
    </message>
    <message>
        <source>Enable official Claude Code status sync. Lumora stores only usage and reset time.</source>
        <translation>Activez la synchronisation officielle de l’état de Claude Code. Lumora n’enregistre que l’utilisation et l’heure de réinitialisation.</translation>
    </message>
    <message>
        <source>Waiting for Claude Code usage…</source>
        <translation>En attente de l’utilisation de Claude Code…</translation>
    </message>
    <message>
        <source>Connect</source>
        <translation>Connecter</translation>
    </message>
    <message>
        <source>Checking</source>
        <translation>Vérification</translation>
    </message>
    <message>
        <source>Install</source>
        <translation>Installer</translation>
    </message>
    <message>
        <source>Get Codex</source>
        <translation>Obtenir Codex</translation>
    </message>
    <message>
        <source>Open Sign In</source>
        <translation>Se connecter</translation>
    </message>
    <message>
        <source>Enable Sync</source>
        <translation>Activer la synchro</translation>
    </message>
    <message>
        <source>Check Now</source>
        <translation>Vérifier</translation>
    </message>
    <message>
        <source>Try Again</source>
        <translation>Réessayer</translation>
    </message>
    <message>
        <source>Show %1 in the menu bar</source>
        <translation>Afficher %1 dans la barre</translation>
    </message>
    <message>
        <source>Last update: %1</source>
        <translation>Dernière mise à jour&#xa0;: %1</translation>
    </message>
    <message>
        <source>Status is unavailable.</source>
        <translation>L’état est indisponible.</translation>
    </message>
    <message>
        <source>Resets %1</source>
        <comment>in 2 hr 15 min</comment>
        <translation>Réinitialisation %1</translation>
    </message>
    <message>
        <source>Weekly %1% left</source>
        <translation>Semaine&#xa0;: %1&#xa0;% restant</translation>
    </message>
    <message>
        <source>Weekly %1% left · resets %2</source>
        <comment>resets Mon 09:00</comment>
        <translation>Semaine&#xa0;: %1&#xa0;% restant · réinit. %2</translation>
    </message>
    <message>
        <source>% left</source>
        <translation>% restant</translation>
    </message>
    <message>
        <source>Usage needs sync</source>
        <translation>Synchronisation nécessaire</translation>
    </message>
    <message>
        <source>Drag to reorder</source>
        <translation>Faire glisser pour réorganiser</translation>
    </message>
    <message numerus="yes">
        <source>%n day</source>
        <comment>spoken duration</comment>
        <translation>
            <numerusform>%n jour</numerusform>
            <numerusform>%n jours</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n days</source>
        <comment>spoken duration</comment>
        <translation>
            <numerusform>%n jour</numerusform>
            <numerusform>%n jours</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n hour</source>
        <comment>spoken duration</comment>
        <translation>
            <numerusform>%n heure</numerusform>
            <numerusform>%n heures</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n hours</source>
        <comment>spoken duration</comment>
        <translation>
            <numerusform>%n heure</numerusform>
            <numerusform>%n heures</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n minute</source>
        <comment>spoken duration</comment>
        <translation>
            <numerusform>%n minute</numerusform>
            <numerusform>%n minutes</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n minutes</source>
        <comment>spoken duration</comment>
        <translation>
            <numerusform>%n minute</numerusform>
            <numerusform>%n minutes</numerusform>
        </translation>
    </message>
    <message>
        <source>%1 %2</source>
        <comment>spoken duration: days, then hours</comment>
        <translation>%1 et %2</translation>
    </message>
    <message>
        <source>%1 %2</source>
        <comment>spoken duration: hours, then minutes</comment>
        <translation>%1 et %2</translation>
    </message>
    <message>
        <source>Alt+Up or Alt+Down moves the card</source>
        <translation>Alt+Haut ou Alt+Bas déplace la carte</translation>
    </message>
    <message>
        <source>%1, %2</source>
        <comment>a card read aloud: provider, message</comment>
        <translation>%1, %2</translation>
    </message>
    <message>
        <source>%1, %2, %3</source>
        <comment>a card read aloud: provider, notice, last update</comment>
        <translation>%1, %2, %3</translation>
    </message>
    <message numerus="yes">
        <source>%1, %n percent left, %2, resets in %3</source>
        <comment>a card read aloud</comment>
        <translation>
            <numerusform>%1, %n pour cent restant, %2, réinitialisation dans %3</numerusform>
            <numerusform>%1, %n pour cent restants, %2, réinitialisation dans %3</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%1, %n percent left, %2, resets in under a minute</source>
        <comment>a card read aloud</comment>
        <translation>
            <numerusform>%1, %n pour cent restant, %2, réinitialisation dans moins d’une minute</numerusform>
            <numerusform>%1, %n pour cent restants, %2, réinitialisation dans moins d’une minute</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%1, %n percent left, %2</source>
        <comment>a card read aloud</comment>
        <translation>
            <numerusform>%1, %n pour cent restant, %2</numerusform>
            <numerusform>%1, %n pour cent restants, %2</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>lumora::SettingsViewModel</name>
    <message>
        <source>Never</source>
        <translation>Jamais</translation>
    </message>
    <message>
        <source>Photo</source>
        <translation>Photo</translation>
    </message>
    <message>
        <source>Motion</source>
        <translation>Mouvement</translation>
    </message>
    <message>
        <source>Minimal</source>
        <translation>Minimal</translation>
    </message>
    <message>
        <source>Selected</source>
        <translation>Sélectionné</translation>
    </message>
    <message>
        <source>Not selected</source>
        <translation>Non sélectionné</translation>
    </message>
    <message>
        <source>Your photo is copied into Lumora and stays only on this computer.</source>
        <translation>Votre photo est copiée dans Lumora et reste uniquement sur cet ordinateur.</translation>
    </message>
    <message>
        <source>A slow, wind-driven stainless-steel surface.</source>
        <translation>Une surface d’acier inoxydable, lente, animée par le vent.</translation>
    </message>
    <message>
        <source>A black screen with white time and reset information.</source>
        <translation>Un écran noir avec l’heure et la réinitialisation en blanc.</translation>
    </message>
    <message>
        <source>Change Photo…</source>
        <translation>Changer de photo…</translation>
    </message>
    <message>
        <source>Choose Photo…</source>
        <translation>Choisir une photo…</translation>
    </message>
    <message>
        <source>Download Lumora %1</source>
        <translation>Télécharger Lumora %1</translation>
    </message>
    <message>
        <source>Checking…</source>
        <translation>Vérification…</translation>
    </message>
    <message>
        <source>Check for Updates</source>
        <translation>Rechercher des mises à jour</translation>
    </message>
    <message>
        <source>Never reads or sends chats, code, file names, or credentials.</source>
        <translation>Ne lit ni n’envoie jamais de conversations, de code, de noms de fichiers ou d’identifiants.</translation>
    </message>
    <message>
        <source>Usage data stays on this computer and is never shared with advertisers.</source>
        <translation>Les données d’utilisation restent sur cet ordinateur et ne sont jamais partagées avec des annonceurs.</translation>
    </message>
</context>
</TS>
