// The store path that a row's JSON template names.
#pragma once

#include <string>
#include <string_view>

/// {"system":{"debug":%s}} names system.debug; empty for what is no template.
inline std::string leafPath(std::string_view jsonTemplate)
{
    std::string path;
    if (!jsonTemplate.starts_with("{\"")) {
        return path;
    }
    for (std::size_t at = 0; jsonTemplate.substr(at).starts_with("{\"");) {
        const std::size_t end = jsonTemplate.find("\":", at);
        path += (path.empty() ? "" : ".") + std::string(jsonTemplate.substr(at + 2, end - at - 2));
        at = end + 2;
    }
    return path;
}
