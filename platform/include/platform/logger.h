/* Application logger: levels that are switched one by one. 4 errors, 5 store failures, 6 and 8 debug. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

enum { LOG_LEVEL_COUNT = 10 };

/* Non-zero: the level is on. A caller asks before it logs. */
extern int __logLevels[LOG_LEVEL_COUNT];

/* Writes one message; one without a line end is given one. */
#if defined(__GNUC__)
__attribute__((format(printf, 2, 3)))
#endif
void __printLog(int level, const char *format, ...);

#ifdef __cplusplus
}
#endif
