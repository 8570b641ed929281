// Single pieces of the daemon on the bundled engine. Stores and bus are those of PLATFORM and DBUS_SESSION_BUS_ADDRESS:
// bench/run --micro makes both.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "console/dispatcher.h"
#include "core/changeWalker.h"
#include "diagnostics/linkDump.h"
#include "platform/eventBus.h"
#include "platform/jsonToken.h"
#include "platform/store.h"
#include "platform/support/settings.h"

namespace {

void dispatch(benchmark::State& state, const char* line)
{
    bool stopped = false;
    for ([[maybe_unused]] auto iteration : state) {
        benchmark::DoNotOptimize(findCommand(line, stopped));
    }
}

// The last row that can be found; the table's very last ones repeat names.
const char* lastName()
{
    const char* last = "";
    bool stopped = false;
    for (const CommandEntry& entry : kCommandTable) {
        last = findCommand(entry.name, stopped) == &entry ? entry.name : last;
    }
    return last;
}

BENCHMARK_CAPTURE(dispatch, first, kCommandTable.front().name);
BENCHMARK_CAPTURE(dispatch, last, lastName());
BENCHMARK_CAPTURE(dispatch, none, "zzz");

template <class Value>
void fillTemplate(benchmark::State& state, const char* jsonTemplate, Value value)
{
    Document document;
    for ([[maybe_unused]] auto iteration : state) {
        benchmark::DoNotOptimize(fill(document, jsonTemplate, value));
        benchmark::ClobberMemory();
    }
}
BENCHMARK_CAPTURE(fillTemplate, boolean, boolLeaf<"control.ledMode">, true);
BENCHMARK_CAPTURE(fillTemplate, integer, intLeaf<"video.colorSetting.brt">, 50);
BENCHMARK_CAPTURE(fillTemplate, text, textLeaf<"system.model">, "a \"quoted\" name of a receiver");

// Leaves in groups of ten, three levels deep.
std::string documentOf(int leaves)
{
    std::string text = "{\"control\":{";
    for (int i = 0; i < leaves; ++i) {
        if (i % 10 == 0) {
            text += (i > 0 ? "}," : "") + ("\"group" + std::to_string(i / 10)) + "\":{";
        } else {
            text += ',';
        }
        text += "\"leaf" + std::to_string(i % 10) + "\":" + std::to_string(i);
    }
    return text + "}}}";
}

void changeWalk(benchmark::State& state)
{
    const JsonToken document(json_token_parse(documentOf(static_cast<int>(state.range(0))).c_str()));
    if (document == nullptr) {
        state.SkipWithError("the document is none");
        return;
    }
    for ([[maybe_unused]] auto iteration : state) {
        walkChange(document.get(), "control", true);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(changeWalk)->Arg(1)->Arg(10)->Arg(1000);

void dumpDecoding(benchmark::State& state)
{
    constexpr std::string_view kDump = "TX:12050000000100000002000000030000000A0B0C0D00000011000000223300000044AB";
    for ([[maybe_unused]] auto iteration : state) {
        benchmark::DoNotOptimize(decodeLinkDump(LinkEnd::tx, kDump));
    }
}
BENCHMARK(dumpDecoding);

void storeQuery(benchmark::State& state)
{
    for ([[maybe_unused]] auto iteration : state) {
        benchmark::DoNotOptimize(readBool(boolLeaf<"control.ledMode">));
    }
}
BENCHMARK(storeQuery);

void storeUpdate(benchmark::State& state, bool changing)
{
    Document document;
    bool value = false;
    for ([[maybe_unused]] auto iteration : state) {
        value = changing != value;
        const bool whole = fill(document, boolLeaf<"control.ledMode">, value);
        if (!storeDocument(document, whole)) {
            state.SkipWithError("user_config_update failed");
            return;
        }
    }
}
BENCHMARK_CAPTURE(storeUpdate, changed, true)->UseRealTime();
BENCHMARK_CAPTURE(storeUpdate, unchanged, false)->UseRealTime();

void publish(benchmark::State& state)
{
    for ([[maybe_unused]] auto iteration : state) {
        if (eventbus_publish("controlUserConfigChanged", "{\"control\":{\"ledMode\":true}}") != 0) {
            state.SkipWithError("eventbus_publish failed");
            return;
        }
    }
}
BENCHMARK(publish)->UseRealTime();

}  // namespace

int main(int argc, char** argv)
{
    if (std::getenv("PLATFORM") == nullptr || std::getenv("DBUS_SESSION_BUS_ADDRESS") == nullptr) {
        std::fputs("microBenchmarks: started by bench/run --micro, which makes its stores and its bus\n", stderr);
        return 1;
    }
    const bool ready = user_config_update("{\"control\":{\"ledMode\":false},\"system\":{\"broadcast\":false}}") == 0 &&
                       user_status_update("{\"system\":{\"slaveMcu\":{\"isReady\":true}}}") == 0;
    if (!ready) {
        std::perror("microBenchmarks: the stores");
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
