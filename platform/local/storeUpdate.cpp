// An update: the document taken apart into leaves, merged in one transaction, its real changes announced.
#include <algorithm>
#include <cerrno>
#include <vector>

#include <sqlite3.h>

#include "platform/local/documentPath.h"
#include "platform/local/publisher.h"
#include "platform/local/store.h"
#include "platform/support/fixedText.h"

namespace local {

namespace {

struct Leaf {
    std::string path;
    std::string text;
    json_object* value;  // borrowed from the document
    bool changed = false;
};

// What a document says, in its own order.
struct Changes {
    JsonObject root;
    std::vector<Leaf> leaves;
    std::vector<std::string> emptyBranches;  // {} changes nothing, but must not stand where a leaf stands
};

// The topic of an area's announcements; empty when the area cannot form one.
class Topic {
public:
    Topic(Store which, std::string_view area)
    {
        const bool whole =
            text_.append(area) && text_.append(which == Store::settings ? "UserConfigChanged" : "StatusConfigChanged");
        if (!whole || !isTopic(text_.view())) {
            text_.clear();
        }
    }
    [[nodiscard]] bool empty() const { return text_.empty(); }
    [[nodiscard]] const char* c_str() const { return text_.c_str(); }

private:
    FixedText<256> text_;
};

Origin originOf(Store which)
{
    return which == Store::settings ? Origin::settings : Origin::status;
}

std::string_view areaOf(std::string_view path)
{
    return path.substr(0, path.find('.'));
}

bool collect(json_object* branch, const std::string& prefix, Changes& changes)
{
    json_object_iterator member = json_object_iter_begin(branch);
    const json_object_iterator end = json_object_iter_end(branch);
    for (; json_object_iter_equal(&member, &end) == 0; json_object_iter_next(&member)) {
        const char* key = json_object_iter_peek_name(&member);
        if (!isKey(key)) {
            return false;
        }
        json_object* value = json_object_iter_peek_value(&member);
        const std::string path = prefix.empty() ? std::string(key) : prefix + '.' + key;
        if (json_object_is_type(value, json_type_object) == 0) {
            if (!normaliseNumbers(value)) {
                return false;
            }
            changes.leaves.push_back({.path = path, .text = std::string(jsonText(value)), .value = value});
        } else if (json_object_object_length(value) == 0) {
            changes.emptyBranches.push_back(path);
        } else if (!collect(value, path, changes)) {
            return false;
        }
    }
    return true;
}

bool parse(Store which, const char* document, Changes& changes)
{
    changes.root.reset(document != nullptr ? json_tokener_parse(document) : nullptr);
    if (json_object_is_type(changes.root.get(), json_type_object) == 0 || !collect(changes.root.get(), {}, changes)) {
        return false;
    }
    json_object_iterator area = json_object_iter_begin(changes.root.get());
    const json_object_iterator end = json_object_iter_end(changes.root.get());
    for (; json_object_iter_equal(&area, &end) == 0; json_object_iter_next(&area)) {
        if (Topic(which, json_object_iter_peek_name(&area)).empty()) {
            return false;
        }
    }
    return true;
}

// The same value, maybe written otherwise: 1.5 and 1.50.
bool sameValue(const Leaf& leaf, std::string_view stored)
{
    if (leaf.text == stored) {
        return true;
    }
    if (json_object_is_type(leaf.value, json_type_double) == 0 &&
        json_object_is_type(leaf.value, json_type_array) == 0) {
        return false;
    }
    return json_object_equal(leaf.value, parseJson(stored).get()) != 0;
}

// One event for each area with a change, holding the changed leaves alone. A change that cannot be announced is stored
// all the same.
void announce(Store which, const Changes& changes)
{
    std::string_view announced;
    for (const Leaf& first : changes.leaves) {
        const std::string_view area = areaOf(first.path);
        // The leaves of an area stand together, as they do in the document.
        if (!first.changed || area == announced) {
            continue;
        }
        announced = area;
        const JsonObject news(json_object_new_object());
        for (const auto* leaf = &first; leaf <= &changes.leaves.back() && areaOf(leaf->path) == area; ++leaf) {
            if (leaf->changed) {
                placeAt(news.get(), leaf->path, JsonObject(json_object_get(leaf->value)));
            }
        }
        publish(originOf(which), Topic(which, area).c_str(), jsonText(news.get()));
    }
}

}  // namespace

class StoreUpdate {
public:
    StoreUpdate(StoreConnection& store, Changes& changes) : store_(store), changes_(changes) {}

    // False with errno set.
    bool run()
    {
        bool unchanged = false;
        if (!findUnchanged(unchanged)) {
            return false;
        }
        if (unchanged) {
            return true;
        }
        if (!store_.beginWrite_.run()) {
            return false;
        }
        if (merge() && finish()) {
            return true;
        }
        const int error = errno;
        store_.rollback_.run();  // fails when SQLite has rolled back by itself
        errno = error;
        return false;
    }

private:
    // Whether the document says what already stands: then nothing is written and no writer is waited for. One
    // transaction, so that all leaves are read from one state of the store.
    bool findUnchanged(bool& unchanged)
    {
        if (!store_.beginRead_.run()) {
            return false;
        }
        unchanged = changes_.emptyBranches.empty();
        bool read = true;
        for (const Leaf& leaf : changes_.leaves) {
            if (!unchanged || !read) {
                break;
            }
            read = compare(leaf, unchanged);
        }
        const int error = errno;
        const bool ended = store_.commit_.run();
        if (!read) {
            errno = error;
        }
        return read && ended;
    }

    // Whether the leaf stands in the store with this value. False with errno set when that cannot be told.
    bool compare(const Leaf& leaf, bool& same)
    {
        same = false;
        return store_.readLeaf(leaf.path, [&](std::string_view stored) { same = sameValue(leaf, stored); }) ||
               errno == ENOENT;
    }

    bool merge()
    {
        for (const std::string& branch : changes_.emptyBranches) {
            if (!nothingAt(branch) || !noLeafAbove(branch)) {
                return false;
            }
        }
        for (Leaf& leaf : changes_.leaves) {
            bool exists = false;
            bool same = false;
            const auto check = [&](std::string_view stored) {
                exists = true;
                same = sameValue(leaf, stored);
            };
            if (!store_.readLeaf(leaf.path, check) && errno != ENOENT) {
                return false;
            }
            if (same) {
                continue;
            }
            if (!exists && (!noLeafAbove(leaf.path) || !nothingBelow(leaf.path))) {
                return false;
            }
            store_.put_.bind(1, leaf.path);
            store_.put_.bind(2, leaf.text);
            if (!store_.put_.run()) {
                return false;
            }
            leaf.changed = true;
        }
        return true;
    }

    // Another process may have written the same in the meantime: then there is nothing to write either.
    bool finish()
    {
        for (const Leaf& leaf : changes_.leaves) {
            if (leaf.changed) {
                return store_.commit_.run();
            }
        }
        return store_.rollback_.run();
    }

    // No leaf where the document has a branch. Leaves of one branch follow each other, so that the branch looked at
    // last is remembered.
    bool noLeafAbove(const std::string& path)
    {
        const std::size_t lastDot = path.rfind('.');
        const std::string parent = lastDot != std::string::npos ? path.substr(0, lastDot) : std::string();
        if (parent == clearParent_) {
            return true;
        }
        for (std::size_t dot = path.find('.'); dot != std::string::npos; dot = path.find('.', dot + 1)) {
            if (!nothingAt(std::string_view(path).substr(0, dot))) {
                return false;
            }
        }
        clearParent_ = parent;
        return true;
    }

    bool nothingAt(std::string_view path)
    {
        if (store_.readLeaf(path, [](std::string_view) {})) {
            errno = EEXIST;
            return false;
        }
        return errno == ENOENT;
    }

    // No branch where the document has a leaf.
    bool nothingBelow(std::string_view path)
    {
        const SubtreeRange range(path);
        const StatementUse use(store_.below_);
        store_.below_.bind(1, range.from);
        store_.below_.bind(2, range.to);
        switch (store_.below_.step()) {
        case Statement::Step::done: return true;
        case Statement::Step::row: errno = EEXIST; return false;
        default: return false;
        }
    }

    StoreConnection& store_;
    Changes& changes_;
    std::string clearParent_;
};

int StoreConnection::updateAny(const char* document, bool announced)
{
    Changes changes;
    if (!parse(which_, document, changes)) {
        errno = EINVAL;
        return -1;
    }
    if (!StoreUpdate(*this, changes).run()) {
        return -1;
    }
    if (announced) {
        announce(which_, changes);
    }
    if (std::any_of(changes.leaves.begin(), changes.leaves.end(), [](const Leaf& leaf) { return leaf.changed; })) {
        tender_.tend();
    }
    return 0;
}

// A leaf that stands in the store already and whose value can be told by its text alone: one statement, which does
// nothing when somebody else was faster. Of a command that changes a setting this and the parsing without json-c save
// 40,000 of 115,000 instructions and, the disk apart, 38 of 133 us.
StoreConnection::Replaced StoreConnection::replaceLeaf(const PlainDocument& document)
{
    FixedText<256> before;
    bool fits = false;
    if (!readLeaf(document.path(), [&](std::string_view stored) { fits = before.append(stored); })) {
        return errno == ENOENT ? Replaced::otherwise : Replaced::failed;
    }
    if (!fits) {
        return Replaced::otherwise;
    }
    if (before.view() == document.value()) {
        return Replaced::unchanged;
    }
    replace_.bind(1, document.path());
    replace_.bind(2, document.value());
    replace_.bind(3, before.view());
    if (!replace_.run()) {
        return Replaced::failed;
    }
    if (sqlite3_changes(database_.get()) != 1) {
        return Replaced::otherwise;
    }
    memory_.replaced(document.path(), document.value());
    return Replaced::yes;
}

int StoreConnection::updatePlain(const PlainDocument& document, bool announced)
{
    const Topic topic(which_, areaOf(document.path()));
    if (topic.empty()) {
        errno = EINVAL;
        return -1;
    }
    switch (replaceLeaf(document)) {
    case Replaced::yes:
        if (announced) {
            publish(originOf(which_), topic.c_str(), document.text());
        }
        tender_.tend();
        return 0;
    case Replaced::unchanged: return 0;
    case Replaced::failed: return -1;
    case Replaced::otherwise: break;
    }
    return updateAny(document.text().data(), announced);
}

int StoreConnection::update(const char* document, bool announced)
{
    const int kept = errno;
    PlainDocument plain;
    const bool isPlain = document != nullptr && plain.parse(document) && plain.isCanonical();
    const int result = isPlain ? updatePlain(plain, announced) : updateAny(document, announced);
    if (result == 0) {
        errno = kept;
    }
    return result;
}

int update(Store store, const char* document)
{
    StoreConnection* connection = StoreConnection::ofThread(store);
    return connection != nullptr ? connection->update(document) : -1;
}

int updateSilently(Store store, const char* document)
{
    StoreConnection* connection = StoreConnection::ofThread(store);
    return connection != nullptr ? connection->update(document, false) : -1;
}

}  // namespace local
