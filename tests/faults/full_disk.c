// Loaded before the C library: the disk is full from the FULL_DISK_FROM-th write on, or with FULL_DISK_ONCE
// at that one alone. What goes to no regular file is no write to a disk. FULL_DISK_COUNT is a file that gets
// the number of writes.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

static int calls;

static int Full(int file) {
  static int from = -1;
  struct stat about;
  if (file >= 0 && (fstat(file, &about) != 0 || !(S_ISREG(about.st_mode) || S_ISDIR(about.st_mode))))
    return 0;
  if (from < 0) from = getenv("FULL_DISK_FROM") ? atoi(getenv("FULL_DISK_FROM")) : 0;
  const int call = __atomic_add_fetch(&calls, 1, __ATOMIC_SEQ_CST);
  if (from == 0 || call < from || (call > from && getenv("FULL_DISK_ONCE"))) return 0;
  errno = ENOSPC;
  return 1;
}

#define REPLACED(result, name, parameters, arguments, file) \
  result name parameters {                                  \
    static result(*next) parameters;                        \
    if (!next) *(void**)&next = dlsym(RTLD_NEXT, #name);    \
    return Full(file) ? -1 : next arguments;                \
  }

REPLACED(ssize_t, write, (int file, const void* bytes, size_t size), (file, bytes, size), file)
REPLACED(ssize_t, writev, (int file, const struct iovec* pieces, int count), (file, pieces, count), file)
REPLACED(ssize_t, pwrite, (int file, const void* bytes, size_t size, off_t at), (file, bytes, size, at), file)
REPLACED(ssize_t, pwrite64, (int file, const void* bytes, size_t size, off64_t at), (file, bytes, size, at),
         file)
REPLACED(ssize_t, pwritev, (int file, const struct iovec* pieces, int count, off_t at),
         (file, pieces, count, at), file)
REPLACED(ssize_t, pwritev64, (int file, const struct iovec* pieces, int count, off64_t at),
         (file, pieces, count, at), file)
REPLACED(ssize_t, copy_file_range,
         (int in, off64_t* inAt, int out, off64_t* outAt, size_t size, unsigned flags),
         (in, inAt, out, outAt, size, flags), out)
REPLACED(ssize_t, sendfile, (int out, int in, off_t* at, size_t size), (out, in, at, size), out)
REPLACED(ssize_t, sendfile64, (int out, int in, off64_t* at, size_t size), (out, in, at, size), out)
REPLACED(int, ftruncate, (int file, off_t size), (file, size), file)
REPLACED(int, ftruncate64, (int file, off64_t size), (file, size), file)
REPLACED(int, fsync, (int file), (file), file)
REPLACED(int, fdatasync, (int file), (file), file)
REPLACED(int, renameat2, (int at, const char* from, int toAt, const char* to, unsigned flags),
         (at, from, toAt, to, flags), -1)
REPLACED(int, rename, (const char* from, const char* to), (from, to), -1)

__attribute__((destructor)) static void Tell(void) {
  const char* const name = getenv("FULL_DISK_COUNT");
  FILE* const file = name ? fopen(name, "w") : NULL;
  if (!file) return;
  fprintf(file, "%d", calls);
  fclose(file);
}
