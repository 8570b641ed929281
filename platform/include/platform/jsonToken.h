/* JSON token: path-addressed access to a json-c object.
 *
 * A path is dotted and may index arrays: "account.users[2].username". A token obtained from a parse, a query or
 * json_token_new_object() is owned; one obtained by walking is borrowed from the token walked. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

struct json_object;
typedef struct json_object json_token;

/* First complete JSON value of the text; null with errno set when there is none (the value null included). */
json_token* json_token_parse(const char* text);
json_token* json_token_new_object(void);
void json_token_ref_put(json_token* token); /* null is let pass */

/* The token at path, or null. */
json_token* json_token_object_walk_get_token(json_token* token, const char* path);
/* The value at path, or fallback when it is missing or has another type. The text is borrowed from the token. */
int json_token_object_walk_get_boolean(json_token* token, const char* path, int fallback);
int json_token_object_walk_get_int(json_token* token, const char* path, int fallback);
const char* json_token_object_walk_get_string(json_token* token, const char* path, const char* fallback);

/* Store a value at path, making the objects and arrays on the way. 0 on success; -1 with errno set when something of
 * another type stands in the way. */
int json_token_object_walk_set_boolean(json_token* token, const char* path, int value);
int json_token_object_walk_set_int(json_token* token, const char* path, int value);
int json_token_object_walk_set_string(json_token* token, const char* path, const char* value);

/* Number of entries, or -1 when the token is null or no array. */
int json_token_array_length(const json_token* array);
/* Puts entry at index and takes it over, also on failure. 0 on success, else -1 with errno set. */
int json_token_array_put(json_token* array, int index, json_token* entry);

/* The token as JSON without white space and with unescaped slashes; the caller frees it. Null when out of memory. */
char* json_token_to_string(const json_token* token);

#ifdef __cplusplus
}
#endif
