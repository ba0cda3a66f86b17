<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="hi" sourcelanguage="en">
<context>
    <name>Orvik</name>
    <message>
        <source>Orvik</source>
        <translation>Orvik</translation>
    </message>
    <message>
        <source>Add a phone…</source>
        <translation>फ़ोन जोड़ें…</translation>
    </message>
    <message>
        <source>Resume</source>
        <translation>फिर से शुरू करें</translation>
    </message>
    <message>
        <source>Pause for 1 hour</source>
        <translation>1 घंटे के लिए रोकें</translation>
    </message>
    <message>
        <source>Disconnect all phones…</source>
        <translation>सभी फ़ोन डिस्कनेक्ट करें…</translation>
    </message>
    <message>
        <source>Check for Updates…</source>
        <translation>अपडेट की जाँच करें…</translation>
    </message>
    <message>
        <source>Quit Orvik</source>
        <translation>Orvik से बाहर निकलें</translation>
    </message>
    <message>
        <source>Paused until %@</source>
        <translation>%@ तक रोका गया</translation>
    </message>
    <message numerus="yes">
        <source>%lld phones</source>
        <translation>
            <numerusform>%lld फ़ोन</numerusform>
            <numerusform>%lld फ़ोन</numerusform>
        </translation>
    </message>
    <message>
        <source>Online</source>
        <translation>ऑनलाइन</translation>
    </message>
    <message>
        <source>Offline – reconnecting…</source>
        <translation>ऑफ़लाइन – फिर से कनेक्ट हो रहा है…</translation>
    </message>
    <message>
        <source>Connecting…</source>
        <translation>कनेक्ट हो रहा है…</translation>
    </message>
    <message>
        <source>Pairing lost – add a phone again</source>
        <translation>पेयरिंग टूट गई – फ़ोन फिर से जोड़ें</translation>
    </message>
    <message>
        <source>Disconnect all phones?</source>
        <translation>सभी फ़ोन डिस्कनेक्ट करें?</translation>
    </message>
    <message>
        <source>Every phone will need to scan the new code.</source>
        <translation>हर फ़ोन को नया कोड स्कैन करना होगा।</translation>
    </message>
    <message>
        <source>Disconnect</source>
        <translation>डिस्कनेक्ट करें</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>रद्द करें</translation>
    </message>
    <message>
        <source>Welcome to Orvik</source>
        <translation>Orvik में आपका स्वागत है</translation>
    </message>
    <message>
        <source>Scan with your phone</source>
        <translation>अपने फ़ोन से स्कैन करें</translation>
    </message>
    <message>
        <source>Open Orvik on Android and point it at this code.</source>
        <translation>Android पर Orvik खोलें और फ़ोन का कैमरा इस कोड की ओर करें।</translation>
    </message>
    <message>
        <source>Open Orvik when the Mac starts</source>
        <translation>Mac शुरू होने पर Orvik खोलें</translation>
    </message>
    <message>
        <source>Open Orvik when the computer starts</source>
        <translation>कंप्यूटर शुरू होने पर Orvik खोलें</translation>
    </message>
    <message>
        <source>Point your phone’s camera at this code.</source>
        <translation>अपने फ़ोन का कैमरा इस कोड की ओर करें।</translation>
    </message>
    <message>
        <source>Copy link</source>
        <translation>लिंक कॉपी करें</translation>
    </message>
    <message>
        <source>Show code</source>
        <translation>कोड दिखाएँ</translation>
    </message>
    <message>
        <source>Whoever has this link sees this computer’s readings. Treat it like a password.</source>
        <translation>जिसके पास यह लिंक है, वह इस कंप्यूटर की रीडिंग देख सकता है। इसे पासवर्ड की तरह सँभालकर रखें।</translation>
    </message>
    <message>
        <source>You’re up to date</source>
        <translation>Orvik अप टू डेट है</translation>
    </message>
    <message>
        <source>Orvik %@ is the newest version.</source>
        <translation>Orvik %@ सबसे नया संस्करण है।</translation>
    </message>
    <message>
        <source>A new version is available</source>
        <translation>नया संस्करण उपलब्ध है</translation>
    </message>
    <message>
        <source>Orvik %@ is available. You have %@.</source>
        <translation>Orvik %@ उपलब्ध है। आपके पास %@ है।</translation>
    </message>
    <message>
        <source>What’s new:</source>
        <translation>नया क्या है:</translation>
    </message>
    <message>
        <source>Download</source>
        <translation>डाउनलोड करें</translation>
    </message>
    <message>
        <source>Later</source>
        <translation>बाद में</translation>
    </message>
    <message>
        <source>Could not check for updates</source>
        <translation>अपडेट की जाँच नहीं हो सकी</translation>
    </message>
    <message>
        <source>The list of versions could not be read. Try again later.</source>
        <translation>संस्करणों की सूची पढ़ी नहीं जा सकी। बाद में फिर से कोशिश करें।</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>ठीक है</translation>
    </message>
    <message>
        <source>Waiting for the keyring…</source>
        <translation>कीरिंग की प्रतीक्षा हो रही है…</translation>
    </message>
    <message>
        <source>Checking for updates…</source>
        <translation>अपडेट की जाँच हो रही है…</translation>
    </message>
    <message>
        <source>The pairing could not be saved. It is valid until Orvik quits.</source>
        <translation>पेयरिंग सहेजी नहीं जा सकी। यह Orvik के बंद होने तक मान्य है।</translation>
    </message>
    <message>
        <source>The disconnection could not be stored. Restarting may bring the old phones back.</source>
        <translation>फ़ोन हटाने का बदलाव सहेजा नहीं जा सका। रीस्टार्ट के बाद पुराने फ़ोन फिर से कनेक्ट हो सकते हैं।</translation>
    </message>
    <message>
        <source>Make a new pairing? Every phone will need to scan the new code.</source>
        <translation>नई पेयरिंग बनाएँ? हर फ़ोन को नया कोड स्कैन करना होगा।</translation>
    </message>
    <message>
        <source>Which relay should Orvik use?</source>
        <translation>Orvik कौन-सा रिले इस्तेमाल करे?</translation>
    </message>
    <message>
        <source>Address of the relay:</source>
        <translation>रिले का पता:</translation>
    </message>
    <message>
        <source>Checking the relay…</source>
        <translation>रिले की जाँच हो रही है…</translation>
    </message>
    <message>
        <source>The address has to begin with wss:// and name a host.</source>
        <translation>पता wss:// से शुरू होना चाहिए और उसमें होस्ट का नाम होना चाहिए।</translation>
    </message>
    <message>
        <source>This relay cannot be reached.</source>
        <translation>इस रिले तक पहुँचा नहीं जा सका।</translation>
    </message>
    <message>
        <source>No secure connection to this address is possible.</source>
        <translation>इस पते से सुरक्षित कनेक्शन संभव नहीं है।</translation>
    </message>
    <message>
        <source>There is no Orvik relay at this address.</source>
        <translation>इस पते पर Orvik का कोई रिले नहीं है।</translation>
    </message>
    <message>
        <source>This computer does not trust the relay’s certificate. Its fingerprint (SHA-256) is:</source>
        <translation>यह कंप्यूटर रिले के प्रमाणपत्र पर भरोसा नहीं करता। उसका फ़िंगरप्रिंट (SHA-256) यह है:</translation>
    </message>
    <message>
        <source>Trust it only if the relay shows the same one.</source>
        <translation>इस पर तभी भरोसा करें जब रिले वही फ़िंगरप्रिंट दिखाए।</translation>
    </message>
    <message>
        <source>Trust this certificate</source>
        <translation>इस प्रमाणपत्र पर भरोसा करें</translation>
    </message>
    <message>
        <source>No relay has been chosen yet</source>
        <translation>अभी कोई रिले नहीं चुना गया है</translation>
    </message>
    <message>
        <source>Connected by another program: %@</source>
        <translation>किसी दूसरे प्रोग्राम से कनेक्ट है: %@</translation>
    </message>
    <message>
        <source>The relay is busy.</source>
        <translation>रिले व्यस्त है।</translation>
    </message>
    <message>
        <source>The relay could not be saved. It is used until Orvik quits.</source>
        <translation>रिले सहेजा नहीं जा सका। इसे Orvik के बंद होने तक इस्तेमाल किया जाएगा।</translation>
    </message>
</context>
</TS>
