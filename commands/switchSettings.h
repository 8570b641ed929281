// On/off settings: one boolean leaf, the words "on", "off" and "sta".
#pragma once

#include "commands/settingChange.h"

struct SwitchRules {
    const Announcement& announcement;
    PublishRule onRule = PublishRule::whenUnchanged;
    PublishRule offRule = PublishRule::whenUnchanged;
    bool inverted = false;            // "on" stores false: the leaf is a mute or a bypass
    bool silent = false;              // "on" and "off" are not answered
    bool onComparesWithTrue = false;  // "on" counts as unchanged when the leaf was true, whatever "on" stores
    bool needsScaler = false;         // "on" and "off" are refused while the scaler mode is off
};

// The change broadcast reports these two, so the command itself stays silent.
inline constexpr SwitchRules broadcastSwitch{.announcement = announce::system,
                                             .onRule = PublishRule::whenUnchangedOnce,
                                             .offRule = PublishRule::whenUnchangedOnce,
                                             .silent = true};
inline constexpr SwitchRules audioMuteSwitch{.announcement = announce::audio};
inline constexpr SwitchRules controlSwitch{.announcement = announce::control};
inline constexpr SwitchRules hdmiAudioSwitch{.announcement = announce::video, .inverted = true};
inline constexpr SwitchRules analogAudioSwitch{.announcement = announce::audio, .inverted = true};
// Kept: these two never publish from the console.
inline constexpr SwitchRules scalerBypassSwitch{.announcement = announce::video,
                                                .onRule = PublishRule::unchangedEventOnly,
                                                .offRule = PublishRule::never,
                                                .inverted = true,
                                                .onComparesWithTrue = true};
inline constexpr SwitchRules zoomSwitch{.announcement = announce::video,
                                        .onRule = PublishRule::unchangedEventOnly,
                                        .offRule = PublishRule::never,
                                        .onComparesWithTrue = true,
                                        .needsScaler = true};

int runSwitch(const SwitchRules& rules, const CommandCall& call);

template <const SwitchRules& rules>
int switchCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    return runSwitch(rules, {line, name, args, fromEvent, jsonTemplate});
}
