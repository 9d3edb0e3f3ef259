; What setup and uninstall say beside NSIS' own texts.

!macro Text name english german
    LangString ${name} ${LANG_ENGLISH} "${english}"
    LangString ${name} ${LANG_GERMAN} "${german}"
!macroend

!insertmacro Text StartNow "Start Harbinet PRO now" "Harbinet PRO jetzt starten"
!insertmacro Text ProgramText "The program and its entry in the Start menu." \
    "Das Programm und sein Eintrag im Startmenü."
!insertmacro Text FirewallName "Allow other devices" "Andere Geräte zulassen"
!insertmacro Text FirewallText "Adds a rule to the Windows firewall: devices in the same private or company network may connect. Without it Windows drops their connections." \
    "Trägt eine Regel in die Windows-Firewall ein: Geräte im selben privaten oder Firmennetz dürfen sich verbinden. Ohne sie verwirft Windows ihre Verbindungen."
!insertmacro Text FirewallFailed "The firewall rule could not be made" "Die Firewall-Regel konnte nicht angelegt werden"
!insertmacro Text DesktopName "Desktop shortcut" "Desktop-Verknüpfung"
!insertmacro Text DesktopText "Puts a shortcut on the desktop of every user." \
    "Legt eine Verknüpfung auf den Desktop aller Benutzer."
!insertmacro Text ProgramRuns "Harbinet PRO is running. It will be closed now; transfers that are under way end." \
    "Harbinet PRO läuft. Es wird jetzt geschlossen; laufende Übertragungen enden."
!insertmacro Text ProgramStays "Harbinet PRO is still running, perhaps for another user. Close it there and try again." \
    "Harbinet PRO läuft noch, vielleicht bei einem anderen Benutzer. Bitte dort schließen und es noch einmal versuchen."
!insertmacro Text SettingsName "Settings and certificate" "Einstellungen, Zertifikat"
!insertmacro Text RemoveProgramText "The program, its shortcuts, its firewall rule and its autostart entry." \
    "Das Programm, seine Verknüpfungen, seine Firewall-Regel und sein Autostart-Eintrag."
!insertmacro Text RemoveSettingsText "The Master PIN, the choice of folder and the certificate. The published folder and its files always stay." \
    "Die Master-PIN, die Wahl des Ordners und das Zertifikat. Der freigegebene Ordner und seine Dateien bleiben immer."

; Asked before NSIS turns to a language that /LANG names, so these are no texts of NSIS.
!define OLDER_ENGLISH "A newer version of Harbinet PRO ($0) is installed. Replace it with version ${VERSION}?"
!define OLDER_GERMAN "Eine neuere Version von Harbinet PRO ($0) ist installiert. Durch Version ${VERSION} ersetzen?"
