// A failed allocation anywhere below rpdsql answers 99 and leaves the tables as they were.
// Its own program: it replaces the global allocation functions so that the n-th allocation
// of a statement fails, which the other tests must not see (nor a sanitizer's runtime, which
// brings allocation functions of its own: not built with KYT_SANITIZE).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "isam/isam.h"
#include "kyt/kyt.h"
#include "runtime/runtime.h"
#include "sql/sql.h"
#include "stationdb.h"
#include "testutil.h"

namespace {
// With a count n >= 0 the allocation after n more throws std::bad_alloc (once); -1 lets
// every allocation through.
int g_fail_after = -1;
}  // namespace

// malloc and free underneath, which GCC takes for a mismatch once they are inlined into
// each other.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void* operator new(std::size_t n) {
  if (g_fail_after >= 0 && g_fail_after-- == 0) throw std::bad_alloc();
  if (void* p = std::malloc(n == 0 ? 1 : n)) return p;
  throw std::bad_alloc();
}
void* operator new[](std::size_t n) {
  return ::operator new(n);
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
  if (g_fail_after >= 0 && g_fail_after-- == 0) return nullptr;
  return std::malloc(n == 0 ? 1 : n);
}
void* operator new[](std::size_t n, const std::nothrow_t& t) noexcept {
  return ::operator new(n, t);
}
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete[](void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
  std::free(p);
}

namespace kyt {
namespace {

class AllocFail : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(test::open_station_db(dir_));
    ASSERT_EQ(rpdsql_run("CREATE TABLE KT (CN INTEGER NOT NULL, NAME CHAR(9))"), 0);
    ASSERT_EQ(rpdsql_run("CREATE UNIQUE INDEX PRIM_KT ON KT (CN)"), 0);
    ASSERT_EQ(rpdsql_run("INSERT INTO KT VALUES(1, 'one')"), 0);
  }
  void TearDown() override {
    g_fail_after = -1;
    test::forget_station();
  }
  // As a new process would start: nothing held, the environment read again.
  void restart() {
    test::forget_station();
    if (!dir_.path().empty() && lpdsn_init_file(dir_.file("kytenv.dat")) == 0)
      lpdsn_set("DB", dir_.path().c_str());
  }

  static int32_t exec(const char* stmt, int32_t* cn) {
    kyt_hostvar v = {KYT_HOST_INT32, cn};
    return rpdsql(stmt, (const char*)nullptr, &v, (const kyt_hostvar*)nullptr);
  }

  // The CN values of KT in key order.
  static std::vector<int32_t> cns() { return test::kt_cns(); }

  // Runs `stmt` (with CN = the attempt's number as its one host variable) with its n-th
  // allocation failing, for every n until one run gets through; each failed attempt must
  // answer 99 or have finished its work. Attempt n runs with CN = base + n; `done` gives the
  // CN values a finished attempt with this CN leaves, from those before it.
  using Done = std::function<std::vector<int32_t>(std::vector<int32_t>, int32_t)>;
  void every_allocation_fails(const char* stmt, int32_t base, const Done& done) {
    std::vector<int32_t> want = cns();
    int failed = 0;
    for (int n = 0; n < 2000; ++n) {
      int32_t cn = base + n;
      g_fail_after = n;
      const int32_t rc = exec(stmt, &cn);
      const bool reached = g_fail_after < 0;
      g_fail_after = -1;
      if (reached) ++failed;
      if (rc == 0) want = done(want, base + n);
      if (reached && rc != 0) {
        EXPECT_EQ(rc, KYT_INTERNAL_ERROR) << stmt << ", allocation " << n;
      }
      // Within this process the next statement must work; what reached the files counts
      // as the next process sees it.
      ASSERT_EQ(cns(), want) << stmt << ", allocation " << n;
      restart();
      ASSERT_EQ(cns(), want) << stmt << ", allocation " << n << ", seen anew";
      std::vector<std::string> problems;
      EXPECT_TRUE(icheck_db(dir_.file("KT").c_str(), &problems, 10)) << "allocation " << n;
      for (const std::string& p : problems) ADD_FAILURE() << p;
      if (!reached) break;
    }
    EXPECT_GT(failed, 3) << stmt;
  }

  test::TempDir dir_;
};

TEST_F(AllocFail, ChangesAnswer99AndChangeNothing) {
  every_allocation_fails("INSERT INTO KT VALUES(?, 'x')", 1000,
                         [](std::vector<int32_t> v, int32_t cn) {
                           v.push_back(cn);
                           return v;
                         });
  every_allocation_fails("UPDATE KT SET CN = ? WHERE CN = 1", 5000,
                         [](std::vector<int32_t> v, int32_t cn) {
                           if (v.empty() || v.front() != 1) return v;
                           v.front() = cn;
                           std::sort(v.begin(), v.end());
                           return v;
                         });
  every_allocation_fails("DELETE FROM KT WHERE CN < ?", 1000,
                         [](std::vector<int32_t> v, int32_t cn) {
                           std::erase_if(v, [cn](int32_t x) { return x < cn; });
                           return v;
                         });
}

// Both cursor modes: a snapshot cursor allocates for every row it keeps.
TEST_F(AllocFail, ReadAnswers99) {
  ASSERT_EQ(exec("INSERT INTO KT VALUES(?, 'two')", std::make_unique<int32_t>(2).get()), 0);
  for (int mode : {kCursorStable, kCursorSnapshot}) {
    ASSERT_TRUE(isa_set_cursor_mode(mode));
    int failed = 0;
    for (int n = 0; n < 2000; ++n) {
      int32_t cn = 0;
      g_fail_after = n;
      const int32_t rc = exec("DECLARE one CURSOR FOR SELECT CN FROM KT", &cn);
      const bool reached = g_fail_after < 0;
      g_fail_after = -1;
      const int32_t second = exec("FETCH one", &cn);
      rpdsql("CLOSE one", (const char*)nullptr, (const kyt_hostvar*)nullptr);
      if (!reached) {
        EXPECT_EQ(rc, 0);
        EXPECT_EQ(second, 0);
        EXPECT_EQ(cn, 2);
        break;
      }
      ++failed;
      if (rc != 0) {
        EXPECT_EQ(rc, KYT_INTERNAL_ERROR) << "mode " << mode << ", allocation " << n;
      }
      EXPECT_EQ(cns(), (std::vector<int32_t>{1, 2})) << "mode " << mode << ", allocation " << n;
    }
    EXPECT_GT(failed, 0) << "mode " << mode;
  }
  isa_set_cursor_mode(kCursorStable);
}

}  // namespace
}  // namespace kyt
