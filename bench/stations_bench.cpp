// Loading the station list (kytRefreshStationList, then kytFreeStationList) of a station with
// N partners, each with an ST, NK, RT, OP, TC and LX row, against SQLite running the same
// ordered queries through its C API (prepared, stepped, columns copied into the same element
// records) and attaching the rows to the same nodes by the same merge walk, then freeing
// them, side by side in one run (processor time, the best of the rounds). Also loads a station of N/10 partners to show how the time
// grows. Ratios: SQLite's time / the station list's (target at least 1.0), and the time of N
// partners / the time of N/10 (target at most 12).
//
//   stations_bench [PARTNERS [ROUNDS]]      (defaults 10000 and 3)
#include <sqlite3.h>

#include <algorithm>
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "benchutil.h"
#include "kyt/kyt.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "services/services.h"
#include "sql/sql.h"

namespace {

// Processor time of this process: the machines the benchmarks run on are shared, and wall
// time there measures the neighbours as much as the code.
struct Clock {
  using time_point = std::clock_t;
  static time_point now() { return std::clock(); }
};
double since(Clock::time_point t) {
  return static_cast<double>(std::clock() - t) / CLOCKS_PER_SEC;
}

int die(const char* what, long rc) {
  std::fprintf(stderr, "stations_bench: %s failed (%ld)\n", what, rc);
  std::exit(1);
}

void sid_of(long i, char* sid) { std::snprintf(sid, 17, "P%07d", static_cast<int>(i % 10000000)); }

// ---- the station database ---------------------------------------------------------------

void fill_kyt(long partners) {
  long rc;
  if ((rc = kyt::sqlSetAutocommOff()) != 0) die("autocommit", rc);
  for (long i = 0; i < partners; ++i) {
    kyt_st_elem st{};
    sid_of(i, st.sid);
    std::strcpy(st.netid, "NET");
    std::snprintf(st.statname, sizeof st.statname, "partner %ld", i);
    kyt_nk_elem nk{};
    std::strcpy(nk.sid, st.sid);
    std::strcpy(nk.ftp, "F");
    std::strcpy(nk.protocol, "T");
    std::strcpy(nk.autodial, "Y");
    kyt_rt_elem rt{};
    std::strcpy(rt.siddest, st.sid);
    sid_of(i == 0 ? 1 : 0, rt.sidneighb);
    kyt_op_elem op{};
    std::strcpy(op.sid, st.sid);
    std::snprintf(op.odetteid, sizeof op.odetteid, "O0013%07d", static_cast<int>(i % 10000000));
    std::strcpy(op.pswfrom, "A");
    std::strcpy(op.pswto, "B");
    kyt_tc_elem tc{};
    std::strcpy(tc.sid, st.sid);
    std::strcpy(tc.protocol, "T");
    std::strcpy(tc.inaddr, "192.0.2.1");
    tc.port = 3305;
    kyt_lx_elem lx{};
    std::strcpy(lx.sid, st.sid);
    std::strcpy(lx.name, "MAXRECL");
    std::strcpy(lx.val, "2048");
    using kyt::Tab;
    if ((rc = kyt::tm::insert(Tab::kST, "bench", &st)) != 0 ||
        (rc = kyt::tm::insert(Tab::kNK, "bench", &nk)) != 0 ||
        (rc = kyt::tm::insert(Tab::kRT, "bench", &rt)) != 0 ||
        (rc = kyt::tm::insert(Tab::kOP, "bench", &op)) != 0 ||
        (rc = kyt::tm::insert(Tab::kTC, "bench", &tc)) != 0 ||
        (rc = kyt::tm::insert(Tab::kLX, "bench", &lx)) != 0)
      die("insert", rc);
  }
  if ((rc = kyt::sqlCommit()) != 0) die("commit", rc);
  kyt::sqlSetAutocommOn();
}

void open_station(const std::string& dir, long partners) {
  long rc;
  if (const char* step = kyt::bench::open_station_database(dir, &rc)) die(step, rc);
  fill_kyt(partners);
}

double time_kyt(long partners, int rounds) {
  double best = 1e9;
  for (int r = 0; r < rounds; ++r) {
    const auto t = Clock::now();
    long rc = kytRefreshStationList();
    if (rc != 0) die("kytRefreshStationList", rc);
    long n = 0;
    for (const kyt_station* s = kytGetStationListHead(); s != nullptr; s = s->next) {
      if (s->nk == nullptr || s->rt == nullptr || s->op == nullptr || s->tc == nullptr ||
          s->lx == nullptr)
        die("rows missing", n);
      ++n;
    }
    kytFreeStationList();
    best = std::min(best, since(t));
    if (n != partners) die("stations listed", n);
  }
  return best;
}

// ---- SQLite -----------------------------------------------------------------------------

void exec(sqlite3* db, const char* sql) {
  char* err = nullptr;
  if (sqlite3_exec(db, sql, nullptr, nullptr, &err) != SQLITE_OK) {
    std::fprintf(stderr, "sqlite: %s: %s\n", sql, err ? err : "?");
    std::exit(1);
  }
}

void fill_sqlite(sqlite3* db, long partners) {
  exec(db,
       "CREATE TABLE ST (SID CHAR(17) NOT NULL, NETID CHAR(26) NOT NULL, STATNAME CHAR(31) NOT "
       "NULL, PHONE CHAR(30), SIDTYP CHAR(2), PRIMARY KEY (SID));"
       "CREATE TABLE NK (SID CHAR(17) NOT NULL, FTP CHAR(2) NOT NULL, PROTOCOL CHAR(2) NOT NULL, "
       "PRIORITY SMALLINT NOT NULL, FLAGSUSPND SMALLINT NOT NULL, AUTODIAL CHAR(2) NOT NULL, "
       "DELAY INTEGER, PSESSIONS INTEGER, PRIMARY KEY (SID, FTP, PROTOCOL));"
       "CREATE TABLE RT (SIDDEST CHAR(17) NOT NULL, SIDNEIGHB CHAR(17) NOT NULL, PRIORITY "
       "SMALLINT NOT NULL, PRIMARY KEY (SIDDEST, SIDNEIGHB));"
       "CREATE TABLE OP (SID CHAR(17) NOT NULL, ODETTEID CHAR(26) NOT NULL, PSWFROM CHAR(9) NOT "
       "NULL, PSWTO CHAR(9) NOT NULL, PRIMARY KEY (SID));"
       "CREATE TABLE LU (SID CHAR(17) NOT NULL, NETID CHAR(9), LUNAME CHAR(9) NOT NULL, "
       "PRIMARY KEY (SID));"
       "CREATE TABLE XP (SID CHAR(17) NOT NULL, N INTEGER, ALIAS CHAR(81), PRIMARY KEY (SID, N));"
       "CREATE TABLE TC (SID CHAR(17) NOT NULL, PROTOCOL CHAR(2) NOT NULL, N INTEGER, INADDR "
       "CHAR(64) NOT NULL, PORT SMALLINT NOT NULL, MAX_IN SMALLINT, MAX_OUT SMALLINT, SECURITY "
       "CHAR(9), RCV_N INTEGER NOT NULL, PRIMARY KEY (SID, PROTOCOL, N));"
       "CREATE TABLE LX (SID CHAR(17) NOT NULL, NAME CHAR(12) NOT NULL, TYPE SMALLINT NOT NULL, "
       "LEN INTEGER NOT NULL, VAL CHAR(30) NOT NULL, PRIMARY KEY (SID, NAME));");
  exec(db, "BEGIN");
  char sql[512];
  for (long i = 0; i < partners; ++i) {
    char sid[17], nb[17];
    sid_of(i, sid);
    sid_of(i == 0 ? 1 : 0, nb);
    std::snprintf(sql, sizeof sql,
                  "INSERT INTO ST VALUES('%s','NET','partner %ld','','');"
                  "INSERT INTO NK VALUES('%s','F','T',0,0,'Y',0,0);"
                  "INSERT INTO RT VALUES('%s','%s',0);"
                  "INSERT INTO OP VALUES('%s','O0013%07ld','A','B');"
                  "INSERT INTO TC VALUES('%s','T',0,'192.0.2.1',3305,0,0,'',0);"
                  "INSERT INTO LX VALUES('%s','MAXRECL',0,0,'2048');",
                  sid, i, sid, sid, nb, sid, i, sid, sid);
    exec(db, sql);
  }
  exec(db, "COMMIT");
}

int nocase(const char* a, const char* b) {
  for (;; ++a, ++b) {
    const int x = std::tolower(static_cast<unsigned char>(*a));
    const int y = std::tolower(static_cast<unsigned char>(*b));
    if (x != y || x == 0) return x - y;
  }
}

struct Walk {
  kyt_station* head;
  kyt_station* cur;
  kyt_station* find(const char* sid) {
    for (kyt_station* n = cur; n != nullptr; n = n->next) {
      if (nocase(n->sid, sid) == 0) return cur = n;
    }
    cur = head;
    return nullptr;
  }
};

void text(sqlite3_stmt* s, int col, char* to, size_t size) {
  const unsigned char* v = sqlite3_column_text(s, col);
  const size_t n = v != nullptr ? std::min(static_cast<size_t>(sqlite3_column_bytes(s, col)), size - 1) : 0;
  if (n > 0) std::memcpy(to, v, n);
  to[n] = 0;
}

template <typename Elem, typename Read>
void rows(sqlite3* db, const char* sql, kyt_station* head, Elem* kyt_station::*member, Read read) {
  sqlite3_stmt* s = nullptr;
  if (sqlite3_prepare_v2(db, sql, -1, &s, nullptr) != SQLITE_OK) die(sql, 0);
  Walk w{head, head};
  Elem* tail = nullptr;
  kyt_station* tail_node = nullptr;
  while (sqlite3_step(s) == SQLITE_ROW) {
    Elem row{};
    read(s, &row);
    kyt_station* n = w.find(reinterpret_cast<const char*>(&row));
    if (n == nullptr) continue;
    auto* e = static_cast<Elem*>(std::malloc(sizeof(Elem)));
    *e = row;
    if (n->*member == nullptr) {
      n->*member = e;
    } else {
      Elem* last = tail_node == n ? tail : n->*member;
      while (last->next != nullptr) last = last->next;
      last->next = e;
    }
    tail = e;
    tail_node = n;
  }
  sqlite3_finalize(s);
}

template <typename Elem>
void free_chain(Elem* e) {
  while (e != nullptr) {
    Elem* next = e->next;
    std::free(e);
    e = next;
  }
}

double time_sqlite(sqlite3* db, long partners, int rounds) {
  double best = 1e9;
  for (int r = 0; r < rounds; ++r) {
    const auto t = Clock::now();
    kyt_station *head = nullptr, *tail = nullptr;
    sqlite3_stmt* s = nullptr;
    sqlite3_prepare_v2(db, "SELECT SID FROM ST ORDER BY SID", -1, &s, nullptr);
    long n = 0;
    while (sqlite3_step(s) == SQLITE_ROW) {
      auto* node = static_cast<kyt_station*>(std::calloc(1, sizeof(kyt_station)));
      text(s, 0, node->sid, sizeof node->sid);
      node->prev = tail;
      if (tail != nullptr) tail->next = node; else head = node;
      tail = node;
      ++n;
    }
    sqlite3_finalize(s);
    if (n != partners) die("sqlite stations", n);
    // ST's own columns, merged into the nodes.
    sqlite3_prepare_v2(db, "SELECT SID, NETID, STATNAME, PHONE, SIDTYP FROM ST ORDER BY SID", -1, &s, nullptr);
    Walk w{head, head};
    while (sqlite3_step(s) == SQLITE_ROW) {
      kyt_st_elem e{};
      text(s, 0, e.sid, sizeof e.sid);
      text(s, 1, e.netid, sizeof e.netid);
      text(s, 2, e.statname, sizeof e.statname);
      text(s, 3, e.phone, sizeof e.phone);
      text(s, 4, e.sidtyp, sizeof e.sidtyp);
      if (kyt_station* node = w.find(e.sid)) node->st = e;
    }
    sqlite3_finalize(s);
    rows(db, "SELECT SID, FTP, PROTOCOL, PRIORITY, FLAGSUSPND, AUTODIAL, DELAY, PSESSIONS FROM NK ORDER BY SID",
         head, &kyt_station::nk, [](sqlite3_stmt* q, kyt_nk_elem* e) {
           text(q, 0, e->sid, sizeof e->sid);
           text(q, 1, e->ftp, sizeof e->ftp);
           text(q, 2, e->protocol, sizeof e->protocol);
           e->priority = static_cast<int16_t>(sqlite3_column_int(q, 3));
           e->flagsuspnd = static_cast<int16_t>(sqlite3_column_int(q, 4));
           text(q, 5, e->autodial, sizeof e->autodial);
           e->delay = sqlite3_column_int(q, 6);
           e->psessions = sqlite3_column_int(q, 7);
         });
    rows(db, "SELECT SIDDEST, SIDNEIGHB, PRIORITY FROM RT ORDER BY SIDDEST", head, &kyt_station::rt,
         [](sqlite3_stmt* q, kyt_rt_elem* e) {
           text(q, 0, e->siddest, sizeof e->siddest);
           text(q, 1, e->sidneighb, sizeof e->sidneighb);
           e->priority = static_cast<int16_t>(sqlite3_column_int(q, 2));
         });
    rows(db, "SELECT SID, ODETTEID, PSWFROM, PSWTO FROM OP ORDER BY SID", head, &kyt_station::op,
         [](sqlite3_stmt* q, kyt_op_elem* e) {
           text(q, 0, e->sid, sizeof e->sid);
           text(q, 1, e->odetteid, sizeof e->odetteid);
           text(q, 2, e->pswfrom, sizeof e->pswfrom);
           text(q, 3, e->pswto, sizeof e->pswto);
         });
    rows(db, "SELECT SID, NETID, LUNAME FROM LU ORDER BY SID", head, &kyt_station::lu,
         [](sqlite3_stmt* q, kyt_lu_elem* e) { text(q, 0, e->sid, sizeof e->sid); });
    rows(db, "SELECT SID, N, ALIAS FROM XP ORDER BY SID, N", head, &kyt_station::xp,
         [](sqlite3_stmt* q, kyt_xp_elem* e) { text(q, 0, e->sid, sizeof e->sid); });
    rows(db, "SELECT SID, N, PROTOCOL, INADDR, PORT, MAX_IN, MAX_OUT, SECURITY, RCV_N FROM TC ORDER BY SID, N",
         head, &kyt_station::tc, [](sqlite3_stmt* q, kyt_tc_elem* e) {
           text(q, 0, e->sid, sizeof e->sid);
           e->n = sqlite3_column_int(q, 1);
           text(q, 2, e->protocol, sizeof e->protocol);
           text(q, 3, e->inaddr, sizeof e->inaddr);
           e->port = static_cast<int16_t>(sqlite3_column_int(q, 4));
           e->max_in = static_cast<int16_t>(sqlite3_column_int(q, 5));
           e->max_out = static_cast<int16_t>(sqlite3_column_int(q, 6));
           text(q, 7, e->security, sizeof e->security);
           e->rcv_n = sqlite3_column_int(q, 8);
         });
    rows(db, "SELECT SID, NAME, LEN, VAL FROM LX ORDER BY SID", head, &kyt_station::lx,
         [](sqlite3_stmt* q, kyt_lx_elem* e) {
           text(q, 0, e->sid, sizeof e->sid);
           text(q, 1, e->name, sizeof e->name);
           e->len = sqlite3_column_int(q, 2);
           text(q, 3, e->val, sizeof e->val);
         });
    for (kyt_station* node = head; node != nullptr;) {
      if (node->nk == nullptr || node->op == nullptr || node->tc == nullptr || node->lx == nullptr)
        die("sqlite rows missing", 0);
      kyt_station* next = node->next;
      free_chain(node->nk);
      free_chain(node->rt);
      free_chain(node->op);
      free_chain(node->lu);
      free_chain(node->xp);
      free_chain(node->tc);
      free_chain(node->lx);
      std::free(node);
      node = next;
    }
    best = std::min(best, since(t));
  }
  return best;
}

}  // namespace

int main(int argc, char** argv) {
  const long partners = argc > 1 ? std::atol(argv[1]) : 10000;
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 3;
  if (partners < 10 || rounds <= 0) die("arguments", 0);
  const std::string dir = kyt::bench::make_environment("kytstlbench");
  if (dir.empty()) die("environment", 0);
  const char sep = kyt::platform::path_separator();
  const std::string small_dir = dir + sep + "small";
  const std::string large_dir = dir + sep + "large";
  std::filesystem::create_directories(small_dir);
  std::filesystem::create_directories(large_dir);

  open_station(small_dir, partners / 10);
  const double small = time_kyt(partners / 10, rounds);
  open_station(large_dir, partners);
  const double large = time_kyt(partners, rounds);
  kyt::rpdsql_run("CLOSE DB");

  sqlite3* db = nullptr;
  const std::string file = dir + sep + "stations.sqlite";
  if (sqlite3_open(file.c_str(), &db) != SQLITE_OK) die("sqlite open", 0);
  fill_sqlite(db, partners);
  const double lite = time_sqlite(db, partners, rounds);
  sqlite3_close(db);

  std::printf("station list of %ld partners: %.1f ms; of %ld: %.1f ms; SQLite, %ld: %.1f ms\n",
              partners, large * 1e3, partners / 10, small * 1e3, partners, lite * 1e3);
  std::printf("ratio SQLite / station list: %.2f (target >= 1.0)\n", lite / large);
  std::printf("ratio %ld / %ld partners: %.2f (target <= 12)\n", partners, partners / 10,
              large / small);
  std::error_code ec;
  std::filesystem::remove_all(dir, ec);
  return 0;
}
