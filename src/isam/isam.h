// isam: databases of records with named indexes, on B-trees and a free-space list.
//
// A database named N is three files: N.DB (the records), N.IDX (one B-tree holding the
// catalogue and the entries of every index) and N.HOL (the holes tree of the free space).
// A name given with the suffix ".DB" ("db/KT.DB") names the same database as without it.
// The formats are described in docs/file-formats.md.
//
// A record is a list of fields, each a zero-terminated text, addressed by its offset in the
// data file. Every index but the physical one has key fields; its entries are
// (index number byte + key field texts with their zero bytes, record offset).
//
// Results: 1 success, -1 failure (isam_errno tells why), -2 / -3 an index before its first or
// after its last entry, 2 / 3 found / not found for ifindkey. isam_errno is 0 after every
// operation that succeeded; 9 means the B-tree layer failed (its codes stand in cb_errcode,
// cb_fcncode, cb_concode).
//
// One thread at a time: the layer keeps process-wide state and takes no locks of its own;
// between processes the data file's first four bytes are locked while it is open.
#ifndef KYT_ISAM_ISAM_H
#define KYT_ISAM_ISAM_H

#include <cstdint>
#include <string>
#include <vector>

namespace kyt {

extern int isam_errno;
// The text of an isam_errno value; "Unknown isam error number" for any other value.
const char* isam_strerror(int err);

enum : int {
  kIsamOk = 0,
  kIsamBadDb = 1,           // Invalid database handle
  kIsamBadIndex = 2,        // Invalid index handle
  kIsamInUse = 3,           // Database in use; cannot perform operation
  kIsamNoCurrent = 4,       // No current record
  kIsamNoMemory = 5,        // Out of memory
  kIsamNotAllowed = 6,      // Operation not allowed for this index
  kIsamIo = 7,              // Error reading or writing file
  kIsamUnknownIndex = 8,    // Unknown index name
  kIsamCbt = 9,             // Error from cbt level
  kIsamNoFile = 10,         // File not found
  kIsamKeyTooLong = 11,     // Key too long for current buffer size
  kIsamIndexCorrupt = 12,   // Isam index file possibly corrupted
  kIsamTooManyIndexes = 13, // Too many indexes for one database
  kIsamNoMark = 14,         // No marked record
  kIsamNoRename = 15,       // Cannot rename data base
  kIsamBadName = 16,        // Cannot construct name of file
  kIsamIndexExists = 17,    // New index name duplicates existing index name
  kIsamBadField = 18,       // Field name is not name of existing field
  kIsamCopySelf = 19,       // Cannot copy database to itself
  kIsamBlockTooBig = 20,    // Block size too big for buffer pool
  kIsamNoOverwrite = 21,    // Cannot overwrite existing index file
  kIsamInitTwice = 22,      // isaminit already called
  kIsamLocked = 23,         // Table currently locked
  kIsamDataCorrupt = 24,    // Isam data file possibly corrupted
};

// The physical index: the unkeyed order of the data file.
constexpr const char* kPhysicalIndex = "Physical Index";

struct IsamDb;
struct IsamIndex;

// Once a process: the B-tree layer's pool (100 buffers of 8192 bytes when both are 0) and
// the host byte order; isamexit runs at process exit.
int isaminit(int nbufs, int bufsize);
void isamexit();
// The host byte order seen by isaminit: 1 big-endian, 0 little-endian, -1 other.
int isam_byte_order();

// Databases. `fields` and key field lists end with a null pointer.
int icreate_db(const char* name, const char* const* fields);
IsamDb* iopen_db(const char* name);
int iclose_db(IsamDb* db);
// Keeping a database open between uses without holding it, so that other processes may
// use it meanwhile at the cost of a few system calls a use instead of opening it anew.
// isuspend_db writes everything pending (as iflush_db) and gives up the files' locks;
// until iresume_db nothing but iclose_db may be done with it (isam_errno 1). iresume_db
// takes the locks again: 1 when nobody changed the database meanwhile, so that every
// page and block held in memory stands; 0 when it was changed, removed or cut short: then
// only iclose_db remains (it writes nothing), and the database is opened anew; -1 with
// isam_errno 23 when another open holds it. An open of the same name in this process
// closes a suspended database's files; its iresume_db answers 0.
int isuspend_db(IsamDb* db);
int iresume_db(IsamDb* db);
int idestroy_db(const char* name);  // removes the three files of a closed database

// Indexes.
int imkindex(IsamDb* db, const char* name, const char* const* key_fields);
IsamIndex* ihandle(IsamDb* db, const char* name);
// Index names of the database, and field names of an index (all fields of the database for
// the physical index): null-terminated arrays valid until the next call of the same kind.
const char* const* iindex_names(IsamDb* db);
const char* const* ifield_names(IsamDb* db, IsamIndex* index);
int inum_fields(IsamDb* db);

// Records. `values` has one text a field (a null pointer stores an empty text).
int iaddrec(IsamDb* db, IsamIndex* index, const char* const* values);
// Reads the current record of `index` into buf (at most bufsize - 1 bytes) and points
// fields[0..n-1] at its texts; fields needs room for inum_fields(db) pointers.
int igetrec(IsamDb* db, IsamIndex* index, const char** fields, char* buf, int bufsize);
int idelrec(IsamDb* db, IsamIndex* index);
// Positions a keyed index on the first entry with these key field values (one a key field).
int ifindkey(IsamDb* db, IsamIndex* index, const char* const* values);
int ifindnext(IsamDb* db, IsamIndex* index);
int ifindprev(IsamDb* db, IsamIndex* index);
int imarkrec(IsamDb* db, IsamIndex* index);
int ifindmark(IsamDb* db, IsamIndex* index);
// The offset of the index's current record (0 when it has none).
int32_t irecoffset(IsamDb* db, IsamIndex* index);

// Walking to the next record a test accepts. The test sees each record's fields where they
// lie (valid only during the call) and answers 0 skip, 1 take, 2 stop.
using IsamRowTest = int (*)(void* ctx, const char* const* fields);
// Moves like ifindnext (forward) or ifindprev, record after record, until the test answers
// non-zero: 1 on a record it took, delivered into `fields` and `buf` as igetrec delivers
// it; 0 on one where it stopped; 2 on a record it could not be shown (one too long for
// `bufsize`, damaged, or every record of the physical index): the
// caller reads it with igetrec and tests it itself. The end states -2 / -3 and -1 as
// ifindnext. The test sees records as igetrec with a buffer of `bufsize` would deliver
// them, but only their first `shown` fields are set (all of them when `shown` is negative
// or more than the record has).
int ifindwhere(IsamDb* db, IsamIndex* index, int forward, IsamRowTest test, void* ctx,
               const char** fields, char* buf, int bufsize, int shown);

// Positions kept by the caller, so that several readers can share one index: a position
// saved from an index (before its first entry, after its last, on an entry, or on what
// follows a vanished entry) and later restored. A restored position whose entry has gone
// since stands on what followed it, which the next ifindnext delivers.
struct IsamPos {
  int status = -2;           // -2 before the first entry, -3 after the last, 1 on an entry
  bool pending = false;      // the entry is not yet delivered (ifindnext delivers it)
  int32_t offset = 0;        // record offset of the entry
  std::string key;           // keyed index: the entry's key
};
int isavepos(IsamDb* db, IsamIndex* index, IsamPos* pos);
int irestorepos(IsamDb* db, IsamIndex* index, const IsamPos* pos);
// Positions a keyed index by a key (the key field texts with their zero bytes, without the
// index number): forward, the next ifindnext delivers the first entry whose key is at least
// `key`; backward, the next ifindprev delivers the last entry whose key is below `key`.
int ifindfrom(IsamDb* db, IsamIndex* index, const void* key, int len, bool backward);
// Hands every deferred write of the database's trees to the operating system.
int iflush_db(IsamDb* db);

// Integrity check of a database, opening its files read-only: the trees, the tiling of the
// data file by records and holes, one index entry per record and keyed index, the holes
// tree against the holes of the data file. Appends one line per problem (at most `limit`)
// and returns true when there is none. A database another process holds is not checked:
// false with isam_errno 23.
bool icheck_db(const char* name, std::vector<std::string>* problems, size_t limit);

// Forgets every open database without writing. Tests only.
void isam_reset_for_tests();

}  // namespace kyt

#endif  // KYT_ISAM_ISAM_H
