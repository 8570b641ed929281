// The built daemon on a pseudo-terminal, with the bundled engine, a private bus and stand-ins for its peers.
#pragma once

#include "transcript/backend.h"

namespace transcript {

std::unique_ptr<Backend> makeEndToEndBackend(bool internalRole);

}  // namespace transcript
