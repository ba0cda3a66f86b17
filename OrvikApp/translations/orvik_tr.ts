<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="tr" sourcelanguage="en">
<context>
    <name>Orvik</name>
    <message>
        <source>Orvik</source>
        <translation>Orvik</translation>
    </message>
    <message>
        <source>Add a phone…</source>
        <translation>Telefon ekle…</translation>
    </message>
    <message>
        <source>Resume</source>
        <translation>Sürdür</translation>
    </message>
    <message>
        <source>Pause for 1 hour</source>
        <translation>1 saat duraklat</translation>
    </message>
    <message>
        <source>Disconnect all phones…</source>
        <translation>Tüm telefonların bağlantısını kes…</translation>
    </message>
    <message>
        <source>Check for Updates…</source>
        <translation>Güncellemeleri denetle…</translation>
    </message>
    <message>
        <source>Quit Orvik</source>
        <translation>Orvik’ten çık</translation>
    </message>
    <message>
        <source>Paused until %@</source>
        <translation>%@ saatine kadar duraklatıldı</translation>
    </message>
    <message numerus="yes">
        <source>%lld phones</source>
        <translation>
            <numerusform>%lld telefon</numerusform>
        </translation>
    </message>
    <message>
        <source>Online</source>
        <translation>Çevrimiçi</translation>
    </message>
    <message>
        <source>Offline – reconnecting…</source>
        <translation>Çevrimdışı – yeniden bağlanılıyor…</translation>
    </message>
    <message>
        <source>Connecting…</source>
        <translation>Bağlanılıyor…</translation>
    </message>
    <message>
        <source>Pairing lost – add a phone again</source>
        <translation>Eşleme kayboldu – telefonu yeniden ekleyin</translation>
    </message>
    <message>
        <source>Disconnect all phones?</source>
        <translation>Tüm telefonların bağlantısı kesilsin mi?</translation>
    </message>
    <message>
        <source>Every phone will need to scan the new code.</source>
        <translation>Her telefonun yeni kodu taraması gerekecek.</translation>
    </message>
    <message>
        <source>Disconnect</source>
        <translation>Bağlantıyı kes</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Vazgeç</translation>
    </message>
    <message>
        <source>Welcome to Orvik</source>
        <translation>Orvik’e hoş geldiniz</translation>
    </message>
    <message>
        <source>Scan with your phone</source>
        <translation>Telefonunuzla tarayın</translation>
    </message>
    <message>
        <source>Open Orvik on Android and point it at this code.</source>
        <translation>Orvik’i Android’de açın ve bu koda doğrultun.</translation>
    </message>
    <message>
        <source>Open Orvik when the Mac starts</source>
        <translation>Mac başlatıldığında Orvik’i aç</translation>
    </message>
    <message>
        <source>Open Orvik when the computer starts</source>
        <translation>Bilgisayar başlatıldığında Orvik’i aç</translation>
    </message>
    <message>
        <source>Point your phone’s camera at this code.</source>
        <translation>Telefonunuzun kamerasını bu koda doğrultun.</translation>
    </message>
    <message>
        <source>Copy link</source>
        <translation>Bağlantıyı kopyala</translation>
    </message>
    <message>
        <source>Show code</source>
        <translation>Kodu göster</translation>
    </message>
    <message>
        <source>Whoever has this link sees this computer’s readings. Treat it like a password.</source>
        <translation>Kopyalanan bağlantıyı bilen herkes bu bilgisayarın ölçümlerini görür. Ona bir parola gibi davranın.</translation>
    </message>
    <message>
        <source>You’re up to date</source>
        <translation>Orvik güncel</translation>
    </message>
    <message>
        <source>Orvik %@ is the newest version.</source>
        <translation>Orvik %@ en yeni sürüm.</translation>
    </message>
    <message>
        <source>A new version is available</source>
        <translation>Yeni bir sürüm var</translation>
    </message>
    <message>
        <source>Orvik %@ is available. You have %@.</source>
        <translation>Orvik %@ kullanıma hazır. Yüklü sürüm: %@.</translation>
    </message>
    <message>
        <source>What’s new:</source>
        <translation>Yenilikler:</translation>
    </message>
    <message>
        <source>Download</source>
        <translation>İndir</translation>
    </message>
    <message>
        <source>Later</source>
        <translation>Daha sonra</translation>
    </message>
    <message>
        <source>Could not check for updates</source>
        <translation>Güncellemeler denetlenemedi</translation>
    </message>
    <message>
        <source>The list of versions could not be read. Try again later.</source>
        <translation>Sürüm listesi okunamadı. Daha sonra yeniden deneyin.</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>Tamam</translation>
    </message>
</context>
</TS>
