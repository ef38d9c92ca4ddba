<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_CN" sourcelanguage="zh_CN">
<context>
    <name>UpdateDlg</name>
    <message>
        <source>升级固件</source>
        <translation>升级固件</translation>
    </message>
    <message>
        <source>是</source>
        <translation>是</translation>
    </message>
    <message>
        <source>否</source>
        <translation>否</translation>
    </message>
</context>
</TS>
