// What the bundled engine offers beyond the seam, for platformctl and receiver-bench alone: the daemon must run on any
// platform library and never includes this.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/jsonToken.h"
#include "platform/lpc.h"

namespace local {

enum class Store { settings, status };

/// The store's directory, from PLATFORM=local:DIR (default local:/var/lib/receiver). Empty when the URL names another
/// engine.
std::string storeDirectory();

/// The leaf or subtree at a dotted path, without the path around it; null with errno set when nothing is there, with
/// errno 0 when JSON's null is.
json_token* readPath(Store store, const std::string& path);

/// The whole store, or one top-level area, under its full path; an empty object when nothing is there. Null with errno
/// set when the store cannot be read.
json_token* dump(Store store, const std::string& area = {});

/// Merges the document as the seam's update does. 0, or -1 with errno set.
int update(Store store, const char* document);
/// The same, announced to nobody.
int updateSilently(Store store, const char* document);

/// Removes the leaf or subtree at a dotted path and announces nothing. 0, or -1 with errno ENOENT when nothing is
/// there.
int unset(Store store, const std::string& path);

/// 0, or -1 with errno set.
int writeFactoryData(const std::string& key, const std::string& text);
/// All items as one flat object. Null with errno set when they cannot be read.
json_token* dumpFactoryData();

/// As eventbus_publish, for a payload that may hold zero bytes; no value is a null payload.
int publishBytes(const std::string& topic, std::optional<std::string_view> payload);

struct Event {
    std::string topic;
    std::optional<std::string> payload;
    std::string_view from;  ///< "settings", "status" or "publisher"
};

/// Watches topics (none named: all). `ready` runs once the subscription is in force. Returns 0 once `stopFd` is
/// readable, or -1 with errno set when the bus is missing or went away.
int watchEvents(const std::vector<std::string>& topics, int stopFd, const std::function<void()>& ready,
                const std::function<void(const Event&)>& onEvent);

/// What passed over the bus between any two programs.
struct BusMessage {
    enum class Kind { event, call, answer, failure };
    Kind kind = Kind::event;
    int sender = 0;       ///< process ID of the publisher or caller; 0: it ended before it could be asked
    std::string name;     ///< topic or method
    std::string service;  ///< of a call, its answer or its failure
    /// Payload, argument or data; of a failure, what it says.
    std::optional<std::string> text{};
    std::string_view from{};  ///< of an event: "settings", "status" or "publisher"
};

/// Watches everything, in the order in which it passed. The rest is as for watchEvents; the bus must let this user
/// monitor it.
int watchBus(int stopFd, const std::function<void()>& ready, const std::function<void(const BusMessage&)>& onMessage);

struct Request {
    std::string method;
    std::optional<std::string> params;
};

/// What a stand-in answers: data (or none), or an error.
struct Answer {
    bool failed = false;
    std::optional<std::string> data;
};

/// Whether a method can have this name.
bool isMethodName(const std::string& name);

/// Serves methods (none named: every one) of a service. `answer` may take its time; requests are served one after the
/// other. Returns 0 once `stopFd` is readable, or -1 with errno set (EEXIST: the name is taken).
int serveMethods(const std::string& service, const std::vector<std::string>& methods, int stopFd,
                 const std::function<void()>& ready, const std::function<Answer(const Request&)>& answer);

}  // namespace local
