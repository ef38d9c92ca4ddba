<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US" sourcelanguage="zh_CN">
<context>
    <name>FilterDialog</name>
    <message>
        <source>滤波设置</source>
        <translation>Filter Settings</translation>
    </message>
    <message>
        <source>滤波类型：</source>
        <translation>Filter Type:</translation>
    </message>
    <message>
        <source>标准帧组ID</source>
        <translation>Standard Frame ID Group</translation>
    </message>
    <message>
        <source>标准帧明确ID</source>
        <translation>Standard Frame Single ID</translation>
    </message>
    <message>
        <source>扩展帧组ID</source>
        <translation>Extended Frame ID Group</translation>
    </message>
    <message>
        <source>扩展帧明确ID</source>
        <translation>Extended Frame Single ID</translation>
    </message>
    <message>
        <source>添加</source>
        <translation>Add</translation>
    </message>
    <message>
        <source>起始ID(0x):</source>
        <translation>Start ID(0x):</translation>
    </message>
    <message>
        <source>删除</source>
        <translation>Delete</translation>
    </message>
    <message>
        <source>结束ID(0x):</source>
        <translation>End ID(0x):</translation>
    </message>
    <message>
        <source>帧类型</source>
        <translation>Frame Type</translation>
    </message>
    <message>
        <source>起始ID(0x)</source>
        <translation>Start ID(0x)</translation>
    </message>
    <message>
        <source>结束ID(0x)</source>
        <translation>End ID(0x)</translation>
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
    <name>INfDialog</name>
    <message>
        <source>设备信息</source>
        <translation>Device Information</translation>
    </message>
    <message>
        <source>硬件版本号：</source>
        <translation>Hardware Version:</translation>
    </message>
    <message>
        <source>固件版本号：</source>
        <translation>Firmware Version:</translation>
    </message>
    <message>
        <source>驱动程序版本号：</source>
        <translation>Driver Version:</translation>
    </message>
    <message>
        <source>接口库版本号：</source>
        <translation>Interface Library Version:</translation>
    </message>
    <message>
        <source>板卡中断号：</source>
        <translation>IRQ Number:</translation>
    </message>
    <message>
        <source>通道数量：</source>
        <translation>Channel Count:</translation>
    </message>
    <message>
        <source>板卡序列号：</source>
        <translation>Serial Number:</translation>
    </message>
    <message>
        <source>硬件类型：</source>
        <translation>Hardware Type:</translation>
    </message>
    <message>
        <source>确定</source>
        <translation>OK</translation>
    </message>
</context>
<context>
    <name>InterfaceDlg</name>
    <message>
        <source>接口选择</source>
        <translation>Interface Selection</translation>
    </message>
    <message>
        <source>通道1</source>
        <translation>Channel 1</translation>
    </message>
    <message>
        <source>通道2</source>
        <translation>Channel 2</translation>
    </message>
    <message>
        <source>接口：</source>
        <translation>Interface:</translation>
    </message>
    <message>
        <source>插件：</source>
        <translation>Plugin:</translation>
    </message>
    <message>
        <source>接口名称：</source>
        <translation>Interface name:</translation>
    </message>
    <message>
        <source>Halden-D2 的两个通道总是一起使用。更改接口时，已打开的设备先被关闭。</source>
        <translation>The two channels of a Halden-D2 always go together. Changing the interface closes an open device first.</translation>
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
    <name>OpenDlg</name>
    <message>
        <source>打开设备</source>
        <translation>Open Device</translation>
    </message>
    <message>
        <source>设备</source>
        <translation>Device</translation>
    </message>
    <message>
        <source>设备索引：</source>
        <translation>Device Index:</translation>
    </message>
    <message>
        <source>关闭设备</source>
        <translation>Close Device</translation>
    </message>
    <message>
        <source>通道</source>
        <translation>Channel</translation>
    </message>
    <message>
        <source>打开所有通道</source>
        <translation>Open All Channels</translation>
    </message>
    <message>
        <source>打开通道1</source>
        <translation>Open Channel 1</translation>
    </message>
    <message>
        <source>打开通道2</source>
        <translation>Open Channel 2</translation>
    </message>
    <message>
        <source>复位所有通道</source>
        <translation>Reset All Channels</translation>
    </message>
    <message>
        <source>复位通道1</source>
        <translation>Reset Channel 1</translation>
    </message>
    <message>
        <source>复位通道2</source>
        <translation>Reset Channel 2</translation>
    </message>
    <message>
        <source>返回</source>
        <translation>Back</translation>
    </message>
</context>
<context>
    <name>ParaDialog</name>
    <message>
        <source>参数配置</source>
        <translation>Parameter Configuration</translation>
    </message>
    <message>
        <source>通道：</source>
        <translation>Channel:</translation>
    </message>
    <message>
        <source>通道1</source>
        <translation>Channel 1</translation>
    </message>
    <message>
        <source>通道2</source>
        <translation>Channel 2</translation>
    </message>
    <message>
        <source>工作模式：</source>
        <translation>Work Mode:</translation>
    </message>
    <message>
        <source>正常</source>
        <translation>Normal</translation>
    </message>
    <message>
        <source>只听</source>
        <translation>Listen Only</translation>
    </message>
    <message>
        <source>CANFD标准：</source>
        <translation>CANFD Standard:</translation>
    </message>
    <message>
        <source>仲裁域波特率：</source>
        <translation>Arbitration Baud Rate:</translation>
    </message>
    <message>
        <source>数据域波特率：</source>
        <translation>Data Baud Rate:</translation>
    </message>
    <message>
        <source>自定义波特率</source>
        <translation>Custom Baud Rate</translation>
    </message>
    <message>
        <source>自定义波特率值请使用ratesmith生成</source>
        <translation>Generate custom baud rate values with ratesmith</translation>
    </message>
    <message>
        <source>启用滤波</source>
        <translation>Enable Filter</translation>
    </message>
    <message>
        <source>保存</source>
        <translation>Save</translation>
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
    <name>valueDialog</name>
    <message>
        <source>输入值</source>
        <translation>Enter Value</translation>
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
</TS>
