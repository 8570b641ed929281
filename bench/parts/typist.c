// The side of the terminal at which somebody types: latency and throughput of whoever answers.
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "parts.h"
#include "samples.h"

enum { kRetryNs = 1000000 };

static void writeAll(int fd, const char* text, size_t length)
{
    while (length > 0) {
        const ssize_t written = write(fd, text, length);
        if (written < 0) {
            fail("write");
        }
        text += written;
        length -= (size_t)written;
    }
}

static void awaitLineEnd(int fd)
{
    char chunk[512];
    ssize_t count = 0;
    do {
        count = read(fd, chunk, sizeof chunk);
        if (count <= 0) {
            fail("read");
        }
    } while (chunk[count - 1] != '\n');
}

void roundTrips(int count, char* arguments[])
{
    const int fd = atoi(arguments[0]);
    const int trips = atoi(arguments[1]);
    const int lines = count - 2;
    const int warmUp = warmUpFor(trips);
    struct Samples samples = samplesFor((size_t)trips);
    for (int i = -warmUp; i < trips; ++i) {
        const char* line = arguments[2 + (i + warmUp) % lines];
        const int64_t start = nowNs();
        writeAll(fd, line, strlen(line));
        awaitLineEnd(fd);
        if (i >= 0) {
            addSample(&samples, nowNs() - start);
        }
    }
    tellSamples(&samples);
}

void pipelined(int count, char* arguments[])
{
    (void)count;
    const int fd = atoi(arguments[0]);
    const size_t lines = (size_t)atoi(arguments[1]);
    const char* line = arguments[2];
    const size_t length = strlen(line);
    // What a terminal takes at a time; lines are whole in it.
    char batch[2048];
    const size_t batchSize = sizeof batch / length * length;
    for (size_t i = 0; i < batchSize; ++i) {
        batch[i] = line[i % length];
    }
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);

    struct Samples samples = samplesFor(1);
    size_t sent = 0;
    size_t replies = 0;
    const int64_t start = nowNs();
    while (replies < lines) {
        struct pollfd waiting = {fd, (short)(POLLIN | (sent < lines * length ? POLLOUT : 0)), 0};
        if (poll(&waiting, 1, -1) < 0) {
            fail("poll");
        }
        if ((waiting.revents & POLLIN) != 0) {
            char chunk[4096];
            const ssize_t got = read(fd, chunk, sizeof chunk);
            for (ssize_t i = 0; i < got; ++i) {
                replies += chunk[i] == '\n' ? 1 : 0;
            }
        }
        if ((waiting.revents & POLLOUT) != 0) {
            const size_t left = lines * length - sent;
            const size_t offset = sent % length;
            const size_t room = batchSize - offset;
            const ssize_t written = write(fd, batch + offset, left < room ? left : room);
            sent += written > 0 ? (size_t)written : 0;
        }
    }
    addSample(&samples, nowNs() - start);
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    tellSamples(&samples);
}

static int replied(int fd, const char* reply, int timeoutMs)
{
    static char seen[65536];
    static size_t length = 0;
    struct pollfd waiting = {fd, POLLIN, 0};
    if (poll(&waiting, 1, timeoutMs) <= 0) {
        return 0;
    }
    const ssize_t count = read(fd, seen + length, sizeof seen - 1 - length);
    if (count <= 0) {
        return 0;
    }
    length += (size_t)count;
    seen[length] = '\0';
    return strstr(seen, reply) != NULL;
}

static pid_t startQuietly(char* command[])
{
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int nowhere = open("/dev/null", O_RDWR);
        dup2(nowhere, STDIN_FILENO);
        dup2(nowhere, STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);
        execv(command[0], command);
        _exit(127);
    }
    return child;
}

static void endChild(pid_t child)
{
    kill(child, SIGKILL);
    waitpid(child, NULL, 0);
}

// Asked again every millisecond: what is typed before a port is open is lost, a server that loads refuses.
static void askUntilReplied(int fd, const char* question, const char* reply)
{
    int64_t nextTry = 0;
    do {
        if (nowNs() >= nextTry) {
            writeAll(fd, question, strlen(question));
            nextTry = nowNs() + kRetryNs;
        }
    } while (!replied(fd, reply, kRetryNs / 1000000));
}

void firstReply(int count, char* arguments[])
{
    (void)count;
    struct Samples samples = samplesFor(1);
    const int64_t start = nowNs();
    const pid_t child = startQuietly(arguments + 3);
    askUntilReplied(atoi(arguments[0]), arguments[1], arguments[2]);
    addSample(&samples, nowNs() - start);
    endChild(child);
    tellSamples(&samples);
}

static int connectTo(const char* path)
{
    struct sockaddr_un address = {.sun_family = AF_UNIX};
    strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (connect(fd, (struct sockaddr*)&address, sizeof address) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

void firstAnswer(int count, char* arguments[])
{
    (void)count;
    struct Samples samples = samplesFor(1);
    const int64_t start = nowNs();
    const pid_t child = startQuietly(arguments + 3);
    int fd = -1;
    while ((fd = connectTo(arguments[0])) < 0) {
        usleep(kRetryNs / 1000);
    }
    askUntilReplied(fd, arguments[1], arguments[2]);
    addSample(&samples, nowNs() - start);
    endChild(child);
    tellSamples(&samples);
}

void passedThrough(int count, char* arguments[])
{
    (void)count;
    const int fd = atoi(arguments[0]);
    const int arriving = atoi(arguments[1]);
    const int rounds = atoi(arguments[2]);
    const size_t size = (size_t)atoi(arguments[3]);
    const size_t piece = (size_t)atoi(arguments[4]);
    char* text = malloc(size);
    if (text == NULL) {
        fail("malloc");
    }
    memset(text, 'x', size);
    struct Samples samples = samplesFor((size_t)rounds);
    for (int i = 0; i < rounds; ++i) {
        const int64_t start = nowNs();
        for (size_t sent = 0; sent < size; sent += piece) {
            writeAll(fd, text + sent, size - sent < piece ? size - sent : piece);
        }
        char chunk[4096];
        for (size_t got = 0; got < size;) {
            const ssize_t arrived = read(arriving, chunk, sizeof chunk);
            if (arrived <= 0) {
                fail("read");
            }
            got += (size_t)arrived;
        }
        addSample(&samples, nowNs() - start);
        usleep(31000);
    }
    free(text);
    tellSamples(&samples);
}
