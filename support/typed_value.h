// The values of a table's entries, by their types: see the codes in ConfigFile.
//
// A value is a text, a table or a list on the heap, or an integer, in one pointer.
#pragma once

class Logging;

namespace cv {

// Whether a value of this type is a text of any kind, and whether it is known to be something else.
// Unknown codes are neither.
bool isTextType(int type);
bool isOtherType(int type);

// A deep copy, which the caller owns; of a null text an empty one. Null for types that cannot be
// copied. Copies of tables and lists report to `log`.
char* newCopyOf(const char* value, int type, Logging* log);

// Releases the value and sets it to null.
void releaseValue(char*& value, int type);

// -1, 0 or 1: numbers by value, other texts as strcomp(), all else by the pointer.
int compareValues(const char* a, const char* b, int type);

}  // namespace cv

using namespace cv;
