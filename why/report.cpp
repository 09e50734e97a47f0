#include "why/report.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdio>

#include "support/text_helpers.h"

namespace {

constexpr int kGreen = 32;
constexpr int kRed = 31;
constexpr int kYellow = 33;

std::string withArguments(const char* format, va_list args) {
  const OwnedText text(newStringv(format, args));
  return text.get();
}

}  // namespace

Report::Report(bool brief) : brief_(brief), colours_(isatty(STDOUT_FILENO) == 1) {}

void Report::fine(const char* format, ...) {
  va_list args;
  va_start(args, format);
  if (!brief_) print("fine", kGreen, withArguments(format, args));
  va_end(args);
}

void Report::note(const char* format, ...) {
  va_list args;
  va_start(args, format);
  print("note", 0, withArguments(format, args));
  va_end(args);
}

void Report::wrong(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const std::string text = withArguments(format, args);
  va_end(args);
  if (wrongs_++ == 0) first_wrong_ = text;
  print("WRONG", kRed, text);
}

void Report::unknown(const char* format, ...) {
  va_list args;
  va_start(args, format);
  ++unknowns_;
  print("????", kYellow, withArguments(format, args));
  va_end(args);
}

void Report::quote(const std::string& line) const {
  printf("      %s\n", shown(line).c_str());
}

void Report::verdict(bool good, const std::string& text) const {
  if (colours_)
    printf("\033[1;%dm%s\033[0m\n", good ? kGreen : kRed, text.c_str());
  else
    printf("%s\n", text.c_str());
}

void Report::print(const char* label, int colour, const std::string& text) const {
  if (colours_)
    printf("\033[%dm%-5s\033[0m %s\n", colour, label, text.c_str());
  else
    printf("%-5s %s\n", label, text.c_str());
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
  std::string text = withArguments(format, args);
  va_end(args);
  return text;
}
