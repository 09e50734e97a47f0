// An ordered table from names to owned values.
//
// Entries are in slots 0 .. param - 1 in ascending order of their names (strcomp, or strcasecomp
// unless char_case) and are found by bisection. With wait_to_sort they stay as they were appended.
// Pointers returned by the accessors belong to the table and are invalid once their entry is
// replaced or removed. One thread at a time.
//
// All fields may be read and written at any time: every member works on the table as it then
// is. Indexes outside of the slots are the caller's error.
#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "support/file_info.h"
#include "support/logging.h"

class ListFile;
namespace cv {
class NameIndex;
}

struct ParamEntry {
  char* name = nullptr;   // owned text; null in an unused slot
  char* value = nullptr;  // owned, by type; null in an unused slot
  intptr_t type = 1;      // what the value is: see the codes in ConfigFile
};

class ConfigFile {
 public:
  // Types of values.
  static constexpr int kText = 1;         // owned text
  static constexpr int kConfigFile = 2;   // owned ConfigFile
  static constexpr int kNumberText = 3;   // owned text, compared as a number
  static constexpr int kLongInteger = 4;  // a 64-bit integer in the pointer itself
  static constexpr int kListFile = 5;     // owned ListFile
  static constexpr int kJson = 6;         // owned text

  Logging* logging;  // not owned, may be null
  char* result;      // owned message text; replaced by a new empty one in empty()
  char separator;    // this and the other file-form settings are kept and not read here
  int sep_afterseparator;
  char sep_after_ch;
  bool char_case;       // names differ by case
  FileInfo* file_info;  // owned, null until first needed
  ParamEntry** params;  // owned: `size` slots, each with its own record, used or not
  long long size;
  bool multi_type;  // entries show their type; without it all pass for texts
  long long param;  // entries in use
  bool changed;     // set by every call that may change the table, even if it does not
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

  // The value of `name`, null when absent; for a value that is not a text, the name of its type.
  char* getValue(const char* name);

  // Name and value in slot i, null where there is none and for i = -1; the type in slot i, kText
  // where there is none and unless multi_type.
  char* getNameAt(long long i);
  char* getValueAt(long long i);
  int get_type_at(long long i);

  // Calls visit(name, value) for each entry in order: what the accessors give, faster where there
  // are many. `visit` must not change the table.
  template <typename Visit>
  void forEach(Visit visit) {
    settle();
    for (long long i = 0; i < param; ++i) {
      fetchAhead(i);
      if (params[i]) visit(params[i]->name, params[i]->value);
    }
  }

  // Stores `value` under `name`, replacing what was there; an entry that exists keeps its value
  // when the new one is null. With copy the table keeps a deep copy by `type` (null for types
  // that have none); without, it adopts the pointer. Returns false, stores nothing and leaves
  // `value` with the caller when the name is null, or empty without allow_empty_name.
  bool setParam(const char* name, const char* value, bool copy, int type, bool allow_empty_name);

  // Stores the number as decimal text.
  void setParam(const char* name, int value);

  // Removes the entry; a null value matches any. Later entries move up by one. An empty name
  // removes nothing: only empty() does away with an entry that has one.
  void deleteParam(const char* name, const char* value);

  // Removes all entries whose exact names are in a list of texts in default order.
  void deleteParams(const ListFile& names);

  // Removes every entry; the slots stay.
  void empty();

  // gather(true) announces many changes, gather(false) their end. In between an insertion or a
  // deletion costs the same however many entries there are. They are sorted once, at the end or
  // when a member needs it. All members work as usual; the caller must not touch the slots.
  void gather(bool on);

  // Makes room for one more entry: from `size` slots to four times as many below 64, twice from
  // there. 0 counts as 16.
  void ensureRoom();

  // Orders all entries, or those in slots lo .. hi; equal ones end in no particular order.
  void sort();
  void quickSort(long long lo, long long hi);

  // Moves an entry into an empty slot, where its type is kText. False, with a trace, if there is
  // no entry or the slot is not empty.
  bool move_params(long long from, long long to);

  // Closes the gap at the empty slot i: every entry behind it moves up.
  void shift_down_from(long long i);

  // Gives every attribute its initial value and releases nothing; file_info must not be null.
  void init_file_info() { *file_info = FileInfo(); }
  FileInfo& ensure_file_info() { return *(file_info ? file_info : file_info = new FileInfo); }
  void delete_file_info();

  // These adopt their text and do not release the one stored before: that is the caller's.
  void set_filename(char* adopted) { ensure_file_info().filename = adopted; }
  void set_user(char* adopted) { ensure_file_info().user = adopted; }
  void set_group(char* adopted) { ensure_file_info().group = adopted; }
  void set_comments(char* adopted) { ensure_file_info().comments = adopted; }
  void set_permission(unsigned int permission) { ensure_file_info().permission = permission; }
  char* get_filename() const { return file_info ? file_info->filename : nullptr; }
  char* get_user() const { return file_info ? file_info->user : nullptr; }
  char* get_group() const { return file_info ? file_info->group : nullptr; }
  char* get_comments() const { return file_info ? file_info->comments : nullptr; }
  unsigned int get_permission() const { return file_info ? file_info->permission : 0; }

 private:
  void allocateSlots();
  ParamEntry* newRecords(long long n);

  void fetchAhead(long long i) const;
  int typeOf(const ParamEntry& entry) const;
  void setValue(ParamEntry& entry, const char* value, bool copy, int type);
  void releaseEntry(ParamEntry& entry);

  int compareNames(const char* a, const char* b) const;
  int compareInOrder(long long slot, const char* name, const char* value) const;
  bool ordersByName() const;
  bool standsInOrder() const;
  long long bisect(const char* name, const char* value, long long lo, long long hi) const;
  long long findLinearly(const char* name, const char* value) const;
  long long find(const char* name, const char* value);

  bool gathers();
  void indexFrom(long long slot);
  long long findGathered(const char* name);
  void deleteGathered(long long slot);
  void settle();

  std::vector<std::unique_ptr<ParamEntry[]>> records_;  // what the slots point at
  // The real types of values whose entries move_params() has made texts.
  std::unordered_map<const char*, int> disguised_;

  bool gathering_ = false;  // new entries may wait to be sorted
  // Null unless some wait: the entries from the slot settled_ on, not sorted yet, are found by it.
  std::unique_ptr<cv::NameIndex> index_;
  long long settled_ = 0;
  long long searches_ = 0;  // since there is an index
};
