// An ordered list of owned elements: texts, address texts or Containers.
//
// Elements are in slots 0 .. count - 1, in ascending order and each once. With kUnsorted they are
// in the order in which they were appended, and may repeat. One thread at a time.
//
// All fields may be read and written at any time: every member works on the list as it then is.
#pragma once

#include "support/logging.h"

class Container;

class ListFile {
 public:
  // Kinds of element, in listType.
  static constexpr int kTexts = 0;
  static constexpr int kIpv4Texts = 1;
  static constexpr int kIpv6Texts = 2;
  static constexpr int kContainers = 3;

  // Bits of `settings`.
  static constexpr unsigned char kCaseSensitive = 0x01;
  static constexpr unsigned char kChanged = 0x02;  // set by addElement
  static constexpr unsigned char kUnsorted = 0x04;
  static constexpr unsigned char kDefaultSettings = 0x11;

  Logging* log;    // not owned, may be null
  char* filename;  // owned, may be null
  char* text;      // owned; not used here
  int listType;
  long long capacity;  // slots; from 64 on it doubles
  int count;           // elements in use
  void** elements;     // owned; slots from count on are null
  long m_time;
  long m_size;
  unsigned char settings;
  char* user;   // owned
  char* group;  // owned, may be null
  int permission;

  // `path` may be null. The user attribute becomes "nobody".
  ListFile(Logging* log_to, const char* path);

  // A deep copy, or of null an empty list. Times, size and settings are not copied.
  ListFile(Logging* log_to, ListFile* other);

  ~ListFile();
  ListFile(const ListFile&) = delete;
  ListFile& operator=(const ListFile&) = delete;

  // Gives every field but the slots its initial value and releases nothing.
  void init();

  // Makes room for one more element.
  void ensureRoom();

  // Turns the elements of a list of texts into Containers, which adopt them.
  void set_to_Container_type();

  // The slot of an equal element, or -1, also for null. With key_is_container `key` is a Container.
  // With kUnsorted a list of Containers takes any key for a text.
  int getIndex(const char* key, bool key_is_container);

  // What addElement() would store. With copy it is a copy by the list's kind, which the caller
  // owns. Without copy it is the pointer itself; a list of Containers wraps a text in a new
  // Container.
  void* get_value_ptr(const char* value, bool copy, bool value_is_container);

  // Adds a text, or with value_is_container a Container, which makes this a list of Containers.
  // Null, empty and typeless values change nothing. Without copy the list adopts `value`; an
  // element that the list already has is refused and stays the caller's.
  void addElement(const char* value, bool copy, bool value_is_container);

  // gather(true) announces many texts that come in ascending order, gather(false) their end. In
  // between, adding such a text costs the same however many elements there are. Other values may be
  // added too. The caller must not write to the fields meanwhile.
  void gather(bool on);

  // Orders all elements, or those in slots lo .. hi; equal ones end in no particular order.
  void sort();
  void quickSort(int lo, int hi);

  // Releases every element; the slots stay.
  void empty();

  bool get_setting(unsigned char mask) const { return (settings & mask) != 0; }
  void set_setting(unsigned char mask, bool on);
  long get_m_time() const { return m_time; }
  void set_m_time(long seconds) { m_time = seconds; }
  long get_m_size() const { return m_size; }
  void set_m_size(long bytes) { m_size = bytes; }
  char* get_filename() const { return filename; }
  char* get_user() const { return user; }
  char* get_group() const { return group; }
  int get_permission() const { return permission; }

 private:
  int lfcomp(const void* a, const void* b) const;
  int compareKey(const char* key, bool key_is_container, void* element) const;
  bool standsInOrder() const;
  void releaseElement(void*& element) const;

  bool gathering_ = false;  // the elements stand in order: nobody need look
};
