/* Stands between a program and the system, preloaded, and fails as a file says that the test writes
 * meanwhile: four bytes, one for each kind of fault, 0 for none, then by how many seconds the wall
 * clock is wrong. */

#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <netdb.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

enum { LOOKUPS, THREADS, DISK };
enum { LOOKUPS_FAIL = 1, LOOKUPS_HANG };
enum { DISK_FULL = 1, DISK_READ_ONLY };

struct Faults {
  char kinds[4];
  int32_t clock;
};
static const volatile struct Faults* faults;

__attribute__((constructor)) static void begin(void) {
  const char* name = getenv("ORVIK_FAULTS");
  const int file = name == NULL ? -1 : open(name, O_RDONLY | O_CLOEXEC);
  void* mapped = file < 0 ? MAP_FAILED : mmap(NULL, sizeof(struct Faults), PROT_READ, MAP_SHARED, file, 0);
  if (mapped != MAP_FAILED) {
    faults = mapped;
  }
  close(file);
}

static int fault(int kind) { return faults == NULL ? 0 : faults->kinds[kind]; }
static int32_t clockError(void) { return faults == NULL ? 0 : faults->clock; }

#define REAL(name) ((__typeof__(&name))dlsym(RTLD_NEXT, #name))

int clock_gettime(clockid_t clock, struct timespec* now) {
  const int result = REAL(clock_gettime)(clock, now);
  now->tv_sec += clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE ? clockError() : 0;
  return result;
}

int gettimeofday(struct timeval* now, void* zone) {
  const int result = REAL(gettimeofday)(now, zone);
  now->tv_sec += clockError();
  return result;
}

time_t time(time_t* now) {
  const time_t result = REAL(time)(NULL) + clockError();
  if (now != NULL) {
    *now = result;
  }
  return result;
}

/* With time that libfaketime lets run faster: its clocks and waits, but not the timers that the
 * programs have. Their values are in its time, and become a real wait from now on. */
int timerfd_settime(int timer, int flags, const struct itimerspec* value, struct itimerspec* old) {
  const char* speed = getenv("ORVIK_SPEED");
  struct itimerspec real = *value;
  if (speed != NULL && (value->it_value.tv_sec != 0 || value->it_value.tv_nsec != 0)) {
    double wait = (double)value->it_value.tv_sec + (double)value->it_value.tv_nsec / 1e9;
    if ((flags & TFD_TIMER_ABSTIME) != 0) {
      struct timespec now;
      clock_gettime(CLOCK_BOOTTIME, &now);
      wait -= (double)now.tv_sec + (double)now.tv_nsec / 1e9;
    }
    wait = wait / atof(speed);
    real.it_value.tv_sec = wait > 0 ? (time_t)wait : 0;
    real.it_value.tv_nsec = wait > 0 ? 1 + (long)((wait - (double)real.it_value.tv_sec) * 1e9) % 999999999 : 1;
    flags = 0;
  }
  return (int)syscall(SYS_timerfd_settime, timer, flags, &real, old);
}

int getaddrinfo(const char* node, const char* service, const struct addrinfo* hints,
                struct addrinfo** result) {
  const struct timespec pause = {0, 20 * 1000 * 1000};
  while (fault(LOOKUPS) == LOOKUPS_HANG) {
    nanosleep(&pause, NULL);
  }
  if (fault(LOOKUPS) == LOOKUPS_FAIL) {
    return EAI_AGAIN;
  }
  return REAL(getaddrinfo)(node, service, hints, result);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                   void* argument) {
  return fault(THREADS) ? EAGAIN : REAL(pthread_create)(thread, attributes, start, argument);
}

static int isOnDisk(int file) {
  struct stat status;
  return fault(DISK) && fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

static int refused(void) {
  errno = fault(DISK) == DISK_READ_ONLY ? EROFS : ENOSPC;
  return -1;
}

ssize_t write(int file, const void* data, size_t size) {
  return isOnDisk(file) ? refused() : REAL(write)(file, data, size);
}

ssize_t pwrite64(int file, const void* data, size_t size, off64_t offset) {
  return isOnDisk(file) ? refused() : REAL(pwrite64)(file, data, size, offset);
}

static int isReadOnly(void) { return fault(DISK) == DISK_READ_ONLY; }

int ftruncate64(int file, off64_t size) {
  return isReadOnly() && isOnDisk(file) ? refused() : REAL(ftruncate64)(file, size);
}

int unlink(const char* path) { return isReadOnly() ? refused() : REAL(unlink)(path); }

int rename(const char* from, const char* to) {
  return isReadOnly() ? refused() : REAL(rename)(from, to);
}

/* Programs that hold keys let nobody look at them; here, what they use is to be seen. */
int prctl(int option, ...) {
  va_list arguments;
  va_start(arguments, option);
  const unsigned long first = va_arg(arguments, unsigned long);
  const unsigned long second = va_arg(arguments, unsigned long);
  const unsigned long third = va_arg(arguments, unsigned long);
  const unsigned long fourth = va_arg(arguments, unsigned long);
  va_end(arguments);
  return option == PR_SET_DUMPABLE
             ? 0
             : (int)syscall(SYS_prctl, option, first, second, third, fourth);
}

/* What is there can be opened for writing on a full disk, not on one that is read-only. */
static int opened(const char* name, const char* path, int flags, va_list arguments) {
  const int creates = (flags & O_CREAT) != 0 || (flags & __O_TMPFILE) == __O_TMPFILE;
  const mode_t mode = creates ? va_arg(arguments, mode_t) : 0;
  struct stat status;
  const int exists = stat(path, &status) == 0;
  const int writes = (flags & O_ACCMODE) != O_RDONLY && isReadOnly();
  if (fault(DISK) && (exists ? writes && S_ISREG(status.st_mode) : creates)) {
    return refused();
  }
  return ((int (*)(const char*, int, ...))dlsym(RTLD_NEXT, name))(path, flags, mode);
}

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const int file = opened("open", path, flags, arguments);
  va_end(arguments);
  return file;
}

int open64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const int file = opened("open64", path, flags, arguments);
  va_end(arguments);
  return file;
}
