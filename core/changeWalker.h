// Turns a changed document into one-leaf notices for the change broadcast.
#pragma once

#include "platform/jsonToken.h"

/// Walks a document and hands every boolean, integer and text leaf to cipProcJson(), with a template such as
/// {"system":{"uart":{"interface1":{"baudrate":%d}: one closing brace follows the value however deep the leaf, none
/// follows a text. Doubles, arrays and nulls are passed over. `top` drops the prefix at the first object, whose keys
/// begin the template. Listener thread, with the record's mutex held.
void walkChange(json_token* document, const char* prefix, bool top);
