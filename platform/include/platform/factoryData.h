/* Factory data: identity items of the device by key, such as "MacAddr" or "SerialNumber". */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* Stores a newly allocated text, which the caller frees, or null when there is no such item. 0 on success, else -1. */
int factory_read_data(const char* key, char** text);

#ifdef __cplusplus
}
#endif
