// Help texts, printed as they stand: misspellings and ranges that differ from what is accepted are kept, since
// control-system programs compare them.
#pragma once

namespace help {

inline constexpr char none[] = "";
inline constexpr char help[] =
    "Help   Help, Show command list. Help X, X = any command, Description command that designation.";
inline constexpr char update[] = "Update    Update Update firmware mcu/vtx/rvrx.";
inline constexpr char version[] = "Version    VersionX, X are MCU/VSRX. Brings up the current firmware version.";
inline constexpr char system[] = "System    System X, X are sta/dev.Will display the status of the Unit.";
inline constexpr char type[] = "Type    Brings up the model information.";
inline constexpr char mreset[] = "Mreset    Sets matrix back to the default settings.";
inline constexpr char route[] = "xyAVxz    xyAVxz, y is 1~5, z is 1. Switch input to output.";
inline constexpr char lock[] = "Lock    Locks the front panel of the matrix.";
inline constexpr char unlock[] = "Unlock    Unlocks the front panel of the matrix.";
inline constexpr char status[] = "Status    Status,  Shows what input is connected to selected output.";
inline constexpr char rs232zone[] =
    "RS232zone    RS232zone[y], y is the command sent to the HDBT device.Send commands to devices "
    "connected to the receiver RS-232 ports.";
inline constexpr char hdcpSet[] =
    "HDCPSet    HDCPSetx y, x is 1,2, y are on/off/sta. Show HDCP reporting mode of the HDMI input ports.";
inline constexpr char prefTimg[] = "PrefTimg    PrefTimgx y, x is 1,2, y is 0 ~ 11, sta and list. Set prefer timing.";
inline constexpr char vidOutRes[] =
    "VidOutRes    VidOutRes x, x is 0 ~ 22 or sta. Set output video format to any of the [XX] selectable "
    "resolutions. There should be a resolution list with numbers and resolutions.";
inline constexpr char ipcfg[] = "IPCFG    Displays IP address configuration.";
inline constexpr char ipTimeout[] =
    "IPTimeout    IPTimeout x, x is never~3600 sec. Determines amount of seconds of inactivity before "
    "TCP/IP disconnects.";
inline constexpr char ipAddUser[] = "IPAddUser    IPAddUser [<name> <password>/sta]. Display a list of users.";
inline constexpr char ipDelUser[] = "IPDelUser    IPDelUser <name>. Delete a user from TCP/IP.";
inline constexpr char ipdhcp[] = "IPDHCP    IPDHCP x, x are on/off/sta. Sets the status of DHCP.";
inline constexpr char ipStatic[] = "IPStatic    IPStatic <Adderss> <Netmask> <Gateway>. Sets a static IP address.";
inline constexpr char ipPort[] = "IPPort    IPPort x, x is 1~65535. Set the TCP/IP port.";
inline constexpr char ipLogin[] = "IPLogin    IPLogin x, x are on/off/sta. Displays IPLogin status.";
inline constexpr char broadcast[] = "Broadcast    Broadcast x, x are on/off/sta. Enables broadcast mode.";
inline constexpr char cSpara[] =
    "CSpara    CSpara [baudrate,databit,parity,stopbit]. Sets the baudrate, data-length,parity and "
    "stop-bit for the matrix.";
inline constexpr char rs232para[] =
    "RS232para    RS232parax [baudrate,databit,parity,stopbit], x is 1. Command for Output (receiver) "
    "baud rate.";
inline constexpr char voutMute[] =
    "VOUTMute    VOUTMute y, y are on/off/sta. Mute / unmute the volume for the specified output & get "
    "the mute status for the specified output.";
inline constexpr char vout[] = "VOUT    VOUT y, y are +/-/z/sta, z is 0 ~ -80. Raises zone volume by one increment.";
inline constexpr char eq[] =
    "EQ    EQX Y zz, X is 1, Y is band of the EQ(values of 63, 85, 250, 1K, and 4K), zz is +/-/final EQ "
    "value(-12~15).  Raises EQ level by one increment.";
inline constexpr char dispBtn[] =
    "DispBtn    DispBtn x, x = on/off/tog/mute/vol+/vol-/sta. Emulates turning the system "
    "on/off/mute/vol+/vol-.";
inline constexpr char trigCec[] =
    "TrigCEC    TrigCECx y, x is 1, y are on/off/vol+/vol-/mute. Triggers the stored CEC command from "
    "rs-232 or IP command.";
inline constexpr char trigRs[] =
    "TrigRS    TrigRSx y, x is 1, y on/off/vol+/vol-/mute, y is the command to execute. Triggers the "
    "stored RS-232 command.";
inline constexpr char trigIp[] =
    "TrigIP    TrigIPx y, x is 1, y on/off/vol+/vol-/mute, y is the command to execute. Triggers the "
    "stored IP command.";
inline constexpr char aspect[] =
    "Aspectx    Aspectx y, x is 1, y are follow/fill/letter box/sta. Sets the aspect ratio.";
inline constexpr char autoSW[] =
    "AutoSW    AutoSW x, x are on/off/sta. Sets auto switch mode on and off as well as display auto "
    "switching.";
inline constexpr char aswTime[] =
    "ASwOutTime    ASwOutTime x, x is 1~600 sec. Sets time period before auto switch engages fallback "
    "once source signal has been removed.";
inline constexpr char blink[] =
    "Blink    Blink x, x are on/off/sta. Blinks an LED on the fron of the unit every second.";
inline constexpr char ctlType[] = "CtlType    CtlType x, x are rs-232/ip/cec/sta. Sets /gets the control type.";
inline constexpr char cliMode[] = "CliMode    CliMode x, x are login/non-login/sta. Sets controlled device IP mode.";
inline constexpr char cliUser[] =
    "CliUser    CliUser x, x is any user name that is selected. If x field , left blank the username "
    "will be displayed. Sets IP controlled device's user name.";
inline constexpr char cliPass[] =
    "CliPass    CliPass x, x is any user password that is selected. If x field, is left blank the user "
    "password will be displayed.Sets IP controlled device's user password.";
inline constexpr char cliIPAddr[] = "CliIPAddr    CliIPAddr <Adderss>. Sets controlled device's IP address.";
inline constexpr char cliPort[] =
    "CliPort    CliPort x, x are the telnet port or sta : display the port number. Sets controlled "
    "device's telnet port.";
inline constexpr char hdbtrs232[] = "HDBTRS232    Set RX device HDBaseT's RS232 parameter.";
inline constexpr char pictureRst[] = "PictureRst    Run picture reset.";
inline constexpr char zoom[] = "Zoom    Zoom x, x are on/off/sta. Sets overscan status.";
inline constexpr char hZoom[] = "HZoom    HZoom x, x is 0 ~ 50 or sta. Adjust overscan horizontal size.";
inline constexpr char vZoom[] = "VZoom    VZoom x, x is 0 ~ 50 or sta. Adjust overscan vertical size.";
inline constexpr char brt[] = "BRT    BRT x, x is 0 ~ 60 or sta. Sets picture brightness.";
inline constexpr char ctrst[] = "CTRST    CTRST x, x is 0 ~ 60 or sta. Sets picture contrast.";
inline constexpr char satrt[] = "SATRT    SATRT x, x is 0 ~ 60 or sta. Sets picture saturation.";
inline constexpr char hue[] = "HUE    HUE x, x is 0 ~ 60 or sta. Sets picture hue.";
inline constexpr char sharp[] = "SHARP    SHARP x, x is 0 ~ 60 or sta. Sets picture sharpness.";
inline constexpr char aPwrOffTime[] = "APwrOffTime    APwrOffTime x, x is 15 ~ 3600 or sta. Set auto power off times.";
inline constexpr char projWarmUpT[] =
    "ProjWarmUpT    ProjWarmUpT x, x is 10 ~ 300 or sta. Sets projector bulb warming up timer in second.";
inline constexpr char projSWMode[] =
    "ProjSWMode    ProjSWMode x, x is 10 ~ 300 or sta. Sets projector bulb cool-down timer in second.";
inline constexpr char setFbVerify[] = "SetFbVerify    SetFbVerify x, x are on/off/sta. Sets feedback verify status.";
inline constexpr char setStrgType[] =
    "SetStrgType    SetStrgType x, x are ascii/hex/sta. Set to show string command type.";
inline constexpr char commaWait[] = "CommaWait    CommaWait x, x are on/off/sta. Set the comma delay function.";
inline constexpr char relayAct[] =
    "RelayAct    RelayActx y, x is 1~2, y are open/close/sta. Config Relay device setting.";
inline constexpr char relayAuto[] = "RelayAuto    RelayAuto x, x are on/off/sta. Sets behavior status of the Relay.";
inline constexpr char relayType[] = "RelayType    RelayType x, x are pulse/closed/sta. Sets type status of the Relay.";
inline constexpr char relayPulseT[] = "RelayPulseT    RelayPulseT x, x 1 ~ 30 or sta. Sets Relay pulse time.";
inline constexpr char hdmiaud[] = "HDMIAUD    HDMIAUD x, x are on/off/sta. Sets the HDMI audio output status.";
inline constexpr char lraud[] = "LRAUD    LRAUD x, x are on/off/sta. Sets the analog L/R audio output status.";
inline constexpr char inputStatus[] = "InputStatus    InputStatus, Gets the active status of input port.";
inline constexpr char inputBroadcast[] =
    "InputBroadcast    InputBroadcast x,  x are on/off/sta.  Sets the input status to broadcast.";
inline constexpr char scalerPtMode[] =
    "ScalerPtMode    ScalerPtMode x, x are on/off/sta. Set the scaler pass-through mode.";
inline constexpr char setLabel[] = "SetLabel x[y], x is boot, Y is string(max byte=30). Set user string.";
inline constexpr char reboot[] = "Reboot    Reboot. System reboot.";
inline constexpr char usbSw[] =
    "USBSW x, x=0,1,2,3. 0:USB_B_TO_LOCAL_USB_A, 1:USB_B_TO_OUTA, 2:USB_B_TO_VALENS_UART_UPDATE, "
    "3:USB_B_TO977_UPDATE";
inline constexpr char debug[] = "debug    debug y, y are on/off, Turns debug on or off.";
inline constexpr char usbFallback[] = "USBFallback x, x is on/off/sta. Sets the fallback mode of the USB.";
inline constexpr char usbHostRoute[] = "USBHostRoute X, X are local/remote. Set the routing status of the USB host.";
inline constexpr char usbHostLogic[] = "USBHostLogic X, X are follow usb/follow video/manual. Sets the logic status.";
inline constexpr char edidMSet[] =
    "EDIDMSet    EDIDMSetX Y, X is 1~2, Y are default/saveY, Y = memory : 1/intZ, Z = EDID int : 1~4. "
    "Sets the EDID of an input to the default EDID/previously saved EDID memory/one of the internal "
    "EDIDs.";
inline constexpr char edidOut[] =
    "EDIDOut     EDIDOutX memeY, X is 1~2, Y is 1~8. Copies EDID information from output.";
inline constexpr char cypdbg[] = "cypdbg    cypdbg. Trigger debug mode status.";
inline constexpr char dbg977[] = "dbg977    dbg977. Trigger debug mode status.";
inline constexpr char sFabMac[] = "SFabMac    SFabMac x, x is 0~FF. Write MAC Address to eeprom.";
inline constexpr char rFabMac[] = "RfabMac    Run picture reset.";
inline constexpr char sFabSN[] = "SFabSN    SFabMac x, x is 0~FF. Write serial number to eeprom.";
inline constexpr char rFabSN[] = "RFabSN    Read serial number from  eeprom.";
inline constexpr char sHostName[] =
    "SHostName    SHostName Y,  Y is name string(max byte=15). Sets the hostname on the network.";
inline constexpr char rHostName[] = "RHostName    Show the hostname on the network.";
inline constexpr char inputFormat[] = "InputFormat    InputFormatX, X are 1~2, Report the video format of the input.";

}  // namespace help
