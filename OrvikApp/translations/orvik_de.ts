<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>Orvik</name>
    <message>
        <source>Orvik</source>
        <translation>Orvik</translation>
    </message>
    <message>
        <source>Add a phone…</source>
        <translation>Telefon hinzufügen …</translation>
    </message>
    <message>
        <source>Resume</source>
        <translation>Fortsetzen</translation>
    </message>
    <message>
        <source>Pause for 1 hour</source>
        <translation>1 Stunde pausieren</translation>
    </message>
    <message>
        <source>Disconnect all phones…</source>
        <translation>Alle Telefone trennen …</translation>
    </message>
    <message>
        <source>Check for Updates…</source>
        <translation>Nach Updates suchen …</translation>
    </message>
    <message>
        <source>Quit Orvik</source>
        <translation>Orvik beenden</translation>
    </message>
    <message>
        <source>Paused until %@</source>
        <translation>Pausiert bis %@</translation>
    </message>
    <message numerus="yes">
        <source>%lld phones</source>
        <translation>
            <numerusform>%lld Telefon</numerusform>
            <numerusform>%lld Telefone</numerusform>
        </translation>
    </message>
    <message>
        <source>Online</source>
        <translation>Online</translation>
    </message>
    <message>
        <source>Offline – reconnecting…</source>
        <translation>Offline – Verbindung wird wiederhergestellt …</translation>
    </message>
    <message>
        <source>Connecting…</source>
        <translation>Verbindung wird hergestellt …</translation>
    </message>
    <message>
        <source>Pairing lost – add a phone again</source>
        <translation>Kopplung verloren – Telefon erneut hinzufügen</translation>
    </message>
    <message>
        <source>Disconnect all phones?</source>
        <translation>Alle Telefone trennen?</translation>
    </message>
    <message>
        <source>Every phone will need to scan the new code.</source>
        <translation>Jedes Telefon muss dann den neuen Code scannen.</translation>
    </message>
    <message>
        <source>Disconnect</source>
        <translation>Trennen</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Welcome to Orvik</source>
        <translation>Willkommen bei Orvik</translation>
    </message>
    <message>
        <source>Scan with your phone</source>
        <translation>Mit dem Telefon scannen</translation>
    </message>
    <message>
        <source>Open Orvik on Android and point it at this code.</source>
        <translation>Orvik auf Android öffnen und auf diesen Code richten.</translation>
    </message>
    <message>
        <source>Open Orvik when the Mac starts</source>
        <translation>Orvik beim Start des Mac öffnen</translation>
    </message>
    <message>
        <source>Open Orvik when the computer starts</source>
        <translation>Orvik beim Start des Computers öffnen</translation>
    </message>
    <message>
        <source>Point your phone’s camera at this code.</source>
        <translation>Die Kamera des Telefons auf diesen Code richten.</translation>
    </message>
    <message>
        <source>Copy link</source>
        <translation>Link kopieren</translation>
    </message>
    <message>
        <source>Show code</source>
        <translation>Code anzeigen</translation>
    </message>
    <message>
        <source>Whoever has this link sees this computer’s readings. Treat it like a password.</source>
        <translation>Wer diesen Link hat, sieht die Messwerte dieses Computers. Bitte wie ein Passwort behandeln.</translation>
    </message>
    <message>
        <source>You’re up to date</source>
        <translation>Orvik ist auf dem neuesten Stand</translation>
    </message>
    <message>
        <source>Orvik %@ is the newest version.</source>
        <translation>Orvik %@ ist die neueste Version.</translation>
    </message>
    <message>
        <source>A new version is available</source>
        <translation>Eine neue Version ist verfügbar</translation>
    </message>
    <message>
        <source>Orvik %@ is available. You have %@.</source>
        <translation>Orvik %@ ist verfügbar. Installiert ist %@.</translation>
    </message>
    <message>
        <source>What’s new:</source>
        <translation>Neuerungen:</translation>
    </message>
    <message>
        <source>Download</source>
        <translation>Herunterladen</translation>
    </message>
    <message>
        <source>Later</source>
        <translation>Später</translation>
    </message>
    <message>
        <source>Could not check for updates</source>
        <translation>Suche nach Updates fehlgeschlagen</translation>
    </message>
    <message>
        <source>The list of versions could not be read. Try again later.</source>
        <translation>Die Liste der Versionen konnte nicht gelesen werden. Bitte später erneut versuchen.</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Waiting for the keyring…</source>
        <translation>Warten auf den Schlüsselbund …</translation>
    </message>
    <message>
        <source>Checking for updates…</source>
        <translation>Suche nach Updates …</translation>
    </message>
    <message>
        <source>The pairing could not be saved. It is valid until Orvik quits.</source>
        <translation>Die Kopplung konnte nicht gespeichert werden. Sie gilt, bis Orvik beendet wird.</translation>
    </message>
    <message>
        <source>The disconnection could not be stored. Restarting may bring the old phones back.</source>
        <translation>Die Trennung konnte nicht gespeichert werden. Nach einem Neustart können die alten Telefone wieder verbunden sein.</translation>
    </message>
    <message>
        <source>Make a new pairing? Every phone will need to scan the new code.</source>
        <translation>Neue Kopplung erstellen? Jedes Telefon muss dann den neuen Code scannen.</translation>
    </message>
    <message>
        <source>Which relay should Orvik use?</source>
        <translation>Welches Relay soll Orvik verwenden?</translation>
    </message>
    <message>
        <source>Address of the relay:</source>
        <translation>Adresse des Relays:</translation>
    </message>
    <message>
        <source>Checking the relay…</source>
        <translation>Relay wird geprüft …</translation>
    </message>
    <message>
        <source>The address has to begin with wss:// and name a host.</source>
        <translation>Die Adresse muss mit wss:// beginnen und einen Host nennen.</translation>
    </message>
    <message>
        <source>This relay cannot be reached.</source>
        <translation>Dieses Relay ist nicht erreichbar.</translation>
    </message>
    <message>
        <source>No secure connection to this address is possible.</source>
        <translation>Mit dieser Adresse ist keine sichere Verbindung möglich.</translation>
    </message>
    <message>
        <source>There is no Orvik relay at this address.</source>
        <translation>Unter dieser Adresse gibt es kein Orvik-Relay.</translation>
    </message>
    <message>
        <source>This computer does not trust the relay’s certificate. Its fingerprint (SHA-256) is:</source>
        <translation>Dieser Computer vertraut dem Zertifikat des Relays nicht. Sein Fingerabdruck (SHA-256) ist:</translation>
    </message>
    <message>
        <source>Trust it only if the relay shows the same one.</source>
        <translation>Nur vertrauen, wenn das Relay denselben anzeigt.</translation>
    </message>
    <message>
        <source>Trust this certificate</source>
        <translation>Diesem Zertifikat vertrauen</translation>
    </message>
    <message>
        <source>No relay has been chosen yet</source>
        <translation>Noch kein Relay gewählt</translation>
    </message>
    <message>
        <source>Connected by another program: %@</source>
        <translation>Durch ein anderes Programm verbunden: %@</translation>
    </message>
    <message>
        <source>The relay is busy.</source>
        <translation>Das Relay ist ausgelastet.</translation>
    </message>
    <message>
        <source>The relay could not be saved. It is used until Orvik quits.</source>
        <translation>Das Relay konnte nicht gespeichert werden. Es wird verwendet, bis Orvik beendet wird.</translation>
    </message>
</context>
</TS>
