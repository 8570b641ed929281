// The least there can be: a loop that answers lines, and the log's lines written plainly.
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <unistd.h>

#include "parts.h"
#include "samples.h"

void lineLoop(int count, char* arguments[])
{
    (void)count;
    const int fd = open(arguments[0], O_RDWR | O_NOCTTY);
    if (fd < 0) {
        fail(arguments[0]);
    }
    const char* reply = arguments[1];
    const size_t replyLength = strlen(reply);
    while (1) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(fd, &readable);
        struct timeval timeout = {0, 30000};
        if (select(fd + 1, &readable, NULL, NULL, &timeout) < 1) {
            continue;
        }
        char chunk[64];
        const ssize_t got = read(fd, chunk, sizeof chunk);
        if (got <= 0) {
            fail("read");
        }
        for (ssize_t i = 0; i < got; ++i) {
            if (chunk[i] == '\r' && write(fd, reply, replyLength) < 0) {
                fail("write");
            }
        }
    }
}

static char* readFile(const char* path, size_t* size)
{
    const int fd = open(path, O_RDONLY);
    struct stat file;
    if (fd < 0 || fstat(fd, &file) != 0) {
        fail(path);
    }
    *size = (size_t)file.st_size;
    char* text = malloc(*size + 1);
    if (text == NULL || read(fd, text, *size) != file.st_size) {
        fail(path);
    }
    text[*size] = '\0';
    close(fd);
    return text;
}

void logLines(int count, char* arguments[])
{
    (void)count;
    size_t size = 0;
    char* text = readFile(arguments[0], &size);
    const int commands = atoi(arguments[1]);
    const int rounds = atoi(arguments[2]);
    const int warmUp = warmUpFor(rounds);
    const int nowhere = open("/dev/null", O_WRONLY);
    struct Samples samples = samplesFor((size_t)rounds);
    for (int i = -warmUp; i < rounds; ++i) {
        const int64_t start = nowNs();
        for (const char* line = text; line < text + size;) {
            const char* end = memchr(line, '\n', (size_t)(text + size - line));
            const size_t length = end != NULL ? (size_t)(end - line) + 1 : (size_t)(text + size - line);
            if (write(nowhere, line, length) < 0) {
                fail("write");
            }
            line += length;
        }
        if (i >= 0) {
            addSample(&samples, (nowNs() - start) / commands);
        }
    }
    free(text);
    tellSamples(&samples);
}
