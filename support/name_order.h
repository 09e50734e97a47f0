// Sorting many entries of a table by their names.
#pragma once

struct ParamEntry;

namespace cv {

// Puts the entries, all of which must have names, into the order of strcomp().
void sortByName(ParamEntry** first, ParamEntry** last);

}  // namespace cv

using namespace cv;
