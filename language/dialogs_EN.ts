<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US" sourcelanguage="zh_CN">
<context>
    <name>DataDlg</name>
    <message>
        <source>数据编辑</source>
        <translation>Data Edit</translation>
    </message>
    <message>
        <source>长度(字节)：</source>
        <translation>Length(Bytes):</translation>
    </message>
    <message>
        <source>确定</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>取消</source>
        <translation>Cancel</translation>
    </message>
</context>
<context>
    <name>fileDlg</name>
    <message>
        <source>发送文件</source>
        <translation>Send File</translation>
    </message>
    <message>
        <source>CSV文件：</source>
        <translation>CSV File:</translation>
    </message>
    <message>
        <source>发送通道：</source>
        <translation>Channel:</translation>
    </message>
    <message>
        <source>随文件</source>
        <translation>From File</translation>
    </message>
    <message>
        <source>发送次数：</source>
        <translation>Send Times:</translation>
    </message>
    <message>
        <source>-1：一直发送</source>
        <translation>-1: keep sending</translation>
    </message>
    <message>
        <source>发送间隔：</source>
        <translation>Interval:</translation>
    </message>
    <message>
        <source>固定间隔(ms)</source>
        <translation>Fixed Interval(ms)</translation>
    </message>
    <message>
        <source>停止发送</source>
        <translation>Stop Sending</translation>
    </message>
    <message>
        <source>打开CSV文件</source>
        <translation>Open CSV File</translation>
    </message>
</context>
<context>
    <name>listSendDlg</name>
    <message>
        <source>列表发送</source>
        <translation>List Send</translation>
    </message>
    <message>
        <source>停止发送</source>
        <translation>Stop Sending</translation>
    </message>
    <message>
        <source>关闭</source>
        <translation>Close</translation>
    </message>
    <message>
        <source>添加</source>
        <translation>Add</translation>
    </message>
    <message>
        <source>复制</source>
        <translation>Duplicate</translation>
    </message>
    <message>
        <source>删除</source>
        <translation>Delete</translation>
    </message>
    <message>
        <source>上移</source>
        <translation>Move Up</translation>
    </message>
    <message>
        <source>下移</source>
        <translation>Move Down</translation>
    </message>
    <message>
        <source>编辑数据</source>
        <translation>Edit Data</translation>
    </message>
    <message>
        <source>按信号编辑...</source>
        <translation>Edit by Signal...</translation>
    </message>
    <message>
        <source>打开...</source>
        <translation>Open...</translation>
    </message>
    <message>
        <source>另存为...</source>
        <translation>Save As...</translation>
    </message>
    <message>
        <source>开始</source>
        <translation>Start</translation>
    </message>
    <message>
        <source>停止</source>
        <translation>Stop</translation>
    </message>
    <message>
        <source>全部开始</source>
        <translation>Start All</translation>
    </message>
    <message>
        <source>打开列表文件</source>
        <translation>Open List File</translation>
    </message>
    <message>
        <source>保存列表文件</source>
        <translation>Save List File</translation>
    </message>
</context>
<context>
    <name>savefileDlg</name>
    <message>
        <source>保存文件</source>
        <translation>Save File</translation>
    </message>
    <message>
        <source>全部数据</source>
        <translation>All Data</translation>
    </message>
    <message>
        <source>筛选后数据</source>
        <translation>Filtered Data</translation>
    </message>
    <message>
        <source>分文件保存，每个文件最多</source>
        <translation>Split into numbered files, each at most</translation>
    </message>
    <message>
        <source>不限大小</source>
        <translation>no size limit</translation>
    </message>
    <message>
        <source>不限时长</source>
        <translation>no time limit</translation>
    </message>
    <message>
        <source> 分钟</source>
        <translation> min</translation>
    </message>
    <message>
        <source>提示：文件创建失败，请选择其他路径。</source>
        <translation>Tip: the file could not be created, please choose another path.</translation>
    </message>
    <message>
        <source>确定</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>取消</source>
        <translation>Cancel</translation>
    </message>
    <message>
        <source>保存CSV文件</source>
        <translation>Save CSV File</translation>
    </message>
</context>
</TS>
