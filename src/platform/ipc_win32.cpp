// ipc on Windows: named events, named semaphores, named pipes, CreateProcessA.
#include <windows.h>

#include <cstring>

#include "platform/ipc.h"
#include "platform/platform.h"

namespace kyt::platform {

namespace {

// Security attributes whose descriptor has a null access list (every account may use the
// object) and whose handles are inheritable.
struct OpenToAll {
  SECURITY_DESCRIPTOR sd;
  SECURITY_ATTRIBUTES sa;
  bool ok = false;
  OpenToAll() {
    std::memset(&sd, 0, sizeof sd);
    std::memset(&sa, 0, sizeof sa);
    if (!InitializeSecurityDescriptor(&sd, SECURITY_DESCRIPTOR_REVISION)) return;
    if (!SetSecurityDescriptorDacl(&sd, TRUE, nullptr, FALSE)) return;
    sa.nLength = sizeof sa;
    sa.lpSecurityDescriptor = &sd;
    sa.bInheritHandle = TRUE;
    ok = true;
  }
};

HANDLE as_handle(intptr_t h) { return reinterpret_cast<HANDLE>(h); }
intptr_t as_int(HANDLE h) { return reinterpret_cast<intptr_t>(h); }

}  // namespace

int32_t sys_error() { return static_cast<int32_t>(GetLastError()); }

std::string ipc_run_directory() { return {}; }

// ---- events

bool NamedEvent::open(const char* name) {
  close();
  if (name == nullptr) return false;
  HANDLE h = OpenEventA(EVENT_ALL_ACCESS, FALSE, name);
  if (h == nullptr) return false;
  handle_ = as_int(h);
  return true;
}

bool NamedEvent::create(const char* name) {
  close();
  if (name == nullptr) return false;
  OpenToAll all;
  if (!all.ok) return false;
  HANDLE h = CreateEventA(&all.sa, TRUE, FALSE, name);
  if (h == nullptr) return false;
  handle_ = as_int(h);
  return true;
}

bool NamedEvent::set() { return handle_ != kNone && SetEvent(as_handle(handle_)) != 0; }

bool NamedEvent::reset() { return handle_ != kNone && ResetEvent(as_handle(handle_)) != 0; }

int NamedEvent::poll() {
  if (handle_ == kNone) {
    SetLastError(ERROR_INVALID_HANDLE);
    return -1;
  }
  switch (WaitForSingleObject(as_handle(handle_), 0)) {
    case WAIT_OBJECT_0: return 1;
    case WAIT_TIMEOUT: return 0;
    default: return -1;
  }
}

void NamedEvent::close() {
  if (handle_ == kNone) return;
  CloseHandle(as_handle(handle_));
  handle_ = kNone;
}

bool NamedEvent::exists(const char* name) {
  if (name == nullptr) return false;
  HANDLE h = OpenEventA(SYNCHRONIZE, FALSE, name);
  if (h == nullptr) return false;
  CloseHandle(h);
  return true;
}

void NamedEvent::remove(const char*) {}

// ---- unique-process locks

int32_t unique_take(const char* name, intptr_t* handle) {
  if (name == nullptr) return 99;
  OpenToAll all;
  if (!all.ok) return 99;
  HANDLE h = CreateSemaphoreA(&all.sa, 1, 2, name);
  if (h == nullptr) return 99;
  if (GetLastError() == ERROR_ALREADY_EXISTS) {
    CloseHandle(h);
    SetLastError(ERROR_ALREADY_EXISTS);
    return 4;
  }
  *handle = as_int(h);
  return 0;
}

int32_t unique_test(const char* name) {
  if (name == nullptr) return 99;
  HANDLE h = OpenSemaphoreA(SYNCHRONIZE, FALSE, name);
  if (h != nullptr) {
    CloseHandle(h);
    return 4;
  }
  const DWORD e = GetLastError();
  if (e == ERROR_FILE_NOT_FOUND) return 0;
  return e == ERROR_ACCESS_DENIED ? 4 : 99;  // another account's semaphore exists
}

bool unique_lingers_while_tested() { return true; }

void unique_release(const char*, intptr_t handle) {
  if (handle != 0 && handle != -1) CloseHandle(as_handle(handle));
}

// ---- the pipe

bool PipeClient::open(const char* name) {
  close();
  if (name == nullptr) return false;
  HANDLE h = CreateFileA(name, GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                         FILE_FLAG_OVERLAPPED, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  handle_ = as_int(h);
  return true;
}

bool PipeClient::write_byte(char c) {
  if (handle_ == kNone) {
    SetLastError(ERROR_INVALID_HANDLE);
    return false;
  }
  OVERLAPPED ov;
  std::memset(&ov, 0, sizeof ov);
  ov.hEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  if (ov.hEvent == nullptr) return false;
  DWORD n = 0;
  BOOL ok = WriteFile(as_handle(handle_), &c, 1, &n, &ov);
  if (!ok && GetLastError() == ERROR_IO_PENDING) {
    ok = GetOverlappedResult(as_handle(handle_), &ov, &n, TRUE);
  }
  const DWORD err = GetLastError();
  CloseHandle(ov.hEvent);
  SetLastError(err);
  return ok && n == 1;
}

void PipeClient::close() {
  if (handle_ == kNone) return;
  CloseHandle(as_handle(handle_));
  handle_ = kNone;
}

bool PipeServer::create(const char* name) {
  close();
  if (name == nullptr) return false;
  OpenToAll all;
  if (!all.ok) return false;
  HANDLE h = CreateNamedPipeA(name, PIPE_ACCESS_INBOUND | FILE_FLAG_OVERLAPPED,
                              PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, 1, 0, 4096, 0,
                              &all.sa);
  if (h == INVALID_HANDLE_VALUE) return false;
  auto* ov = new OVERLAPPED;
  std::memset(ov, 0, sizeof *ov);
  ov->hEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  if (ov->hEvent == nullptr) {
    delete ov;
    CloseHandle(h);
    return false;
  }
  handle_ = as_int(h);
  overlap_ = ov;
  connected_ = pending_ = false;
  return true;
}

int PipeServer::read_byte(int timeout_ms) {
  if (handle_ == kNone) return -2;
  HANDLE h = as_handle(handle_);
  auto* ov = static_cast<OVERLAPPED*>(overlap_);
  const DWORD start = GetTickCount();
  for (;;) {
    if (!pending_) {
      ResetEvent(ov->hEvent);
      if (!connected_) {
        if (ConnectNamedPipe(h, ov)) {
          connected_ = true;
        } else if (GetLastError() == ERROR_PIPE_CONNECTED) {
          connected_ = true;
        } else if (GetLastError() == ERROR_IO_PENDING) {
          pending_ = true;
        } else if (GetLastError() == ERROR_NO_DATA) {
          DisconnectNamedPipe(h);  // a writer came and went: make room for the next
          continue;
        } else {
          return -2;
        }
        continue;
      }
      DWORD n = 0;
      if (ReadFile(h, &byte_, 1, &n, ov)) {
        if (n == 1) return byte_;
        continue;
      }
      const DWORD e = GetLastError();
      if (e == ERROR_IO_PENDING) {
        pending_ = true;
      } else if (e == ERROR_BROKEN_PIPE || e == ERROR_PIPE_NOT_CONNECTED) {
        DisconnectNamedPipe(h);
        connected_ = false;
        continue;
      } else {
        return -2;
      }
    }
    const DWORD spent = GetTickCount() - start;
    const DWORD left = spent >= static_cast<DWORD>(timeout_ms) ? 0 : timeout_ms - spent;
    const DWORD w = WaitForSingleObject(ov->hEvent, left);
    if (w == WAIT_TIMEOUT) return -1;
    if (w != WAIT_OBJECT_0) return -2;
    DWORD n = 0;
    const BOOL ok = GetOverlappedResult(h, ov, &n, FALSE);
    const DWORD e = GetLastError();
    pending_ = false;
    if (!connected_) {
      if (!ok && e != ERROR_PIPE_CONNECTED) {
        DisconnectNamedPipe(h);
        continue;
      }
      connected_ = true;
      continue;
    }
    if (ok && n == 1) return byte_;
    if (!ok && (e == ERROR_BROKEN_PIPE || e == ERROR_PIPE_NOT_CONNECTED)) {
      DisconnectNamedPipe(h);
      connected_ = false;
    } else if (!ok) {
      return -2;
    }
  }
}

void PipeServer::close() {
  if (handle_ == kNone) return;
  auto* ov = static_cast<OVERLAPPED*>(overlap_);
  if (pending_) {
    CancelIo(as_handle(handle_));
    DWORD n;
    GetOverlappedResult(as_handle(handle_), ov, &n, TRUE);
  }
  CloseHandle(as_handle(handle_));
  CloseHandle(ov->hEvent);
  delete ov;
  overlap_ = nullptr;
  handle_ = kNone;
  connected_ = pending_ = false;
}

// ---- processes

int32_t spawn_detached(const std::string& program, const std::string& command_line,
                       const char* title) {
  std::string line = command_line;
  std::string caption = title != nullptr ? title : "";
  STARTUPINFOA si;
  std::memset(&si, 0, sizeof si);
  si.cb = sizeof si;
  si.dwFlags = STARTF_USESHOWWINDOW;
  si.wShowWindow = SW_SHOWMINNOACTIVE;
  si.lpTitle = title != nullptr ? caption.data() : nullptr;
  PROCESS_INFORMATION pi;
  if (!CreateProcessA(program.c_str(), line.data(), nullptr, nullptr, FALSE,
                      CREATE_NEW_CONSOLE | NORMAL_PRIORITY_CLASS, nullptr, nullptr, &si, &pi)) {
    const int32_t e = static_cast<int32_t>(GetLastError());
    return e != 0 ? e : 1;
  }
  CloseHandle(pi.hProcess);
  CloseHandle(pi.hThread);
  return 0;
}

bool kill_process(intptr_t process) {
  return process != 0 && process != -1 && TerminateProcess(as_handle(process), 1) != 0;
}

bool kill_process_id(uint32_t pid) {
  HANDLE h = OpenProcess(PROCESS_TERMINATE, FALSE, static_cast<DWORD>(pid));
  if (h == nullptr) return false;
  const BOOL ok = TerminateProcess(h, 1);
  CloseHandle(h);
  return ok != 0;
}

void sleep_ms(int ms) {
  if (ms > 0) Sleep(static_cast<DWORD>(ms));
}

}  // namespace kyt::platform
