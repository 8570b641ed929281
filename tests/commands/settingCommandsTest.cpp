// What transcripts cannot say of the setting commands: calls on behalf of an event, the order of store, event, pause
// and reply, what is read and what is not, reporters that no change reaches, and arguments of 10,000 bytes.
#include <algorithm>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include "console/commandEntry.h"
#include "console/dispatcher.h"
#include "platform/eventBus.h"
#include "platform/store.h"
#include "support/capturedReplies.h"
#include "support/outputFile.h"
#include "support/recordingPlatform.h"

namespace {

// What a command did, in order; replies are noted when the next thing happens.
struct Trace {
    CapturedReplies* replies = nullptr;
    std::vector<std::string> steps;

    void note(const std::string& step)
    {
        const std::string reply = replies->take();
        if (!reply.empty()) {
            steps.push_back("reply " + reply);
        }
        if (!step.empty()) {
            steps.push_back(step);
        }
    }
};
Trace* g_trace = nullptr;

}  // namespace

// The wrapped calls; see the link options.
extern "C" {
int __wrap_usleep(useconds_t pauseUs)
{
    g_trace->note("pause " + std::to_string(pauseUs));
    return 0;
}

int __real_user_config_update(const char* document);
int __wrap_user_config_update(const char* document)
{
    g_trace->note(std::string("store ") + document);
    return __real_user_config_update(document);
}

int __real_eventbus_publish(const char* topic, const char* payload);
int __wrap_eventbus_publish(const char* topic, const char* payload)
{
    g_trace->note(std::string("publish ") + topic + " " + payload);
    return __real_eventbus_publish(topic, payload);
}
}

namespace {

using Steps = std::vector<std::string>;

constexpr char kScaler[] = "video.vidProcess.scaler.scalerMode";

const CommandEntry& rowOf(std::string_view name)
{
    for (const CommandEntry& entry : kCommandTable) {
        if (entry.name == name) {
            return entry;
        }
    }
    throw std::runtime_error("no such row");
}

class SettingCommands : public testing::Test {
protected:
    SettingCommands()
    {
        recording::reset();
        trace_.replies = &replies_;
        g_trace = &trace_;
    }
    ~SettingCommands() override { g_trace = nullptr; }

    static void given(const std::string& path, const std::string& json)
    {
        recording::put(recording::Store::settings, path, json);
    }
    static void givenStatus(const std::string& path, const std::string& json)
    {
        recording::put(recording::Store::status, path, json);
    }
    void givenLine(int interface)
    {
        const std::string prefix = "system.uart.interface" + std::to_string(interface) + '.';
        given(prefix + "baudrate", "9600");
        given(prefix + "databit", "8");
        given(prefix + "parity", "0");
        given(prefix + "stopbit", "1");
    }

    int call(const std::string& name, const std::string& args, int fromEvent)
    {
        const CapturedOutput captured(output_);
        const CommandEntry& row = rowOf(name);
        const std::string line = args.empty() ? name : name + ' ' + args;
        return row.handler(line.c_str(), row.name, line.c_str() + line.size() - args.size(), fromEvent,
                           row.jsonTemplate);
    }

    Steps type(const std::string& line)
    {
        {
            const CapturedOutput captured(output_);
            UserCommandHandler(0, line.c_str(), static_cast<int>(line.size()));
        }
        trace_.note({});
        return std::exchange(trace_.steps, {});
    }

    std::string report(const std::string& name, const ReportValue& value)
    {
        rowOf(name).reporter(name.c_str(), value);
        return replies_.take();
    }

    std::vector<std::string> queriedBy(const std::string& line)
    {
        recording::take();
        type(line);
        std::vector<std::string> paths;
        for (const recording::Query& query : recording::take().queries) {
            if (query.path != "system.broadcast") {  // the dispatcher's own
                paths.push_back(query.path);
            }
        }
        return paths;
    }

    CapturedReplies replies_;
    OutputFile output_;
    Trace trace_;
};

struct EventCall {
    const char* name;
    const char* args;
    const char* path;
    const char* stored;  // what `args` stores
    const char* other;
    int published;  // by a call on behalf of an event that changes nothing
};

constexpr char kDevice[] = "control.displayControl.output1.remoteNetworkDevice";

const std::vector<EventCall>& eventCalls()
{
    static const std::string user = std::string(kDevice) + ".username";
    static const std::string password = std::string(kDevice) + ".password";
    static const std::string address = std::string(kDevice) + ".ipAddr";
    static const std::string mode = std::string(kDevice) + ".mode";
    static const std::string port = std::string(kDevice) + ".port";
    static const std::vector<EventCall> calls{
        {"VOUTMute", "on", "audio.audOut.allMute", "true", "false", 2},
        {"VOUTMute", "off", "audio.audOut.allMute", "false", "true", 2},
        {"AutoSW", "on", "control.autoSwitch.autoSWEnable", "true", "false", 2},
        {"AutoSW", "off", "control.autoSwitch.autoSWEnable", "false", "true", 2},
        {"Blink", "on", "control.ledMode", "true", "false", 2},
        {"Blink", "off", "control.ledMode", "false", "true", 2},
        {"SetFbVerify", "on", "control.displayControl.output1.feedbackVerify", "true", "false", 2},
        {"CommaWait", "on", "control.displayControl.output1.triger.command.commandWait", "true", "false", 2},
        {"RelayAuto", "on", "control.displayControl.output1.relay.relayAuto", "true", "false", 2},
        {"HDMIAUD", "on", "video.vidOut.hdmiOut.hdmiOutA.audioMute", "false", "true", 2},
        {"HDMIAUD", "off", "video.vidOut.hdmiOut.hdmiOutA.audioMute", "true", "false", 2},
        {"LRAUD", "on", "audio.audOut.analogOut1.audioSinkControl.mute", "false", "true", 2},
        {"LRAUD", "off", "audio.audOut.analogOut1.audioSinkControl.mute", "true", "false", 2},
        {"Zoom", "on", "video.vidOut.hdmiOut.hdmiOutA.zoomEnable", "true", "false", 1},
        {"ASwOutTime", "10", "control.autoSwitch.aswOutTime", "10", "11", 1},
        {"ASwFstTime", "10", "control.autoSwitch.aswFstTime", "10", "11", 1},
        {"APwrOffTime", "10", "control.displayControl.output1.timer.autoPwrOff", "10", "11", 1},
        {"ProjWarmUpT", "10", "control.displayControl.output1.timer.warmUp", "10", "11", 1},
        {"ProjSWMode", "10", "control.displayControl.output1.timer.lampCoolDown", "10", "11", 1},
        {"RelayPulseT", "10", "control.displayControl.output1.relay.relayPulseT", "10", "11", 1},
        {"HZoom", "10", "video.vidOut.hdmiOut.hdmiOutA.hZoom", "10", "11", 1},
        {"VZoom", "10", "video.vidOut.hdmiOut.hdmiOutA.vZoom", "10", "11", 1},
        {"CliPort", "10", port.c_str(), "10", "11", 1},
        {"BRT", "10", "video.colorSetting.brt", "10", "11", 1},
        {"CTRST", "10", "video.colorSetting.ctrst", "10", "11", 1},
        {"SATRT", "10", "video.colorSetting.satrt", "10", "11", 1},
        {"HUE", "10", "video.colorSetting.hue", "10", "11", 1},
        {"SHARP", "10", "video.colorSetting.sharp", "10", "11", 1},
        {"EDIDMSet1", "save1", "video.vidProcess.EDID.edidMSet1", "\"save1\"", "\"int1\"", 2},
        {"EDIDMSet2", "save1", "video.vidProcess.EDID.edidMSet2", "\"save1\"", "\"int1\"", 2},
        {"USBHostLogic", "manual", "control.localUsbLogic.switchMode", "\"manual\"", "\"follow usb\"", 2},
        {"USBHostRoute", "local", "control.localUsbLogic.manualHost", "\"local\"", "\"remote\"", 2},
        {"USBFallback", "on", "control.usbLogic.usbFallBack", "\"on\"", "\"off\"", 2},
        {"USBFallback", "off", "control.usbLogic.usbFallBack", "\"off\"", "\"on\"", 2},
        {"RelayType", "pulse", "control.displayControl.output1.relay.relayType", "\"pulse\"", "\"closed\"", 1},
        {"RelayAct1", "open", "control.displayControl.output1.relay.relayAct1", "\"open\"", "\"close\"", 2},
        {"RelayAct2", "open", "control.displayControl.output1.relay.relayAct2", "\"open\"", "\"close\"", 2},
        {"SetStrgType", "hex", "control.displayControl.output1.triger.command.sendMode", "\"hex\"", "\"ascii\"", 1},
        {"CliMode", "login", mode.c_str(), "\"login\"", "\"non-login\"", 1},
        {"CtlType", "cec", "control.displayControl.output1.controlType", "\"cec\"", "\"ip\"", 1},
        {"HDCPSet1", "on", "video.vidIn.hdbtIn.hdbtIn1.hdcpMode", "\"compliant\"", "\"non-compliant\"", 1},
        {"HDCPSet2", "off", "video.vidIn.hdmiIn.hdmiIn1.hdcpMode", "\"non-compliant\"", "\"compliant\"", 1},
        {"Aspect1", "letter box", "video.vidOut.hdmiOut.hdmiOutA.aspect", "\"letter box\"", "\"fill\"", 1},
        {"CSpara", "[9600,8,0,1]", "system.uart.interface1.baudrate", "9600", "2400", 1},
        {"RS232para1", "[9600,8,0,1]", "system.uart.interface2.baudrate", "9600", "2400", 1},
        {"HDBTRS232", "[9600,8,0,1]", "system.uart.interface3.baudrate", "9600", "2400", 1},
        {"x3AVx1", "", "video.vidOut.hdmiOut.hdmiOutA.videoSrc", "3", "4", 2},
        {"VOUT", "-10", "audio.audOut.analogOut1.audioSinkControl.volume", "-10", "-11", 2},
        {"EQ1 63", "-10", "audio.audOut.analogOut1.audioSinkControl.eq63hz", "-10", "-11", 1},
        {"EQ1 85", "-10", "audio.audOut.analogOut1.audioSinkControl.eq85hz", "-10", "-11", 1},
        {"EQ1 250", "-10", "audio.audOut.analogOut1.audioSinkControl.eq250hz", "-10", "-11", 1},
        {"EQ1 1K", "-10", "audio.audOut.analogOut1.audioSinkControl.eq1khz", "-10", "-11", 1},
        {"EQ1 4K", "-10", "audio.audOut.analogOut1.audioSinkControl.eq4khz", "-10", "-11", 1},
        {"VidOutRes", "0", "video.vidOut.hdmiOut.hdmiOutA.resolution", "\"1024x768p60\"", "\"x\"", 1},
        {"PrefTimg1", "0", "video.vidIn.hdbtIn.hdbtIn1.preferTiming", "\"Native\"", "\"x\"", 1},
        {"PrefTimg2", "0", "video.vidIn.hdmiIn.hdmiIn1.preferTiming", "\"Native\"", "\"x\"", 1},
        {"EDIDOut1", "mem1", "video.vidProcess.EDID.edidOutMem1", "1", "2", 1},
        {"SetLabel boot", "[a]", "video.vidOut.hdmiOut.hdmiOutA.osd.text.content", "\"a\"", "\"b\"", 1},
        {"CliIPAddr", "10.0.0.5", address.c_str(), "\"10.0.0.5\"", "\"10.0.0.6\"", 1},
        {"CliUser", "a", user.c_str(), "\"a\"", "\"b\"", 1},
        {"CliPass", "a", password.c_str(), "\"a\"", "\"b\"", 1},
    };
    return calls;
}

int ownEvents(const recording::Record& record)
{
    int count = 0;
    for (const recording::Event& event : record.events) {
        count += event.from == "publisher" ? 1 : 0;
    }
    return count;
}

TEST_F(SettingCommands, announceAnUnchangedValueForAnEventAndDoNotReply)
{
    for (const EventCall& event : eventCalls()) {
        SCOPED_TRACE(std::string(event.name) + ' ' + event.args);
        recording::reset();
        given(kScaler, "true");
        for (int interface = 1; interface <= 3; ++interface) {
            givenLine(interface);
        }
        given(event.path, event.stored);
        call(event.name, event.args, 1);
        EXPECT_EQ(ownEvents(recording::take()), event.published);
        trace_.note({});
        for (const std::string& step : std::exchange(trace_.steps, {})) {
            EXPECT_FALSE(step.starts_with("reply")) << step;
        }
    }
}

TEST_F(SettingCommands, leaveAChangeForAnEventToTheStoreAndDoNotReply)
{
    for (const EventCall& event : eventCalls()) {
        SCOPED_TRACE(std::string(event.name) + ' ' + event.args);
        recording::reset();
        given(kScaler, "true");
        for (int interface = 1; interface <= 3; ++interface) {
            givenLine(interface);
        }
        given(event.path, event.other);
        call(event.name, event.args, 1);
        EXPECT_EQ(ownEvents(recording::take()), 0);
        EXPECT_EQ(recording::read(recording::Store::settings, event.path), event.stored);
        EXPECT_EQ(replies_.take(), "");
        trace_.steps.clear();
    }
}

TEST_F(SettingCommands, announceTheBroadcastModesOnceWhoeverCalls)
{
    for (const auto& [name, path] :
         {std::pair{"Broadcast", "system.broadcast"}, std::pair{"InputBroadcast", "system.inputBroadcast"}}) {
        for (const int fromEvent : {0, 1}) {
            given(path, "true");
            call(name, "on", fromEvent);
            EXPECT_EQ(ownEvents(recording::take()), 1) << name << ' ' << fromEvent;
            call(name, "off", fromEvent);
            EXPECT_EQ(ownEvents(recording::take()), 0) << name << ' ' << fromEvent;
            call(name, "off", fromEvent);
            EXPECT_EQ(ownEvents(recording::take()), 1) << name << ' ' << fromEvent;
            EXPECT_EQ(recording::read(recording::Store::settings, path), "false");
        }
    }
    EXPECT_EQ(replies_.take(), "");
}

// Kept: "on" asks whether the leaf was true, although it stores false.
TEST_F(SettingCommands, announceTheScalersBypassForAnEventThatFoundTheModeTrue)
{
    const auto published = [&](const char* word, const char* stored) {
        given(kScaler, stored);
        recording::take();
        call("ScalerPtMode", word, 1);
        return ownEvents(recording::take());
    };
    EXPECT_EQ(published("on", "true"), 1);
    EXPECT_EQ(recording::read(recording::Store::settings, kScaler), "false");
    EXPECT_EQ(trace_.steps.back(),
              R"(publish videoUserConfigChanged {"video":{"vidProcess":{"scaler":{"scalerMode":false}}}})");
    EXPECT_EQ(published("on", "false"), 0);
    EXPECT_EQ(published("off", "true"), 0);
    EXPECT_EQ(published("off", "false"), 0);
    EXPECT_EQ(recording::read(recording::Store::settings, kScaler), "true");
    EXPECT_EQ(replies_.take(), "");
}

TEST_F(SettingCommands, announceNoEndOfTheZoomForAnEvent)
{
    given(kScaler, "true");
    for (const char* stored : {"true", "false"}) {
        given("video.vidOut.hdmiOut.hdmiOutA.zoomEnable", stored);
        recording::take();
        call("Zoom", "off", 1);
        EXPECT_EQ(ownEvents(recording::take()), 0) << stored;
    }
    EXPECT_EQ(replies_.take(), "");
}

TEST_F(SettingCommands, toggleThePictureResetForAnEventInSilence)
{
    given(kScaler, "true");
    given("video.colorSetting.pictureRst", "1");
    call("PictureRst", "", 1);
    EXPECT_EQ(trace_.steps, Steps{R"(store {"video":{"colorSetting":{"pictureRst":0}}})"});
    EXPECT_EQ(replies_.take(), "");
}

TEST_F(SettingCommands, storeThenPublishThenReply)
{
    for (const EventCall& event : eventCalls()) {
        if (std::string_view(event.args).starts_with('[') && event.path[0] == 's') {
            continue;  // line parameters, below
        }
        SCOPED_TRACE(std::string(event.name) + ' ' + event.args);
        given(kScaler, "true");
        given(event.path, event.stored);
        const std::string line = std::string(event.name) + (*event.args != '\0' ? " " : "") + event.args;
        const Steps steps = type(line);
        ASSERT_EQ(steps.size(), event.published == 2 ? 3U : 2U);
        EXPECT_TRUE(steps[0].starts_with("store {")) << steps[0];
        if (event.published == 2) {
            // The payload is the very document stored.
            EXPECT_TRUE(steps[1].starts_with("publish ")) << steps[1];
            EXPECT_TRUE(steps[1].ends_with(steps[0].substr(5))) << steps[1];
        }
        EXPECT_TRUE(steps.back().starts_with("reply ")) << steps.back();
    }
}

TEST_F(SettingCommands, echoLineParametersThenWaitThenStore)
{
    EXPECT_EQ(
        type("CSpara [19200,7,1,2]"),
        (Steps{"reply CSpara [19200,7,1,2]\r\n", "pause 200000",
               R"(store {"system":{"uart":{"interface1":{"baudrate":19200,"databit":7,"parity":1,"stopbit":2}}}})"}));
    EXPECT_EQ(
        type("RS232para1 [19200,7,1,2]"),
        (Steps{"reply RS232para1 [19200,7,1,2]\r\n",
               R"(store {"system":{"uart":{"interface2":{"baudrate":19200,"databit":7,"parity":1,"stopbit":2}}}})"}));
    EXPECT_EQ(
        type("HDBTRS232 [19200,7,1,2]"),
        (Steps{"reply HDBTRS232 [19200,7,1,2]\r\n", "pause 200000",
               R"(store {"system":{"uart":{"interface3":{"databit":7,"parity":1,"stopbit":2,"baudrate":19200}}}})"}));
}

TEST_F(SettingCommands, echoUnchangedLineParametersThenWaitThenPublish)
{
    for (int interface = 1; interface <= 3; ++interface) {
        givenLine(interface);
    }
    const std::string publish = "publish systemUserConfigChanged ";
    EXPECT_EQ(
        type("CSpara [9600,8,0,1]"),
        (Steps{"reply CSpara [9600,8,0,1]\r\n", "pause 200000",
               publish +
                   R"({"system":{"uart":{"interface1":{"baudrate":9600,"databit":8,"parity":0,"stopbit":1}}}})"}));
    EXPECT_EQ(
        type("RS232para1 [9600,8,0,1]"),
        (Steps{"reply RS232para1 [9600,8,0,1]\r\n",
               publish +
                   R"({"system":{"uart":{"interface2":{"baudrate":9600,"databit":8,"parity":0,"stopbit":1}}}})"}));
    EXPECT_EQ(
        type("HDBTRS232 [9600,8,0,1]"),
        (Steps{"reply HDBTRS232 [9600,8,0,1]\r\n", "pause 200000",
               publish +
                   R"({"system":{"uart":{"interface3":{"databit":8,"parity":0,"stopbit":1,"baudrate":9600}}}})"}));
}

TEST_F(SettingCommands, doNotWaitForLineParametersThatAreRefusedOrShown)
{
    givenLine(1);
    for (const char* line : {"CSpara [9600,8,3,1]", "CSpara [9600,8,0,3]", "CSpara", "CSpara sta"}) {
        for (const std::string& step : type(line)) {
            EXPECT_TRUE(step.starts_with("reply ")) << line << ": " << step;
        }
    }
}

TEST_F(SettingCommands, writeAllLineParametersWhenOneCannotBeRead)
{
    for (const char* name : {"baudrate", "databit", "parity", "stopbit"}) {
        SCOPED_TRACE(name);
        recording::reset();
        givenLine(2);
        recording::failQuery(std::string("system.uart.interface2.") + name);
        EXPECT_EQ(
            type("RS232para1 [9600,8,0,1]"),
            (Steps{
                "reply RS232para1 [9600,8,0,1]\r\n",
                R"(store {"system":{"uart":{"interface2":{"baudrate":9600,"databit":8,"parity":0,"stopbit":1}}}})"}));
    }
}

TEST_F(SettingCommands, storeOrPublishNothingForAStepOrAReset)
{
    given(kScaler, "true");
    given("audio.audOut.analogOut1.audioSinkControl.volume", "-10");
    EXPECT_EQ(type("VOUT +"), (Steps{R"(store {"audio":{"audOut":{"analogOut1":{"audioSinkControl":{"volume":-9}}}}})",
                                     "reply VOUT -9\r\n"}));
    given("audio.audOut.analogOut1.audioSinkControl.eq63hz", "3");
    EXPECT_EQ(type("EQ1 63 -"),
              (Steps{R"(store {"audio":{"audOut":{"analogOut1":{"audioSinkControl":{"eq63hz":2}}}}})"}));
    EXPECT_EQ(type("PictureRst"),
              (Steps{R"(store {"video":{"colorSetting":{"pictureRst":1}}})", "reply PictureRst\r\n"}));
}

TEST_F(SettingCommands, giveTheirOwnResultForARefusedRouteOnly)
{
    EXPECT_EQ(call("x3AVx1", "now", 0), 255);
    EXPECT_EQ(call("x3AVx1", "", 0), 1);
    EXPECT_EQ(call("BRT", "now", 0), 1);
    EXPECT_EQ(call("Status", "now", 0), 1);
    EXPECT_EQ(call("EDIDOut1", "now", 0), 1);
}

TEST_F(SettingCommands, askForTheScalerModeOnlyWhereItIsNeeded)
{
    const auto asks = [&](const std::string& line) {
        const std::vector<std::string> paths = queriedBy(line);
        return std::find(paths.begin(), paths.end(), kScaler) != paths.end();
    };
    for (const char* line :
         {"BRT 1", "CTRST 1", "SATRT 1", "HUE 1", "SHARP 1", "HZoom 1", "VZoom 1", "CliPort 1", "BRT nonsense",
          "Aspect1 fill", "VidOutRes 1", "VidOutRes list", "VidOutRes nonsense", "PictureRst"}) {
        EXPECT_TRUE(asks(line)) << line;
    }
    for (const char* line :
         {"BRT", "BRT sta", "ASwOutTime 10", "RelayPulseT 1", "Aspect1", "Aspect1 sta", "Aspect1 nonsense", "VidOutRes",
          "VidOutRes sta", "PrefTimg1 1", "PictureRst now", "RelayType pulse", "VOUT 0", "x1AVx1"}) {
        EXPECT_FALSE(asks(line)) << line;
    }
}

TEST_F(SettingCommands, readTheHdbtInputFirst)
{
    EXPECT_EQ(queriedBy("InputStatus"), (std::vector<std::string>{"video.vidIn.hdbtIn.hdbtIn1.connected",
                                                                  "video.vidIn.hdmiIn.hdmiIn1.connected"}));
}

TEST_F(SettingCommands, logAFailedUpdateOnlyAtItsLevel)
{
    recording::fail(recording::Fault::update);
    type("RelayPulseT 5");
    ASSERT_EQ(recording::take().logs.size(), 1U);
    recording::setLogLevel(5, false);
    type("RelayPulseT 5");
    EXPECT_TRUE(recording::take().logs.empty());
}

TEST_F(SettingCommands, reportWhatAChangeBroadcastWouldShow)
{
    givenStatus("video.vidIn.hdmiIn.hdmiIn1.connected", "true");
    EXPECT_EQ(report("x1AVx1", ReportValue::integer(4)), "x4AVx1\r\nInputStatus 01\r\n");
    EXPECT_EQ(report("VidOutRes", ReportValue::text("1920x1080p60 (Default)")), "VidOutRes 10\r\n");
    EXPECT_EQ(report("VidOutRes", ReportValue::text("Native")), "");
    EXPECT_EQ(report("PrefTimg1", ReportValue::text("1440x900")), "PrefTimg1 11\r\n");
    EXPECT_EQ(report("PrefTimg2", ReportValue::text("1024x768p60")), "");
    EXPECT_EQ(report("EDIDOut1", ReportValue::integer(1)), "EDIDOut1 mem1\r\n");
    EXPECT_EQ(report("EDIDOut1", ReportValue::integer(8)), "EDIDOut1 mem8\r\n");
    EXPECT_EQ(report("EDIDOut1", ReportValue::integer(0)), "");
    EXPECT_EQ(report("EDIDOut1", ReportValue::integer(9)), "");
}

TEST_F(SettingCommands, reportLineParametersFromTheStore)
{
    const ReportValue ignored = ReportValue::integer(300);
    EXPECT_EQ(report("CSpara", ignored), "");
    givenLine(1);
    givenLine(2);
    givenLine(3);
    given("system.uart.interface2.parity", "2");
    given("system.uart.interface3.baudrate", "115200");
    EXPECT_EQ(report("CSpara", ignored), "CSpara[9600,8,0,1]\r\n");
    EXPECT_EQ(report("RS232para1", ignored), "RS232para1[9600,8,2,1]\r\n");
    EXPECT_EQ(report("HDBTRS232", ignored), "HDBTRS232[115200,8,0,1]\r\n");
}

const std::string kTenThousandDigits(10'000, '1');

TEST_F(SettingCommands, refuseTenThousandDigitsWithTheWholeLine)
{
    given(kScaler, "true");
    for (const EventCall& event : eventCalls()) {
        const std::string_view name(event.name);
        if (name == "CliUser" || name == "CliPass") {
            continue;  // any text will do for these; below
        }
        for (const char* sign : {"", "-", "+", " "}) {
            const std::string line = std::string(name) + ' ' + sign + kTenThousandDigits;
            const char* end = name == "EDIDOut1" ? ")\n" : ")\r\n";
            EXPECT_EQ(type(line), Steps{"reply Command FAILED: (" + line + end}) << name << sign;
        }
    }
}

TEST_F(SettingCommands, refuseTenThousandDigitsInALineParameter)
{
    for (const char* name : {"CSpara", "RS232para1", "HDBTRS232"}) {
        const std::string begin = std::string(name) + " [";
        for (const std::string& line :
             {begin + kTenThousandDigits + ",8,0,1]", begin + "9600," + kTenThousandDigits + ",0,1]",
              begin + "9600,8,0," + kTenThousandDigits + "]", begin + std::string(10'000, ',') + ']',
              begin + "9600,8,0,1" + std::string(10'000, ']')}) {
            EXPECT_EQ(type(line), Steps{"reply Command FAILED: (" + line + ")\r\n"});
        }
        EXPECT_EQ(type(begin + "9600,8," + kTenThousandDigits + ",1]"), Steps{});
    }
}

TEST_F(SettingCommands, cutTenThousandBytesWhereTextsAreCut)
{
    EXPECT_EQ(type("CliUser " + kTenThousandDigits).back(), "reply CliUser " + std::string(40, '1') + "\r\n");
    EXPECT_EQ(type("CliPass " + kTenThousandDigits).back(), "reply CliPass " + std::string(40, '1') + "\r\n");
    EXPECT_EQ(type("SetLabel boot[" + kTenThousandDigits + ']').back(),
              "reply SetLabel boot[" + std::string(30, '1') + "]\r\n");
}

}  // namespace
