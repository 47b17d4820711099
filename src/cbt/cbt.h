// cbt: B-trees of variable-length keys in block files, behind one process-wide buffer pool.
//
// A tree maps keys (0 to B-36 bytes, B the file's block size) with one signed 32-bit data
// word each to entries ordered by (key, data). A cursor (CbCursor) is the handle of an open
// tree; all cursors opened on one file name share the file, its header and its buffers.
//
// Results: 1 success, -1 failure; cursor states -2 (before the first entry) and -3 (after
// the last); cbfind and cbfindrec answer 2 (found) or 3 (not found). After a failure
// cb_errcode tells what went wrong, cb_fcncode which operation was running and cb_concode
// at which step; bp_errno holds the buffer pool's own code. The file format is described
// in docs/file-formats.md.
//
// One thread at a time: the layer keeps process-wide state and takes no locks.
#ifndef KYT_CBT_CBT_H
#define KYT_CBT_CBT_H

#include <cstdint>
#include <string>

namespace kyt {

// Error variables of the layer; set by the operations, never reset on their own.
extern int bp_errno;    // buffer pool: 0 ok, 1 pool, 2 memory, 3 no free buffer, 4 I/O,
                        // 6 buffer still pinned at close, 7 block size too big, 8 bfile
extern int cb_errcode;  // what went wrong (values below)
extern int cb_fcncode;  // the public operation last entered
extern int cb_concode;  // the internal step that failed

// cb_errcode values.
enum : int {
  kCbErrCreate = 1,        // could not create the file
  kCbErrOpen = 2,          // could not open it
  kCbErrNoInit = 3,        // layer not initialised
  kCbErrInitTwice = 4,     // already initialised (also: freeing the pool failed at cbexit)
  kCbErrMemory = 5,        // out of memory
  kCbErrGetBlk = 6,        // a block could not be read
  kCbErrNewBlk = 7,        // a new block could not be made
  kCbErrPutBlk = 8,        // a block could not be written back
  kCbErrRlseBlk = 9,       // a block could not be released
  kCbErrFlush = 10,        // flushing the buffers failed
  kCbErrClose = 11,        // closing the file failed
  kCbErrChecksum = 12,     // header checksum mismatch
  kCbErrBlkSize = 13,      // block size larger than the pool's buffers
  kCbErrDescriptor = 14,   // tree file descriptor not registered
  kCbErrCursor = 15,       // cursor not registered
  kCbErrPosition = 16,     // cursor position outside its block
  kCbErrDuplicate = 17,    // key exists and duplicates are not allowed
  kCbErrExists = 18,       // the (key, data) pair exists already
  kCbErrEmpty = 19,        // delete from an empty tree
  kCbErrNoLowPath = 20,    // an inner node without a low path
  kCbErrNotFound = 21,     // the entry to delete or modify was not found
  kCbErrNoMark = 22,       // cbrestore without a cbmark
  kCbErrDamagedNode = 23,  // a node read from the file failed its check
  kCbErrDamagedTree = 24,  // the tree's structure is damaged (block numbers, levels, chains)
  kCbErrReadOnly = 25,     // a change asked of a tree opened with cbopen_readonly
};

// Key comparison: negative, 0 or positive as key a sorts before, with or after key b.
using CbCompare = int (*)(const void* a, int la, const void* b, int lb);
// The default: bytes compared unsigned, a shorter key before its extensions, the empty key
// before every other.
int cb_default_compare(const void* a, int la, const void* b, int lb);

struct CbCursor;

// Layer and pool. cbinit(0, 0) gives 100 buffers of 8192 bytes.
int cbinit(int nbufs, int bufsize);
int cbexit();
int cbbufcount();
int cbbufsize();  // 0 while the layer is not initialised
int cbaddbufs(int n);
int cbrmvbufs(int n);

// Files. cbcreate makes (or empties) the file with blocks of `blksize` bytes (0: 8192,
// at least 48); a null `cmp` is cb_default_compare.
CbCursor* cbcreate(const char* name, CbCompare cmp, int blksize);
CbCursor* cbopen(const char* name, CbCompare cmp);
// Opens a tree for reading only (integrity checks): the file is opened read-only and not
// locked, nothing is ever written to it, and cbinsert, cbdelete and cbmodify answer -1 with
// cb_errcode 25. A file already open in this process is shared as it is.
CbCursor* cbopen_readonly(const char* name, CbCompare cmp);
int cbflush(CbCursor* c);
// Writes what is pending and closes the cursor, and the file with its last cursor. A failed
// write still closes them: the cursor is gone, the file unlocked and its buffers free (what
// could not be written is lost), and the answer is -1 with the first failure's codes.
int cbclose(CbCursor* c);
// Keeping a file open between uses without holding it. cbsuspend writes what is pending,
// as cbflush, and gives up the header lock so that other opens may take the file; the
// buffers keep its blocks. Nothing may be done on the file's cursors until cbresume took
// the lock again: 1 when the file is still there with every block its header counts (the
// blocks held stand unread; whether another open changed the file meanwhile is for the
// caller to know, the file itself does not tell); 0 when it was removed or cut short,
// and then only cbclose remains; -1 when another open holds the lock. A file opened
// read-only is never locked and answers 1.
int cbsuspend(CbCursor* c);
int cbresume(CbCursor* c);

// Cursor moves: 1 with the entry's data, or the state -2 / -3.
int cbnext(CbCursor* c, int32_t* data);
int cbprev(CbCursor* c, int32_t* data);
int cbtail(CbCursor* c, int32_t* data);
int cbcurr(CbCursor* c, int32_t* data);
// Copies min(key length, buflen) bytes of the current key, and a zero byte after it when
// the key is shorter than the buffer.
int cbkey(CbCursor* c, void* buf, int buflen);
int cbkeylen(CbCursor* c, int* len);
// Moves like cbnext (forward) or cbprev, entry after entry, showing each entry reached to
// `visit` (its key bytes are valid only during the call), and stops on the first entry for
// which `visit` answers non-zero: 1 there, or the state -2 / -3 past the end, -1 on failure.
// A leaf is pinned once for all its entries. `visit` must not call into this layer. `ahead`
// is the data of the entry kCbAhead places further on in the same leaf (0 when there is
// none), for the visitor to prepare what it will need then.
constexpr int kCbAhead = 12;
using CbVisit = int (*)(void* ctx, const uint8_t* key, int len, int32_t data, int32_t ahead);
int cbscan(CbCursor* c, int forward, CbVisit visit, void* ctx);
// 2 found, 3 positioned on the next greater entry (its data returned), -3 none greater.
int cbfind(CbCursor* c, const void* key, int len, int32_t* data);
int cbfindrec(CbCursor* c, const void* key, int len, int32_t* data);
int cbmark(CbCursor* c);
int cbrestore(CbCursor* c, int32_t* data);

// Changes. `dups` non-zero allows equal keys with different data.
int cbinsert(CbCursor* c, const void* key, int len, int32_t data, int dups);
int cbdelete(CbCursor* c, const void* key, int len, int32_t data);
int cbmodify(CbCursor* c, const void* okey, int olen, int32_t odata, const void* nkey, int nlen,
             int32_t ndata, int dups);

// Structural check of the whole tree behind `c`: every node, the order of all entries, key
// sharing, leaf and level chains, header fields, free list, every block used once, and
// the positions of the file's cursors. 1 when sound; else -1 with a description.
int cbcheck(CbCursor* c, std::string* problem);

// Forgets every pool, file and cursor without writing anything. Tests only.
void cb_reset_for_tests();

// What the layer holds, for tests and for its own modules: whether `c` is an open cursor,
// and the first of the open cursors (null when none; they chain through the layer's
// private cursor structure).
bool cursor_registered(const CbCursor* c);
CbCursor* cursor_list();

// Counts of the tree's structural events and node checks, for tests that must prove a
// sequence reached every case. Never reset by the layer itself.
struct CbStats {
  uint64_t shift_right = 0, shift_left = 0;   // shifts that moved entries or the new one
  uint64_t split_right = 0, split_left = 0;   // the new entry went into the new / old node
  uint64_t split_extra = 0;                   // long keys: a further cut or a node of its own
  uint64_t merges = 0, freed_empty = 0;       // nodes merged away / freed when emptied
  uint64_t roots_made = 0, roots_removed = 0;
  uint64_t reused = 0;                        // allocations served from the free list
  uint64_t node_checks = 0;                   // node checks of blocks read from the file
};
CbStats& cb_stats();

}  // namespace kyt

#endif  // KYT_CBT_CBT_H
