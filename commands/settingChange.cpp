#include "commands/settingChange.h"

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

bool scalerModeOn()
{
    const bool on = readBool(boolLeaf<"video.vidProcess.scaler.scalerMode">).value_or(false);
    if (__logLevels[6] != 0) {
        __printLog(6, "[%s][%d] scalerMode=%d\r\n", "readScalerModeStatus", __LINE__, on ? 1 : 0);
    }
    return on;
}
