// The bus: what a call costs, what an event costs its listener, and a loop that publishes bursts.
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include <json-c/json.h>
#include <systemd/sd-bus.h>

#include "parts.h"
#include "samples.h"
#include "storeFile.h"

static const char kEventInterface[] = "receiver.Event";
static const char kBurstTopic[] = "recvHDBTSendTo9001";
enum { kGapMs = 30, kBurstCapacity = 1024 };

static int expectDone(int result, const char* what)
{
    if (result < 0) {
        errno = -result;
        fail(what);
    }
    return result;
}

static sd_bus* openBus(void)
{
    sd_bus* bus = NULL;
    expectDone(sd_bus_open_user(&bus), "sd_bus_open_user");
    return bus;
}

void calls(int count, char* arguments[])
{
    (void)count;
    sd_bus* bus = openBus();
    const int rounds = atoi(arguments[0]);
    const int warmUp = warmUpFor(rounds);
    struct Samples samples = samplesFor((size_t)rounds);
    for (int i = -warmUp; i < rounds; ++i) {
        sd_bus_message* answer = NULL;
        const int64_t start = nowNs();
        expectDone(sd_bus_call_method(bus, arguments[1], arguments[2], arguments[3], arguments[4], NULL, &answer, "s",
                                      arguments[5]),
                   "sd_bus_call_method");
        if (i >= 0) {
            addSample(&samples, nowNs() - start);
        }
        sd_bus_message_unref(answer);
    }
    sd_bus_unref(bus);
    tellSamples(&samples);
}

static int echo(sd_bus_message* request, void* context, sd_bus_error* error)
{
    (void)context;
    (void)error;
    const char* text = "";
    expectDone(sd_bus_message_read(request, "s", &text), "sd_bus_message_read");
    return sd_bus_reply_method_return(request, "s", text);
}

void echoService(int count, char* arguments[])
{
    (void)count;
    static const sd_bus_vtable kMethods[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("echo", "s", "s", echo, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END,
    };
    sd_bus* bus = openBus();
    expectDone(sd_bus_add_object_vtable(bus, NULL, "/echo", "bench.Echo", kMethods, NULL), "sd_bus_add_object_vtable");
    expectDone(sd_bus_request_name(bus, arguments[0], 0), "sd_bus_request_name");
    while (1) {
        if (expectDone(sd_bus_process(bus, NULL), "sd_bus_process") == 0) {
            expectDone(sd_bus_wait(bus, UINT64_MAX), "sd_bus_wait");
        }
    }
}

static int countEvent(sd_bus_message* event, void* context, sd_bus_error* error)
{
    (void)event;
    (void)error;
    ++*(int*)context;
    return 0;
}

void bursts(int count, char* arguments[])
{
    (void)count;
    const int fd = atoi(arguments[0]);
    const int rounds = atoi(arguments[1]);
    const size_t size = (size_t)atoi(arguments[2]);
    const size_t piece = (size_t)atoi(arguments[3]);
    char* text = malloc(size);
    if (text == NULL) {
        fail("malloc");
    }
    memset(text, 'x', size);
    sd_bus* bus = openBus();
    int seen = 0;
    expectDone(sd_bus_match_signal(bus, NULL, NULL, NULL, kEventInterface, kBurstTopic, countEvent, &seen),
               "sd_bus_match_signal");
    struct Samples samples = samplesFor((size_t)rounds);
    for (int i = 0; i < rounds; ++i) {
        for (size_t sent = 0; sent < size; sent += piece) {
            if (write(fd, text + sent, size - sent < piece ? size - sent : piece) < 0) {
                fail("write");
            }
        }
        const int64_t start = nowNs();
        const int before = seen;
        while (seen == before) {
            if (expectDone(sd_bus_process(bus, NULL), "sd_bus_process") == 0) {
                expectDone(sd_bus_wait(bus, UINT64_MAX), "sd_bus_wait");
            }
        }
        addSample(&samples, nowNs() - start - kGapMs * INT64_C(1000000));
    }
    free(text);
    sd_bus_unref(bus);
    tellSamples(&samples);
}

static void publishBurst(sd_bus* bus, const unsigned char* burst, size_t length)
{
    static const char kDigits[] = "0123456789ABCDEF";
    char hex[kBurstCapacity];
    size_t size = 0;
    for (size_t i = 0; i < length && size + 3 < sizeof hex; ++i) {
        hex[size++] = ' ';
        hex[size++] = kDigits[burst[i] >> 4];
        hex[size++] = kDigits[burst[i] & 0xF];
    }
    hex[size] = '\0';
    expectDone(sd_bus_emit_signal(bus, "/receiver/publisher", kEventInterface, kBurstTopic, "s", hex),
               "sd_bus_emit_signal");
    expectDone(sd_bus_flush(bus), "sd_bus_flush");
}

void burstLoop(int count, char* arguments[])
{
    (void)count;
    sd_bus* bus = openBus();
    const int fd = open(arguments[0], O_RDWR | O_NOCTTY);
    if (fd < 0) {
        fail(arguments[0]);
    }
    unsigned char burst[kBurstCapacity];
    size_t length = 0;
    while (1) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(fd, &readable);
        struct timeval gap = {0, kGapMs * 1000L};
        if (select(fd + 1, &readable, NULL, NULL, &gap) < 1) {
            if (length > 0) {
                publishBurst(bus, burst, length);
                length = 0;
            }
            continue;
        }
        unsigned char chunk[64];
        const ssize_t got = read(fd, chunk, sizeof chunk);
        if (got <= 0) {
            fail("read");
        }
        const size_t room = sizeof burst - length;
        const size_t taken = (size_t)got < room ? (size_t)got : room;
        memcpy(burst + length, chunk, taken);
        length += taken;
    }
}

// What a listener has to do with a change: take the document apart and ask both stores whether it is to be told.
struct Listener {
    struct StoreFile settings;
    struct StoreFile status;
    int seen;
};

static int onChange(sd_bus_message* event, void* context, sd_bus_error* error)
{
    (void)error;
    struct Listener* listener = context;
    const char* payload = "";
    expectDone(sd_bus_message_read(event, "s", &payload), "sd_bus_message_read");
    json_object* document = json_tokener_parse(payload);
    if (document == NULL) {
        fail("json_tokener_parse");
    }
    json_object_put(document);
    readLeaf(&listener->settings, "system.broadcast");
    readLeaf(&listener->status, "system.slaveMcu.isReady");
    ++listener->seen;
    return 0;
}

void events(int count, char* arguments[])
{
    (void)count;
    static const char* const kTopics[] = {
        "controlUserConfigChanged",
        "configUserConfigChanged",
        "audioUserConfigChanged",
        "videoUserConfigChanged",
        "networkUserConfigChanged",
        "systemUserConfigChanged",
        "CommandFeedback",
        "videoStatusConfigChanged",
        "systemStatusConfigChanged",
        "controlStatusConfigChanged",
        "uartProjectorEvent",
        "UpgradeSlaveVersionQuery",
        "networkStatusConfigChanged",
    };
    const int rounds = atoi(arguments[0]);
    const int warmUp = warmUpFor(rounds);
    struct Listener listener = {openStoreFile(arguments[1]), openStoreFile(arguments[2]), 0};
    sd_bus* publisher = openBus();
    sd_bus* bus = openBus();
    for (size_t i = 0; i < sizeof kTopics / sizeof *kTopics; ++i) {
        expectDone(sd_bus_match_signal(bus, NULL, NULL, NULL, kEventInterface, kTopics[i], onChange, &listener),
                   "sd_bus_match_signal");
    }
    while (expectDone(sd_bus_process(bus, NULL), "sd_bus_process") > 0) {
    }
    struct Samples samples = samplesFor((size_t)rounds);
    for (int i = -warmUp; i < rounds; ++i) {
        expectDone(sd_bus_emit_signal(publisher, "/receiver/settings", kEventInterface, kTopics[0], "s",
                                      "{\"control\":{\"ledMode\":true}}"),
                   "sd_bus_emit_signal");
        expectDone(sd_bus_flush(publisher), "sd_bus_flush");
        struct pollfd waiting = {sd_bus_get_fd(bus), POLLIN, 0};
        poll(&waiting, 1, -1);
        const int64_t start = nowNs();
        while (expectDone(sd_bus_process(bus, NULL), "sd_bus_process") > 0) {
        }
        if (i >= 0) {
            addSample(&samples, nowNs() - start);
        }
    }
    if (listener.seen != rounds + warmUp) {
        errno = EIO;
        fail("events");
    }
    tellSamples(&samples);
}
