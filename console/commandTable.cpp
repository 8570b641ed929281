// The program's whole command vocabulary. The first row whose name begins the line wins, so the order is part of the
// meaning: a longer name stands before every shorter one that it begins with, and a group row behind the members of its
// family. A repeated name is reached by the change broadcast alone. A new command touches its row, its handler or
// record, its help text and its transcript.
#include "console/commandEntry.h"

#include <array>
#include <string_view>

#include "commands/audioLevel.h"
#include "commands/boundedText.h"
#include "commands/choiceSettings.h"
#include "commands/clientDevice.h"
#include "commands/factoryData.h"
#include "commands/inputFormatEdidLabel.h"
#include "commands/maintenance.h"
#include "commands/network.h"
#include "commands/numericSettings.h"
#include "commands/pictureReset.h"
#include "commands/resolutionTiming.h"
#include "commands/serialLineParameters.h"
#include "commands/switchSettings.h"
#include "commands/systemInformation.h"
#include "commands/userAccounts.h"
#include "commands/videoRouting.h"
#include "console/groupRow.h"
#include "console/help.h"
#include "console/helpTexts.h"
#include "console/reporters.h"
#include "display/displayActions.h"
#include "display/triggerSender.h"
#include "platform/support/jsonTemplate.h"

namespace {

constexpr char kNoTemplate[] = "";
// Rows that do not carry the mark.
constexpr std::uint32_t kUnmarked = 0x80000000;

constexpr CommandEntry row(const char* name, const char* jsonTemplate, CommandHandler handler, StatusReporter reporter,
                           const char* help, std::uint32_t flags = 0, std::uint32_t moreFlags = 0)
{
    const auto matchLength = static_cast<std::uint32_t>(std::string_view(name).size());
    const std::uint32_t given = flags | moreFlags;
    const std::uint32_t mark = (given & kUnmarked) != 0 ? 0 : kMarked;
    return {name, help, jsonTemplate, handler, reporter, matchLength | mark | (given & ~kUnmarked)};
}

constexpr CommandEntry group(const char* name, const char* help)
{
    return row(name, kNoTemplate, groupRow, report::silent, help);
}

// clang-format off
constexpr std::array kRows = {
    // name, leaf, handler, reporter, help text, flags
    row("help", kNoTemplate, helpCommand, report::number, help::help, kUnmarked),
    row("techelp", kNoTemplate, helpCommand, report::number, help::none, kUnmarked),
    row("Update", kNoTemplate, updateCommand, report::text, help::update),
    row("Version", kNoTemplate, versionCommand, report::text, help::version, kUnmarked),
    row("System", kNoTemplate, systemCommand, report::text, help::system, kUnmarked),
    row("Type", textLeaf<"system.model">, typeCommand, report::number, help::type, kUnmarked),
    row("Mreset", kNoTemplate, factoryResetCommand, report::number, help::mreset),
    row("x1AVx1", intLeaf<"video.vidOut.hdmiOut.hdmiOutA.videoSrc">, routeCommand, report::route, help::route, kHiddenFromHelp),
    row("x2AVx1", intLeaf<"video.vidOut.hdmiOut.hdmiOutA.videoSrc">, routeCommand, report::route, help::route, kHiddenFromHelp),
    row("x3AVx1", intLeaf<"video.vidOut.hdmiOut.hdmiOutA.videoSrc">, routeCommand, report::route, help::route, kHiddenFromHelp),
    row("x4AVx1", intLeaf<"video.vidOut.hdmiOut.hdmiOutA.videoSrc">, routeCommand, report::route, help::route, kHiddenFromHelp),
    row("x5AVx1", intLeaf<"video.vidOut.hdmiOut.hdmiOutA.videoSrc">, routeCommand, report::route, help::route, kHiddenFromHelp),
    group("x1AVx2", help::route),
    row("Lock", boolLeaf<"system.key.lock">, lockCommand<true>, report::lock, help::lock),
    row("Unlock", boolLeaf<"system.key.lock">, lockCommand<false>, report::lock, help::unlock),
    row("Status", intLeaf<"video.vidOut.hdmiOut.hdmiOutA.videoSrc">, routeStatusCommand, report::text, help::status),
    row("RS232zone", kNoTemplate, noOperationRow, report::number, help::rs232zone),
    row("HDCPSet1", textLeaf<"video.vidIn.hdbtIn.hdbtIn1.hdcpMode">, choiceCommand<hdcpMode>, report::hdcp, help::hdcpSet, kHiddenFromHelp),
    row("HDCPSet2", textLeaf<"video.vidIn.hdmiIn.hdmiIn1.hdcpMode">, choiceCommand<hdcpMode>, report::hdcp, help::hdcpSet, kHiddenFromHelp),
    group("HDCPSet", help::hdcpSet),
    row("PrefTimg1", textLeaf<"video.vidIn.hdbtIn.hdbtIn1.preferTiming">, preferredTimingCommand, report::timingIndex, help::prefTimg, kHiddenFromHelp),
    row("PrefTimg2", textLeaf<"video.vidIn.hdmiIn.hdmiIn1.preferTiming">, preferredTimingCommand, report::timingIndex, help::prefTimg, kHiddenFromHelp),
    row("PrefTimg list", kNoTemplate, preferredTimingListCommand, report::silent, help::prefTimg, kHiddenFromHelp),
    group("PrefTimg", help::prefTimg),
    row("VidOutRes", textLeaf<"video.vidOut.hdmiOut.hdmiOutA.resolution">, outputResolutionCommand, report::resolutionIndex, help::vidOutRes),
    row("IPCFG", kNoTemplate, ipConfigurationCommand, report::silent, help::ipcfg, kUnmarked),
    row("IPTimeout", intLeaf<"network.telnet.tcpipTimeout">, telnetTimeoutCommand, report::timeout, help::ipTimeout),
    row("IPAddUser", kNoTemplate, addUserCommand, report::number, help::ipAddUser),
    row("IPDelUser", kNoTemplate, deleteUserCommand, report::number, help::ipDelUser),
    row("IPDHCP", textLeaf<"network.eth0.bootProto">, dhcpCommand, report::dhcp, help::ipdhcp),
    row("IPStatic", textLeaf<"network.eth0.ipSettings.ipaddr">, staticAddressCommand, report::ipAddress, help::ipStatic),
    row("IPStatic", textLeaf<"network.eth0.ipSettings.netmask">, staticAddressCommand, report::ipNetmask, help::ipStatic),
    row("IPStatic", textLeaf<"network.eth0.ipSettings.gateway">, staticAddressCommand, report::ipGateway, help::ipStatic),
    row("IPPort", intLeaf<"network.telnet.telnetPort">, telnetPortCommand, report::portNumber, help::ipPort),
    row("IPLogin", boolLeaf<"network.telnet.loginMode">, telnetLoginCommand, report::login, help::ipLogin),
    row("Broadcast", boolLeaf<"system.broadcast">, switchCommand<broadcastSwitch>, report::onOff, help::broadcast),
    row("CSpara", intLeaf<"system.uart.interface1.baudrate">, lineParametersCommand<consoleLine>, report::uart1, help::cSpara),
    row("RS232para1", intLeaf<"system.uart.interface2.baudrate">, lineParametersCommand<receiverLine>, report::uart2, help::rs232para, kHiddenFromHelp),
    group("RS232para", help::rs232para),
    row("VOUTMute", boolLeaf<"audio.audOut.allMute">, switchCommand<audioMuteSwitch>, report::onOff, help::voutMute),
    row("VOUT", intLeaf<"audio.audOut.analogOut1.audioSinkControl.volume">, levelCommand<volumeLevel>, report::number, help::vout),
    row("EQ1 63", intLeaf<"audio.audOut.analogOut1.audioSinkControl.eq63hz">, levelCommand<equaliserLevel>, report::number, help::eq, kHiddenFromHelp),
    row("EQ1 85", intLeaf<"audio.audOut.analogOut1.audioSinkControl.eq85hz">, levelCommand<equaliserLevel>, report::number, help::eq, kHiddenFromHelp),
    row("EQ1 250", intLeaf<"audio.audOut.analogOut1.audioSinkControl.eq250hz">, levelCommand<equaliserLevel>, report::number, help::eq, kHiddenFromHelp),
    row("EQ1 1K", intLeaf<"audio.audOut.analogOut1.audioSinkControl.eq1khz">, levelCommand<equaliserLevel>, report::number, help::eq, kHiddenFromHelp),
    row("EQ1 4K", intLeaf<"audio.audOut.analogOut1.audioSinkControl.eq4khz">, levelCommand<equaliserLevel>, report::number, help::eq, kHiddenFromHelp),
    group("EQ", help::eq),
    row("DispBtn", kNoTemplate, displayButtonCommand, report::text, help::dispBtn),
    row("TrigCEC1", textLeaf<"control.displayControl.output1.triger.cec">, cecTriggerCommand, report::text, help::trigCec, kHiddenFromHelp),
    row("TrigCEC", textLeaf<"control.displayControl.output1.triger.cec">, cecTriggerCommand, report::text, help::trigCec),
    row("TrigRS1 on", kNoTemplate, triggerCommand<serialPower>, report::trigger, help::trigRs, kHiddenFromHelp),
    row("TrigRS1 off", kNoTemplate, triggerCommand<serialPower>, report::trigger, help::trigRs, kHiddenFromHelp),
    row("TrigRS1 vol+", kNoTemplate, triggerCommand<serialVolume>, report::trigger, help::trigRs, kHiddenFromHelp),
    row("TrigRS1 vol-", kNoTemplate, triggerCommand<serialVolume>, report::trigger, help::trigRs, kHiddenFromHelp),
    row("TrigRS1 mute", kNoTemplate, triggerCommand<serialPower>, report::trigger, help::trigRs, kHiddenFromHelp),
    group("TrigRS", help::trigRs),
    row("TrigIP1 on", kNoTemplate, triggerCommand<networkPower>, report::trigger, help::trigIp, kHiddenFromHelp),
    row("TrigIP1 off", kNoTemplate, triggerCommand<networkPower>, report::trigger, help::trigIp, kHiddenFromHelp),
    row("TrigIP1 vol+", kNoTemplate, triggerCommand<networkVolume>, report::trigger, help::trigIp, kHiddenFromHelp),
    row("TrigIP1 vol-", kNoTemplate, triggerCommand<networkVolume>, report::trigger, help::trigIp, kHiddenFromHelp),
    row("TrigIP1 mute", kNoTemplate, triggerCommand<networkPower>, report::trigger, help::trigIp, kHiddenFromHelp),
    group("TrigIP", help::trigIp),
    row("Aspect1", textLeaf<"video.vidOut.hdmiOut.hdmiOutA.aspect">, choiceCommand<outputAspect>, report::text, help::aspect, kHiddenFromHelp),
    group("Aspect", help::aspect),
    row("AutoSW", boolLeaf<"control.autoSwitch.autoSWEnable">, switchCommand<controlSwitch>, report::onOff, help::autoSW),
    row("ASwOutTime", intLeaf<"control.autoSwitch.aswOutTime">, numericCommand<autoSwitchOutTime>, report::number, help::aswTime),
    row("ASwFstTime", intLeaf<"control.autoSwitch.aswFstTime">, numericCommand<autoSwitchFirstTime>, report::number, help::aswTime),
    row("Blink", boolLeaf<"control.ledMode">, switchCommand<controlSwitch>, report::onOff, help::blink),
    row("CtlType", textLeaf<"control.displayControl.output1.controlType">, choiceCommand<controlType>, report::text, help::ctlType),
    row("CliMode", textLeaf<"control.displayControl.output1.remoteNetworkDevice.mode">, choiceCommand<clientLoginMode>, report::text, help::cliMode, kUnmarked),
    row("CliUser", textLeaf<"control.displayControl.output1.remoteNetworkDevice.username">, clientCredentialCommand, report::text, help::cliUser, kUnmarked),
    row("CliPass", textLeaf<"control.displayControl.output1.remoteNetworkDevice.password">, clientCredentialCommand, report::text, help::cliPass, kUnmarked),
    row("CliIPAddr", textLeaf<"control.displayControl.output1.remoteNetworkDevice.ipAddr">, clientAddressCommand, report::text, help::cliIPAddr, kUnmarked),
    row("CliPort", intLeaf<"control.displayControl.output1.remoteNetworkDevice.port">, numericCommand<clientPort>, report::number, help::cliPort, kUnmarked),
    row("HDBTRS232", intLeaf<"system.uart.interface3.baudrate">, lineParametersCommand<farEndLine>, report::uart3, help::hdbtrs232),
    row("PictureRst", intLeaf<"video.colorSetting.pictureRst">, pictureResetCommand, report::nameOnly, help::pictureRst),
    row("Zoom", boolLeaf<"video.vidOut.hdmiOut.hdmiOutA.zoomEnable">, switchCommand<zoomSwitch>, report::onOff, help::zoom),
    row("HZoom", intLeaf<"video.vidOut.hdmiOut.hdmiOutA.hZoom">, numericCommand<overscanSize>, report::number, help::hZoom),
    row("VZoom", intLeaf<"video.vidOut.hdmiOut.hdmiOutA.vZoom">, numericCommand<overscanSize>, report::number, help::vZoom),
    row("BRT", intLeaf<"video.colorSetting.brt">, numericCommand<pictureControl>, report::number, help::brt),
    row("CTRST", intLeaf<"video.colorSetting.ctrst">, numericCommand<pictureControl>, report::number, help::ctrst),
    row("SATRT", intLeaf<"video.colorSetting.satrt">, numericCommand<pictureControl>, report::number, help::satrt),
    row("HUE", intLeaf<"video.colorSetting.hue">, numericCommand<pictureControl>, report::number, help::hue),
    row("SHARP", intLeaf<"video.colorSetting.sharp">, numericCommand<pictureControl>, report::number, help::sharp),
    row("APwrOffTime", intLeaf<"control.displayControl.output1.timer.autoPwrOff">, numericCommand<autoPowerOffTime>, report::number, help::aPwrOffTime),
    row("ProjWarmUpT", intLeaf<"control.displayControl.output1.timer.warmUp">, numericCommand<projectorTime>, report::number, help::projWarmUpT),
    row("ProjSWMode", intLeaf<"control.displayControl.output1.timer.lampCoolDown">, numericCommand<projectorTime>, report::number, help::projSWMode),
    row("SetFbVerify", boolLeaf<"control.displayControl.output1.feedbackVerify">, switchCommand<controlSwitch>, report::onOff, help::setFbVerify),
    row("SetStrgType", textLeaf<"control.displayControl.output1.triger.command.sendMode">, choiceCommand<triggerStringType>, report::text, help::setStrgType),
    row("CommaWait", boolLeaf<"control.displayControl.output1.triger.command.commandWait">, switchCommand<controlSwitch>, report::onOff, help::commaWait),
    row("RelayAct1", textLeaf<"control.displayControl.output1.relay.relayAct1">, choiceCommand<relayAction>, report::text, help::relayAct, kHiddenFromHelp),
    row("RelayAct2", textLeaf<"control.displayControl.output1.relay.relayAct2">, choiceCommand<relayAction>, report::text, help::relayAct, kHiddenFromHelp),
    group("RelayAct", help::relayAct),
    row("RelayAuto", boolLeaf<"control.displayControl.output1.relay.relayAuto">, switchCommand<controlSwitch>, report::onOff, help::relayAuto),
    row("RelayType", textLeaf<"control.displayControl.output1.relay.relayType">, choiceCommand<relayType>, report::text, help::relayType),
    row("RelayPulseT", intLeaf<"control.displayControl.output1.relay.relayPulseT">, numericCommand<relayPulseTime>, report::number, help::relayPulseT),
    row("HDMIAUD", boolLeaf<"video.vidOut.hdmiOut.hdmiOutA.audioMute">, switchCommand<hdmiAudioSwitch>, report::offOn, help::hdmiaud),
    row("LRAUD", boolLeaf<"audio.audOut.analogOut1.audioSinkControl.mute">, switchCommand<analogAudioSwitch>, report::offOn, help::lraud),
    row("InputStatus1", kNoTemplate, singleInputStatusCommand, report::silent, help::inputStatus, kHiddenFromHelp),
    row("InputStatus2", kNoTemplate, singleInputStatusCommand, report::silent, help::inputStatus, kHiddenFromHelp),
    row("InputStatus", boolLeaf<"video.vidIn.hdbtIn.hdbtIn1.connected">, inputStatusCommand, report::silent, help::inputStatus),
    row("InputStatus", boolLeaf<"video.vidIn.hdmiIn.hdmiIn1.connected">, inputStatusCommand, report::silent, help::inputStatus),
    row("InputBroadcast", boolLeaf<"system.inputBroadcast">, switchCommand<broadcastSwitch>, report::onOff, help::inputBroadcast, kHiddenFromHelp),
    row("ScalerPtMode", boolLeaf<"video.vidProcess.scaler.scalerMode">, switchCommand<scalerBypassSwitch>, report::offOn, help::scalerPtMode),
    row("SetLabel boot", textLeaf<"video.vidOut.hdmiOut.hdmiOutA.osd.text.content">, bootLabelCommand, report::label, help::setLabel),
    row("Reboot", kNoTemplate, rebootCommand, report::silent, help::reboot),
    row("USBSW", kNoTemplate, usbSwitchCommand, report::silent, help::usbSw),
    row("debug", boolLeaf<"system.debug">, debugCommand, report::silent, help::debug),
    row("USBFallback", textLeaf<"control.usbLogic.usbFallBack">, choiceCommand<usbFallback>, report::text, help::usbFallback),
    row("USBHostRoute", textLeaf<"control.localUsbLogic.manualHost">, choiceCommand<usbHostRoute>, report::usbRoute, help::usbHostRoute),
    row("USBHostLogic", textLeaf<"control.localUsbLogic.switchMode">, choiceCommand<usbHostLogic>, report::text, help::usbHostLogic),
    row("EDIDMSet1", textLeaf<"video.vidProcess.EDID.edidMSet1">, choiceCommand<edidMode>, report::text, help::edidMSet),
    row("EDIDMSet2", textLeaf<"video.vidProcess.EDID.edidMSet2">, choiceCommand<edidMode>, report::text, help::edidMSet),
    group("EDIDMSet", help::edidMSet),
    row("EDIDOut1", intLeaf<"video.vidProcess.EDID.edidOutMem1">, edidCopyCommand, report::edidMemory, help::edidOut),
    row("cypdbg", kNoTemplate, debugToggleCommand<hubDebug>, report::silent, help::cypdbg),
    row("dbg977", boolLeaf<"system.dbg977">, debugToggleCommand<chip977Debug>, report::silent, help::dbg977),
    row("wpdebug", textLeaf<"system.systemDebugMode">, boundedTextCommand<systemDebugMode>, report::text, help::dbg977),
    row("SFabMac", "MacAddr", writeMacCommand, report::text, help::sFabMac),
    row("RFabMac", "MacAddr", readMacCommand, report::text, help::rFabMac),
    row("SFabSN", "SerialNumber", writeSerialNumberCommand, report::text, help::sFabSN),
    row("RFabSN", "SerialNumber", readFactoryTextCommand, report::text, help::rFabSN),
    row("RFabVID", "ManufactoryID", readFactoryTextCommand, report::text, help::none),
    row("RFabPID", "ProductID", readFactoryTextCommand, report::text, help::none),
    row("SFabPID", "ProductID", writeProductIdCommand, report::text, help::none),
    row("Quillon", kNoTemplate, sourceChannelCommand, report::text, help::none),
    row("SHostName", textLeaf<"network.netbios.hostname">, boundedTextCommand<hostName>, report::text, help::sHostName),
    row("RHostName", textLeaf<"network.netbios.hostname">, readHostNameCommand, report::text, help::rHostName),
    row("InputFormat1", boolLeaf<"video.vidIn.hdbtIn.hdbtIn1.videoTiming.stable">, inputFormatCommand<hdbtInput>, report::silent, help::inputFormat),
    row("InputFormat2", boolLeaf<"video.vidIn.hdmiIn.hdmiIn1.videoTiming.stable">, inputFormatCommand<hdmiInput>, report::silent, help::inputFormat),
    group("InputFormat", help::inputFormat),
};
// clang-format on

static_assert(kRows.size() == 131);

constexpr bool everyRowHasItsCalls()
{
    for (const CommandEntry& entry : kRows) {
        if (entry.handler == nullptr || entry.reporter == nullptr || entry.matchLength() == 0) {
            return false;
        }
    }
    return true;
}
static_assert(everyRowHasItsCalls());

constexpr bool beginsWith(const char* text, const char* beginning)
{
    while (*beginning != '\0') {
        if (*text++ != *beginning++) {
            return false;
        }
    }
    return true;
}

// A row behind a shorter name that begins it would never run. Repeated names are meant.
constexpr bool noRowIsHidden()
{
    for (std::size_t later = 0; later < kRows.size(); ++later) {
        for (std::size_t earlier = 0; earlier < later; ++earlier) {
            if (kRows[earlier].matchLength() != kRows[later].matchLength() &&
                beginsWith(kRows[later].name, kRows[earlier].name)) {
                return false;
            }
        }
    }
    return true;
}
static_assert(noRowIsHidden());

}  // namespace

const std::span<const CommandEntry> kCommandTable{kRows};
