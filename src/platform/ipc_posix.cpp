// ipc on POSIX: state files, locked files and FIFOs in the run directory.
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/ipc.h"
#include "platform/platform.h"

namespace kyt::platform {

namespace {

// The file of the named object `name` of kind `prefix` in the run directory; empty when the
// run directory cannot be had.
std::string object_path(const char* prefix, const char* name) {
  const std::string dir = ipc_run_directory();
  if (dir.empty() || name == nullptr) return {};
  uint64_t h = 14695981039346656037ull;
  std::string mapped;
  for (const char* p = name; *p != 0; ++p) {
    const unsigned char c = static_cast<unsigned char>(*p);
    h = (h ^ c) * 1099511628211ull;
    if (mapped.size() < 120) {
      const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                         (c >= '0' && c <= '9') || c == '.' || c == '-';
      mapped += plain ? static_cast<char>(c) : '_';
    }
  }
  char tail[24];
  std::snprintf(tail, sizeof tail, ".%016llx", static_cast<unsigned long long>(h));
  return dir + "/" + prefix + mapped + tail;
}

int open_cloexec(const char* path, int flags, mode_t mode = 0) {
  int fd;
  do {
    fd = ::open(path, flags | O_CLOEXEC, mode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

}  // namespace

int32_t sys_error() { return errno; }

std::string ipc_run_directory() {
  const std::string dir = temp_directory() + "/kyt.run";
  struct stat st;
  if (::stat(dir.c_str(), &st) == 0) return S_ISDIR(st.st_mode) ? dir : std::string();
  if (::mkdir(dir.c_str(), 01777) != 0 && errno != EEXIST) return {};
  ::chmod(dir.c_str(), 01777);  // past the umask; another account may have made it meanwhile
  return dir;
}

// ---- events

bool NamedEvent::open(const char* name) {
  close();
  const std::string path = object_path("ev.", name);
  if (path.empty()) return false;
  const int fd = open_cloexec(path.c_str(), O_RDWR);
  if (fd < 0) return false;
  handle_ = fd;
  return true;
}

bool NamedEvent::create(const char* name) {
  close();
  const std::string path = object_path("ev.", name);
  if (path.empty()) return false;
  // The state file appears under its name with its "0" already in it (made aside, then
  // linked), so that a process opening it at once never has its setting overwritten.
  char aside[32];
  std::snprintf(aside, sizeof aside, ".%lu.new", static_cast<unsigned long>(::getpid()));
  const std::string tmp = path + aside;
  int fd = open_cloexec(tmp.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0666);
  if (fd < 0) return false;
  ::fchmod(fd, 0666);
  if (::pwrite(fd, "0", 1, 0) != 1 || (::link(tmp.c_str(), path.c_str()) != 0 && errno != EEXIST)) {
    const int e = errno;
    ::close(fd);
    ::unlink(tmp.c_str());
    errno = e;
    return false;
  }
  ::close(fd);
  ::unlink(tmp.c_str());
  fd = open_cloexec(path.c_str(), O_RDWR);
  if (fd < 0) return false;
  handle_ = fd;
  return true;
}

bool NamedEvent::set() {
  return handle_ != kNone && ::pwrite(static_cast<int>(handle_), "1", 1, 0) == 1;
}

bool NamedEvent::reset() {
  return handle_ != kNone && ::pwrite(static_cast<int>(handle_), "0", 1, 0) == 1;
}

int NamedEvent::poll() {
  if (handle_ == kNone) {
    errno = EBADF;
    return -1;
  }
  char c = 0;
  const ssize_t n = ::pread(static_cast<int>(handle_), &c, 1, 0);
  if (n < 0) return -1;
  return n == 1 && c == '1' ? 1 : 0;  // a file not yet written by its maker reads "not set"
}

void NamedEvent::close() {
  if (handle_ == kNone) return;
  ::close(static_cast<int>(handle_));
  handle_ = kNone;
}

bool NamedEvent::exists(const char* name) {
  const std::string path = object_path("ev.", name);
  return !path.empty() && ::access(path.c_str(), F_OK) == 0;
}

void NamedEvent::remove(const char* name) {
  const std::string path = object_path("ev.", name);
  if (!path.empty()) ::unlink(path.c_str());
}

// ---- unique-process locks

namespace {

// The lock of a unique-process lock file: a write lock of the whole open file (not of the
// process), so it goes with the last descriptor of this open (when the holder dies) and a
// second open in the same process conflicts. `cmd` is F_OFD_SETLK, or F_OFD_GETLK to ask.
int whole_file_lock(int fd, int cmd, struct flock* fl) {
  *fl = {};
  fl->l_type = F_WRLCK;
  fl->l_whence = SEEK_SET;
  int rc;
  do {
    rc = ::fcntl(fd, cmd, fl);
  } while (rc != 0 && errno == EINTR);
  return rc;
}

}  // namespace

int32_t unique_take(const char* name, intptr_t* handle) {
  const std::string path = object_path("sem.", name);
  if (path.empty()) return 99;
  // A holder that lets go removes the file while it holds the lock; whoever locked the old
  // file meanwhile finds that the name now leads elsewhere (or nowhere) and tries again.
  for (int attempt = 0; attempt < 100; ++attempt) {
    const int fd = open_cloexec(path.c_str(), O_RDWR | O_CREAT, 0666);
    if (fd < 0) return 99;
    struct flock fl;
    if (whole_file_lock(fd, F_OFD_SETLK, &fl) != 0) {
      const int e = errno;
      ::close(fd);
      errno = e;
      return e == EAGAIN || e == EACCES ? 4 : 99;
    }
    struct stat held, named;
    if (::fstat(fd, &held) == 0 && ::stat(path.c_str(), &named) == 0 &&
        held.st_dev == named.st_dev && held.st_ino == named.st_ino) {
      ::fchmod(fd, 0666);
      // The holder's process id, for people looking at the run directory.
      char pid[24];
      const int n = std::snprintf(pid, sizeof pid, "%lu\n", static_cast<unsigned long>(::getpid()));
      if (::ftruncate(fd, 0) == 0 && ::pwrite(fd, pid, static_cast<size_t>(n), 0) < 0) {
        // the mark is only informative
      }
      *handle = fd;
      return 0;
    }
    ::close(fd);
  }
  errno = EAGAIN;
  return 99;
}

int32_t unique_test(const char* name) {
  const std::string path = object_path("sem.", name);
  if (path.empty()) return 99;
  const int fd = open_cloexec(path.c_str(), O_RDONLY);
  if (fd < 0) return errno == ENOENT ? 0 : 99;
  struct flock fl;
  const int rc = whole_file_lock(fd, F_OFD_GETLK, &fl);
  const int e = errno;
  ::close(fd);
  errno = e;
  if (rc != 0) return 99;
  return fl.l_type == F_UNLCK ? 0 : 4;
}

bool unique_lingers_while_tested() { return false; }

void unique_release(const char* name, intptr_t handle) {
  if (handle < 0) return;
  const std::string path = object_path("sem.", name);
  struct stat held, named;
  if (!path.empty() && ::fstat(static_cast<int>(handle), &held) == 0 &&
      ::stat(path.c_str(), &named) == 0 && held.st_dev == named.st_dev &&
      held.st_ino == named.st_ino) {
    ::unlink(path.c_str());
  }
  ::close(static_cast<int>(handle));
}

// ---- the pipe

bool PipeClient::open(const char* name) {
  close();
  const std::string path = object_path("pipe.", name);
  if (path.empty()) return false;
  // Not waiting: without a reader the open fails at once (ENXIO).
  const int fd = open_cloexec(path.c_str(), O_WRONLY | O_NONBLOCK);
  if (fd < 0) return false;
  struct stat st;
  if (::fstat(fd, &st) != 0 || !S_ISFIFO(st.st_mode)) {
    ::close(fd);
    errno = ENXIO;
    return false;
  }
  handle_ = fd;
  return true;
}

bool PipeClient::write_byte(char c) {
  if (handle_ == kNone) {
    errno = EBADF;
    return false;
  }
  const int fd = static_cast<int>(handle_);
  // A reader that went away would raise SIGPIPE: held back here, and taken if this write
  // raised it, so the caller only sees the failure.
  sigset_t pipe_only, old;
  sigemptyset(&pipe_only);
  sigaddset(&pipe_only, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe_only, &old);
  sigset_t pending;
  sigpending(&pending);
  const bool was_pending = sigismember(&pending, SIGPIPE) == 1;
  bool ok = false;
  int err = 0;
  for (;;) {
    const ssize_t n = ::write(fd, &c, 1);
    if (n == 1) {
      ok = true;
      break;
    }
    err = errno;
    if (n < 0 && err == EINTR) continue;
    if (n < 0 && (err == EAGAIN || err == EWOULDBLOCK)) {
      // The pipe is full: wait until the reader takes something.
      struct pollfd p = {fd, POLLOUT, 0};
      if (::poll(&p, 1, -1) < 0 && errno != EINTR) {
        err = errno;
        break;
      }
      continue;
    }
    break;
  }
  if (!ok && err == EPIPE && !was_pending) {
    const struct timespec zero = {0, 0};
    sigtimedwait(&pipe_only, nullptr, &zero);
  }
  pthread_sigmask(SIG_SETMASK, &old, nullptr);
  if (!ok) errno = err;
  return ok;
}

void PipeClient::close() {
  if (handle_ == kNone) return;
  ::close(static_cast<int>(handle_));
  handle_ = kNone;
}

bool PipeServer::create(const char* name) {
  close();
  const std::string path = object_path("pipe.", name);
  if (path.empty()) return false;
  ::unlink(path.c_str());
  if (::mkfifo(path.c_str(), 0666) != 0) return false;
  ::chmod(path.c_str(), 0666);
  // Opened for reading and writing, so that the FIFO never reports the end of data when a
  // writer closes: writers come and go, the reader stays.
  const int fd = open_cloexec(path.c_str(), O_RDWR | O_NONBLOCK);
  if (fd < 0) {
    const int e = errno;
    ::unlink(path.c_str());
    errno = e;
    return false;
  }
  handle_ = fd;
  path_ = path;
  return true;
}

int PipeServer::read_byte(int timeout_ms) {
  if (handle_ == kNone) return -2;
  const int fd = static_cast<int>(handle_);
  for (;;) {
    unsigned char c;
    const ssize_t n = ::read(fd, &c, 1);
    if (n == 1) return c;
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK) return -2;
    struct pollfd p = {fd, POLLIN, 0};
    const int r = ::poll(&p, 1, timeout_ms);
    if (r == 0) return -1;
    if (r < 0 && errno != EINTR) return -2;
  }
}

void PipeServer::close() {
  if (handle_ == kNone) return;
  ::unlink(path_.c_str());
  ::close(static_cast<int>(handle_));
  handle_ = kNone;
  path_.clear();
}

// ---- processes

namespace {

std::vector<std::string> split_words(const std::string& line) {
  std::vector<std::string> words;
  std::string word;
  bool in_word = false, quoted = false;
  for (char c : line) {
    if (c == '"') {
      quoted = !quoted;
      in_word = true;
    } else if ((c == ' ' || c == '\t') && !quoted) {
      if (in_word) words.push_back(word);
      word.clear();
      in_word = false;
    } else {
      word += c;
      in_word = true;
    }
  }
  if (in_word) words.push_back(word);
  return words;
}

}  // namespace

int32_t spawn_detached(const std::string& program, const std::string& command_line,
                       const char* /*title*/) {
  std::vector<std::string> words = split_words(command_line);
  if (words.empty()) words.push_back(program);
  std::vector<char*> argv;
  for (std::string& w : words) argv.push_back(w.data());
  argv.push_back(nullptr);
  // Everything the children use is made before fork: between fork and exec only
  // async-signal-safe calls.
  int report[2];
  if (::pipe2(report, O_CLOEXEC) != 0) return errno;
  const pid_t child = ::fork();
  if (child < 0) {
    const int e = errno;
    ::close(report[0]);
    ::close(report[1]);
    return e;
  }
  if (child == 0) {
    // The middle process: a session of its own, then the program as its child, so that the
    // program is adopted by init and never waited for by the caller.
    ::setsid();
    const pid_t grandchild = ::fork();
    if (grandchild < 0) {
      const int e = errno;
      if (::write(report[1], &e, sizeof e) < 0) _exit(127);
      _exit(127);
    }
    if (grandchild == 0) {
      const int null = ::open("/dev/null", O_RDWR);
      if (null >= 0) {
        ::dup2(null, 0);
        ::dup2(null, 1);
        ::dup2(null, 2);
        if (null > 2) ::close(null);
      }
      ::execv(program.c_str(), argv.data());
      const int e = errno;
      if (::write(report[1], &e, sizeof e) < 0) _exit(127);
      _exit(127);
    }
    _exit(0);
  }
  ::close(report[1]);
  int status;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  int e = 0;
  ssize_t n;
  do {
    n = ::read(report[0], &e, sizeof e);
  } while (n < 0 && errno == EINTR);
  ::close(report[0]);
  return n == static_cast<ssize_t>(sizeof e) ? (e != 0 ? e : ECHILD) : 0;
}

bool kill_process(intptr_t process) {
  return process > 0 && ::kill(static_cast<pid_t>(process), SIGKILL) == 0;
}

bool kill_process_id(uint32_t pid) {
  return pid > 0 && ::kill(static_cast<pid_t>(pid), SIGKILL) == 0;
}

void sleep_ms(int ms) {
  if (ms <= 0) return;
  struct timespec t = {ms / 1000, (ms % 1000) * 1000000L};
  while (::nanosleep(&t, &t) != 0 && errno == EINTR) {
  }
}

}  // namespace kyt::platform
