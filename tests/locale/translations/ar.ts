<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ar">
<context>
    <name>TestLocale</name>
    <message>
        <source>Hello</source>
        <translation>مرحبا</translation>
    </message>
</context>
</TS>
