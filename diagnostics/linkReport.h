// Link report: prints or stores what two link dumps say. Called with the record's mutex held; lines leave through the
// reply writer, one call each.
#pragma once

#include <string_view>

/// `mode` names what is wanted: "all", "allhex", "mse", "maxerr", "hpd", "5vstat", "devtype", "tmdsclk", "ber", "retr"
/// or "cablelen" print lines, "update" writes status documents, another word does nothing. A status document that
/// cannot be written is reported as "user_config_update", and the next one is still written.
void reportLink(std::string_view mode, std::string_view txDump, std::string_view rxDump);
