// Owners of what the C side hands out: move-only, released once, null when they hold nothing.
#pragma once

#include <cstdlib>
#include <memory>
#include <unistd.h>

#include "platform/jsonToken.h"

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept
    {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    ~UniqueFd() { reset(); }

    [[nodiscard]] int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }

    int release()
    {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }

    void reset(int fd = -1)
    {
        if (fd_ >= 0) {
            ::close(fd_);
        }
        fd_ = fd;
    }

private:
    int fd_ = -1;
};

struct FreeText {
    void operator()(char* text) const { std::free(text); }
};
/// A text allocated by the platform.
using PlatformText = std::unique_ptr<char, FreeText>;

struct PutToken {
    void operator()(json_token* token) const { json_token_ref_put(token); }
};
using JsonToken = std::unique_ptr<json_token, PutToken>;
