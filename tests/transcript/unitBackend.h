// The console in this process, on the recording platform: the real loop and listener run in threads of their own for
// as long as the process lives, one scenario after the other.
#pragma once

#include "transcript/backend.h"

namespace transcript {

std::unique_ptr<Backend> makeUnitBackend(bool internalRole);
/// Leaves no file behind: its process ends without being taken apart.
void removeUnitFiles();

}  // namespace transcript
