// calstlst: the station list, its cursors and merge walk, the trace dump, and the update
// and deletion of a station.
#include "api/calstlst.h"
#include "api/calusr.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "api/calflush.h"
#include "runtime/runtime.h"
#include "services/services.h"
#include "sql/sql.h"

namespace kyt::api {

namespace {

constexpr const char* kModule = "kytcal";
constexpr const char* kTopic = "p";
constexpr int kLevelCheck = 17;
constexpr int kLevelDump = 11;
constexpr size_t kSidBytes = sizeof(kyt_station{}.sid);

// ---- ids --------------------------------------------------------------------------------

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Compares without regard to (ASCII) case.
int compare_nocase(const char* a, const char* b) {
  for (;; ++a, ++b) {
    const unsigned char x = static_cast<unsigned char>(lower(*a));
    const unsigned char y = static_cast<unsigned char>(lower(*b));
    if (x != y) return x < y ? -1 : 1;
    if (x == 0) return 0;
  }
}

// The order of kytGetNextStation: without regard to case, ties in byte order.
int compare_ids(const char* a, const char* b) {
  const int c = compare_nocase(a, b);
  return c != 0 ? c : std::strcmp(a, b);
}

// Copies a text cut to size - 1 characters, always terminated.
void copy_text(char* to, size_t size, const char* from) {
  const void* end = std::memchr(from, 0, size - 1);
  const size_t n = end != nullptr ? static_cast<size_t>(static_cast<const char*>(end) - from) : size - 1;
  std::memmove(to, from, n);
  to[n] = 0;
}

// ---- the list ---------------------------------------------------------------------------

struct ListState {
  bool loaded = false;
  kyt_station* head = nullptr;
  kyt_station* tail = nullptr;
  std::vector<kyt_station*> order;  // every node, by compare_ids
};

ListState& list() {
  static ListState s;
  return s;
}

// The row list member of a node for table t.
void** list_member(kyt_station* n, Tab t) {
  switch (t) {
    case Tab::kNK: return reinterpret_cast<void**>(&n->nk);
    case Tab::kRT: return reinterpret_cast<void**>(&n->rt);
    case Tab::kOP: return reinterpret_cast<void**>(&n->op);
    case Tab::kLU: return reinterpret_cast<void**>(&n->lu);
    case Tab::kXP: return reinterpret_cast<void**>(&n->xp);
    case Tab::kTC: return reinterpret_cast<void**>(&n->tc);
    case Tab::kLX: return reinterpret_cast<void**>(&n->lx);
    default: return nullptr;
  }
}

constexpr Tab kRowTables[] = {Tab::kNK, Tab::kRT, Tab::kOP, Tab::kLU,
                              Tab::kXP, Tab::kTC, Tab::kLX};

void*& next_of(Tab t, void* elem) {
  return *reinterpret_cast<void**>(static_cast<char*>(elem) + tm::layout(t).next);
}

void free_rows(Tab t, void* first) {
  while (first != nullptr) {
    void* next = next_of(t, first);
    std::free(first);
    first = next;
  }
}

void free_entries(kyt_station* n) {
  for (Tab t : kRowTables) {
    void** m = list_member(n, t);
    free_rows(t, *m);
    *m = nullptr;
  }
}

void free_all() {
  ListState& s = list();
  kyt_station* n = s.head;
  while (n != nullptr) {
    kyt_station* next = n->next;
    free_entries(n);
    std::free(n);
    n = next;
  }
  s.head = s.tail = nullptr;
  s.order.clear();
  s.loaded = false;
}

// Appends `row` to node n's list of table t; `tail`/`tail_node` remember the last append so
// that the rows of one station, which come one after the other, are appended at once.
void append_row(Tab t, kyt_station* n, void* row, void** tail, kyt_station** tail_node) {
  next_of(t, row) = nullptr;
  void** m = list_member(n, t);
  if (*m == nullptr) {
    *m = row;
  } else {
    void* last = *tail_node == n ? *tail : *m;
    while (next_of(t, last) != nullptr) last = next_of(t, last);
    next_of(t, last) = row;
  }
  *tail = row;
  *tail_node = n;
}

// ---- loading ----------------------------------------------------------------------------

// A row cursor: the statement as issued (its pieces), FETCH and CLOSE, and the trace texts.
struct RowSource {
  Tab tab;
  std::string_view decl[2];
  const char* fetch;
  const char* close;
  const char* check;      // "NK check >%s<,>%s<"
  const char* not_found;  // "NK sid not found >%s<"
};

// The tables read by cursor, in the order of loading (OP comes between RT and LU, read
// through its access module).
const RowSource kNK{Tab::kNK,
                    {" DECLARE nkc CURSOR FOR SELECT  SID, FTP, PROTOCOL, PRIORITY, FLAGSUSPND, "
                     "AUTODIAL, DELAY, PSESSIONS  FROM nk ",
                     " ORDER BY sid"},
                    "FETCH nkc", "CLOSE nkc", "NK check >%s<,>%s<", "NK sid not found >%s<"};
const RowSource kRT{Tab::kRT,
                    {" DECLARE rtc CURSOR FOR SELECT  SIDDEST, SIDNEIGHB, PRIORITY FROM rt ",
                     " ORDER BY siddest"},
                    "FETCH rtc", "CLOSE rtc", "RT check >%s<,>%s<", "RT sid not found >%s<"};
const RowSource kLU{Tab::kLU,
                    {" DECLARE luc CURSOR FOR SELECT  SID, NETID, LUNAME, TPNAME, USERID, "
                     "PASSWORD, PROFILE, MODE, SECURITY, FLGSYNC, FLGCONV FROM lu",
                     " ORDER BY sid"},
                    "FETCH luc", "CLOSE luc", "LU check >%s<,>%s<", "LU sid not found >%s<"};
const RowSource kXP{Tab::kXP,
                    {" DECLARE xpc CURSOR FOR SELECT  SID, N, ALIAS, RECV_ALIAS, XADDRESS, "
                     "SUBADDRESS, TIMEOUT, ISDNNO, LINK, FACILITIES, DBIT, CUG, REQREVERSE, "
                     "ACCREVERSE, FASTSELECT, USERDATA, VC, SESSIONS, L3PACKETSZ, ISDN_FAC, "
                     "ISDN_USRDT, ISDN_PROT, ISDN_TEI, RCV_N, RCVTIMEOUT FROM xp",
                     " ORDER BY sid, N"},
                    "FETCH xpc", "CLOSE xpc", "XP check >%s<,>%s<", "XP sid not found >%s<"};
const RowSource kTC{Tab::kTC,
                    {" DECLARE tcc CURSOR FOR SELECT SID, N, PROTOCOL, INADDR, PORT, MAX_IN, "
                     "MAX_OUT, SECURITY, RCV_N FROM tc",
                     " ORDER BY sid, N"},
                    "FETCH tcc", "CLOSE tcc", "TC check >%s<,>%s<", "TC sid not found >%s<"};
const RowSource kLX{Tab::kLX,
                    {" DECLARE lxc CURSOR FOR SELECT  SID, NAME, LEN, VAL FROM lx",
                     " ORDER BY sid"},
                    "FETCH lxc", "CLOSE lxc", "LX check >%s<,>%s<", "LX sid not found >%s<"};

// The host variables of a cursor's select list, bound to the members of `elem`.
std::vector<HostVar> bind_select(Tab t, const RowSource& src, void* elem) {
  std::string_view text = src.decl[0];
  const size_t from = text.find("SELECT") + 6;
  text = text.substr(from, text.find(" FROM ") - from);
  const SchemaTable& st = tm::table(t);
  const tm::ElemLayout& lay = tm::layout(t);
  std::vector<HostVar> out;
  while (!text.empty()) {
    const size_t comma = text.find(',');
    std::string_view name = text.substr(0, comma);
    while (!name.empty() && name.front() == ' ') name.remove_prefix(1);
    while (!name.empty() && name.back() == ' ') name.remove_suffix(1);
    for (size_t i = 0; i < st.cols.size(); ++i) {
      if (name == st.cols[i].s_colname) {
        out.push_back(HostVar{st.cols[i].type, static_cast<char*>(elem) + lay.offset[i]});
        break;
      }
    }
    text = comma == std::string_view::npos ? std::string_view() : text.substr(comma + 1);
  }
  return out;
}

// The merge walk for one row whose station id is `rowsid`: from `*cur` onward; on a match
// the node is returned and becomes the start for the next row; at the end of the list the
// row is traced and the next search starts at the head.
kyt_station* find_node(kyt_station** cur, const char* rowsid, const char* check,
                       const char* not_found) {
  for (kyt_station* n = *cur; n != nullptr; n = n->next) {
    KYT_TRACE(kModule, kTopic, kLevelCheck, check, n->sid, rowsid);
    if (compare_nocase(n->sid, rowsid) == 0) {
      *cur = n;
      return n;
    }
  }
  KYT_TRACE(kModule, kTopic, 1, not_found, rowsid);
  *cur = list().head;
  return nullptr;
}

// Reads one row cursor to its end and attaches its rows. 0, -2 out of memory, or the
// cursor's failure mapped.
int32_t load_rows(const RowSource& src) {
  const Tab t = src.tab;
  const size_t size = tm::layout(t).size;
  std::vector<unsigned char> stage(size);
  const std::vector<HostVar> out = bind_select(t, src, stage.data());
  const char* rowsid = reinterpret_cast<const char*>(stage.data());
  kyt_station* cur = list().head;
  void* tail = nullptr;
  kyt_station* tail_node = nullptr;
  // A DECLARE that finds no row still leaves its cursor declared (and its table in use):
  // every DECLARE is closed.
  int32_t rc = rpdsql_run(std::span<const std::string_view>(src.decl, 2), out);
  int32_t result = 0;
  while (rc == 0) {
    kyt_station* n = find_node(&cur, rowsid, src.check, src.not_found);
    if (n != nullptr && t == Tab::kST) {
      std::memcpy(&n->st, stage.data(), sizeof n->st);
      n->st.next = nullptr;
    } else if (n != nullptr) {
      void* row = std::malloc(size);
      if (row == nullptr) {
        result = -2;
        break;
      }
      std::memcpy(row, stage.data(), size);
      append_row(t, n, row, &tail, &tail_node);
    }
    std::fill(stage.begin(), stage.end(), 0);
    rc = rpdsql_run(src.fetch, out);
  }
  rpdsql_run(src.close);
  if (result == 0 && rc != 0 && rc != RPDSQL_NOT_FOUND) {
    KYT_TRACE(kModule, kTopic, 1, "%s returns %d", src.fetch, rc);
    result = map_table_code(rc, "station list");
  }
  return result;
}

// "SID, NETID, ..." of every column of a table.
std::string column_list(Tab t) {
  std::string out;
  for (const COLDEF& c : tm::table(t).cols) {
    if (!out.empty()) out += ", ";
    out += c.s_colname;
  }
  return out;
}

// ST's own columns and OP: every column of every row, in key (station id) order, through
// the table's description.
const RowSource& whole_table(Tab t) {
  static const std::string st = "DECLARE stdc CURSOR FOR SELECT " + column_list(Tab::kST) + " FROM ST";
  static const std::string op = "DECLARE opc CURSOR FOR SELECT " + column_list(Tab::kOP) + " FROM OP";
  static const RowSource kST{Tab::kST, {st, ""}, "FETCH stdc", "CLOSE stdc",
                             "ST check >%s<,>%s<", "ST sid not found >%s<"};
  static const RowSource kOP{Tab::kOP, {op, ""}, "FETCH opc", "CLOSE opc",
                             "OP check >%s<,>%s<", "OP sid not found >%s<"};
  return t == Tab::kST ? kST : kOP;
}

// ---- station types and the trace dump ---------------------------------------------------

// The local station id from LID (trailing blanks dropped); the parameter service's code.
int32_t local_sid(std::string* lid) {
  char buf[64] = {};
  const int32_t rc = rpdprm_run("get", "LID", buf);
  if (rc != 0) {
    KYT_TRACE(kModule, kTopic, 1, "SetStationType get local sid failed.");
    return rc;
  }
  *lid = buf;
  while (!lid->empty() && lid->back() == ' ') lid->pop_back();
  return 0;
}

void set_types(const std::string& lid) {
  for (kyt_station* n = list().head; n != nullptr; n = n->next) {
    n->stationtype = !lid.empty() && compare_nocase(n->sid, lid.c_str()) == 0
                         ? KYT_STATION_LOCAL
                         : KYT_STATION_PARTNER;
  }
}

bool is_password(const char* col) {
  return std::strcmp(col, "PSWFROM") == 0 || std::strcmp(col, "PSWTO") == 0 ||
         std::strcmp(col, "PASSWORD") == 0 || std::strcmp(col, "NETPSW") == 0;
}

// "col=value" for every column of a row but its station id, passwords as "*".
std::string row_text(Tab t, const void* elem) {
  const SchemaTable& st = tm::table(t);
  const tm::ElemLayout& lay = tm::layout(t);
  std::string text;
  for (size_t i = 1; i < st.cols.size(); ++i) {
    const COLDEF& c = st.cols[i];
    const char* p = static_cast<const char*>(elem) + lay.offset[i];
    if (!text.empty()) text += ' ';
    std::string name = c.s_colname;
    for (char& ch : name) ch = lower(ch);
    text += name + '=';
    if (is_password(c.s_colname)) {
      text += '*';
    } else if (c.type == kTypeChar) {
      const void* end = std::memchr(p, 0, lay.bytes[i]);
      text.append(p, end != nullptr ? static_cast<const char*>(end) - p : lay.bytes[i]);
    } else if (c.type == kTypeSmallint) {
      int16_t v;
      std::memcpy(&v, p, sizeof v);
      text += std::to_string(v);
    } else {
      int32_t v;
      std::memcpy(&v, p, sizeof v);
      text += std::to_string(v);
    }
  }
  return text;
}

void dump_list() {
  if (trace_switch() == 0) return;
  for (const kyt_station* n = list().head; n != nullptr; n = n->next) {
    KYT_TRACE(kModule, kTopic, kLevelDump, "------ BEGIN OF SID=%s------.", n->sid);
    KYT_TRACE(kModule, kTopic, kLevelDump, "stationtype is %d.", n->stationtype);
    KYT_TRACE(kModule, kTopic, kLevelDump, "INFO_ST netid=%s statname=%s phone=%s. sidtyp=%s.",
              n->st.netid, n->st.statname, n->st.phone, n->st.sidtyp);
    for (const kyt_nk_elem* e = n->nk; e != nullptr; e = e->next) {
      KYT_TRACE(kModule, kTopic, kLevelDump,
                "INFO_NK ftp=%s protocol=%s autodial=%s pr_nk=%d flg_suspnd=%d "
                "cntpsessions=%d cntdelay=%d.",
                e->ftp, e->protocol, e->autodial, e->priority, e->flagsuspnd, e->psessions,
                e->delay);
    }
    for (const kyt_rt_elem* e = n->rt; e != nullptr; e = e->next) {
      KYT_TRACE(kModule, kTopic, kLevelDump, "INFO_RT sidneighb=%s pr_rt=%d.", e->sidneighb,
                e->priority);
    }
    for (const kyt_op_elem* e = n->op; e != nullptr; e = e->next) {
      KYT_TRACE(kModule, kTopic, kLevelDump, "INFO_OP %s.", row_text(Tab::kOP, e).c_str());
    }
    for (const kyt_lu_elem* e = n->lu; e != nullptr; e = e->next) {
      KYT_TRACE(kModule, kTopic, kLevelDump, "INFO_LU %s.", row_text(Tab::kLU, e).c_str());
    }
    for (const kyt_xp_elem* e = n->xp; e != nullptr; e = e->next) {
      KYT_TRACE(kModule, kTopic, kLevelDump, "INFO_XP %s.", row_text(Tab::kXP, e).c_str());
    }
  }
}

// Frees any loaded list and loads it anew: the ST cursor, then ST's own columns, NK, RT, OP,
// LU, XP, TC and LX. A table whose cursor fails ends with its code; the others are still
// read and the first code is answered. Out of memory ends the load with -2.
int32_t load_list() {
  free_all();
  ListState& s = list();
  s.loaded = true;
  char sid[kSidBytes] = {};
  const HostVar out[] = {{kTypeChar, sid}};
  int32_t rc = rpdsql_run(" DECLARE stc CURSOR FOR SELECT sid FROM st  ORDER BY sid", out);
  while (rc == 0) {
    auto* n = static_cast<kyt_station*>(std::calloc(1, sizeof(kyt_station)));
    if (n == nullptr) {
      rpdsql_run("CLOSE stc");
      return -2;
    }
    copy_text(n->sid, sizeof n->sid, sid);
    copy_text(n->st.sid, sizeof n->st.sid, sid);
    n->prev = s.tail;
    if (s.tail != nullptr) s.tail->next = n; else s.head = n;
    s.tail = n;
    s.order.push_back(n);
    std::memset(sid, 0, sizeof sid);
    rc = rpdsql_run("FETCH stc", out);
  }
  rpdsql_run("CLOSE stc");
  if (rc != RPDSQL_NOT_FOUND) {
    KYT_TRACE(kModule, kTopic, 1, "DECLARE stc CURSOR returns %d", rc);
    return map_table_code(rc, "station list");
  }
  std::sort(s.order.begin(), s.order.end(),
            [](const kyt_station* a, const kyt_station* b) { return compare_ids(a->sid, b->sid) < 0; });
  int32_t first = 0;
  auto note = [&first](int32_t r) {
    if (first == 0) first = r;
    return r == -2;
  };
  if (note(load_rows(whole_table(Tab::kST)))) return -2;
  if (note(load_rows(kNK))) return -2;
  if (note(load_rows(kRT))) return -2;
  if (note(load_rows(whole_table(Tab::kOP)))) return -2;
  for (const RowSource* src : {&kLU, &kXP, &kTC, &kLX}) {
    if (note(load_rows(*src))) return -2;
  }
  return first;
}

// Loads the list and sets the types (LID read here; when it cannot be read every station
// counts as a partner) and writes the trace dump.
int32_t load_typed() {
  const int32_t rc = load_list();
  std::string lid;
  if (local_sid(&lid) != 0) lid.clear();
  set_types(lid);
  dump_list();
  return rc;
}

// ---- copying ----------------------------------------------------------------------------

// A copy of a row chain; false (and nothing allocated) when memory ran out.
bool copy_rows(Tab t, const void* from, void** to) {
  *to = nullptr;
  void* last = nullptr;
  const size_t size = tm::layout(t).size;
  for (const void* e = from; e != nullptr; e = next_of(t, const_cast<void*>(e))) {
    void* c = std::malloc(size);
    if (c == nullptr) {
      free_rows(t, *to);
      *to = nullptr;
      return false;
    }
    std::memcpy(c, e, size);
    next_of(t, c) = nullptr;
    if (last != nullptr) next_of(t, last) = c; else *to = c;
    last = c;
  }
  return true;
}

kyt_station* find_station(const char* sid) {
  kyt_station* nocase = nullptr;
  for (kyt_station* n = list().head; n != nullptr; n = n->next) {
    if (std::strcmp(n->sid, sid) == 0) return n;
    if (nocase == nullptr && compare_nocase(n->sid, sid) == 0) nocase = n;
  }
  return nocase;
}

void unlink_station(kyt_station* n) {
  ListState& s = list();
  if (n->prev != nullptr) n->prev->next = n->next; else s.head = n->next;
  if (n->next != nullptr) n->next->prev = n->prev; else s.tail = n->prev;
  s.order.erase(std::remove(s.order.begin(), s.order.end(), n), s.order.end());
  free_entries(n);
  std::free(n);
}

// ---- writing ----------------------------------------------------------------------------

HostVar text_var(const char* s) { return HostVar{kTypeChar, const_cast<char*>(s)}; }

// A DELETE through rpdsql; no row to delete is no failure.
int32_t del(const char* statement, std::initializer_list<HostVar> in) {
  int32_t rc = rpdsql_run(statement, std::span<const HostVar>(in.begin(), in.size()));
  if (rc == RPDSQL_NOT_FOUND) rc = 0;
  if (rc != 0) KYT_TRACE(kModule, kTopic, 1, "%s returns %d", statement, rc);
  return rc;
}

// Runs `body` as one transaction: committed when it answers 0, else rolled back.
template <typename Body>
int32_t transaction(Body&& body) {
  int32_t rc = sqlSetAutocommOff();
  if (rc == 0) rc = body();
  if (rc == 0) rc = sqlCommit();
  if (rc != 0) sqlRollback();
  sqlSetAutocommOn();
  return rc;
}

// Whether every text member of the row ends within its width, and its station id (first
// column) is `sid` or empty.
bool valid_row(Tab t, const void* elem, const char* sid) {
  const SchemaTable& st = tm::table(t);
  const tm::ElemLayout& lay = tm::layout(t);
  for (size_t i = 0; i < st.cols.size(); ++i) {
    if (st.cols[i].type != kTypeChar) continue;
    const char* p = static_cast<const char*>(elem) + lay.offset[i];
    if (std::memchr(p, 0, lay.bytes[i]) == nullptr) return false;
  }
  const char* rowsid = static_cast<const char*>(elem);
  return rowsid[0] == 0 || std::strcmp(rowsid, sid) == 0;
}

bool valid_record(const kyt_station* r) {
  if (r == nullptr || std::memchr(r->sid, 0, sizeof r->sid) == nullptr || !valid_station_id(r->sid))
    return false;
  if (!valid_row(Tab::kST, &r->st, r->sid)) return false;
  auto* node = const_cast<kyt_station*>(r);  // only read
  for (Tab t : kRowTables) {
    for (const void* e = *list_member(node, t); e != nullptr;
         e = next_of(t, const_cast<void*>(e))) {
      if (!valid_row(t, e, r->sid)) return false;
    }
  }
  return true;
}

// A copy of a row with the record's station id, for writing.
template <typename Elem>
Elem with_sid(const Elem& e, const char* sid) {
  Elem c = e;
  copy_text(reinterpret_cast<char*>(&c), kSidBytes, sid);
  c.next = nullptr;
  return c;
}

void upper(char* s) {
  for (; *s != 0; ++s) {
    if (*s >= 'a' && *s <= 'z') *s = static_cast<char>(*s - 'a' + 'A');
  }
}

int32_t write_st(const kyt_station* r) {
  const kyt_st_elem row = with_sid(r->st, r->sid);
  return transaction([&]() -> int32_t {
    kyt_st_elem old{};
    int32_t rc = getSTelemBySid(r->sid, &old);
    if (rc == 0) {
      rc = tm::update(Tab::kST, "updSTelem", &row, {"NETID", "STATNAME", "PHONE", "SIDTYP"});
    } else if (rc == RPDSQL_NOT_FOUND) {
      rc = tm::insert(Tab::kST, "insSTelem", &row);
    }
    return rc;
  });
}

// Rows that each replace the row of their key: for every row of the chain `first` (written
// with the station's id) the DELETE `statement`, whose marks take the columns `key` of the
// row, then the row inserted; one transaction for the chain.
int32_t replace_rows(Tab t, const void* first, const char* sid, const char* statement,
                     std::initializer_list<const char*> key) {
  const SchemaTable& st = tm::table(t);
  const tm::ElemLayout& lay = tm::layout(t);
  std::vector<unsigned char> row(lay.size);
  return transaction([&]() -> int32_t {
    for (const void* e = first; e != nullptr; e = next_of(t, const_cast<void*>(e))) {
      std::memcpy(row.data(), e, lay.size);
      copy_text(reinterpret_cast<char*>(row.data()), kSidBytes, sid);
      next_of(t, row.data()) = nullptr;
      std::vector<HostVar> in;
      for (const char* k : key) {
        for (size_t i = 0; i < st.cols.size(); ++i) {
          if (std::strcmp(st.cols[i].s_colname, k) == 0)
            in.push_back(HostVar{st.cols[i].type, row.data() + lay.offset[i]});
        }
      }
      int32_t rc = rpdsql_run(statement, in);
      if (rc == RPDSQL_NOT_FOUND) rc = 0;
      if (rc != 0) KYT_TRACE(kModule, kTopic, 1, "%s returns %d", statement, rc);
      if (rc == 0) rc = tm::insert(t, "kytUpdateStation", row.data());
      if (rc != 0) return rc;
    }
    return 0;
  });
}

int32_t write_nk(const kyt_station* r) {
  return replace_rows(Tab::kNK, r->nk, r->sid, "DELETE FROM NK WHERE SID = ? AND PROTOCOL = ?",
                      {"SID", "PROTOCOL"});
}

int32_t write_rt(const kyt_station* r) {
  return transaction([&]() -> int32_t {
    int32_t rc = del("DELETE FROM RT WHERE SIDDEST = ?", {text_var(r->sid)});
    for (const kyt_rt_elem* e = r->rt; rc == 0 && e != nullptr; e = e->next) {
      kyt_rt_elem row = with_sid(*e, r->sid);
      const HostVar in[] = {text_var(row.siddest), text_var(row.sidneighb),
                            {kTypeSmallint, &row.priority}};
      const std::string_view pieces[] = {"INSERT INTO RT", "(SIDDEST, SIDNEIGHB, PRIORITY)",
                                         "VALUES(?, ?, ?)"};
      rc = rpdsql_run(pieces, in);
      if (rc != 0) KYT_TRACE(kModule, kTopic, 1, "INSERT INTO RT returns %d", rc);
    }
    return rc;
  });
}

int32_t write_op(const kyt_station* r) {
  return transaction([&]() -> int32_t {
    int32_t rc = del("DELETE FROM OP WHERE SID = ?", {text_var(r->sid)});
    for (const kyt_op_elem* e = r->op; rc == 0 && e != nullptr; e = e->next) {
      kyt_op_elem row = with_sid(*e, r->sid);
      upper(row.odetteid);
      upper(row.pswfrom);
      upper(row.pswto);
      rc = tm::insert(Tab::kOP, "insOPelem", &row);
    }
    return rc;
  });
}

int32_t write_lu(const kyt_station* r) {
  return transaction([&]() -> int32_t {
    int32_t rc = del("DELETE FROM LU WHERE SID = ?", {text_var(r->sid)});
    for (const kyt_lu_elem* e = r->lu; rc == 0 && e != nullptr; e = e->next) {
      const kyt_lu_elem row = with_sid(*e, r->sid);
      rc = tm::insert(Tab::kLU, "insLUelem", &row);
    }
    return rc;
  });
}

int32_t write_xp(const kyt_station* r) {
  return replace_rows(Tab::kXP, r->xp, r->sid, "DELETE FROM XP WHERE SID = ? AND N = ?",
                      {"SID", "N"});
}

int32_t write_tc(const kyt_station* r) {
  return replace_rows(Tab::kTC, r->tc, r->sid, "DELETE FROM TC WHERE SID = ? AND N = ?",
                      {"SID", "N"});
}

int32_t write_lx(const kyt_station* r) {
  return replace_rows(Tab::kLX, r->lx, r->sid, "DELETE FROM LX WHERE SID = ? AND NAME = ?",
                      {"SID", "NAME"});
}

int32_t update_station(const kyt_station* r) {
  for (int32_t (*step)(const kyt_station*) :
       {write_st, write_nk, write_rt, write_op, write_lu, write_xp, write_tc, write_lx}) {
    const int32_t rc = step(r);
    if (rc != 0) return map_table_code(rc, "station list");
  }
  return 0;
}

}  // namespace

bool valid_station_id(const char* sid) {
  if (sid == nullptr) return false;
  size_t n = 0;
  for (; sid[n] != 0; ++n) {
    if (n >= kSidBytes - 1) return false;
    const unsigned char c = static_cast<unsigned char>(sid[n]);
    if (c < 0x20 || c > 0x7e) return false;
  }
  return n > 0;
}

int32_t delete_station(const char* sid, bool* existed) {
  kyt_st_elem old{};
  const int32_t found = getSTelemBySid(sid, &old);
  if (existed != nullptr) *existed = found == 0;
  int32_t rc = transaction([&]() -> int32_t {
    int32_t r = del("DELETE FROM ST WHERE SID = ?", {text_var(sid)});
    if (r == 0) r = del("DELETE FROM RT WHERE SIDDEST = ?", {text_var(sid)});
    if (r == 0) r = del("DELETE FROM OP WHERE SID = ?", {text_var(sid)});
    return r;
  });
  if (rc != 0) return 99;
  for (const char* statement :
       {"DELETE FROM NK WHERE SID = ?", "DELETE FROM LU WHERE SID = ?",
        "DELETE FROM XP WHERE SID = ?", "DELETE FROM TC WHERE SID = ?",
        "DELETE FROM LX WHERE SID = ?", "DELETE FROM AC WHERE SID = ?"}) {
    if (del(statement, {text_var(sid)}) != 0) rc = 99;
  }
  for (kyt_station* n = list().head; n != nullptr; n = n->next) {
    if (std::strcmp(n->sid, sid) == 0) {
      unlink_station(n);
      break;
    }
  }
  mark_monitors(kFlushStations);
  wake_monitor();
  return rc;
}

}  // namespace kyt::api

using kyt::api_guard;
using kyt::Tab;
using namespace kyt::api;

extern "C" int32_t kytInitStationList(void) {
  return api_guard("kytInitStationList", []() -> int32_t {
    std::string lid;
    const int32_t rc = local_sid(&lid);
    if (rc != 0) return rc;
    int32_t load = 0;
    if (!list().loaded) load = load_list();
    set_types(lid);
    dump_list();
    return load;
  });
}

extern "C" int32_t kytGetNextStation(const char* sid, char* next) {
  return api_guard("kytGetNextStation", [&]() -> int32_t {
    if (sid == nullptr || next == nullptr) return -5;
    if (sid[0] == 0) {
      const int32_t rc = load_typed();
      if (rc != 0) return rc;
    } else if (!valid_station_id(sid)) {
      return -5;
    }
    const std::vector<kyt_station*>& order = list().order;
    auto it = std::upper_bound(order.begin(), order.end(), sid,
                               [](const char* key, const kyt_station* n) {
                                 return compare_ids(key, n->sid) < 0;
                               });
    if (it == order.end()) return -1;
    copy_text(next, kSidBytes, (*it)->sid);
    return 0;
  });
}

extern "C" int32_t kytGetStation(const char* sid, kyt_station* out) {
  return api_guard("kytGetStation", [&]() -> int32_t {
    if (sid == nullptr || out == nullptr || !valid_station_id(sid)) return -5;
    const kyt_station* n = find_station(sid);
    if (n == nullptr) return 13;
    kyt_station copy{};
    std::memcpy(copy.sid, n->sid, sizeof copy.sid);
    copy.stationtype = n->stationtype;
    copy.st = n->st;
    copy.st.next = nullptr;
    for (Tab t : kRowTables) {
      if (!copy_rows(t, *list_member(const_cast<kyt_station*>(n), t), list_member(&copy, t))) {
        free_entries(&copy);
        return 13;
      }
    }
    *out = copy;
    return 0;
  });
}

extern "C" int32_t kytUpdateStation(const kyt_station* station) {
  return api_guard("kytUpdateStation", [&]() -> int32_t {
    if (!valid_record(station)) return -5;
    return update_station(station);
  });
}

extern "C" int32_t kytDeleteStation(const char* sid) {
  return api_guard("kytDeleteStation", [&]() -> int32_t {
    if (!valid_station_id(sid)) return -5;
    return delete_station(sid, nullptr);
  });
}

extern "C" int32_t kytFreeStationList(void) {
  return api_guard("kytFreeStationList", []() -> int32_t {
    free_all();
    return 0;
  });
}

extern "C" int32_t kytRefreshStationList(void) {
  return api_guard("kytRefreshStationList", []() -> int32_t { return load_typed(); });
}

extern "C" kyt_station* kytGetStationListHead(void) {
  kyt_station* head = nullptr;
  api_guard("kytGetStationListHead", [&]() -> int32_t {
    head = list().head;
    return 0;
  });
  return head;
}

extern "C" int32_t kytFreeStationEntries(kyt_station* station) {
  return api_guard("kytFreeStationEntries", [&]() -> int32_t {
    if (station == nullptr) return -5;
    free_entries(station);
    return 0;
  });
}

extern "C" int32_t kytWakeMonitor(void) {
  return api_guard("kytWakeMonitor", []() -> int32_t {
    kyt::wake_monitor();
    return 0;
  });
}
