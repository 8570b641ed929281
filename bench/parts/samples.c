#include "samples.h"

#include <errno.h>
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

int64_t nowNs(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000000000 + now.tv_nsec;
}

int warmUpFor(int rounds)
{
    enum { kMost = 20 };
    return rounds / 4 < kMost ? rounds / 4 : kMost;
}

struct Samples samplesFor(size_t count)
{
    struct Samples samples = {calloc(count, sizeof *samples.ns), 0, count};
    if (samples.ns == NULL) {
        fail("calloc");
    }
    return samples;
}

void addSample(struct Samples* samples, int64_t ns)
{
    if (samples->count < samples->capacity) {
        samples->ns[samples->count++] = ns;
    }
}

void tellSamples(struct Samples* samples)
{
    for (size_t i = 0; i < samples->count; ++i) {
        printf("%" PRId64 "\n", samples->ns[i]);
    }
    free(samples->ns);
    samples->ns = NULL;
}

void fail(const char* what)
{
    fprintf(stderr, "consoleParts: %s: %s\n", what, strerror(errno));
    exit(1);
}
