<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US" sourcelanguage="zh_CN">
<context>
    <name>sendThread</name>
    <message>
        <source>通道</source>
        <translation>channel</translation>
    </message>
    <message>
        <source>channel</source>
        <translation>channel</translation>
    </message>
    <message>
        <source>通道: %1开始发送数据：一直发送，发送间隔:%2ms...</source>
        <translation>Channel:%1 Start sending data: Keep sending, sending interval:%2ms...</translation>
    </message>
    <message>
        <source>通道: %1開始發送數據：一直發送，發送間隔:%2ms...</source>
        <translation>Channel:%1 Start sending data: Keep sending, sending interval:%2ms...</translation>
    </message>
    <message>
        <source>Channel:%1 Start sending data: Keep sending, sending interval:%2ms...</source>
        <translation>Channel:%1 Start sending data: Keep sending, sending interval:%2ms...</translation>
    </message>
    <message>
        <source>通道: %1开始发送数据：数据总帧数:%2，发送间隔:%3ms...</source>
        <translation>Channel:%1 Start sending data: Total frames of data:%2, sending interval:%3ms...</translation>
    </message>
    <message>
        <source>通道: %1開始發送數據：數據縂幀數:%2，發送間隔:%3ms...</source>
        <translation>Channel:%1 Start sending data: Total frames of data:%2, sending interval:%3ms...</translation>
    </message>
    <message>
        <source>Channel:%1 Start sending data: Total frames of data:%2, sending interval:%3ms...</source>
        <translation>Channel:%1 Start sending data: Total frames of data:%2, sending interval:%3ms...</translation>
    </message>
    <message>
        <source>CANFD数据发送失败！</source>
        <translation>CANFD Data sending failed！</translation>
    </message>
    <message>
        <source>CANFD數據發送失敗！</source>
        <translation>CANFD Data sending failed！</translation>
    </message>
    <message>
        <source>CANFD Data sending failed！</source>
        <translation>CANFD Data sending failed！</translation>
    </message>
    <message>
        <source>CAN数据发送失败！</source>
        <translation>CAN Data sending failed！</translation>
    </message>
    <message>
        <source>CAN數據發送失敗！</source>
        <translation>CAN Data sending failed！</translation>
    </message>
    <message>
        <source>CAN Data sending failed！</source>
        <translation>CAN Data sending failed！</translation>
    </message>
    <message>
        <source>数据中止发送！</source>
        <translation>Data Aborted Sending!</translation>
    </message>
    <message>
        <source>數據中止發送！</source>
        <translation>Data Aborted Sending!</translation>
    </message>
    <message>
        <source>Data Aborted Sending!</source>
        <translation>Data Aborted Sending!</translation>
    </message>
    <message>
        <source>数据发送完成！</source>
        <translation>Data transmission completed!</translation>
    </message>
    <message>
        <source>數據發送完成！</source>
        <translation>Data transmission completed!</translation>
    </message>
    <message>
        <source>Data transmission completed!</source>
        <translation>Data transmission completed!</translation>
    </message>
    <message>
        <source>开始发送文件: %1...</source>
        <translation>send file: %1...</translation>
    </message>
    <message>
        <source>開始發送文件: %1...</source>
        <translation>send file: %1...</translation>
    </message>
    <message>
        <source>send file: %1...</source>
        <translation>send file: %1...</translation>
    </message>
    <message>
        <source>文件发送错误！</source>
        <translation>File transmission Error!</translation>
    </message>
    <message>
        <source>文件發送錯誤！</source>
        <translation>File transmission Error!</translation>
    </message>
    <message>
        <source>File transmission Error!</source>
        <translation>File transmission Error!</translation>
    </message>
    <message>
        <source>文件发送完成！</source>
        <translation>File transmission completed!</translation>
    </message>
    <message>
        <source>文件發送完成！</source>
        <translation>File transmission completed!</translation>
    </message>
    <message>
        <source>File transmission completed!</source>
        <translation>File transmission completed!</translation>
    </message>
    <message>
        <source>文件中止发送！</source>
        <translation>File Aborted Sending!</translation>
    </message>
    <message>
        <source>文件中止發送！</source>
        <translation>File Aborted Sending!</translation>
    </message>
    <message>
        <source>File Aborted Sending!</source>
        <translation>File Aborted Sending!</translation>
    </message>
    <message>
        <source>标准帧</source>
        <extracomment>Matched against the Frame column of saved frame files: keep the source text unchanged.</extracomment>
        <translation>标准帧</translation>
    </message>
    <message>
        <source>標準幀</source>
        <extracomment>Matched against the Frame column of saved frame files: keep the source text unchanged.</extracomment>
        <translation>標準幀</translation>
    </message>
    <message>
        <source>Standard Frame</source>
        <extracomment>Matched against the Frame column of saved frame files: keep the source text unchanged.</extracomment>
        <translation>Standard Frame</translation>
    </message>
    <message>
        <source>数据帧</source>
        <extracomment>Matched against the type column of saved frame files: keep the source text unchanged.</extracomment>
        <translation>数据帧</translation>
    </message>
    <message>
        <source>數據幀</source>
        <extracomment>Matched against the type column of saved frame files: keep the source text unchanged.</extracomment>
        <translation>數據幀</translation>
    </message>
    <message>
        <source>data frame</source>
        <extracomment>Matched against the type column of saved frame files: keep the source text unchanged.</extracomment>
        <translation>data frame</translation>
    </message>
</context>
</TS>
