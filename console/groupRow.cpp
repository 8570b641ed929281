#include "console/groupRow.h"

#include "console/dispatcher.h"

int groupRow(const char* line, const char* /*name*/, const char* /*args*/, int /*fromEvent*/,
             const char* /*jsonTemplate*/)
{
    refuse(line);
    return 1;
}

int noOperationRow(const char* /*line*/, const char* /*name*/, const char* /*args*/, int /*fromEvent*/,
                   const char* /*jsonTemplate*/)
{
    return 1;
}
