// How the stand-ins for the receiver's other daemons answer.
#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>

struct PeerAnswer {
    enum class How {
        usual,      ///< as a peer does that can do what it is asked for
        completes,  ///< without data
        answers,    ///< with `data`
        fails,
        silent,  ///< never
    };
    How how = How::usual;
    std::string data{};
    int delayMs = 0;
};

struct PeerPlan {
    PeerAnswer::How otherwise = PeerAnswer::How::usual;  ///< of what is not named below
    std::map<std::string, PeerAnswer> services{};
    std::map<std::pair<std::string, std::string>, PeerAnswer> methods{};  ///< service and method; before the service's
    std::set<std::string> absent{};

    [[nodiscard]] PeerAnswer answerOf(const std::string& service, const std::string& method) const
    {
        if (const auto named = methods.find({service, method}); named != methods.end()) {
            return named->second;
        }
        const auto any = services.find(service);
        return any != services.end() ? any->second : PeerAnswer{.how = otherwise};
    }
};
