<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="nl" sourcelanguage="en">
<context>
    <name>Orvik</name>
    <message>
        <source>Orvik</source>
        <translation>Orvik</translation>
    </message>
    <message>
        <source>Add a phone…</source>
        <translation>Voeg een telefoon toe…</translation>
    </message>
    <message>
        <source>Resume</source>
        <translation>Hervat</translation>
    </message>
    <message>
        <source>Pause for 1 hour</source>
        <translation>Pauzeer 1 uur</translation>
    </message>
    <message>
        <source>Disconnect all phones…</source>
        <translation>Koppel alle telefoons los…</translation>
    </message>
    <message>
        <source>Check for Updates…</source>
        <translation>Zoek naar updates…</translation>
    </message>
    <message>
        <source>Quit Orvik</source>
        <translation>Stop Orvik</translation>
    </message>
    <message>
        <source>Paused until %@</source>
        <translation>Gepauzeerd tot %@</translation>
    </message>
    <message numerus="yes">
        <source>%lld phones</source>
        <translation>
            <numerusform>%lld telefoon</numerusform>
            <numerusform>%lld telefoons</numerusform>
        </translation>
    </message>
    <message>
        <source>Online</source>
        <translation>Online</translation>
    </message>
    <message>
        <source>Offline – reconnecting…</source>
        <translation>Offline – opnieuw verbinden…</translation>
    </message>
    <message>
        <source>Connecting…</source>
        <translation>Verbinden…</translation>
    </message>
    <message>
        <source>Pairing lost – add a phone again</source>
        <translation>Koppeling verbroken – voeg opnieuw een telefoon toe</translation>
    </message>
    <message>
        <source>Disconnect all phones?</source>
        <translation>Alle telefoons loskoppelen?</translation>
    </message>
    <message>
        <source>Every phone will need to scan the new code.</source>
        <translation>Elke telefoon moet dan de nieuwe code scannen.</translation>
    </message>
    <message>
        <source>Disconnect</source>
        <translation>Koppel los</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Annuleer</translation>
    </message>
    <message>
        <source>Welcome to Orvik</source>
        <translation>Welkom bij Orvik</translation>
    </message>
    <message>
        <source>Scan with your phone</source>
        <translation>Scan met je telefoon</translation>
    </message>
    <message>
        <source>Open Orvik on Android and point it at this code.</source>
        <translation>Open Orvik op Android en richt de camera op deze code.</translation>
    </message>
    <message>
        <source>Open Orvik when the Mac starts</source>
        <translation>Open Orvik als de Mac opstart</translation>
    </message>
    <message>
        <source>Open Orvik when the computer starts</source>
        <translation>Open Orvik als de computer opstart</translation>
    </message>
    <message>
        <source>Point your phone’s camera at this code.</source>
        <translation>Richt de camera van je telefoon op deze code.</translation>
    </message>
    <message>
        <source>Copy link</source>
        <translation>Kopieer link</translation>
    </message>
    <message>
        <source>Show code</source>
        <translation>Toon code</translation>
    </message>
    <message>
        <source>Whoever has this link sees this computer’s readings. Treat it like a password.</source>
        <translation>Wie deze link heeft, ziet de metingen van deze computer. Behandel hem als een wachtwoord.</translation>
    </message>
    <message>
        <source>You’re up to date</source>
        <translation>Orvik is up-to-date</translation>
    </message>
    <message>
        <source>Orvik %@ is the newest version.</source>
        <translation>Orvik %@ is de nieuwste versie.</translation>
    </message>
    <message>
        <source>A new version is available</source>
        <translation>Er is een nieuwe versie beschikbaar</translation>
    </message>
    <message>
        <source>Orvik %@ is available. You have %@.</source>
        <translation>Orvik %@ is beschikbaar. Je hebt %@.</translation>
    </message>
    <message>
        <source>What’s new:</source>
        <translation>Nieuw:</translation>
    </message>
    <message>
        <source>Download</source>
        <translation>Download</translation>
    </message>
    <message>
        <source>Later</source>
        <translation>Later</translation>
    </message>
    <message>
        <source>Could not check for updates</source>
        <translation>Zoeken naar updates is niet gelukt</translation>
    </message>
    <message>
        <source>The list of versions could not be read. Try again later.</source>
        <translation>De lijst met versies kon niet worden gelezen. Probeer het later opnieuw.</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Waiting for the keyring…</source>
        <translation>Wachten op de sleutelbos…</translation>
    </message>
    <message>
        <source>Checking for updates…</source>
        <translation>Zoeken naar updates…</translation>
    </message>
    <message>
        <source>The pairing could not be saved. It is valid until Orvik quits.</source>
        <translation>De koppeling kon niet worden bewaard. Ze geldt tot je Orvik stopt.</translation>
    </message>
    <message>
        <source>The disconnection could not be stored. Restarting may bring the old phones back.</source>
        <translation>Het loskoppelen kon niet worden bewaard. Na een herstart kunnen de oude telefoons weer verbonden zijn.</translation>
    </message>
    <message>
        <source>Make a new pairing? Every phone will need to scan the new code.</source>
        <translation>Nieuwe koppeling maken? Elke telefoon moet dan de nieuwe code scannen.</translation>
    </message>
    <message>
        <source>Which relay should Orvik use?</source>
        <translation>Welke relayserver moet Orvik gebruiken?</translation>
    </message>
    <message>
        <source>Address of the relay:</source>
        <translation>Adres van de relayserver:</translation>
    </message>
    <message>
        <source>Checking the relay…</source>
        <translation>Relayserver wordt gecontroleerd…</translation>
    </message>
    <message>
        <source>The address has to begin with wss:// and name a host.</source>
        <translation>Het adres moet met wss:// beginnen en een host noemen.</translation>
    </message>
    <message>
        <source>This relay cannot be reached.</source>
        <translation>Deze relayserver is niet bereikbaar.</translation>
    </message>
    <message>
        <source>No secure connection to this address is possible.</source>
        <translation>Met dit adres is geen beveiligde verbinding mogelijk.</translation>
    </message>
    <message>
        <source>There is no Orvik relay at this address.</source>
        <translation>Op dit adres is geen relayserver van Orvik.</translation>
    </message>
    <message>
        <source>This computer does not trust the relay’s certificate. Its fingerprint (SHA-256) is:</source>
        <translation>Deze computer vertrouwt het certificaat van de relayserver niet. De vingerafdruk (SHA-256) is:</translation>
    </message>
    <message>
        <source>Trust it only if the relay shows the same one.</source>
        <translation>Vertrouw het alleen als de relayserver dezelfde toont.</translation>
    </message>
    <message>
        <source>Trust this certificate</source>
        <translation>Vertrouw dit certificaat</translation>
    </message>
    <message>
        <source>No relay has been chosen yet</source>
        <translation>Nog geen relayserver gekozen</translation>
    </message>
    <message>
        <source>Connected by another program: %@</source>
        <translation>Verbonden door een ander programma: %@</translation>
    </message>
    <message>
        <source>The relay is busy.</source>
        <translation>De relayserver is bezet.</translation>
    </message>
    <message>
        <source>The relay could not be saved. It is used until Orvik quits.</source>
        <translation>De relayserver kon niet worden bewaard. Hij wordt gebruikt tot je Orvik stopt.</translation>
    </message>
</context>
</TS>
