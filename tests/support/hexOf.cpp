#include "support/hexOf.h"

#include <cstdio>

std::string hexOf(const std::string& bytes)
{
    std::string text;
    for (const char character : bytes) {
        char pair[4];
        std::snprintf(pair, sizeof pair, " %02X", static_cast<unsigned char>(character));
        text += pair;
    }
    return text;
}
