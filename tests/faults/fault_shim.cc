// Stands between the helper and the C library, preloaded into the helper alone, and makes one call
// go wrong: the one that the sweep has written into a file that both have mapped. While it is
// armed it counts the calls and writes each down, in the order in which they ended.
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
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// The C library's own, which need no look-up: a look-up may allocate.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
}
// NOLINTEND(bugprone-reserved-identifier)

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
  const char* name = nullptr;
};

// The beginning of a call's record is made before the call, which may close the descriptor.
class Record {
 public:
  explicit Record(const Subject& subject) : allocations_(control->allocations) {
    std::size_t size = 0;
    if (subject.descriptor >= 0) {
      std::array<char, 32> link;
      std::snprintf(link.data(), link.size(), "/proc/self/fd/%d", subject.descriptor);
      const long count = ::syscall(SYS_readlink, link.data(), subject_.data(), subject_.size() - 1);
      size = count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    if (subject.name == nullptr) return;
    std::snprintf(subject_.data() + size, subject_.size() - size, "%s%s", size > 0 ? "/" : "",
                  subject.name);
  }

  void write(const char* call, int error) const {
    std::array<char, 400> line;
    const auto size = static_cast<std::uint32_t>(std::snprintf(
        line.data(), line.size(), "%s%d %u %s\n", call, error, allocations_, subject_.data()));
    const std::uint32_t at = control->recordedBytes.fetch_add(size);
    if (at + size <= control->records.size()) {
      std::memcpy(&control->records[at], line.data(), size);
    }
  }

 private:
  std::uint32_t allocations_;
  std::array<char, 250> subject_{};
};

template <typename Result>
constexpr Result failure = -1;
template <>
constexpr dirent* failure<dirent*> = nullptr;  // without an error it is the end of the folder

// For calls that set errno. `real` is told whether to do half of what is asked for.
template <typename Real>
auto intercept(const char* call, const Subject& subject, Real real) {
  using Result = decltype(real(false));
  if (!isArmed() || call == nullptr) return real(false);
  const int before = errno;
  const Record record(subject);
  const Action action = judge(call);
  Result result = failure<Result>;
  errno = 0;
  if (action != Action::fail) result = real(action == Action::shorten);
  int error = result == failure<Result> ? errno : 0;
  if (action == Action::fail || action == Action::failAfterwards) {
    result = failure<Result>;
    error = control->error;
  }
  record.write(call, error);
  errno = error != 0 ? error : before;
  return result;
}

// For calls that return an error number.
template <typename Real>
int interceptCode(const char* call, const Subject& subject, Real real) {
  const int before = errno;
  const int result = intercept(call, subject, [&](bool half) {
    errno = real(half);
    return errno == 0 ? 0 : -1;
  });
  const int code = result == 0 ? 0 : errno;
  errno = before;
  return code;
}

template <typename Real>
void* interceptAllocation(Real real) {
  if (!isArmed()) return real();
  ++control->allocations;
  if (judge(" allocate ") == Action::pass) return real();
  errno = ENOMEM;
  return nullptr;
}

std::size_t portion(std::size_t size, bool half) {
  return half && size > 1 ? size / 2 : size;
}

// Makes a message half of its first piece for as long as this lives.
class Piece {
 public:
  Piece(const msghdr* message, bool half)
      : message_(const_cast<msghdr*>(message)),
        count_(message->msg_iovlen),
        size_(message->msg_iov->iov_len) {
    if (!half) return;
    message_->msg_iovlen = 1;
    message_->msg_iov->iov_len = portion(size_, true);
  }
  ~Piece() {
    message_->msg_iovlen = count_;
    message_->msg_iov->iov_len = size_;
  }

  msghdr* get() { return message_; }

 private:
  msghdr* message_;
  std::size_t count_;
  std::size_t size_;
};

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

}  // extern "C"

// The C library's functions under their own symbols, but not with their declarations: an argument
// that may be missing comes in the same register as one that may not.
namespace stand_in {

// NOLINTBEGIN(bugprone-macro-parentheses): these are no expressions.
#define STAND_IN(form, call, result, name, parameters, subject, arguments)                   \
  result name parameters __asm__(#name);                                                     \
  result name parameters {                                                                   \
    static const auto next = reinterpret_cast<decltype(&::name)>(::dlsym(RTLD_NEXT, #name)); \
    return form(call, Subject subject,                                                       \
                [&]([[maybe_unused]] bool half) { return next arguments; });                 \
  }
#define INTERCEPT(result, name, parameters, subject, arguments) \
  STAND_IN(intercept, " " #name " ", result, name, parameters, subject, arguments)
#define INTERCEPT_CODE(name, parameters, subject, arguments) \
  STAND_IN(interceptCode, " " #name " ", int, name, parameters, subject, arguments)

STAND_IN(intercept, (flags & O_CREAT) != 0 ? " create " : " open ", int, open,
         (const char* path, int flags, mode_t mode), ({AT_FDCWD, path}), (path, flags, mode))
STAND_IN(intercept, command == F_DUPFD_CLOEXEC ? " dup " : nullptr, int, fcntl,
         (int file, int command, void* argument), {file}, (file, command, argument))
INTERCEPT(int, openat, (int directory, const char* name, int flags, mode_t mode),
          ({directory, name}), (directory, name, flags, mode))
INTERCEPT(int, fstat, (int file, struct stat* status), {file}, (file, status))
INTERCEPT(int, stat, (const char* path, struct stat* status), ({AT_FDCWD, path}), (path, status))
INTERCEPT(int, lstat, (const char* path, struct stat* status), ({AT_FDCWD, path}), (path, status))
INTERCEPT(ssize_t, readlink, (const char* path, char* text, std::size_t size), ({AT_FDCWD, path}),
          (path, text, size))
INTERCEPT(ssize_t, read, (int file, void* bytes, std::size_t size), {file},
          (file, bytes, portion(size, half)))
INTERCEPT(ssize_t, pread, (int file, void* bytes, std::size_t size, off_t at), {file},
          (file, bytes, portion(size, half), at))
INTERCEPT(ssize_t, write, (int file, const void* bytes, std::size_t size), {file},
          (file, bytes, portion(size, half)))
INTERCEPT(int, close, (int file), {file}, (file))
INTERCEPT(int, fsync, (int file), {file}, (file))
INTERCEPT(int, rename, (const char* from, const char* to), ({AT_FDCWD, to}), (from, to))
INTERCEPT(int, unlink, (const char* path), ({AT_FDCWD, path}), (path))
INTERCEPT(int, unlinkat, (int directory, const char* name, int flags), ({directory, name}),
          (directory, name, flags))
INTERCEPT(int, mkdir, (const char* path, mode_t mode), ({AT_FDCWD, path}), (path, mode))
INTERCEPT(int, fchmod, (int file, mode_t mode), {file}, (file, mode))
INTERCEPT(int, fchown, (int file, uid_t user, gid_t group), {file}, (file, user, group))
INTERCEPT(int, close_range, (unsigned first, unsigned last, int flags), {}, (first, last, flags))
INTERCEPT(int, waitid, (idtype_t type, id_t id, siginfo_t* information, int options), {},
          (type, id, information, options))
INTERCEPT(pid_t, waitpid, (pid_t process, int* status, int options), {}, (process, status, options))
INTERCEPT(ssize_t, getrandom, (void* bytes, std::size_t size, unsigned flags), {},
          (bytes, size, flags))
INTERCEPT(int, socket, (int domain, int type, int protocol), {}, (domain, type, protocol))
INTERCEPT(int, connect, (int socket, const sockaddr* address, socklen_t size), {socket},
          (socket, address, size))
INTERCEPT(int, getsockopt, (int socket, int level, int name, void* value, socklen_t* size),
          {socket}, (socket, level, name, value, size))
INTERCEPT(int, accept4, (int socket, sockaddr* address, socklen_t* size, int flags), {socket},
          (socket, address, size, flags))
INTERCEPT(int, poll, (pollfd * entries, nfds_t count, int timeout), {}, (entries, count, timeout))
INTERCEPT(int, ppoll,
          (pollfd * entries, nfds_t count, const timespec* timeout, const sigset_t* mask), {},
          (entries, count, timeout, mask))
INTERCEPT(dirent*, readdir, (DIR * stream), {::dirfd(stream)}, (stream))
INTERCEPT(ssize_t, recvmsg, (int socket, msghdr* message, int flags), {socket},
          (socket, Piece(message, half).get(), flags))
INTERCEPT(ssize_t, sendmsg, (int socket, const msghdr* message, int flags), {socket},
          (socket, Piece(message, half).get(), flags))
INTERCEPT_CODE(posix_spawn,
               (pid_t * process, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const* arguments,
                char* const* environment),
               ({AT_FDCWD, path}), (process, path, actions, attributes, arguments, environment))
INTERCEPT_CODE(pthread_create,
               (pthread_t * thread, const pthread_attr_t* attributes, void* (*body)(void*),
                void* argument),
               {}, (thread, attributes, body, argument))
INTERCEPT_CODE(getpwuid_r,
               (uid_t user, passwd* record, char* buffer, std::size_t size, passwd** found), {},
               (user, record, buffer, size, found))
// NOLINTEND(bugprone-macro-parentheses)

}  // namespace stand_in
