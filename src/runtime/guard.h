// guard: the one wrapper of every exported function, so that no C++ exception (an
// allocation that failed far below, or any other) ever crosses into a C caller.
//
//   extern "C" int32_t kytSomething(...) {
//     return kyt::api_guard("kytSomething", [&]() -> int32_t { ... });
//   }
//
// The body's status is answered as it is; an exception becomes 99 (RC_INTERNAL_ERROR),
// with one trace line naming the function and the cause. Whatever the body had changed
// before the exception stays as its own clean-up (RAII) left it.
#ifndef KYT_RUNTIME_GUARD_H
#define KYT_RUNTIME_GUARD_H

#include <cstdint>
#include <exception>
#include <new>

namespace kyt {

// The answer of an exported function whose body ended with an exception.
constexpr int32_t kApiInternalError = 99;

// Writes the trace line of a failed call; never throws.
void api_failure(const char* function, const char* cause) noexcept;

template <typename Body>
int32_t api_guard(const char* function, Body&& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    api_failure(function, "out of memory");
  } catch (const std::exception& e) {
    api_failure(function, e.what());
  } catch (...) {
    api_failure(function, "unknown exception");
  }
  return kApiInternalError;
}

}  // namespace kyt

#endif  // KYT_RUNTIME_GUARD_H
