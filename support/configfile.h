// An ordered table from names to owned values.
//
// Entries stand in slots 0 .. param - 1 in ascending order of their names (strcomp, or strcasecmp
// unless char_case) and are found by bisection. With wait_to_sort they stay as they were appended.
// Pointers returned by the accessors belong to the table and are invalid once their entry is
// replaced or removed. One thread at a time.
#pragma once

#include <cstdlib>
#include <memory>
#include <vector>

class ListFile;
class Logging;

// What a value is; type 1 in a table that is not multi_type.
constexpr int kTextValue = 1;         // owned text
constexpr int kConfigFileValue = 2;   // owned ConfigFile
constexpr int kNumberTextValue = 3;   // owned text, compared as a number
constexpr int kLongIntegerValue = 4;  // a 64-bit integer in the pointer itself
constexpr int kListFileValue = 5;     // owned ListFile
constexpr int kJsonValue = 6;         // owned text

// A record of zero bytes is an unused one: blocks of them cost no memory until they are used.
struct ParamEntry {
  char* name;            // null in an unused slot
  char* value;           // by type, see above; null in an unused slot
  int type_code;         // less kTextValue; moves with multi_type; get_type_at() tells
  int owned_code;        // the same of what `value` really points at, whatever the type was set to
  char short_name[16];   // where a short name stands, and a short copied text: an IPv4 address and
  char short_value[16];  // its time need no allocation of their own

  int ownedAs() const { return kTextValue + owned_code; }
};

// Attributes of the file that a table may stand for. Texts are owned.
struct FileInfo {
  char* filename;
  long m_time;
  long m_size;
  long read_start_point;
  unsigned int permission;
  char* user;
  char* group;
  bool use_defaults;
  char* comments;
  int file_errno;
  char file_separator;
  int file_option;
  bool file_flag;
};

class ConfigFile {
 public:
  Logging* logging;  // not owned, may be null
  char* result;      // owned message text; replaced by a new empty one in empty()
  char separator;    // this and the other file-form settings are kept and not read here
  int sep_afterseparator;
  char sep_after_ch;
  bool char_case;       // names differ by case
  FileInfo* file_info;  // owned, null until first needed
  ParamEntry** params;  // owned: `size` slots, each with its own record, used or not
  long long size;
  bool multi_type;  // entries carry a type
  long long param;  // entries in use
  bool changed;     // set by every call that may change the table, also when it then does not
  bool no_overwrite;
  bool wait_to_sort;  // entries stay in insertion order and are searched one by one
  short sort_type;    // how entries are ordered: 0 by name, 1 by number, 2 longest and 3 shortest
                      // name first. Lookups always compare names.
  bool insert_read;
  bool skip_safety_check;
  bool duplicate;  // the value is part of the key: a name may stand with several values
  bool lockit;
  char* caller_location;  // owned, may be null

  // `filename` may be null. The number of slots is taken as given; a negative one throws
  // std::bad_array_new_length. The user attribute becomes "nobody".
  ConfigFile(Logging* log, const char* filename, long long slots);

  // A deep copy of another table, or of none an empty one of 16 slots. Order settings and
  // `changed` are not copied, integers in the value word become null, and file name and comments
  // are empty texts where the other has none.
  ConfigFile(Logging* log, ConfigFile* cf);

  ~ConfigFile();
  ConfigFile(const ConfigFile&) = delete;
  ConfigFile& operator=(const ConfigFile&) = delete;

  // Gives every field but params and size its initial value and releases nothing.
  void init();

  // The slot of the entry, or -1. A null value matches any.
  long long getIndex(const char* name, const char* value);

  // The value of `name`, null when absent; for values that are no text, what they are.
  char* getValue(const char* name);

  // Name and value in slot i, null where there is none and for i = -1. Other indexes outside
  // 0 .. size - 1 are the caller's error.
  char* getNameAt(long long i);
  char* getValueAt(long long i);
  int get_type_at(long long i);

  // Stores `value` under `name`, replacing what was there; an entry that exists keeps its value
  // when the new one is null. With copy the table keeps a deep copy by `type` (null for types
  // that have none); without, it adopts the pointer. Returns false, stores nothing and leaves
  // `value` with the caller when the name is null, or empty without allow_empty_name.
  bool setParam(const char* name, const char* value, bool copy, int type, bool allow_empty_name);

  // Stores the number as decimal text.
  void setParam(const char* name, int value);

  // Removes the entry; a null value matches any. Later entries move up by one. An empty name
  // removes nothing: only empty() and deleteParams() do away with an entry that has one.
  void deleteParam(const char* name, const char* value);

  // Removes the entries whose names, spelled just so, stand in a list of texts. Both must be in the
  // order of strcomp, as they are by default: it costs one pass over them, however many there are.
  void deleteParams(const ListFile& names);

  // Removes every entry; the slots stay.
  void empty();

  // While gathering, new entries stand in a short sorted run behind the others before they are
  // merged with them, so that a hundred thousand insertions do not move a hundred thousand
  // pointers each. All members work as ever; only who looks into `params` sees the difference.
  void gather(bool on);

  // Makes room for one more entry: from `size` slots to four times as many below 64, twice from
  // there. 0 counts as 16.
  void ensureRoom();

  // Orders all entries, or those in slots lo .. hi; equal ones end in no particular order.
  void sort();
  void quickSort(long long lo, long long hi);

  // Moves an entry into an empty slot. False, with a trace, if that cannot be.
  bool move_params(long long from, long long to);

  // Closes the gap at the empty slot i: every entry behind it moves up.
  void shift_down_from(long long i);

  void init_file_info();
  void ensure_file_info();
  void delete_file_info();

  // These adopt their text and do not release the one stored before: that is the caller's.
  void set_filename(char* adopted);
  void set_user(char* adopted);
  void set_group(char* adopted);
  void set_comments(char* adopted);
  void set_permission(unsigned int permission);
  char* get_filename() const { return file_info ? file_info->filename : nullptr; }
  char* get_user() const { return file_info ? file_info->user : nullptr; }
  char* get_group() const { return file_info ? file_info->group : nullptr; }
  char* get_comments() const { return file_info ? file_info->comments : nullptr; }
  unsigned int get_permission() const { return file_info ? file_info->permission : 0; }

 private:
  // What the order of the entries depends on. It can be changed at any time; the next insertion
  // or deletion then sorts once.
  struct Order {
    short sort_type = 0;
    bool char_case = true;
    bool duplicate = false;
    bool operator==(const Order&) const = default;
  };
  Order currentOrder() const { return {sort_type, char_case, duplicate}; }
  bool inOrder() const { return sorted_ && sorted_by_ == currentOrder(); }

  // Entries wait in the recent run only while they stand by unique names. A member that sees the
  // table any other way calls settle() first.
  bool mayGather() const {
    return gathering_ && !wait_to_sort && inOrder() && sort_type == 0 && char_case && !duplicate;
  }

  void allocateSlots();
  void fillSlots(ParamEntry** slots, long long from, long long to);
  char* newValue(const char* value, bool copy, int type);
  void setValue(ParamEntry& entry, const char* value, bool copy, int type);
  void releaseName(long long slot);
  void releaseEntry(long long slot);

  int typeOf(const ParamEntry& entry) const;

  struct Name;
  struct Place;
  Name nameAt(long long slot) const;
  void setName(long long slot, const Name& name);
  int compareNames(long long slot, const Name& name, bool by_case) const;
  int compareInOrder(long long slot, const Name& name, const char* value) const;
  Place find(const Name& name, const char* value);
  Place findGathering(const Name& name) const;
  long long firstNotBefore(const Name& name, long long lo, long long hi) const;
  long long bisect(const Name& name, const char* value, long long lo, long long hi) const;
  long long findLinearly(const Name& name, const char* value) const;
  template <typename Predicate>
  static long long firstBehind(long long lo, long long hi, Predicate comes_behind);
  void swapSlots(long long a, long long b);
  void rotateSlots(long long first, long long middle, long long end);
  void placeLast(long long place);
  void settle();
  void closeGap(long long i);

  struct Free {
    void operator()(void* block) const { free(block); }
  };
  std::vector<std::unique_ptr<ParamEntry[], Free>>
      records_;                       // what the slots point at, a block for each growth
  std::vector<unsigned long> leads_;  // of the name in each slot, see leadOf()
  bool sorted_;                       // the entries stand in the order sorted_by_
  Order sorted_by_;
  bool gathering_;
  long long settled_;  // entries before this slot are in order, and so are those from it on;
                       // = param unless gathering
};
