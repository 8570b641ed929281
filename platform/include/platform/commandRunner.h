/* Command runner: one shell command line, run to its end. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* The command's exit status (0 means success), 128 + n when signal n ended it, or -1 with errno set when it could not
 * be started. */
int lsystem(const char* command);

#ifdef __cplusplus
}
#endif
