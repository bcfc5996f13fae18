<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de">
<context>
    <name>DemoWindow</name>
    <message>
        <source>What the library knows</source>
        <translation>Was die Bibliothek weiß</translation>
    </message>
    <message>
        <source>Display</source>
        <translation>Anzeige</translation>
    </message>
    <message>
        <source>Language</source>
        <translation>Sprache</translation>
    </message>
    <message>
        <source>Event monitor</source>
        <translation>Ereignismonitor</translation>
    </message>
    <message>
        <source>Log</source>
        <translation>Protokoll</translation>
    </message>
    <message>
        <source>System screen</source>
        <translation>Systembildschirm</translation>
    </message>
    <message>
        <source>System pixel ratio</source>
        <translation>Pixelverhältnis des Systems</translation>
    </message>
    <message>
        <source>Rounding policy</source>
        <translation>Rundungsregel</translation>
    </message>
    <message>
        <source>Qt screen</source>
        <translation>Qt-Bildschirm</translation>
    </message>
    <message>
        <source>Qt pixel ratio</source>
        <translation>Qt-Pixelverhältnis</translation>
    </message>
    <message>
        <source>Screen class</source>
        <translation>Bildschirmklasse</translation>
    </message>
    <message>
        <source>Choose</source>
        <translation>Auswahl</translation>
    </message>
    <message>
        <source>Language code</source>
        <translation>Sprachcode</translation>
    </message>
    <message>
        <source>Web code</source>
        <translation>Web-Code</translation>
    </message>
    <message>
        <source>Font family</source>
        <translation>Schriftfamilie</translation>
    </message>
    <message>
        <source>Layout</source>
        <translation>Richtung</translation>
    </message>
    <message>
        <source>right to left</source>
        <translation>von rechts nach links</translation>
    </message>
    <message>
        <source>left to right</source>
        <translation>von links nach rechts</translation>
    </message>
    <message>
        <source>Freeze state</source>
        <translation>Einfrierstatus</translation>
    </message>
    <message>
        <source>Last report</source>
        <translation>Letzte Meldung</translation>
    </message>
    <message>
        <source>none</source>
        <translation>keine</translation>
    </message>
    <message>
        <source>frozen: %1</source>
        <translation>eingefroren: %1</translation>
    </message>
    <message>
        <source>running</source>
        <translation>läuft</translation>
    </message>
    <message>
        <source>Freeze the main thread for 6 s</source>
        <translation>Hauptthread 6 s lang einfrieren</translation>
    </message>
    <message>
        <source>Watching</source>
        <translation>Überwacht</translation>
    </message>
    <message>
        <source>Stuck deliveries</source>
        <translation>Hängende Zustellungen</translation>
    </message>
    <message>
        <source>Frozen now</source>
        <translation>Jetzt eingefroren</translation>
    </message>
    <message>
        <source>Freezes</source>
        <translation>Einfrierungen</translation>
    </message>
    <message>
        <source>Suspends</source>
        <translation>Ruhezustände</translation>
    </message>
    <message>
        <source>yes, stuck from %1 ms</source>
        <translation>ja, hängend ab %1 ms</translation>
    </message>
    <message>
        <source>no</source>
        <translation>nein</translation>
    </message>
    <message>
        <source>%1 (%2 ms), %3 per hour</source>
        <translation>%1 (%2 ms), %3 pro Stunde</translation>
    </message>
    <message>
        <source>no watchdog</source>
        <translation>kein Wächter</translation>
    </message>
    <message>
        <source>%1 s</source>
        <translation>%1 s</translation>
    </message>
    <message>
        <source>%1 (%2 ms)</source>
        <translation>%1 (%2 ms)</translation>
    </message>
</context>
</TS>
