#include "peers/timesIn.h"

std::size_t timesIn(std::string_view text, std::string_view part)
{
    std::size_t times = 0;
    for (std::size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + part.size())) {
        ++times;
    }
    return times;
}
