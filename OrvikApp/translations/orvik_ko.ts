<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ko" sourcelanguage="en">
<context>
    <name>Orvik</name>
    <message>
        <source>Orvik</source>
        <translation>Orvik</translation>
    </message>
    <message>
        <source>Add a phone…</source>
        <translation>휴대폰 추가…</translation>
    </message>
    <message>
        <source>Resume</source>
        <translation>재개</translation>
    </message>
    <message>
        <source>Pause for 1 hour</source>
        <translation>1시간 동안 일시 정지</translation>
    </message>
    <message>
        <source>Disconnect all phones…</source>
        <translation>모든 휴대폰 연결 해제…</translation>
    </message>
    <message>
        <source>Check for Updates…</source>
        <translation>업데이트 확인…</translation>
    </message>
    <message>
        <source>Quit Orvik</source>
        <translation>Orvik 종료</translation>
    </message>
    <message>
        <source>Paused until %@</source>
        <translation>%@까지 일시 정지됨</translation>
    </message>
    <message numerus="yes">
        <source>%lld phones</source>
        <translation>
            <numerusform>휴대폰 %lld대</numerusform>
        </translation>
    </message>
    <message>
        <source>Online</source>
        <translation>온라인</translation>
    </message>
    <message>
        <source>Offline – reconnecting…</source>
        <translation>오프라인 – 다시 연결 중…</translation>
    </message>
    <message>
        <source>Connecting…</source>
        <translation>연결 중…</translation>
    </message>
    <message>
        <source>Pairing lost – add a phone again</source>
        <translation>페어링 끊김 – 휴대폰을 다시 추가하세요</translation>
    </message>
    <message>
        <source>Disconnect all phones?</source>
        <translation>모든 휴대폰의 연결을 해제할까요?</translation>
    </message>
    <message>
        <source>Every phone will need to scan the new code.</source>
        <translation>모든 휴대폰에서 새 코드를 스캔해야 합니다.</translation>
    </message>
    <message>
        <source>Disconnect</source>
        <translation>연결 해제</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>취소</translation>
    </message>
    <message>
        <source>Welcome to Orvik</source>
        <translation>Orvik에 오신 것을 환영합니다</translation>
    </message>
    <message>
        <source>Scan with your phone</source>
        <translation>휴대폰으로 스캔하세요</translation>
    </message>
    <message>
        <source>Open Orvik on Android and point it at this code.</source>
        <translation>Android에서 Orvik을 열고 이 코드를 비추세요.</translation>
    </message>
    <message>
        <source>Open Orvik when the Mac starts</source>
        <translation>Mac이 시작될 때 Orvik 열기</translation>
    </message>
    <message>
        <source>Open Orvik when the computer starts</source>
        <translation>컴퓨터를 시작할 때 Orvik 열기</translation>
    </message>
    <message>
        <source>Point your phone’s camera at this code.</source>
        <translation>휴대폰 카메라로 이 코드를 비추세요.</translation>
    </message>
    <message>
        <source>Copy link</source>
        <translation>링크 복사</translation>
    </message>
    <message>
        <source>Show code</source>
        <translation>코드 표시</translation>
    </message>
    <message>
        <source>Whoever has this link sees this computer’s readings. Treat it like a password.</source>
        <translation>이 링크가 있는 사람은 누구나 이 컴퓨터의 측정값을 볼 수 있습니다. 비밀번호처럼 다루세요.</translation>
    </message>
    <message>
        <source>You’re up to date</source>
        <translation>최신 버전입니다</translation>
    </message>
    <message>
        <source>Orvik %@ is the newest version.</source>
        <translation>최신 버전은 Orvik %@입니다.</translation>
    </message>
    <message>
        <source>A new version is available</source>
        <translation>새로운 버전이 있습니다</translation>
    </message>
    <message>
        <source>Orvik %@ is available. You have %@.</source>
        <translation>Orvik %@ 버전을 사용할 수 있습니다. 현재 버전은 %@입니다.</translation>
    </message>
    <message>
        <source>What’s new:</source>
        <translation>새로운 기능:</translation>
    </message>
    <message>
        <source>Download</source>
        <translation>다운로드</translation>
    </message>
    <message>
        <source>Later</source>
        <translation>나중에</translation>
    </message>
    <message>
        <source>Could not check for updates</source>
        <translation>업데이트를 확인할 수 없습니다</translation>
    </message>
    <message>
        <source>The list of versions could not be read. Try again later.</source>
        <translation>버전 목록을 읽을 수 없습니다. 나중에 다시 시도하세요.</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>확인</translation>
    </message>
    <message>
        <source>Waiting for the keyring…</source>
        <translation>키 모음을 기다리는 중…</translation>
    </message>
    <message>
        <source>Checking for updates…</source>
        <translation>업데이트 확인 중…</translation>
    </message>
    <message>
        <source>The pairing could not be saved. It is valid until Orvik quits.</source>
        <translation>페어링을 저장하지 못했습니다. Orvik을 종료할 때까지만 유효합니다.</translation>
    </message>
    <message>
        <source>The disconnection could not be stored. Restarting may bring the old phones back.</source>
        <translation>연결 해제를 저장하지 못했습니다. 다시 시작하면 이전 휴대폰이 다시 연결될 수 있습니다.</translation>
    </message>
    <message>
        <source>Make a new pairing? Every phone will need to scan the new code.</source>
        <translation>새 페어링을 만들까요? 모든 휴대폰에서 새 코드를 스캔해야 합니다.</translation>
    </message>
    <message>
        <source>Which relay should Orvik use?</source>
        <translation>Orvik에서 어떤 중계 서버를 사용할까요?</translation>
    </message>
    <message>
        <source>Address of the relay:</source>
        <translation>중계 서버 주소:</translation>
    </message>
    <message>
        <source>Checking the relay…</source>
        <translation>중계 서버 확인 중…</translation>
    </message>
    <message>
        <source>The address has to begin with wss:// and name a host.</source>
        <translation>주소는 wss://로 시작하고 호스트 이름이 있어야 합니다.</translation>
    </message>
    <message>
        <source>This relay cannot be reached.</source>
        <translation>이 중계 서버에 연결할 수 없습니다.</translation>
    </message>
    <message>
        <source>No secure connection to this address is possible.</source>
        <translation>이 주소에 안전하게 연결할 수 없습니다.</translation>
    </message>
    <message>
        <source>There is no Orvik relay at this address.</source>
        <translation>이 주소에는 Orvik 중계 서버가 없습니다.</translation>
    </message>
    <message>
        <source>This computer does not trust the relay’s certificate. Its fingerprint (SHA-256) is:</source>
        <translation>이 컴퓨터는 중계 서버의 인증서를 신뢰하지 않습니다. 지문(SHA-256):</translation>
    </message>
    <message>
        <source>Trust it only if the relay shows the same one.</source>
        <translation>중계 서버에 같은 지문이 표시될 때만 신뢰하세요.</translation>
    </message>
    <message>
        <source>Trust this certificate</source>
        <translation>이 인증서 신뢰</translation>
    </message>
    <message>
        <source>No relay has been chosen yet</source>
        <translation>아직 중계 서버를 선택하지 않음</translation>
    </message>
    <message>
        <source>Connected by another program: %@</source>
        <translation>다른 프로그램이 연결됨: %@</translation>
    </message>
    <message>
        <source>The relay is busy.</source>
        <translation>중계 서버에 접속이 많습니다.</translation>
    </message>
    <message>
        <source>The relay could not be saved. It is used until Orvik quits.</source>
        <translation>중계 서버를 저장하지 못했습니다. Orvik을 종료할 때까지만 사용됩니다.</translation>
    </message>
</context>
</TS>
