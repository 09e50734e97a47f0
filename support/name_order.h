// Sorting many entries of a table by their names.
#pragma once

struct ParamEntry;

namespace cv {

// Puts the entries, all of which must have names, into the order of strcomp().
void sortByName(ParamEntry** first, ParamEntry** last);

// Makes one run in this order of two that follow each other, the second from `middle` on. A short
// second run costs a few comparisons for each of its entries, however long the first is.
void mergeByName(ParamEntry** first, ParamEntry** middle, ParamEntry** last);

}  // namespace cv

using namespace cv;
