// Opens a sound database whose files the input has changed byte by byte, then reads, walks,
// adds, deletes and checks: every damage must end in a status, never in a crash, a read or
// write outside a buffer, or a hang.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "fuzzfile.h"
#include "isam/isam.h"
#include "platform/platform.h"

namespace {

const char* const kSuffixes[] = {".DB", ".IDX", ".HOL"};

struct Template {
  std::string base;
  std::string files[3];
};

using kyt::fuzz::slurp;
using kyt::fuzz::spill;

// A database with three indexes, records of varied sizes and some holes.
const Template& sample() {
  static Template t = [] {
    Template s;
    s.base = kyt::platform::make_temp_directory("kytfuzz") + "/F";
    const char* fields[] = {"A", "B", "C", nullptr};
    const char* i1[] = {"A", nullptr};
    const char* i2[] = {"B", "C", nullptr};
    const char* i3[] = {"C", nullptr};
    kyt::icreate_db(s.base.c_str(), fields);
    kyt::IsamDb* db = kyt::iopen_db(s.base.c_str());
    kyt::imkindex(db, "ONE", i1);
    kyt::imkindex(db, "TWO", i2);
    kyt::imkindex(db, "THREE", i3);
    kyt::IsamIndex* one = kyt::ihandle(db, "ONE");
    for (int i = 0; i < 60; ++i) {
      std::string a = "key" + std::to_string(i * 7919 % 60);
      std::string b(static_cast<size_t>(i % 13), 'b');
      std::string c = std::to_string(i % 5);
      const char* v[] = {a.c_str(), b.c_str(), c.c_str()};
      kyt::iaddrec(db, one, v);
      if (i % 4 == 3) kyt::idelrec(db, one);
    }
    kyt::iclose_db(db);
    for (int f = 0; f < 3; ++f) s.files[f] = slurp(s.base + kSuffixes[f]);
    return s;
  }();
  return t;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Template& t = sample();
  std::string files[3] = {t.files[0], t.files[1], t.files[2]};
  for (size_t i = 0; i + 4 <= size; i += 4) {
    std::string& f = files[data[i] % 3];
    if (f.empty()) continue;
    const size_t pos = ((static_cast<size_t>(data[i + 1]) << 8) | data[i + 2]) % f.size();
    f[pos] = static_cast<char>(data[i + 3]);
  }
  for (int f = 0; f < 3; ++f) spill(t.base + kSuffixes[f], files[f]);

  std::vector<std::string> problems;
  kyt::icheck_db(t.base.c_str(), &problems, 5);
  kyt::IsamDb* db = kyt::iopen_db(t.base.c_str());
  if (db == nullptr) return 0;
  // A caller knows its database's fields and passes as many values and field slots; a
  // header changed into another consistent field list is a different database.
  if (kyt::inum_fields(db) != 3) {
    kyt::iclose_db(db);
    return 0;
  }
  const char* fields[8];
  char buf[256];
  for (const char* name : {"ONE", "TWO", "THREE", kyt::kPhysicalIndex}) {
    kyt::IsamIndex* index = kyt::ihandle(db, name);
    if (index == nullptr) continue;
    for (int step = 0; step < 200 && kyt::ifindnext(db, index) == 1; ++step) {
      kyt::igetrec(db, index, fields, buf, sizeof buf);
    }
    for (int step = 0; step < 50 && kyt::ifindprev(db, index) == 1; ++step) {
      kyt::igetrec(db, index, fields, buf, sizeof buf);
    }
  }
  kyt::IsamIndex* one = kyt::ihandle(db, "ONE");
  if (one != nullptr) {
    const char* key[] = {"key7"};
    if (kyt::ifindkey(db, one, key) >= 2) {
      kyt::imarkrec(db, one);
      kyt::idelrec(db, one);
      kyt::ifindmark(db, one);
      kyt::ifindnext(db, one);
    }
    const char* v[] = {"new", "bbbb", "9"};
    kyt::iaddrec(db, one, v);
    kyt::idelrec(db, one);
  }
  kyt::iclose_db(db);
  return 0;
}
