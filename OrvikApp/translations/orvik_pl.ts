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
    <message>
        <source>Waiting for the keyring…</source>
        <translation>Oczekiwanie na bazę kluczy…</translation>
    </message>
    <message>
        <source>Checking for updates…</source>
        <translation>Sprawdzanie aktualizacji…</translation>
    </message>
    <message>
        <source>The pairing could not be saved. It is valid until Orvik quits.</source>
        <translation>Nie udało się zapisać parowania. Będzie ważne, dopóki Orvik działa.</translation>
    </message>
    <message>
        <source>The disconnection could not be stored. Restarting may bring the old phones back.</source>
        <translation>Nie udało się zapisać rozłączenia. Po ponownym uruchomieniu poprzednie telefony mogą znów się połączyć.</translation>
    </message>
    <message>
        <source>Make a new pairing? Every phone will need to scan the new code.</source>
        <translation>Utworzyć nowe parowanie? Każdy telefon będzie musiał zeskanować nowy kod.</translation>
    </message>
    <message>
        <source>Which relay should Orvik use?</source>
        <translation>Którego serwera pośredniczącego ma używać Orvik?</translation>
    </message>
    <message>
        <source>Address of the relay:</source>
        <translation>Adres serwera pośredniczącego:</translation>
    </message>
    <message>
        <source>Checking the relay…</source>
        <translation>Sprawdzanie serwera pośredniczącego…</translation>
    </message>
    <message>
        <source>The address has to begin with wss:// and name a host.</source>
        <translation>Adres musi zaczynać się od wss:// i zawierać nazwę hosta.</translation>
    </message>
    <message>
        <source>This relay cannot be reached.</source>
        <translation>Nie można połączyć się z tym serwerem pośredniczącym.</translation>
    </message>
    <message>
        <source>No secure connection to this address is possible.</source>
        <translation>Bezpieczne połączenie z tym adresem nie jest możliwe.</translation>
    </message>
    <message>
        <source>There is no Orvik relay at this address.</source>
        <translation>Pod tym adresem nie ma serwera pośredniczącego Orvik.</translation>
    </message>
    <message>
        <source>This computer does not trust the relay’s certificate. Its fingerprint (SHA-256) is:</source>
        <translation>Ten komputer nie ufa certyfikatowi serwera pośredniczącego. Jego odcisk (SHA-256):</translation>
    </message>
    <message>
        <source>Trust it only if the relay shows the same one.</source>
        <translation>Zaufaj mu tylko wtedy, gdy serwer pośredniczący pokazuje ten sam.</translation>
    </message>
    <message>
        <source>Trust this certificate</source>
        <translation>Ufaj temu certyfikatowi</translation>
    </message>
    <message>
        <source>No relay has been chosen yet</source>
        <translation>Nie wybrano jeszcze serwera pośredniczącego</translation>
    </message>
    <message>
        <source>Connected by another program: %@</source>
        <translation>Połączono przez inny program: %@</translation>
    </message>
    <message>
        <source>The relay is busy.</source>
        <translation>Serwer pośredniczący jest zajęty.</translation>
    </message>
    <message>
        <source>The relay could not be saved. It is used until Orvik quits.</source>
        <translation>Nie udało się zapisać serwera pośredniczącego. Będzie używany, dopóki Orvik działa.</translation>
    </message>
</context>
</TS>
