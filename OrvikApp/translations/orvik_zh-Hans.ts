<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_CN" sourcelanguage="en">
<context>
    <name>Orvik</name>
    <message>
        <source>Orvik</source>
        <translation>Orvik</translation>
    </message>
    <message>
        <source>Add a phone…</source>
        <translation>添加手机…</translation>
    </message>
    <message>
        <source>Resume</source>
        <translation>继续</translation>
    </message>
    <message>
        <source>Pause for 1 hour</source>
        <translation>暂停 1 小时</translation>
    </message>
    <message>
        <source>Disconnect all phones…</source>
        <translation>断开所有手机的连接…</translation>
    </message>
    <message>
        <source>Check for Updates…</source>
        <translation>检查更新…</translation>
    </message>
    <message>
        <source>Quit Orvik</source>
        <translation>退出 Orvik</translation>
    </message>
    <message>
        <source>Paused until %@</source>
        <translation>已暂停至 %@</translation>
    </message>
    <message numerus="yes">
        <source>%lld phones</source>
        <translation>
            <numerusform>%lld 部手机</numerusform>
        </translation>
    </message>
    <message>
        <source>Online</source>
        <translation>在线</translation>
    </message>
    <message>
        <source>Offline – reconnecting…</source>
        <translation>离线，正在重新连接…</translation>
    </message>
    <message>
        <source>Connecting…</source>
        <translation>正在连接…</translation>
    </message>
    <message>
        <source>Pairing lost – add a phone again</source>
        <translation>配对已失效，请重新添加手机</translation>
    </message>
    <message>
        <source>Disconnect all phones?</source>
        <translation>要断开所有手机的连接吗？</translation>
    </message>
    <message>
        <source>Every phone will need to scan the new code.</source>
        <translation>每部手机都需要扫描新的二维码。</translation>
    </message>
    <message>
        <source>Disconnect</source>
        <translation>断开连接</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>取消</translation>
    </message>
    <message>
        <source>Welcome to Orvik</source>
        <translation>欢迎使用 Orvik</translation>
    </message>
    <message>
        <source>Scan with your phone</source>
        <translation>使用手机扫描</translation>
    </message>
    <message>
        <source>Open Orvik on Android and point it at this code.</source>
        <translation>在 Android 上打开 Orvik，对准此二维码。</translation>
    </message>
    <message>
        <source>Open Orvik when the Mac starts</source>
        <translation>Mac 启动时打开 Orvik</translation>
    </message>
    <message>
        <source>Open Orvik when the computer starts</source>
        <translation>电脑启动时打开 Orvik</translation>
    </message>
    <message>
        <source>Point your phone’s camera at this code.</source>
        <translation>将手机摄像头对准此二维码。</translation>
    </message>
    <message>
        <source>Copy link</source>
        <translation>复制链接</translation>
    </message>
    <message>
        <source>Show code</source>
        <translation>显示二维码</translation>
    </message>
    <message>
        <source>Whoever has this link sees this computer’s readings. Treat it like a password.</source>
        <translation>任何人有了此链接都能看到这台电脑的读数。请像对待密码一样对待它。</translation>
    </message>
    <message>
        <source>You’re up to date</source>
        <translation>已是最新版本</translation>
    </message>
    <message>
        <source>Orvik %@ is the newest version.</source>
        <translation>Orvik %@ 是最新版本。</translation>
    </message>
    <message>
        <source>A new version is available</source>
        <translation>有新版本可用</translation>
    </message>
    <message>
        <source>Orvik %@ is available. You have %@.</source>
        <translation>Orvik %@ 已可用。你当前的版本是 %@。</translation>
    </message>
    <message>
        <source>What’s new:</source>
        <translation>更新内容：</translation>
    </message>
    <message>
        <source>Download</source>
        <translation>下载</translation>
    </message>
    <message>
        <source>Later</source>
        <translation>稍后</translation>
    </message>
    <message>
        <source>Could not check for updates</source>
        <translation>无法检查更新</translation>
    </message>
    <message>
        <source>The list of versions could not be read. Try again later.</source>
        <translation>无法读取版本列表。请稍后再试。</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>好</translation>
    </message>
    <message>
        <source>Waiting for the keyring…</source>
        <translation>正在等待密钥环…</translation>
    </message>
    <message>
        <source>Checking for updates…</source>
        <translation>正在检查更新…</translation>
    </message>
    <message>
        <source>The pairing could not be saved. It is valid until Orvik quits.</source>
        <translation>无法保存配对。此配对在退出 Orvik 前有效。</translation>
    </message>
    <message>
        <source>The disconnection could not be stored. Restarting may bring the old phones back.</source>
        <translation>无法保存断开连接的操作。重新启动后，之前的手机可能会重新连接。</translation>
    </message>
    <message>
        <source>Make a new pairing? Every phone will need to scan the new code.</source>
        <translation>要创建新的配对吗？每部手机都需要扫描新的二维码。</translation>
    </message>
    <message>
        <source>Which relay should Orvik use?</source>
        <translation>Orvik 应使用哪个中继服务器？</translation>
    </message>
    <message>
        <source>Address of the relay:</source>
        <translation>中继服务器地址：</translation>
    </message>
    <message>
        <source>Checking the relay…</source>
        <translation>正在检查中继服务器…</translation>
    </message>
    <message>
        <source>The address has to begin with wss:// and name a host.</source>
        <translation>地址必须以 wss:// 开头并包含主机名。</translation>
    </message>
    <message>
        <source>This relay cannot be reached.</source>
        <translation>无法连接到此中继服务器。</translation>
    </message>
    <message>
        <source>No secure connection to this address is possible.</source>
        <translation>无法与此地址建立安全连接。</translation>
    </message>
    <message>
        <source>There is no Orvik relay at this address.</source>
        <translation>此地址没有 Orvik 中继服务器。</translation>
    </message>
    <message>
        <source>This computer does not trust the relay’s certificate. Its fingerprint (SHA-256) is:</source>
        <translation>此电脑不信任该中继服务器的证书。其指纹 (SHA-256) 为：</translation>
    </message>
    <message>
        <source>Trust it only if the relay shows the same one.</source>
        <translation>仅当中继服务器显示相同指纹时才信任。</translation>
    </message>
    <message>
        <source>Trust this certificate</source>
        <translation>信任此证书</translation>
    </message>
    <message>
        <source>No relay has been chosen yet</source>
        <translation>尚未选择中继服务器</translation>
    </message>
    <message>
        <source>Connected by another program: %@</source>
        <translation>已由其他程序连接：%@</translation>
    </message>
    <message>
        <source>The relay is busy.</source>
        <translation>中继服务器繁忙。</translation>
    </message>
    <message>
        <source>The relay could not be saved. It is used until Orvik quits.</source>
        <translation>无法保存中继服务器。退出 Orvik 前将继续使用。</translation>
    </message>
</context>
</TS>
