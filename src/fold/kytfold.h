// kytfold: folds a file of fixed- or variable-length records into CR LF lines.
//
// Input formats:
//   fixed (-w n)  records of exactly n bytes, no separators; a trailing partial record is
//                 read and dropped.
//   variable (-v) each record: 2-byte big-endian length word counting itself, then
//                 length-2 data bytes (16-bit arithmetic: words 0 and 1 wrap to 65534, 65535).
// Output: each record's data bytes followed by 0x0D 0x0A, nothing else.
//
// The fold is record by record with the semantics of fread/feof (end of file is noticed only
// by a read that comes up short); the bytes themselves move through large buffers.
//
// Failures beyond the format: a read error (an input that is a directory, a device failing)
// ends the fold with kNoInput, a failed write or close of the output with kNoOutput; either
// way no output file is left behind. Input and output naming one file (by identity: links,
// "./x" and "x") are refused with kNoOutput before the output is opened, so that the input is
// never emptied.
#ifndef KYT_FOLD_KYTFOLD_H
#define KYT_FOLD_KYTFOLD_H

#include <cstddef>
#include <cstdint>

namespace kyt::fold {

constexpr size_t kNameSize = 260;         // file name fields, NUL included
constexpr size_t kRecordBuffer = 33000;   // one record plus CR LF must fit
constexpr int32_t kMaxRecord = 32998;     // longest record (fold width or data bytes)

// Exit codes.
constexpr int kOk = 0;
constexpr int kUsage = 1;
constexpr int kNoInput = 2;   // input cannot be opened or read
constexpr int kNoOutput = 3;  // output cannot be opened, written or closed, or is the input
constexpr int kMismatch = 4;
constexpr int kStop = 5;

// The parsed command line; zero-filled before parsing.
struct FoldArgs {
  char input[kNameSize];
  char output[kNameSize];
  int32_t variable;
  int32_t width;
};

// Where the fold reads from: fills up to n bytes, returns the count (0 at end, -1 on error).
class Source {
 public:
  virtual ~Source() = default;
  virtual int64_t fill(void* buf, size_t n) = 0;
};

// Where the fold writes to: all n bytes, or false.
class Sink {
 public:
  virtual ~Sink() = default;
  virtual bool put(const void* buf, size_t n) = 0;
};

// What a variable fold found wrong: `length_word` is set when the length word itself came
// short (iRead is then its byte count); otherwise iRead data bytes were read of iRecLen.
struct Mismatch {
  bool length_word = false;
  int32_t iRead = 0;
  int32_t iRecLen = 0;
};

// The folds over streams: kOk, kNoInput when the source failed, kNoOutput when the sink did,
// or kMismatch with `mismatch` filled (variable only). A failure ends the fold at once.
int fold_fixed_stream(Source& in, Sink& out, int32_t width);
int fold_variable_stream(Source& in, Sink& out, Mismatch* mismatch);

// The command's steps.
int ProcessCmdLine(int argc, char** argv, FoldArgs* args);
int FoldFixed(const FoldArgs& args);
int FoldVariable(const FoldArgs& args);
void PrintUsage();

// The whole command: switches tracing on when the process environment has a non-zero
// DBG_LVL, parses, folds, and returns the exit code.
int kytfold_main(int argc, char** argv);

}  // namespace kyt::fold

#endif  // KYT_FOLD_KYTFOLD_H
