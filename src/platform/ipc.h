// ipc: the named objects that the station's processes share, and starting and ending them.
//
// Names are texts of at most 254 printable characters, formed by the modules that use them
// (the stop events, the unique-process semaphores, the transmitter pipe); this layer maps
// them to what the platform offers:
//
//   object                    POSIX                                     Windows
//   named event               a one-byte state file ("1" signalled,     a named manual-reset
//   (manual reset)            "0" not) in the run directory             event
//   unique-process lock       a lock file in the run directory held     a named semaphore
//                             with a lock of its open file; the kernel  (count 1, maximum 2)
//                             drops the lock when the holder dies
//   transmitter pipe          a FIFO in the run directory; opening it   a named pipe
//                             for writing without a reader fails
//
// The run directory is "kyt.run" below the system's temporary directory (TMPDIR, else /tmp),
// made on first use with mode 01777 so that every account of the host can use it; its files
// are made 0666. A name becomes one file name there: a kind prefix ("ev.", "sem.", "pipe."),
// the name with every byte other than a letter, digit, "." or "-" turned into "_" (at most
// 120 of them), "." and the 16 hexadecimal digits of a 64-bit FNV-1a hash of the whole name,
// so two names never share a file even when they read alike after the mapping.
//
// Differences that the callers accept: a POSIX event lives as long as its file, so a set
// event stays set until it is reset, also while no process has it open (a Windows event
// vanishes with its last handle). A lock file whose holder died stays behind, unlocked; the
// next holder takes it and removes it when it lets go.
//
// Functions report failure by their result and leave the system's error number; sys_error()
// reads it (errno, or the Win32 last error).
#ifndef KYT_PLATFORM_IPC_H
#define KYT_PLATFORM_IPC_H

#include <cstdint>
#include <string>
#include <vector>

namespace kyt::platform {

// The thread's last system error number (errno, GetLastError()).
int32_t sys_error();

// The directory of the POSIX named objects (see above), made when missing; empty on Windows
// and when it cannot be made.
std::string ipc_run_directory();

// A named manual-reset event. Move-less; the destructor closes the handle (the object itself
// stays for other holders; on POSIX its state file stays).
class NamedEvent {
 public:
  NamedEvent() = default;
  ~NamedEvent() { close(); }
  NamedEvent(const NamedEvent&) = delete;
  NamedEvent& operator=(const NamedEvent&) = delete;

  // Opens the existing event `name`; false when there is none (or it cannot be opened).
  bool open(const char* name);
  // Creates the event, not signalled, usable by every account; an event that exists already
  // is opened with its state kept. False on failure.
  bool create(const char* name);
  bool is_open() const { return handle_ != kNone; }
  // Signals / clears the event. False on failure.
  bool set();
  bool reset();
  // 1 when signalled, 0 when not, -1 when the state cannot be read. Never waits.
  int poll();
  void close();

  // Whether the event `name` exists.
  static bool exists(const char* name);
  // Removes the event's POSIX state file (the last user of a name that is done with it);
  // nothing on Windows, where the object goes with its last handle.
  static void remove(const char* name);

 private:
  static constexpr intptr_t kNone = -1;
  intptr_t handle_ = kNone;
};

// Unique-process locks: the mark that a station process runs.
// Takes the lock `name`: 0 taken (*handle to give back to unique_release); 4 another holder
// has it; 99 a failure (the system error left). On Windows a semaphore that exists counts as
// held, as long as any process keeps a handle of it.
int32_t unique_take(const char* name, intptr_t* handle);
// Whether a process holds the lock `name`: 4 held, 0 not, 99 a failure. Only looks (takes,
// creates and removes nothing), so a process taking the lock at the same moment is never
// told that it is held by the one asking.
int32_t unique_test(const char* name);
// Whether a lock released while another process tests it can live on for the moment of that
// test, so that a take right after the release may be refused (Windows: a named semaphore
// lives while any handle to it is open, the tester's too). A lock nobody held is never
// made by a test, on either platform, so a process starting while others test is not
// refused.
bool unique_lingers_while_tested();
// Lets go of a lock of unique_take (the POSIX lock file is removed first).
void unique_release(const char* name, intptr_t handle);

// The transmitter pipe, writing side: opens the pipe `name` for writing, existing only, not
// waiting; false when it does not exist or nobody reads it.
class PipeClient {
 public:
  PipeClient() = default;
  ~PipeClient() { close(); }
  PipeClient(const PipeClient&) = delete;
  PipeClient& operator=(const PipeClient&) = delete;
  bool open(const char* name);
  bool is_open() const { return handle_ != kNone; }
  // Writes one byte; waits for a write that the system completes later. False when it
  // failed (the reader went away): the caller closes and opens again.
  bool write_byte(char c);
  void close();

 private:
  static constexpr intptr_t kNone = -1;
  intptr_t handle_ = kNone;
};

// The transmitter pipe, reading side (the transmitter; the tests' stand-in): one reader,
// writers one after another.
class PipeServer {
 public:
  PipeServer() = default;
  ~PipeServer() { close(); }
  PipeServer(const PipeServer&) = delete;
  PipeServer& operator=(const PipeServer&) = delete;
  // Makes the pipe `name` (POSIX: replaces a FIFO left behind). False on failure.
  bool create(const char* name);
  // The next byte written by any writer: 0..255; -1 when none came within `timeout_ms`;
  // -2 on failure.
  int read_byte(int timeout_ms);
  // Closes the pipe (POSIX: removes the FIFO).
  void close();

 private:
  static constexpr intptr_t kNone = -1;
  intptr_t handle_ = kNone;
  [[maybe_unused]] std::string path_;  // POSIX: the FIFO, removed on close
  // Windows: whether a writer is connected, the pending connect or read and its byte.
  [[maybe_unused]] bool connected_ = false;
  [[maybe_unused]] void* overlap_ = nullptr;
  [[maybe_unused]] bool pending_ = false;
  [[maybe_unused]] unsigned char byte_ = 0;
};

// Starts `program` as a process of its own that outlives the caller and is never waited for:
// POSIX in a new session, Windows in a new console with normal priority, its window shown
// minimised without activation and titled `title`. `command_line` is the whole command line
// (the program's name first); POSIX splits it into words at blanks, a pair of double quotes
// keeping blanks in a word. Returns 0 or the system error of the failed start.
int32_t spawn_detached(const std::string& program, const std::string& command_line,
                       const char* title);

// Ends a process started by start_process at once (SIGKILL, TerminateProcess); it is still
// to be waited for with wait_process. False on failure.
bool kill_process(intptr_t process);

// Ends the process with the id `pid` at once (SIGKILL, TerminateProcess). False on failure.
bool kill_process_id(uint32_t pid);

// Sleeps `ms` milliseconds.
void sleep_ms(int ms);

}  // namespace kyt::platform

#endif  // KYT_PLATFORM_IPC_H
