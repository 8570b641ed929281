#include "commands/shellQuote.h"

bool isPlainWord(std::string_view text)
{
    constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                        "abcdefghijklmnopqrstuvwxyz"
                                        "0123456789"
                                        "_.:,+=@%/-";
    return !text.empty() && text.find_first_not_of(kPlain) == std::string_view::npos;
}
