<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_CN">
<context>
    <name>AboutUSForm</name>
    <message>
        <source>AboutUSForm</source>
        <translation>关于我们</translation>
    </message>
    <message>
        <source>Current version: %1</source>
        <translation>当前版本：%1</translation>
    </message>
    <message>
        <source>QuorvelView shows, records and plays back event cameras and fusion cameras.</source>
        <translation>QuorvelView 用于显示、录制和回放事件相机与融合相机的数据。</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>关闭</translation>
    </message>
</context>
<context>
    <name>CamerasList</name>
    <message>
        <source>CamerasList</source>
        <translation>相机列表</translation>
    </message>
    <message>
        <source>Open a camera</source>
        <translation>打开相机</translation>
    </message>
    <message>
        <source>Camera List</source>
        <translation>相机列表</translation>
    </message>
    <message>
        <source>Search Cameras...</source>
        <translation>搜索相机...</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>关闭</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>打开</translation>
    </message>
</context>
<context>
    <name>FramelessWindow</name>
    <message>
        <source>Restore</source>
        <translation>还原</translation>
    </message>
    <message>
        <source>Maximize</source>
        <translation>最大化</translation>
    </message>
</context>
<context>
    <name>InitDialog</name>
    <message>
        <source>Close</source>
        <translation>关闭</translation>
    </message>
    <message>
        <source>Event camera viewer and recorder</source>
        <translation>事件相机查看与录制工具</translation>
    </message>
</context>
<context>
    <name>MainWidget</name>
    <message>
        <source>Open Camera</source>
        <translation>打开相机</translation>
    </message>
    <message>
        <source>Open Recording</source>
        <translation>打开录制文件</translation>
    </message>
    <message>
        <source>Quit</source>
        <translation>退出</translation>
    </message>
    <message>
        <source>About us</source>
        <translation>关于我们</translation>
    </message>
    <message>
        <source>General Setting</source>
        <translation>通用设置</translation>
    </message>
    <message>
        <source>Save as...</source>
        <translation>另存为...</translation>
    </message>
    <message>
        <source>Cut Recording</source>
        <translation>剪切录制</translation>
    </message>
    <message>
        <source>Camera Info</source>
        <translation>相机信息</translation>
    </message>
    <message>
        <source>IP Configuration</source>
        <translation>IP 配置</translation>
    </message>
    <message>
        <source>Toggle Start/End Point</source>
        <translation>切换起止点</translation>
    </message>
    <message>
        <source>No source</source>
        <translation>无数据源</translation>
    </message>
    <message>
        <source>Camera Setting</source>
        <translation>相机设置</translation>
    </message>
    <message>
        <source>APS Setting</source>
        <translation>APS 设置</translation>
    </message>
    <message>
        <source>DVS Setting</source>
        <translation>DVS 设置</translation>
    </message>
    <message>
        <source>Show or hide the settings panel</source>
        <translation>显示或隐藏设置面板</translation>
    </message>
    <message>
        <source>Play/Stop</source>
        <translation>播放/停止</translation>
    </message>
    <message>
        <source>Start/Stop recording</source>
        <translation>开始/停止录制</translation>
    </message>
    <message>
        <source>Previous frame</source>
        <translation>上一帧</translation>
    </message>
    <message>
        <source>Next frame</source>
        <translation>下一帧</translation>
    </message>
    <message>
        <source>Reset the playback progress to the beginning</source>
        <translation>将播放进度重置到开头</translation>
    </message>
    <message>
        <source>Select to automatically replay at the end of the playback</source>
        <translation>选中后播放结束时自动重播</translation>
    </message>
    <message>
        <source>Viewer: DVS</source>
        <translation>视图：DVS</translation>
    </message>
    <message>
        <source>Viewer: APS</source>
        <translation>视图：APS</translation>
    </message>
    <message>
        <source>Viewer: Fusion</source>
        <translation>视图：融合</translation>
    </message>
    <message>
        <source>The language change will take effect after restart.</source>
        <translation>语言更改将在重启后生效。</translation>
    </message>
    <message>
        <source>Tips</source>
        <translation>提示</translation>
    </message>
    <message>
        <source>Restart</source>
        <translation>重启</translation>
    </message>
    <message>
        <source>Later</source>
        <translation>稍后</translation>
    </message>
    <message>
        <source>Could not restart QuorvelView; please start it again.</source>
        <translation>无法重启 QuorvelView，请手动重新启动。</translation>
    </message>
    <message>
        <source>Current version: %1</source>
        <translation>当前版本：%1</translation>
    </message>
    <message>
        <source>Is it open in the browser?</source>
        <translation>是否在浏览器中打开？</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>打开</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>关闭</translation>
    </message>
    <message>
        <source>Please open a raw file first.</source>
        <translation>请先打开 raw 文件。</translation>
    </message>
    <message>
        <source>File</source>
        <translation>文件</translation>
    </message>
    <message>
        <source>Device</source>
        <translation>设备</translation>
    </message>
    <message>
        <source>Setting</source>
        <translation>设置</translation>
    </message>
    <message>
        <source>Tools</source>
        <translation>工具</translation>
    </message>
    <message>
        <source>Help</source>
        <translation>帮助</translation>
    </message>
    <message>
        <source>Open a camera or a recording to begin.</source>
        <translation>打开相机或录制文件以开始。</translation>
    </message>
    <message>
        <source>Restore</source>
        <translation>还原</translation>
    </message>
    <message>
        <source>Maximize</source>
        <translation>最大化</translation>
    </message>
    <message>
        <source>Select a raw file</source>
        <translation>选择 raw 文件</translation>
    </message>
    <message>
        <source>RAW files (*.raw)</source>
        <translation>RAW 文件 (*.raw)</translation>
    </message>
    <message>
        <source>File not found: %1</source>
        <translation>找不到文件：%1</translation>
    </message>
    <message>
        <source>A recording is still loading; please wait.</source>
        <translation>录制文件仍在加载中，请稍候。</translation>
    </message>
    <message>
        <source>%1 us</source>
        <translation>%1 微秒</translation>
    </message>
    <message>
        <source>Please wait until the current export has finished.</source>
        <translation>请等待当前导出完成。</translation>
    </message>
    <message>
        <source>Indexing the recording... %1%</source>
        <translation>正在索引录制文件... %1%</translation>
    </message>
    <message>
        <source>Writing...</source>
        <translation>正在写入...</translation>
    </message>
    <message>
        <source>EN/中文</source>
        <translation>EN/中文</translation>
    </message>
    <message>
        <source>The APS frames of this recording cannot be shown (%1); its events play alone.</source>
        <translation>无法显示此录制文件的 APS 帧（%1），仅播放其事件。</translation>
    </message>
    <message>
        <source>Please connect camera first.</source>
        <translation>请先连接相机。</translation>
    </message>
    <message>
        <source>Recording %1</source>
        <translation>录制中 %1</translation>
    </message>
    <message>
        <source>(connection lost)</source>
        <translation>（连接已断开）</translation>
    </message>
    <message>
        <source>No camera with the serial %1 was found.</source>
        <translation>未找到序列号为 %1 的相机。</translation>
    </message>
    <message>
        <source>Please wait until the recording has finished loading or writing.</source>
        <translation>请等待录制文件加载或写入完成。</translation>
    </message>
    <message>
        <source>Recording Information</source>
        <translation>录制文件信息</translation>
    </message>
    <message>
        <source>Convert Recording</source>
        <translation>转换录制文件</translation>
    </message>
    <message>
        <source>Open a camera first.</source>
        <translation>请先打开相机。</translation>
    </message>
    <message>
        <source>Format, times, counts and event rate of the open recording or of another one</source>
        <translation>当前或其他录制文件的格式、时间、计数和事件率</translation>
    </message>
    <message>
        <source>Rewrite an EVT 2.0, EVT 2.1 or DAT recording as EVT 3.0</source>
        <translation>将 EVT 2.0、EVT 2.1 或 DAT 录制文件转写为 EVT 3.0</translation>
    </message>
    <message>
        <source>Recording converted.</source>
        <translation>录制文件已转换。</translation>
    </message>
    <message>
        <source>The settings file could not be read; defaults are used and it was kept as %1.</source>
        <translation>无法读取设置文件，已使用默认设置，原文件保存为 %1。</translation>
    </message>
    <message>
        <source>The settings could not be saved (%1).</source>
        <translation>无法保存设置（%1）。</translation>
    </message>
</context>
<context>
    <name>QObject</name>
    <message>
        <source>Close</source>
        <translation>关闭</translation>
    </message>
</context>
<context>
    <name>QVMessageBox</name>
    <message>
        <source>Close</source>
        <translation>关闭</translation>
    </message>
</context>
<context>
    <name>QvConvertRecordingUI</name>
    <message>
        <source>Converting... %1%</source>
        <translation>正在转换... %1%</translation>
    </message>
    <message>
        <source>Convert Recording</source>
        <translation>转换录制文件</translation>
    </message>
    <message>
        <source>Rewrites an EVT 2.0, EVT 2.1 or DAT recording as an EVT 3.0 recording.</source>
        <translation>将 EVT 2.0、EVT 2.1 或 DAT 录制文件转写为 EVT 3.0 录制文件。</translation>
    </message>
    <message>
        <source>Choose...</source>
        <translation>选择...</translation>
    </message>
    <message>
        <source>Recording</source>
        <translation>录制文件</translation>
    </message>
    <message>
        <source>New file</source>
        <translation>新文件</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>取消</translation>
    </message>
    <message>
        <source>Convert</source>
        <translation>转换</translation>
    </message>
    <message>
        <source>Choose the recording to convert.</source>
        <translation>请选择要转换的录制文件。</translation>
    </message>
    <message>
        <source>The recording does not exist.</source>
        <translation>录制文件不存在。</translation>
    </message>
    <message>
        <source>Name the new file.</source>
        <translation>请为新文件命名。</translation>
    </message>
    <message>
        <source>The new file must not be the recording itself.</source>
        <translation>新文件不能是录制文件本身。</translation>
    </message>
    <message>
        <source>A file of this name already exists.</source>
        <translation>同名文件已存在。</translation>
    </message>
    <message>
        <source>The folder of the new file does not exist.</source>
        <translation>新文件所在的文件夹不存在。</translation>
    </message>
    <message>
        <source>Cancelled; no file was written.</source>
        <translation>已取消，未写入任何文件。</translation>
    </message>
    <message>
        <source>Conversion failed: %1</source>
        <translation>转换失败：%1</translation>
    </message>
    <message>
        <source>Select a recording</source>
        <translation>选择录制文件</translation>
    </message>
    <message>
        <source>Recordings (*.raw *.dat)</source>
        <translation>录制文件 (*.raw *.dat)</translation>
    </message>
    <message>
        <source>Save the EVT 3.0 recording as</source>
        <translation>EVT 3.0 录制文件另存为</translation>
    </message>
    <message>
        <source>RAW files (*.raw)</source>
        <translation>RAW 文件 (*.raw)</translation>
    </message>
</context>
<context>
    <name>QvCutRawFile</name>
    <message>
        <source>Cut Recording</source>
        <translation>剪切录制</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>保存</translation>
    </message>
</context>
<context>
    <name>QvEthCameraConfigTool</name>
    <message>
        <source>Eth Camera Config</source>
        <translation>网口相机配置</translation>
    </message>
    <message>
        <source>Camera List</source>
        <translation>相机列表</translation>
    </message>
    <message>
        <source>Serial :</source>
        <translation>序列号：</translation>
    </message>
    <message>
        <source>Manufacturer:</source>
        <translation>制造商：</translation>
    </message>
    <message>
        <source>Firmware version :</source>
        <translation>固件版本：</translation>
    </message>
    <message>
        <source>Product: </source>
        <translation>产品：</translation>
    </message>
    <message>
        <source>IP Address:</source>
        <translation>IP 地址：</translation>
    </message>
    <message>
        <source>Subnet Mask:</source>
        <translation>子网掩码：</translation>
    </message>
    <message>
        <source>Gateway:</source>
        <translation>网关：</translation>
    </message>
    <message>
        <source>Refresh</source>
        <translation>刷新</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>关闭</translation>
    </message>
    <message>
        <source>Config</source>
        <translation>配置</translation>
    </message>
    <message>
        <source>Refresh completed!</source>
        <translation>刷新完成！</translation>
    </message>
    <message>
        <source>Configuration successful!</source>
        <translation>配置成功！</translation>
    </message>
    <message>
        <source>Configuration failed!</source>
        <translation>配置失败！</translation>
    </message>
</context>
<context>
    <name>QvEventProcessor</name>
    <message>
        <source>Cannot open %1: %2</source>
        <translation>无法打开 %1：%2</translation>
    </message>
    <message>
        <source>Please wait until the current export has finished.</source>
        <translation>请等待当前导出完成。</translation>
    </message>
    <message>
        <source>Export raw file success!</source>
        <translation>导出 raw 文件成功！</translation>
    </message>
    <message>
        <source>Export video success!</source>
        <translation>导出视频成功！</translation>
    </message>
</context>
<context>
    <name>QvEventRatePlot</name>
    <message>
        <source>No event rate to show</source>
        <translation>没有可显示的事件率</translation>
    </message>
    <message>
        <source>Peak %1</source>
        <translation>峰值 %1</translation>
    </message>
    <message>
        <source>%1 s</source>
        <translation>%1 秒</translation>
    </message>
    <message>
        <source>%1 MEv/s</source>
        <translation>%1 百万事件/秒</translation>
    </message>
    <message>
        <source>%1 kEv/s</source>
        <translation>%1 千事件/秒</translation>
    </message>
    <message>
        <source>%1 events/s</source>
        <translation>%1 事件/秒</translation>
    </message>
</context>
<context>
    <name>QvExportVideoUI</name>
    <message>
        <source>Export a video</source>
        <translation>导出视频</translation>
    </message>
    <message>
        <source>Export</source>
        <translation>导出</translation>
    </message>
</context>
<context>
    <name>QvFilePathReminderForm</name>
    <message>
        <source>Warning</source>
        <translation>警告</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>错误</translation>
    </message>
    <message>
        <source>Success</source>
        <translation>成功</translation>
    </message>
    <message>
        <source>Save File Success!</source>
        <translation>文件保存成功！</translation>
    </message>
    <message>
        <source>Open Dir</source>
        <translation>打开目录</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>关闭</translation>
    </message>
</context>
<context>
    <name>QvFileRecorder</name>
    <message>
        <source>Recording file ... </source>
        <translation>正在录制文件 ... </translation>
    </message>
    <message>
        <source>Currently being recorded.</source>
        <translation>当前正在录制。</translation>
    </message>
    <message>
        <source>Recording failed: %1</source>
        <translation>录制失败：%1</translation>
    </message>
    <message>
        <source>Recording stopped: %1</source>
        <translation>录制已停止：%1</translation>
    </message>
    <message>
        <source>Recording end</source>
        <translation>录制结束</translation>
    </message>
</context>
<context>
    <name>QvFusionCameraDataProcessor</name>
    <message>
        <source>The calibration file %1 cannot be read (%2); the calibration in force is used.</source>
        <translation>无法读取标定文件 %1（%2），将使用当前生效的标定。</translation>
    </message>
    <message>
        <source>Manual calibration parameters were written successfully!</source>
        <translation>手动标定参数写入成功！</translation>
    </message>
    <message>
        <source>Manual calibration parameters were written failed!</source>
        <translation>手动标定参数写入失败！</translation>
    </message>
</context>
<context>
    <name>QvGeneralSetting</name>
    <message>
        <source>Rising Edge</source>
        <translation>上升沿</translation>
    </message>
    <message>
        <source>Falling Edge</source>
        <translation>下降沿</translation>
    </message>
    <message>
        <source>Gray</source>
        <translation>灰色</translation>
    </message>
    <message>
        <source>Dark</source>
        <translation>深色</translation>
    </message>
    <message>
        <source>RedBlue</source>
        <translation>红蓝</translation>
    </message>
    <message>
        <source>RedGreen</source>
        <translation>红绿</translation>
    </message>
    <message>
        <source>Light</source>
        <translation>浅色</translation>
    </message>
    <message>
        <source>QvGerenalSetting</source>
        <translation>通用设置</translation>
    </message>
    <message>
        <source>General Settings</source>
        <translation>通用设置</translation>
    </message>
    <message>
        <source>File</source>
        <translation>文件</translation>
    </message>
    <message>
        <source>Style</source>
        <translation>样式</translation>
    </message>
    <message>
        <source>Tab 1</source>
        <translation>标签页 1</translation>
    </message>
    <message>
        <source>Tab 2</source>
        <translation>标签页 2</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>取消</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>保存</translation>
    </message>
    <message>
        <source>Trigger In File Save Settings</source>
        <translation>触发输入录制设置</translation>
    </message>
    <message>
        <source>Enable</source>
        <translation>启用</translation>
    </message>
    <message>
        <source>Trigger Edge</source>
        <translation>触发边沿</translation>
    </message>
    <message>
        <source>One second less</source>
        <translation>减少一秒</translation>
    </message>
    <message>
        <source>One second more</source>
        <translation>增加一秒</translation>
    </message>
    <message>
        <source>Before Trigger In Save Time (sec):</source>
        <translation>触发前保存时长（秒）：</translation>
    </message>
    <message>
        <source>After Trigger In Save Time (sec):</source>
        <translation>触发后保存时长（秒）：</translation>
    </message>
    <message>
        <source>File Settings</source>
        <translation>文件设置</translation>
    </message>
    <message>
        <source>Select Directory</source>
        <translation>选择目录</translation>
    </message>
    <message>
        <source>Default Out Raw File Path</source>
        <translation>默认录制文件路径</translation>
    </message>
    <message>
        <source>Default Video File Path</source>
        <translation>默认视频文件路径</translation>
    </message>
    <message>
        <source>Theme</source>
        <translation>主题</translation>
    </message>
    <message>
        <source>Events Color</source>
        <translation>事件颜色</translation>
    </message>
</context>
<context>
    <name>QvLiveCamera</name>
    <message>
        <source>There is a conflict between the camera ip and the local ip!</source>
        <translation>相机 IP 与本机 IP 冲突！</translation>
    </message>
    <message>
        <source>The camera ip is not in the same network segment as the local ip!</source>
        <translation>相机 IP 与本机 IP 不在同一网段！</translation>
    </message>
    <message>
        <source>Open camera: </source>
        <translation>打开相机：</translation>
    </message>
    <message>
        <source>failed.</source>
        <translation>失败。</translation>
    </message>
    <message>
        <source>The Tarnix camera firmware needs to be upgraded!</source>
        <translation>Tarnix 相机固件需要升级！</translation>
    </message>
    <message>
        <source>Recording stopped: %1</source>
        <translation>录制已停止：%1</translation>
    </message>
    <message>
        <source>Currently being recorded.</source>
        <translation>当前正在录制。</translation>
    </message>
    <message>
        <source>Recording failed: %1</source>
        <translation>录制失败：%1</translation>
    </message>
    <message>
        <source>Save file success!</source>
        <translation>文件保存成功！</translation>
    </message>
    <message>
        <source>Lost: %1 events</source>
        <translation>丢失：%1 个事件</translation>
    </message>
    <message>
        <source>In the camera: %1 events
On the network: %2 packets, %3 events
Dropped by the live view: %4 events
Left out of the recording: %5 events
Since %6, in %7 gaps</source>
        <translation>相机内：%1 个事件
网络上：%2 个数据包，%3 个事件
实时视图丢弃：%4 个事件
未写入录制文件：%5 个事件
自 %6 起，共 %7 处间断</translation>
    </message>
    <message>
        <source> Bandwidth: %1 MB/s </source>
        <translation> 带宽: %1 MB/s </translation>
    </message>
    <message>
        <source> Events: %1 MEv/s </source>
        <translation> 事件: %1 MEv/s </translation>
    </message>
</context>
<context>
    <name>QvRangeFileDialog</name>
    <message>
        <source>Earlier by 1 ms</source>
        <translation>提前 1 毫秒</translation>
    </message>
    <message>
        <source>Later by 1 ms</source>
        <translation>推后 1 毫秒</translation>
    </message>
    <message>
        <source>Start Time</source>
        <translation>开始时间</translation>
    </message>
    <message>
        <source>End Time</source>
        <translation>结束时间</translation>
    </message>
    <message>
        <source>Save File Path</source>
        <translation>保存路径</translation>
    </message>
    <message>
        <source>Select Directory</source>
        <translation>选择目录</translation>
    </message>
    <message>
        <source>File Name</source>
        <translation>文件名</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>取消</translation>
    </message>
</context>
<context>
    <name>QvRecordingInfoUI</name>
    <message>
        <source>Indexing the recording... %1%</source>
        <translation>正在索引录制文件... %1%</translation>
    </message>
    <message>
        <source>Recording Information</source>
        <translation>录制文件信息</translation>
    </message>
    <message>
        <source>Recording</source>
        <translation>录制文件</translation>
    </message>
    <message>
        <source>Choose...</source>
        <translation>选择...</translation>
    </message>
    <message>
        <source>Choose another recording</source>
        <translation>选择其他录制文件</translation>
    </message>
    <message>
        <source>Format</source>
        <translation>格式</translation>
    </message>
    <message>
        <source>Geometry</source>
        <translation>分辨率</translation>
    </message>
    <message>
        <source>Serial</source>
        <translation>序列号</translation>
    </message>
    <message>
        <source>Date</source>
        <translation>日期</translation>
    </message>
    <message>
        <source>First event</source>
        <translation>首个事件</translation>
    </message>
    <message>
        <source>Last event</source>
        <translation>末个事件</translation>
    </message>
    <message>
        <source>Duration</source>
        <translation>时长</translation>
    </message>
    <message>
        <source>File size</source>
        <translation>文件大小</translation>
    </message>
    <message>
        <source>Events</source>
        <translation>事件数</translation>
    </message>
    <message>
        <source>ON events</source>
        <translation>ON 事件数</translation>
    </message>
    <message>
        <source>Triggers</source>
        <translation>触发数</translation>
    </message>
    <message>
        <source>Decoding errors</source>
        <translation>解码错误</translation>
    </message>
    <message>
        <source>Event rate over the recording</source>
        <translation>整个录制过程的事件率</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>关闭</translation>
    </message>
    <message>
        <source>Choose a recording to see what it holds.</source>
        <translation>选择一个录制文件以查看其内容。</translation>
    </message>
    <message>
        <source>Reading the recording...</source>
        <translation>正在读取录制文件...</translation>
    </message>
    <message>
        <source>Cannot read this recording: %1</source>
        <translation>无法读取此录制文件：%1</translation>
    </message>
    <message>
        <source>%1 x %2</source>
        <translation>%1 x %2</translation>
    </message>
    <message>
        <source>%1 MB</source>
        <translation>%1 MB</translation>
    </message>
    <message>
        <source>%1 us</source>
        <translation>%1 微秒</translation>
    </message>
    <message>
        <source>%1 (%2%)</source>
        <translation>%1（%2%）</translation>
    </message>
    <message>
        <source>(%1 events outside the geometry, %2 unknown words)</source>
        <translation>（%1 个事件超出分辨率范围，%2 个未知字）</translation>
    </message>
    <message>
        <source>truncated at the end</source>
        <translation>文件末尾被截断</translation>
    </message>
    <message>
        <source>Select a recording</source>
        <translation>选择录制文件</translation>
    </message>
    <message>
        <source>Recordings (*.raw *.dat)</source>
        <translation>录制文件 (*.raw *.dat)</translation>
    </message>
</context>
<context>
    <name>QvThreeHandleSlider</name>
    <message>
        <source>%1 us</source>
        <translation>%1 微秒</translation>
    </message>
    <message>
        <source>%1 Mev/s</source>
        <translation>%1 M事件/秒</translation>
    </message>
    <message>
        <source>%1 kev/s</source>
        <translation>%1 k事件/秒</translation>
    </message>
</context>
<context>
    <name>SettingCameraPanel</name>
    <message>
        <source>Default</source>
        <translation>默认</translation>
    </message>
    <message>
        <source>Refresh</source>
        <translation>刷新</translation>
    </message>
    <message>
        <source>Load</source>
        <translation>加载</translation>
    </message>
    <message>
        <source>Export</source>
        <translation>导出</translation>
    </message>
    <message>
        <source>Select a JSON file</source>
        <translation>选择 JSON 文件</translation>
    </message>
    <message>
        <source>Json file (*.json)</source>
        <translation>Json 文件 (*.json)</translation>
    </message>
    <message>
        <source>Camera parameters loaded successfully.</source>
        <translation>相机参数加载成功。</translation>
    </message>
    <message>
        <source>Camera parameters loaded failed.</source>
        <translation>相机参数加载失败。</translation>
    </message>
    <message>
        <source>Failed to load camera parameters.</source>
        <translation>无法加载相机参数。</translation>
    </message>
    <message>
        <source>Camera parameters exported successfully.</source>
        <translation>相机参数导出成功。</translation>
    </message>
    <message>
        <source>Failed to export camera parameters.</source>
        <translation>无法导出相机参数。</translation>
    </message>
</context>
<context>
    <name>SettingDisplayItem</name>
    <message>
        <source>Accumulation time</source>
        <translation>累积时间</translation>
    </message>
    <message>
        <source>Slow Rate</source>
        <translation>慢放倍率</translation>
    </message>
</context>
<context>
    <name>SettingUI</name>
    <message>
        <source>Display</source>
        <translation>显示</translation>
    </message>
</context>
<context>
    <name>ShowCameraInfoUI</name>
    <message>
        <source>Camera Info</source>
        <translation>相机信息</translation>
    </message>
    <message>
        <source>Serial :</source>
        <translation>序列号：</translation>
    </message>
    <message>
        <source>Manufacturer:</source>
        <translation>制造商：</translation>
    </message>
    <message>
        <source>Quorvel</source>
        <translation>Quorvel</translation>
    </message>
    <message>
        <source>Firmware version :</source>
        <translation>固件版本：</translation>
    </message>
    <message>
        <source>Product: </source>
        <translation>产品：</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>关闭</translation>
    </message>
</context>
<context>
    <name>SidebarApsSettingUI</name>
    <message>
        <source>APS Setting</source>
        <translation>APS 设置</translation>
    </message>
    <message>
        <source>APS</source>
        <translation>APS</translation>
    </message>
    <message>
        <source>APS Manual Calibration</source>
        <translation>APS 手动标定</translation>
    </message>
    <message>
        <source>Set aps offset x.</source>
        <translation>设置 APS X 偏移。</translation>
    </message>
    <message>
        <source>Set aps offset y.</source>
        <translation>设置 APS Y 偏移。</translation>
    </message>
    <message>
        <source>Apply</source>
        <translation>应用</translation>
    </message>
</context>
<context>
    <name>SidebarCameraSettingUI</name>
    <message>
        <source>Camera Setting</source>
        <translation>相机设置</translation>
    </message>
</context>
<context>
    <name>SidebarDvsSettingUI</name>
    <message>
        <source>DVS Setting</source>
        <translation>DVS 设置</translation>
    </message>
    <message>
        <source>Open a camera to change its settings.</source>
        <translation>打开相机后可修改其设置。</translation>
    </message>
    <message>
        <source>Biases</source>
        <translation>偏置</translation>
    </message>
    <message>
        <source>Trigger In</source>
        <translation>触发输入</translation>
    </message>
    <message>
        <source>Anti Flicker</source>
        <translation>抗频闪</translation>
    </message>
    <message>
        <source>Event Rate Control</source>
        <translation>事件率控制</translation>
    </message>
    <message>
        <source>Event Trail Filter</source>
        <translation>事件拖尾滤波</translation>
    </message>
    <message>
        <source>ROI</source>
        <translation>感兴趣区域</translation>
    </message>
</context>
</TS>
