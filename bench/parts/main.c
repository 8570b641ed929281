#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "parts.h"

// A part that hangs (a reply that never comes) is not to hang the whole run.
enum { kPatienceS = 120 };

struct Part {
    const char* name;
    int arguments;  // at least
    void (*run)(int count, char* arguments[]);
    int isService;
};

static const struct Part kParts[] = {
    {"roundTrips", 3, roundTrips, 0},
    {"pipelined", 3, pipelined, 0},
    {"firstReply", 4, firstReply, 0},
    {"firstAnswer", 4, firstAnswer, 0},
    {"passedThrough", 5, passedThrough, 0},
    {"calls", 6, calls, 0},
    {"bursts", 4, bursts, 0},
    {"events", 3, events, 0},
    {"echoService", 1, echoService, 1},
    {"burstLoop", 1, burstLoop, 1},
    {"storeReads", 2, storeReads, 0},
    {"storeUpdates", 2, storeUpdates, 0},
    {"growLog", 1, growLog, 0},
    {"lineLoop", 2, lineLoop, 1},
    {"logLines", 3, logLines, 0},
};

int main(int argc, char* argv[])
{
    for (size_t i = 0; argc > 1 && i < sizeof kParts / sizeof *kParts; ++i) {
        if (strcmp(argv[1], kParts[i].name) == 0 && argc - 2 >= kParts[i].arguments) {
            if (!kParts[i].isService) {
                alarm(kPatienceS);
            }
            kParts[i].run(argc - 2, argv + 2);
            return 0;
        }
    }
    fprintf(stderr, "usage: consoleParts PART ARGUMENT...; parts.h lists them\n");
    return 2;
}
