// Typed access to the stores and the event bus: the raw calls disagree on what zero means, these do not. Templates are
// those of jsonTemplate.h. Every failure is reported here, under its given label.
#pragma once

#include <optional>

#include "platform/support/jsonTemplate.h"
#include "platform/support/ownership.h"

// One leaf of the settings store; nothing when it is missing, of another type or unreadable.
std::optional<bool> readBool(const char* jsonTemplate);
std::optional<int> readInt(const char* jsonTemplate);
PlatformText readText(const char* jsonTemplate);

// One leaf of the status store.
std::optional<bool> readStatusBool(const char* jsonTemplate);
std::optional<int> readStatusInt(const char* jsonTemplate);
std::optional<double> readStatusDouble(const char* jsonTemplate);
PlatformText readStatusText(const char* jsonTemplate);

/// Writes a document to the settings store; a failure is logged as "user_config_update" at level 5. `whole` tells
/// whether the document fitted its buffer: one that did not is never sent and counts as a failed update.
template <std::size_t Capacity>
[[nodiscard]] bool storeDocument(const FixedText<Capacity>& document, bool whole);

/// Writes a document to the status store; the caller reports a failure, under its own label and with errno.
template <std::size_t Capacity>
[[nodiscard]] bool storeStatus(const FixedText<Capacity>& document, bool whole);

/// Publishes on the event bus; a failure prints the system error with `label` and nothing else happens.
bool publishReported(const char* topic, const char* payload, const char* label);

/// "user_config_update" at level 5, when that level is on.
void logStoreFailure();

namespace detail {
bool storeText(const char* document, bool whole);
bool storeStatusText(const char* document, bool whole);
}  // namespace detail

template <std::size_t Capacity>
bool storeDocument(const FixedText<Capacity>& document, bool whole)
{
    return detail::storeText(document.c_str(), whole);
}

template <std::size_t Capacity>
bool storeStatus(const FixedText<Capacity>& document, bool whole)
{
    return detail::storeStatusText(document.c_str(), whole);
}
