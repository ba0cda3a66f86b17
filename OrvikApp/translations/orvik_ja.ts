<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ja" sourcelanguage="en">
<context>
    <name>Orvik</name>
    <message>
        <source>Orvik</source>
        <translation>Orvik</translation>
    </message>
    <message>
        <source>Add a phone…</source>
        <translation>スマートフォンを追加…</translation>
    </message>
    <message>
        <source>Resume</source>
        <translation>再開</translation>
    </message>
    <message>
        <source>Pause for 1 hour</source>
        <translation>1時間一時停止</translation>
    </message>
    <message>
        <source>Disconnect all phones…</source>
        <translation>すべてのスマートフォンの接続を解除…</translation>
    </message>
    <message>
        <source>Check for Updates…</source>
        <translation>アップデートを確認…</translation>
    </message>
    <message>
        <source>Quit Orvik</source>
        <translation>Orvikを終了</translation>
    </message>
    <message>
        <source>Paused until %@</source>
        <translation>%@まで一時停止中</translation>
    </message>
    <message numerus="yes">
        <source>%lld phones</source>
        <translation>
            <numerusform>スマートフォン%lld台</numerusform>
        </translation>
    </message>
    <message>
        <source>Online</source>
        <translation>オンライン</translation>
    </message>
    <message>
        <source>Offline – reconnecting…</source>
        <translation>オフライン：再接続中…</translation>
    </message>
    <message>
        <source>Connecting…</source>
        <translation>接続中…</translation>
    </message>
    <message>
        <source>Pairing lost – add a phone again</source>
        <translation>ペアリングが無効になりました。スマートフォンを追加し直してください</translation>
    </message>
    <message>
        <source>Disconnect all phones?</source>
        <translation>すべてのスマートフォンの接続を解除しますか？</translation>
    </message>
    <message>
        <source>Every phone will need to scan the new code.</source>
        <translation>すべてのスマートフォンで新しいコードをスキャンする必要があります。</translation>
    </message>
    <message>
        <source>Disconnect</source>
        <translation>接続を解除</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>キャンセル</translation>
    </message>
    <message>
        <source>Welcome to Orvik</source>
        <translation>Orvikへようこそ</translation>
    </message>
    <message>
        <source>Scan with your phone</source>
        <translation>スマートフォンでスキャン</translation>
    </message>
    <message>
        <source>Open Orvik on Android and point it at this code.</source>
        <translation>AndroidでOrvikを開き、&#x200b;カメラをこのコードに向けてください。</translation>
    </message>
    <message>
        <source>Open Orvik when the Mac starts</source>
        <translation>Macの起動時にOrvikを開く</translation>
    </message>
    <message>
        <source>Open Orvik when the computer starts</source>
        <translation>コンピューターの起動時にOrvikを開く</translation>
    </message>
    <message>
        <source>Point your phone’s camera at this code.</source>
        <translation>スマートフォンのカメラをこのコードに向けてください。</translation>
    </message>
    <message>
        <source>Copy link</source>
        <translation>リンクをコピー</translation>
    </message>
    <message>
        <source>Show code</source>
        <translation>コードを表示</translation>
    </message>
    <message>
        <source>Whoever has this link sees this computer’s readings. Treat it like a password.</source>
        <translation>このリンクを持つ人は誰でも、このコンピューターのデータを見ることができます。パスワードと同じように扱ってください。</translation>
    </message>
    <message>
        <source>You’re up to date</source>
        <translation>Orvikは最新です</translation>
    </message>
    <message>
        <source>Orvik %@ is the newest version.</source>
        <translation>Orvik %@は最新のバージョンです。</translation>
    </message>
    <message>
        <source>A new version is available</source>
        <translation>新しいバージョンがあります</translation>
    </message>
    <message>
        <source>Orvik %@ is available. You have %@.</source>
        <translation>Orvik %@を利用できます。お使いのバージョンは%@です。</translation>
    </message>
    <message>
        <source>What’s new:</source>
        <translation>新機能：</translation>
    </message>
    <message>
        <source>Download</source>
        <translation>ダウンロード</translation>
    </message>
    <message>
        <source>Later</source>
        <translation>あとで</translation>
    </message>
    <message>
        <source>Could not check for updates</source>
        <translation>アップデートを確認できませんでした</translation>
    </message>
    <message>
        <source>The list of versions could not be read. Try again later.</source>
        <translation>バージョンの一覧を読み込めませんでした。あとでもう一度お試しください。</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Waiting for the keyring…</source>
        <translation>キーリングの応答を待っています…</translation>
    </message>
    <message>
        <source>Checking for updates…</source>
        <translation>アップデートを確認中…</translation>
    </message>
    <message>
        <source>The pairing could not be saved. It is valid until Orvik quits.</source>
        <translation>ペアリングを保存できませんでした。Orvikを終了するまで有効です。</translation>
    </message>
    <message>
        <source>The disconnection could not be stored. Restarting may bring the old phones back.</source>
        <translation>接続の解除を保存できませんでした。再起動すると、以前のスマートフォンが再び接続されることがあります。</translation>
    </message>
    <message>
        <source>Make a new pairing? Every phone will need to scan the new code.</source>
        <translation>新しいペアリングを作成しますか？すべてのスマートフォンで新しいコードをスキャンする必要があります。</translation>
    </message>
    <message>
        <source>Which relay should Orvik use?</source>
        <translation>Orvikでどの中継サーバーを使いますか？</translation>
    </message>
    <message>
        <source>Address of the relay:</source>
        <translation>中継サーバーのアドレス：</translation>
    </message>
    <message>
        <source>Checking the relay…</source>
        <translation>中継サーバーを確認中…</translation>
    </message>
    <message>
        <source>The address has to begin with wss:// and name a host.</source>
        <translation>アドレスはwss://で始まり、ホスト名を含む必要があります。</translation>
    </message>
    <message>
        <source>This relay cannot be reached.</source>
        <translation>この中継サーバーに接続できません。</translation>
    </message>
    <message>
        <source>No secure connection to this address is possible.</source>
        <translation>このアドレスには安全に接続できません。</translation>
    </message>
    <message>
        <source>There is no Orvik relay at this address.</source>
        <translation>このアドレスにOrvikの中継サーバーはありません。</translation>
    </message>
    <message>
        <source>This computer does not trust the relay’s certificate. Its fingerprint (SHA-256) is:</source>
        <translation>このコンピューターは中継サーバーの証明書を信頼していません。フィンガープリント（SHA-256）：</translation>
    </message>
    <message>
        <source>Trust it only if the relay shows the same one.</source>
        <translation>中継サーバーに同じ値が表示される場合にのみ信頼してください。</translation>
    </message>
    <message>
        <source>Trust this certificate</source>
        <translation>この証明書を信頼する</translation>
    </message>
    <message>
        <source>No relay has been chosen yet</source>
        <translation>中継サーバーが選択されていません</translation>
    </message>
    <message>
        <source>Connected by another program: %@</source>
        <translation>別のプログラムが接続中：%@</translation>
    </message>
    <message>
        <source>The relay is busy.</source>
        <translation>中継サーバーが混み合っています。</translation>
    </message>
    <message>
        <source>The relay could not be saved. It is used until Orvik quits.</source>
        <translation>中継サーバーを保存できませんでした。Orvikを終了するまで使用されます。</translation>
    </message>
</context>
</TS>
