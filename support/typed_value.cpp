#include "support/typed_value.h"

#include <functional>

#include "support/configfile.h"
#include "support/cv_string.h"
#include "support/listfile.h"

namespace cv {

bool isTextType(int type) {
  return type == ConfigFile::kText || type == ConfigFile::kNumberText || type == ConfigFile::kJson;
}

bool isOtherType(int type) {
  return type == ConfigFile::kConfigFile || type == ConfigFile::kLongInteger ||
         type == ConfigFile::kListFile;
}

char* newCopyOf(const char* value, int type, Logging* log) {
  auto* object = const_cast<char*>(value);
  if (isTextType(type)) return newString(value);
  if (type == ConfigFile::kConfigFile)
    return reinterpret_cast<char*>(new ConfigFile(log, reinterpret_cast<ConfigFile*>(object)));
  if (type == ConfigFile::kListFile)
    return reinterpret_cast<char*>(new ListFile(log, reinterpret_cast<ListFile*>(object)));
  return nullptr;
}

void releaseValue(char*& value, int type) {
  if (isTextType(type))
    delString(value);
  else if (type == ConfigFile::kConfigFile)
    delete reinterpret_cast<ConfigFile*>(value);
  else if (type == ConfigFile::kListFile)
    delete reinterpret_cast<ListFile*>(value);
  value = nullptr;
}

int compareValues(const char* a, const char* b, int type) {
  if (type == ConfigFile::kNumberText) return intcomp(a, b);
  if (isTextType(type)) return strcomp(a, b);
  constexpr std::less<> kLess;
  return kLess(a, b) ? -1 : kLess(b, a) ? 1 : 0;
}

}  // namespace cv
