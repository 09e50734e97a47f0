#include "why/report.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdio>

#include "support/text_helpers.h"

Report::Report(bool brief) : brief_(brief), colours_(isatty(STDOUT_FILENO) == 1) {}

void Report::say(Found found, const char* format, ...) {
  static constexpr struct {
    const char* label;
    int colour;
  } kLabels[] = {{"fine", 32}, {"note", 0}, {"WRONG", 31}, {"????", 33}};
  va_list args;
  va_start(args, format);
  const OwnedText text(newStringv(format, args));
  va_end(args);
  if (++counts_[static_cast<int>(found)] == 1 && found == Found::kWrong) first_wrong_ = text.get();
  if (brief_ && found == Found::kFine) return;
  const auto& [label, colour] = kLabels[static_cast<int>(found)];
  if (colours_)
    printf("\033[%dm%-5s\033[0m %s\n", colour, label, text.get());
  else
    printf("%-5s %s\n", label, text.get());
}

void Report::quote(const std::string& line) const {
  printf("      %s\n", shown(line).c_str());
}

void Report::conclude(bool good, const std::string& text) const {
  if (colours_)
    printf("\033[1;%dm%s\033[0m\n", good ? 32 : 31, text.c_str());
  else
    puts(text.c_str());
}

std::string clockTime(time_t when) {
  const time_t now = time(nullptr);
  const tm today = *localtime(&now);
  const tm* date = localtime(&when);
  if (!date) return "a time beyond all calendars";
  const bool is_today = date->tm_year == today.tm_year && date->tm_yday == today.tm_yday;
  char text[64];
  strftime(text, sizeof text, is_today ? "%H:%M" : "%Y-%m-%d %H:%M", date);
  return text;
}

std::string shown(std::string_view text) {
  return escaped(text, "\\");
}

std::string formatted(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const OwnedText text(newStringv(format, args));
  va_end(args);
  return text.get();
}
