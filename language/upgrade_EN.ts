<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US" sourcelanguage="zh_CN">
<context>
    <name>UpdateDlg</name>
    <message>
        <source>升级固件</source>
        <translation>Upgrade Firmware</translation>
    </message>
    <message>
        <source>是</source>
        <translation>Yes</translation>
    </message>
    <message>
        <source>否</source>
        <translation>No</translation>
    </message>
</context>
</TS>
