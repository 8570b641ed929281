// Trigger sender: hands the stored command of the attached display to the transmitter service of a path, the display's
// RS-232 port or its network address. Command, end and feedback texts are written by other parts of the device; this
// program only reads them. Called on the thread that runs command handlers; nothing is kept between calls.
#pragma once

#include <cstddef>
#include <span>

#include "console/topics.h"
#include "platform/support/jsonTemplate.h"

/// A way to the display: who transmits, and the status flag that is true while it does.
struct TriggerPath {
    const char* service;
    const char* busyFlag;
    bool logsBusyFlag = false;
};

/// The leaves of one action; without feedback leaves no feedback is expected.
struct TriggerTexts {
    const char* content;
    const char* end;
    const char* feedback = nullptr;
    const char* feedbackEnd = nullptr;
};

/// The whole text that asks for an action, compared exactly.
struct TriggerAction {
    const char* word;
    const TriggerTexts& texts;
};

/// How contents are written: "4F 4E" with "2c" as separator, or the characters themselves with ',' as separator.
enum class TriggerFormat { hexTokens, plainText };

struct TriggerSender {
    const TriggerPath& path;
    TriggerFormat format;
    std::size_t requestCapacity;  // bytes, the terminating zero included
    std::span<const TriggerAction> actions;
};

namespace trigger {

inline constexpr TriggerPath serialPath{
    .service = service::displayControl,
    .busyFlag = boolLeaf<"control.displayControl.output1.transmission.rs232">,
    .logsBusyFlag = true,
};
inline constexpr TriggerPath networkPath{
    .service = service::displayControlTelnet,
    .busyFlag = boolLeaf<"control.displayControl.output1.transmission.telnet">,
};

inline constexpr TriggerTexts on{
    .content = textLeaf<"control.displayControl.output1.triger.command.content.on">,
    .end = textLeaf<"control.displayControl.output1.triger.command.end.on">,
    .feedback = textLeaf<"control.displayControl.output1.triger.command.content.feedbackOn">,
    .feedbackEnd = textLeaf<"control.displayControl.output1.triger.command.end.feedbackOn">,
};
inline constexpr TriggerTexts off{
    .content = textLeaf<"control.displayControl.output1.triger.command.content.off">,
    .end = textLeaf<"control.displayControl.output1.triger.command.end.off">,
    .feedback = textLeaf<"control.displayControl.output1.triger.command.content.feedbackOff">,
    .feedbackEnd = textLeaf<"control.displayControl.output1.triger.command.end.feedbackOff">,
};
inline constexpr TriggerTexts mute{
    .content = textLeaf<"control.displayControl.output1.triger.command.content.mute">,
    .end = textLeaf<"control.displayControl.output1.triger.command.end.mute">,
    .feedback = textLeaf<"control.displayControl.output1.triger.command.content.feedbackMute">,
    .feedbackEnd = textLeaf<"control.displayControl.output1.triger.command.end.feedbackMute">,
};
inline constexpr TriggerTexts volumePlus{
    .content = textLeaf<"control.displayControl.output1.triger.command.content.volumePlus">,
    .end = textLeaf<"control.displayControl.output1.triger.command.end.volumePlus">,
};
inline constexpr TriggerTexts volumeMinus{
    .content = textLeaf<"control.displayControl.output1.triger.command.content.volumeMinus">,
    .end = textLeaf<"control.displayControl.output1.triger.command.end.volumeMinus">,
};

// Kept: rows hand over the whole line, the display button only its word. So "TrigRS1 mute" and the volume rows name no
// action and do nothing.
inline constexpr TriggerAction serialPowerActions[] = {{"TrigRS1 on", on}, {"TrigRS1 off", off}, {"mute", mute}};
inline constexpr TriggerAction networkPowerActions[] = {{"TrigIP1 on", on}, {"TrigIP1 off", off}, {"mute", mute}};
inline constexpr TriggerAction volumeActions[] = {{"vol+", volumePlus}, {"vol-", volumeMinus}};

}  // namespace trigger

inline constexpr TriggerSender serialPower{trigger::serialPath, TriggerFormat::hexTokens, 1024,
                                           trigger::serialPowerActions};
inline constexpr TriggerSender serialVolume{trigger::serialPath, TriggerFormat::plainText, 256, trigger::volumeActions};
inline constexpr TriggerSender networkPower{trigger::networkPath, TriggerFormat::hexTokens, 256,
                                            trigger::networkPowerActions};
inline constexpr TriggerSender networkVolume{trigger::networkPath, TriggerFormat::plainText, 256,
                                             trigger::volumeActions};

/// Sends an action, as one request or, when the device waits at separators, as one request a piece. 0 when a request
/// could not be handed over: pieces already sent stay sent, and the busy flag is reset. 1 when all went well, but also
/// when the path was busy or a stored text is missing: then nothing was sent. Another non-zero value for an action that
/// the sender does not know.
int sendTrigger(const TriggerSender& sender, const char* action);

/// A trigger row hands its sender the whole line and sends no reply.
template <const TriggerSender& sender>
int triggerCommand(const char* line, const char* /*name*/, const char* /*args*/, int /*fromEvent*/,
                   const char* /*jsonTemplate*/)
{
    return sendTrigger(sender, line);
}
