#include "commands/settingChange.h"

#include "commands/usages.h"
#include "platform/logger.h"

int publishCount(PublishRule rule, bool unchanged, int fromEvent)
{
    if (!unchanged) {
        return 0;
    }
    switch (rule) {
    case PublishRule::never: return 0;
    case PublishRule::whenUnchanged: return fromEvent == 1 ? 2 : 1;
    case PublishRule::whenUnchangedOnce: return 1;
    case PublishRule::unchangedEventOnly: return fromEvent == 1 ? 1 : 0;
    }
    return 0;
}

void publishChange(const Announcement& announcement, const char* document, int count)
{
    for (int i = 0; i < count; ++i) {
        publishReported(announcement.topic, document, announcement.publishLabel);
    }
}

bool textUnchanged(const char* jsonTemplate, std::string_view text)
{
    const PlatformText stored = readText(jsonTemplate);
    return stored != nullptr && stored.get() == text;
}

bool changeNumber(const CommandCall& call, const Announcement& announcement, PublishRule rule, int number)
{
    const bool unchanged = readInt(call.jsonTemplate).value_or(0) == number;
    return changeSetting(announcement, call.jsonTemplate, number, publishCount(rule, unchanged, call.fromEvent));
}

bool changeText(const CommandCall& call, const Announcement& announcement, PublishRule rule, std::string_view text)
{
    const bool unchanged = textUnchanged(call.jsonTemplate, text);
    return changeSetting(announcement, call.jsonTemplate, text, publishCount(rule, unchanged, call.fromEvent));
}

int showNumber(const CommandCall& call)
{
    if (const auto stored = readInt(call.jsonTemplate)) {
        uartReply("%s %d\r\n", call.name, *stored);
    }
    return 1;
}

int showText(const CommandCall& call)
{
    if (const PlatformText stored = readText(call.jsonTemplate)) {
        uartReply("%s %s\r\n", call.name, stored.get());
    }
    return 1;
}

bool scalerModeOn()
{
    const bool on = readBool(boolLeaf<"video.vidProcess.scaler.scalerMode">).value_or(false);
    if (__logLevels[6] != 0) {
        __printLog(6, "[%s][%d] scalerMode=%d\r\n", "readScalerModeStatus", __LINE__, on ? 1 : 0);
    }
    return on;
}

const char* unchangedTopic(const Announcement& announcement, PublishRule rule)
{
    return publishCount(rule, true, 0) != 0 ? announcement.topic : nullptr;
}
