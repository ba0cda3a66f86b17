<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr" sourcelanguage="en">
<context>
    <name>Orvik</name>
    <message>
        <source>Orvik</source>
        <translation>Orvik</translation>
    </message>
    <message>
        <source>Add a phone…</source>
        <translation>Ajouter un téléphone…</translation>
    </message>
    <message>
        <source>Resume</source>
        <translation>Reprendre</translation>
    </message>
    <message>
        <source>Pause for 1 hour</source>
        <translation>Suspendre pendant 1 heure</translation>
    </message>
    <message>
        <source>Disconnect all phones…</source>
        <translation>Déconnecter tous les téléphones…</translation>
    </message>
    <message>
        <source>Check for Updates…</source>
        <translation>Rechercher des mises à jour…</translation>
    </message>
    <message>
        <source>Quit Orvik</source>
        <translation>Quitter Orvik</translation>
    </message>
    <message>
        <source>Paused until %@</source>
        <translation>Suspendu jusqu’à %@</translation>
    </message>
    <message numerus="yes">
        <source>%lld phones</source>
        <translation>
            <numerusform>%lld téléphone</numerusform>
            <numerusform>%lld téléphones</numerusform>
        </translation>
    </message>
    <message>
        <source>Online</source>
        <translation>En ligne</translation>
    </message>
    <message>
        <source>Offline – reconnecting…</source>
        <translation>Hors ligne – reconnexion…</translation>
    </message>
    <message>
        <source>Connecting…</source>
        <translation>Connexion…</translation>
    </message>
    <message>
        <source>Pairing lost – add a phone again</source>
        <translation>Jumelage perdu – ajoutez à nouveau un téléphone</translation>
    </message>
    <message>
        <source>Disconnect all phones?</source>
        <translation>Déconnecter tous les téléphones&#x202F;?</translation>
    </message>
    <message>
        <source>Every phone will need to scan the new code.</source>
        <translation>Chaque téléphone devra scanner le nouveau code.</translation>
    </message>
    <message>
        <source>Disconnect</source>
        <translation>Déconnecter</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Annuler</translation>
    </message>
    <message>
        <source>Welcome to Orvik</source>
        <translation>Bienvenue dans Orvik</translation>
    </message>
    <message>
        <source>Scan with your phone</source>
        <translation>Scannez avec votre téléphone</translation>
    </message>
    <message>
        <source>Open Orvik on Android and point it at this code.</source>
        <translation>Ouvrez Orvik sur Android et pointez-le vers ce code.</translation>
    </message>
    <message>
        <source>Open Orvik when the Mac starts</source>
        <translation>Ouvrir Orvik au démarrage du Mac</translation>
    </message>
    <message>
        <source>Open Orvik when the computer starts</source>
        <translation>Ouvrir Orvik au démarrage de l’ordinateur</translation>
    </message>
    <message>
        <source>Point your phone’s camera at this code.</source>
        <translation>Pointez l’appareil photo du téléphone vers ce code.</translation>
    </message>
    <message>
        <source>Copy link</source>
        <translation>Copier le lien</translation>
    </message>
    <message>
        <source>Show code</source>
        <translation>Afficher le code</translation>
    </message>
    <message>
        <source>Whoever has this link sees this computer’s readings. Treat it like a password.</source>
        <translation>Toute personne qui a ce lien voit les mesures de cet ordinateur. Traitez-le comme un mot de passe.</translation>
    </message>
    <message>
        <source>You’re up to date</source>
        <translation>Orvik est à jour</translation>
    </message>
    <message>
        <source>Orvik %@ is the newest version.</source>
        <translation>Orvik %@ est la version la plus récente.</translation>
    </message>
    <message>
        <source>A new version is available</source>
        <translation>Une nouvelle version est disponible</translation>
    </message>
    <message>
        <source>Orvik %@ is available. You have %@.</source>
        <translation>Orvik %@ est disponible. Vous avez la version %@.</translation>
    </message>
    <message>
        <source>What’s new:</source>
        <translation>Nouveautés&#xA0;:</translation>
    </message>
    <message>
        <source>Download</source>
        <translation>Télécharger</translation>
    </message>
    <message>
        <source>Later</source>
        <translation>Plus tard</translation>
    </message>
    <message>
        <source>Could not check for updates</source>
        <translation>Impossible de rechercher des mises à jour</translation>
    </message>
    <message>
        <source>The list of versions could not be read. Try again later.</source>
        <translation>La liste des versions n’a pas pu être lue. Réessayez plus tard.</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Waiting for the keyring…</source>
        <translation>En attente du trousseau de clés…</translation>
    </message>
    <message>
        <source>Checking for updates…</source>
        <translation>Recherche de mises à jour…</translation>
    </message>
    <message>
        <source>The pairing could not be saved. It is valid until Orvik quits.</source>
        <translation>Le jumelage n’a pas pu être enregistré. Il reste valable jusqu’à ce que vous quittiez Orvik.</translation>
    </message>
    <message>
        <source>The disconnection could not be stored. Restarting may bring the old phones back.</source>
        <translation>La déconnexion n’a pas pu être enregistrée. Après un redémarrage, les anciens téléphones pourraient se reconnecter.</translation>
    </message>
    <message>
        <source>Make a new pairing? Every phone will need to scan the new code.</source>
        <translation>Créer un nouveau jumelage ? Chaque téléphone devra scanner le nouveau code.</translation>
    </message>
    <message>
        <source>Which relay should Orvik use?</source>
        <translation>Quel relais Orvik doit-il utiliser ?</translation>
    </message>
    <message>
        <source>Address of the relay:</source>
        <translation>Adresse du relais :</translation>
    </message>
    <message>
        <source>Checking the relay…</source>
        <translation>Vérification du relais…</translation>
    </message>
    <message>
        <source>The address has to begin with wss:// and name a host.</source>
        <translation>L’adresse doit commencer par wss:// et nommer un hôte.</translation>
    </message>
    <message>
        <source>This relay cannot be reached.</source>
        <translation>Ce relais est injoignable.</translation>
    </message>
    <message>
        <source>No secure connection to this address is possible.</source>
        <translation>Aucune connexion sécurisée à cette adresse n’est possible.</translation>
    </message>
    <message>
        <source>There is no Orvik relay at this address.</source>
        <translation>Il n’y a pas de relais Orvik à cette adresse.</translation>
    </message>
    <message>
        <source>This computer does not trust the relay’s certificate. Its fingerprint (SHA-256) is:</source>
        <translation>Cet ordinateur ne fait pas confiance au certificat du relais. Son empreinte (SHA-256) est :</translation>
    </message>
    <message>
        <source>Trust it only if the relay shows the same one.</source>
        <translation>Ne lui faites confiance que si le relais affiche la même.</translation>
    </message>
    <message>
        <source>Trust this certificate</source>
        <translation>Faire confiance à ce certificat</translation>
    </message>
    <message>
        <source>No relay has been chosen yet</source>
        <translation>Aucun relais n’a encore été choisi</translation>
    </message>
    <message>
        <source>Connected by another program: %@</source>
        <translation>Connecté par un autre programme : %@</translation>
    </message>
    <message>
        <source>The relay is busy.</source>
        <translation>Le relais est occupé.</translation>
    </message>
    <message>
        <source>The relay could not be saved. It is used until Orvik quits.</source>
        <translation>Le relais n’a pas pu être enregistré. Il est utilisé jusqu’à ce que vous quittiez Orvik.</translation>
    </message>
</context>
</TS>
