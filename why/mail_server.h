// Whether the mail servers on this machine read the host file.
#pragma once

#include <string>

#include "why/report.h"

// Asks Exim and Postfix, whichever is installed, for their settings; this changes nothing. Reports
// the command that asks them about this address.
void askMailServers(Report& report, const std::string& address);
