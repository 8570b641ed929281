#include "bench/trace.h"

#include <cstdio>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "bench/notes.h"
#include "bench/receiver.h"
#include "bench/stores.h"
#include "support/jsonText.h"
#include "transcript/text.h"
#include "transcript/transcript.h"

namespace {

// SGR codes (ECMA-48).
constexpr char kTyped[] = "1";
constexpr char kReplied[] = "32";
constexpr char kEvent[] = "36";
constexpr char kStore[] = "35";
constexpr char kCall[] = "33";
constexpr char kTrouble[] = "31";

/// Bytes that were typed, line by line, as the lines of a transcript.
std::vector<std::string> typedLines(const std::string& bytes)
{
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < bytes.size();) {
        const std::size_t end = bytes.find_first_of("\r\n", start);
        transcript::Step step;
        step.bytes = bytes.substr(start, end == std::string::npos ? end : end + 1 - start);
        start += step.bytes.size();
        lines.push_back(toLine(step));
    }
    return lines;
}

std::string textWord(const std::optional<std::string>& text)
{
    if (!text) {
        return {};
    }
    return text->empty() ? " \"\"" : " " + escaped(*text);
}

}  // namespace

void noteHappening(const Happening& happening)
{
    const auto inJson = [&] { return printableJson(jsonString(happening.text.value_or(""))); };
    switch (happening.kind) {
    case Happening::Kind::peerCall:
        noteFrom(happening.service, happening.name + (happening.text ? " " + inJson() : ""));
        break;
    case Happening::Kind::command: noteFrom("command", printableJson(happening.text.value_or(""))); break;
    case Happening::Kind::linkPrinted: noteFrom(happening.service, inJson()); break;
    case Happening::Kind::note: noteFrom(happening.service, happening.text.value_or("")); break;
    default: break;
    }
}

void Trace::see(const Happening& happening)
{
    using Kind = Happening::Kind;
    const bool callOfBench = happening.by == getpid() && happening.kind != Kind::event;
    switch (happening.kind) {
    case Kind::typed:
        for (const std::string& line : looks_.console ? typedLines(*happening.text) : std::vector<std::string>()) {
            print(happening, kTyped, line);
        }
        break;
    case Kind::printed:
        for (const std::string& line :
             looks_.console ? transcript::replyLines(*happening.text) : std::vector<std::string>()) {
            print(happening, kReplied, line);
        }
        break;
    case Kind::linkPrinted: print(happening, kReplied, "hdbt " + escaped(*happening.text)); break;
    case Kind::event:
        if (!Receiver::isMark(happening)) {
            printEvent(happening);
        }
        break;
    case Kind::call:
        if (!callOfBench) {
            print(happening, kCall, toLine(transcript::Call{happening.service, happening.name, happening.text}));
        }
        break;
    case Kind::answer:
        if (!callOfBench) {
            print(happening, kCall, "answer " + happening.service + " " + happening.name + textWord(happening.text));
        }
        break;
    case Kind::failure:
        if (!callOfBench) {
            print(happening, kTrouble, "failed " + happening.service + " " + happening.name + textWord(happening.text));
        }
        break;
    case Kind::command: print(happening, kTrouble, "run " + escaped(*happening.text)); break;
    case Kind::note: print(happening, kTrouble, happening.service + " " + happening.text.value_or("")); break;
    case Kind::peerCall: break;  // told as a call already
    }
}

void Trace::printEvent(const Happening& happening)
{
    if (happening.service != "publisher") {
        for (const auto& [path, json] : leavesOf(happening.text.value_or(""))) {
            print(happening, kStore, "store " + happening.service + " " + path + " " + escaped(json));
        }
    }
    print(happening, kEvent, toLine(transcript::Event{happening.service, happening.name, happening.text}));
}

void Trace::print(const Happening& happening, const char* colour, const std::string& text)
{
    const double seconds = std::chrono::duration<double>(happening.time - start_).count();
    char begin[64];
    std::snprintf(begin, sizeof begin, "%8.3f %-12.20s ", seconds, whoIs(happening).c_str());
    if (!looks_.coloured) {
        note(begin + text);
        return;
    }
    note("\x1b[2m" + std::string(begin) + "\x1b[0;" + colour + "m" + text + "\x1b[0m");
}

std::string Trace::whoIs(const Happening& happening)
{
    using Kind = Happening::Kind;
    switch (happening.kind) {
    case Kind::typed:
    case Kind::printed: return "console";
    case Kind::linkPrinted: return "internalComd";
    case Kind::command: return "shell";
    case Kind::note: return "bench";
    default: break;
    }
    if (happening.by == 0) {
        return "another";
    }
    const auto known = names_.find(happening.by);
    if (known != names_.end()) {
        return known->second;
    }
    // proc(5): the name has at most 15 bytes; a process that is gone has none.
    std::string name;
    std::getline(std::ifstream("/proc/" + std::to_string(happening.by) + "/comm"), name);
    return names_[happening.by] = name.empty() ? std::to_string(happening.by) : name;
}
