#include "daemon/bandwidth.h"

#include <cerrno>
#include <cstring>
#include <string_view>

#include "daemon/activity_log.h"
#include "daemon/paths.h"
#include "daemon/record_file.h"
#include "support/cv_string.h"
#include "support/text_helpers.h"

namespace {

constexpr int kLongestName = 256;

struct Traffic {
  long long inbound = 0;  // bytes from the client
  long long outbound = 0;

  // Wraps where the sum does not fit.
  long long total() const {
    return static_cast<long long>(static_cast<unsigned long long>(inbound) +
                                  static_cast<unsigned long long>(outbound));
  }
};

// "pop3(NAME)<pid><session>: EVENT": the text behind the first blank after the name, or null. If
// the name is empty, its ')' is skipped, and the event begins after the next ')'.
const char* eventText(const char* open) {
  return behindChar(findChar(open + 2, ')'), ' ', 1);
}

bool endsSession(const char* event) {
  static constexpr std::string_view kEnds[] = {"Disconnected: Logged out", "Logged out",
                                               "Disconnected for inactivity",
                                               "Disconnected: Disconnected in IDLE"};
  return startsWithAny(event, kEnds);
}

// Where `field` begins in the event, or null.
const char* findField(const char* event, const char* field) {
  const char* found = findString(event, field, 1);
  return *found == '\0' ? nullptr : found;
}

// Reads "IN" and, if `separator` follows it, "OUT". A blank at the start of the separator stands
// for any white space, as in scanf's formats. What cannot be read stays 0.
void readCounts(const char* counts, const char* separator, Traffic& traffic) {
  const char* p = counts;
  if (!readLongLong(p, traffic.inbound)) return;
  if (*separator == ' ') {
    p += strspn(p, " \t\n\v\f\r");
    ++separator;
  }
  if (!startsWith(p, separator)) return;
  p += strlen(separator);
  readLongLong(p, traffic.outbound);
}

// False if the event names no byte counts in any of the forms.
bool readTraffic(const char* event, bool is_pop, Traffic& traffic) {
  const char* traced = nullptr;
  if (const char* bytes = findField(event, " bytes=")) {
    traced = bytes + strlen(" bytes=");
    readCounts(traced, "/", traffic);
  } else if (is_pop) {
    // This form is not traced, unlike the others: those who compare traces expect it so.
    const char* retrieved = findField(event, " retr=");
    const char* bytes_out = retrieved ? behindChar(retrieved, '/', 1) : nullptr;
    if (!bytes_out) return false;
    readLongLong(bytes_out, traffic.outbound);
  } else {
    traced = findField(event, " in=");
    if (!traced) return false;
    readCounts(traced + strlen(" in="), " out=", traffic);
  }
  if (traced)
    trace("got in=%lld and out=%lld from %s\n", traffic.inbound, traffic.outbound, traced);
  return true;
}

void recordTraffic(const char* login, const char* type, const Traffic& traffic, long when) {
  const LoginName name(login);
  if (refuseName("log_dovecot_bandwidth", name)) return;
  const OwnedText path(name.newPath("/dovecot.bytes"));
  const OwnedText record(
      newJoined({Decimal(traffic.total()), "=type=", type, "&inbound=", Decimal(traffic.inbound),
                 "&outbound=", Decimal(traffic.outbound), "&email=", name.whole,
                 "&log_time=", Decimal(when), "\n"}));
  if (!appendRecord(path.get(), record.get())) {
    const int error = errno;
    // Without a folder nothing is recorded, and nothing is wrong.
    const OwnedText folder(name.newPath());
    if (exists(folder.get()))
      log("Cannot open %s for logging dovecot bytes: %s", path.get(), strerror(error));
    return;
  }
  trace("Logged in=%lld out=%lld for user=%s with type=%s to %s\n", traffic.inbound,
        traffic.outbound, login, type, path.get());
}

}  // namespace

void log_dovecot_bandwidth(const char* message, long when) {
  const bool is_pop = startsWith(message, "pop3(");
  const char* open = findChar(message, '(');
  if (*open == '\0') return;
  const OwnedText login(newStringUntil(open + 1, ')', kLongestName, 0));
  if (!login) return;
  const char* event = eventText(open);
  if (!event) return;
  if (!endsSession(event)) {
    trace("not a disconnect, skipping: %s\n", event);
    return;
  }
  Traffic traffic;
  if (readTraffic(event, is_pop, traffic))
    recordTraffic(login.get(), is_pop ? "pop" : "imap", traffic, when);
}
