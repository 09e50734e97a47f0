#include "support/container.h"

#include <cstdint>
#include <iterator>

#include "support/configfile.h"
#include "support/listfile.h"
#include "support/logging.h"

namespace {

// A number that is neither less nor equal counts as greater. So does a NaN.
template <typename Number>
int order(Number a, Number b) {
  return a < b ? -1 : a == b ? 0 : 1;
}

}  // namespace

Container::Container(const char* text, int copy) {
  set_s(new String(copy, const_cast<char*>(text)), false);
}

Container::Container(Logging* log, Container* other) {
  switch (other ? other->type : kNone) {
    case kNone:
      // The misspelt word is how this trace has always read.
      if (log) log->debug(10, "Container::copy contructor: c_t is NULL or has no type");
      break;
    case kString:
    case kJson:
      set_s(other->data.s, true);
      type = other->type;
      break;
    case kConfigFile:
      set_cf(log, other->data.cf, true);
      break;
    case kLongLong:
      set_ll(other->data.ll, true);
      break;
    case kListFile:
      set_lf(log, other->data.lf, true);
      break;
    default:
      type = other->type;
      data = other->data;
  }
}

Container::~Container() {
  delete_data();
}

void Container::delete_data() {
  switch (type) {
    case kString:
    case kJson:
      delete data.s;
      break;
    case kConfigFile:
      delete data.cf;
      break;
    case kLongLong:
      delete data.ll;
      break;
    case kListFile:
      delete data.lf;
      break;
    default:
      break;
  }
  type = kNone;
  data.pointer = nullptr;
}

bool Container::set_s(String* value, bool copy) {
  if (!value) return false;
  String* stored = copy ? new String(value, 1) : value;
  delete_data();
  type = kString;
  data.s = stored;
  return true;
}

bool Container::set_cf(Logging* log, ConfigFile* value, bool copy) {
  if (!value) return false;
  ConfigFile* stored = copy ? new ConfigFile(log, value) : value;
  delete_data();
  type = kConfigFile;
  data.cf = stored;
  return true;
}

bool Container::set_lf(Logging* log, ListFile* value, bool copy) {
  if (!value) return false;
  ListFile* stored = copy ? new ListFile(log, value) : value;
  delete_data();
  type = kListFile;
  data.lf = stored;
  return true;
}

bool Container::set_ll(long long* value, bool copy) {
  if (!value) return false;
  long long* stored = copy ? new long long(*value) : value;
  delete_data();
  type = kLongLong;
  data.ll = stored;
  return true;
}

bool Container::local_data(int type) {
  return type == kInteger || type == kDouble;
}

const char* Container::get_type_str(int type) {
  static constexpr const char* kNames[] = {nullptr,   "String",    "ConfigFile",
                                           "Integer", "Long Long", "ListFile",
                                           "JSON",    "Double",    "Container"};
  return type >= 0 && type < static_cast<int>(std::size(kNames)) ? kNames[type] : nullptr;
}

int Container::comp(Logging* log, Container* other, bool case_sensitive) {
  if (!other) return 1;
  if (other == this) return 0;
  switch (other->type) {
    case kString:
      return comp_str(other->data.s, case_sensitive);
    case kJson:
      return comp_str(static_cast<String*>(nullptr), case_sensitive);
    case kConfigFile:
      return comp_cf(other->data.cf);
    case kInteger:
      return comp_i(other->data.i);
    case kLongLong:
      return comp_ll(other->data.ll);
    case kListFile:
      return comp_lf(other->data.lf);
    case kDouble:
      return comp_d(other->data.d);
    default:
      if (log)
        log->errorLog_debug(10, "Container::comp: b has unknown type: this.type=%d b.type=%d", type,
                            other->type);
      return 0;
  }
}

int Container::comp_type(int other_type) const {
  return order(type, other_type);
}

int Container::comp_str(const char* text, bool case_sensitive) const {
  return type == kString ? data.s->cmp(text, case_sensitive) : comp_type(kString);
}

int Container::comp_str(String* text, bool case_sensitive) const {
  return comp_str(text ? (*text)() : nullptr, case_sensitive);
}

int Container::comp_i(int v) const {
  if (type == kInteger) return order(data.i, v);
  if (type == kLongLong) return order<long long>(*data.ll, v);
  if (type == kDouble) return order(data.d, static_cast<double>(v));
  return comp_type(kInteger);
}

int Container::comp_ll(const long long* p) const {
  if (type == kLongLong) return order(*data.ll, *p);
  if (type == kInteger) return order<long long>(data.i, *p);
  if (type == kDouble) return order(data.d, static_cast<double>(*p));
  return comp_type(kLongLong);
}

int Container::comp_d(double v) const {
  if (type == kDouble) return order(data.d, v);
  if (type == kInteger) return order(static_cast<double>(data.i), v);
  if (type == kLongLong) return order(static_cast<double>(*data.ll), v);
  return comp_type(kDouble);
}

int Container::comp_cf(ConfigFile* cf) const {
  return type == kConfigFile ? order(data.cf->param, cf->param) : comp_type(kConfigFile);
}

int Container::comp_lf(ListFile* lf) const {
  return type == kListFile ? order(data.lf->count, lf->count) : comp_type(kListFile);
}

int Container::comp_void(void* a, void* b) {
  return order(reinterpret_cast<uintptr_t>(a), reinterpret_cast<uintptr_t>(b));
}
