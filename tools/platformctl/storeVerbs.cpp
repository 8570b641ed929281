#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

#include "platform/factoryData.h"
#include "platform/support/ownership.h"
#include "platformctl/output.h"
#include "platformctl/remedies.h"
#include "platformctl/verbs.h"
#include "support/failure.h"
#include "support/jsonText.h"
#include "support/readAll.h"

namespace verbs {
namespace {

std::string quoted(const std::string& text)
{
    return "'" + text + "'";
}

[[noreturn]] void refuse(const std::string& what, int error, const std::string& remedy)
{
    throw Refused(what + ": " + std::strerror(error) + (remedy.empty() ? "" : "; " + remedy));
}

[[noreturn]] void refuse(const std::string& what, int error)
{
    refuse(what, error, storeRemedy(error));
}

/// Where the stores are; named in messages, since a wrong PLATFORM looks like an empty store.
std::string place()
{
    std::string directory = local::storeDirectory();
    if (directory.empty()) {
        throw Refused("PLATFORM names another engine; local:DIR is the one that platformctl reads");
    }
    return directory;
}

const char* name(local::Store store)
{
    return store == local::Store::settings ? "config" : "status";
}

/// Nothing was found, and not for want of a place to look in: reading makes the directory.
bool isAbsent(int error, const std::string& directory)
{
    return error == ENOENT && access(directory.c_str(), F_OK) == 0;
}

[[noreturn]] void refusePath(local::Store store, const std::string& path, const std::string& directory, int error)
{
    if (isAbsent(error, directory)) {
        throw Refused("nothing at " + quoted(path) + " in " + directory + "; 'platformctl " + name(store) +
                      " dump' shows what is there");
    }
    refuse("the store in " + directory + " cannot be used", error);
}

std::string documentRemedy(local::Store store, int error)
{
    switch (error) {
    case EINVAL:
        return "it takes a JSON object of named leaves, no name empty or with a dot, the first one a word of letters, "
               "digits and _";
    case EEXIST:
        return "a value stands where this has a branch, or a branch where it has a value; 'platformctl " +
               std::string(name(store)) + " unset PATH' takes that away first";
    default: return storeRemedy(error);
    }
}

void writeDocument(local::Store store, const std::string& document, const std::string& what)
{
    const std::string directory = place();
    if (local::update(store, document.c_str()) == 0) {
        return;
    }
    const int error = errno;
    refuse(what + " is refused by the store in " + directory, error, documentRemedy(store, error));
}

/// {"a":{"b":VALUE}} for the path a.b.
std::string documentAt(const std::string& path, const std::string& value)
{
    std::string opening;
    std::string closing;
    std::size_t start = 0;
    while (true) {
        const std::size_t dot = path.find('.', start);
        opening += '{';
        opening += jsonString(path.substr(start, dot - start));
        opening += ':';
        closing += '}';
        if (dot == std::string::npos) {
            return opening + value + closing;
        }
        start = dot + 1;
    }
}

std::string readFile(const std::string& file)
{
    const UniqueFd opened(file == "-" ? -1 : open(file.c_str(), O_RDONLY | O_CLOEXEC));
    try {
        if (file != "-" && !opened) {
            throw std::system_error(errno, std::generic_category());
        }
        return readAll(opened ? opened.get() : STDIN_FILENO);
    } catch (const std::system_error& error) {
        refuse(quoted(file) + " cannot be read", error.code().value(),
               "name a file that holds a JSON document, or - for standard input");
    }
}

}  // namespace

void getValue(local::Store store, const Words& words)
{
    const std::string directory = place();
    const JsonToken token(local::readPath(store, words[0]));
    if (!token && errno != 0) {
        refusePath(store, words[0], directory, errno);
    }
    printJson(token.get());
}

void setValue(local::Store store, const Words& words)
{
    const std::string& value = words[1];
    const std::string json = isJson(value) ? storableJson(value) : jsonString(value);
    writeDocument(store, documentAt(words[0], json), "a value at " + quoted(words[0]));
}

void updateDocument(local::Store store, const Words& words)
{
    writeDocument(store, storableJson(words[0]), "the document");
}

void loadFile(local::Store store, const Words& words)
{
    writeDocument(store, storableJson(readFile(words[0])),
                  words[0] == "-" ? "the document on standard input" : "the document in " + quoted(words[0]));
}

void unsetPath(local::Store store, const Words& words)
{
    const std::string directory = place();
    if (local::unset(store, words[0]) != 0) {
        refusePath(store, words[0], directory, errno);
    }
}

void dumpStore(local::Store store, const Words& words)
{
    const std::string directory = place();
    if (!words.empty() && words[0].empty()) {
        printLine("{}");  // no area is nameless
        return;
    }
    const JsonToken token(words.empty() ? local::dump(store) : local::dump(store, words[0]));
    if (!token) {
        refuse("the store in " + directory + " cannot be read", errno);
    }
    printJson(token.get());
}

void getFactoryItem(const Words& words)
{
    const std::string directory = place();
    char* text = nullptr;
    if (factory_read_data(words[0].c_str(), &text) != 0) {
        const int error = errno;
        if (error != 0 && !isAbsent(error, directory)) {
            refuse("the factory data in " + directory + " cannot be read", error);
        }
    }
    const PlatformText owner(text);
    if (!owner) {
        throw Refused("no factory item " + quoted(words[0]) + " in " + directory +
                      "; 'platformctl factory dump' shows what is there");
    }
    printLine(printableJson(jsonString(owner.get())));
}

void setFactoryItem(const Words& words)
{
    // A factory item is a text whatever it looks like; only a JSON string means what it quotes, so that what `get`
    // printed can be set again.
    std::string value = words[1];
    if (isJson(value)) {
        const std::string json = storableJson(value);
        const JsonToken wrapped(json_token_parse(documentAt("value", json).c_str()));
        if (const char* text = json_token_object_walk_get_string(wrapped.get(), "value", nullptr)) {
            value = text;
            const PlatformText whole(json_token_to_string(json_token_object_walk_get_token(wrapped.get(), "value")));
            if (jsonString(value) != whole.get()) {
                throw Refused("a factory item cannot hold a zero byte");
            }
        }
    }
    const std::string directory = place();
    if (local::writeFactoryData(words[0], value) != 0) {
        refuse("factory item " + quoted(words[0]) + " cannot be written in " + directory, errno);
    }
}

void dumpFactory(const Words& /*words*/)
{
    const std::string directory = place();
    const JsonToken token(local::dumpFactoryData());
    if (!token) {
        refuse("the factory data in " + directory + " cannot be read", errno);
    }
    printJson(token.get());
}

}  // namespace verbs
