// cberr: how the modules of the B-tree layer report a failure. Private to src/cbt/: the
// values are those of the error variables declared in cbt.h, which callers read as numbers.
//
// A failing operation leaves cb_fcncode (the public operation entered), cb_errcode (what
// went wrong, the enum of cbt.h) and cb_concode (the step that failed); the buffer pool
// leaves bp_errno. Each module writes a level-1 trace line of topic "b" under its own name.
#ifndef KYT_CBT_CBERR_H
#define KYT_CBT_CBERR_H

#include "cbt/cbt.h"
#include "runtime/runtime.h"

namespace kyt {

// cb_fcncode: the public operation last entered.
enum : int {
  kOpInit = 1,       // cbinit
  kOpExit = 2,       // cbexit
  kOpClose = 3,      // cbclose
  kOpCreate = 4,     // cbcreate
  kOpFlush = 5,      // cbflush
  kOpOpen = 6,       // cbopen, cbopen_readonly
  kOpTail = 8,       // cbtail
  kOpNext = 9,       // cbnext, cbscan forward
  kOpPrev = 10,      // cbprev, cbscan backward
  kOpCurr = 11,      // cbcurr
  kOpKey = 12,       // cbkey
  kOpKeyLen = 13,    // cbkeylen
  kOpInsert = 14,    // cbinsert
  kOpDelete = 15,    // cbdelete
  kOpModify = 16,    // cbmodify
  kOpFind = 17,      // cbfind
  kOpFindRec = 18,   // cbfindrec
  kOpMark = 19,      // cbmark
  kOpRestore = 20,   // cbrestore
  kOpBufCount = 21,  // cbbufcount
  kOpBufSize = 22,   // cbbufsize
  kOpAddBufs = 23,   // cbaddbufs
  kOpRmvBufs = 24,   // cbrmvbufs
};

// cb_concode: the step where a failure happened. One step may be reached from several
// places; they share its value.
enum : int {
  kStepNone = 0,            // no step (cleared on entry; cbcheck's own reads)
  kStepCreate = 1,          // cbcreate: making the file and writing its block size
  kStepOpen = 2,            // opening (and locking) the block file
  kStepExit = 3,            // cbexit without a pool
  kStepPoolSetup = 4,       // making the pool, its buffers and the layer's memory
  kStepFreePool = 5,        // freeing the pool at cbexit
  kStepMakeDescriptor = 6,  // making a tree file descriptor
  kStepReadHeader = 7,      // reading block 0
  kStepWriteHeader = 8,     // writing block 0 back
  kStepInitHeader = 9,      // the block size of a new file and its first header
  kStepRegistry = 10,       // the registry checks of cursor and descriptor
  kStepMakeCursor = 11,     // making a cursor
  kStepCursorEntry = 13,    // the cursor's leaf and entry
  kStepPrevLeaf = 17,       // cbprev reading the leaf to the left
  kStepCloseFile = 18,      // closing the block file with its last cursor
  kStepDescent = 20,        // descent from the root (find, modify, insertion below the root)
  kStepInsertNode = 21,     // insertion into one node
  kStepInsertTree = 22,     // insertion at the root: first leaf, height, the root's low path
  kStepAllocBlock = 23,     // allocating a block (free list or end of file)
  kStepDeleteLeaf = 25,     // removal from a leaf
  kStepDeleteDescent = 26,  // descent of a deletion
  kStepDeleteTree = 27,     // deletion at the root: empty tree, height, the root's low path
  kStepShiftRight = 28,     // shifting entries into the right sibling
  kStepShiftLeft = 29,      // shifting entries into the left sibling
  kStepSetRight = 32,       // setting the right link of a freed node's left neighbour
  kStepSetLeft = 33,        // setting the left link of a node's right neighbour
  kStepMoveEntries = 34,    // moving entries in a split, placing them, unlisting a child
  kStepMakeRoot = 38,       // making a new root
  kStepAddChildren = 42,    // listing a parent's new children
  kStepMerge = 46,          // removing unused parent entries and merging neighbours
  kStepFreeNode = 47,       // freeing a node's block
  kStepRemoveRoot = 48,     // removing a root left with its low child alone
  kStepFlush = 49,          // flushing the file's buffers
  kStepRestore = 50,        // cbrestore without a saved position
};

// bp_errno: the buffer pool's own code.
enum : int {
  kBpOk = 0,
  kBpNoPool = 1,     // pool not registered
  kBpMemory = 2,     // out of memory
  kBpNoBuffer = 3,   // no unpinned buffer
  kBpIo = 4,         // open, lock, read or write failed
  kBpPinned = 6,     // a buffer of the file being closed is still pinned
  kBpBlockSize = 7,  // the file's block size is larger than the pool's buffers
  kBpNoBfile = 8,    // block file not registered
};

inline void set_err(int err, int step) {
  cb_errcode = err;
  cb_concode = step;
}
inline void clear_err() { set_err(0, kStepNone); }

}  // namespace kyt

// A level-1 line of topic "b" under the module's name.
#define CB_TRACE(module, ...) KYT_TRACE(module, "b", 1, __VA_ARGS__)

#endif  // KYT_CBT_CBERR_H
