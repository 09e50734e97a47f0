// The least that writing records can cost: open, write and close, once for each line of the
// standard input, which is a path, a tab and the record.
//
//   write_records truncate|append < LIST
//
// A record that replaces a file's content is written without the line end.
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

int main(int argc, char** argv) {
  const int how = argc > 1 && strcmp(argv[1], "append") == 0 ? O_APPEND : O_TRUNC;
  static char line[8192];
  while (fgets(line, sizeof line, stdin)) {
    char* record = strchr(line, '\t');
    if (!record) return 2;
    *record++ = '\0';
    const int file = open(line, O_WRONLY | O_CREAT | how, 0666);
    if (file == -1) return 1;
    if (write(file, record, strlen(record) - (how == O_TRUNC)) == -1) return 1;
    close(file);
  }
  return 0;
}
