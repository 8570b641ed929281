// The bench's parts that can be looked at without starting a receiver.
#include <fstream>
#include <gtest/gtest.h>
#include <json-c/json.h>
#include <memory>
#include <string>
#include <vector>

#include "bench/lineSplitter.h"
#include "bench/shellWords.h"
#include "state/factoryStateText.h"

namespace {

std::vector<std::string> linesOf(const std::vector<std::string>& chunks)
{
    LineSplitter splitter;
    std::vector<std::string> lines;
    for (const std::string& chunk : chunks) {
        splitter.add(chunk);
        while (const auto line = splitter.next()) {
            lines.push_back(*line);
        }
    }
    if (const auto line = splitter.last()) {
        lines.push_back(*line + " (last)");
    }
    return lines;
}

TEST(LineSplitter, EndsLinesAtReturnFeedOrBoth)
{
    using Lines = std::vector<std::string>;
    EXPECT_EQ(linesOf({"a\rb\nc\r\nd"}), (Lines{"a", "b", "c", "d (last)"}));
    EXPECT_EQ(linesOf({"a\r", "\nb\r\n"}), (Lines{"a", "b"}));
    EXPECT_EQ(linesOf({"a\r", "b\n"}), (Lines{"a", "b"}));
    EXPECT_EQ(linesOf({"\n\r\r\n\n"}), (Lines{"", "", "", ""}));
    EXPECT_EQ(linesOf({}), Lines{});
}

using Words = std::vector<std::string>;

TEST(ShellWords, AreThoseOfAShell)
{
    EXPECT_EQ(shellWords(R"(tool -w  Key 'a b;$c'\''d' "e\"f\g")"),
              (Words{"tool", "-w", "Key", "a b;$c'd", R"(e"f\g)"}));
    EXPECT_EQ(shellWords(R"(a\ b '' # comment)"), (Words{"a b", ""}));
    EXPECT_EQ(shellWords("a#b {*~!?[x]} ="), (Words{"a#b", "{*~!?[x]}", "="}));
    EXPECT_EQ(shellWords("killall *cmdd"), (Words{"killall", "*cmdd"}));
    for (const char* line :
         {"reboot; ls", "a | b", "$(a)", "`a`", "a > b", "a 'b", "a \"b", "\"$a\"", "a &", "a\\", "~/a", "a\nb"}) {
        EXPECT_EQ(shellWords(line), std::nullopt) << line;
    }
}

struct PutObject {
    void operator()(json_object* object) const { json_object_put(object); }
};
using Object = std::unique_ptr<json_object, PutObject>;

Object factoryState()
{
    return Object(json_tokener_parse(std::string(factoryStateText()).c_str()));
}

/// The type of the value at a dotted path.
json_type typeAt(json_object* object, std::string path)
{
    path += '.';
    for (std::size_t dot = 0; (dot = path.find('.')) != std::string::npos; path.erase(0, dot + 1)) {
        if (!json_object_is_type(object, json_type_object) ||
            !json_object_object_get_ex(object, path.substr(0, dot).c_str(), &object)) {
            return json_type_null;
        }
    }
    return json_object_get_type(object);
}

TEST(FactoryState, IsTheDocumentInTheRepository)
{
    std::ifstream stream(FACTORY_STATE, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    EXPECT_FALSE(text.empty());
    EXPECT_EQ(factoryStateText(), text);
    ASSERT_NE(factoryState(), nullptr);
}

TEST(FactoryState, CoversEverySettingThatACommandReads)
{
    struct Leaves {
        json_type type;
        std::vector<const char*> paths;
    };
    const std::vector<Leaves> all = {
        {json_type_boolean,
         {"system.broadcast", "system.inputBroadcast", "system.key.lock", "system.debug", "system.dbg977",
          "network.telnet.loginMode", "audio.audOut.allMute", "audio.audOut.analogOut1.audioSinkControl.mute",
          "control.ledMode", "control.autoSwitch.autoSWEnable", "control.displayControl.output1.feedbackVerify",
          "control.displayControl.output1.relay.relayAuto", "control.displayControl.output1.triger.command.commandWait",
          "control.displayControl.output1.triger.command.repeat", "video.vidOut.hdmiOut.hdmiOutA.zoomEnable",
          "video.vidOut.hdmiOut.hdmiOutA.audioMute", "video.vidProcess.scaler.scalerMode"}},
        {json_type_int,
         {"system.uart.interface1.baudrate",
          "system.uart.interface1.databit",
          "system.uart.interface1.parity",
          "system.uart.interface1.stopbit",
          "system.uart.interface2.baudrate",
          "system.uart.interface2.databit",
          "system.uart.interface2.parity",
          "system.uart.interface2.stopbit",
          "system.uart.interface3.baudrate",
          "system.uart.interface3.databit",
          "system.uart.interface3.parity",
          "system.uart.interface3.stopbit",
          "network.telnet.telnetPort",
          "network.telnet.tcpipTimeout",
          "network.ssh.sshPort",
          "audio.audOut.analogOut1.audioSinkControl.volume",
          "audio.audOut.analogOut1.audioSinkControl.eq63hz",
          "audio.audOut.analogOut1.audioSinkControl.eq85hz",
          "audio.audOut.analogOut1.audioSinkControl.eq250hz",
          "audio.audOut.analogOut1.audioSinkControl.eq1khz",
          "audio.audOut.analogOut1.audioSinkControl.eq4khz",
          "control.autoSwitch.aswOutTime",
          "control.autoSwitch.aswFstTime",
          "control.displayControl.output1.timer.autoPwrOff",
          "control.displayControl.output1.timer.warmUp",
          "control.displayControl.output1.timer.lampCoolDown",
          "control.displayControl.output1.relay.relayPulseT",
          "control.displayControl.output1.remoteNetworkDevice.port",
          "control.displayControl.output1.triger.command.repeatTimes",
          "video.vidOut.hdmiOut.hdmiOutA.videoSrc",
          "video.vidOut.hdmiOut.hdmiOutA.hZoom",
          "video.vidOut.hdmiOut.hdmiOutA.vZoom",
          "video.vidProcess.EDID.edidOutMem1",
          "video.colorSetting.brt",
          "video.colorSetting.ctrst",
          "video.colorSetting.satrt",
          "video.colorSetting.hue",
          "video.colorSetting.sharp",
          "video.colorSetting.pictureRst"}},
        {json_type_string,
         {"system.model",
          "system.systemDebugMode",
          "system.firmwareVersionVS2310Rx",
          "network.eth0.bootProto",
          "network.eth0.ipSettings.ipaddr",
          "network.eth0.ipSettings.netmask",
          "network.eth0.ipSettings.gateway",
          "network.netbios.hostname",
          "video.vidIn.hdbtIn.hdbtIn1.hdcpMode",
          "video.vidIn.hdmiIn.hdmiIn1.hdcpMode",
          "video.vidIn.hdbtIn.hdbtIn1.preferTiming",
          "video.vidIn.hdmiIn.hdmiIn1.preferTiming",
          "video.vidOut.hdmiOut.hdmiOutA.resolution",
          "video.vidOut.hdmiOut.hdmiOutA.aspect",
          "video.vidOut.hdmiOut.hdmiOutA.osd.text.content",
          "video.vidProcess.EDID.edidMSet1",
          "video.vidProcess.EDID.edidMSet2",
          "control.usbLogic.usbFallBack",
          "control.localUsbLogic.manualHost",
          "control.localUsbLogic.switchMode",
          "control.displayControl.output1.controlType",
          "control.displayControl.output1.buttonControl.power",
          "control.displayControl.output1.relay.relayAct1",
          "control.displayControl.output1.relay.relayAct2",
          "control.displayControl.output1.relay.relayType",
          "control.displayControl.output1.remoteNetworkDevice.mode",
          "control.displayControl.output1.remoteNetworkDevice.username",
          "control.displayControl.output1.remoteNetworkDevice.password",
          "control.displayControl.output1.remoteNetworkDevice.ipAddr",
          "control.displayControl.output1.triger.cec",
          "control.displayControl.output1.triger.command.sendMode",
          "control.displayControl.output1.triger.command.content.on",
          "control.displayControl.output1.triger.command.content.off",
          "control.displayControl.output1.triger.command.content.mute",
          "control.displayControl.output1.triger.command.content.volumePlus",
          "control.displayControl.output1.triger.command.content.volumeMinus",
          "control.displayControl.output1.triger.command.content.feedbackOn",
          "control.displayControl.output1.triger.command.content.feedbackOff",
          "control.displayControl.output1.triger.command.content.feedbackMute",
          "control.displayControl.output1.triger.command.end.on",
          "control.displayControl.output1.triger.command.end.off",
          "control.displayControl.output1.triger.command.end.mute",
          "control.displayControl.output1.triger.command.end.volumePlus",
          "control.displayControl.output1.triger.command.end.volumeMinus",
          "control.displayControl.output1.triger.command.end.feedbackOn",
          "control.displayControl.output1.triger.command.end.feedbackOff",
          "control.displayControl.output1.triger.command.end.feedbackMute"}},
        {json_type_array, {"account.users"}},
    };
    const Object state = factoryState();
    for (const Leaves& leaves : all) {
        for (const std::string path : leaves.paths) {
            EXPECT_EQ(typeAt(state.get(), "settings." + path), leaves.type) << path;
        }
    }
}

TEST(FactoryState, CoversEveryStatusAndFactoryItemThatACommandReads)
{
    const Object state = factoryState();
    for (const std::string path :
         {"system.slaveMcu.isReady", "system.update.progressEvent.isOn", "system.debug", "network.eth0.linkStatus",
          "network.valens.linkStatus", "video.vidIn.hdbtIn.hdbtIn1.connected", "video.vidIn.hdmiIn.hdmiIn1.connected",
          "video.vidIn.hdbtIn.hdbtIn1.videoTiming.stable", "video.vidIn.hdbtIn.hdbtIn1.videoTiming.interlace",
          "video.vidIn.hdmiIn.hdmiIn1.videoTiming.stable", "video.vidIn.hdmiIn.hdmiIn1.videoTiming.interlace",
          "control.displayControl.output1.transmission.rs232", "control.displayControl.output1.transmission.telnet"}) {
        EXPECT_EQ(typeAt(state.get(), "status." + path), json_type_boolean) << path;
    }
    for (const std::string path :
         {"time.status.bootUpTime", "network.telnet.connect9001Count", "video.vidIn.hdbtIn.hdbtIn1.videoTiming.h",
          "video.vidIn.hdbtIn.hdbtIn1.videoTiming.v", "video.vidIn.hdbtIn.hdbtIn1.videoTiming.refreshRate",
          "video.vidIn.hdbtIn.hdbtIn1.colorDepth", "video.vidIn.hdmiIn.hdmiIn1.videoTiming.h",
          "video.vidIn.hdmiIn.hdmiIn1.videoTiming.v", "video.vidIn.hdmiIn.hdmiIn1.videoTiming.refreshRate",
          "video.vidIn.hdmiIn.hdmiIn1.colorDepth"}) {
        EXPECT_EQ(typeAt(state.get(), "status." + path), json_type_int) << path;
    }
    for (const std::string path :
         {"device.modelName", "device.deviceVersion.others.mcu4.version", "network.eth0.ipSettings.ipaddr",
          "network.eth0.ipSettings.netmask", "network.eth0.ipSettings.gateway", "network.eth0.macAddr",
          "video.vidIn.hdbtIn.hdbtIn1.colorMode", "video.vidIn.hdmiIn.hdmiIn1.colorMode",
          "control.wpHsk.identifyStatus", "control.wpHsk.remoteIpSettings.ipaddr"}) {
        EXPECT_EQ(typeAt(state.get(), "status." + path), json_type_string) << path;
    }
    for (const std::string key :
         {"MacAddr", "SerialNumber", "ManufactoryID", "ProductID", "FirmwareVer", "AppImgVer"}) {
        EXPECT_EQ(typeAt(state.get(), "factory." + key), json_type_string) << key;
    }
}

}  // namespace
