// Stands in front of the C library's calls that a render path must not make. Each counts when the thread is
// inside a trap and then goes on as usual.

#include "tests/realtime/RenderTrap.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/types.h>
#include <time.h>

#include <atomic>
#include <cstddef>

#include "tests/realtime/SystemCallTrap.h"

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);
}

namespace morv {
namespace {

thread_local int depth = 0;
std::atomic<long> caughtCalls{0};
std::atomic<const char*> lastCall{""};

void note(const char* call) noexcept {
  if (depth == 0) return;
  caughtCalls.fetch_add(1, std::memory_order_relaxed);
  lastCall.store(call, std::memory_order_relaxed);
}

// "system call 202", without a call of the C library.
void noteSystemCall(long number) noexcept {
  static char text[] = "system call ...";
  constexpr std::size_t kLastDigit = sizeof text - 2;
  for (std::size_t i = 0; i < 3; ++i, number /= 10)
    text[kLastDigit - i] = static_cast<char>('0' + number % 10);
  note(text);
}

template <typename Function>
Function next(const char* name) noexcept {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

RenderTrap::RenderTrap() noexcept {
  if (depth++ == 0 && catchesSystemCalls()) SystemCallTrap::arm();
}
RenderTrap::~RenderTrap() {
  if (--depth == 0) SystemCallTrap::disarm();
}
long RenderTrap::caught() noexcept { return caughtCalls.load(); }
const char* RenderTrap::lastCaught() noexcept { return lastCall.load(); }
bool RenderTrap::isArmed() noexcept { return true; }
bool RenderTrap::catchesSystemCalls() noexcept { return SystemCallTrap::isOffered(noteSystemCall); }

}  // namespace morv

extern "C" {

void* malloc(std::size_t size) {
  morv::note("malloc");
  return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
  morv::note("calloc");
  return __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
  morv::note("realloc");
  return __libc_realloc(memory, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
  morv::note("aligned_alloc");
  return __libc_memalign(alignment, size);
}
int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
  morv::note("posix_memalign");
  *memory = __libc_memalign(alignment, size);
  return *memory == nullptr ? 12 : 0;
}
void free(void* memory) {
  if (memory != nullptr) morv::note("free");
  __libc_free(memory);
}
int pthread_mutex_lock(pthread_mutex_t* mutex) {
  static const auto real = morv::next<int (*)(pthread_mutex_t*)>("pthread_mutex_lock");
  morv::note("pthread_mutex_lock");
  return real(mutex);
}
int pthread_mutex_trylock(pthread_mutex_t* mutex) {
  static const auto real = morv::next<int (*)(pthread_mutex_t*)>("pthread_mutex_trylock");
  morv::note("pthread_mutex_trylock");
  return real(mutex);
}
int pthread_rwlock_rdlock(pthread_rwlock_t* lock) {
  static const auto real = morv::next<int (*)(pthread_rwlock_t*)>("pthread_rwlock_rdlock");
  morv::note("pthread_rwlock_rdlock");
  return real(lock);
}
int pthread_rwlock_wrlock(pthread_rwlock_t* lock) {
  static const auto real = morv::next<int (*)(pthread_rwlock_t*)>("pthread_rwlock_wrlock");
  morv::note("pthread_rwlock_wrlock");
  return real(lock);
}
int pthread_spin_lock(pthread_spinlock_t* lock) {
  static const auto real = morv::next<int (*)(pthread_spinlock_t*)>("pthread_spin_lock");
  morv::note("pthread_spin_lock");
  return real(lock);
}
int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  static const auto real = morv::next<int (*)(pthread_cond_t*, pthread_mutex_t*)>("pthread_cond_wait");
  morv::note("pthread_cond_wait");
  return real(condition, mutex);
}
ssize_t write(int file, const void* bytes, std::size_t count) {
  static const auto real = morv::next<ssize_t (*)(int, const void*, std::size_t)>("write");
  morv::note("write");
  return real(file, bytes, count);
}
ssize_t read(int file, void* bytes, std::size_t count) {
  static const auto real = morv::next<ssize_t (*)(int, void*, std::size_t)>("read");
  morv::note("read");
  return real(file, bytes, count);
}
int nanosleep(const timespec* wanted, timespec* left) {
  static const auto real = morv::next<int (*)(const timespec*, timespec*)>("nanosleep");
  morv::note("nanosleep");
  return real(wanted, left);
}
}
