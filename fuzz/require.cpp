#include "fuzz/require.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "transcript/text.h"

// Read by AddressSanitizer (sanitizer/asan_interface.h): stacks of allocations are walked and freed memory is kept only
// as far as the speed of a fuzzer allows.
extern "C" const char* __asan_default_options()
{
    return "malloc_context_size=0:max_malloc_fill_size=0:quarantine_size_mb=4:thread_local_quarantine_size_kb=64";
}

void require(bool holds, const char* rule, std::string_view offender)
{
    if (!holds) {
        std::fprintf(stderr, "broken: %s: \"%s\"\n", rule, escaped(std::string(offender)).c_str());
        std::abort();
    }
}
