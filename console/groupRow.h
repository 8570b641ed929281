// Rows that carry no command of their own.
#pragma once

/// A bare family name such as `EQ`: it stands behind the numbered rows of its family and refuses what is left.
int groupRow(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);

/// `RS232zone`: pass-through lines are taken by the line intake; what still arrives here is answered by nothing.
int noOperationRow(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
