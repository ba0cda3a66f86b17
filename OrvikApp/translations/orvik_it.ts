<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="it" sourcelanguage="en">
<context>
    <name>Orvik</name>
    <message>
        <source>Orvik</source>
        <translation>Orvik</translation>
    </message>
    <message>
        <source>Add a phone…</source>
        <translation>Aggiungi un telefono…</translation>
    </message>
    <message>
        <source>Resume</source>
        <translation>Riprendi</translation>
    </message>
    <message>
        <source>Pause for 1 hour</source>
        <translation>Metti in pausa per 1 ora</translation>
    </message>
    <message>
        <source>Disconnect all phones…</source>
        <translation>Disconnetti tutti i telefoni…</translation>
    </message>
    <message>
        <source>Check for Updates…</source>
        <translation>Verifica aggiornamenti…</translation>
    </message>
    <message>
        <source>Quit Orvik</source>
        <translation>Esci da Orvik</translation>
    </message>
    <message>
        <source>Paused until %@</source>
        <translation>In pausa fino alle ore %@</translation>
    </message>
    <message numerus="yes">
        <source>%lld phones</source>
        <translation>
            <numerusform>%lld telefono</numerusform>
            <numerusform>%lld telefoni</numerusform>
        </translation>
    </message>
    <message>
        <source>Online</source>
        <translation>Online</translation>
    </message>
    <message>
        <source>Offline – reconnecting…</source>
        <translation>Offline – riconnessione in corso…</translation>
    </message>
    <message>
        <source>Connecting…</source>
        <translation>Connessione in corso…</translation>
    </message>
    <message>
        <source>Pairing lost – add a phone again</source>
        <translation>Abbinamento perso – aggiungi di nuovo un telefono</translation>
    </message>
    <message>
        <source>Disconnect all phones?</source>
        <translation>Vuoi disconnettere tutti i telefoni?</translation>
    </message>
    <message>
        <source>Every phone will need to scan the new code.</source>
        <translation>Ogni telefono dovrà scansionare il nuovo codice.</translation>
    </message>
    <message>
        <source>Disconnect</source>
        <translation>Disconnetti</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Annulla</translation>
    </message>
    <message>
        <source>Welcome to Orvik</source>
        <translation>Ti diamo il benvenuto in Orvik</translation>
    </message>
    <message>
        <source>Scan with your phone</source>
        <translation>Scansiona con il telefono</translation>
    </message>
    <message>
        <source>Open Orvik on Android and point it at this code.</source>
        <translation>Apri Orvik su Android e inquadra questo codice.</translation>
    </message>
    <message>
        <source>Open Orvik when the Mac starts</source>
        <translation>Apri Orvik all’avvio del Mac</translation>
    </message>
    <message>
        <source>Open Orvik when the computer starts</source>
        <translation>Apri Orvik all’avvio del computer</translation>
    </message>
    <message>
        <source>Point your phone’s camera at this code.</source>
        <translation>Inquadra questo codice con la fotocamera del telefono.</translation>
    </message>
    <message>
        <source>Copy link</source>
        <translation>Copia link</translation>
    </message>
    <message>
        <source>Show code</source>
        <translation>Mostra codice</translation>
    </message>
    <message>
        <source>Whoever has this link sees this computer’s readings. Treat it like a password.</source>
        <translation>Chi ha questo link vede le letture di questo computer. Trattalo come una password.</translation>
    </message>
    <message>
        <source>You’re up to date</source>
        <translation>Orvik è aggiornato</translation>
    </message>
    <message>
        <source>Orvik %@ is the newest version.</source>
        <translation>Orvik %@ è la versione più recente.</translation>
    </message>
    <message>
        <source>A new version is available</source>
        <translation>È disponibile una nuova versione</translation>
    </message>
    <message>
        <source>Orvik %@ is available. You have %@.</source>
        <translation>Orvik %@ è disponibile. La versione installata è %@.</translation>
    </message>
    <message>
        <source>What’s new:</source>
        <translation>Novità:</translation>
    </message>
    <message>
        <source>Download</source>
        <translation>Scarica</translation>
    </message>
    <message>
        <source>Later</source>
        <translation>Più tardi</translation>
    </message>
    <message>
        <source>Could not check for updates</source>
        <translation>Impossibile verificare la disponibilità di aggiornamenti</translation>
    </message>
    <message>
        <source>The list of versions could not be read. Try again later.</source>
        <translation>Impossibile leggere l’elenco delle versioni. Riprova più tardi.</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Waiting for the keyring…</source>
        <translation>In attesa del portachiavi…</translation>
    </message>
    <message>
        <source>Checking for updates…</source>
        <translation>Verifica aggiornamenti in corso…</translation>
    </message>
    <message>
        <source>The pairing could not be saved. It is valid until Orvik quits.</source>
        <translation>Impossibile salvare l’abbinamento. Resta valido finché non esci da Orvik.</translation>
    </message>
    <message>
        <source>The disconnection could not be stored. Restarting may bring the old phones back.</source>
        <translation>Impossibile salvare la disconnessione. Dopo un riavvio i telefoni precedenti potrebbero ricollegarsi.</translation>
    </message>
    <message>
        <source>Make a new pairing? Every phone will need to scan the new code.</source>
        <translation>Vuoi creare un nuovo abbinamento? Ogni telefono dovrà scansionare il nuovo codice.</translation>
    </message>
    <message>
        <source>Which relay should Orvik use?</source>
        <translation>Quale relay deve usare Orvik?</translation>
    </message>
    <message>
        <source>Address of the relay:</source>
        <translation>Indirizzo del relay:</translation>
    </message>
    <message>
        <source>Checking the relay…</source>
        <translation>Verifica del relay in corso…</translation>
    </message>
    <message>
        <source>The address has to begin with wss:// and name a host.</source>
        <translation>L’indirizzo deve iniziare con wss:// e indicare un host.</translation>
    </message>
    <message>
        <source>This relay cannot be reached.</source>
        <translation>Questo relay non è raggiungibile.</translation>
    </message>
    <message>
        <source>No secure connection to this address is possible.</source>
        <translation>Non è possibile una connessione sicura a questo indirizzo.</translation>
    </message>
    <message>
        <source>There is no Orvik relay at this address.</source>
        <translation>A questo indirizzo non c’è un relay di Orvik.</translation>
    </message>
    <message>
        <source>This computer does not trust the relay’s certificate. Its fingerprint (SHA-256) is:</source>
        <translation>Questo computer non considera attendibile il certificato del relay. La sua impronta (SHA-256) è:</translation>
    </message>
    <message>
        <source>Trust it only if the relay shows the same one.</source>
        <translation>Consideralo attendibile solo se il relay mostra la stessa.</translation>
    </message>
    <message>
        <source>Trust this certificate</source>
        <translation>Considera attendibile questo certificato</translation>
    </message>
    <message>
        <source>No relay has been chosen yet</source>
        <translation>Nessun relay ancora scelto</translation>
    </message>
    <message>
        <source>Connected by another program: %@</source>
        <translation>Connesso da un altro programma: %@</translation>
    </message>
    <message>
        <source>The relay is busy.</source>
        <translation>Il relay è occupato.</translation>
    </message>
    <message>
        <source>The relay could not be saved. It is used until Orvik quits.</source>
        <translation>Impossibile salvare il relay. Viene usato finché non esci da Orvik.</translation>
    </message>
</context>
</TS>
