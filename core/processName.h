// The name under which this instance was started: it tells its role and heads some debug lines.
#pragma once

/// Keeps the base name of argv[0].
void setProgramName(const char* path);
const char* programName();

/// The role of a program name, compared without regard to case (see SourceType).
int roleOf(const char* name);
