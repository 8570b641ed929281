// The leaf or subtree a query document points at: {"control":{"ledMode":false}} is control.ledMode.
#pragma once

#include <string>
#include <string_view>

#include "platform/local/plainDocument.h"

namespace local {

class DocumentPath {
public:
    /// False with errno EINVAL when the document does not consist of nested single-member objects. An empty object at
    /// the top yields the empty path, which is the whole store.
    bool parse(const char* document);

    [[nodiscard]] std::string_view text() const { return path_; }

private:
    bool parseAny(const char* document);

    PlainDocument plain_;
    std::string any_;
    std::string_view path_;
};

/// Keys stand in dotted paths, so that none is empty or holds a dot.
bool isKey(std::string_view key);

}  // namespace local
