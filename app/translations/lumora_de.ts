<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>Autostart</name>
    <message>
        <source>Lumora could not be set to start at login. %1</source>
        <translation>Lumora konnte nicht für den Start bei der Anmeldung eingerichtet werden. %1</translation>
    </message>
    <message>
        <source>Lumora could not be kept from starting at login. Could not remove “%1”: %2</source>
        <translation>Der Start von Lumora bei der Anmeldung ließ sich nicht abschalten. „%1“ konnte nicht entfernt werden: %2</translation>
    </message>
</context>
<context>
    <name>CommandLine</name>
    <message>
        <source>unknown option for status: %1</source>
        <translation>unbekannte Option für status: %1</translation>
    </message>
    <message>
        <source>--json and --waybar do not go together</source>
        <translation>--json und --waybar schließen einander aus</translation>
    </message>
    <message>
        <source>Codex is connected.</source>
        <translation>Codex ist verbunden.</translation>
    </message>
    <message>
        <source>Run `codex login` in a terminal, then try again.</source>
        <translation>Führe `codex login` in einem Terminal aus und versuche es dann erneut.</translation>
    </message>
    <message>
        <source>%1 needs one provider: claude or codex</source>
        <translation>%1 braucht einen Anbieter: claude oder codex</translation>
    </message>
    <message>
        <source>unknown provider for %1: %2</source>
        <translation>unbekannter Anbieter für %1: %2</translation>
    </message>
    <message>
        <source>unknown option for check-updates: %1</source>
        <translation>unbekannte Option für check-updates: %1</translation>
    </message>
    <message>
        <source>%1 needs a value</source>
        <translation>%1 braucht einen Wert</translation>
    </message>
    <message>
        <source>--feed needs an address or a file</source>
        <translation>--feed braucht eine Adresse oder eine Datei</translation>
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
        <translation>Aufruf: lumora [BEFEHL] [OPTIONEN]

Zeigt, wie viel von deinem Nutzungskontingent für Claude Code und Codex übrig ist.

Befehle:
  status [--all] [--json | --waybar]
                           Gibt die Panel-Zeile der verbundenen Tools aus, die
                           Momentaufnahmen als JSON oder eine JSON-Zeile für ein
                           eigenes Modul von waybar; --all zeigt beide Tools. JSON
                           und Tooltip enthalten das Tempo jedes Tools aus dem
                           gespeicherten Verlauf.
  history [--provider ID] [--since 7d] [--json | --csv]
                           Gibt die gespeicherten Werte aus (claude-code, codex;
                           seit 7d, 12h oder 30m), als Tabelle, JSON oder CSV.
  connect claude           Installiert Lumoras Statuszeile für Claude Code und
                           zeigt Claude Code an.
  connect codex            Zeigt Codex an, sobald es installiert und angemeldet ist.
  disconnect claude        Entfernt die Statuszeile, stellt deine vorherige wieder
                           her und zeigt Claude Code nicht mehr an.
  disconnect codex         Zeigt Codex nicht mehr an.
  check-updates [--feed URL-ODER-PFAD] [--current-version V]
                           Fragt den Update-Feed, ob ein neueres Lumora erschienen ist.
  popover                  Öffnet das Nutzungsfenster des laufenden Lumora.
  break                    Startet eine Pause im laufenden Lumora (z. B. per Tastenkürzel).
  settings                 Öffnet die Einstellungen des laufenden Lumora.
  quit                     Beendet das laufende Lumora.

Optionen:
  -h, --help               Zeigt diese Hilfe.
  -V, --version            Zeigt die Version.

Ohne Befehl startet lumora im Infobereich oder öffnet das Nutzungsfenster des bereits laufenden.
</translation>
    </message>
    <message>
        <source>%1 takes no options</source>
        <translation>%1 nimmt keine Optionen an</translation>
    </message>
    <message>
        <source>unknown option: %1</source>
        <translation>unbekannte Option: %1</translation>
    </message>
    <message>
        <source>unknown command: %1</source>
        <translation>unbekannter Befehl: %1</translation>
    </message>
    <message>
        <source>--json and --csv do not go together</source>
        <translation>--json und --csv schließen einander aus</translation>
    </message>
    <message>
        <source>--since takes a count of days, hours or minutes, such as 7d, 12h or 30m: %1</source>
        <translation>--since erwartet eine Anzahl Tage, Stunden oder Minuten, etwa 7d, 12h oder 30m: %1</translation>
    </message>
    <message>
        <source>unknown provider: %1 (claude-code or codex)</source>
        <translation>unbekannter Anbieter: %1 (claude-code oder codex)</translation>
    </message>
    <message>
        <source>unknown option for history: %1</source>
        <translation>unbekannte Option für history: %1</translation>
    </message>
    <message>
        <source>the usage history could not be read: %1</source>
        <translation>der Nutzungsverlauf konnte nicht gelesen werden: %1</translation>
    </message>
    <message>
        <source>No figures in that time.</source>
        <translation>Keine Werte in diesem Zeitraum.</translation>
    </message>
    <message>
        <source>No usage history yet: the tray keeps one while it runs.</source>
        <translation>Noch kein Nutzungsverlauf: Lumora führt einen, solange es im Infobereich läuft.</translation>
    </message>
    <message>
        <source>captured (UTC)</source>
        <translation>erfasst (UTC)</translation>
    </message>
    <message>
        <source>provider</source>
        <translation>Anbieter</translation>
    </message>
    <message>
        <source>window</source>
        <translation>Fenster</translation>
    </message>
    <message>
        <source>left</source>
        <translation>Rest</translation>
    </message>
    <message>
        <source>resets (UTC)</source>
        <translation>Zurücksetzung (UTC)</translation>
    </message>
    <message>
        <source>Lumora did not quit.</source>
        <translation>Lumora wurde nicht beendet.</translation>
    </message>
    <message>
        <source>Lumora did not answer: %1</source>
        <translation>Lumora hat nicht geantwortet: %1</translation>
    </message>
</context>
<context>
    <name>DBusMenu</name>
    <message>
        <source>Show Usage</source>
        <translation>Nutzung anzeigen</translation>
    </message>
    <message>
        <source>Take a Break</source>
        <translation>Pause machen</translation>
    </message>
    <message>
        <source>Refresh</source>
        <translation>Aktualisieren</translation>
    </message>
    <message>
        <source>Settings…</source>
        <translation>Einstellungen …</translation>
    </message>
    <message>
        <source>Quit Lumora</source>
        <translation>Lumora beenden</translation>
    </message>
</context>
<context>
    <name>DesktopServices</name>
    <message>
        <source>Images (%1)</source>
        <translation>Bilder (%1)</translation>
    </message>
</context>
<context>
    <name>Messages</name>
    <message>
        <source>Could not read “%1”: %2</source>
        <translation>„%1“ konnte nicht gelesen werden: %2</translation>
    </message>
    <message>
        <source>The update feed must use HTTPS.</source>
        <translation>Der Update-Feed muss HTTPS verwenden.</translation>
    </message>
    <message>
        <source>The update server did not return a valid response.</source>
        <translation>Der Update-Server hat keine gültige Antwort geliefert.</translation>
    </message>
    <message>
        <source>The update information is unexpectedly large.</source>
        <translation>Die Update-Informationen sind unerwartet groß.</translation>
    </message>
    <message>
        <source>The update information is invalid.</source>
        <translation>Die Update-Informationen sind ungültig.</translation>
    </message>
    <message>
        <source>The update version is invalid.</source>
        <translation>Die Update-Version ist ungültig.</translation>
    </message>
    <message>
        <source>The update download must use HTTPS.</source>
        <translation>Der Update-Download muss HTTPS verwenden.</translation>
    </message>
    <message>
        <source>The release notes must use HTTPS.</source>
        <translation>Die Versionshinweise müssen HTTPS verwenden.</translation>
    </message>
    <message>
        <source>The request timed out.</source>
        <translation>Die Anfrage hat zu lange gedauert.</translation>
    </message>
    <message>
        <source>Could not create a file next to “%1”: %2</source>
        <translation>Neben „%1“ konnte keine Datei angelegt werden: %2</translation>
    </message>
    <message>
        <source>Could not write “%1”: %2</source>
        <translation>„%1“ konnte nicht geschrieben werden: %2</translation>
    </message>
    <message>
        <source>Could not set the permissions of “%1”: %2</source>
        <translation>Die Berechtigungen von „%1“ konnten nicht gesetzt werden: %2</translation>
    </message>
    <message>
        <source>Could not replace “%1”: %2</source>
        <translation>„%1“ konnte nicht ersetzt werden: %2</translation>
    </message>
    <message>
        <source>Could not create the folder “%1”: %2</source>
        <translation>Der Ordner „%1“ konnte nicht angelegt werden: %2</translation>
    </message>
    <message>
        <source>No usage data was found in the Claude status line cache.</source>
        <translation>Im Cache der Claude-Statuszeile wurden keine Nutzungsdaten gefunden.</translation>
    </message>
    <message>
        <source>%1 (%2) could not be read.</source>
        <translation>Nicht lesbar: %1 (%2).</translation>
    </message>
    <message>
        <source>%1 (%2) is not valid JSON: %3 at byte %4.</source>
        <translation>Kein gültiges JSON: %1 (%2): %3 bei Byte %4.</translation>
    </message>
    <message>
        <source>Claude Code settings</source>
        <translation>Einstellungen von Claude Code</translation>
    </message>
    <message>
        <source>Lumora&apos;s backup of your status line</source>
        <translation>Lumoras Sicherung deiner Statuszeile</translation>
    </message>
    <message>
        <source>Could not remove “%1”: %2</source>
        <translation>„%1“ konnte nicht entfernt werden: %2</translation>
    </message>
    <message>
        <source>Claude Code settings could not be updated safely.</source>
        <translation>Die Einstellungen von Claude Code ließen sich nicht sicher aktualisieren.</translation>
    </message>
    <message>
        <source>Lumora&apos;s status-line helper is missing (%1). Reinstall Lumora.</source>
        <translation>Lumoras Hilfsprogramm für die Statuszeile fehlt (%1). Installiere Lumora neu.</translation>
    </message>
    <message>
        <source>Claude Code is not installed.</source>
        <translation>Claude Code ist nicht installiert.</translation>
    </message>
    <message>
        <source>Enable official Claude Code status sync.</source>
        <translation>Aktiviere die offizielle Statussynchronisierung von Claude Code.</translation>
    </message>
    <message>
        <source>Open Claude Code and send a message once to sync usage.</source>
        <translation>Öffne Claude Code und sende einmal eine Nachricht, um die Nutzung zu synchronisieren.</translation>
    </message>
    <message>
        <source>Codex app-server exited with code %1.</source>
        <translation>Codex app-server wurde mit Code %1 beendet.</translation>
    </message>
    <message>
        <source>Codex usage check timed out.</source>
        <translation>Die Abfrage der Codex-Nutzung hat zu lange gedauert.</translation>
    </message>
    <message>
        <source>The Codex app-server did not return usage data.</source>
        <translation>Codex app-server hat keine Nutzungsdaten geliefert.</translation>
    </message>
    <message>
        <source>The Codex response did not include a usage window.</source>
        <translation>Die Antwort von Codex enthielt kein Nutzungsfenster.</translation>
    </message>
    <message>
        <source>Codex is not installed.</source>
        <translation>Codex ist nicht installiert.</translation>
    </message>
    <message>
        <source>Sign in to Codex to continue.</source>
        <translation>Melde dich bei Codex an, um fortzufahren.</translation>
    </message>
    <message>
        <source>Codex setup is incomplete.</source>
        <translation>Die Einrichtung von Codex ist unvollständig.</translation>
    </message>
    <message>
        <source>The data could not be read because it is not in the correct format.</source>
        <translation>Die Daten konnten nicht gelesen werden, weil sie nicht das richtige Format haben.</translation>
    </message>
    <message>
        <source>The local status check timed out.</source>
        <translation>Die lokale Statusprüfung hat zu lange gedauert.</translation>
    </message>
    <message>
        <source>Could not create the folder “%1”.</source>
        <translation>Der Ordner „%1“ konnte nicht angelegt werden.</translation>
    </message>
    <message>
        <source>Preview data</source>
        <translation>Vorschaudaten</translation>
    </message>
    <message>
        <source>Codex is disconnected.</source>
        <translation>Codex ist getrennt.</translation>
    </message>
    <message>
        <source>Claude Code is disconnected.</source>
        <translation>Claude Code ist getrennt.</translation>
    </message>
    <message>
        <source>Lumora is checked with Claude Code %1.</source>
        <translation>Lumora ist mit Claude Code %1 geprüft.</translation>
    </message>
    <message>
        <source>The update channel is not configured in this build.</source>
        <translation>Dieser Build hat keinen Update-Kanal.</translation>
    </message>
    <message>
        <source>Lumora is up to date.</source>
        <translation>Lumora ist auf dem neuesten Stand.</translation>
    </message>
    <message>
        <source>Lumora %1 is available.</source>
        <translation>Lumora %1 ist verfügbar.</translation>
    </message>
    <message>
        <source>Lumora is not running.</source>
        <translation>Lumora läuft nicht.</translation>
    </message>
    <message>
        <source>Claude Code status is unavailable.</source>
        <translation>Der Status von Claude Code ist nicht verfügbar.</translation>
    </message>
    <message>
        <source>Codex status is unavailable.</source>
        <translation>Der Status von Codex ist nicht verfügbar.</translation>
    </message>
    <message>
        <source>Last known local status</source>
        <translation>Zuletzt bekannter lokaler Status</translation>
    </message>
    <message>
        <source>That photo could not be used. Please choose another image.</source>
        <translation>Dieses Foto lässt sich nicht verwenden. Bitte wähle ein anderes Bild.</translation>
    </message>
    <message>
        <source>Choose a Break Background</source>
        <translation>Hintergrund für Pausen auswählen</translation>
    </message>
    <message>
        <source>Choose Photo</source>
        <translation>Foto auswählen</translation>
    </message>
    <message>
        <source>Take a Break</source>
        <translation>Pause machen</translation>
    </message>
    <message>
        <source>Lumora has no tray to sit in</source>
        <translation>Lumora findet keinen Infobereich</translation>
    </message>
    <message>
        <source>This desktop shows no tray icons, so Lumora cannot show its usage in the panel. On GNOME, install and turn on the AppIndicator extension (gnome-shell-extension-appindicator); Lumora appears there as soon as it is on. Until then, `lumora popover` shows the usage.</source>
        <translation>Dieser Desktop zeigt keine Symbole im Infobereich, daher kann Lumora die Nutzung nicht in der Leiste anzeigen. Installiere und aktiviere unter GNOME die Erweiterung AppIndicator (gnome-shell-extension-appindicator); Lumora erscheint dort, sobald sie aktiv ist. Bis dahin zeigt `lumora popover` die Nutzung.</translation>
    </message>
    <message>
        <source>Lumora needs a desktop session to show its tray. `lumora status` works without one.</source>
        <translation>Lumora braucht eine Desktop-Sitzung, um sich im Infobereich zu zeigen. `lumora status` funktioniert auch ohne.</translation>
    </message>
    <message>
        <source>Lumora Settings</source>
        <translation>Lumora-Einstellungen</translation>
    </message>
</context>
<context>
    <name>RelativeTime</name>
    <message>
        <source>in 1 day %1 hr</source>
        <translation>in 1 Tag %1 Std.</translation>
    </message>
    <message>
        <source>in 1 day</source>
        <translation>in 1 Tag</translation>
    </message>
    <message numerus="yes">
        <source>in %n days %1 hr</source>
        <translation>
            <numerusform>in %n Tag %1 Std.</numerusform>
            <numerusform>in %n Tagen %1 Std.</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>in %n days</source>
        <translation>
            <numerusform>in %n Tag</numerusform>
            <numerusform>in %n Tagen</numerusform>
        </translation>
    </message>
    <message>
        <source>in %1 hr %2 min</source>
        <translation>in %1 Std. %2 Min.</translation>
    </message>
    <message numerus="yes">
        <source>in %n hr</source>
        <translation>
            <numerusform>in %n Std.</numerusform>
            <numerusform>in %n Std.</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>in %n min</source>
        <translation>
            <numerusform>in %n Min.</numerusform>
            <numerusform>in %n Min.</numerusform>
        </translation>
    </message>
    <message>
        <source>1 day %1 hr ago</source>
        <translation>vor 1 Tag %1 Std.</translation>
    </message>
    <message>
        <source>1 day ago</source>
        <translation>vor 1 Tag</translation>
    </message>
    <message numerus="yes">
        <source>%n days %1 hr ago</source>
        <translation>
            <numerusform>vor %n Tag %1 Std.</numerusform>
            <numerusform>vor %n Tagen %1 Std.</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n days ago</source>
        <translation>
            <numerusform>vor %n Tag</numerusform>
            <numerusform>vor %n Tagen</numerusform>
        </translation>
    </message>
    <message>
        <source>%1 hr %2 min ago</source>
        <translation>vor %1 Std. %2 Min.</translation>
    </message>
    <message numerus="yes">
        <source>%n hr ago</source>
        <translation>
            <numerusform>vor %n Std.</numerusform>
            <numerusform>vor %n Std.</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n min ago</source>
        <translation>
            <numerusform>vor %n Min.</numerusform>
            <numerusform>vor %n Min.</numerusform>
        </translation>
    </message>
    <message>
        <source>in under a minute</source>
        <translation>in weniger als einer Minute</translation>
    </message>
    <message>
        <source>just now</source>
        <translation>gerade eben</translation>
    </message>
</context>
<context>
    <name>SettingsColorWell</name>
    <message>
        <source>Text Color</source>
        <translation>Textfarbe</translation>
    </message>
</context>
<context>
    <name>SettingsView</name>
    <message>
        <source>Connections</source>
        <translation>Verbindungen</translation>
    </message>
    <message>
        <source>Codex</source>
        <translation>Codex</translation>
    </message>
    <message>
        <source>Disconnect Codex</source>
        <translation>Codex trennen</translation>
    </message>
    <message>
        <source>Claude Code</source>
        <translation>Claude Code</translation>
    </message>
    <message>
        <source>Disconnect Claude Code</source>
        <translation>Claude Code trennen</translation>
    </message>
    <message>
        <source>Last checked</source>
        <translation>Zuletzt geprüft</translation>
    </message>
    <message>
        <source>Refresh Now</source>
        <translation>Jetzt aktualisieren</translation>
    </message>
    <message>
        <source>Break Screen</source>
        <translation>Pausenbildschirm</translation>
    </message>
    <message>
        <source>Text Color</source>
        <translation>Textfarbe</translation>
    </message>
    <message>
        <source>Reset to White</source>
        <translation>Auf Weiß zurücksetzen</translation>
    </message>
    <message>
        <source>Delete Photo</source>
        <translation>Foto löschen</translation>
    </message>
    <message>
        <source>Notifications</source>
        <translation>Benachrichtigungen</translation>
    </message>
    <message>
        <source>Usage and reset notifications</source>
        <translation>Nutzung und Zurücksetzung melden</translation>
    </message>
    <message>
        <source>Only notifies at 80%, at the limit, and after a reset.</source>
        <translation>Nur bei 80&#xa0;%, beim Limit und nach einer Zurücksetzung.</translation>
    </message>
    <message>
        <source>Pace warnings</source>
        <translation>Tempowarnungen</translation>
    </message>
    <message>
        <source>Once per window, when the pace reaches the limit within 30 minutes and before the reset.</source>
        <translation>Einmal pro Zeitfenster, wenn das Tempo das Limit innerhalb von 30 Minuten und vor der Zurücksetzung erreicht.</translation>
    </message>
    <message>
        <source>Updates</source>
        <translation>Updates</translation>
    </message>
    <message>
        <source>Version</source>
        <translation>Version</translation>
    </message>
    <message>
        <source>Startup</source>
        <translation>Start</translation>
    </message>
    <message>
        <source>Start Lumora at login</source>
        <translation>Lumora bei der Anmeldung starten</translation>
    </message>
    <message>
        <source>Privacy</source>
        <translation>Datenschutz</translation>
    </message>
    <message>
        <source>Keep usage history</source>
        <translation>Nutzungsverlauf speichern</translation>
    </message>
    <message>
        <source>The history holds only percentages and times, for 90 days.</source>
        <translation>Der Verlauf enthält nur Prozentwerte und Zeiten, 90 Tage lang.</translation>
    </message>
    <message>
        <source>Clear History</source>
        <translation>Verlauf löschen</translation>
    </message>
</context>
<context>
    <name>UsageNotifications</name>
    <message>
        <source>%1 is resting</source>
        <translation>%1 pausiert</translation>
    </message>
    <message>
        <source>%1 is ready</source>
        <translation>%1 ist wieder bereit</translation>
    </message>
    <message>
        <source>You can use %1 again.</source>
        <translation>Du kannst %1 wieder verwenden.</translation>
    </message>
    <message>
        <source>%1 usage reached 80%</source>
        <translation>%1: 80&#xa0;% des Kontingents genutzt</translation>
    </message>
    <message>
        <source>At this pace %1 reaches its limit %2</source>
        <translation>Bei diesem Tempo erreicht %1 das Limit %2</translation>
    </message>
    <message>
        <source>Reset time is unavailable.</source>
        <translation>Der Zeitpunkt der Zurücksetzung ist unbekannt.</translation>
    </message>
    <message>
        <source>Expected reset: %1</source>
        <translation>Voraussichtliche Zurücksetzung: %1</translation>
    </message>
</context>
<context>
    <name>UsagePace</name>
    <message>
        <source>Not enough data for a pace yet</source>
        <translation>Noch zu wenige Daten für ein Tempo</translation>
    </message>
    <message>
        <source>At this pace: limit %1</source>
        <translation>Bei diesem Tempo: Limit %1</translation>
    </message>
    <message>
        <source>At this pace: %1% left at reset</source>
        <translation>Bei diesem Tempo: %1&#xa0;% übrig bei Zurücksetzung</translation>
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
        <translation>Sitzungslimit</translation>
    </message>
    <message>
        <source>Daily limit</source>
        <translation>Tageslimit</translation>
    </message>
    <message>
        <source>Weekly limit</source>
        <translation>Wochenlimit</translation>
    </message>
    <message>
        <source>Monthly limit</source>
        <translation>Monatslimit</translation>
    </message>
    <message>
        <source>Credits</source>
        <translation>Guthaben</translation>
    </message>
</context>
<context>
    <name>WaybarStatus</name>
    <message>
        <source>%1: usage needs sync (last update %2)</source>
        <translation>%1: Synchronisierung nötig (letzte Aktualisierung %2)</translation>
    </message>
    <message>
        <source>%1: %2</source>
        <comment>Codex: Codex is not installed.</comment>
        <translation>%1: %2</translation>
    </message>
    <message>
        <source>Status is unavailable.</source>
        <translation>Der Status ist nicht verfügbar.</translation>
    </message>
    <message>
        <source>%1 · %2: %3% left, resets %4</source>
        <translation>%1 · %2: %3&#xa0;% übrig, neu ab %4</translation>
    </message>
    <message>
        <source>%1 · %2: %3% left</source>
        <translation>%1 · %2: %3&#xa0;% übrig</translation>
    </message>
    <message>
        <source>No tool is shown. Connect one with `lumora connect claude` or `lumora connect codex`.</source>
        <translation>Kein Tool wird angezeigt. Verbinde eines mit `lumora connect claude` oder `lumora connect codex`.</translation>
    </message>
</context>
<context>
    <name>lumora::AppModel</name>
    <message>
        <source>%1 usage needs sync</source>
        <translation>%1: Synchronisierung nötig</translation>
    </message>
    <message>
        <source>%1 is available</source>
        <translation>%1 ist verfügbar</translation>
    </message>
    <message>
        <source>Approaching the limit</source>
        <translation>Limit fast erreicht</translation>
    </message>
    <message>
        <source>%1 is resting</source>
        <translation>%1 pausiert</translation>
    </message>
    <message>
        <source>Status unavailable</source>
        <translation>Status nicht verfügbar</translation>
    </message>
</context>
<context>
    <name>lumora::BreakViewModel</name>
    <message>
        <source>1 minute</source>
        <translation>1 Minute</translation>
    </message>
    <message numerus="yes">
        <source>%n minutes</source>
        <translation>
            <numerusform>%n Minute</numerusform>
            <numerusform>%n Minuten</numerusform>
        </translation>
    </message>
    <message>
        <source>1 hour</source>
        <translation>1 Stunde</translation>
    </message>
    <message numerus="yes">
        <source>%n hours</source>
        <translation>
            <numerusform>%n Stunde</numerusform>
            <numerusform>%n Stunden</numerusform>
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
        <translation>%1 ÜBRIG</translation>
    </message>
    <message>
        <source>Reset time unavailable</source>
        <translation>Zurücksetzung unbekannt</translation>
    </message>
    <message>
        <source>RESETS IN</source>
        <translation>ZURÜCKSETZUNG IN</translation>
    </message>
    <message>
        <source>Break</source>
        <translation>Pause</translation>
    </message>
    <message>
        <source>Press Escape or click to end the break</source>
        <translation>Escape drücken oder klicken, um die Pause zu beenden</translation>
    </message>
</context>
<context>
    <name>lumora::PopoverViewModel</name>
    <message>
        <source>Download Lumora %1</source>
        <translation>Lumora %1 herunterladen</translation>
    </message>
    <message>
        <source>AI usage at a glance</source>
        <translation>KI-Nutzung auf einen Blick</translation>
    </message>
    <message>
        <source>Update</source>
        <translation>Update</translation>
    </message>
    <message>
        <source>Refresh</source>
        <translation>Aktualisieren</translation>
    </message>
    <message>
        <source>Break</source>
        <translation>Pause</translation>
    </message>
    <message>
        <source>Settings</source>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>Quit Lumora</source>
        <translation>Lumora beenden</translation>
    </message>
    <message>
        <source>Refreshing</source>
        <translation>Wird aktualisiert</translation>
    </message>
</context>
<context>
    <name>lumora::ProviderCardModel</name>
    <message>
        <source>Open Claude Code and send a message to refresh the official usage status. The last percentage is hidden when it is no longer current.</source>
        <translation>Öffne Claude Code und sende eine Nachricht, um den offiziellen Nutzungsstatus zu aktualisieren. Der letzte Prozentwert wird ausgeblendet, sobald er nicht mehr aktuell ist.</translation>
    </message>
    <message>
        <source>Usage and reset time only. No chats, code, files, or credentials.</source>
        <translation>Nur Nutzung und Zurücksetzungszeit. Keine Chats, kein Code, keine Dateien, keine Zugangsdaten.</translation>
    </message>
    <message>
        <source>Connect your existing local %1 session.</source>
        <translation>Verbinde deine bestehende lokale Sitzung von %1.</translation>
    </message>
    <message>
        <source>Checking local setup…</source>
        <translation>Lokale Einrichtung wird geprüft …</translation>
    </message>
    <message>
        <source>%1 is not installed.</source>
        <translation>%1 ist nicht installiert.</translation>
    </message>
    <message>
        <source>Sign in through the official %1 app first.</source>
        <translation>Melde dich zuerst in der offiziellen App von %1 an.</translation>
    </message>
    <message>
        <source>Enable official Claude Code status sync. Lumora stores only usage and reset time.</source>
        <translation>Aktiviere die offizielle Statussynchronisierung von Claude Code. Lumora speichert nur Nutzung und Zurücksetzungszeit.</translation>
    </message>
    <message>
        <source>Waiting for Claude Code usage…</source>
        <translation>Warte auf Nutzungsdaten von Claude Code …</translation>
    </message>
    <message>
        <source>Connect</source>
        <translation>Verbinden</translation>
    </message>
    <message>
        <source>Checking</source>
        <translation>Wird geprüft</translation>
    </message>
    <message>
        <source>Install</source>
        <translation>Installieren</translation>
    </message>
    <message>
        <source>Get Codex</source>
        <translation>Codex herunterladen</translation>
    </message>
    <message>
        <source>Open Sign In</source>
        <translation>Anmeldung öffnen</translation>
    </message>
    <message>
        <source>Enable Sync</source>
        <translation>Sync aktivieren</translation>
    </message>
    <message>
        <source>Check Now</source>
        <translation>Jetzt prüfen</translation>
    </message>
    <message>
        <source>Try Again</source>
        <translation>Erneut versuchen</translation>
    </message>
    <message>
        <source>Show %1 in the menu bar</source>
        <translation>%1 in der Leiste anzeigen</translation>
    </message>
    <message>
        <source>Last update: %1</source>
        <translation>Letzte Aktualisierung: %1</translation>
    </message>
    <message>
        <source>Status is unavailable.</source>
        <translation>Der Status ist nicht verfügbar.</translation>
    </message>
    <message>
        <source>Resets %1</source>
        <comment>in 2 hr 15 min</comment>
        <translation>Zurücksetzung %1</translation>
    </message>
    <message>
        <source>Weekly %1% left</source>
        <translation>Woche: %1&#xa0;% übrig</translation>
    </message>
    <message>
        <source>Weekly %1% left · resets %2</source>
        <comment>resets Mon 09:00</comment>
        <translation>Woche: %1&#xa0;% übrig · neu ab %2</translation>
    </message>
    <message>
        <source>% left</source>
        <translation>% übrig</translation>
    </message>
    <message>
        <source>Usage needs sync</source>
        <translation>Synchronisierung nötig</translation>
    </message>
    <message>
        <source>Drag to reorder</source>
        <translation>Zum Umsortieren ziehen</translation>
    </message>
    <message numerus="yes">
        <source>%n day</source>
        <comment>spoken duration</comment>
        <translation>
            <numerusform>%n Tag</numerusform>
            <numerusform>%n Tagen</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n days</source>
        <comment>spoken duration</comment>
        <translation>
            <numerusform>%n Tag</numerusform>
            <numerusform>%n Tagen</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n hour</source>
        <comment>spoken duration</comment>
        <translation>
            <numerusform>%n Stunde</numerusform>
            <numerusform>%n Stunden</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n hours</source>
        <comment>spoken duration</comment>
        <translation>
            <numerusform>%n Stunde</numerusform>
            <numerusform>%n Stunden</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n minute</source>
        <comment>spoken duration</comment>
        <translation>
            <numerusform>%n Minute</numerusform>
            <numerusform>%n Minuten</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n minutes</source>
        <comment>spoken duration</comment>
        <translation>
            <numerusform>%n Minute</numerusform>
            <numerusform>%n Minuten</numerusform>
        </translation>
    </message>
    <message>
        <source>%1 %2</source>
        <comment>spoken duration: days, then hours</comment>
        <translation>%1 und %2</translation>
    </message>
    <message>
        <source>%1 %2</source>
        <comment>spoken duration: hours, then minutes</comment>
        <translation>%1 und %2</translation>
    </message>
    <message>
        <source>Alt+Up or Alt+Down moves the card</source>
        <translation>Alt+Pfeil nach oben oder Alt+Pfeil nach unten verschiebt die Karte</translation>
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
            <numerusform>%1, %n Prozent übrig, %2, Zurücksetzung in %3</numerusform>
            <numerusform>%1, %n Prozent übrig, %2, Zurücksetzung in %3</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%1, %n percent left, %2, resets in under a minute</source>
        <comment>a card read aloud</comment>
        <translation>
            <numerusform>%1, %n Prozent übrig, %2, Zurücksetzung in weniger als einer Minute</numerusform>
            <numerusform>%1, %n Prozent übrig, %2, Zurücksetzung in weniger als einer Minute</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%1, %n percent left, %2</source>
        <comment>a card read aloud</comment>
        <translation>
            <numerusform>%1, %n Prozent übrig, %2</numerusform>
            <numerusform>%1, %n Prozent übrig, %2</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>lumora::SettingsViewModel</name>
    <message>
        <source>Never</source>
        <translation>Nie</translation>
    </message>
    <message>
        <source>Photo</source>
        <translation>Foto</translation>
    </message>
    <message>
        <source>Motion</source>
        <translation>Bewegung</translation>
    </message>
    <message>
        <source>Minimal</source>
        <translation>Minimal</translation>
    </message>
    <message>
        <source>Selected</source>
        <translation>Ausgewählt</translation>
    </message>
    <message>
        <source>Not selected</source>
        <translation>Nicht ausgewählt</translation>
    </message>
    <message>
        <source>Your photo is copied into Lumora and stays only on this computer.</source>
        <translation>Dein Foto wird in Lumora kopiert und bleibt nur auf diesem Computer.</translation>
    </message>
    <message>
        <source>A slow, wind-driven stainless-steel surface.</source>
        <translation>Eine langsame, vom Wind bewegte Edelstahlfläche.</translation>
    </message>
    <message>
        <source>A black screen with white time and reset information.</source>
        <translation>Ein schwarzer Bildschirm mit Uhrzeit und Zurücksetzung in Weiß.</translation>
    </message>
    <message>
        <source>Change Photo…</source>
        <translation>Foto ändern …</translation>
    </message>
    <message>
        <source>Choose Photo…</source>
        <translation>Foto auswählen …</translation>
    </message>
    <message>
        <source>Download Lumora %1</source>
        <translation>Lumora %1 herunterladen</translation>
    </message>
    <message>
        <source>Checking…</source>
        <translation>Wird geprüft …</translation>
    </message>
    <message>
        <source>Check for Updates</source>
        <translation>Nach Updates suchen</translation>
    </message>
    <message>
        <source>Never reads or sends chats, code, file names, or credentials.</source>
        <translation>Liest oder sendet nie Chats, Code, Dateinamen oder Zugangsdaten.</translation>
    </message>
    <message>
        <source>Usage data stays on this computer and is never shared with advertisers.</source>
        <translation>Nutzungsdaten bleiben auf diesem Computer und werden nie an Werbetreibende weitergegeben.</translation>
    </message>
</context>
</TS>
