#include "console/peerCall.h"

#include "platform/lpc.h"
#include "platform/support/report.h"

void callPeer(const char* service, const char* method, const char* params)
{
    if (lpc_proxy_call(service, method, params) != 0) {
        reportSystemError("lpc_proxy_call");
    }
}
