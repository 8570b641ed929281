#include "platform/support/settings.h"

#include <cerrno>

#include "platform/eventBus.h"
#include "platform/logger.h"
#include "platform/store.h"
#include "platform/support/report.h"

namespace {

// A query document: the template with a blank leaf. Templates are this program's own and always fit.
template <class Blank>
Document query(const char* jsonTemplate, Blank blank)
{
    Document document;
    fill(document, jsonTemplate, blank);
    return document;
}

std::optional<bool> asBool(int found, int value)
{
    return found != 0 ? std::optional<bool>(value != 0) : std::nullopt;
}

template <class Value>
std::optional<Value> asNumber(int found, Value value)
{
    return found != 0 ? std::optional<Value>(value) : std::nullopt;
}

}  // namespace

std::optional<bool> readBool(const char* jsonTemplate)
{
    int value = 0;
    const int found = user_config_query_boolean(query(jsonTemplate, false).c_str(), &value);
    return asBool(found, value);
}

std::optional<int> readInt(const char* jsonTemplate)
{
    int value = 0;
    const int found = user_config_query_int(query(jsonTemplate, 0).c_str(), &value);
    return asNumber(found, value);
}

PlatformText readText(const char* jsonTemplate)
{
    return PlatformText(user_config_query_string(query(jsonTemplate, "").c_str()));
}

std::optional<bool> readStatusBool(const char* jsonTemplate)
{
    int value = 0;
    const int found = user_status_query_boolean(query(jsonTemplate, false).c_str(), &value);
    return asBool(found, value);
}

std::optional<int> readStatusInt(const char* jsonTemplate)
{
    int value = 0;
    const int found = user_status_query_int(query(jsonTemplate, 0).c_str(), &value);
    return asNumber(found, value);
}

std::optional<double> readStatusDouble(const char* jsonTemplate)
{
    double value = 0;
    const int found = user_status_query_double(query(jsonTemplate, 0.0).c_str(), &value);
    return asNumber(found, value);
}

PlatformText readStatusText(const char* jsonTemplate)
{
    return PlatformText(user_status_query_string(query(jsonTemplate, "").c_str()));
}

void logStoreFailure()
{
    if (__logLevels[5] != 0) {
        __printLog(5, "user_config_update");
    }
}

bool detail::storeText(const char* document, bool whole)
{
    if (whole && user_config_update(document) == 0) {
        return true;
    }
    logStoreFailure();
    return false;
}

bool detail::storeStatusText(const char* document, bool whole)
{
    if (!whole) {
        errno = EMSGSIZE;
        return false;
    }
    return user_status_update(document) == 0;
}

bool publishReported(const char* topic, const char* payload, const char* label)
{
    if (eventbus_publish(topic, payload) == 0) {
        return true;
    }
    reportSystemError(label);
    return false;
}
