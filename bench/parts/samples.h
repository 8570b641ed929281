// What every measuring part shares: the clock and the list of durations it prints, one a line, in nanoseconds.
#pragma once

#include <stddef.h>
#include <stdint.h>

/// Rounds before the first that is told: they warm caches.
int warmUpFor(int rounds);

struct Samples {
    int64_t* ns;
    size_t count;
    size_t capacity;
};

int64_t nowNs(void);

/// Room for `count` durations; ends the program when there is no memory.
struct Samples samplesFor(size_t count);
void addSample(struct Samples* samples, int64_t ns);
/// Prints and frees them.
void tellSamples(struct Samples* samples);

/// Ends the program with the error text of errno.
_Noreturn void fail(const char* what);
