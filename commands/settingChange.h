// What every setting command shares: the call's arguments, the scaler guard, and the way a new value is stored and
// announced. A family is a skeleton over these and a record per command of what its members differ in.
#pragma once

#include <string_view>

#include "console/dispatcher.h"
#include "console/topics.h"
#include "platform/support/settings.h"
#include "serial/replyWriter.h"

/// A handler's arguments in one piece (see CommandHandler).
struct CommandCall {
    const char* line;
    const char* name;
    const char* args;
    int fromEvent;
    const char* jsonTemplate;

    /// Events get no reply.
    [[nodiscard]] bool wantsReply() const { return fromEvent == 0; }
};

/// When a handler publishes by itself. The store announces real changes, so this is about the value that was there
/// already.
enum class PublishRule {
    never,
    whenUnchanged,       // once, and once more for a call on behalf of an event
    whenUnchangedOnce,   // once, whoever calls
    unchangedEventOnly,  // only for a call on behalf of an event: never from the console
};

/// How often an event is to be published under a rule.
int publishCount(PublishRule rule, bool unchanged, int fromEvent);

/// Where a family's changes are announced. `publishLabel` heads the system error of a failed publication.
struct Announcement {
    const char* topic;
    const char* publishLabel;
};

namespace announce {
inline constexpr Announcement audio{topic::audio, "publishEvent(audioUserConfigChanged SYSTEM_CMD_REQ_DEFAULT!)"};
inline constexpr Announcement control{topic::control, "publishEvent(controlUserConfigChanged SYSTEM_CMD_REQ_DEFAULT!)"};
inline constexpr Announcement network{topic::network, "publishEvent(networkUserConfigChanged SYSTEM_CMD_REQ_DEFAULT!)"};
inline constexpr Announcement system{topic::system, "publishEvent(systemUserConfigChanged SYSTEM_CMD_REQ_DEFAULT!)"};
inline constexpr Announcement video{topic::video, "publishEvent(videoUserConfigChanged SYSTEM_CMD_REQ_DEFAULT!)"};
}  // namespace announce

/// Publishes a document `count` times; each failure is reported and the next one still made.
void publishChange(const Announcement& announcement, const char* document, int count);

/// Stores the row's template filled with `value` and publishes it `count` times. False, with the failure logged, when
/// it could not be stored: the command then stays silent.
template <class Value>
[[nodiscard]] bool changeSetting(const Announcement& announcement, const char* jsonTemplate, Value value, int count)
{
    Document document;
    const bool whole = fill(document, jsonTemplate, value);
    if (!storeDocument(document, whole)) {
        return false;
    }
    publishChange(announcement, document.c_str(), count);
    return true;
}

/// True when the store holds this text already; one that cannot be read is different.
[[nodiscard]] bool textUnchanged(const char* jsonTemplate, std::string_view text);

// The usual change of the row's one leaf: compares the new value with the stored one, stores it and publishes it under
// the rule. False when it could not be stored (see changeSetting). A number that cannot be read counts as 0.
[[nodiscard]] bool changeNumber(const CommandCall& call, const Announcement& announcement, PublishRule rule,
                                int number);
[[nodiscard]] bool changeText(const CommandCall& call, const Announcement& announcement, PublishRule rule,
                              std::string_view text);

// "sta": the row's name and its stored value; nothing when that cannot be read. They return 1.
int showNumber(const CommandCall& call);
int showText(const CommandCall& call);

/// True when the scaler works on the picture; commands that need it are refused otherwise. Logs what was read.
bool scalerModeOn();
