// Preloaded into a program under test: makes its writes to regular files fail.
//
//   TAVRO_FAULT_AT=n       the n-th writing call fails, the others work
//   TAVRO_FAULT_FROM=n     that one and all after it fail: a full disk
//   TAVRO_FAULT_READONLY=1 every opening for writing, and every change of a directory, fails: a read-only disk
//   TAVRO_FAULT_MARKER=f   f is made when a fault was given out
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

static int number(const char* name) {
  const char* text = getenv(name);
  return text ? atoi(text) : 0;
}

static void mark(void) {
  const char* marker = getenv("TAVRO_FAULT_MARKER");
  if (marker) syscall(SYS_close, syscall(SYS_open, marker, O_CREAT | O_WRONLY, 0600));
}

static int regular(int descriptor) {
  struct stat status;
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

static int fails(int full) {
  static int count = 0;
  ++count;
  const int at = number("TAVRO_FAULT_AT");
  const int from = number("TAVRO_FAULT_FROM");
  if (!(at && count == at) && !(from && count >= from)) return 0;
  mark();
  errno = full;
  return 1;
}

static int readOnly(void) {
  if (!number("TAVRO_FAULT_READONLY")) return 0;
  mark();
  errno = EROFS;
  return 1;
}

#define NEXT(result, name, ...) ((result(*)(__VA_ARGS__))dlsym(RTLD_NEXT, name))

ssize_t write(int descriptor, const void* bytes, size_t count) {
  if (regular(descriptor) && fails(ENOSPC)) return -1;
  return NEXT(ssize_t, "write", int, const void*, size_t)(descriptor, bytes, count);
}
ssize_t pwrite(int descriptor, const void* bytes, size_t count, off_t offset) {
  if (fails(ENOSPC)) return -1;
  return NEXT(ssize_t, "pwrite", int, const void*, size_t, off_t)(descriptor, bytes, count, offset);
}
ssize_t pwrite64(int descriptor, const void* bytes, size_t count, off64_t offset) {
  if (fails(ENOSPC)) return -1;
  return NEXT(ssize_t, "pwrite64", int, const void*, size_t, off64_t)(descriptor, bytes, count, offset);
}
int fsync(int descriptor) {
  if (fails(EIO)) return -1;
  return NEXT(int, "fsync", int)(descriptor);
}
int fdatasync(int descriptor) {
  if (fails(EIO)) return -1;
  return NEXT(int, "fdatasync", int)(descriptor);
}
int rename(const char* from, const char* to) {
  if (readOnly() || fails(ENOSPC)) return -1;
  return NEXT(int, "rename", const char*, const char*)(from, to);
}
int mkdir(const char* path, mode_t mode) {
  if (readOnly() || fails(ENOSPC)) return -1;
  return NEXT(int, "mkdir", const char*, mode_t)(path, mode);
}
int chmod(const char* path, mode_t mode) {
  if (readOnly()) return -1;
  return NEXT(int, "chmod", const char*, mode_t)(path, mode);
}

static int opened(const char* name, const char* path, int flags, mode_t mode) {
  if ((flags & O_ACCMODE) != O_RDONLY && strncmp(path, "/dev/", 5) != 0 && readOnly()) return -1;
  if ((flags & O_CREAT) && access(path, F_OK) != 0 && fails(ENOSPC)) return -1;
  return NEXT(int, name, const char*, int, ...)(path, flags, mode);
}
int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & O_CREAT) ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return opened("open", path, flags, mode);
}
int open64(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & O_CREAT) ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return opened("open64", path, flags, mode);
}
