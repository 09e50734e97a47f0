// Whether the mail servers on this machine read the host file.
#pragma once

#include <string>

#include "why/report.h"

// Asks Exim and Postfix, whichever is here, for their settings, which changes nothing, and says by
// which command to ask them about this address.
void askMailServers(Report& report, const std::string& address);
