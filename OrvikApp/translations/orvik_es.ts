<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="es" sourcelanguage="en">
<context>
    <name>Orvik</name>
    <message>
        <source>Orvik</source>
        <translation>Orvik</translation>
    </message>
    <message>
        <source>Add a phone…</source>
        <translation>Añadir un teléfono…</translation>
    </message>
    <message>
        <source>Resume</source>
        <translation>Reanudar</translation>
    </message>
    <message>
        <source>Pause for 1 hour</source>
        <translation>Pausar durante 1 hora</translation>
    </message>
    <message>
        <source>Disconnect all phones…</source>
        <translation>Desconectar todos los teléfonos…</translation>
    </message>
    <message>
        <source>Check for Updates…</source>
        <translation>Buscar actualizaciones…</translation>
    </message>
    <message>
        <source>Quit Orvik</source>
        <translation>Salir de Orvik</translation>
    </message>
    <message>
        <source>Paused until %@</source>
        <translation>En pausa hasta: %@</translation>
    </message>
    <message numerus="yes">
        <source>%lld phones</source>
        <translation>
            <numerusform>%lld teléfono</numerusform>
            <numerusform>%lld teléfonos</numerusform>
        </translation>
    </message>
    <message>
        <source>Online</source>
        <translation>En línea</translation>
    </message>
    <message>
        <source>Offline – reconnecting…</source>
        <translation>Sin conexión – reconectando…</translation>
    </message>
    <message>
        <source>Connecting…</source>
        <translation>Conectando…</translation>
    </message>
    <message>
        <source>Pairing lost – add a phone again</source>
        <translation>Vinculación perdida – vuelve a añadir un teléfono</translation>
    </message>
    <message>
        <source>Disconnect all phones?</source>
        <translation>¿Desconectar todos los teléfonos?</translation>
    </message>
    <message>
        <source>Every phone will need to scan the new code.</source>
        <translation>Cada teléfono tendrá que escanear el nuevo código.</translation>
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
        <translation>Te damos la bienvenida a Orvik</translation>
    </message>
    <message>
        <source>Scan with your phone</source>
        <translation>Escanea con tu teléfono</translation>
    </message>
    <message>
        <source>Open Orvik on Android and point it at this code.</source>
        <translation>Abre Orvik en Android y apunta a este código.</translation>
    </message>
    <message>
        <source>Open Orvik when the Mac starts</source>
        <translation>Abrir Orvik al iniciar el Mac</translation>
    </message>
    <message>
        <source>Open Orvik when the computer starts</source>
        <translation>Abrir Orvik al iniciar el equipo</translation>
    </message>
    <message>
        <source>Point your phone’s camera at this code.</source>
        <translation>Apunta con la cámara del teléfono a este código.</translation>
    </message>
    <message>
        <source>Copy link</source>
        <translation>Copiar enlace</translation>
    </message>
    <message>
        <source>Show code</source>
        <translation>Mostrar código</translation>
    </message>
    <message>
        <source>Whoever has this link sees this computer’s readings. Treat it like a password.</source>
        <translation>Quien tenga este enlace ve las lecturas de este equipo. Trátalo como una contraseña.</translation>
    </message>
    <message>
        <source>You’re up to date</source>
        <translation>Orvik está actualizado</translation>
    </message>
    <message>
        <source>Orvik %@ is the newest version.</source>
        <translation>Orvik %@ es la versión más reciente.</translation>
    </message>
    <message>
        <source>A new version is available</source>
        <translation>Hay una nueva versión disponible</translation>
    </message>
    <message>
        <source>Orvik %@ is available. You have %@.</source>
        <translation>Orvik %@ está disponible. Tienes la versión %@.</translation>
    </message>
    <message>
        <source>What’s new:</source>
        <translation>Novedades:</translation>
    </message>
    <message>
        <source>Download</source>
        <translation>Descargar</translation>
    </message>
    <message>
        <source>Later</source>
        <translation>Más tarde</translation>
    </message>
    <message>
        <source>Could not check for updates</source>
        <translation>No se pudieron buscar actualizaciones</translation>
    </message>
    <message>
        <source>The list of versions could not be read. Try again later.</source>
        <translation>No se pudo leer la lista de versiones. Inténtalo de nuevo más tarde.</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>Aceptar</translation>
    </message>
    <message>
        <source>Waiting for the keyring…</source>
        <translation>Esperando el depósito de claves…</translation>
    </message>
    <message>
        <source>Checking for updates…</source>
        <translation>Buscando actualizaciones…</translation>
    </message>
    <message>
        <source>The pairing could not be saved. It is valid until Orvik quits.</source>
        <translation>No se pudo guardar la vinculación. Será válida hasta que salgas de Orvik.</translation>
    </message>
    <message>
        <source>The disconnection could not be stored. Restarting may bring the old phones back.</source>
        <translation>No se pudo guardar la desconexión. Tras un reinicio, los teléfonos anteriores podrían volver a conectarse.</translation>
    </message>
    <message>
        <source>Make a new pairing? Every phone will need to scan the new code.</source>
        <translation>¿Crear una vinculación nueva? Cada teléfono tendrá que escanear el nuevo código.</translation>
    </message>
    <message>
        <source>Which relay should Orvik use?</source>
        <translation>¿Qué servidor de retransmisión debe usar Orvik?</translation>
    </message>
    <message>
        <source>Address of the relay:</source>
        <translation>Dirección del servidor de retransmisión:</translation>
    </message>
    <message>
        <source>Checking the relay…</source>
        <translation>Comprobando el servidor de retransmisión…</translation>
    </message>
    <message>
        <source>The address has to begin with wss:// and name a host.</source>
        <translation>La dirección debe empezar por wss:// e indicar un host.</translation>
    </message>
    <message>
        <source>This relay cannot be reached.</source>
        <translation>No se puede acceder a este servidor de retransmisión.</translation>
    </message>
    <message>
        <source>No secure connection to this address is possible.</source>
        <translation>No es posible una conexión segura con esta dirección.</translation>
    </message>
    <message>
        <source>There is no Orvik relay at this address.</source>
        <translation>No hay ningún servidor de retransmisión de Orvik en esta dirección.</translation>
    </message>
    <message>
        <source>This computer does not trust the relay’s certificate. Its fingerprint (SHA-256) is:</source>
        <translation>Este equipo no confía en el certificado del servidor de retransmisión. Su huella digital (SHA-256) es:</translation>
    </message>
    <message>
        <source>Trust it only if the relay shows the same one.</source>
        <translation>Confía en él solo si el servidor de retransmisión muestra la misma.</translation>
    </message>
    <message>
        <source>Trust this certificate</source>
        <translation>Confiar en este certificado</translation>
    </message>
    <message>
        <source>No relay has been chosen yet</source>
        <translation>Aún no se ha elegido ningún servidor de retransmisión</translation>
    </message>
    <message>
        <source>Connected by another program: %@</source>
        <translation>Conectado por otro programa: %@</translation>
    </message>
    <message>
        <source>The relay is busy.</source>
        <translation>El servidor de retransmisión está ocupado.</translation>
    </message>
    <message>
        <source>The relay could not be saved. It is used until Orvik quits.</source>
        <translation>No se pudo guardar el servidor de retransmisión. Se usará hasta que salgas de Orvik.</translation>
    </message>
</context>
</TS>
