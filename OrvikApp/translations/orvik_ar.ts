<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ar" sourcelanguage="en">
<context>
    <name>Orvik</name>
    <message>
        <source>Orvik</source>
        <translation>Orvik</translation>
    </message>
    <message>
        <source>Add a phone…</source>
        <translation>إضافة هاتف…</translation>
    </message>
    <message>
        <source>Resume</source>
        <translation>استئناف</translation>
    </message>
    <message>
        <source>Pause for 1 hour</source>
        <translation>إيقاف مؤقت لمدة ساعة واحدة</translation>
    </message>
    <message>
        <source>Disconnect all phones…</source>
        <translation>قطع اتصال كل الهواتف…</translation>
    </message>
    <message>
        <source>Check for Updates…</source>
        <translation>البحث عن تحديثات…</translation>
    </message>
    <message>
        <source>Quit Orvik</source>
        <translation>إنهاء Orvik</translation>
    </message>
    <message>
        <source>Paused until %@</source>
        <translation>متوقف مؤقتًا حتى %@</translation>
    </message>
    <message numerus="yes">
        <source>%lld phones</source>
        <translation>
            <numerusform>لا هواتف</numerusform>
            <numerusform>هاتف واحد</numerusform>
            <numerusform>هاتفان</numerusform>
            <numerusform>%lld هواتف</numerusform>
            <numerusform>%lld هاتفًا</numerusform>
            <numerusform>%lld هاتف</numerusform>
        </translation>
    </message>
    <message>
        <source>Online</source>
        <translation>متصل</translation>
    </message>
    <message>
        <source>Offline – reconnecting…</source>
        <translation>غير متصل – جارٍ إعادة الاتصال…</translation>
    </message>
    <message>
        <source>Connecting…</source>
        <translation>جارٍ الاتصال…</translation>
    </message>
    <message>
        <source>Pairing lost – add a phone again</source>
        <translation>فُقد الاقتران – أضف هاتفًا مرة أخرى</translation>
    </message>
    <message>
        <source>Disconnect all phones?</source>
        <translation>هل تريد قطع اتصال كل الهواتف؟</translation>
    </message>
    <message>
        <source>Every phone will need to scan the new code.</source>
        <translation>سيحتاج كل هاتف إلى مسح الرمز الجديد ضوئيًا.</translation>
    </message>
    <message>
        <source>Disconnect</source>
        <translation>قطع الاتصال</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>إلغاء</translation>
    </message>
    <message>
        <source>Welcome to Orvik</source>
        <translation>مرحبًا بك في Orvik</translation>
    </message>
    <message>
        <source>Scan with your phone</source>
        <translation>امسح الرمز ضوئيًا بهاتفك</translation>
    </message>
    <message>
        <source>Open Orvik on Android and point it at this code.</source>
        <translation>افتح Orvik على Android ووجّهه نحو هذا الرمز.</translation>
    </message>
    <message>
        <source>Open Orvik when the Mac starts</source>
        <translation>فتح Orvik عند بدء تشغيل الـ Mac</translation>
    </message>
    <message>
        <source>Open Orvik when the computer starts</source>
        <translation>فتح Orvik عند بدء تشغيل الحاسوب</translation>
    </message>
    <message>
        <source>Point your phone’s camera at this code.</source>
        <translation>وجّه كاميرا هاتفك نحو هذا الرمز.</translation>
    </message>
    <message>
        <source>Copy link</source>
        <translation>نسخ الرابط</translation>
    </message>
    <message>
        <source>Show code</source>
        <translation>إظهار الرمز</translation>
    </message>
    <message>
        <source>Whoever has this link sees this computer’s readings. Treat it like a password.</source>
        <translation>كل من لديه هذا الرابط يرى قراءات هذا الحاسوب. تعامل معه ككلمة مرور.</translation>
    </message>
    <message>
        <source>You’re up to date</source>
        <translation>لديك أحدث إصدار</translation>
    </message>
    <message>
        <source>Orvik %@ is the newest version.</source>
        <translation>الإصدار &#x2068;%@&#x2069; من Orvik هو الأحدث.</translation>
    </message>
    <message>
        <source>A new version is available</source>
        <translation>يتوفر إصدار جديد</translation>
    </message>
    <message>
        <source>Orvik %@ is available. You have %@.</source>
        <translation>يتوفر &#x2068;Orvik %@&#x2069;. لديك الإصدار &#x2068;%@&#x2069;.</translation>
    </message>
    <message>
        <source>What’s new:</source>
        <translation>ما الجديد:</translation>
    </message>
    <message>
        <source>Download</source>
        <translation>تنزيل</translation>
    </message>
    <message>
        <source>Later</source>
        <translation>لاحقًا</translation>
    </message>
    <message>
        <source>Could not check for updates</source>
        <translation>تعذر البحث عن تحديثات</translation>
    </message>
    <message>
        <source>The list of versions could not be read. Try again later.</source>
        <translation>تعذرت قراءة قائمة الإصدارات. حاول مرة أخرى لاحقًا.</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>موافق</translation>
    </message>
    <message>
        <source>Waiting for the keyring…</source>
        <translation>في انتظار حلقة المفاتيح…</translation>
    </message>
    <message>
        <source>Checking for updates…</source>
        <translation>جارٍ البحث عن تحديثات…</translation>
    </message>
    <message>
        <source>The pairing could not be saved. It is valid until Orvik quits.</source>
        <translation>تعذر حفظ الاقتران. سيبقى صالحًا حتى إنهاء Orvik.</translation>
    </message>
    <message>
        <source>The disconnection could not be stored. Restarting may bring the old phones back.</source>
        <translation>تعذر حفظ قطع الاتصال. قد تعود الهواتف القديمة بعد إعادة التشغيل.</translation>
    </message>
    <message>
        <source>Make a new pairing? Every phone will need to scan the new code.</source>
        <translation>هل تريد إنشاء اقتران جديد؟ سيحتاج كل هاتف إلى مسح الرمز الجديد ضوئيًا.</translation>
    </message>
    <message>
        <source>Which relay should Orvik use?</source>
        <translation>ما خادم الترحيل الذي سيستخدمه Orvik؟</translation>
    </message>
    <message>
        <source>Address of the relay:</source>
        <translation>عنوان خادم الترحيل:</translation>
    </message>
    <message>
        <source>Checking the relay…</source>
        <translation>جارٍ التحقق من خادم الترحيل…</translation>
    </message>
    <message>
        <source>The address has to begin with wss:// and name a host.</source>
        <translation>يجب أن يبدأ العنوان بـ wss:// وأن يحتوي على اسم مضيف.</translation>
    </message>
    <message>
        <source>This relay cannot be reached.</source>
        <translation>تعذر الوصول إلى خادم الترحيل هذا.</translation>
    </message>
    <message>
        <source>No secure connection to this address is possible.</source>
        <translation>لا يمكن إجراء اتصال آمن بهذا العنوان.</translation>
    </message>
    <message>
        <source>There is no Orvik relay at this address.</source>
        <translation>لا يوجد خادم ترحيل لـ Orvik على هذا العنوان.</translation>
    </message>
    <message>
        <source>This computer does not trust the relay’s certificate. Its fingerprint (SHA-256) is:</source>
        <translation>لا يثق هذا الحاسوب بشهادة خادم الترحيل. بصمتها (SHA-256) هي:</translation>
    </message>
    <message>
        <source>Trust it only if the relay shows the same one.</source>
        <translation>لا تثق بها إلا إذا أظهر خادم الترحيل البصمة نفسها.</translation>
    </message>
    <message>
        <source>Trust this certificate</source>
        <translation>الثقة بهذه الشهادة</translation>
    </message>
    <message>
        <source>No relay has been chosen yet</source>
        <translation>لم يتم اختيار خادم ترحيل بعد</translation>
    </message>
    <message>
        <source>Connected by another program: %@</source>
        <translation>متصل عبر برنامج آخر: ⁨%@⁩</translation>
    </message>
    <message>
        <source>The relay is busy.</source>
        <translation>خادم الترحيل مشغول.</translation>
    </message>
    <message>
        <source>The relay could not be saved. It is used until Orvik quits.</source>
        <translation>تعذر حفظ خادم الترحيل. سيُستخدم حتى إنهاء Orvik.</translation>
    </message>
</context>
</TS>
