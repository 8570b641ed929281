#include "bench/completion.h"

#include <algorithm>
#include <json-c/json.h>
#include <memory>

#include "bench/commandsText.h"

namespace {

struct Command {
    std::string name;
    std::vector<std::string> words;
};

struct PutObject {
    void operator()(json_object* object) const { json_object_put(object); }
};

std::vector<Command> readCommands()
{
    const std::string text(commandsText());
    const std::unique_ptr<json_object, PutObject> document(json_tokener_parse(text.c_str()));
    json_object* list = document.get();
    if (json_object_is_type(list, json_type_object) != 0) {
        json_object_object_get_ex(document.get(), "commands", &list);
    }
    std::vector<Command> commands;
    for (std::size_t at = 0; at < json_object_array_length(list); ++at) {
        json_object* entry = json_object_array_get_idx(list, at);
        Command command{json_object_get_string(json_object_object_get(entry, "name")), {}};
        json_object* words = json_object_object_get(entry, "argumentWords");
        for (std::size_t word = 0; words != nullptr && word < json_object_array_length(words); ++word) {
            command.words.emplace_back(json_object_get_string(json_object_array_get_idx(words, word)));
        }
        commands.push_back(std::move(command));
    }
    return commands;
}

const std::vector<Command>& commands()
{
    static const std::vector<Command> list = readCommands();
    return list;
}

/// The first command whose name begins the line and is followed by a blank.
const Command* commandOf(std::string_view line)
{
    const auto found = std::find_if(commands().begin(), commands().end(), [&](const Command& command) {
        return line.starts_with(command.name) && line.substr(command.name.size()).starts_with(' ');
    });
    return found == commands().end() ? nullptr : &*found;
}

void addMatching(const std::string& word, std::string_view typed, std::vector<std::string>& found)
{
    if (std::string_view(word).starts_with(typed) && std::find(found.begin(), found.end(), word) == found.end()) {
        found.push_back(word);
    }
}

}  // namespace

std::vector<std::string> completions(std::string_view line, std::size_t& replaced)
{
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    std::vector<std::string> found;
    for (const Command& command : commands()) {
        const std::string name = command.words.empty() ? command.name : command.name + ' ';
        if (name != line) {
            addMatching(name, line, found);  // a name may hold blanks itself
        }
    }
    replaced = line.size();
    const Command* command = commandOf(line);
    if (!found.empty() || command == nullptr) {
        return found;
    }
    std::string_view argument = line.substr(command->name.size());
    argument.remove_prefix(std::min(argument.find_first_not_of(' '), argument.size()));
    for (const std::string& word : command->words) {
        addMatching(word, argument, found);
    }
    replaced = argument.size();
    return found;
}
