#include "platform/factoryData.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include "platform/local/database.h"
#include "platform/local/jsonTree.h"
#include "platform/local/local.h"

namespace local {

namespace {

constexpr DatabaseFile kFile = {
    .name = "factory.db",
    .schema = "CREATE TABLE IF NOT EXISTS factory(key TEXT PRIMARY KEY, text TEXT NOT NULL) WITHOUT ROWID",
    .durability = "FULL",
    .firstRead = "SELECT * FROM factory LIMIT 1",
};

struct FactoryData {
    Database database;
    Statement read;
    Statement write;
    Statement dump;

    bool open()
    {
        database = openDatabase(kFile);
        return database && read.prepare(database.get(), "SELECT text FROM factory WHERE key = ?1") &&
               write.prepare(database.get(), "INSERT INTO factory VALUES(?1, ?2) "
                                             "ON CONFLICT(key) DO UPDATE SET text = excluded.text") &&
               dump.prepare(database.get(), "SELECT key, text FROM factory ORDER BY key");
    }

    // Null with errno set.
    static FactoryData* ofThread()
    {
        thread_local std::unique_ptr<FactoryData> opened;
        if (opened && hasMoved(opened->database.get())) {
            opened.reset();
        }
        if (!opened) {
            auto fresh = std::make_unique<FactoryData>();
            if (!fresh->open()) {
                return nullptr;
            }
            opened = std::move(fresh);
        }
        return opened.get();  // NOLINT(clang-analyzer-cplusplus.NewDelete): it does not follow the move
    }
};

}  // namespace

int writeFactoryData(const std::string& key, const std::string& text)
{
    FactoryData* data = FactoryData::ofThread();
    if (data == nullptr) {
        return -1;
    }
    data->write.bind(1, key);
    data->write.bind(2, text);
    return data->write.run() ? 0 : -1;
}

json_token* dumpFactoryData()
{
    FactoryData* data = FactoryData::ofThread();
    if (data == nullptr) {
        return nullptr;
    }
    const StatementUse use(data->dump);
    JsonObject items(json_object_new_object());
    Statement::Step step = data->dump.step();
    for (; step == Statement::Step::row; step = data->dump.step()) {
        const std::string_view text = data->dump.column(1);
        json_object_object_add(items.get(), std::string(data->dump.column(0)).c_str(),
                               json_object_new_string_len(text.data(), static_cast<int>(text.size())));
    }
    return step == Statement::Step::done ? items.release() : nullptr;
}

}  // namespace local

int factory_read_data(const char* key, char** text)
{
    *text = nullptr;
    if (key == nullptr) {
        errno = EINVAL;
        return -1;
    }
    local::FactoryData* data = local::FactoryData::ofThread();
    if (data == nullptr) {
        return -1;
    }
    const local::StatementUse use(data->read);
    data->read.bind(1, key);
    const local::Statement::Step step = data->read.step();
    if (step == local::Statement::Step::row) {
        *text = strdup(std::string(data->read.column(0)).c_str());
    } else if (step == local::Statement::Step::done) {
        errno = ENOENT;
    }
    return *text != nullptr ? 0 : -1;
}
