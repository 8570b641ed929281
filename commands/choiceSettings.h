// Choice settings: one text leaf that holds a word of a fixed list.
#pragma once

#include <span>

#include "commands/settingChange.h"

struct ChoiceWord {
    const char* typed;
    const char* stored = typed;
    const char* publishLabel = nullptr;  // in place of the announcement's own
};

struct ChoiceRules {
    std::span<const ChoiceWord> words;
    const Announcement& announcement;
    PublishRule rule = PublishRule::unchangedEventOnly;
    bool hasStatus = true;                // "sta" is a word
    bool showsTypedWord = false;          // "sta" answers with the typed form of a listed word, else not at all
    bool bracketReply = false;            // a set is answered "%s[%s]\r\n"; "sta" never is
    bool needsScaler = false;             // a set is refused while the scaler mode is off
    const char* lengthLogName = nullptr;  // the argument's length is printed first, under this name
};

namespace choice {
// Kept: of the saved memories only the first can be chosen.
inline constexpr ChoiceWord edidModes[] = {{"default"}, {"save1"}, {"int1"}, {"int2"}, {"int3"}, {"int4"}};
inline constexpr ChoiceWord usbHostLogics[] = {{"follow usb"}, {"follow video"}, {"manual"}};
inline constexpr ChoiceWord usbHostRoutes[] = {{"local"}, {"remote"}};
// Kept: the label of "off" names the wrong area.
inline constexpr ChoiceWord usbFallbacks[] = {
    {"on"}, {.typed = "off", .publishLabel = "publishEvent(videoUserConfigChanged SYSTEM_CMD_REQ_DEFAULT!)"}};
inline constexpr ChoiceWord relayTypes[] = {{"pulse"}, {"closed"}};
inline constexpr ChoiceWord relayActions[] = {{"open"}, {"close"}};
inline constexpr ChoiceWord triggerStringTypes[] = {{"ascii"}, {"hex"}};
inline constexpr ChoiceWord clientLoginModes[] = {{"login"}, {"non-login"}};
inline constexpr ChoiceWord controlTypes[] = {{"ip"}, {"rs-232"}, {"cec"}};
inline constexpr ChoiceWord hdcpModes[] = {{"on", "compliant"}, {"off", "non-compliant"}};
inline constexpr ChoiceWord aspects[] = {{"follow"}, {"fill"}, {"letter box"}};
}  // namespace choice

inline constexpr ChoiceRules edidMode{.words = choice::edidModes,
                                      .announcement = announce::video,
                                      .rule = PublishRule::whenUnchanged,
                                      .bracketReply = true,
                                      .lengthLogName = "UserEDIDMSetCommand"};
inline constexpr ChoiceRules usbHostLogic{.words = choice::usbHostLogics,
                                          .announcement = announce::control,
                                          .rule = PublishRule::whenUnchanged,
                                          .bracketReply = true,
                                          .lengthLogName = "UserUSBHostLogicCommand"};
inline constexpr ChoiceRules usbHostRoute{.words = choice::usbHostRoutes,
                                          .announcement = announce::control,
                                          .rule = PublishRule::whenUnchanged,
                                          .hasStatus = false};
inline constexpr ChoiceRules usbFallback{
    .words = choice::usbFallbacks, .announcement = announce::control, .rule = PublishRule::whenUnchanged};
inline constexpr ChoiceRules relayType{.words = choice::relayTypes, .announcement = announce::control};
inline constexpr ChoiceRules relayAction{
    .words = choice::relayActions, .announcement = announce::control, .rule = PublishRule::whenUnchanged};
inline constexpr ChoiceRules triggerStringType{.words = choice::triggerStringTypes, .announcement = announce::control};
inline constexpr ChoiceRules clientLoginMode{.words = choice::clientLoginModes, .announcement = announce::control};
inline constexpr ChoiceRules controlType{.words = choice::controlTypes, .announcement = announce::control};
inline constexpr ChoiceRules hdcpMode{
    .words = choice::hdcpModes, .announcement = announce::video, .showsTypedWord = true};
inline constexpr ChoiceRules outputAspect{
    .words = choice::aspects, .announcement = announce::video, .needsScaler = true};

int runChoice(const ChoiceRules& rules, const CommandCall& call);

template <const ChoiceRules& rules>
int choiceCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    return runChoice(rules, {line, name, args, fromEvent, jsonTemplate});
}
