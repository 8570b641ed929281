// Calls of other services whose answer carries nothing.
#pragma once

/// Waits until the method has completed. A failed call is reported on standard error as "lpc_proxy_call"; the caller
/// goes on as if nothing had happened.
void callPeer(const char* service, const char* method, const char* params);
