// A tagged value, as a list of typed elements holds it.
//
// Values of different kinds order by their type codes, numbers of the three numeric kinds by
// value, nested tables and lists by how many entries they have.
#pragma once

#include "support/cv_string.h"
#include "support/logging.h"

class ConfigFile;
class ListFile;

class Container {
 public:
  static constexpr int kNone = 0;
  static constexpr int kString = 1;
  static constexpr int kConfigFile = 2;
  static constexpr int kInteger = 3;
  static constexpr int kLongLong = 4;
  static constexpr int kListFile = 5;
  static constexpr int kJson = 6;
  static constexpr int kDouble = 7;
  static constexpr int kContainer = 8;  // a name only; no element carries it

  int type = kNone;
  union Data {
    String* s;  // kString, kJson; pointers are owned
    ConfigFile* cf;
    int i;
    long long* ll;
    ListFile* lf;
    double d;
    void* pointer;
  } data{.pointer = nullptr};

  Container(const char* text, int copy);      // a string; with copy 0 it adopts the text
  Container(Logging* log, Container* other);  // a deep copy; of null, an element of no type
  ~Container();
  Container(const Container&) = delete;
  Container& operator=(const Container&) = delete;

  // Releases the value and leaves an element of no type.
  void delete_data();

  // Each replaces the value, by a deep copy or by adopting the pointer. A null one changes
  // nothing and returns false.
  bool set_s(String* value, bool copy);
  bool set_cf(Logging* log, ConfigFile* value, bool copy);
  bool set_lf(Logging* log, ListFile* value, bool copy);
  bool set_ll(long long* value, bool copy);

  // Whether values of this type live in the data word itself.
  static bool local_data(int type);

  // "String", "ConfigFile", ...; null for 0 and for codes that are none.
  static const char* get_type_str(int type);

  // This element against another (null: this comes last) or against a bare value: -1, 0 or 1.
  // A JSON text on the other side counts as a null string. A bare text may be null, other pointers
  // may not.
  int comp(Logging* log, Container* other, bool case_sensitive);
  int comp_type(int other_type) const;
  int comp_str(const char* text, bool case_sensitive) const;
  int comp_str(String* text, bool case_sensitive) const;
  int comp_cf(ConfigFile* cf) const;
  int comp_i(int v) const;
  int comp_ll(const long long* p) const;
  int comp_lf(ListFile* lf) const;
  int comp_d(double v) const;
  static int comp_void(void* a, void* b);
};
