// platform: the one interface between the station core and the operating system.
//
// posix.cpp implements it for Linux, win32.cpp for Windows; no other file of the tree
// may depend on the platform. Functions report failure by their result and leave the
// operating system's error number (errno, or the Win32 last error) as the system set it.
#ifndef KYT_PLATFORM_PLATFORM_H
#define KYT_PLATFORM_PLATFORM_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kyt::platform {

// Path separator used when composing file names, and the default installation directory.
char path_separator();
const char* default_install_path();

// How File::open treats the file system.
enum class OpenMode {
  kRead,       // existing file, read only
  kReadWrite,  // existing file, read and write
  kCreate,     // create or truncate, read and write; new files get mode 0666 less the umask
  kAppend,     // create if missing, every write goes to the end
};

// An open file. Move-only; the destructor closes it. All I/O is binary, offsets 64-bit.
class File {
 public:
  File() = default;
  ~File() { close(); }
  File(File&& other) noexcept { take(other); }
  File& operator=(File&& other) noexcept {
    if (this != &other) {
      close();
      take(other);
    }
    return *this;
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  // Opens `path`; false on failure (errno / last error as the system left it).
  bool open(const char* path, OpenMode mode);
  bool is_open() const { return handle_ != kNoHandle; }
  // Closes the file (and so drops its lock); closing a closed file does nothing. False when
  // the system reported a failure (a delayed write error): the handle is gone all the same.
  bool close();

  // Sequential read and write at the current position. read returns the number of bytes
  // read (0 at end of file) or -1; it may return fewer than asked only at end of file or for
  // pipes. write returns the bytes written or -1; it loops over partial writes.
  int64_t read(void* buf, size_t n);
  int64_t write(const void* buf, size_t n);
  // Positioned read and write. They may move the sequential position (Windows does), so
  // one File is used either sequentially or positioned, never both. read_at returns the bytes
  // read (fewer only at end of file) or -1; write_at returns n or -1.
  int64_t read_at(void* buf, size_t n, int64_t offset);
  int64_t write_at(const void* buf, size_t n, int64_t offset);
  // Size of the file in bytes, or -1.
  int64_t size();
  // Hands written data to the device.
  bool sync();

  // Non-blocking exclusive lock of bytes 0..3. Fails at once when another open of the file,
  // in this process or another, holds it. The lock goes with close().
  bool lock_header();
  bool unlock_header();
  // Takes the header lock again on a file kept open without it since unlock_header, and
  // learns what became of the file meanwhile: its size; -1 when another open holds the
  // lock (errno as the system left it); -2 when the file has been removed meanwhile or its
  // size cannot be learned (the lock is then held: close the file). From here on only the
  // bytes within that size count as in the file, so a mapping never touches bytes another
  // open cut away while the lock was given up.
  int64_t relock_header();

  // Lets read_at and write_at copy from and into a shared mapping of the file instead of
  // asking the system for every block, once the file has been read or written often enough
  // to be worth mapping (POSIX; Windows keeps the system calls). The mapping is the system's own
  // copy of the file's pages, so every other reader sees a write at once, as after a
  // system call, and it outlives the process. Only for a file opened for reading and
  // writing whose length nobody reduces while it is open: touching mapped bytes that are
  // no longer in the file would end the process. The block files qualify (their header
  // lock keeps other writers out, and the layer never shortens a file it holds). The
  // mapping covers the length the file had when it was mapped plus what this File wrote
  // since; reads beyond it, growth of the file, writes into a file with unallocated
  // stretches (whose first write through a mapping could find the disk full, and fault),
  // and everything when mapping fails use the system calls.
  void map_reads();

 private:
  void take(File& other) noexcept {
    handle_ = other.handle_;
    map_ = other.map_;
    map_capacity_ = other.map_capacity_;
    map_valid_ = other.map_valid_;
    map_wanted_ = other.map_wanted_;
    map_writes_ = other.map_writes_;
    unmapped_reads_ = other.unmapped_reads_;
    other.handle_ = kNoHandle;
    other.map_ = nullptr;
    other.map_capacity_ = other.map_valid_ = 0;
    other.map_wanted_ = false;
    other.map_writes_ = false;
    other.unmapped_reads_ = 0;
  }
  bool map_covering(int64_t end);

  static constexpr intptr_t kNoHandle = -1;
  intptr_t handle_ = kNoHandle;  // file descriptor, or HANDLE cast to an integer
  // Mapping (map_reads): base, bytes reserved, bytes known to be in the file; whether
  // writes may go through it (the file had no unallocated stretch when mapped).
  void* map_ = nullptr;
  int64_t map_capacity_ = 0;
  int64_t map_valid_ = 0;
  bool map_wanted_ = false;
  bool map_writes_ = false;
  int unmapped_reads_ = 0;  // reads and writes by system call since map_reads
};

// Makes every File::write_at of the process fail (answer -1, nothing written) while on, as
// a full or failing disk would. For tests of what a failed write leaves behind.
void fail_writes_for_tests(bool on);

// Whether a file removed while some handle has it open keeps its name until that handle is
// closed, so that nobody can make a new file of that name meanwhile (Windows). Where it
// does, a file must not stay open between uses that other processes' removals wait for.
bool removal_waits_for_close();

// File system.
bool remove_file(const char* path);                 // deletes a file (not a directory)
bool rename_file(const char* from, const char* to); // replaces `to` if it exists
bool file_exists(const char* path);
bool is_regular_file(const char* path);
bool is_directory(const char* path);
int64_t file_size(const char* path);                // -1 when missing
// Whether both names reach one existing file, by the file's identity (device and inode,
// volume and file index), whatever links, "." parts or symbolic links lead there.
bool same_file(const char* a, const char* b);
bool make_directory(const char* path);              // true also when it exists already
// A new, empty, private directory below the system's temporary directory.
std::string make_temp_directory(const char* prefix);
std::string temp_directory();                       // the system's temporary directory
// Makes `path` absolute against the current directory; false when that is not possible.
bool absolute_path(const std::string& path, std::string* out);

// Process and time.
uint32_t process_id();
// Full path of the running program's executable; empty when unknown.
std::string executable_path();
// Runs the program argv[0] with the arguments argv[1..] (no shell), with this process's
// environment, waits for it and returns its exit code; -1 when it could not be started.
int run_process(const std::vector<std::string>& argv);
// Starts a program as run_process does, without waiting for it: a handle for wait_process
// (every started process must be waited for once), or -1 when it could not be started.
intptr_t start_process(const std::vector<std::string>& argv);
// Waits for a process of start_process to end and returns its exit code; -1 when unknown.
int wait_process(intptr_t process);
int64_t now_seconds();                              // seconds since 1970-01-01 UTC
// Local broken-down time of `t` (seconds since 1970); false when it cannot be converted.
struct LocalTime {
  int year, month, day, hour, minute, second;
};
bool local_time(int64_t t, LocalTime* out);

// Whether standard input is an interactive terminal (a console on Windows), not a file or
// a pipe: interactive commands show a prompt and go on after an error there.
bool stdin_is_terminal();

// Environment variables of the process.
bool get_env(const char* name, std::string* value);  // false when not set
bool set_env(const char* name, const char* value);   // value nullptr removes it

// Saves the thread's error numbers (errno and, on Windows, the last error) and puts them
// back when it goes out of scope, so that tracing never changes what a caller sees.
class ErrorGuard {
 public:
  ErrorGuard();
  ~ErrorGuard();
  ErrorGuard(const ErrorGuard&) = delete;
  ErrorGuard& operator=(const ErrorGuard&) = delete;

 private:
  int saved_errno_;
  [[maybe_unused]] unsigned long saved_last_error_;  // Win32 last error; unused on POSIX
};

// Named semaphores: the monitor's wake-up semaphore. A name is a plain word of letters,
// digits, "." and "_" (at most 200 characters); the platform maps it to its own namespace
// (POSIX "/NAME" for sem_open, Windows the session's kernel object "NAME").
//
// Releases the semaphore `name` once when it exists; false when there is none (nobody
// waits: not an error for the caller) or it cannot be released.
bool release_named_semaphore(const char* name);

// The waiting side: a named semaphore made (count 0) or opened by this process, closed when
// the object goes; the POSIX name is removed again when this object made it.
class NamedSemaphore {
 public:
  NamedSemaphore() = default;
  ~NamedSemaphore();
  NamedSemaphore(const NamedSemaphore&) = delete;
  NamedSemaphore& operator=(const NamedSemaphore&) = delete;
  bool create(const char* name);
  // Takes one count without waiting: false when the count is 0.
  bool try_wait();

 private:
  void* handle_ = nullptr;  // sem_t* or HANDLE
  std::string name_;
  bool made_ = false;
};

}  // namespace kyt::platform

#endif  // KYT_PLATFORM_PLATFORM_H
