// What SQLite asks for one read and one durable update of a store's file.
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "parts.h"
#include "samples.h"
#include "storeFile.h"

static const char kLeaf[] = "control.ledMode";

static void expect(struct StoreFile* store, int result, int wanted)
{
    if (result != wanted) {
        fprintf(stderr, "consoleParts: %s\n", sqlite3_errmsg(store->database));
        exit(1);
    }
}

struct StoreFile openStoreFile(const char* path)
{
    struct StoreFile store = {NULL, NULL};
    expect(&store, sqlite3_open_v2(path, &store.database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, NULL),
           SQLITE_OK);
    expect(&store, sqlite3_exec(store.database, "PRAGMA synchronous=FULL", NULL, NULL, NULL), SQLITE_OK);
    expect(&store,
           sqlite3_prepare_v3(store.database, "SELECT value FROM leaf WHERE path = ?1", -1, SQLITE_PREPARE_PERSISTENT,
                              &store.read, NULL),
           SQLITE_OK);
    return store;
}

int readLeaf(struct StoreFile* store, const char* path)
{
    sqlite3_bind_text(store->read, 1, path, (int)strlen(path), SQLITE_STATIC);
    int size = -1;
    if (sqlite3_step(store->read) == SQLITE_ROW) {
        sqlite3_column_text(store->read, 0);
        size = sqlite3_column_bytes(store->read, 0);
    }
    sqlite3_reset(store->read);
    return size;
}

void storeReads(int count, char* arguments[])
{
    (void)count;
    const int rounds = atoi(arguments[1]);
    const int warmUp = warmUpFor(rounds);
    struct StoreFile store = openStoreFile(arguments[0]);
    struct Samples samples = samplesFor((size_t)rounds);
    for (int i = -warmUp; i < rounds; ++i) {
        const int64_t start = nowNs();
        const int size = readLeaf(&store, kLeaf);
        if (i >= 0) {
            addSample(&samples, nowNs() - start);
        }
        if (size < 0) {
            errno = ENOENT;
            fail(kLeaf);
        }
    }
    tellSamples(&samples);
}

static sqlite3_stmt* prepareUpdate(struct StoreFile* store)
{
    sqlite3_stmt* update = NULL;
    expect(store,
           sqlite3_prepare_v3(store->database, "UPDATE leaf SET value = ?2 WHERE path = ?1", -1,
                              SQLITE_PREPARE_PERSISTENT, &update, NULL),
           SQLITE_OK);
    sqlite3_bind_text(update, 1, kLeaf, (int)strlen(kLeaf), SQLITE_STATIC);
    // The log is started over between the rounds, not inside a measured update.
    expect(store, sqlite3_exec(store->database, "PRAGMA wal_autocheckpoint=0", NULL, NULL, NULL), SQLITE_OK);
    return update;
}

static void updateOnce(struct StoreFile* store, sqlite3_stmt* update, int value)
{
    sqlite3_bind_text(update, 2, value != 0 ? "true" : "false", -1, SQLITE_STATIC);
    expect(store, sqlite3_step(update), SQLITE_DONE);
    sqlite3_reset(update);
}

static void startLogOver(struct StoreFile* store)
{
    expect(store, sqlite3_exec(store->database, "PRAGMA wal_checkpoint(RESTART)", NULL, NULL, NULL), SQLITE_OK);
}

void storeUpdates(int count, char* arguments[])
{
    (void)count;
    const int rounds = atoi(arguments[1]);
    const int warmUp = warmUpFor(rounds);
    struct StoreFile store = openStoreFile(arguments[0]);
    sqlite3_stmt* update = prepareUpdate(&store);
    startLogOver(&store);
    struct Samples samples = samplesFor((size_t)rounds);
    for (int i = -warmUp; i < rounds; ++i) {
        const int64_t start = nowNs();
        updateOnce(&store, update, i & 1);
        if (i >= 0) {
            addSample(&samples, nowNs() - start);
        }
    }
    tellSamples(&samples);
}

void growLog(int count, char* arguments[])
{
    (void)count;
    enum { kGrownBytes = 4 << 20 };
    struct StoreFile store = openStoreFile(arguments[0]);
    sqlite3_stmt* update = prepareUpdate(&store);
    expect(&store, sqlite3_exec(store.database, "PRAGMA synchronous=OFF", NULL, NULL, NULL), SQLITE_OK);
    char* logName = NULL;
    if (asprintf(&logName, "%s-wal", arguments[0]) < 0) {
        fail("asprintf");
    }
    struct stat log = {0};
    for (int i = 0; log.st_size < kGrownBytes; ++i) {
        updateOnce(&store, update, i & 1);
        stat(logName, &log);
    }
    startLogOver(&store);
    free(logName);
}
