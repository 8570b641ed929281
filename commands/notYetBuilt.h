// Rows whose handlers are still to come answer like a group row, and their reporters print nothing. A name leaves this
// list when its handler is built.
#pragma once

#include "console/groupRow.h"
#include "console/reporters.h"

inline constexpr CommandHandler typeCommand = groupRow;
inline constexpr CommandHandler factoryResetCommand = groupRow;
inline constexpr CommandHandler routeCommand = groupRow;
inline constexpr CommandHandler routeStatusCommand = groupRow;
inline constexpr CommandHandler preferredTimingCommand = groupRow;
inline constexpr CommandHandler preferredTimingListCommand = groupRow;
inline constexpr CommandHandler outputResolutionCommand = groupRow;
inline constexpr CommandHandler clientCredentialCommand = groupRow;
inline constexpr CommandHandler clientAddressCommand = groupRow;
inline constexpr CommandHandler pictureResetCommand = groupRow;
inline constexpr CommandHandler singleInputStatusCommand = groupRow;
inline constexpr CommandHandler inputStatusCommand = groupRow;
inline constexpr CommandHandler bootLabelCommand = groupRow;
inline constexpr CommandHandler edidCopyCommand = groupRow;

enum class ChoiceCommandRules {
    hdcpMode,
    outputAspect,
    controlType,
    clientLoginMode,
    triggerStringType,
    relayAction,
    relayType,
    usbFallback,
    usbHostRoute,
    usbHostLogic,
    edidMode
};
using enum ChoiceCommandRules;
template <ChoiceCommandRules>
inline constexpr CommandHandler choiceCommand = groupRow;

enum class LineParametersCommandRules { consoleLine, receiverLine, farEndLine };
using enum LineParametersCommandRules;
template <LineParametersCommandRules>
inline constexpr CommandHandler lineParametersCommand = groupRow;

enum class LevelCommandRules { volumeLevel, equaliserLevel };
using enum LevelCommandRules;
template <LevelCommandRules>
inline constexpr CommandHandler levelCommand = groupRow;

enum class NumericCommandRules {
    autoSwitchOutTime,
    autoSwitchFirstTime,
    clientPort,
    overscanSize,
    pictureControl,
    autoPowerOffTime,
    projectorTime,
    relayPulseTime
};
using enum NumericCommandRules;
template <NumericCommandRules>
inline constexpr CommandHandler numericCommand = groupRow;

enum class InputFormatCommandRules { hdbtInput, hdmiInput };
using enum InputFormatCommandRules;
template <InputFormatCommandRules>
inline constexpr CommandHandler inputFormatCommand = groupRow;

namespace report {
inline constexpr StatusReporter edidMemory = silent;
inline constexpr StatusReporter resolutionIndex = silent;
inline constexpr StatusReporter route = silent;
inline constexpr StatusReporter timingIndex = silent;
inline constexpr StatusReporter uart1 = silent;
inline constexpr StatusReporter uart2 = silent;
inline constexpr StatusReporter uart3 = silent;
}  // namespace report
