// platform for Windows (Win32 API, ANSI code page names).
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

#include "platform/platform.h"

// Command lines reach main as typed: the MinGW runtime would otherwise expand wildcards in
// the arguments, which a Windows console program does not do.
extern "C" {
int _dowildcard = 0;
}

namespace kyt::platform {

namespace {
HANDLE as_handle(intptr_t h) { return reinterpret_cast<HANDLE>(h); }

// Win32 reads and writes take 32-bit counts; larger requests are split.
constexpr DWORD kMaxChunk = 1u << 30;

OVERLAPPED at_offset(int64_t offset) {
  OVERLAPPED ov;
  std::memset(&ov, 0, sizeof ov);
  ov.Offset = static_cast<DWORD>(static_cast<uint64_t>(offset) & 0xFFFFFFFFu);
  ov.OffsetHigh = static_cast<DWORD>(static_cast<uint64_t>(offset) >> 32);
  return ov;
}
}  // namespace

char path_separator() { return '\\'; }
const char* default_install_path() { return "C:\\KYT"; }

bool File::open(const char* path, OpenMode mode) {
  close();
  DWORD access = GENERIC_READ;
  DWORD disposition = OPEN_EXISTING;
  switch (mode) {
    case OpenMode::kRead: break;
    case OpenMode::kReadWrite: access = GENERIC_READ | GENERIC_WRITE; break;
    case OpenMode::kCreate:
      access = GENERIC_READ | GENERIC_WRITE;
      disposition = CREATE_ALWAYS;
      break;
    case OpenMode::kAppend:
      access = FILE_APPEND_DATA;
      disposition = OPEN_ALWAYS;
      break;
  }
  HANDLE h = CreateFileA(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                         nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  handle_ = reinterpret_cast<intptr_t>(h);
  return true;
}

bool File::close() {
  if (handle_ == kNoHandle) return true;
  const bool ok = CloseHandle(as_handle(handle_)) != 0;
  handle_ = kNoHandle;
  return ok;
}

int64_t File::read(void* buf, size_t n) {
  if (handle_ == kNoHandle) return -1;
  size_t done = 0;
  char* p = static_cast<char*>(buf);
  while (done < n) {
    DWORD want = static_cast<DWORD>(n - done > kMaxChunk ? kMaxChunk : n - done);
    DWORD got = 0;
    if (!ReadFile(as_handle(handle_), p + done, want, &got, nullptr)) {
      if (GetLastError() == ERROR_BROKEN_PIPE) break;  // writer closed the pipe: end of file
      return done > 0 ? static_cast<int64_t>(done) : -1;
    }
    if (got == 0) break;
    done += got;
    if (GetFileType(as_handle(handle_)) != FILE_TYPE_DISK) break;
  }
  return static_cast<int64_t>(done);
}

int64_t File::write(const void* buf, size_t n) {
  if (handle_ == kNoHandle) return -1;
  size_t done = 0;
  const char* p = static_cast<const char*>(buf);
  while (done < n) {
    DWORD want = static_cast<DWORD>(n - done > kMaxChunk ? kMaxChunk : n - done);
    DWORD put = 0;
    if (!WriteFile(as_handle(handle_), p + done, want, &put, nullptr)) return -1;
    done += put;
  }
  return static_cast<int64_t>(done);
}

int64_t File::read_at(void* buf, size_t n, int64_t offset) {
  if (handle_ == kNoHandle || offset < 0) return -1;
  size_t done = 0;
  char* p = static_cast<char*>(buf);
  while (done < n) {
    DWORD want = static_cast<DWORD>(n - done > kMaxChunk ? kMaxChunk : n - done);
    DWORD got = 0;
    OVERLAPPED ov = at_offset(offset + static_cast<int64_t>(done));
    if (!ReadFile(as_handle(handle_), p + done, want, &got, &ov)) {
      if (GetLastError() == ERROR_HANDLE_EOF) break;
      return -1;
    }
    if (got == 0) break;
    done += got;
  }
  return static_cast<int64_t>(done);
}

namespace {
std::atomic<bool> g_fail_writes{false};
}  // namespace

void fail_writes_for_tests(bool on) { g_fail_writes = on; }

int64_t File::write_at(const void* buf, size_t n, int64_t offset) {
  if (handle_ == kNoHandle || offset < 0 || g_fail_writes) return -1;
  size_t done = 0;
  const char* p = static_cast<const char*>(buf);
  while (done < n) {
    DWORD want = static_cast<DWORD>(n - done > kMaxChunk ? kMaxChunk : n - done);
    DWORD put = 0;
    OVERLAPPED ov = at_offset(offset + static_cast<int64_t>(done));
    if (!WriteFile(as_handle(handle_), p + done, want, &put, &ov)) return -1;
    done += put;
  }
  return static_cast<int64_t>(done);
}

int64_t File::size() {
  if (handle_ == kNoHandle) return -1;
  LARGE_INTEGER li;
  if (!GetFileSizeEx(as_handle(handle_), &li)) return -1;
  return static_cast<int64_t>(li.QuadPart);
}

bool File::sync() { return handle_ != kNoHandle && FlushFileBuffers(as_handle(handle_)) != 0; }

bool File::lock_header() {
  if (handle_ == kNoHandle) return false;
  OVERLAPPED ov = at_offset(0);
  return LockFileEx(as_handle(handle_), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 4,
                    0, &ov) != 0;
}

bool File::unlock_header() {
  if (handle_ == kNoHandle) return false;
  OVERLAPPED ov = at_offset(0);
  return UnlockFileEx(as_handle(handle_), 0, 4, 0, &ov) != 0;
}

int64_t File::relock_header() {
  if (!lock_header()) return -1;
  FILE_STANDARD_INFO info;
  if (!GetFileInformationByHandleEx(as_handle(handle_), FileStandardInfo, &info, sizeof info) ||
      info.DeletePending) {
    return -2;
  }
  return static_cast<int64_t>(info.EndOfFile.QuadPart);
}

bool removal_waits_for_close() { return true; }

// Reads stay ReadFile: the mapping fields of File are never set here.
void File::map_reads() {}
bool File::map_covering(int64_t) { return false; }

bool remove_file(const char* path) { return DeleteFileA(path) != 0; }
bool rename_file(const char* from, const char* to) {
  return MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING) != 0;
}
bool file_exists(const char* path) { return GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES; }
bool is_regular_file(const char* path) {
  DWORD a = GetFileAttributesA(path);
  return a != INVALID_FILE_ATTRIBUTES && (a & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE)) == 0;
}
bool is_directory(const char* path) {
  DWORD a = GetFileAttributesA(path);
  return a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_DIRECTORY) != 0;
}
namespace {
// The identity of an existing file or directory: volume serial number and file index.
bool file_identity(const char* path, BY_HANDLE_FILE_INFORMATION* info) {
  // No access asked for, every sharing allowed: this opens what others hold open too.
  HANDLE h = CreateFileA(path, 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                         nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  const bool ok = GetFileInformationByHandle(h, info) != 0;
  CloseHandle(h);
  return ok;
}
}  // namespace
bool same_file(const char* a, const char* b) {
  BY_HANDLE_FILE_INFORMATION ia, ib;
  if (!file_identity(a, &ia) || !file_identity(b, &ib)) return false;
  return ia.dwVolumeSerialNumber == ib.dwVolumeSerialNumber &&
         ia.nFileIndexHigh == ib.nFileIndexHigh && ia.nFileIndexLow == ib.nFileIndexLow;
}
int64_t file_size(const char* path) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExA(path, GetFileExInfoStandard, &data)) return -1;
  return (static_cast<int64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}
bool make_directory(const char* path) {
  if (CreateDirectoryA(path, nullptr)) return true;
  DWORD a = GetFileAttributesA(path);
  return a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

std::string temp_directory() {
  char buf[MAX_PATH + 1];
  DWORD n = GetTempPathA(sizeof buf, buf);
  if (n == 0 || n > MAX_PATH) return std::string(".");
  std::string dir(buf, n);
  while (dir.size() > 3 && (dir.back() == '\\' || dir.back() == '/')) dir.pop_back();
  return dir;
}

std::string make_temp_directory(const char* prefix) {
  std::string base = temp_directory();
  for (unsigned attempt = 0; attempt < 1000; ++attempt) {
    char name[64];
    std::snprintf(name, sizeof name, "%lu%04lu%03u", GetCurrentProcessId(),
                  static_cast<unsigned long>(GetTickCount() % 10000), attempt);
    std::string dir = base + "\\" + prefix + name;
    if (CreateDirectoryA(dir.c_str(), nullptr)) return dir;
    if (GetLastError() != ERROR_ALREADY_EXISTS) break;
  }
  return std::string();
}

bool absolute_path(const std::string& path, std::string* out) {
  const char* in = path.empty() ? "." : path.c_str();
  DWORD n = GetFullPathNameA(in, 0, nullptr, nullptr);
  if (n == 0) return false;
  std::vector<char> buf(n + 1);
  DWORD m = GetFullPathNameA(in, static_cast<DWORD>(buf.size()), buf.data(), nullptr);
  if (m == 0 || m >= buf.size()) return false;
  out->assign(buf.data(), m);
  return true;
}

uint32_t process_id() { return static_cast<uint32_t>(GetCurrentProcessId()); }

std::string executable_path() {
  std::vector<char> buf(32768);
  DWORD n = GetModuleFileNameA(nullptr, buf.data(), static_cast<DWORD>(buf.size()));
  if (n == 0 || n >= buf.size()) return {};
  return std::string(buf.data(), n);
}

intptr_t start_process(const std::vector<std::string>& argv) {
  if (argv.empty()) return -1;
  // One command line, quoted the way the C runtime splits it again.
  std::string cmd;
  for (const std::string& a : argv) {
    if (!cmd.empty()) cmd += ' ';
    if (!a.empty() && a.find_first_of(" \t\"") == std::string::npos) {
      cmd += a;
      continue;
    }
    cmd += '"';
    size_t slashes = 0;
    for (char ch : a) {
      if (ch == '\\') {
        ++slashes;
        continue;
      }
      cmd.append(ch == '"' ? 2 * slashes + 1 : slashes, '\\');
      slashes = 0;
      cmd += ch;
    }
    cmd.append(2 * slashes, '\\');
    cmd += '"';
  }
  std::vector<char> line(cmd.begin(), cmd.end());
  line.push_back('\0');
  STARTUPINFOA si;
  std::memset(&si, 0, sizeof si);
  si.cb = sizeof si;
  PROCESS_INFORMATION pi;
  if (!CreateProcessA(argv[0].c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si,
                      &pi)) {
    return -1;
  }
  CloseHandle(pi.hThread);
  return reinterpret_cast<intptr_t>(pi.hProcess);
}

int wait_process(intptr_t process) {
  if (process == -1 || process == 0) return -1;
  HANDLE h = reinterpret_cast<HANDLE>(process);
  WaitForSingleObject(h, INFINITE);
  DWORD code = 0;
  BOOL ok = GetExitCodeProcess(h, &code);
  CloseHandle(h);
  return ok ? static_cast<int>(code) : -1;
}

int run_process(const std::vector<std::string>& argv) {
  const intptr_t process = start_process(argv);
  return process == -1 ? -1 : wait_process(process);
}

int64_t now_seconds() { return static_cast<int64_t>(::time(nullptr)); }

bool local_time(int64_t t, LocalTime* out) {
  __time64_t tt = static_cast<__time64_t>(t);
  struct tm tmv;
  if (_localtime64_s(&tmv, &tt) != 0) return false;
  *out = {tmv.tm_year + 1900, tmv.tm_mon + 1, tmv.tm_mday, tmv.tm_hour, tmv.tm_min, tmv.tm_sec};
  return true;
}

bool stdin_is_terminal() {
  // A console answers GetConsoleMode; a pipe or file does not (_isatty would also call the
  // NUL device a terminal).
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) != 0;
}

bool get_env(const char* name, std::string* value) {
  DWORD n = GetEnvironmentVariableA(name, nullptr, 0);
  if (n == 0) {
    if (GetLastError() == ERROR_ENVVAR_NOT_FOUND) return false;
    value->clear();  // set, but empty
    return true;
  }
  std::vector<char> buf(n + 1);
  DWORD m = GetEnvironmentVariableA(name, buf.data(), static_cast<DWORD>(buf.size()));
  if (m >= buf.size()) return false;
  value->assign(buf.data(), m);
  return true;
}

bool set_env(const char* name, const char* value) {
  // Keep the C runtime's copy (getenv) and the process block in step.
  std::string entry = std::string(name) + "=" + (value != nullptr ? value : "");
  _putenv(entry.c_str());
  return SetEnvironmentVariableA(name, value) != 0;
}

ErrorGuard::ErrorGuard() : saved_errno_(errno), saved_last_error_(GetLastError()) {}
ErrorGuard::~ErrorGuard() {
  errno = saved_errno_;
  SetLastError(static_cast<DWORD>(saved_last_error_));
}

// --- named semaphores --------------------------------------------------------------------

bool release_named_semaphore(const char* name) {
  if (name == nullptr || *name == 0) return false;
  HANDLE h = OpenSemaphoreA(SEMAPHORE_MODIFY_STATE, FALSE, name);
  if (h == nullptr) return false;
  const bool ok = ReleaseSemaphore(h, 1, nullptr) != 0;
  CloseHandle(h);
  return ok;
}

NamedSemaphore::~NamedSemaphore() {
  if (handle_ != nullptr) CloseHandle(static_cast<HANDLE>(handle_));
}

bool NamedSemaphore::create(const char* name) {
  if (handle_ != nullptr || name == nullptr || *name == 0) return false;
  HANDLE h = CreateSemaphoreA(nullptr, 0, 0x7fffffff, name);
  if (h == nullptr) return false;
  made_ = GetLastError() != ERROR_ALREADY_EXISTS;
  handle_ = h;
  name_ = name;
  return true;
}

bool NamedSemaphore::try_wait() {
  if (handle_ == nullptr) return false;
  return WaitForSingleObject(static_cast<HANDLE>(handle_), 0) == WAIT_OBJECT_0;
}

}  // namespace kyt::platform
