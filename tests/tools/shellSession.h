// Sessions at a shell, as transcripts:
//
//     $ platformctl config get control.ledMode     run by sh(1)
//     false                                        exactly these lines come out, silence is asserted too
//     $ platformctl config get no.such
//     status 1                                     0 unless it says so
//     error nothing at 'no.such'                   standard error is one line that holds this; else it is empty
#pragma once

#include <string>

#include "program.h"

/// Fails the test where the session goes otherwise. `programs` is a directory to stand first on PATH.
void expectTranscript(const std::string& transcript, const std::string& programs, const Environment& environment);
