// Stands between the helper and the C library, preloaded into the helper alone, and makes one call
// go wrong: the one that the sweep has written into a file that both have mapped. While it is
// armed it counts the calls and keeps a record of each, in the order in which they ended.
// Everything else passes through unchanged.

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

// The C library's own, which need no look-up: a look-up may allocate.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

// "create" is an open that may make a file, and "dup" is fcntl's.
// clang-format off
#define CALLS(X)                                                                               \
  X(open) X(create) X(openat) X(fstat) X(stat) X(lstat) X(readlink) X(read) X(pread) X(write)  \
  X(close) X(fsync) X(rename) X(unlink) X(unlinkat) X(mkdir) X(fchmod) X(fchown) X(fdopendir)  \
  X(readdir) X(dup) X(close_range) X(posix_spawn) X(posix_spawn_file_actions_adddup2)          \
  X(pthread_create) X(waitid) X(waitpid) X(getrandom) X(getpwuid_r) X(socket) X(connect)       \
  X(getsockopt) X(accept4) X(poll) X(ppoll) X(recvmsg) X(sendmsg) X(allocate)
// clang-format on

enum class Call : std::uint32_t {
#define VALUE(name) name,
  CALLS(VALUE)
#undef VALUE
};

constexpr const char* callNames =
#define NAME(name) #name " "
    CALLS(NAME);
#undef NAME

enum class Action : std::uint32_t { pass, fail, failAfterwards, shorten, kill };

struct Record {
  std::uint32_t call;
  std::uint32_t allocations;  // before this call
  std::int32_t error;         // 0 for success
  std::array<char, 244> subject;
};

// The sweep reads and writes this at the same offsets.
struct Control {
  std::array<char, 1024> names;
  std::uint64_t calls;  // those that count, a bit each
  std::atomic<std::uint32_t> armed;
  Action action;
  std::uint32_t ordinal;  // the first of them that goes wrong, from 1
  std::int32_t error;
  std::uint32_t lasting;  // so do all after it
  std::atomic<std::uint32_t> arrived;
  std::atomic<std::uint32_t> fired;
  std::atomic<std::uint32_t> allocations;
  std::atomic<std::uint32_t> recordCount;
  std::array<std::uint32_t, 5> unused;
  std::array<Record, 4096> records;
};
static_assert(offsetof(Control, records) == 1088 && sizeof(Record) == 256);

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
  std::strncpy(control->names.data(), callNames, control->names.size() - 1);
}
// NOLINTEND(concurrency-mt-unsafe)

bool isArmed() {
  return control != nullptr && control->armed != 0;
}

Action judge(Call call) {
  if ((control->calls >> static_cast<unsigned>(call) & 1) == 0) return Action::pass;
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
  const char* name = nullptr;
};

void describe(const Subject& subject, std::array<char, 244>& text) {
  std::size_t size = 0;
  if (subject.descriptor >= 0) {
    std::array<char, 32> link;
    std::snprintf(link.data(), link.size(), "/proc/self/fd/%d", subject.descriptor);
    const long count = ::syscall(SYS_readlink, link.data(), text.data(), text.size() - 1);
    size = count > 0 ? static_cast<std::size_t>(count) : 0;
  }
  text[size] = '\0';
  if (subject.name == nullptr) return;
  std::snprintf(text.data() + size, text.size() - size, "%s%s", size > 0 ? "/" : "", subject.name);
}

template <typename Result>
bool isFailure(Result result) {
  if constexpr (std::is_pointer_v<Result>) {
    return result == nullptr;
  } else {
    return result < 0;
  }
}

template <typename Result>
Result failure() {
  if constexpr (std::is_pointer_v<Result>) {
    return nullptr;
  } else {
    return -1;
  }
}

// `real` is told whether to do half of what is asked for.
template <typename Real>
auto intercept(Call call, const Subject& subject, Real real) {
  using Result = decltype(real(false));
  if (!isArmed()) return real(false);
  Record record{static_cast<std::uint32_t>(call), control->allocations, 0, {}};
  describe(subject, record.subject);
  const Action action = judge(call);
  Result result = action == Action::fail ? failure<Result>() : real(action == Action::shorten);
  int error = errno;
  if (action == Action::failAfterwards) result = failure<Result>();
  if (action == Action::fail || action == Action::failAfterwards) error = control->error;
  record.error = isFailure(result) ? error : 0;
  const std::uint32_t index = control->recordCount++;
  if (index < control->records.size()) control->records[index] = record;
  errno = error;
  return result;
}

// For calls that return an error number.
template <typename Real>
int interceptCode(Call call, const char* subject, Real real) {
  int code = 0;
  const int saved = errno;
  const int result = intercept(call, {AT_FDCWD, subject}, [&](bool) {
    code = real();
    errno = code;
    return code == 0 ? 0 : -1;
  });
  if (result < 0) code = errno;
  errno = saved;
  return code;
}

template <typename Real>
void* interceptAllocation(Real real) {
  if (!isArmed()) return real();
  ++control->allocations;
  if (judge(Call::allocate) == Action::pass) return real();
  errno = ENOMEM;
  return nullptr;
}

std::size_t portion(std::size_t size, bool half) {
  return half && size > 1 ? size / 2 : size;
}

template <typename Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

// The next library's function of this name.
#define NEXT(name)                                               \
  ([] {                                                          \
    static const auto function = next<decltype(&::name)>(#name); \
    return function;                                             \
  }())

mode_t modeIn(int flags, va_list arguments) {
  return (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
}

// The first piece of a message, or half of it.
template <typename Transfer>
ssize_t transferPiece(const msghdr& message, bool half, Transfer transfer) {
  msghdr piece = message;
  if (!half || message.msg_iovlen == 0) return transfer(piece);
  iovec first = message.msg_iov[0];
  if (message.msg_iovlen == 1) first.iov_len = portion(first.iov_len, true);
  piece.msg_iov = &first;
  piece.msg_iovlen = 1;
  return transfer(piece);
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) noexcept {
  return interceptAllocation([=] { return __libc_malloc(size); });
}
void* calloc(std::size_t count, std::size_t size) noexcept {
  return interceptAllocation([=] { return __libc_calloc(count, size); });
}
void* realloc(void* block, std::size_t size) noexcept {
  return interceptAllocation([=] { return __libc_realloc(block, size); });
}
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  return interceptAllocation([=] { return __libc_memalign(alignment, size); });
}
void* reallocarray(void* block, std::size_t count, std::size_t size) noexcept {
  return interceptAllocation([=] { return __libc_realloc(block, count * size); });
}

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeIn(flags, arguments);
  va_end(arguments);
  return intercept((flags & O_CREAT) != 0 ? Call::create : Call::open, {AT_FDCWD, path},
                   [&](bool) { return NEXT(open)(path, flags, mode); });
}
int openat(int directory, const char* name, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeIn(flags, arguments);
  va_end(arguments);
  return intercept(Call::openat, {directory, name},
                   [&](bool) { return NEXT(openat)(directory, name, flags, mode); });
}
int fcntl(int descriptor, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  const auto real = [&](bool) { return NEXT(fcntl)(descriptor, command, argument); };
  return command == F_DUPFD_CLOEXEC ? intercept(Call::dup, {descriptor}, real) : real(false);
}

// NOLINTBEGIN(bugprone-macro-parentheses): these are no expressions.
// A function that fails with -1 or null and errno. The subject and the call in brackets.
#define INTERCEPT(result, name, parameters, exceptions, subject, arguments)             \
  result name parameters exceptions {                                                   \
    return intercept(Call::name, Subject subject,                                       \
                     [&]([[maybe_unused]] bool half) { return NEXT(name) arguments; }); \
  }

INTERCEPT(int, fstat, (int file, struct stat* status), noexcept, {file}, (file, status))
INTERCEPT(int, stat, (const char* path, struct stat* status), noexcept, ({AT_FDCWD, path}),
          (path, status))
INTERCEPT(int, lstat, (const char* path, struct stat* status), noexcept, ({AT_FDCWD, path}),
          (path, status))
INTERCEPT(ssize_t, readlink, (const char* path, char* text, std::size_t size), noexcept,
          ({AT_FDCWD, path}), (path, text, size))
INTERCEPT(ssize_t, read, (int file, void* bytes, std::size_t size), , {file},
          (file, bytes, portion(size, half)))
INTERCEPT(ssize_t, pread, (int file, void* bytes, std::size_t size, off_t at), , {file},
          (file, bytes, portion(size, half), at))
INTERCEPT(ssize_t, write, (int file, const void* bytes, std::size_t size), , {file},
          (file, bytes, portion(size, half)))
INTERCEPT(int, close, (int file), , {file}, (file))
INTERCEPT(int, fsync, (int file), , {file}, (file))
INTERCEPT(int, rename, (const char* from, const char* to), noexcept, ({AT_FDCWD, to}), (from, to))
INTERCEPT(int, unlink, (const char* path), noexcept, ({AT_FDCWD, path}), (path))
INTERCEPT(int, unlinkat, (int directory, const char* name, int flags), noexcept,
          ({directory, name}), (directory, name, flags))
INTERCEPT(int, mkdir, (const char* path, mode_t mode), noexcept, ({AT_FDCWD, path}), (path, mode))
INTERCEPT(int, fchmod, (int file, mode_t mode), noexcept, {file}, (file, mode))
INTERCEPT(int, fchown, (int file, uid_t user, gid_t group), noexcept, {file}, (file, user, group))
INTERCEPT(DIR*, fdopendir, (int directory), , {directory}, (directory))
INTERCEPT(int, close_range, (unsigned first, unsigned last, int flags), noexcept, {},
          (first, last, flags))
INTERCEPT(int, waitid, (idtype_t type, id_t id, siginfo_t* information, int options), , {},
          (type, id, information, options))
INTERCEPT(pid_t, waitpid, (pid_t process, int* status, int options), , {},
          (process, status, options))
INTERCEPT(ssize_t, getrandom, (void* bytes, std::size_t size, unsigned flags), , {},
          (bytes, size, flags))
INTERCEPT(int, socket, (int domain, int type, int protocol), noexcept, {}, (domain, type, protocol))
INTERCEPT(int, connect, (int socket, const sockaddr* address, socklen_t size), , {socket},
          (socket, address, size))
INTERCEPT(int, getsockopt, (int socket, int level, int name, void* value, socklen_t* size),
          noexcept, {socket}, (socket, level, name, value, size))
INTERCEPT(int, accept4, (int socket, sockaddr* address, socklen_t* size, int flags), , {socket},
          (socket, address, size, flags))
INTERCEPT(int, poll, (pollfd * entries, nfds_t count, int timeout), , {}, (entries, count, timeout))
INTERCEPT(int, ppoll,
          (pollfd * entries, nfds_t count, const timespec* timeout, const sigset_t* mask), , {},
          (entries, count, timeout, mask))

#undef INTERCEPT
// NOLINTEND(bugprone-macro-parentheses)

// The end of a folder is no failure.
dirent* readdir(DIR* stream) {
  dirent* entry = nullptr;
  const int result = intercept(Call::readdir, {::dirfd(stream)}, [&](bool) {
    errno = 0;
    entry = NEXT(readdir)(stream);
    return entry == nullptr && errno != 0 ? -1 : 0;
  });
  return result < 0 ? nullptr : entry;
}
ssize_t recvmsg(int socket, msghdr* message, int flags) {
  return intercept(Call::recvmsg, {socket}, [&](bool half) {
    return transferPiece(*message, half, [&](msghdr& piece) {
      const ssize_t count = NEXT(recvmsg)(socket, &piece, flags);
      message->msg_controllen = piece.msg_controllen;
      message->msg_flags = piece.msg_flags;
      return count;
    });
  });
}
ssize_t sendmsg(int socket, const msghdr* message, int flags) {
  return intercept(Call::sendmsg, {socket}, [&](bool half) {
    return transferPiece(*message, half,
                         [&](msghdr& piece) { return NEXT(sendmsg)(socket, &piece, flags); });
  });
}

int posix_spawn(pid_t* process, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const arguments[],
                char* const environment[]) {
  return interceptCode(Call::posix_spawn, path, [&] {
    return NEXT(posix_spawn)(process, path, actions, attributes, arguments, environment);
  });
}
int posix_spawn_file_actions_adddup2(posix_spawn_file_actions_t* actions, int from,
                                     int to) noexcept {
  return interceptCode(Call::posix_spawn_file_actions_adddup2, nullptr,
                       [&] { return NEXT(posix_spawn_file_actions_adddup2)(actions, from, to); });
}
int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                   void* argument) noexcept {
  return interceptCode(Call::pthread_create, nullptr,
                       [&] { return NEXT(pthread_create)(thread, attributes, body, argument); });
}
int getpwuid_r(uid_t user, passwd* record, char* buffer, std::size_t size, passwd** found) {
  return interceptCode(Call::getpwuid_r, nullptr,
                       [&] { return NEXT(getpwuid_r)(user, record, buffer, size, found); });
}

}  // extern "C"
