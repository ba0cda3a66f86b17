<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="pt_BR" sourcelanguage="en">
<context>
    <name>Orvik</name>
    <message>
        <source>Orvik</source>
        <translation>Orvik</translation>
    </message>
    <message>
        <source>Add a phone…</source>
        <translation>Adicionar um celular…</translation>
    </message>
    <message>
        <source>Resume</source>
        <translation>Retomar</translation>
    </message>
    <message>
        <source>Pause for 1 hour</source>
        <translation>Pausar por 1 hora</translation>
    </message>
    <message>
        <source>Disconnect all phones…</source>
        <translation>Desconectar todos os celulares…</translation>
    </message>
    <message>
        <source>Check for Updates…</source>
        <translation>Verificar atualizações…</translation>
    </message>
    <message>
        <source>Quit Orvik</source>
        <translation>Encerrar o Orvik</translation>
    </message>
    <message>
        <source>Paused until %@</source>
        <translation>Em pausa até %@</translation>
    </message>
    <message numerus="yes">
        <source>%lld phones</source>
        <translation>
            <numerusform>%lld celular</numerusform>
            <numerusform>%lld celulares</numerusform>
        </translation>
    </message>
    <message>
        <source>Online</source>
        <translation>Online</translation>
    </message>
    <message>
        <source>Offline – reconnecting…</source>
        <translation>Offline – reconectando…</translation>
    </message>
    <message>
        <source>Connecting…</source>
        <translation>Conectando…</translation>
    </message>
    <message>
        <source>Pairing lost – add a phone again</source>
        <translation>Emparelhamento perdido – adicione um celular novamente</translation>
    </message>
    <message>
        <source>Disconnect all phones?</source>
        <translation>Desconectar todos os celulares?</translation>
    </message>
    <message>
        <source>Every phone will need to scan the new code.</source>
        <translation>Todos os celulares precisarão escanear o novo código.</translation>
    </message>
    <message>
        <source>Disconnect</source>
        <translation>Desconectar</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Cancelar</translation>
    </message>
    <message>
        <source>Welcome to Orvik</source>
        <translation>Boas-vindas ao Orvik</translation>
    </message>
    <message>
        <source>Scan with your phone</source>
        <translation>Escaneie com o celular</translation>
    </message>
    <message>
        <source>Open Orvik on Android and point it at this code.</source>
        <translation>Abra o Orvik no Android e aponte-o para este código.</translation>
    </message>
    <message>
        <source>Open Orvik when the Mac starts</source>
        <translation>Abrir o Orvik ao iniciar o Mac</translation>
    </message>
    <message>
        <source>Open Orvik when the computer starts</source>
        <translation>Abrir o Orvik ao iniciar o computador</translation>
    </message>
    <message>
        <source>Point your phone’s camera at this code.</source>
        <translation>Aponte a câmera do celular para este código.</translation>
    </message>
    <message>
        <source>Copy link</source>
        <translation>Copiar link</translation>
    </message>
    <message>
        <source>Show code</source>
        <translation>Mostrar código</translation>
    </message>
    <message>
        <source>Whoever has this link sees this computer’s readings. Treat it like a password.</source>
        <translation>Quem tiver este link vê as leituras deste computador. Trate-o como uma senha.</translation>
    </message>
    <message>
        <source>You’re up to date</source>
        <translation>O Orvik está atualizado</translation>
    </message>
    <message>
        <source>Orvik %@ is the newest version.</source>
        <translation>O Orvik %@ é a versão mais recente.</translation>
    </message>
    <message>
        <source>A new version is available</source>
        <translation>Uma nova versão está disponível</translation>
    </message>
    <message>
        <source>Orvik %@ is available. You have %@.</source>
        <translation>O Orvik %@ está disponível. Você tem a versão %@.</translation>
    </message>
    <message>
        <source>What’s new:</source>
        <translation>Novidades:</translation>
    </message>
    <message>
        <source>Download</source>
        <translation>Baixar</translation>
    </message>
    <message>
        <source>Later</source>
        <translation>Mais tarde</translation>
    </message>
    <message>
        <source>Could not check for updates</source>
        <translation>Não foi possível verificar se há atualizações</translation>
    </message>
    <message>
        <source>The list of versions could not be read. Try again later.</source>
        <translation>Não foi possível ler a lista de versões. Tente novamente mais tarde.</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Waiting for the keyring…</source>
        <translation>Aguardando o chaveiro…</translation>
    </message>
    <message>
        <source>Checking for updates…</source>
        <translation>Verificando atualizações…</translation>
    </message>
    <message>
        <source>The pairing could not be saved. It is valid until Orvik quits.</source>
        <translation>Não foi possível salvar o emparelhamento. Ele vale até o Orvik ser encerrado.</translation>
    </message>
    <message>
        <source>The disconnection could not be stored. Restarting may bring the old phones back.</source>
        <translation>Não foi possível salvar a desconexão. Ao reiniciar, os celulares antigos podem voltar a se conectar.</translation>
    </message>
    <message>
        <source>Make a new pairing? Every phone will need to scan the new code.</source>
        <translation>Criar um novo emparelhamento? Todos os celulares precisarão escanear o novo código.</translation>
    </message>
    <message>
        <source>Which relay should Orvik use?</source>
        <translation>Qual servidor de retransmissão o Orvik deve usar?</translation>
    </message>
    <message>
        <source>Address of the relay:</source>
        <translation>Endereço do servidor de retransmissão:</translation>
    </message>
    <message>
        <source>Checking the relay…</source>
        <translation>Verificando o servidor de retransmissão…</translation>
    </message>
    <message>
        <source>The address has to begin with wss:// and name a host.</source>
        <translation>O endereço precisa começar com wss:// e indicar um host.</translation>
    </message>
    <message>
        <source>This relay cannot be reached.</source>
        <translation>Não foi possível acessar este servidor de retransmissão.</translation>
    </message>
    <message>
        <source>No secure connection to this address is possible.</source>
        <translation>Não é possível uma conexão segura com este endereço.</translation>
    </message>
    <message>
        <source>There is no Orvik relay at this address.</source>
        <translation>Não há um servidor de retransmissão do Orvik neste endereço.</translation>
    </message>
    <message>
        <source>This computer does not trust the relay’s certificate. Its fingerprint (SHA-256) is:</source>
        <translation>Este computador não confia no certificado do servidor de retransmissão. A impressão digital (SHA-256) é:</translation>
    </message>
    <message>
        <source>Trust it only if the relay shows the same one.</source>
        <translation>Confie nele somente se o servidor de retransmissão mostrar a mesma.</translation>
    </message>
    <message>
        <source>Trust this certificate</source>
        <translation>Confiar neste certificado</translation>
    </message>
    <message>
        <source>No relay has been chosen yet</source>
        <translation>Nenhum servidor de retransmissão foi escolhido ainda</translation>
    </message>
    <message>
        <source>Connected by another program: %@</source>
        <translation>Conectado por outro programa: %@</translation>
    </message>
    <message>
        <source>The relay is busy.</source>
        <translation>O servidor de retransmissão está ocupado.</translation>
    </message>
    <message>
        <source>The relay could not be saved. It is used until Orvik quits.</source>
        <translation>Não foi possível salvar o servidor de retransmissão. Ele será usado até o Orvik ser encerrado.</translation>
    </message>
</context>
</TS>
