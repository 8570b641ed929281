// One thread's connection to one store, with its statements: opened at the thread's first use, closed when it ends.
#pragma once

#include <cerrno>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>

#include "platform/local/database.h"
#include "platform/local/jsonTree.h"
#include "platform/local/leafMemory.h"
#include "platform/local/local.h"
#include "platform/local/logTender.h"
#include "platform/local/plainDocument.h"

namespace local {

/// The leaves below a path stand between "path." and "path/", because '/' follows '.' in ASCII.
struct SubtreeRange {
    explicit SubtreeRange(std::string_view path) : from(std::string(path) + '.'), to(std::string(path) + '/') {}
    std::string from;
    std::string to;
};

class StoreConnection {
public:
    enum class Use { query, update };

    /// Null with errno set when the store cannot be opened. Whether the file still is the store is asked of the file
    /// system (1.2 us), before every update and once a tick of the kernel's clock before queries.
    static StoreConnection* ofThread(Store which, Use use = Use::update);

    /// Calls take(text of the leaf). False with errno set (ENOENT: no such leaf).
    template <class Take>
    bool readLeaf(std::string_view path, Take take)
    {
        // A transaction reads one state of the store, and its own changes.
        if (inTransaction()) {
            return readStored(path, take);
        }
        if (const LeafMemory::Leaf* leaf = memory_.recall(path)) {
            if (leaf->exists) {
                take(leaf->text);
            } else {
                errno = ENOENT;
            }
            return leaf->exists;
        }
        const auto takeAndRemember = [&](std::string_view text) {
            memory_.remember(path, {.exists = true, .text = text});
            take(text);
        };
        const bool found = readStored(path, takeAndRemember);
        if (!found && errno == ENOENT) {
            memory_.remember(path, {.exists = false, .text = {}});
        }
        return found;
    }

    /// Without the memory.
    template <class Take>
    bool readStored(std::string_view path, Take take)
    {
        const StatementUse use(leaf_);
        leaf_.bind(1, path);
        switch (leaf_.step()) {
        case Statement::Step::row: take(leaf_.column(0)); return true;
        case Statement::Step::done: errno = ENOENT; return false;
        default: return false;
        }
    }

    /// The leaf or the subtree at path (empty: the whole store) under its full path; null with errno set (ENOENT:
    /// nothing there).
    JsonObject readTree(std::string_view path);

    /// Merges a document, and announces what changed unless it is to tell nobody. 0, or -1 with errno set.
    int update(const char* document, bool announced = true);

    /// Removes the leaf or subtree at path. 0, or -1 with errno set (ENOENT: nothing there).
    int remove(std::string_view path);

private:
    friend class StoreUpdate;

    explicit StoreConnection(Store which) : which_(which) {}
    enum class Replaced { yes, unchanged, failed, otherwise };

    bool open();
    // Whether the file is to be asked for, which then counts for this tick.
    bool isToBeLookedAt(Use use);
    [[nodiscard]] bool inTransaction() const;
    Replaced replaceLeaf(const PlainDocument& document);
    int updatePlain(const PlainDocument& document, bool announced);
    int updateAny(const char* document, bool announced);

    Store which_;
    timespec lookedAt_{};
    Database database_;
    Statement leaf_;
    Statement tree_;
    Statement all_;
    Statement below_;
    Statement put_;
    Statement replace_;
    Statement removeTree_;
    Statement beginRead_;
    Statement beginWrite_;
    Statement commit_;
    Statement rollback_;
    LeafMemory memory_;
    LogTender tender_;
};

}  // namespace local
