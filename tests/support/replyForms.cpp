#include "support/replyForms.h"

#include <algorithm>
#include <json-c/json.h>
#include <memory>
#include <set>
#include <stdexcept>

#include "support/recordingPlatform.h"

namespace {

// Every leaf of the state that a bench starts from.
void seed(recording::Store store, const std::string& path, json_object* value)
{
    if (json_object_is_type(value, json_type_object) == 0) {
        recording::put(store, path, json_object_to_json_string(value));
        return;
    }
    json_object_object_foreach(value, key, below)
    {
        seed(store, path.empty() ? key : path + '.' + key, below);
    }
}

// Rows that answer in forms of their own: reports of several lines, and texts without the row's name.
const std::set<std::string_view>& rowsWithOwnForms()
{
    static const std::set<std::string_view> names{
        "help",      "techelp", "Version", "System",  "Type",      "Status",       "IPCFG",   "IPAddUser",
        "IPDelUser", "SFabMac", "RFabMac", "SFabSN",  "RFabSN",    "RFabVID",      "RFabPID", "SFabPID",
        "debug",     "cypdbg",  "dbg977",  "Quillon", "VidOutRes", "PrefTimg list"};
    return names;
}

bool wholeLines(std::string_view reply)
{
    for (std::size_t at = reply.find('\n'); at != std::string_view::npos; at = reply.find('\n', at + 1)) {
        if (at == 0 || reply[at - 1] != '\r') {
            return false;
        }
    }
    return true;
}

}  // namespace

bool isReplyForm(const CommandEntry* row, const std::string& line, std::string_view reply, TextsOf texts)
{
    if (reply.empty()) {
        return row != nullptr;
    }
    const std::string_view name = row != nullptr ? row->name : "";
    const std::string end = name == "EDIDOut1" ? "\n" : "\r\n";
    if (reply == "Command FAILED: (" + line + ')' + end || (row != nullptr && reply == line + end)) {
        return true;
    }
    if (row == nullptr || name == "EDIDOut1") {
        return false;
    }
    if (name == "PictureRst" && reply == "Command FAILED\r\n") {
        return true;
    }
    const bool lineEndsInTexts = texts == TextsOf::peers;
    if (!reply.ends_with("\r\n") || !(lineEndsInTexts || wholeLines(reply))) {
        return false;
    }
    if (rowsWithOwnForms().contains(name)) {
        return true;
    }
    const bool oneLine = lineEndsInTexts || reply.find('\n') == reply.size() - 1;
    const std::string_view rest = reply.substr(std::min(name.size(), reply.size()));
    return oneLine && reply.starts_with(name) &&
           (rest.starts_with(' ') || (rest.starts_with('[') && rest.ends_with("]\r\n")) || rest == "\r\n");
}

void seedFromFile(const char* path)
{
    const std::unique_ptr<json_object, int (*)(json_object*)> state(json_object_from_file(path), json_object_put);
    json_object* part = nullptr;
    if (!state || json_object_object_get_ex(state.get(), "settings", &part) == 0) {
        throw std::runtime_error("no factory state");
    }
    seed(recording::Store::settings, {}, part);
    json_object_object_get_ex(state.get(), "status", &part);
    seed(recording::Store::status, {}, part);
    json_object_object_get_ex(state.get(), "factory", &part);
    json_object_object_foreach(part, key, value)
    {
        recording::setFactoryData(key, json_object_get_string(value));
    }
}
