// Transcripts as tests of GoogleTest, one a scenario: suite and name follow from the file and the title.
#pragma once

#include "transcript/backend.h"

namespace transcript {

/// Registers every scenario, or only those that can run end to end. A file with a mistake becomes a test that fails.
void registerScenarios(const std::vector<File>& files, bool endToEndOnly, MakeBackend makeBackend);

}  // namespace transcript
