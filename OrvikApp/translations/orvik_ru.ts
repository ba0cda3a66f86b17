<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru" sourcelanguage="en">
<context>
    <name>Orvik</name>
    <message>
        <source>Orvik</source>
        <translation>Orvik</translation>
    </message>
    <message>
        <source>Add a phone…</source>
        <translation>Добавить телефон…</translation>
    </message>
    <message>
        <source>Resume</source>
        <translation>Возобновить</translation>
    </message>
    <message>
        <source>Pause for 1 hour</source>
        <translation>Приостановить на 1 час</translation>
    </message>
    <message>
        <source>Disconnect all phones…</source>
        <translation>Отключить все телефоны…</translation>
    </message>
    <message>
        <source>Check for Updates…</source>
        <translation>Проверить обновления…</translation>
    </message>
    <message>
        <source>Quit Orvik</source>
        <translation>Завершить Orvik</translation>
    </message>
    <message>
        <source>Paused until %@</source>
        <translation>Приостановлено до %@</translation>
    </message>
    <message numerus="yes">
        <source>%lld phones</source>
        <translation>
            <numerusform>%lld телефон</numerusform>
            <numerusform>%lld телефона</numerusform>
            <numerusform>%lld телефонов</numerusform>
        </translation>
    </message>
    <message>
        <source>Online</source>
        <translation>В сети</translation>
    </message>
    <message>
        <source>Offline – reconnecting…</source>
        <translation>Не в сети — переподключение…</translation>
    </message>
    <message>
        <source>Connecting…</source>
        <translation>Подключение…</translation>
    </message>
    <message>
        <source>Pairing lost – add a phone again</source>
        <translation>Сопряжение потеряно — добавьте телефон снова</translation>
    </message>
    <message>
        <source>Disconnect all phones?</source>
        <translation>Отключить все телефоны?</translation>
    </message>
    <message>
        <source>Every phone will need to scan the new code.</source>
        <translation>На каждом телефоне нужно будет отсканировать новый код.</translation>
    </message>
    <message>
        <source>Disconnect</source>
        <translation>Отключить</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Отменить</translation>
    </message>
    <message>
        <source>Welcome to Orvik</source>
        <translation>Добро пожаловать в Orvik</translation>
    </message>
    <message>
        <source>Scan with your phone</source>
        <translation>Отсканируйте телефоном</translation>
    </message>
    <message>
        <source>Open Orvik on Android and point it at this code.</source>
        <translation>Откройте Orvik на Android и наведите камеру на этот код.</translation>
    </message>
    <message>
        <source>Open Orvik when the Mac starts</source>
        <translation>Открывать Orvik при запуске Mac</translation>
    </message>
    <message>
        <source>Open Orvik when the computer starts</source>
        <translation>Открывать Orvik при запуске компьютера</translation>
    </message>
    <message>
        <source>Point your phone’s camera at this code.</source>
        <translation>Наведите камеру телефона на этот код.</translation>
    </message>
    <message>
        <source>Copy link</source>
        <translation>Скопировать ссылку</translation>
    </message>
    <message>
        <source>Show code</source>
        <translation>Показать код</translation>
    </message>
    <message>
        <source>Whoever has this link sees this computer’s readings. Treat it like a password.</source>
        <translation>Все, у кого есть эта ссылка, видят данные этого компьютера. Обращайтесь с ней как с паролем.</translation>
    </message>
    <message>
        <source>You’re up to date</source>
        <translation>Установлена последняя версия</translation>
    </message>
    <message>
        <source>Orvik %@ is the newest version.</source>
        <translation>Orvik %@ — последняя версия.</translation>
    </message>
    <message>
        <source>A new version is available</source>
        <translation>Доступна новая версия</translation>
    </message>
    <message>
        <source>Orvik %@ is available. You have %@.</source>
        <translation>Доступна версия Orvik %@. Сейчас установлена %@.</translation>
    </message>
    <message>
        <source>What’s new:</source>
        <translation>Что нового:</translation>
    </message>
    <message>
        <source>Download</source>
        <translation>Загрузить</translation>
    </message>
    <message>
        <source>Later</source>
        <translation>Позже</translation>
    </message>
    <message>
        <source>Could not check for updates</source>
        <translation>Не удалось проверить обновления</translation>
    </message>
    <message>
        <source>The list of versions could not be read. Try again later.</source>
        <translation>Не удалось прочитать список версий. Повторите попытку позже.</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>ОК</translation>
    </message>
    <message>
        <source>Waiting for the keyring…</source>
        <translation>Ожидание связки ключей…</translation>
    </message>
    <message>
        <source>Checking for updates…</source>
        <translation>Проверка обновлений…</translation>
    </message>
    <message>
        <source>The pairing could not be saved. It is valid until Orvik quits.</source>
        <translation>Не удалось сохранить сопряжение. Оно действует до завершения работы Orvik.</translation>
    </message>
    <message>
        <source>The disconnection could not be stored. Restarting may bring the old phones back.</source>
        <translation>Не удалось сохранить отключение. После перезапуска прежние телефоны могут снова подключиться.</translation>
    </message>
    <message>
        <source>Make a new pairing? Every phone will need to scan the new code.</source>
        <translation>Создать новое сопряжение? На каждом телефоне нужно будет отсканировать новый код.</translation>
    </message>
    <message>
        <source>Which relay should Orvik use?</source>
        <translation>Какой ретранслятор должен использовать Orvik?</translation>
    </message>
    <message>
        <source>Address of the relay:</source>
        <translation>Адрес ретранслятора:</translation>
    </message>
    <message>
        <source>Checking the relay…</source>
        <translation>Проверка ретранслятора…</translation>
    </message>
    <message>
        <source>The address has to begin with wss:// and name a host.</source>
        <translation>Адрес должен начинаться с wss:// и содержать имя узла.</translation>
    </message>
    <message>
        <source>This relay cannot be reached.</source>
        <translation>Этот ретранслятор недоступен.</translation>
    </message>
    <message>
        <source>No secure connection to this address is possible.</source>
        <translation>Безопасное подключение к этому адресу невозможно.</translation>
    </message>
    <message>
        <source>There is no Orvik relay at this address.</source>
        <translation>По этому адресу нет ретранслятора Orvik.</translation>
    </message>
    <message>
        <source>This computer does not trust the relay’s certificate. Its fingerprint (SHA-256) is:</source>
        <translation>Этот компьютер не доверяет сертификату ретранслятора. Его отпечаток (SHA-256):</translation>
    </message>
    <message>
        <source>Trust it only if the relay shows the same one.</source>
        <translation>Доверяйте ему, только если ретранслятор показывает такой же.</translation>
    </message>
    <message>
        <source>Trust this certificate</source>
        <translation>Доверять этому сертификату</translation>
    </message>
    <message>
        <source>No relay has been chosen yet</source>
        <translation>Ретранслятор ещё не выбран</translation>
    </message>
    <message>
        <source>Connected by another program: %@</source>
        <translation>Подключено другой программой: %@</translation>
    </message>
    <message>
        <source>The relay is busy.</source>
        <translation>Ретранслятор перегружен.</translation>
    </message>
    <message>
        <source>The relay could not be saved. It is used until Orvik quits.</source>
        <translation>Не удалось сохранить ретранслятор. Он используется до завершения работы Orvik.</translation>
    </message>
</context>
</TS>
