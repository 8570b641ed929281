/* Settings store and status store: trees of typed JSON leaves.
 *
 * A document is a text of nested JSON objects. A query takes single-member objects whose innermost value is only a
 * placeholder, for example {"control":{"ledMode":false}}. Like every text here it is read up to the end of its first
 * complete JSON value; what follows is ignored.
 *
 * All functions may be called from any thread. Texts and tokens handed out belong to the caller: free() a text,
 * json_token_ref_put() a token. */
#pragma once

#include "platform/jsonToken.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Persistent device settings.
 *
 * Queries return non-zero when the leaf exists and has the asked type; else 0, and *value is left alone. */
int user_config_query_boolean(const char* document, int* value); /* *value: 0 or 1 */
int user_config_query_int(const char* document, int* value);
/* The leaf's text, or null when there is no such text leaf. */
char* user_config_query_string(const char* document);
/* The subtree named by the document, under its full path: {"system":{}} yields {"system":{"uart":...}}.
 * Null when nothing is there. */
json_token* user_config_query_to_json_token(const char* document);
/* Merges every leaf of the document, all or nothing; an array replaces an array. Returns 0 once the change is durable
 * and its real changes are announced on the event bus; else non-zero with errno set, and nothing has changed. */
int user_config_update(const char* document);

/* Live device state; the same rules, but it need not survive a restart. */
int user_status_query_boolean(const char* document, int* value);
int user_status_query_int(const char* document, int* value);
int user_status_query_double(const char* document, double* value); /* takes an integer leaf too */
char* user_status_query_string(const char* document);
json_token* user_status_query_to_json_token(const char* document);
int user_status_update(const char* document);

#ifdef __cplusplus
}
#endif
