# cmake -DINPUT=FILE -DOUTPUT=FILE.cpp -P embed.cmake: the state as a C++ source.
file(READ "${INPUT}" bytes HEX)
string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
file(WRITE "${OUTPUT}" "#include \"state/factoryStateText.h\"
static constexpr char kText[] = {${bytes}'\\0'};
std::string_view factoryStateText()
{
    return {kText, sizeof kText - 1};
}
")
