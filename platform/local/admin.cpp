// The stores as platformctl sees them.
#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "platform/local/local.h"
#include "platform/local/store.h"

namespace local {

std::string storeDirectory()
{
    constexpr std::string_view kScheme = "local:";
    const char* variable = std::getenv("PLATFORM");
    const std::string_view url =
        variable != nullptr && *variable != '\0' ? variable : std::string_view("local:/var/lib/receiver");
    return url.substr(0, kScheme.size()) == kScheme ? std::string(url.substr(kScheme.size())) : std::string();
}

json_token* readPath(Store store, const std::string& path)
{
    if (path.empty()) {
        errno = ENOENT;
        return nullptr;
    }
    JsonObject tree(dump(store, path));
    if (!tree) {
        return nullptr;
    }
    json_object* here = tree.get();
    for (std::size_t from = 0; from <= path.size();) {
        const std::size_t dot = std::min(path.find('.', from), path.size());
        if (json_object_object_get_ex(here, path.substr(from, dot - from).c_str(), &here) == 0) {
            errno = ENOENT;
            return nullptr;
        }
        from = dot + 1;
    }
    errno = 0;  // json-c's value null is a null pointer as well
    return json_object_get(here);
}

json_token* dump(Store store, const std::string& area)
{
    StoreConnection* connection = StoreConnection::ofThread(store);
    if (connection == nullptr) {
        return nullptr;
    }
    JsonObject tree = connection->readTree(area);
    if (!tree && errno == ENOENT) {
        tree.reset(json_object_new_object());
    }
    return tree.release();
}

int unset(Store store, const std::string& path)
{
    StoreConnection* connection = StoreConnection::ofThread(store);
    return connection != nullptr ? connection->remove(path) : -1;
}

}  // namespace local
