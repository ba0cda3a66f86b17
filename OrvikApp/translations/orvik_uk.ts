<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="uk" sourcelanguage="en">
<context>
    <name>Orvik</name>
    <message>
        <source>Orvik</source>
        <translation>Orvik</translation>
    </message>
    <message>
        <source>Add a phone…</source>
        <translation>Додати телефон…</translation>
    </message>
    <message>
        <source>Resume</source>
        <translation>Продовжити</translation>
    </message>
    <message>
        <source>Pause for 1 hour</source>
        <translation>Призупинити на 1 годину</translation>
    </message>
    <message>
        <source>Disconnect all phones…</source>
        <translation>Від’єднати всі телефони…</translation>
    </message>
    <message>
        <source>Check for Updates…</source>
        <translation>Перевірити оновлення…</translation>
    </message>
    <message>
        <source>Quit Orvik</source>
        <translation>Завершити Orvik</translation>
    </message>
    <message>
        <source>Paused until %@</source>
        <translation>Призупинено до %@</translation>
    </message>
    <message numerus="yes">
        <source>%lld phones</source>
        <translation>
            <numerusform>%lld телефон</numerusform>
            <numerusform>%lld телефони</numerusform>
            <numerusform>%lld телефонів</numerusform>
        </translation>
    </message>
    <message>
        <source>Online</source>
        <translation>У мережі</translation>
    </message>
    <message>
        <source>Offline – reconnecting…</source>
        <translation>Не в мережі — повторне з’єднання…</translation>
    </message>
    <message>
        <source>Connecting…</source>
        <translation>З’єднання…</translation>
    </message>
    <message>
        <source>Pairing lost – add a phone again</source>
        <translation>Сполучення втрачено — додайте телефон знову</translation>
    </message>
    <message>
        <source>Disconnect all phones?</source>
        <translation>Від’єднати всі телефони?</translation>
    </message>
    <message>
        <source>Every phone will need to scan the new code.</source>
        <translation>На кожному телефоні потрібно буде відсканувати новий код.</translation>
    </message>
    <message>
        <source>Disconnect</source>
        <translation>Від’єднати</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Скасувати</translation>
    </message>
    <message>
        <source>Welcome to Orvik</source>
        <translation>Вітаємо в Orvik</translation>
    </message>
    <message>
        <source>Scan with your phone</source>
        <translation>Відскануйте телефоном</translation>
    </message>
    <message>
        <source>Open Orvik on Android and point it at this code.</source>
        <translation>Відкрийте Orvik на Android і наведіть камеру на цей код.</translation>
    </message>
    <message>
        <source>Open Orvik when the Mac starts</source>
        <translation>Відкривати Orvik під час запуску Mac</translation>
    </message>
    <message>
        <source>Open Orvik when the computer starts</source>
        <translation>Відкривати Orvik під час запуску комп’ютера</translation>
    </message>
    <message>
        <source>Point your phone’s camera at this code.</source>
        <translation>Наведіть камеру телефона на цей код.</translation>
    </message>
    <message>
        <source>Copy link</source>
        <translation>Скопіювати посилання</translation>
    </message>
    <message>
        <source>Show code</source>
        <translation>Показати код</translation>
    </message>
    <message>
        <source>Whoever has this link sees this computer’s readings. Treat it like a password.</source>
        <translation>Усі, хто має це посилання, бачать дані цього комп’ютера. Поводьтеся з ним як із паролем.</translation>
    </message>
    <message>
        <source>You’re up to date</source>
        <translation>У вас найновіша версія</translation>
    </message>
    <message>
        <source>Orvik %@ is the newest version.</source>
        <translation>Orvik %@ — найновіша версія.</translation>
    </message>
    <message>
        <source>A new version is available</source>
        <translation>Доступна нова версія</translation>
    </message>
    <message>
        <source>Orvik %@ is available. You have %@.</source>
        <translation>Доступна версія Orvik %@. Зараз установлено %@.</translation>
    </message>
    <message>
        <source>What’s new:</source>
        <translation>Що нового:</translation>
    </message>
    <message>
        <source>Download</source>
        <translation>Завантажити</translation>
    </message>
    <message>
        <source>Later</source>
        <translation>Пізніше</translation>
    </message>
    <message>
        <source>Could not check for updates</source>
        <translation>Не вдалося перевірити оновлення</translation>
    </message>
    <message>
        <source>The list of versions could not be read. Try again later.</source>
        <translation>Не вдалося прочитати список версій. Спробуйте пізніше.</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>Гаразд</translation>
    </message>
    <message>
        <source>Waiting for the keyring…</source>
        <translation>Очікування на сховище ключів…</translation>
    </message>
    <message>
        <source>Checking for updates…</source>
        <translation>Перевірка оновлень…</translation>
    </message>
    <message>
        <source>The pairing could not be saved. It is valid until Orvik quits.</source>
        <translation>Не вдалося зберегти сполучення. Воно діє до завершення роботи Orvik.</translation>
    </message>
    <message>
        <source>The disconnection could not be stored. Restarting may bring the old phones back.</source>
        <translation>Не вдалося зберегти від’єднання. Після перезапуску попередні телефони можуть знову під’єднатися.</translation>
    </message>
    <message>
        <source>Make a new pairing? Every phone will need to scan the new code.</source>
        <translation>Створити нове сполучення? На кожному телефоні потрібно буде відсканувати новий код.</translation>
    </message>
    <message>
        <source>Which relay should Orvik use?</source>
        <translation>Який ретранслятор має використовувати Orvik?</translation>
    </message>
    <message>
        <source>Address of the relay:</source>
        <translation>Адреса ретранслятора:</translation>
    </message>
    <message>
        <source>Checking the relay…</source>
        <translation>Перевірка ретранслятора…</translation>
    </message>
    <message>
        <source>The address has to begin with wss:// and name a host.</source>
        <translation>Адреса має починатися з wss:// і містити ім’я вузла.</translation>
    </message>
    <message>
        <source>This relay cannot be reached.</source>
        <translation>Цей ретранслятор недоступний.</translation>
    </message>
    <message>
        <source>No secure connection to this address is possible.</source>
        <translation>Безпечне з’єднання з цією адресою неможливе.</translation>
    </message>
    <message>
        <source>There is no Orvik relay at this address.</source>
        <translation>За цією адресою немає ретранслятора Orvik.</translation>
    </message>
    <message>
        <source>This computer does not trust the relay’s certificate. Its fingerprint (SHA-256) is:</source>
        <translation>Цей комп’ютер не довіряє сертифікату ретранслятора. Його відбиток (SHA-256):</translation>
    </message>
    <message>
        <source>Trust it only if the relay shows the same one.</source>
        <translation>Довіряйте йому, лише якщо ретранслятор показує такий самий.</translation>
    </message>
    <message>
        <source>Trust this certificate</source>
        <translation>Довіряти цьому сертифікату</translation>
    </message>
    <message>
        <source>No relay has been chosen yet</source>
        <translation>Ретранслятор ще не вибрано</translation>
    </message>
    <message>
        <source>Connected by another program: %@</source>
        <translation>Під’єднано іншою програмою: %@</translation>
    </message>
    <message>
        <source>The relay is busy.</source>
        <translation>Ретранслятор перевантажено.</translation>
    </message>
    <message>
        <source>The relay could not be saved. It is used until Orvik quits.</source>
        <translation>Не вдалося зберегти ретранслятор. Він використовується до завершення роботи Orvik.</translation>
    </message>
</context>
</TS>
