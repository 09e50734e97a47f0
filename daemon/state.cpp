#include "daemon/state.h"

constexpr long long kTableSlots = 16;

int is_daemon = 1;
int buff_size = 256;
int64_t oldest_host = 0x7fffffff;
int minutes = 30;
const char* const months[13] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",  "Jul",
                                "Aug", "Sep", "Oct", "Nov", "Dec", nullptr};

// The order matters: the tables report through `logging`, which must be made first and released
// last.
Logging logging;
ConfigFile host_list(&logging, nullptr, kTableSlots);
ConfigFile user_list(&logging, nullptr, kTableSlots);
ConfigFile process_ips(&logging, nullptr, kTableSlots);
ListFile oldies(&logging, static_cast<const char*>(nullptr));
ConfigFile last_login(&logging, nullptr, kTableSlots);

char* log_file = nullptr;
char* buffer = nullptr;
FILE* hosts = nullptr;
struct stat filestat = {};
FILE* maillog = nullptr;
long long file_size = 0;
long long last_modification = 0;
long long last_pos = 0;
char email_buff[256] = {};
