<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ar">
<context>
    <name>DemoWindow</name>
    <message>
        <source>What the library knows</source>
        <translation>ما تعرفه المكتبة</translation>
    </message>
    <message>
        <source>Display</source>
        <translation>الشاشة</translation>
    </message>
    <message>
        <source>Language</source>
        <translation>اللغة</translation>
    </message>
    <message>
        <source>Event monitor</source>
        <translation>مراقب الأحداث</translation>
    </message>
    <message>
        <source>Log</source>
        <translation>السجل</translation>
    </message>
    <message>
        <source>System screen</source>
        <translation>شاشة النظام</translation>
    </message>
    <message>
        <source>System pixel ratio</source>
        <translation>نسبة البكسل في النظام</translation>
    </message>
    <message>
        <source>Rounding policy</source>
        <translation>سياسة التقريب</translation>
    </message>
    <message>
        <source>Qt screen</source>
        <translation>شاشة Qt</translation>
    </message>
    <message>
        <source>Qt pixel ratio</source>
        <translation>نسبة البكسل في Qt</translation>
    </message>
    <message>
        <source>Screen class</source>
        <translation>فئة الشاشة</translation>
    </message>
    <message>
        <source>Choose</source>
        <translation>اختر</translation>
    </message>
    <message>
        <source>Language code</source>
        <translation>رمز اللغة</translation>
    </message>
    <message>
        <source>Web code</source>
        <translation>رمز الويب</translation>
    </message>
    <message>
        <source>Font family</source>
        <translation>عائلة الخط</translation>
    </message>
    <message>
        <source>Layout</source>
        <translation>الاتجاه</translation>
    </message>
    <message>
        <source>right to left</source>
        <translation>من اليمين إلى اليسار</translation>
    </message>
    <message>
        <source>left to right</source>
        <translation>من اليسار إلى اليمين</translation>
    </message>
    <message>
        <source>Freeze state</source>
        <translation>حالة التجمد</translation>
    </message>
    <message>
        <source>Last report</source>
        <translation>آخر تقرير</translation>
    </message>
    <message>
        <source>none</source>
        <translation>لا شيء</translation>
    </message>
    <message>
        <source>frozen: %1</source>
        <translation>متجمد: %1</translation>
    </message>
    <message>
        <source>running</source>
        <translation>يعمل</translation>
    </message>
    <message>
        <source>Freeze the main thread for 6 s</source>
        <translation>جمّد الخيط الرئيسي لمدة 6 ثوانٍ</translation>
    </message>
    <message>
        <source>Watching</source>
        <translation>المراقبة</translation>
    </message>
    <message>
        <source>Stuck deliveries</source>
        <translation>التسليمات العالقة</translation>
    </message>
    <message>
        <source>Frozen now</source>
        <translation>متجمد الآن</translation>
    </message>
    <message>
        <source>Freezes</source>
        <translation>حالات التجمد</translation>
    </message>
    <message>
        <source>Suspends</source>
        <translation>حالات السكون</translation>
    </message>
    <message>
        <source>yes, stuck from %1 ms</source>
        <translation>نعم، عالق من %1 مللي ثانية</translation>
    </message>
    <message>
        <source>no</source>
        <translation>لا</translation>
    </message>
    <message>
        <source>%1 (%2 ms), %3 per hour</source>
        <translation>%1 (%2 مللي ثانية)، %3 في الساعة</translation>
    </message>
    <message>
        <source>no watchdog</source>
        <translation>لا مراقب</translation>
    </message>
    <message>
        <source>%1 s</source>
        <translation>%1 ث</translation>
    </message>
    <message>
        <source>%1 (%2 ms)</source>
        <translation>%1 (%2 مللي ثانية)</translation>
    </message>
</context>
</TS>
