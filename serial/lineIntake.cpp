#include "serial/lineIntake.h"

#include <string_view>

#include "platform/support/report.h"

namespace {

void appendToBurst(LineIntake& intake, char byte, std::size_t chunkIndex)
{
    const std::size_t at = intake.burstLength + chunkIndex;
    if (at < kBurstCapacity) {
        intake.strcmd900XPort[at] = byte;
        intake.strcmd900XPort[at + 1] = '\0';
    }
}

void updateBurstFlags(LineIntake& intake)
{
    switch (for900XPortCheckWpCmdd(intake.strcmd900XPort)) {
    case 4:
        intake.checkWpString_S = 1;
        intake.checkWpString_E = 1;
        break;
    case 1: intake.checkWpString_S = 1; break;
    case 2: intake.checkWpString_E = 1; break;
    case 3: intake.checkWpString_Fail = 1; break;
    default: break;
    }
}

}  // namespace

void LineIntake::clearBurst()
{
    strcmd900XPort[0] = '\0';
    burstLength = 0;
}

void LineIntake::clearBurstFlags()
{
    checkWpString_S = 0;
    checkWpString_E = 0;
    checkWpString_Fail = 0;
}

void LineIntake::extendBurst(std::size_t count)
{
    burstLength = burstLength + count < kBurstCapacity ? burstLength + count : kBurstCapacity;
}

void assembleByte(LineIntake& intake, LineRouter& router, char byte, std::size_t chunkIndex)
{
    appendToBurst(intake, byte, chunkIndex);
    if (byte == '\r' || byte == '\n') {
        updateBurstFlags(intake);
        cb_linehandler(router, intake.line.c_str(), intake.line.size(), byte);
        intake.line.clear();
    } else {
        intake.line.append(byte);
    }
}

int for900XPortCheckWpCmdd(const char* burst)
{
    printError("\033[1;31;36m[%s][%d] line=%s\033[0m\n", "for900XPortCheckWpCmdd", __LINE__, burst);
    const std::string_view text(burst);
    if (text.find("WP_") != std::string_view::npos && text.find("]$") != std::string_view::npos) {
        return 4;
    }
    if (text.starts_with("]$\r")) {
        return 4;
    }
    if (text.find("COMMAND FAIL") != std::string_view::npos) {
        return 3;
    }
    return 0;
}
