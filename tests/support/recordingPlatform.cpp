#include "support/recordingPlatform.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <string_view>
#include <sys/eventfd.h>
#include <unistd.h>
#include <unordered_map>
#include <utility>

#include <json-c/json.h>

#include "platform/commandRunner.h"
#include "platform/factoryData.h"
#include "platform/logger.h"
#include "platform/store.h"
#include "platform/support/ownership.h"

using recording::Fault;
using recording::PeerAnswer;
using recording::Store;

namespace {

using Text = std::optional<std::string>;
using Leaves = std::map<std::string, std::string>;

Text asText(const char* text)
{
    return text != nullptr ? Text(text) : std::nullopt;
}

// A counter that poll(2) sees while it is above zero.
class Signal {
public:
    Signal() : fd_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}
    void raise() const { eventfd_write(fd_.get(), 1); }
    void clear() const
    {
        eventfd_t value = 0;
        eventfd_read(fd_.get(), &value);
    }
    [[nodiscard]] int fd() const { return fd_.get(); }

private:
    UniqueFd fd_;
};

struct FaultState {
    int times = 0;
    int error = 0;
    int after = 0;

    bool strikes()
    {
        if (times == 0) {
            return false;
        }
        if (after > 0) {
            --after;
            return false;
        }
        if (times > 0) {
            --times;
        }
        errno = error;
        return true;
    }
};

}  // namespace

struct eventbus {
    struct Subscription {
        std::string topic;
        eventbus_callback callback;
        void* context;
    };
    struct Waiting {
        std::string topic;
        Text payload;
    };
    Signal signal;
    std::vector<Subscription> subscriptions;
    std::deque<Waiting> queue;
    bool delivering = false;
};

struct lpc_request {
    std::string method;
    Text params;
    std::function<void()> work;  // in place of a method
    bool completed = false;
    bool served = false;
    int error = 0;
};

struct lpc_service {
    struct Method {
        std::string name;
        lpc_method_handler handler;
    };
    std::string name;
    std::vector<Method> methods;
    void* context = nullptr;
    Signal signal;
    std::deque<std::shared_ptr<lpc_request>> queue;
};

struct lpc_completion {
    PeerAnswer answer;
};

namespace {

struct State {
    std::mutex mutex;
    std::condition_variable changed;
    Leaves stores[2];
    std::map<std::string, std::string> factory;
    std::map<std::pair<std::string, std::string>, PeerAnswer> peers;
    std::map<Fault, FaultState> faults;
    std::map<std::string, FaultState> queryFaults;
    int runStatus = 0;
    recording::Record record;
    std::vector<eventbus*> buses;
    std::vector<std::string> subscribed;
    std::vector<void*> contexts;
    std::vector<lpc_service*> services;
};

// Never destroyed: the threads of a test may outlive main().
State& state()
{
    static State& instance = *new State;
    return instance;
}

using Lock = std::unique_lock<std::mutex>;

bool strikes(Fault fault)
{
    return state().faults[fault].strikes();
}

Leaves& leavesOf(Store store)
{
    return state().stores[store == Store::status ? 1 : 0];
}

// JSON

struct PutObject {
    void operator()(json_object* object) const { json_object_put(object); }
};
using Json = std::unique_ptr<json_object, PutObject>;

std::string jsonText(json_object* object)
{
    std::size_t length = 0;
    const char* text =
        json_object_to_json_string_length(object, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE, &length);
    return {text, length};
}

// As json_tokener_parse(), with one tokener a thread: making one costs more than most texts.
Json parsed(const char* text)
{
    thread_local const std::unique_ptr<json_tokener, void (*)(json_tokener*)> tokener(json_tokener_new(),
                                                                                      json_tokener_free);
    json_tokener_reset(tokener.get());
    Json value(json_tokener_parse_ex(tokener.get(), text, -1));
    return json_tokener_get_error(tokener.get()) == json_tokener_success ? std::move(value) : nullptr;
}

Json parsed(const std::string& text)
{
    return parsed(text.c_str());
}

bool isObject(json_object* object)
{
    return json_object_is_type(object, json_type_object) != 0;
}

bool isKey(std::string_view key)
{
    return !key.empty() && key.find('.') == std::string_view::npos;
}

// The path of nested single-member objects; nothing for any other document.
Text readPath(const char* document)
{
    const Json root(parsed(document));
    std::string path;
    json_object* here = root.get();
    bool good = isObject(here);
    while (good && isObject(here) && json_object_object_length(here) > 0) {
        auto member = json_object_iter_begin(here);
        const char* key = json_object_iter_peek_name(&member);
        good = json_object_object_length(here) == 1 && isKey(key);
        path += (path.empty() ? "" : ".") + std::string(key);
        here = json_object_iter_peek_value(&member);
    }
    return good ? Text(path) : std::nullopt;
}

struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};

// As readPath(), which costs more than the rest of a query: most documents are constants and come again. Sets EINVAL.
const Text& pathOf(const char* document)
{
    constexpr std::size_t kMostKept = 1'024;
    thread_local std::unordered_map<std::string, Text, TextHash, std::equal_to<>> known;
    const std::string_view text = document != nullptr ? document : "";
    auto at = known.find(text);
    if (at == known.end()) {
        if (known.size() == kMostKept) {
            known.clear();
        }
        at = known.emplace(text, readPath(std::string(text).c_str())).first;
    }
    if (!at->second) {
        errno = EINVAL;
    }
    return at->second;
}

void place(json_object* root, std::string_view path, Json value)
{
    json_object* here = root;
    for (std::size_t dot = path.find('.'); dot != std::string_view::npos; dot = path.find('.')) {
        const std::string key(path.substr(0, dot));
        path.remove_prefix(dot + 1);
        json_object* below = nullptr;
        if (json_object_object_get_ex(here, key.c_str(), &below) == 0) {
            below = json_object_new_object();
            json_object_object_add(here, key.c_str(), below);
        }
        here = below;
    }
    json_object_object_add(here, std::string(path).c_str(), value.release());
}

struct Leaf {
    std::string path;
    std::string text;
};

// json-c takes NaN and Infinity for numbers. Outside of strings, nothing else in its texts has a capital N or I.
bool isJson(std::string_view text)
{
    bool quoted = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (quoted && text[at] == '\\') {
            ++at;
        } else if (text[at] == '"') {
            quoted = !quoted;
        } else if (!quoted && (text[at] == 'N' || text[at] == 'I')) {
            return false;
        }
    }
    return true;
}

bool collect(json_object* branch, const std::string& prefix, std::vector<Leaf>& found)
{
    json_object_object_foreach(branch, key, value)
    {
        if (!isKey(key)) {
            return false;
        }
        const std::string path = prefix.empty() ? key : prefix + '.' + key;
        if (!isObject(value)) {
            found.push_back({path, jsonText(value)});
            if (!isJson(found.back().text)) {
                return false;
            }
        } else if (!collect(value, path, found)) {
            return false;
        }
    }
    return true;
}

bool isTopic(std::string_view topic)
{
    constexpr std::size_t kLongestTopic = 200;
    const auto isWordCharacter = [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
    };
    return !topic.empty() && topic.size() <= kLongestTopic && !(topic[0] >= '0' && topic[0] <= '9') &&
           std::all_of(topic.begin(), topic.end(), isWordCharacter);
}

// A leaf where a branch stands, or below another leaf.
bool clashes(const Leaves& stored, const std::string& path)
{
    for (std::size_t dot = path.find('.'); dot != std::string::npos; dot = path.find('.', dot + 1)) {
        if (stored.contains(path.substr(0, dot))) {
            return true;
        }
    }
    const auto below = stored.lower_bound(path + '.');
    return below != stored.end() && below->first.compare(0, path.size() + 1, path + '.') == 0;
}

// Under the lock.
void send(const std::string& topic, const Text& payload)
{
    for (eventbus* bus : state().buses) {
        const bool wanted = std::any_of(bus->subscriptions.begin(), bus->subscriptions.end(),
                                        [&](const auto& subscription) { return subscription.topic == topic; });
        if (wanted) {
            bus->queue.push_back({topic, payload});
            bus->signal.raise();
        }
    }
}

void announce(Store store, const std::vector<Leaf>& changed)
{
    std::vector<std::string> areas;
    for (const Leaf& leaf : changed) {
        const std::string area = leaf.path.substr(0, leaf.path.find('.'));
        if (std::find(areas.begin(), areas.end(), area) == areas.end()) {
            areas.push_back(area);
        }
    }
    for (const std::string& area : areas) {
        const Json news(json_object_new_object());
        for (const Leaf& leaf : changed) {
            if (leaf.path.substr(0, leaf.path.find('.')) == area) {
                place(news.get(), leaf.path, parsed(leaf.text));
            }
        }
        const bool settings = store == Store::settings;
        const std::string topic = area + (settings ? "UserConfigChanged" : "StatusConfigChanged");
        const std::string payload = jsonText(news.get());
        state().record.events.push_back({topic, payload, settings ? "settings" : "status"});
        send(topic, payload);
    }
}

// The paths of the leaves that changed; nothing when the document is refused.
std::optional<std::vector<std::string>> merge(Store store, const char* document)
{
    const Json root(document != nullptr ? parsed(document) : nullptr);
    std::vector<Leaf> wanted;
    errno = EINVAL;
    if (!isObject(root.get()) || !collect(root.get(), {}, wanted)) {
        return std::nullopt;
    }
    Leaves& stored = leavesOf(store);
    // Leaves of one document never clash with each other.
    for (const Leaf& leaf : wanted) {
        if (!isTopic(leaf.path.substr(0, leaf.path.find('.')) + "UserConfigChanged") || clashes(stored, leaf.path)) {
            return std::nullopt;
        }
    }
    std::vector<Leaf> changed;
    for (const Leaf& leaf : wanted) {
        const auto at = stored.find(leaf.path);
        if (at == stored.end() || at->second != leaf.text) {
            stored[leaf.path] = leaf.text;
            changed.push_back(leaf);
        }
    }
    announce(store, changed);
    std::vector<std::string> paths;
    for (Leaf& leaf : changed) {
        paths.push_back(std::move(leaf.path));
    }
    return paths;
}

int update(Store store, const char* document)
{
    const Lock lock(state().mutex);
    std::optional<std::vector<std::string>> changed;
    if (!strikes(store == Store::settings ? Fault::update : Fault::statusUpdate)) {
        changed = merge(store, document);
    }
    const int result = changed ? 0 : -1;
    state().record.updates.push_back({store, document != nullptr ? document : "", changed.has_value(),
                                      std::move(changed).value_or(std::vector<std::string>())});
    return result;
}

// The asked path, recorded; nothing when the query fails.
Text askedPath(Store store, const char* document)
{
    const Text& path = pathOf(document);
    if (!path) {
        return std::nullopt;
    }
    state().record.queries.push_back({store, *path});
    const auto fault = state().queryFaults.find(*path);
    if ((fault != state().queryFaults.end() && fault->second.strikes()) || strikes(Fault::query)) {
        return std::nullopt;
    }
    return path;
}

Text askedLeaf(Store store, const char* document)
{
    const Lock lock(state().mutex);
    const Text path = askedPath(store, document);
    if (!path) {
        return std::nullopt;
    }
    const auto at = leavesOf(store).find(*path);
    if (at == leavesOf(store).end()) {
        errno = ENOENT;
        return std::nullopt;
    }
    return at->second;
}

template <class Number>
int queryNumber(Store store, const char* document, Number* value)
{
    const Text text = askedLeaf(store, document);
    Number number{};
    if (!text) {
        return 0;
    }
    const char* end = text->data() + text->size();
    const auto [stop, error] = std::from_chars(text->data(), end, number);
    if (error != std::errc() || stop != end) {
        errno = EINVAL;
        return 0;
    }
    *value = number;
    return 1;
}

int queryBoolean(Store store, const char* document, int* value)
{
    const Text text = askedLeaf(store, document);
    if (!text || (*text != "true" && *text != "false")) {
        return 0;
    }
    *value = *text == "true" ? 1 : 0;
    return 1;
}

char* queryString(Store store, const char* document)
{
    const Text text = askedLeaf(store, document);
    const Json value(text ? parsed(*text) : nullptr);
    return json_object_is_type(value.get(), json_type_string) != 0 ? ::strdup(json_object_get_string(value.get()))
                                                                   : nullptr;
}

Json subtree(Store store, const std::string& path)
{
    Json root;
    for (const auto& [leaf, text] : leavesOf(store)) {
        if (path.empty() || leaf == path || leaf.compare(0, path.size() + 1, path + '.') == 0) {
            if (!root) {
                root.reset(json_object_new_object());
            }
            place(root.get(), leaf, parsed(text));
        }
    }
    return root;
}

json_token* queryToken(Store store, const char* document)
{
    const Lock lock(state().mutex);
    const Text path = askedPath(store, document);
    return path ? subtree(store, *path).release() : nullptr;
}

// Records a call of a peer and says how it ends; nothing when it cannot be sent.
std::optional<PeerAnswer> callPeer(const char* service, const char* method, const char* params)
{
    const Lock lock(state().mutex);
    if (strikes(Fault::call)) {
        return std::nullopt;
    }
    const auto at = state().peers.find({service, method});
    const PeerAnswer answer = at != state().peers.end() ? at->second : PeerAnswer{};
    if (answer.kind != PeerAnswer::Kind::absent) {
        state().record.calls.push_back({service, method, asText(params)});
    }
    return answer;
}

int outcome(const PeerAnswer& answer)
{
    switch (answer.kind) {
    case PeerAnswer::Kind::fails: errno = EIO; return -1;
    case PeerAnswer::Kind::absent: errno = ENOENT; return -1;
    case PeerAnswer::Kind::silent: errno = ETIMEDOUT; return -1;
    default: return 0;
    }
}

int serve(lpc_service* service, const std::shared_ptr<lpc_request>& request, std::chrono::milliseconds patience)
{
    Lock lock(state().mutex);
    service->queue.push_back(request);
    service->signal.raise();
    if (!state().changed.wait_for(lock, patience, [&] { return request->served; })) {
        std::erase(service->queue, request);
        errno = ETIMEDOUT;
        return -1;
    }
    errno = request->error;
    return request->error == 0 ? 0 : -1;
}

}  // namespace

namespace recording {

void reset()
{
    const Lock lock(state().mutex);
    for (Leaves& store : state().stores) {
        store.clear();
    }
    state().factory.clear();
    state().peers.clear();
    state().faults.clear();
    state().queryFaults.clear();
    state().runStatus = 0;
    state().record = {};
    for (eventbus* bus : state().buses) {
        bus->queue.clear();
        bus->signal.clear();
    }
    for (int level = 0; level < LOG_LEVEL_COUNT; ++level) {
        __logLevels[level] = level == 4 || level == 5 ? 1 : 0;
    }
}

Record take()
{
    const Lock lock(state().mutex);
    return std::exchange(state().record, {});
}

void drop(Store store, const std::string& path)
{
    const Lock lock(state().mutex);
    Leaves& stored = leavesOf(store);
    stored.erase(path);
    stored.erase(stored.lower_bound(path + '.'), stored.lower_bound(path + '/'));  // '/' follows '.'
}

DeviceState deviceState()
{
    const Lock lock(state().mutex);
    return {leavesOf(Store::settings), leavesOf(Store::status), state().factory, state().peers, state().runStatus};
}

void resetTo(const DeviceState& device)
{
    reset();
    const Lock lock(state().mutex);
    leavesOf(Store::settings) = device.settings;
    leavesOf(Store::status) = device.status;
    state().factory = device.factory;
    state().peers = device.peers;
    state().runStatus = device.runStatus;
}

void put(Store store, const std::string& path, const std::string& json)
{
    drop(store, path);
    const Lock lock(state().mutex);
    Leaves& stored = leavesOf(store);
    const Json value = parsed(json);
    std::vector<Leaf> below;
    if (isObject(value.get())) {
        collect(value.get(), path, below);
    } else {
        below.push_back({path, jsonText(value.get())});
    }
    for (const Leaf& leaf : below) {
        stored[leaf.path] = leaf.text;
    }
}

void setFactoryData(const std::string& key, const std::string& text)
{
    const Lock lock(state().mutex);
    state().factory[key] = text;
}

void setPeer(const std::string& service, const std::string& method, PeerAnswer answer)
{
    const Lock lock(state().mutex);
    state().peers[{service, method}] = std::move(answer);
}

void setRunStatus(int status)
{
    const Lock lock(state().mutex);
    state().runStatus = status;
}

void setLogLevel(int level, bool on)
{
    __logLevels[level] = on ? 1 : 0;
}

void fail(Fault fault, int times, int error, int after)
{
    const Lock lock(state().mutex);
    state().faults[fault] = {times, error, after};
}

void failQuery(const std::string& path, int times, int error)
{
    const Lock lock(state().mutex);
    state().queryFaults[path] = {times, error, 0};
}

Text read(Store store, const std::string& path)
{
    const Lock lock(state().mutex);
    const Json root = subtree(store, path);
    json_object* here = root.get();
    std::string_view rest = path;
    while (here != nullptr && !rest.empty()) {
        const std::string key(rest.substr(0, rest.find('.')));
        rest.remove_prefix(std::min(rest.size(), key.size() + 1));
        json_object* below = nullptr;
        json_object_object_get_ex(here, key.c_str(), &below);
        here = below;
    }
    return root ? Text(jsonText(here)) : std::nullopt;
}

Leaves leaves(Store store)
{
    const Lock lock(state().mutex);
    return leavesOf(store);
}

void deliver(const std::string& topic, const Text& payload)
{
    const Lock lock(state().mutex);
    send(topic, payload);
}

bool waitUntilDelivered(std::chrono::milliseconds patience)
{
    Lock lock(state().mutex);
    return state().changed.wait_for(lock, patience, [] {
        return std::all_of(state().buses.begin(), state().buses.end(),
                           [](const eventbus* bus) { return bus->queue.empty() && !bus->delivering; });
    });
}

std::vector<std::string> subscriptions()
{
    const Lock lock(state().mutex);
    return state().subscribed;
}

std::vector<void*> subscriptionContexts()
{
    const Lock lock(state().mutex);
    return state().contexts;
}

int callMethod(lpc_service* service, const std::string& method, const Text& params, std::chrono::milliseconds patience)
{
    const auto request = std::make_shared<lpc_request>();
    request->method = method;
    request->params = params;
    return serve(service, request, patience);
}

bool runOnService(lpc_service* service, std::function<void()> work, std::chrono::milliseconds patience)
{
    const auto request = std::make_shared<lpc_request>();
    request->work = std::move(work);
    return serve(service, request, patience) == 0;
}

void adoptMethods(lpc_service* into, const lpc_service* from)
{
    const Lock lock(state().mutex);
    into->methods = from->methods;
    into->context = from->context;
}

std::vector<std::string> methodNames(const lpc_service* service)
{
    std::vector<std::string> names;
    for (const auto& method : service->methods) {
        names.push_back(method.name);
    }
    return names;
}

}  // namespace recording

// The seam: stores

int user_config_query_boolean(const char* document, int* value)
{
    return queryBoolean(Store::settings, document, value);
}

int user_config_query_int(const char* document, int* value)
{
    return queryNumber(Store::settings, document, value);
}

char* user_config_query_string(const char* document)
{
    return queryString(Store::settings, document);
}

json_token* user_config_query_to_json_token(const char* document)
{
    return queryToken(Store::settings, document);
}

int user_config_update(const char* document)
{
    return update(Store::settings, document);
}

int user_status_query_boolean(const char* document, int* value)
{
    return queryBoolean(Store::status, document, value);
}

int user_status_query_int(const char* document, int* value)
{
    return queryNumber(Store::status, document, value);
}

int user_status_query_double(const char* document, double* value)
{
    return queryNumber(Store::status, document, value);
}

char* user_status_query_string(const char* document)
{
    return queryString(Store::status, document);
}

json_token* user_status_query_to_json_token(const char* document)
{
    return queryToken(Store::status, document);
}

int user_status_update(const char* document)
{
    return update(Store::status, document);
}

// The seam: event bus

eventbus* eventbus_open(void)
{
    const Lock lock(state().mutex);
    if (strikes(Fault::busOpen)) {
        return nullptr;
    }
    state().buses.push_back(new eventbus);
    return state().buses.back();
}

int eventbus_subscribe(eventbus* bus, const char* topic, eventbus_callback callback, void* context)
{
    const Lock lock(state().mutex);
    if (strikes(Fault::subscribe)) {
        return -1;
    }
    bus->subscriptions.push_back({topic, callback, context});
    state().subscribed.emplace_back(topic);
    state().contexts.push_back(context);
    state().changed.notify_all();
    return 0;
}

int eventbus_fileno(eventbus* bus)
{
    return bus->signal.fd();
}

int eventbus_on_data_available(eventbus* bus)
{
    Lock lock(state().mutex);
    bus->signal.clear();
    if (strikes(Fault::delivery)) {
        return -1;
    }
    bus->delivering = true;
    while (!bus->queue.empty()) {
        const eventbus::Waiting event = std::move(bus->queue.front());
        bus->queue.pop_front();
        const auto subscriptions = bus->subscriptions;
        lock.unlock();
        for (const auto& subscription : subscriptions) {
            if (subscription.topic == event.topic) {
                subscription.callback(subscription.context, event.payload ? event.payload->c_str() : nullptr);
            }
        }
        lock.lock();
    }
    bus->delivering = false;
    state().changed.notify_all();
    return 0;
}

void eventbus_close(eventbus* bus)
{
    {
        const Lock lock(state().mutex);
        std::erase(state().buses, bus);
        state().changed.notify_all();
    }
    delete bus;
}

int eventbus_publish(const char* topic, const char* payload)
{
    const Lock lock(state().mutex);
    if (strikes(Fault::publish)) {
        return -1;
    }
    if (topic == nullptr || !isTopic(topic)) {
        errno = EINVAL;
        return -1;
    }
    state().record.events.push_back({topic, asText(payload), "publisher"});
    send(topic, asText(payload));
    return 0;
}

// The seam: local procedure calls

lpc_service* lpc_service_create(const char* name, const lpc_method* methods, size_t count, void* context)
{
    const Lock lock(state().mutex);
    if (strikes(Fault::serviceCreate)) {
        return nullptr;
    }
    for (const lpc_service* service : state().services) {
        if (service->name == name) {
            errno = EEXIST;
            return nullptr;
        }
    }
    auto* service = new lpc_service;
    service->name = name;
    service->context = context;
    for (size_t i = 0; i < count; ++i) {
        service->methods.push_back({methods[i].name, methods[i].handler});
    }
    state().services.push_back(service);
    return service;
}

int lpc_service_fileno(lpc_service* service)
{
    const Lock lock(state().mutex);
    return strikes(Fault::serviceFileno) ? -1 : service->signal.fd();
}

int lpc_service_on_connect(lpc_service* service)
{
    Lock lock(state().mutex);
    if (strikes(Fault::serve)) {
        return -1;
    }
    if (service->queue.empty()) {
        service->signal.clear();
        return 0;
    }
    const std::shared_ptr<lpc_request> request = service->queue.front();
    service->queue.pop_front();
    if (service->queue.empty()) {
        service->signal.clear();
    }
    const auto method = std::find_if(service->methods.begin(), service->methods.end(),
                                     [&](const auto& candidate) { return candidate.name == request->method; });
    if (request->work) {
        lock.unlock();
        request->work();
        lock.lock();
    } else if (method == service->methods.end()) {
        request->error = ENOENT;
    } else {
        const lpc_method_handler handler = method->handler;
        void* context = service->context;
        lock.unlock();
        handler(context, request.get());
        lock.lock();
        request->error = request->completed ? 0 : ECANCELED;
    }
    request->served = true;
    state().changed.notify_all();
    return 0;
}

void lpc_service_destroy(lpc_service* service)
{
    {
        const Lock lock(state().mutex);
        std::erase(state().services, service);
        for (const auto& request : service->queue) {
            request->error = ENOENT;
            request->served = true;
        }
        state().changed.notify_all();
    }
    delete service;
}

const char* lpc_request_params(lpc_request* request)
{
    return request->params ? request->params->c_str() : nullptr;
}

int lpc_request_completed(lpc_request* request)
{
    request->completed = true;
    return 0;
}

int lpc_proxy_call(const char* service, const char* method, const char* params)
{
    const auto answer = callPeer(service, method, params);
    return answer ? outcome(*answer) : -1;
}

lpc_completion* lpc_proxy_call_with_reply(const char* service, const char* method, const char* params)
{
    auto answer = callPeer(service, method, params);
    return answer ? new lpc_completion{std::move(*answer)} : nullptr;
}

int lpc_completion_wait(lpc_completion* completion, int /*milliseconds*/)
{
    return outcome(completion->answer);
}

const char* lpc_completion_data(lpc_completion* completion)
{
    return completion->answer.kind == PeerAnswer::Kind::answers ? completion->answer.text.c_str() : nullptr;
}

void lpc_completion_destroy(lpc_completion* completion)
{
    delete completion;
}

// The seam: factory data, logger, command runner

int factory_read_data(const char* key, char** text)
{
    const Lock lock(state().mutex);
    if (strikes(Fault::factory)) {
        return -1;
    }
    const auto at = state().factory.find(key);
    *text = at != state().factory.end() ? ::strdup(at->second.c_str()) : nullptr;
    return 0;
}

int __logLevels[LOG_LEVEL_COUNT] = {0, 0, 0, 0, 1, 1, 0, 0, 0, 0};

void __printLog(int level, const char* format, ...)
{
    char* text = nullptr;
    va_list arguments;
    va_start(arguments, format);
    const int length = vasprintf(&text, format, arguments);
    va_end(arguments);
    if (length >= 0) {
        const Lock lock(state().mutex);
        state().record.logs.push_back({level, text});
        std::free(text);
    }
}

int lsystem(const char* command)
{
    const Lock lock(state().mutex);
    if (strikes(Fault::run)) {
        return -1;
    }
    state().record.runs.emplace_back(command);
    return state().runStatus;
}
