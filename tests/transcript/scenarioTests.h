// Transcripts as tests of GoogleTest, one a scenario: suite and name follow from the file and the title.
#pragma once

#include "transcript/backend.h"

namespace transcript {

/// Registers every scenario, or only those that can run end to end; when the test filter names one suite, those of its
/// file alone, for reading all of them takes longer than a scenario. A file with a mistake becomes a test that fails.
void registerScenarios(bool endToEndOnly, MakeBackend makeBackend);

}  // namespace transcript
