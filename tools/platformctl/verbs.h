// What platformctl can do, one function a verb. Each prints its result on standard output; it throws Refused when
// something is absent or the platform said no.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/local/local.h"

namespace verbs {

/// The words after the verb.
using Words = std::vector<std::string>;

void getValue(local::Store store, const Words& words);
void setValue(local::Store store, const Words& words);
void updateDocument(local::Store store, const Words& words);
void loadFile(local::Store store, const Words& words);
void unsetPath(local::Store store, const Words& words);
void dumpStore(local::Store store, const Words& words);

void getFactoryItem(const Words& words);
void setFactoryItem(const Words& words);
void dumpFactory(const Words& words);

void publishEvent(const Words& words);
void watchEvents(const Words& words);

void callMethod(const Words& words);
void serveMethods(const Words& words);

}  // namespace verbs
