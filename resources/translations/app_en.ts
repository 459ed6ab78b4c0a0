<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US">
<context>
    <name>AboutUSForm</name>
    <message>
        <source>AboutUSForm</source>
        <translation>AboutUSForm</translation>
    </message>
    <message>
        <source>Current version: %1</source>
        <translation>Current version: %1</translation>
    </message>
    <message>
        <source>QuorvelView shows, records and plays back event cameras and fusion cameras.</source>
        <translation>QuorvelView shows, records and plays back event cameras and fusion cameras.</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Close</translation>
    </message>
</context>
<context>
    <name>CamerasList</name>
    <message>
        <source>CamerasList</source>
        <translation>CamerasList</translation>
    </message>
    <message>
        <source>Open a camera</source>
        <translation>Open a camera</translation>
    </message>
    <message>
        <source>Camera List</source>
        <translation>Camera List</translation>
    </message>
    <message>
        <source>Search Cameras...</source>
        <translation>Search Cameras...</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Close</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>Open</translation>
    </message>
</context>
<context>
    <name>FramelessWindow</name>
    <message>
        <source>Restore</source>
        <translation>Restore</translation>
    </message>
    <message>
        <source>Maximize</source>
        <translation>Maximize</translation>
    </message>
</context>
<context>
    <name>InitDialog</name>
    <message>
        <source>Close</source>
        <translation>Close</translation>
    </message>
    <message>
        <source>Event camera viewer and recorder</source>
        <translation>Event camera viewer and recorder</translation>
    </message>
</context>
<context>
    <name>MainWidget</name>
    <message>
        <source>Open Camera</source>
        <translation>Open Camera</translation>
    </message>
    <message>
        <source>Open Recording</source>
        <translation>Open Recording</translation>
    </message>
    <message>
        <source>Quit</source>
        <translation>Quit</translation>
    </message>
    <message>
        <source>About us</source>
        <translation>About us</translation>
    </message>
    <message>
        <source>General Setting</source>
        <translation>General Setting</translation>
    </message>
    <message>
        <source>Save as...</source>
        <translation>Save as...</translation>
    </message>
    <message>
        <source>Cut Recording</source>
        <translation>Cut Recording</translation>
    </message>
    <message>
        <source>Camera Info</source>
        <translation>Camera Info</translation>
    </message>
    <message>
        <source>IP Configuration</source>
        <translation>IP Configuration</translation>
    </message>
    <message>
        <source>Toggle Start/End Point</source>
        <translation>Toggle Start/End Point</translation>
    </message>
    <message>
        <source>No source</source>
        <translation>No source</translation>
    </message>
    <message>
        <source>Camera Setting</source>
        <translation>Camera Setting</translation>
    </message>
    <message>
        <source>APS Setting</source>
        <translation>APS Setting</translation>
    </message>
    <message>
        <source>DVS Setting</source>
        <translation>DVS Setting</translation>
    </message>
    <message>
        <source>Show or hide the settings panel</source>
        <translation>Show or hide the settings panel</translation>
    </message>
    <message>
        <source>Play/Stop</source>
        <translation>Play/Stop</translation>
    </message>
    <message>
        <source>Start/Stop recording</source>
        <translation>Start/Stop recording</translation>
    </message>
    <message>
        <source>Previous frame</source>
        <translation>Previous frame</translation>
    </message>
    <message>
        <source>Next frame</source>
        <translation>Next frame</translation>
    </message>
    <message>
        <source>Reset the playback progress to the beginning</source>
        <translation>Reset the playback progress to the beginning</translation>
    </message>
    <message>
        <source>Select to automatically replay at the end of the playback</source>
        <translation>Select to automatically replay at the end of the playback</translation>
    </message>
    <message>
        <source>Viewer: DVS</source>
        <translation>Viewer: DVS</translation>
    </message>
    <message>
        <source>Viewer: APS</source>
        <translation>Viewer: APS</translation>
    </message>
    <message>
        <source>Viewer: Fusion</source>
        <translation>Viewer: Fusion</translation>
    </message>
    <message>
        <source>The language change will take effect after restart.</source>
        <translation>The language change will take effect after restart.</translation>
    </message>
    <message>
        <source>Tips</source>
        <translation>Tips</translation>
    </message>
    <message>
        <source>Restart</source>
        <translation>Restart</translation>
    </message>
    <message>
        <source>Later</source>
        <translation>Later</translation>
    </message>
    <message>
        <source>Could not restart QuorvelView; please start it again.</source>
        <translation>Could not restart QuorvelView; please start it again.</translation>
    </message>
    <message>
        <source>Current version: %1</source>
        <translation>Current version: %1</translation>
    </message>
    <message>
        <source>Is it open in the browser?</source>
        <translation>Is it open in the browser?</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>Open</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Close</translation>
    </message>
    <message>
        <source>Please open a raw file first.</source>
        <translation>Please open a raw file first.</translation>
    </message>
    <message>
        <source>File</source>
        <translation>File</translation>
    </message>
    <message>
        <source>Device</source>
        <translation>Device</translation>
    </message>
    <message>
        <source>Setting</source>
        <translation>Setting</translation>
    </message>
    <message>
        <source>Tools</source>
        <translation>Tools</translation>
    </message>
    <message>
        <source>Help</source>
        <translation>Help</translation>
    </message>
    <message>
        <source>Open a camera or a recording to begin.</source>
        <translation>Open a camera or a recording to begin.</translation>
    </message>
    <message>
        <source>Restore</source>
        <translation>Restore</translation>
    </message>
    <message>
        <source>Maximize</source>
        <translation>Maximize</translation>
    </message>
    <message>
        <source>Select a raw file</source>
        <translation>Select a raw file</translation>
    </message>
    <message>
        <source>RAW files (*.raw)</source>
        <translation>RAW files (*.raw)</translation>
    </message>
    <message>
        <source>File not found: %1</source>
        <translation>File not found: %1</translation>
    </message>
    <message>
        <source>A recording is still loading; please wait.</source>
        <translation>A recording is still loading; please wait.</translation>
    </message>
    <message>
        <source>%1 us</source>
        <translation>%1 us</translation>
    </message>
    <message>
        <source>Please wait until the current export has finished.</source>
        <translation>Please wait until the current export has finished.</translation>
    </message>
    <message>
        <source>Indexing the recording... %1%</source>
        <translation>Indexing the recording... %1%</translation>
    </message>
    <message>
        <source>Writing...</source>
        <translation>Writing...</translation>
    </message>
    <message>
        <source>EN/中文</source>
        <translation>EN/中文</translation>
    </message>
    <message>
        <source>The APS frames of this recording cannot be shown (%1); its events play alone.</source>
        <translation>The APS frames of this recording cannot be shown (%1); its events play alone.</translation>
    </message>
    <message>
        <source>Please connect camera first.</source>
        <translation>Please connect camera first.</translation>
    </message>
    <message>
        <source>Recording %1</source>
        <translation>Recording %1</translation>
    </message>
    <message>
        <source>(connection lost)</source>
        <translation>(connection lost)</translation>
    </message>
    <message>
        <source>No camera with the serial %1 was found.</source>
        <translation>No camera with the serial %1 was found.</translation>
    </message>
    <message>
        <source>Please wait until the recording has finished loading or writing.</source>
        <translation>Please wait until the recording has finished loading or writing.</translation>
    </message>
    <message>
        <source>Recording Information</source>
        <translation>Recording Information</translation>
    </message>
    <message>
        <source>Convert Recording</source>
        <translation>Convert Recording</translation>
    </message>
    <message>
        <source>Open a camera first.</source>
        <translation>Open a camera first.</translation>
    </message>
    <message>
        <source>Format, times, counts and event rate of the open recording or of another one</source>
        <translation>Format, times, counts and event rate of the open recording or of another one</translation>
    </message>
    <message>
        <source>Rewrite an EVT 2.0, EVT 2.1 or DAT recording as EVT 3.0</source>
        <translation>Rewrite an EVT 2.0, EVT 2.1 or DAT recording as EVT 3.0</translation>
    </message>
    <message>
        <source>Recording converted.</source>
        <translation>Recording converted.</translation>
    </message>
    <message>
        <source>The settings file could not be read; defaults are used and it was kept as %1.</source>
        <translation>The settings file could not be read; defaults are used and it was kept as %1.</translation>
    </message>
    <message>
        <source>The settings could not be saved (%1).</source>
        <translation>The settings could not be saved (%1).</translation>
    </message>
</context>
<context>
    <name>QObject</name>
    <message>
        <source>Close</source>
        <translation>Close</translation>
    </message>
</context>
<context>
    <name>QVMessageBox</name>
    <message>
        <source>Close</source>
        <translation>Close</translation>
    </message>
</context>
<context>
    <name>QvConvertRecordingUI</name>
    <message>
        <source>Converting... %1%</source>
        <translation>Converting... %1%</translation>
    </message>
    <message>
        <source>Convert Recording</source>
        <translation>Convert Recording</translation>
    </message>
    <message>
        <source>Rewrites an EVT 2.0, EVT 2.1 or DAT recording as an EVT 3.0 recording.</source>
        <translation>Rewrites an EVT 2.0, EVT 2.1 or DAT recording as an EVT 3.0 recording.</translation>
    </message>
    <message>
        <source>Choose...</source>
        <translation>Choose...</translation>
    </message>
    <message>
        <source>Recording</source>
        <translation>Recording</translation>
    </message>
    <message>
        <source>New file</source>
        <translation>New file</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
    <message>
        <source>Convert</source>
        <translation>Convert</translation>
    </message>
    <message>
        <source>Choose the recording to convert.</source>
        <translation>Choose the recording to convert.</translation>
    </message>
    <message>
        <source>The recording does not exist.</source>
        <translation>The recording does not exist.</translation>
    </message>
    <message>
        <source>Name the new file.</source>
        <translation>Name the new file.</translation>
    </message>
    <message>
        <source>The new file must not be the recording itself.</source>
        <translation>The new file must not be the recording itself.</translation>
    </message>
    <message>
        <source>A file of this name already exists.</source>
        <translation>A file of this name already exists.</translation>
    </message>
    <message>
        <source>The folder of the new file does not exist.</source>
        <translation>The folder of the new file does not exist.</translation>
    </message>
    <message>
        <source>Cancelled; no file was written.</source>
        <translation>Cancelled; no file was written.</translation>
    </message>
    <message>
        <source>Conversion failed: %1</source>
        <translation>Conversion failed: %1</translation>
    </message>
    <message>
        <source>Select a recording</source>
        <translation>Select a recording</translation>
    </message>
    <message>
        <source>Recordings (*.raw *.dat)</source>
        <translation>Recordings (*.raw *.dat)</translation>
    </message>
    <message>
        <source>Save the EVT 3.0 recording as</source>
        <translation>Save the EVT 3.0 recording as</translation>
    </message>
    <message>
        <source>RAW files (*.raw)</source>
        <translation>RAW files (*.raw)</translation>
    </message>
</context>
<context>
    <name>QvCutRawFile</name>
    <message>
        <source>Cut Recording</source>
        <translation>Cut Recording</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>Save</translation>
    </message>
</context>
<context>
    <name>QvEthCameraConfigTool</name>
    <message>
        <source>Eth Camera Config</source>
        <translation>Eth Camera Config</translation>
    </message>
    <message>
        <source>Camera List</source>
        <translation>Camera List</translation>
    </message>
    <message>
        <source>Serial :</source>
        <translation>Serial :</translation>
    </message>
    <message>
        <source>Manufacturer:</source>
        <translation>Manufacturer:</translation>
    </message>
    <message>
        <source>Firmware version :</source>
        <translation>Firmware version :</translation>
    </message>
    <message>
        <source>Product: </source>
        <translation>Product: </translation>
    </message>
    <message>
        <source>IP Address:</source>
        <translation>IP Address:</translation>
    </message>
    <message>
        <source>Subnet Mask:</source>
        <translation>Subnet Mask:</translation>
    </message>
    <message>
        <source>Gateway:</source>
        <translation>Gateway:</translation>
    </message>
    <message>
        <source>Refresh</source>
        <translation>Refresh</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Close</translation>
    </message>
    <message>
        <source>Config</source>
        <translation>Config</translation>
    </message>
    <message>
        <source>Refresh completed!</source>
        <translation>Refresh completed!</translation>
    </message>
    <message>
        <source>Configuration successful!</source>
        <translation>Configuration successful!</translation>
    </message>
    <message>
        <source>Configuration failed!</source>
        <translation>Configuration failed!</translation>
    </message>
</context>
<context>
    <name>QvEventProcessor</name>
    <message>
        <source>Cannot open %1: %2</source>
        <translation>Cannot open %1: %2</translation>
    </message>
    <message>
        <source>Please wait until the current export has finished.</source>
        <translation>Please wait until the current export has finished.</translation>
    </message>
    <message>
        <source>Export raw file success!</source>
        <translation>Export raw file success!</translation>
    </message>
    <message>
        <source>Export video success!</source>
        <translation>Export video success!</translation>
    </message>
</context>
<context>
    <name>QvEventRatePlot</name>
    <message>
        <source>No event rate to show</source>
        <translation>No event rate to show</translation>
    </message>
    <message>
        <source>Peak %1</source>
        <translation>Peak %1</translation>
    </message>
    <message>
        <source>%1 s</source>
        <translation>%1 s</translation>
    </message>
    <message>
        <source>%1 MEv/s</source>
        <translation>%1 MEv/s</translation>
    </message>
    <message>
        <source>%1 kEv/s</source>
        <translation>%1 kEv/s</translation>
    </message>
    <message>
        <source>%1 events/s</source>
        <translation>%1 events/s</translation>
    </message>
</context>
<context>
    <name>QvExportVideoUI</name>
    <message>
        <source>Export a video</source>
        <translation>Export a video</translation>
    </message>
    <message>
        <source>Export</source>
        <translation>Export</translation>
    </message>
</context>
<context>
    <name>QvFilePathReminderForm</name>
    <message>
        <source>Warning</source>
        <translation>Warning</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>Error</translation>
    </message>
    <message>
        <source>Success</source>
        <translation>Success</translation>
    </message>
    <message>
        <source>Save File Success!</source>
        <translation>Save File Success!</translation>
    </message>
    <message>
        <source>Open Dir</source>
        <translation>Open Dir</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Close</translation>
    </message>
</context>
<context>
    <name>QvFileRecorder</name>
    <message>
        <source>Recording file ... </source>
        <translation>Recording file ... </translation>
    </message>
    <message>
        <source>Currently being recorded.</source>
        <translation>Currently being recorded.</translation>
    </message>
    <message>
        <source>Recording failed: %1</source>
        <translation>Recording failed: %1</translation>
    </message>
    <message>
        <source>Recording stopped: %1</source>
        <translation>Recording stopped: %1</translation>
    </message>
    <message>
        <source>Recording end</source>
        <translation>Recording end</translation>
    </message>
</context>
<context>
    <name>QvFusionCameraDataProcessor</name>
    <message>
        <source>The calibration file %1 cannot be read (%2); the calibration in force is used.</source>
        <translation>The calibration file %1 cannot be read (%2); the calibration in force is used.</translation>
    </message>
    <message>
        <source>Manual calibration parameters were written successfully!</source>
        <translation>Manual calibration parameters were written successfully!</translation>
    </message>
    <message>
        <source>Manual calibration parameters were written failed!</source>
        <translation>Manual calibration parameters were written failed!</translation>
    </message>
</context>
<context>
    <name>QvGeneralSetting</name>
    <message>
        <source>Rising Edge</source>
        <translation>Rising Edge</translation>
    </message>
    <message>
        <source>Falling Edge</source>
        <translation>Falling Edge</translation>
    </message>
    <message>
        <source>Gray</source>
        <translation>Gray</translation>
    </message>
    <message>
        <source>Dark</source>
        <translation>Dark</translation>
    </message>
    <message>
        <source>RedBlue</source>
        <translation>RedBlue</translation>
    </message>
    <message>
        <source>RedGreen</source>
        <translation>RedGreen</translation>
    </message>
    <message>
        <source>Light</source>
        <translation>Light</translation>
    </message>
    <message>
        <source>QvGerenalSetting</source>
        <translation>QvGerenalSetting</translation>
    </message>
    <message>
        <source>General Settings</source>
        <translation>General Settings</translation>
    </message>
    <message>
        <source>File</source>
        <translation>File</translation>
    </message>
    <message>
        <source>Style</source>
        <translation>Style</translation>
    </message>
    <message>
        <source>Tab 1</source>
        <translation>Tab 1</translation>
    </message>
    <message>
        <source>Tab 2</source>
        <translation>Tab 2</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>Save</translation>
    </message>
    <message>
        <source>Trigger In File Save Settings</source>
        <translation>Trigger In File Save Settings</translation>
    </message>
    <message>
        <source>Enable</source>
        <translation>Enable</translation>
    </message>
    <message>
        <source>Trigger Edge</source>
        <translation>Trigger Edge</translation>
    </message>
    <message>
        <source>One second less</source>
        <translation>One second less</translation>
    </message>
    <message>
        <source>One second more</source>
        <translation>One second more</translation>
    </message>
    <message>
        <source>Before Trigger In Save Time (sec):</source>
        <translation>Before Trigger In Save Time (sec):</translation>
    </message>
    <message>
        <source>After Trigger In Save Time (sec):</source>
        <translation>After Trigger In Save Time (sec):</translation>
    </message>
    <message>
        <source>File Settings</source>
        <translation>File Settings</translation>
    </message>
    <message>
        <source>Select Directory</source>
        <translation>Select Directory</translation>
    </message>
    <message>
        <source>Default Out Raw File Path</source>
        <translation>Default Out Raw File Path</translation>
    </message>
    <message>
        <source>Default Video File Path</source>
        <translation>Default Video File Path</translation>
    </message>
    <message>
        <source>Theme</source>
        <translation>Theme</translation>
    </message>
    <message>
        <source>Events Color</source>
        <translation>Events Color</translation>
    </message>
</context>
<context>
    <name>QvLiveCamera</name>
    <message>
        <source>There is a conflict between the camera ip and the local ip!</source>
        <translation>There is a conflict between the camera ip and the local ip!</translation>
    </message>
    <message>
        <source>The camera ip is not in the same network segment as the local ip!</source>
        <translation>The camera ip is not in the same network segment as the local ip!</translation>
    </message>
    <message>
        <source>Open camera: </source>
        <translation>Open camera: </translation>
    </message>
    <message>
        <source>failed.</source>
        <translation>failed.</translation>
    </message>
    <message>
        <source>The Tarnix camera firmware needs to be upgraded!</source>
        <translation>The Tarnix camera firmware needs to be upgraded!</translation>
    </message>
    <message>
        <source>Recording stopped: %1</source>
        <translation>Recording stopped: %1</translation>
    </message>
    <message>
        <source>Currently being recorded.</source>
        <translation>Currently being recorded.</translation>
    </message>
    <message>
        <source>Recording failed: %1</source>
        <translation>Recording failed: %1</translation>
    </message>
    <message>
        <source>Save file success!</source>
        <translation>Save file success!</translation>
    </message>
    <message>
        <source>Lost: %1 events</source>
        <translation>Lost: %1 events</translation>
    </message>
    <message>
        <source>In the camera: %1 events
On the network: %2 packets, %3 events
Dropped by the live view: %4 events
Left out of the recording: %5 events
Since %6, in %7 gaps</source>
        <translation>In the camera: %1 events
On the network: %2 packets, %3 events
Dropped by the live view: %4 events
Left out of the recording: %5 events
Since %6, in %7 gaps</translation>
    </message>
    <message>
        <source> Bandwidth: %1 MB/s </source>
        <translation> Bandwidth: %1 MB/s </translation>
    </message>
    <message>
        <source> Events: %1 MEv/s </source>
        <translation> Events: %1 MEv/s </translation>
    </message>
</context>
<context>
    <name>QvRangeFileDialog</name>
    <message>
        <source>Earlier by 1 ms</source>
        <translation>Earlier by 1 ms</translation>
    </message>
    <message>
        <source>Later by 1 ms</source>
        <translation>Later by 1 ms</translation>
    </message>
    <message>
        <source>Start Time</source>
        <translation>Start Time</translation>
    </message>
    <message>
        <source>End Time</source>
        <translation>End Time</translation>
    </message>
    <message>
        <source>Save File Path</source>
        <translation>Save File Path</translation>
    </message>
    <message>
        <source>Select Directory</source>
        <translation>Select Directory</translation>
    </message>
    <message>
        <source>File Name</source>
        <translation>File Name</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
</context>
<context>
    <name>QvRecordingInfoUI</name>
    <message>
        <source>Indexing the recording... %1%</source>
        <translation>Indexing the recording... %1%</translation>
    </message>
    <message>
        <source>Recording Information</source>
        <translation>Recording Information</translation>
    </message>
    <message>
        <source>Recording</source>
        <translation>Recording</translation>
    </message>
    <message>
        <source>Choose...</source>
        <translation>Choose...</translation>
    </message>
    <message>
        <source>Choose another recording</source>
        <translation>Choose another recording</translation>
    </message>
    <message>
        <source>Format</source>
        <translation>Format</translation>
    </message>
    <message>
        <source>Geometry</source>
        <translation>Geometry</translation>
    </message>
    <message>
        <source>Serial</source>
        <translation>Serial</translation>
    </message>
    <message>
        <source>Date</source>
        <translation>Date</translation>
    </message>
    <message>
        <source>First event</source>
        <translation>First event</translation>
    </message>
    <message>
        <source>Last event</source>
        <translation>Last event</translation>
    </message>
    <message>
        <source>Duration</source>
        <translation>Duration</translation>
    </message>
    <message>
        <source>File size</source>
        <translation>File size</translation>
    </message>
    <message>
        <source>Events</source>
        <translation>Events</translation>
    </message>
    <message>
        <source>ON events</source>
        <translation>ON events</translation>
    </message>
    <message>
        <source>Triggers</source>
        <translation>Triggers</translation>
    </message>
    <message>
        <source>Decoding errors</source>
        <translation>Decoding errors</translation>
    </message>
    <message>
        <source>Event rate over the recording</source>
        <translation>Event rate over the recording</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Close</translation>
    </message>
    <message>
        <source>Choose a recording to see what it holds.</source>
        <translation>Choose a recording to see what it holds.</translation>
    </message>
    <message>
        <source>Reading the recording...</source>
        <translation>Reading the recording...</translation>
    </message>
    <message>
        <source>Cannot read this recording: %1</source>
        <translation>Cannot read this recording: %1</translation>
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
        <translation>%1 us</translation>
    </message>
    <message>
        <source>%1 (%2%)</source>
        <translation>%1 (%2%)</translation>
    </message>
    <message>
        <source>(%1 events outside the geometry, %2 unknown words)</source>
        <translation>(%1 events outside the geometry, %2 unknown words)</translation>
    </message>
    <message>
        <source>truncated at the end</source>
        <translation>truncated at the end</translation>
    </message>
    <message>
        <source>Select a recording</source>
        <translation>Select a recording</translation>
    </message>
    <message>
        <source>Recordings (*.raw *.dat)</source>
        <translation>Recordings (*.raw *.dat)</translation>
    </message>
</context>
<context>
    <name>QvThreeHandleSlider</name>
    <message>
        <source>%1 us</source>
        <translation>%1 us</translation>
    </message>
    <message>
        <source>%1 Mev/s</source>
        <translation>%1 Mev/s</translation>
    </message>
    <message>
        <source>%1 kev/s</source>
        <translation>%1 kev/s</translation>
    </message>
</context>
<context>
    <name>SettingCameraPanel</name>
    <message>
        <source>Default</source>
        <translation>Default</translation>
    </message>
    <message>
        <source>Refresh</source>
        <translation>Refresh</translation>
    </message>
    <message>
        <source>Load</source>
        <translation>Load</translation>
    </message>
    <message>
        <source>Export</source>
        <translation>Export</translation>
    </message>
    <message>
        <source>Select a JSON file</source>
        <translation>Select a JSON file</translation>
    </message>
    <message>
        <source>Json file (*.json)</source>
        <translation>Json file (*.json)</translation>
    </message>
    <message>
        <source>Camera parameters loaded successfully.</source>
        <translation>Camera parameters loaded successfully.</translation>
    </message>
    <message>
        <source>Camera parameters loaded failed.</source>
        <translation>Camera parameters loaded failed.</translation>
    </message>
    <message>
        <source>Failed to load camera parameters.</source>
        <translation>Failed to load camera parameters.</translation>
    </message>
    <message>
        <source>Camera parameters exported successfully.</source>
        <translation>Camera parameters exported successfully.</translation>
    </message>
    <message>
        <source>Failed to export camera parameters.</source>
        <translation>Failed to export camera parameters.</translation>
    </message>
</context>
<context>
    <name>SettingDisplayItem</name>
    <message>
        <source>Accumulation time</source>
        <translation>Accumulation time</translation>
    </message>
    <message>
        <source>Slow Rate</source>
        <translation>Slow Rate</translation>
    </message>
</context>
<context>
    <name>SettingUI</name>
    <message>
        <source>Display</source>
        <translation>Display</translation>
    </message>
</context>
<context>
    <name>ShowCameraInfoUI</name>
    <message>
        <source>Camera Info</source>
        <translation>Camera Info</translation>
    </message>
    <message>
        <source>Serial :</source>
        <translation>Serial :</translation>
    </message>
    <message>
        <source>Manufacturer:</source>
        <translation>Manufacturer:</translation>
    </message>
    <message>
        <source>Quorvel</source>
        <translation>Quorvel</translation>
    </message>
    <message>
        <source>Firmware version :</source>
        <translation>Firmware version :</translation>
    </message>
    <message>
        <source>Product: </source>
        <translation>Product: </translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Close</translation>
    </message>
</context>
<context>
    <name>SidebarApsSettingUI</name>
    <message>
        <source>APS Setting</source>
        <translation>APS Setting</translation>
    </message>
    <message>
        <source>APS</source>
        <translation>APS</translation>
    </message>
    <message>
        <source>APS Manual Calibration</source>
        <translation>APS Manual Calibration</translation>
    </message>
    <message>
        <source>Set aps offset x.</source>
        <translation>Set aps offset x.</translation>
    </message>
    <message>
        <source>Set aps offset y.</source>
        <translation>Set aps offset y.</translation>
    </message>
    <message>
        <source>Apply</source>
        <translation>Apply</translation>
    </message>
</context>
<context>
    <name>SidebarCameraSettingUI</name>
    <message>
        <source>Camera Setting</source>
        <translation>Camera Setting</translation>
    </message>
</context>
<context>
    <name>SidebarDvsSettingUI</name>
    <message>
        <source>DVS Setting</source>
        <translation>DVS Setting</translation>
    </message>
    <message>
        <source>Open a camera to change its settings.</source>
        <translation>Open a camera to change its settings.</translation>
    </message>
    <message>
        <source>Biases</source>
        <translation>Biases</translation>
    </message>
    <message>
        <source>Trigger In</source>
        <translation>Trigger In</translation>
    </message>
    <message>
        <source>Anti Flicker</source>
        <translation>Anti Flicker</translation>
    </message>
    <message>
        <source>Event Rate Control</source>
        <translation>Event Rate Control</translation>
    </message>
    <message>
        <source>Event Trail Filter</source>
        <translation>Event Trail Filter</translation>
    </message>
    <message>
        <source>ROI</source>
        <translation>ROI</translation>
    </message>
</context>
</TS>
