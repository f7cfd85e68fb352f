// captured.h: what a piece of code writes to one of the process's streams.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <string>

// Runs `body` and returns what it, and processes it started, wrote to `stream` (stdout or stderr).
template <class Body>
std::string captured(FILE* stream, Body body) {
  fflush(stream);
  const int fd = fileno(stream);
  const int saved = dup(fd);
  const int memory = memfd_create("captured", 0);
  dup2(memory, fd);
  body();
  fflush(stream);
  dup2(saved, fd);
  close(saved);
  std::string text;
  char piece[4096];
  lseek(memory, 0, SEEK_SET);
  for (ssize_t n; (n = read(memory, piece, sizeof piece)) > 0;) text.append(piece, static_cast<size_t>(n));
  close(memory);
  return text;
}
