// Reading what the code under test has left behind.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "daemon/paths.h"
#include "support/configfile.h"

// Tests write the daemon's real paths: no program of theirs runs on those of the machine.
inline const bool is_private = [] {
  if (access("/run/private/etc", F_OK) == 0) return true;
  fputs("Not in a private namespace, see scripts/in-private-namespace\n", stderr);
  exit(2);
}();

using Table = std::map<std::string, std::string>;

inline Table entriesOf(ConfigFile& table) {
  Table entries;
  for (long long i = 0; i < table.param; ++i) entries[table.getNameAt(i)] = table.getValueAt(i);
  return entries;
}

inline std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void write(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

inline std::vector<std::string> linesOf(const std::string& content) {
  std::istringstream stream(content);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// All files in the folders of records, by their paths.
inline Table recordsWritten() {
  Table files;
  for (const char* folder : {kDomains, kPanelUsers})
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
      if (entry.is_regular_file()) files[entry.path()] = contentOf(entry.path());
  return files;
}

// The messages in the activity log, without their stamps, since the last call.
inline std::vector<std::string> newActivity() {
  std::vector<std::string> messages;
  for (const std::string& line : linesOf(contentOf(kActivityLog)))
    messages.push_back(line.substr(std::string("YYYY:MM:DD-HH:MM:SS: ").size()));
  remove(kActivityLog);
  return messages;
}
