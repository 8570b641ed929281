#include "display/triggerSender.h"

#include <cerrno>
#include <optional>
#include <string_view>

#include "console/argumentText.h"
#include "display/usages.h"
#include "platform/logger.h"
#include "platform/lpc.h"
#include "platform/support/report.h"
#include "platform/support/settings.h"

namespace {

constexpr int kUnknownAction = -1;
constexpr char kSeparatorToken[] = "2c";  // a comma; "2C" is data
constexpr char kSeparator = ',';
constexpr std::size_t kPlainPieceLength = 40;

// A command, a feedback or a piece of a command with its end; what does not fit is cut.
using Piece = FixedText<128>;

// What an end name puts behind a text.
struct EndMode {
    std::string_view name;
    const char* hex;
    const char* raw;
};

constexpr EndMode kEndModes[] = {
    {"STX", " 02", "\x02"}, {"ETX", " 03", "\x03"},      {"LF", " 0A", "\n"},
    {"CR", " 0D", "\r"},    {"CR-LF", " 0D 0A", "\r\n"}, {"Space", " 20", " "},
    {"Null", " 00", ""},  // a zero byte cannot stand in a text: the request's flag tells
    {"None", "", ""},
};
constexpr const EndMode& kStx = kEndModes[0];

const EndMode* findEnd(std::string_view name)
{
    for (const EndMode& mode : kEndModes) {
        if (mode.name == name) {
            return &mode;
        }
    }
    return nullptr;
}

// What all requests of one command share.
struct Transmission {
    const TriggerSender& sender;
    PlatformText content;
    const EndMode* end = &kStx;
    Piece feedback;
    bool readNull = false;
    bool verify = false;
    int sendCount = 1;
};

// What is a request's own.
struct Request {
    const char* data = "";
    int pauses = 0;  // of 5 s each, before the transmitter sends
    int sendCount = 1;
    bool endNone = false;
    bool leading = true;
};

bool pathIsBusy(const TriggerPath& path)
{
    const bool busy = readStatusBool(path.busyFlag).value_or(false);
    if (path.logsBusyFlag) {
        printError("\033[1;31;32m[%s][%d] displayControlStatus=%d \033[0m \r\n", "getDisplayControlStatus", __LINE__,
                   busy ? 1 : 0);
    }
    return busy;
}

void clearBusyFlag(const TriggerPath& path)
{
    if (__logLevels[6] != 0) {
        __printLog(6, " *************C. displayControlStatus off\r\n");
    }
    Document document;
    const bool whole = fill(document, path.busyFlag, false);
    if (!storeStatus(document, whole) && __logLevels[5] != 0) {
        __printLog(5, "1 user_config_update");
    }
}

const TriggerTexts* findTexts(const TriggerSender& sender, std::string_view action)
{
    for (const TriggerAction& known : sender.actions) {
        if (action == known.word) {
            return &known.texts;
        }
    }
    return nullptr;
}

bool readFeedback(const TriggerTexts& texts, Transmission& transmission)
{
    if (texts.feedback == nullptr) {
        return true;
    }
    const PlatformText feedback = readText(texts.feedback);
    const PlatformText feedbackEnd = readText(texts.feedbackEnd);
    if (feedback == nullptr || feedbackEnd == nullptr) {
        return false;
    }
    // Kept: an unknown end leaves no feedback at all.
    if (const EndMode* end = findEnd(feedbackEnd.get())) {
        transmission.feedback.append(feedback.get());
        transmission.feedback.append(end->hex);
        transmission.readNull = end->name == "Null";
    }
    return true;
}

// Nothing when a stored text is missing.
std::optional<Transmission> readTransmission(const TriggerSender& sender, const TriggerTexts& texts)
{
    Transmission transmission{.sender = sender, .content = readText(texts.content), .feedback = {}};
    const PlatformText end = readText(texts.end);
    if (transmission.content == nullptr || end == nullptr || !readFeedback(texts, transmission)) {
        return std::nullopt;
    }
    // Kept: an unknown end is taken for "STX".
    if (const EndMode* known = findEnd(end.get())) {
        transmission.end = known;
    }
    transmission.verify = readBool(boolLeaf<"control.displayControl.output1.triger.command.repeat">).value_or(false);
    if (transmission.verify) {
        transmission.sendCount =
            readInt(intLeaf<"control.displayControl.output1.triger.command.repeatTimes">).value_or(1);
    }
    return transmission;
}

bool endsWithNone(const Transmission& transmission)
{
    return transmission.end->name == "None";
}

Piece withEnd(const Transmission& transmission, std::string_view text)
{
    Piece piece;
    piece.append(text);
    piece.append(transmission.sender.format == TriggerFormat::hexTokens ? transmission.end->hex
                                                                        : transmission.end->raw);
    return piece;
}

// The transmitters expect this very format, its blanks included; nothing in the texts is escaped. A request that does
// not fit is not sent at all: cut off, it would be no JSON.
bool send(const Transmission& transmission, const Request& request)
{
    FixedText<1024> text;
    const bool whole = text.format("{\"displayControl\":{\"fiveSecDelay\":%d ,\"fbVerify\":%d ,\"sendcount\":%d "
                                   ",\"sendData\":\"%s\",\"fbData\":\"%s\",\"fbEndNone\":%d,\"leadingFlag\":%d,"
                                   "\"writeNull\":%d,\"readNull\":%d}}",
                                   request.pauses, transmission.verify ? 1 : 0, request.sendCount, request.data,
                                   transmission.feedback.c_str(), request.endNone ? 1 : 0, request.leading ? 1 : 0,
                                   transmission.end->name == "Null" ? 1 : 0, transmission.readNull ? 1 : 0);
    if (!whole || text.size() >= transmission.sender.requestCapacity) {
        errno = EMSGSIZE;
        return false;
    }
    return lpc_proxy_call(transmission.sender.path.service, "SetCmdOn", text.c_str()) == 0;
}

bool sendReported(const Transmission& transmission, const Request& request)
{
    if (send(transmission, request)) {
        return true;
    }
    reportSystemError("lpc_proxy_call");
    return false;
}

bool sendWhole(const Transmission& transmission)
{
    const Piece data = withEnd(transmission, transmission.content.get());
    const Request request{.data = data.c_str(), .sendCount = transmission.sendCount};
    // Kept: a power or mute command that fails whole is not reported.
    return transmission.sender.format == TriggerFormat::hexTokens ? send(transmission, request)
                                                                  : sendReported(transmission, request);
}

// A command on its way in pieces.
struct Split {
    const Transmission& transmission;
    Piece piece;
    int pauses = 0;
    bool first = true;
};

bool sendPiece(Split& split)
{
    const Piece data = withEnd(split.transmission, split.piece.view());
    const Request request{
        .data = data.c_str(),
        .pauses = split.pauses,
        .sendCount = split.first ? split.transmission.sendCount : 1,
        .endNone = endsWithNone(split.transmission),
        .leading = split.first,
    };
    const bool sent = sendReported(split.transmission, request);
    split.piece.clear();
    split.pauses = 1;
    split.first = false;
    return sent;
}

bool takeSeparator(Split& split)
{
    if (split.piece.empty()) {
        ++split.pauses;
        return true;
    }
    return sendPiece(split);
}

// The last piece is sent even when only its end is left of it.
bool sendHexTokens(Split split)
{
    std::string_view rest(split.transmission.content.get());
    for (std::string_view token = nextPiece(rest, ' '); !token.empty(); token = nextPiece(rest, ' ')) {
        if (token == kSeparatorToken) {
            if (!takeSeparator(split)) {
                return false;
            }
            continue;
        }
        if (!split.piece.empty()) {
            split.piece.append(' ');
        }
        split.piece.append(token);
    }
    return sendPiece(split);
}

bool sendPlainText(Split split)
{
    for (const char character : std::string_view(split.transmission.content.get())) {
        if (character == kSeparator) {
            if (!takeSeparator(split)) {
                return false;
            }
        } else if (split.piece.size() < kPlainPieceLength) {
            split.piece.append(character);
        }
    }
    if (!split.piece.empty()) {
        return sendPiece(split);
    }
    // Kept: a text that leaves no last piece ends with a request that has nothing to send.
    const Request request{
        .pauses = split.pauses,
        .sendCount = 0,
        .endNone = endsWithNone(split.transmission),
        .leading = false,
    };
    return sendReported(split.transmission, request);
}

bool sendSplit(const Transmission& transmission)
{
    Split split{.transmission = transmission, .piece = {}};
    return transmission.sender.format == TriggerFormat::hexTokens ? sendHexTokens(split) : sendPlainText(split);
}

}  // namespace

int sendTrigger(const TriggerSender& sender, const char* action)
{
    if (pathIsBusy(sender.path)) {
        return 1;
    }
    const TriggerTexts* texts = findTexts(sender, action);
    if (texts == nullptr) {
        return kUnknownAction;
    }
    const auto transmission = readTransmission(sender, *texts);
    if (!transmission) {
        return 1;
    }
    const bool waits = readBool(boolLeaf<"control.displayControl.output1.triger.command.commandWait">).value_or(false);
    if (waits ? sendSplit(*transmission) : sendWhole(*transmission)) {
        return 1;
    }
    clearBusyFlag(sender.path);
    return 0;
}

namespace {

// A row's action is known when its sender lists the whole line.
template <const TriggerSender& sender>
Usage triggerUsage(const CommandEntry& row)
{
    UsageForm form = usage::bare("Does nothing.", {{""}});
    if (findTexts(sender, row.name) != nullptr) {
        form.effect = "Sends the stored command to the display, unless the way is busy or a text of it is missing.";
        form.fields = {usage::text("request", 0, 0, "the stored command as JSON")};
        form.calls = {{sender.path.service, "SetCmdOn", "{request}"}};
    }
    return {.forms = {form}, .refusesOthers = false};
}

}  // namespace

void describeTriggers(UsageList& list)
{
    list.push_back({triggerCommand<serialPower>, triggerUsage<serialPower>});
    list.push_back({triggerCommand<serialVolume>, triggerUsage<serialVolume>});
    list.push_back({triggerCommand<networkPower>, triggerUsage<networkPower>});
    list.push_back({triggerCommand<networkVolume>, triggerUsage<networkVolume>});
}
