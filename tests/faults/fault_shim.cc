// Stands between the helper and the C library, preloaded into the helper alone, and makes one call
// go wrong: the one that the sweep has written into a file that both have mapped. While it is
// armed it counts the calls and writes each down, in the order in which they ended.
// Everything else passes through unchanged.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// The C library's own, which need no look-up: a look-up may allocate.
extern "C" {
void* libraryMalloc(std::size_t size) __asm__("__libc_malloc");
void* libraryCalloc(std::size_t count, std::size_t size) __asm__("__libc_calloc");
void* libraryRealloc(void* block, std::size_t size) __asm__("__libc_realloc");
}

namespace {

enum class Action : std::uint32_t { pass, fail, failAfterwards, shorten, kill };

// The sweep reads and writes this at the same offsets.
struct Control {
  std::atomic<std::uint32_t> armed;
  Action action;
  std::uint32_t ordinal;  // the first of `calls` that goes wrong, from 1
  std::uint32_t lasting;  // so do all after it
  std::int32_t error;
  std::atomic<std::uint32_t> arrived;
  std::atomic<std::uint32_t> fired;
  std::atomic<std::uint32_t> allocations;
  std::atomic<std::uint32_t> recordedBytes;
  std::array<char, 220> calls;  // names with a blank on either side
  // A line per call: name, error or 0, the allocations before it, what it is about.
  std::array<char, 1 << 20> records;
};
static_assert(offsetof(Control, records) == 256);

Control* control = nullptr;

// The tools that the helper starts must not be met by this. There is one thread only.
// NOLINTBEGIN(concurrency-mt-unsafe)
__attribute__((constructor)) void start() {
  const char* path = std::getenv("FAULT_SHIM_CONTROL");
  if (path == nullptr) return;
  const auto descriptor = static_cast<int>(::syscall(SYS_open, path, O_RDWR | O_CLOEXEC));
  void* memory =
      ::mmap(nullptr, sizeof(Control), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  ::syscall(SYS_close, descriptor);
  if (memory == MAP_FAILED) std::abort();
  ::unsetenv("LD_PRELOAD");
  ::unsetenv("FAULT_SHIM_CONTROL");
  control = static_cast<Control*>(memory);
}
// NOLINTEND(concurrency-mt-unsafe)

bool isArmed() {
  return control != nullptr && control->armed != 0;
}

Action judge(const char* call) {
  if (std::strstr(control->calls.data(), call) == nullptr) return Action::pass;
  const std::uint32_t number = ++control->arrived;
  if (number < control->ordinal || (number > control->ordinal && control->lasting == 0)) {
    return Action::pass;
  }
  ++control->fired;
  if (control->action == Action::kill) {
    ::kill(::getpid(), SIGKILL);
    for (;;) ::pause();
  }
  return control->action;
}

// What a call is about: a path, a descriptor, or a name in an opened folder.
struct Subject {
  int descriptor = AT_FDCWD;
  const char* name = "";
};
using Description = std::array<char, 250>;

Description describe(const Subject& subject) {
  Description text{};
  std::size_t size = 0;
  if (subject.descriptor >= 0) {
    std::array<char, 32> link;
    std::snprintf(link.data(), link.size(), "/proc/self/fd/%d", subject.descriptor);
    const long count = ::syscall(SYS_readlink, link.data(), text.data(), text.size() - 1);
    size = count > 0 ? static_cast<std::size_t>(count) : 0;
  }
  const char* separator = size > 0 && subject.name[0] != '\0' ? "/" : "";
  std::snprintf(text.data() + size, text.size() - size, "%s%s", separator, subject.name);
  return text;
}

void record(const char* call, int error, std::uint32_t allocations, const Description& subject) {
  std::array<char, 400> line;
  const auto size = static_cast<std::uint32_t>(std::snprintf(
      line.data(), line.size(), "%s%d %u %s\n", call, error, allocations, subject.data()));
  const std::uint32_t at = control->recordedBytes.fetch_add(size);
  if (at + size <= control->records.size()) std::memcpy(&control->records[at], line.data(), size);
}

template <typename Result>
constexpr Result failure = -1;
template <>
constexpr void* failure<void*> = nullptr;  // without an error it is the end of a folder

// `real` is told whether to do half of what is asked for. It sets errno when it fails, unless it
// returns its error.
template <bool returnsError = false, typename Real>
auto intercept(const char* call, const Subject& subject, Real real) {
  using Result = decltype(real(false));
  if (!isArmed() || call == nullptr) return real(false);
  const int before = errno;
  const std::uint32_t allocations = control->allocations;
  const Description description = describe(subject);  // before the call, which may close it
  const Action action = judge(call);
  Result result = failure<Result>;
  errno = 0;
  if (action != Action::fail) result = real(action == Action::shorten);
  int error = result == failure<Result> ? errno : 0;
  if constexpr (returnsError) error = result;
  if (action == Action::fail || action == Action::failAfterwards) {
    error = control->error;
    result = failure<Result>;
    if constexpr (returnsError) result = error;
  }
  record(call, error, allocations, description);
  errno = error != 0 && !returnsError ? error : before;
  return result;
}

template <typename Real>
void* interceptAllocation(Real real) {
  if (!isArmed()) return real();
  ++control->allocations;
  if (judge(" allocate ") == Action::pass) return real();
  errno = ENOMEM;
  return nullptr;
}

template <typename Size>
Size portion(Size size, bool half) {
  return half && size > 1 ? size / 2 : size;
}

template <typename Object>
Object* pointer(long word) {
  return reinterpret_cast<Object*>(word);  // NOLINT(performance-no-int-to-ptr)
}

// Half of a message is half of its first piece.
template <typename Transfer>
long transfer(msghdr& message, bool half, Transfer real) {
  const std::size_t pieces = message.msg_iovlen;
  const std::size_t size = message.msg_iov->iov_len;
  message.msg_iovlen = half ? 1 : pieces;
  message.msg_iov->iov_len = portion(size, half);
  const long result = real();
  message.msg_iovlen = pieces;
  message.msg_iov->iov_len = size;
  return result;
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) noexcept {
  return interceptAllocation([=] { return libraryMalloc(size); });
}
void* calloc(std::size_t count, std::size_t size) noexcept {
  return interceptAllocation([=] { return libraryCalloc(count, size); });
}
void* realloc(void* block, std::size_t size) noexcept {
  return interceptAllocation([=] { return libraryRealloc(block, size); });
}

}  // extern "C"

// The C library's functions under their own symbols. Whatever a call is given, at most six words,
// comes in registers and is passed on as it is.
namespace stand_in {

Subject file(long descriptor) {
  return {static_cast<int>(descriptor)};
}
Subject entry(long folder, long name) {
  return {static_cast<int>(folder), pointer<const char>(name)};
}
Subject path(long name) {
  return entry(AT_FDCWD, name);
}

// NOLINTBEGIN(bugprone-macro-parentheses): these are no expressions.
#define STAND_IN(form, result, name, call, subject, body)                           \
  result name(long a, long b, long c, long d, long e, long f) __asm__(#name);       \
  result name(long a, long b, long c, long d, long e, long f) {                     \
    using Function = result (*)(long, long, long, long, long, long);                \
    static const auto next = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, #name)); \
    return form(call, subject, [&]([[maybe_unused]] bool half) { return body; });   \
  }
#define NEXT next(a, b, c, d, e, f)
#define INTERCEPT(result, name, subject) \
  STAND_IN(intercept, result, name, " " #name " ", subject, NEXT)
#define INTERCEPT_TRANSFER(name) \
  STAND_IN(intercept, long, name, " " #name " ", file(a), next(a, b, portion(c, half), d, e, f))
#define INTERCEPT_MESSAGE(name)                           \
  STAND_IN(intercept, long, name, " " #name " ", file(a), \
           transfer(*pointer<msghdr>(b), half, [&] { return NEXT; }))
#define INTERCEPT_CODE(name, subject) \
  STAND_IN(intercept<true>, int, name, " " #name " ", subject, NEXT)

STAND_IN(intercept, int, open, (b & O_CREAT) != 0 ? " create " : " open ", path(a), NEXT)
STAND_IN(intercept, int, fcntl, b == F_DUPFD_CLOEXEC ? " dup " : nullptr, file(a), NEXT)
INTERCEPT(int, openat, entry(a, b))
INTERCEPT(int, fstat, file(a))
INTERCEPT(int, stat, path(a))
INTERCEPT(int, lstat, path(a))
INTERCEPT(long, readlink, path(a))
INTERCEPT_TRANSFER(read)
INTERCEPT_TRANSFER(pread)
INTERCEPT_TRANSFER(write)
INTERCEPT_TRANSFER(pwrite)
INTERCEPT(int, ftruncate, file(a))
INTERCEPT(int, fstatat, entry(a, b))
INTERCEPT(int, close, file(a))
INTERCEPT(int, fsync, file(a))
INTERCEPT(int, rename, path(b))
INTERCEPT(int, unlink, path(a))
INTERCEPT(int, unlinkat, entry(a, b))
INTERCEPT(int, mkdir, path(a))
INTERCEPT(int, fchmod, file(a))
INTERCEPT(int, fchown, file(a))
INTERCEPT(void*, readdir, {})
INTERCEPT(int, close_range, {})
INTERCEPT(int, waitid, {})
INTERCEPT(int, waitpid, {})
INTERCEPT(long, getrandom, {})
INTERCEPT(int, socket, {})
INTERCEPT(int, connect, file(a))
INTERCEPT(int, getsockopt, file(a))
INTERCEPT(int, accept4, file(a))
INTERCEPT(int, poll, {})
INTERCEPT(int, ppoll, {})
INTERCEPT_MESSAGE(recvmsg)
INTERCEPT_MESSAGE(sendmsg)
INTERCEPT_CODE(posix_spawn, path(b))
INTERCEPT_CODE(pthread_create, {})
INTERCEPT_CODE(getpwuid_r, {})
// NOLINTEND(bugprone-macro-parentheses)

}  // namespace stand_in
