// benchutil: what every benchmark needs: seconds since a moment, and giving up with the step
// that failed. Benchmarks print ratios and never fail the build; a failed step ends the run
// with status 1.
#ifndef KYT_BENCH_BENCHUTIL_H
#define KYT_BENCH_BENCHUTIL_H

#include <chrono>
#include <cstdio>

namespace kyt::bench {

using Clock = std::chrono::steady_clock;

inline double since(Clock::time_point t) {
  return std::chrono::duration<double>(Clock::now() - t).count();
}

// Prints "PROGRAM: WHAT failed (RC)" on standard error and answers 1 for main to return.
inline int fail(const char* program, const char* what, long rc) {
  std::fprintf(stderr, "%s: %s failed (%ld)\n", program, what, rc);
  return 1;
}

}  // namespace kyt::bench

#endif  // KYT_BENCH_BENCHUTIL_H
