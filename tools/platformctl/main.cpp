// platformctl: the platform from a shell. Reads the words; the work is in verbs.h.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <exception>
#include <span>
#include <string>
#include <string_view>

#include "platformctl/verbs.h"
#include "support/failure.h"

namespace {

constexpr char kHelp[] =
    R"(platformctl reads and changes what a receiver's programs share, and speaks on their bus.

  platformctl config  get PATH | set PATH VALUE | update DOCUMENT | load FILE|- | unset PATH | dump [AREA]
  platformctl status  get PATH | set PATH VALUE | update DOCUMENT | load FILE|- | unset PATH | dump [AREA]
  platformctl factory get KEY | set KEY VALUE | dump
  platformctl event   publish TOPIC [TEXT] | watch [TOPIC...]
  platformctl lpc     call SERVICE METHOD [TEXT] | serve SERVICE [METHOD...] [--reply TEXT] [--fail] [--delay MS]
  platformctl --help | --version

config is the settings store, status the live state, factory the identity of the device.

  PATH      dotted, such as audio.audOut.allMute; AREA is its first word.
  VALUE     JSON; what is no JSON is taken as a string. A factory item is always a text.
  DOCUMENT  a JSON object whose leaves are merged into the store. set, update and load announce what they change.
  TEXT      "" is an empty text, a TEXT left out is none. For publish, - reads it from standard input.

get and dump print JSON on one line. watch and serve print one JSON object a line, first {"ready":true}, until SIGTERM
or SIGINT. In JSON, bytes that are no UTF-8 stand as \udc80 to \udcff; set, update and load turn these back.
Words after PATH, KEY, TOPIC, SERVICE and METHOD are never taken for options, save those of serve; -- ends options.

serve answers METHODs (none named: every one): --reply TEXT is the data sent back, --fail answers with an error,
--delay MS waits that many milliseconds first. It serves again when a bus that went away is back; watch ends with 1.

Environment: PLATFORM=local:DIR names the place of the stores (default local:/var/lib/receiver);
DBUS_SESSION_BUS_ADDRESS names the bus (unset: the system bus).

Exit status: 0 done, 1 absent or refused, 2 wrong usage.
)";

constexpr std::size_t kAnyNumber = static_cast<std::size_t>(-1);

/// A verb of one or of both stores.
struct Verb {
    const char* group;
    const char* name;
    const char* operands;
    std::size_t least;
    std::size_t most;
    void (*run)(const verbs::Words&);
};

template <local::Store store, void (*verb)(local::Store, const verbs::Words&)>
void inStore(const verbs::Words& words)
{
    verb(store, words);
}

constexpr auto kSettings = local::Store::settings;
constexpr auto kStatus = local::Store::status;

constexpr Verb kVerbs[] = {
    {"config", "get", "PATH", 1, 1, inStore<kSettings, verbs::getValue>},
    {"config", "set", "PATH VALUE", 2, 2, inStore<kSettings, verbs::setValue>},
    {"config", "update", "DOCUMENT", 1, 1, inStore<kSettings, verbs::updateDocument>},
    {"config", "load", "FILE|-", 1, 1, inStore<kSettings, verbs::loadFile>},
    {"config", "unset", "PATH", 1, 1, inStore<kSettings, verbs::unsetPath>},
    {"config", "dump", "[AREA]", 0, 1, inStore<kSettings, verbs::dumpStore>},
    {"status", "get", "PATH", 1, 1, inStore<kStatus, verbs::getValue>},
    {"status", "set", "PATH VALUE", 2, 2, inStore<kStatus, verbs::setValue>},
    {"status", "update", "DOCUMENT", 1, 1, inStore<kStatus, verbs::updateDocument>},
    {"status", "load", "FILE|-", 1, 1, inStore<kStatus, verbs::loadFile>},
    {"status", "unset", "PATH", 1, 1, inStore<kStatus, verbs::unsetPath>},
    {"status", "dump", "[AREA]", 0, 1, inStore<kStatus, verbs::dumpStore>},
    {"factory", "get", "KEY", 1, 1, verbs::getFactoryItem},
    {"factory", "set", "KEY VALUE", 2, 2, verbs::setFactoryItem},
    {"factory", "dump", "", 0, 0, verbs::dumpFactory},
    {"event", "publish", "TOPIC [TEXT]", 1, 2, verbs::publishEvent},
    {"event", "watch", "[TOPIC...]", 0, kAnyNumber, verbs::watchEvents},
    {"lpc", "call", "SERVICE METHOD [TEXT]", 2, 3, verbs::callMethod},
    {"lpc", "serve", "SERVICE [METHOD...] [--reply TEXT] [--fail] [--delay MS]", 1, kAnyNumber, verbs::serveMethods},
};

using Arguments = std::span<char* const>;

bool asksForHelp(std::string_view word)
{
    return word == "--help" || word == "-h";
}

/// The names of the verbs that stand in this group, or of the groups when none is given.
std::string names(std::string_view group = {})
{
    std::string list;
    std::string_view last;
    for (const Verb& verb : kVerbs) {
        const std::string_view name = group.empty() ? verb.group : verb.name;
        if ((group.empty() || group == verb.group) && name != last) {
            list += (list.empty() ? "" : ", ") + std::string(name);
            last = name;
        }
    }
    return list;
}

const Verb& findVerb(const std::string& group, Arguments words)
{
    if (group.empty() || names(group).empty()) {
        throw WrongUsage("'" + group + "' is none of " + names() + "; see platformctl --help");
    }
    if (words.empty()) {
        throw WrongUsage(group + " takes one of " + names(group) + "; see platformctl --help");
    }
    for (const Verb& verb : kVerbs) {
        if (group == verb.group && std::string_view(words[0]) == verb.name) {
            return verb;
        }
    }
    throw WrongUsage("'" + std::string(words[0]) + "' is none of " + names(group) + ", which " + group + " takes");
}

void run(Arguments words)
{
    if (words.empty()) {
        throw WrongUsage("one of " + names() + " must follow; see platformctl --help");
    }
    const std::string group = words[0];
    if (asksForHelp(group) || (words.size() > 1 && asksForHelp(words[1]))) {
        std::fputs(kHelp, stdout);
        return;
    }
    if (group == "--version") {
        std::puts("platformctl " RECEIVER_VERSION);
        return;
    }
    const Verb& verb = findVerb(group, words.subspan(1));
    words = words.subspan(2);
    // Only the first word can be an option: what follows a PATH or a TOPIC is never taken for one. serve sorts its own.
    const std::string_view first = words.empty() ? "" : words[0];
    if (asksForHelp(first)) {
        std::fputs(kHelp, stdout);
        return;
    }
    const std::string use = "platformctl " + group + " " + verb.name + " " + verb.operands;
    const bool takesOptions = verb.run == verbs::serveMethods;
    if (first == "--" && !takesOptions) {
        words = words.subspan(1);
    } else if (first.starts_with("-") && first != "-" && !takesOptions) {
        throw WrongUsage("no option '" + std::string(first) + "' here; -- before it makes it a word: " + use);
    }
    if (words.size() < verb.least) {
        throw WrongUsage("a word is missing: " + use);
    }
    if (words.size() > verb.most) {
        throw WrongUsage("'" + std::string(words[verb.most]) + "' is one word too many: " + use);
    }
    verb.run({words.begin(), words.end()});
}

int report(const std::exception& failure, int status)
{
    // One line, whatever was typed.
    std::string line = failure.what();
    std::replace_if(
        line.begin(), line.end(), [](unsigned char byte) { return std::iscntrl(byte) != 0; }, '?');
    std::fprintf(stderr, "platformctl: %s\n", line.c_str());
    return status;
}

}  // namespace

int main(int count, char** arguments)
{
    try {
        run(Arguments(arguments, static_cast<std::size_t>(count)).subspan(1));
    } catch (const WrongUsage& failure) {
        return report(failure, kWrongUsage);
    } catch (const std::exception& failure) {
        return report(failure, kRefused);
    }
    return kDone;
}
