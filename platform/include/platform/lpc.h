/* Local procedure calls: named services with methods that take one text, or none, and may answer with one.
 *
 * A text is a byte string without zero bytes; it need not be UTF-8. An absent text is null, an empty one is not. */
#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct lpc_service lpc_service;
typedef struct lpc_request lpc_request;
typedef struct lpc_completion lpc_completion;

/* Serves one request and ends with lpc_request_completed(), whose result it returns. A handler that forgets does not
 * hang its caller: the call then ends with an error. */
typedef int (*lpc_method_handler)(void* context, lpc_request* request);

typedef struct lpc_method {
    const char* name;
    lpc_method_handler handler;
} lpc_method;

/* Owns the service's name and serves these methods; the array is copied. Null with errno set when the name is taken or
 * there is no bus. A service belongs to the thread that created it. */
lpc_service* lpc_service_create(const char* name, const lpc_method* methods, size_t count, void* context);
/* Descriptor to poll for reading: readable whenever a request waits. It stays the same for the life of the service, is
 * quiet while the bus is away, and serves again once the bus is back. */
int lpc_service_fileno(lpc_service* service);
/* Serves one request, without blocking; none waiting is no failure. 0, or -1 with errno set, once, when the bus went
 * away. */
int lpc_service_on_connect(lpc_service* service);
void lpc_service_destroy(lpc_service* service);

/* The request's argument text; null when there is none. Lives until the request is completed. */
const char* lpc_request_params(lpc_request* request);
/* Answers the caller without data. 0 on success, else -1 with errno set. */
int lpc_request_completed(lpc_request* request);

/* Calls a method and waits until it has completed, 3 s at most. 0, or non-zero with errno set: no such service, no such
 * method, an error answer, or no answer in time. */
int lpc_proxy_call(const char* service, const char* method, const char* params);

/* Starts a call whose answer is wanted. Null with errno set when it cannot even be sent. Belongs to the calling
 * thread. */
lpc_completion* lpc_proxy_call_with_reply(const char* service, const char* method, const char* params);
/* Waits for the answer; 0 or less looks only. 0 when it came; else non-zero with errno set (an error answer, or none
 * within the time: ETIMEDOUT, after which one may wait again). */
int lpc_completion_wait(lpc_completion* completion, int milliseconds);
/* The answer's text after a wait that succeeded; null when it has none. Borrowed from the completion. */
const char* lpc_completion_data(lpc_completion* completion);
void lpc_completion_destroy(lpc_completion* completion);

#ifdef __cplusplus
}
#endif
