// The format at an input, the copy of the display's EDID, and the label shown at start.
#pragma once

#include "commands/settingChange.h"

/// The status leaves of one input.
struct InputFormatRules {
    const char* stable;
    const char* width;
    const char* height;
    const char* interlace;
    const char* refreshRate;  // Hz
    const char* colorDepth;   // bits
    const char* colorMode;
};

inline constexpr InputFormatRules hdbtInput{.stable = boolLeaf<"video.vidIn.hdbtIn.hdbtIn1.videoTiming.stable">,
                                            .width = intLeaf<"video.vidIn.hdbtIn.hdbtIn1.videoTiming.h">,
                                            .height = intLeaf<"video.vidIn.hdbtIn.hdbtIn1.videoTiming.v">,
                                            .interlace = boolLeaf<"video.vidIn.hdbtIn.hdbtIn1.videoTiming.interlace">,
                                            .refreshRate =
                                                intLeaf<"video.vidIn.hdbtIn.hdbtIn1.videoTiming.refreshRate">,
                                            .colorDepth = intLeaf<"video.vidIn.hdbtIn.hdbtIn1.colorDepth">,
                                            .colorMode = textLeaf<"video.vidIn.hdbtIn.hdbtIn1.colorMode">};
inline constexpr InputFormatRules hdmiInput{.stable = boolLeaf<"video.vidIn.hdmiIn.hdmiIn1.videoTiming.stable">,
                                            .width = intLeaf<"video.vidIn.hdmiIn.hdmiIn1.videoTiming.h">,
                                            .height = intLeaf<"video.vidIn.hdmiIn.hdmiIn1.videoTiming.v">,
                                            .interlace = boolLeaf<"video.vidIn.hdmiIn.hdmiIn1.videoTiming.interlace">,
                                            .refreshRate =
                                                intLeaf<"video.vidIn.hdmiIn.hdmiIn1.videoTiming.refreshRate">,
                                            .colorDepth = intLeaf<"video.vidIn.hdmiIn.hdmiIn1.colorDepth">,
                                            .colorMode = textLeaf<"video.vidIn.hdmiIn.hdmiIn1.colorMode">};

int runInputFormat(const InputFormatRules& rules, const CommandCall& call);

template <const InputFormatRules& rules>
int inputFormatCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    return runInputFormat(rules, {line, name, args, fromEvent, jsonTemplate});
}

int edidCopyCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
int bootLabelCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);

namespace report {
/// 1 to 8 print the memory's name.
void edidMemory(const char* name, const ReportValue& value);
}  // namespace report
