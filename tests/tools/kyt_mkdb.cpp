// kyt_mkdb: makes a small sample database for the command tests.
// Usage: kyt_mkdb BASE RECORDS  -- fields NAME and CITY, indexes PRIMARY (NAME) and BYCITY
// (CITY); every third record is deleted again, so the data file has holes.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "isam/isam.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: kyt_mkdb BASE RECORDS\n");
    return 2;
  }
  const char* fields[] = {"NAME", "CITY", nullptr};
  const char* primary[] = {"NAME", nullptr};
  const char* bycity[] = {"CITY", nullptr};
  if (kyt::icreate_db(argv[1], fields) != 1) return 1;
  kyt::IsamDb* db = kyt::iopen_db(argv[1]);
  if (db == nullptr || kyt::imkindex(db, "PRIMARY", primary) != 1 ||
      kyt::imkindex(db, "BYCITY", bycity) != 1) {
    return 1;
  }
  kyt::IsamIndex* index = kyt::ihandle(db, "PRIMARY");
  const int n = std::atoi(argv[2]);
  for (int i = 0; i < n; ++i) {
    char name[32], city[32];
    std::snprintf(name, sizeof name, "name%05d", i);
    std::snprintf(city, sizeof city, "city%d", i % 7);
    const char* values[] = {name, city};
    if (kyt::iaddrec(db, index, values) != 1) return 1;
    if (i % 3 == 1 && kyt::idelrec(db, index) != 1) return 1;
  }
  return kyt::iclose_db(db) == 1 ? 0 : 1;
}
