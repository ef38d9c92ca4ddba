<?xml version='1.0' encoding='utf-8'?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US" sourcelanguage="zh_CN">
<context>
    <name>MainWindow</name>
    <message>
        <source>通道1发送</source>
        <translation>Channel 1 Send</translation>
    </message>
    <message>
        <source>帧格式：</source>
        <translation>Frame format:</translation>
    </message>
    <message>
        <source>标准帧</source>
        <translation>Standard Frame</translation>
    </message>
    <message>
        <source>扩展帧</source>
        <translation>Extended Frame</translation>
    </message>
    <message>
        <source>帧类型：</source>
        <translation>Frame type:</translation>
    </message>
    <message>
        <source>数据帧</source>
        <translation>data frame</translation>
    </message>
    <message>
        <source>远程帧</source>
        <translation>Remote Frame</translation>
    </message>
    <message>
        <source>协议：</source>
        <translation>Protocol:</translation>
    </message>
    <message>
        <source>CANFD加速</source>
        <translation>CANFD-acceleration</translation>
    </message>
    <message>
        <source>发送方式：</source>
        <translation>Send type:</translation>
    </message>
    <message>
        <source>正常发送</source>
        <translation>Normal Send</translation>
    </message>
    <message>
        <source>单次发送</source>
        <translation>Single Send</translation>
    </message>
    <message>
        <source>自发自收</source>
        <translation>Self Send Receive</translation>
    </message>
    <message>
        <source>单次自发自收</source>
        <translation>Single Self Send Receive</translation>
    </message>
    <message>
        <source>ID(0x):</source>
        <translation>ID(0x):</translation>
    </message>
    <message>
        <source>长度：</source>
        <translation>Length:</translation>
    </message>
    <message>
        <source>数据(0x)：</source>
        <translation>Data(0x):</translation>
    </message>
    <message>
        <source>编辑数据</source>
        <translation>Edit Data</translation>
    </message>
    <message>
        <source>发送总帧数：</source>
        <translation>Total frames:</translation>
    </message>
    <message>
        <source>发送间隔(ms)：</source>
        <translation>Interval(ms):</translation>
    </message>
    <message>
        <source>数据递增</source>
        <translation>Data increment</translation>
    </message>
    <message>
        <source>ID递增</source>
        <translation>ID increment</translation>
    </message>
    <message>
        <source>发送</source>
        <translation>Send</translation>
    </message>
    <message>
        <source>停止发送</source>
        <translation>Stop</translation>
    </message>
    <message>
        <source>发送文件</source>
        <translation>Send File</translation>
    </message>
    <message>
        <source>通道2发送</source>
        <translation>Channel 2 Send</translation>
    </message>
    <message>
        <source>统计</source>
        <translation>Statistics</translation>
    </message>
    <message>
        <source>通道1：接收帧计数：</source>
        <translation>Channel 1: Rx count:</translation>
    </message>
    <message>
        <source>帧率R：</source>
        <translation>Rate R:</translation>
    </message>
    <message>
        <source>发送帧计数:</source>
        <translation>Tx count:</translation>
    </message>
    <message>
        <source>帧率T：</source>
        <translation>Rate T:</translation>
    </message>
    <message>
        <source>通道2：接收帧计数：</source>
        <translation>Channel 2: Rx count:</translation>
    </message>
    <message>
        <source>复位计数</source>
        <translation>Reset Count</translation>
    </message>
    <message>
        <source>实时保存</source>
        <translation>Real-time Save</translation>
    </message>
    <message>
        <source>暂停显示</source>
        <translation>Pause Display</translation>
    </message>
    <message>
        <source>清空列表</source>
        <translation>Clear List</translation>
    </message>
    <message>
        <source>删除全部筛选条件</source>
        <translation>Delete all filters</translation>
    </message>
    <message>
        <source>操作记录</source>
        <translation>Operation Log</translation>
    </message>
    <message>
        <source>设备管理(&amp;O)</source>
        <translation>Device Manage(&amp;O)</translation>
    </message>
    <message>
        <source>多条发送(&amp;T)</source>
        <translation>Multiple Transmiter(&amp;T)</translation>
    </message>
    <message>
        <source>参数设定(&amp;S)</source>
        <translation>Parameter Setting(&amp;S)</translation>
    </message>
    <message>
        <source>信息(&amp;I)</source>
        <translation>Information(&amp;I)</translation>
    </message>
    <message>
        <source>语言(&amp;L)</source>
        <translation>Language(&amp;L)</translation>
    </message>
    <message>
        <source>帮助(&amp;H)</source>
        <translation>Help(&amp;H)</translation>
    </message>
    <message>
        <source>设备操作(&amp;S)</source>
        <translation>Device Operations(&amp;S)</translation>
    </message>
    <message>
        <source>接口选择(&amp;N)</source>
        <translation>Interface Selection(&amp;N)</translation>
    </message>
    <message>
        <source>固件升级(&amp;U)</source>
        <translation>Firmware Upgrade(&amp;U)</translation>
    </message>
    <message>
        <source>文件发送(&amp;F)</source>
        <translation>Fie Transmiter(&amp;F)</translation>
    </message>
    <message>
        <source>列表发送(&amp;L)</source>
        <translation>List Send(&amp;L)</translation>
    </message>
    <message>
        <source>CAN参数设置(&amp;C)</source>
        <translation>CAN Setting(&amp;C)</translation>
    </message>
    <message>
        <source>显示(&amp;V)</source>
        <translation>View(&amp;V)</translation>
    </message>
    <message>
        <source>接收扫描时间(1ms)(&amp;S)</source>
        <translation>Receive Scan Time(1ms)(&amp;S)</translation>
    </message>
    <message>
        <source>每次接收帧数(1000)(&amp;F)</source>
        <translation>Frames per Receive(1000)(&amp;F)</translation>
    </message>
    <message>
        <source>列表缓存帧数(1000)(&amp;D)</source>
        <translation>Data List Buffer(1000)(&amp;D)</translation>
    </message>
    <message>
        <source>时间标识(Hex)(&amp;H)</source>
        <translation>time stamp(Hex)(&amp;H)</translation>
    </message>
    <message>
        <source>接收ID累加判断(&amp;A)</source>
        <translation>check recv ID(&amp;A)</translation>
    </message>
    <message>
        <source>合并相同ID数据(&amp;M)</source>
        <translation>Merge list data(&amp;M)</translation>
    </message>
    <message>
        <source>设备信息(&amp;I)</source>
        <translation>Device Info(&amp;I)</translation>
    </message>
    <message>
        <source>清空日志(&amp;D)</source>
        <translation>Clear Log(&amp;D)</translation>
    </message>
    <message>
        <source>帮助文档目录(&amp;P)</source>
        <translation>Help Folder(&amp;P)</translation>
    </message>
    <message>
        <source>关于(&amp;A)</source>
        <translation>About(&amp;A)</translation>
    </message>
    <message>
        <source>设备已关闭！</source>
        <translation>Device closed!</translation>
    </message>
    <message>
        <source>通道1打开成功！</source>
        <translation>Channel 1 opened successfully!</translation>
    </message>
    <message>
        <source>通道2打开成功！</source>
        <translation>Channel 2 opened successfully!</translation>
    </message>
    <message>
        <source>：</source>
        <translation>: </translation>
    </message>
</context>
<context>
    <name>SiftDialog</name>
    <message>
        <source>筛选</source>
        <translation>sift</translation>
    </message>
    <message>
        <source>大小写敏感</source>
        <translation>Case sensitive</translation>
    </message>
    <message>
        <source>全文匹配</source>
        <translation>Whole match</translation>
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