#include "fuzz/loopFiber.h"

#include <cstddef>
#include <cstdint>
#include <ucontext.h>
#include <utility>

// Of the sanitizer run-times (sanitizer/common_interface_defs.h, tsan_interface.h), where one is linked.
extern "C" {
__attribute__((weak)) void __sanitizer_start_switch_fiber(void** save, const void* bottom, std::size_t size);
__attribute__((weak)) void __sanitizer_finish_switch_fiber(void* save, const void** bottom, std::size_t* size);
__attribute__((weak)) void* __tsan_get_current_fiber(void);
__attribute__((weak)) void* __tsan_create_fiber(unsigned flags);
__attribute__((weak)) void __tsan_switch_to_fiber(void* fiber, unsigned flags);
}

namespace {

constexpr std::size_t kStackSize = 1'048'576;

// One of the two stacks that take turns.
struct Side {
    ucontext_t context{};
    const void* bottom = nullptr;
    std::size_t size = 0;
    void* sanitizer = nullptr;
    void* fiber = nullptr;
};

void switchSides(Side& from, Side& to)
{
    if (__sanitizer_start_switch_fiber != nullptr) {
        __sanitizer_start_switch_fiber(&from.sanitizer, to.bottom, to.size);
    }
    if (__tsan_switch_to_fiber != nullptr) {
        __tsan_switch_to_fiber(to.fiber, 0);
    }
    swapcontext(&from.context, &to.context);
    if (__sanitizer_finish_switch_fiber != nullptr) {
        __sanitizer_finish_switch_fiber(from.sanitizer, &to.bottom, &to.size);
    }
}

}  // namespace

struct LoopFiber::Parts {
    std::function<void()> body;
    char* stack = nullptr;
    Side outside;
    Side inside;

    // makecontext(3) hands over ints only.
    static void enter(unsigned high, unsigned low)
    {
        auto* parts = reinterpret_cast<Parts*>((std::uintptr_t{high} << 16 << 16) | low);
        if (__sanitizer_finish_switch_fiber != nullptr) {
            __sanitizer_finish_switch_fiber(nullptr, &parts->outside.bottom, &parts->outside.size);
        }
        parts->body();
    }
};

LoopFiber::LoopFiber(std::function<void()> body)
    : parts_(new Parts{.body = std::move(body), .stack = {}, .outside = {}, .inside = {}})
{
    parts_->stack = new char[kStackSize];
    Side& inside = parts_->inside;
    inside.bottom = parts_->stack;
    inside.size = kStackSize;
    if (__tsan_create_fiber != nullptr) {
        inside.fiber = __tsan_create_fiber(0);
        parts_->outside.fiber = __tsan_get_current_fiber();
    }
    getcontext(&inside.context);
    inside.context.uc_stack = {};
    inside.context.uc_stack.ss_sp = parts_->stack;
    inside.context.uc_stack.ss_size = kStackSize;
    inside.context.uc_link = nullptr;
    const auto address = reinterpret_cast<std::uintptr_t>(parts_);
    makecontext(&inside.context, reinterpret_cast<void (*)()>(&Parts::enter), 2,
                static_cast<unsigned>(address >> 16 >> 16), static_cast<unsigned>(address));
    inside.context.uc_stack.ss_size = 0;  // else AddressSanitizer maps the stack's shadow anew with every switch
}

void LoopFiber::resume()
{
    switchSides(parts_->outside, parts_->inside);
}

void LoopFiber::pause()
{
    switchSides(parts_->inside, parts_->outside);
}
