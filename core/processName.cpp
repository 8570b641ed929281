#include "core/processName.h"

#include <cstring>
#include <strings.h>

#include "core/consoleParameter.h"

namespace {
const char* g_programName = "";
}

void setProgramName(const char* path)
{
    const char* slash = std::strrchr(path, '/');
    g_programName = slash != nullptr ? slash + 1 : path;
}

const char* programName()
{
    return g_programName;
}

int roleOf(const char* name)
{
    if (strcasecmp(name, "externalComd") == 0) {
        return kExternalConsole;
    }
    if (strcasecmp(name, "internalComd") == 0) {
        return kInternalHdbtLink;
    }
    return kNoRole;
}
