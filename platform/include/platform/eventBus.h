/* Event bus: topics with a text payload, or with none (a null payload is not an empty one).
 *
 * A topic is [A-Za-z_][A-Za-z0-9_]*, at most 200 bytes. A payload is a byte string without zero bytes; it need not be
 * UTF-8. The order of one publisher's events is kept. A publisher never waits for its subscribers. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef struct eventbus eventbus;

/* Runs inside eventbus_on_data_available(), on the thread that called it; payload lives as long as the call. */
typedef void (*eventbus_callback)(void* context, const char* payload);

/* A connection of the caller's own, used by one thread. Null with errno set when there is no bus. */
eventbus* eventbus_open(void);
/* 0 once the subscription is in force, else -1 with errno set. */
int eventbus_subscribe(eventbus* bus, const char* topic, eventbus_callback callback, void* context);
/* Descriptor to poll for reading: readable whenever something waits. Lives as long as the connection. */
int eventbus_fileno(eventbus* bus);
/* Delivers what waits, without blocking; of a flood a part, and the descriptor stays readable for the rest. A callback
 * may publish and subscribe, but not close the connection. 0, or -1 with errno set when the bus is gone. */
int eventbus_on_data_available(eventbus* bus);
void eventbus_close(eventbus* bus);

/* Callable from any thread. 0 once the bus has the event, else -1 with errno set: at once without a bus, within about 3
 * s when it hangs. */
int eventbus_publish(const char* topic, const char* payload);

#ifdef __cplusplus
}
#endif
