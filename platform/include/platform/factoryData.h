/* Factory data: identity items of the device by key, such as "MacAddr" or "SerialNumber". */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* Stores a newly allocated text, which the caller frees, and returns 0; or stores null and returns -1 with errno set
 * (ENOENT: no such item). */
int factory_read_data(const char* key, char** text);

#ifdef __cplusplus
}
#endif
