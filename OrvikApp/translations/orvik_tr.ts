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
    <message>
        <source>Waiting for the keyring…</source>
        <translation>Anahtarlık bekleniyor…</translation>
    </message>
    <message>
        <source>Checking for updates…</source>
        <translation>Güncellemeler denetleniyor…</translation>
    </message>
    <message>
        <source>The pairing could not be saved. It is valid until Orvik quits.</source>
        <translation>Eşleme kaydedilemedi. Orvik’ten çıkılana kadar geçerlidir.</translation>
    </message>
    <message>
        <source>The disconnection could not be stored. Restarting may bring the old phones back.</source>
        <translation>Bağlantının kesildiği kaydedilemedi. Yeniden başlatınca eski telefonlar tekrar bağlanabilir.</translation>
    </message>
    <message>
        <source>Make a new pairing? Every phone will need to scan the new code.</source>
        <translation>Yeni bir eşleme oluşturulsun mu? Her telefonun yeni kodu taraması gerekecek.</translation>
    </message>
    <message>
        <source>Which relay should Orvik use?</source>
        <translation>Orvik hangi aktarma sunucusunu kullansın?</translation>
    </message>
    <message>
        <source>Address of the relay:</source>
        <translation>Aktarma sunucusunun adresi:</translation>
    </message>
    <message>
        <source>Checking the relay…</source>
        <translation>Aktarma sunucusu denetleniyor…</translation>
    </message>
    <message>
        <source>The address has to begin with wss:// and name a host.</source>
        <translation>Adres wss:// ile başlamalı ve bir ana makine adı içermelidir.</translation>
    </message>
    <message>
        <source>This relay cannot be reached.</source>
        <translation>Bu aktarma sunucusuna ulaşılamıyor.</translation>
    </message>
    <message>
        <source>No secure connection to this address is possible.</source>
        <translation>Bu adresle güvenli bağlantı kurulamıyor.</translation>
    </message>
    <message>
        <source>There is no Orvik relay at this address.</source>
        <translation>Bu adreste Orvik aktarma sunucusu yok.</translation>
    </message>
    <message>
        <source>This computer does not trust the relay’s certificate. Its fingerprint (SHA-256) is:</source>
        <translation>Bu bilgisayar aktarma sunucusunun sertifikasına güvenmiyor. Parmak izi (SHA-256):</translation>
    </message>
    <message>
        <source>Trust it only if the relay shows the same one.</source>
        <translation>Yalnızca aktarma sunucusu aynısını gösteriyorsa güvenin.</translation>
    </message>
    <message>
        <source>Trust this certificate</source>
        <translation>Bu sertifikaya güven</translation>
    </message>
    <message>
        <source>No relay has been chosen yet</source>
        <translation>Henüz aktarma sunucusu seçilmedi</translation>
    </message>
    <message>
        <source>Connected by another program: %@</source>
        <translation>Başka bir program bağlı: %@</translation>
    </message>
    <message>
        <source>The relay is busy.</source>
        <translation>Aktarma sunucusu meşgul.</translation>
    </message>
    <message>
        <source>The relay could not be saved. It is used until Orvik quits.</source>
        <translation>Aktarma sunucusu kaydedilemedi. Orvik’ten çıkılana kadar kullanılır.</translation>
    </message>
</context>
</TS>
