<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="pl" sourcelanguage="en">
<context>
    <name>Orvik</name>
    <message>
        <source>Orvik</source>
        <translation>Orvik</translation>
    </message>
    <message>
        <source>Add a phone…</source>
        <translation>Dodaj telefon…</translation>
    </message>
    <message>
        <source>Resume</source>
        <translation>Wznów</translation>
    </message>
    <message>
        <source>Pause for 1 hour</source>
        <translation>Wstrzymaj na 1 godzinę</translation>
    </message>
    <message>
        <source>Disconnect all phones…</source>
        <translation>Rozłącz wszystkie telefony…</translation>
    </message>
    <message>
        <source>Check for Updates…</source>
        <translation>Sprawdź aktualizacje…</translation>
    </message>
    <message>
        <source>Quit Orvik</source>
        <translation>Zakończ Orvik</translation>
    </message>
    <message>
        <source>Paused until %@</source>
        <translation>Wstrzymano do %@</translation>
    </message>
    <message numerus="yes">
        <source>%lld phones</source>
        <translation>
            <numerusform>%lld telefon</numerusform>
            <numerusform>%lld telefony</numerusform>
            <numerusform>%lld telefonów</numerusform>
        </translation>
    </message>
    <message>
        <source>Online</source>
        <translation>Online</translation>
    </message>
    <message>
        <source>Offline – reconnecting…</source>
        <translation>Offline – ponowne łączenie…</translation>
    </message>
    <message>
        <source>Connecting…</source>
        <translation>Łączenie…</translation>
    </message>
    <message>
        <source>Pairing lost – add a phone again</source>
        <translation>Utracono parowanie – dodaj telefon ponownie</translation>
    </message>
    <message>
        <source>Disconnect all phones?</source>
        <translation>Rozłączyć wszystkie telefony?</translation>
    </message>
    <message>
        <source>Every phone will need to scan the new code.</source>
        <translation>Każdy telefon będzie musiał zeskanować nowy kod.</translation>
    </message>
    <message>
        <source>Disconnect</source>
        <translation>Rozłącz</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Anuluj</translation>
    </message>
    <message>
        <source>Welcome to Orvik</source>
        <translation>Witamy w aplikacji Orvik</translation>
    </message>
    <message>
        <source>Scan with your phone</source>
        <translation>Zeskanuj telefonem</translation>
    </message>
    <message>
        <source>Open Orvik on Android and point it at this code.</source>
        <translation>Otwórz Orvik na Androidzie i skieruj aparat na ten kod.</translation>
    </message>
    <message>
        <source>Open Orvik when the Mac starts</source>
        <translation>Otwieraj Orvik przy uruchamianiu Maca</translation>
    </message>
    <message>
        <source>Open Orvik when the computer starts</source>
        <translation>Otwieraj Orvik przy uruchamianiu komputera</translation>
    </message>
    <message>
        <source>Point your phone’s camera at this code.</source>
        <translation>Skieruj aparat telefonu na ten kod.</translation>
    </message>
    <message>
        <source>Copy link</source>
        <translation>Kopiuj link</translation>
    </message>
    <message>
        <source>Show code</source>
        <translation>Pokaż kod</translation>
    </message>
    <message>
        <source>Whoever has this link sees this computer’s readings. Treat it like a password.</source>
        <translation>Każdy, kto ma ten link, widzi odczyty tego komputera. Traktuj go jak hasło.</translation>
    </message>
    <message>
        <source>You’re up to date</source>
        <translation>Masz najnowszą wersję</translation>
    </message>
    <message>
        <source>Orvik %@ is the newest version.</source>
        <translation>Orvik %@ to najnowsza wersja.</translation>
    </message>
    <message>
        <source>A new version is available</source>
        <translation>Dostępna jest nowa wersja</translation>
    </message>
    <message>
        <source>Orvik %@ is available. You have %@.</source>
        <translation>Dostępny jest Orvik %@. Masz wersję %@.</translation>
    </message>
    <message>
        <source>What’s new:</source>
        <translation>Co nowego:</translation>
    </message>
    <message>
        <source>Download</source>
        <translation>Pobierz</translation>
    </message>
    <message>
        <source>Later</source>
        <translation>Później</translation>
    </message>
    <message>
        <source>Could not check for updates</source>
        <translation>Nie można sprawdzić aktualizacji</translation>
    </message>
    <message>
        <source>The list of versions could not be read. Try again later.</source>
        <translation>Nie udało się odczytać listy wersji. Spróbuj ponownie później.</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
</context>
</TS>
