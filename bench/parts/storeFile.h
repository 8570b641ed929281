// A store's file as plain SQLite sees it: one connection, one prepared read.
#pragma once

#include <sqlite3.h>

struct StoreFile {
    sqlite3* database;
    sqlite3_stmt* read;
};

/// Ends the program when it cannot be opened.
struct StoreFile openStoreFile(const char* path);
/// The bytes of the leaf's value, -1 when it is missing.
int readLeaf(struct StoreFile* store, const char* path);
