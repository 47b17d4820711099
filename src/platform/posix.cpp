// platform for POSIX systems (Linux).
#include <fcntl.h>
#include <semaphore.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "platform/platform.h"

extern char** environ;

namespace kyt::platform {

char path_separator() { return '/'; }
const char* default_install_path() { return "/opt/kyt"; }

bool File::open(const char* path, OpenMode mode) {
  close();
  int flags = O_CLOEXEC;
  switch (mode) {
    case OpenMode::kRead: flags |= O_RDONLY; break;
    case OpenMode::kReadWrite: flags |= O_RDWR; break;
    case OpenMode::kCreate: flags |= O_RDWR | O_CREAT | O_TRUNC; break;
    case OpenMode::kAppend: flags |= O_WRONLY | O_CREAT | O_APPEND; break;
  }
  int fd;
  do {
    fd = ::open(path, flags, 0666);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return false;
  handle_ = fd;
  return true;
}

bool File::close() {
  if (map_ != nullptr) {
    ::munmap(map_, static_cast<size_t>(map_capacity_));
    map_ = nullptr;
  }
  map_capacity_ = map_valid_ = 0;
  map_wanted_ = map_writes_ = false;
  unmapped_reads_ = 0;
  if (handle_ == kNoHandle) return true;
  // After EINTR Linux has released the descriptor already; only a real failure counts.
  const bool ok = ::close(static_cast<int>(handle_)) == 0 || errno == EINTR;
  handle_ = kNoHandle;
  return ok;
}

namespace {
// A file read and written fewer times than this after map_reads is not worth a mapping (a
// statement that opens a table, reads a few blocks and closes it again).
constexpr int kMapAfterReads = 64;
constexpr int64_t kMinMapping = int64_t{1} << 20;
}  // namespace

void File::map_reads() {
  if (handle_ != kNoHandle) map_wanted_ = true;
}

// (Re)maps the file with room for `end` bytes and for growth; false when the system
// refuses, the old mapping, if any, staying as it was.
bool File::map_covering(int64_t end) {
  struct stat st;
  if (fstat(static_cast<int>(handle_), &st) != 0) return false;
  if (st.st_size > map_valid_) map_valid_ = st.st_size;
  int64_t cap = 2 * (end > map_valid_ ? end : map_valid_);
  if (cap < kMinMapping) cap = kMinMapping;
  const int64_t page = sysconf(_SC_PAGESIZE) > 0 ? sysconf(_SC_PAGESIZE) : 4096;
  cap = (cap + page - 1) / page * page;
  if (static_cast<uint64_t>(cap) > SIZE_MAX / 2) return false;
  void* m = ::mmap(nullptr, static_cast<size_t>(cap), PROT_READ | PROT_WRITE, MAP_SHARED,
                   static_cast<int>(handle_), 0);
  if (m == MAP_FAILED) return false;
  if (map_ != nullptr) ::munmap(map_, static_cast<size_t>(map_capacity_));
  map_ = m;
  map_capacity_ = cap;
  map_writes_ = static_cast<int64_t>(st.st_blocks) * 512 >= st.st_size;
  return true;
}

int64_t File::read(void* buf, size_t n) {
  if (handle_ == kNoHandle) return -1;
  size_t done = 0;
  char* p = static_cast<char*>(buf);
  while (done < n) {
    ssize_t r = ::read(static_cast<int>(handle_), p + done, n - done);
    if (r < 0) {
      if (errno == EINTR) continue;
      return done > 0 ? static_cast<int64_t>(done) : -1;
    }
    if (r == 0) break;
    done += static_cast<size_t>(r);
    // A pipe or terminal delivers what it has; hand that back rather than wait for more.
    if (done < n) {
      struct stat st;
      if (fstat(static_cast<int>(handle_), &st) == 0 && !S_ISREG(st.st_mode)) break;
    }
  }
  return static_cast<int64_t>(done);
}

int64_t File::write(const void* buf, size_t n) {
  if (handle_ == kNoHandle) return -1;
  size_t done = 0;
  const char* p = static_cast<const char*>(buf);
  while (done < n) {
    ssize_t w = ::write(static_cast<int>(handle_), p + done, n - done);
    if (w < 0) {
      if (errno == EINTR) continue;
      return -1;
    }
    done += static_cast<size_t>(w);
  }
  return static_cast<int64_t>(done);
}

int64_t File::read_at(void* buf, size_t n, int64_t offset) {
  if (handle_ == kNoHandle || offset < 0) return -1;
  if (map_wanted_) {
    const int64_t end = offset + static_cast<int64_t>(n);
    if (map_ == nullptr && ++unmapped_reads_ >= kMapAfterReads && !map_covering(end)) {
      map_wanted_ = false;  // the system will not map it: read as before
    }
    // Only bytes known to be in the file come from the mapping: touching a mapped page past
    // the end of the file is a fault, not a short read.
    if (map_ != nullptr && end <= map_valid_ && (end <= map_capacity_ || map_covering(end))) {
      std::memcpy(buf, static_cast<const char*>(map_) + offset, n);
      return static_cast<int64_t>(n);
    }
  }
  size_t done = 0;
  char* p = static_cast<char*>(buf);
  while (done < n) {
    ssize_t r = ::pread(static_cast<int>(handle_), p + done, n - done,
                        static_cast<off_t>(offset + static_cast<int64_t>(done)));
    if (r < 0) {
      if (errno == EINTR) continue;
      return -1;
    }
    if (r == 0) break;
    done += static_cast<size_t>(r);
  }
  if (map_wanted_ && offset + static_cast<int64_t>(done) > map_valid_) {
    map_valid_ = offset + static_cast<int64_t>(done);
  }
  return static_cast<int64_t>(done);
}

namespace {
std::atomic<bool> g_fail_writes{false};
}  // namespace

void fail_writes_for_tests(bool on) { g_fail_writes = on; }

int64_t File::write_at(const void* buf, size_t n, int64_t offset) {
  if (handle_ == kNoHandle || offset < 0 || g_fail_writes) return -1;
  // A file written often is mapped like one read often (a tree whose blocks all stay in
  // the buffers is only ever written).
  if (map_wanted_ && map_ == nullptr && ++unmapped_reads_ >= kMapAfterReads &&
      !map_covering(offset + static_cast<int64_t>(n))) {
    map_wanted_ = false;
  }
  // Bytes already in the file are changed in the mapping, which is the system's own copy
  // of them: no call, and nothing to allocate, so nothing can fail there. Growth goes
  // through the system call.
  if (map_ != nullptr && map_writes_ && offset + static_cast<int64_t>(n) <= map_valid_ &&
      offset + static_cast<int64_t>(n) <= map_capacity_) {
    std::memcpy(static_cast<char*>(map_) + offset, buf, n);
    return static_cast<int64_t>(n);
  }
  size_t done = 0;
  const char* p = static_cast<const char*>(buf);
  while (done < n) {
    ssize_t w = ::pwrite(static_cast<int>(handle_), p + done, n - done,
                         static_cast<off_t>(offset + static_cast<int64_t>(done)));
    if (w < 0) {
      if (errno == EINTR) continue;
      return -1;
    }
    done += static_cast<size_t>(w);
  }
  if (map_wanted_ && offset + static_cast<int64_t>(n) > map_valid_) {
    map_valid_ = offset + static_cast<int64_t>(n);
  }
  return static_cast<int64_t>(done);
}

int64_t File::size() {
  if (handle_ == kNoHandle) return -1;
  struct stat st;
  if (fstat(static_cast<int>(handle_), &st) != 0) return -1;
  return static_cast<int64_t>(st.st_size);
}

bool File::sync() { return handle_ != kNoHandle && fdatasync(static_cast<int>(handle_)) == 0; }

namespace {
// Open-file-description locks belong to the open file, not the process, so a second
// open of the same file in this process conflicts as it would in another process.
bool header_lock(intptr_t handle, short type) {
  if (handle < 0) return false;
  struct flock fl;
  std::memset(&fl, 0, sizeof fl);
  fl.l_type = type;
  fl.l_whence = SEEK_SET;
  fl.l_start = 0;
  fl.l_len = 4;
  return fcntl(static_cast<int>(handle), F_OFD_SETLK, &fl) == 0;
}
}  // namespace

bool File::lock_header() { return header_lock(handle_, F_WRLCK); }
bool File::unlock_header() { return header_lock(handle_, F_UNLCK); }

int64_t File::relock_header() {
  if (!lock_header()) return -1;
  struct stat st;
  if (fstat(static_cast<int>(handle_), &st) != 0 || st.st_nlink == 0) return -2;
  map_valid_ = static_cast<int64_t>(st.st_size);
  if (map_ != nullptr) map_writes_ = static_cast<int64_t>(st.st_blocks) * 512 >= st.st_size;
  return static_cast<int64_t>(st.st_size);
}

bool removal_waits_for_close() { return false; }

bool remove_file(const char* path) { return ::unlink(path) == 0; }
bool rename_file(const char* from, const char* to) { return ::rename(from, to) == 0; }
bool file_exists(const char* path) {
  struct stat st;
  return ::stat(path, &st) == 0;
}
bool is_regular_file(const char* path) {
  struct stat st;
  return ::stat(path, &st) == 0 && S_ISREG(st.st_mode);
}
bool is_directory(const char* path) {
  struct stat st;
  return ::stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}
bool same_file(const char* a, const char* b) {
  struct stat sa, sb;
  if (::stat(a, &sa) != 0 || ::stat(b, &sb) != 0) return false;
  return sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}
int64_t file_size(const char* path) {
  struct stat st;
  if (::stat(path, &st) != 0) return -1;
  return static_cast<int64_t>(st.st_size);
}
bool make_directory(const char* path) {
  if (::mkdir(path, 0777) == 0) return true;
  struct stat st;
  return errno == EEXIST && ::stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

std::string temp_directory() {
  const char* t = getenv("TMPDIR");
  std::string dir = (t != nullptr && *t != '\0') ? t : "/tmp";
  while (dir.size() > 1 && dir.back() == '/') dir.pop_back();
  return dir;
}

std::string make_temp_directory(const char* prefix) {
  std::string templ = temp_directory() + "/" + prefix + "XXXXXX";
  std::string buf = templ;
  if (mkdtemp(buf.data()) == nullptr) return std::string();
  return buf;
}

bool absolute_path(const std::string& path, std::string* out) {
  if (!path.empty() && path[0] == '/') {
    *out = path;
    return true;
  }
  char cwd[PATH_MAX];
  if (getcwd(cwd, sizeof cwd) == nullptr) return false;
  std::string r = cwd;
  if (!path.empty()) {
    if (r.back() != '/') r += '/';
    r += path;
  }
  *out = r;
  return true;
}

uint32_t process_id() { return static_cast<uint32_t>(getpid()); }

std::string executable_path() {
  char buf[PATH_MAX];
  ssize_t n = readlink("/proc/self/exe", buf, sizeof buf);
  if (n <= 0 || static_cast<size_t>(n) >= sizeof buf) return {};
  return std::string(buf, static_cast<size_t>(n));
}

intptr_t start_process(const std::vector<std::string>& argv) {
  if (argv.empty()) return -1;
  std::vector<char*> args;
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  pid_t pid;
  if (posix_spawn(&pid, args[0], nullptr, nullptr, args.data(), environ) != 0) return -1;
  return static_cast<intptr_t>(pid);
}

int wait_process(intptr_t process) {
  if (process <= 0) return -1;
  int status;
  while (waitpid(static_cast<pid_t>(process), &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int run_process(const std::vector<std::string>& argv) {
  const intptr_t process = start_process(argv);
  return process == -1 ? -1 : wait_process(process);
}

int64_t now_seconds() { return static_cast<int64_t>(::time(nullptr)); }

bool local_time(int64_t t, LocalTime* out) {
  time_t tt = static_cast<time_t>(t);
  struct tm tmv;
  if (localtime_r(&tt, &tmv) == nullptr) return false;
  *out = {tmv.tm_year + 1900, tmv.tm_mon + 1, tmv.tm_mday, tmv.tm_hour, tmv.tm_min, tmv.tm_sec};
  return true;
}

bool stdin_is_terminal() { return isatty(STDIN_FILENO) == 1; }

bool get_env(const char* name, std::string* value) {
  const char* v = getenv(name);
  if (v == nullptr) return false;
  *value = v;
  return true;
}

bool set_env(const char* name, const char* value) {
  if (value == nullptr) return unsetenv(name) == 0;
  return setenv(name, value, 1) == 0;
}

ErrorGuard::ErrorGuard() : saved_errno_(errno), saved_last_error_(0) {}
ErrorGuard::~ErrorGuard() { errno = saved_errno_; }

// --- named semaphores --------------------------------------------------------------------

namespace {
std::string sem_path(const char* name) { return std::string("/") + name; }
}  // namespace

bool release_named_semaphore(const char* name) {
  if (name == nullptr || *name == 0) return false;
  sem_t* s = sem_open(sem_path(name).c_str(), 0);
  if (s == SEM_FAILED) return false;
  const bool ok = sem_post(s) == 0;
  sem_close(s);
  return ok;
}

NamedSemaphore::~NamedSemaphore() {
  if (handle_ == nullptr) return;
  sem_close(static_cast<sem_t*>(handle_));
  if (made_) sem_unlink(sem_path(name_.c_str()).c_str());
}

bool NamedSemaphore::create(const char* name) {
  if (handle_ != nullptr || name == nullptr || *name == 0) return false;
  const std::string path = sem_path(name);
  sem_t* s = sem_open(path.c_str(), O_CREAT | O_EXCL, 0666, 0);
  made_ = s != SEM_FAILED;
  if (s == SEM_FAILED) s = sem_open(path.c_str(), 0);
  if (s == SEM_FAILED) return false;
  handle_ = s;
  name_ = name;
  return true;
}

bool NamedSemaphore::try_wait() {
  if (handle_ == nullptr) return false;
  int rc;
  do {
    rc = sem_trywait(static_cast<sem_t*>(handle_));
  } while (rc != 0 && errno == EINTR);
  return rc == 0;
}

}  // namespace kyt::platform
