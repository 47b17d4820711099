// kytfold: command line, the two folds, usage text.
#include "fold/kytfold.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "platform/platform.h"
#include "runtime/runtime.h"

namespace kyt::fold {

namespace {

constexpr const char* kModule = "kytfold";
constexpr const char* kTopic = "c";
constexpr size_t kIoBuffer = 4 << 20;  // bytes per read or write call: few system calls  // bytes per read or write call: both buffers stay in cache

#define FOLD_TRACE(level, ...) KYT_TRACE(kModule, kTopic, level, __VA_ARGS__)

// Reads with the semantics of fread(dst, 1, n) and feof over a large buffer: a read that
// gets fewer bytes than asked sets the end-of-file indicator, which then stays set. A failing
// source sets it too, and the error indicator beside it.
class RecordReader {
 public:
  explicit RecordReader(Source& src) : src_(src), buf_(new unsigned char[kIoBuffer]) {}

  size_t read(void* dst, size_t n) {
    if (len_ - pos_ >= n) {  // the whole request is buffered: the common case
      std::memcpy(dst, buf_.get() + pos_, n);
      pos_ += n;
      return n;
    }
    unsigned char* out = static_cast<unsigned char*>(dst);
    size_t got = 0;
    while (got < n) {
      if (pos_ == len_) {
        if (eof_ || !refill()) break;
      }
      size_t take = n - got < len_ - pos_ ? n - got : len_ - pos_;
      std::memcpy(out + got, buf_.get() + pos_, take);
      pos_ += take;
      got += take;
    }
    if (got < n) eof_ = true;
    return got;
  }

  bool eof() const { return eof_; }
  bool error() const { return error_; }

 private:
  bool refill() {
    int64_t r = src_.fill(buf_.get(), kIoBuffer);
    pos_ = 0;
    len_ = r > 0 ? static_cast<size_t>(r) : 0;
    if (r < 0) error_ = true;
    if (len_ == 0) eof_ = true;
    return len_ > 0;
  }

  Source& src_;
  std::unique_ptr<unsigned char[]> buf_;
  size_t pos_ = 0;  // next unread byte of buf_
  size_t len_ = 0;  // valid bytes in buf_
  bool eof_ = false;
  bool error_ = false;
};

// Collects whole output records and hands them on in large writes. After a failed write
// nothing more is written: the caller learns it from reserve or flush and stops. Records
// still collected when a fold ends early (a mismatch) are written as the record-by-record
// command wrote them, which matters for an output that is a pipe.
class RecordWriter {
 public:
  explicit RecordWriter(Sink& sink) : sink_(sink), buf_(new unsigned char[kIoBuffer]) {}
  ~RecordWriter() { flush(); }

  // Room for one record of up to kRecordBuffer bytes; nullptr once a write has failed.
  unsigned char* reserve() {
    if (kIoBuffer - used_ < kRecordBuffer && !flush()) return nullptr;
    return buf_.get() + used_;
  }
  void commit(size_t n) { used_ += n; }
  // Writes what is collected; false when this or an earlier write failed.
  bool flush() {
    if (!failed_ && used_ > 0 && !sink_.put(buf_.get(), used_)) failed_ = true;
    used_ = 0;
    return !failed_;
  }

 private:
  Sink& sink_;
  std::unique_ptr<unsigned char[]> buf_;
  size_t used_ = 0;
  bool failed_ = false;
};

class FileSource : public Source {
 public:
  explicit FileSource(platform::File& f) : f_(f) {}
  int64_t fill(void* buf, size_t n) override { return f_.read(buf, n); }

 private:
  platform::File& f_;
};

class FileSink : public Sink {
 public:
  explicit FileSink(platform::File& f) : f_(f) {}
  bool put(const void* buf, size_t n) override {
    return f_.write(buf, n) == static_cast<int64_t>(n);
  }

 private:
  platform::File& f_;
};

// POSIX getopt with the GNU behaviour the command was built with: options may follow
// operands (operands are skipped), "--" ends the options, clustered flags ("-vi name"),
// attached arguments ("-w80"), and the GNU diagnostics on standard error.
class Getopt {
 public:
  Getopt(int argc, char** argv, const char* optstring)
      : argc_(argc), argv_(argv), optstring_(optstring) {}

  const char* optarg = nullptr;

  int next() {
    optarg = nullptr;
    if (cluster_ == nullptr || *cluster_ == '\0') {
      cluster_ = nullptr;
      while (index_ < argc_) {
        const char* a = argv_[index_];
        if (a == nullptr) return -1;
        if (std::strcmp(a, "--") == 0) {
          index_ = argc_;
          return -1;
        }
        if (a[0] == '-' && a[1] != '\0') {
          cluster_ = a + 1;
          ++index_;
          break;
        }
        ++index_;  // an operand: skipped, as GNU getopt moves it behind the options
      }
      if (cluster_ == nullptr) return -1;
    }
    const char c = *cluster_++;
    const char* decl = (c == ':') ? nullptr : std::strchr(optstring_, c);
    const char* prog = argc_ > 0 && argv_[0] != nullptr ? argv_[0] : "kytfold";
    if (decl == nullptr) {
      std::fprintf(stderr, "%s: invalid option -- '%c'\n", prog, c);
      return '?';
    }
    if (decl[1] == ':') {
      if (*cluster_ != '\0') {
        optarg = cluster_;
      } else if (index_ < argc_ && argv_[index_] != nullptr) {
        optarg = argv_[index_++];
      } else {
        std::fprintf(stderr, "%s: option requires an argument -- '%c'\n", prog, c);
        cluster_ = nullptr;
        return '?';
      }
      cluster_ = nullptr;
    }
    return static_cast<unsigned char>(c);
  }

 private:
  int argc_;
  char** argv_;
  const char* optstring_;
  int index_ = 1;
  const char* cluster_ = nullptr;  // rest of the current option cluster
};

// The fold width as atoi reads it (blanks, a sign, the leading digits, 0 when there are
// none), but a number beyond 32 bits is reported, not wrapped or clipped into a width.
bool to_int(const char* s, int32_t* out) {
  int64_t v = 0;
  size_t used = 0;
  const NumText r = parse_int(s, INT32_MIN, INT32_MAX, &v, NumSyntax{true, true}, &used);
  *out = r == NumText::kOk ? static_cast<int32_t>(v) : 0;
  return r != NumText::kOutOfRange;
}

// Copies a name into its field; false when it does not fit.
bool set_name(char (&field)[kNameSize], const char* value) {
  size_t n = std::strlen(value);
  if (n >= kNameSize) return false;
  std::memcpy(field, value, n + 1);
  return true;
}

struct OpenFiles {
  platform::File in;
  platform::File out;
};

// Opens input and output as the folds do; kOk or the exit code, with its trace line.
int open_files(const FoldArgs& args, OpenFiles* files) {
  if (!files->in.open(args.input, platform::OpenMode::kRead)) {
    FOLD_TRACE(1, "can't open input file %s\n", args.input);
    return kNoInput;
  }
  // Creating the output empties it: when it is the input, nothing could be read any more.
  if (platform::same_file(args.input, args.output)) {
    files->in.close();
    FOLD_TRACE(1, "input file %s is output file %s\n", args.input, args.output);
    return kNoOutput;
  }
  if (!files->out.open(args.output, platform::OpenMode::kCreate)) {
    files->in.close();
    FOLD_TRACE(1, "can't open output file %s\n", args.output);
    return kNoOutput;
  }
  return kOk;
}

// Ends a fold that opened both files: closes them (a failed close of the output is a failed
// write) and, when the fold failed, removes the output, so that no partial output is mistaken
// for a whole one. Only a regular file is removed: a device or pipe named as output
// (/dev/stdout, a FIFO) is left alone. The file is closed first, as Windows cannot delete an
// open file.
int finish(const FoldArgs& args, OpenFiles* files, int rc) {
  files->in.close();
  if (!files->out.close() && rc == kOk) rc = kNoOutput;
  if (rc == kNoInput) FOLD_TRACE(1, "can't read input file %s\n", args.input);
  if (rc == kNoOutput) FOLD_TRACE(1, "can't write output file %s\n", args.output);
  if (rc != kOk && platform::is_regular_file(args.output)) platform::remove_file(args.output);
  return rc;
}

}  // namespace

int fold_fixed_stream(Source& in, Sink& out, int32_t width) {
  if (width < 1 || width > kMaxRecord) return kUsage;
  const size_t n = static_cast<size_t>(width);
  RecordReader reader(in);
  RecordWriter writer(out);
  for (;;) {
    unsigned char* rec = writer.reserve();
    if (rec == nullptr) return kNoOutput;
    size_t k = reader.read(rec, n);
    if (reader.eof()) break;  // a short last record is read and dropped
    rec[k] = 0x0D;
    rec[k + 1] = 0x0A;
    writer.commit(k + 2);
  }
  if (reader.error()) return kNoInput;
  return writer.flush() ? kOk : kNoOutput;
}

int fold_variable_stream(Source& in, Sink& out, Mismatch* mismatch) {
  RecordReader reader(in);
  RecordWriter writer(out);
  unsigned char word[2];
  size_t iRead = reader.read(word, 2);
  while (!reader.eof()) {
    if (iRead != 2) {
      *mismatch = {true, static_cast<int32_t>(iRead), 0};
      return kMismatch;
    }
    const uint16_t iRecLen = static_cast<uint16_t>(((word[0] << 8) | word[1]) - 2);
    if (iRecLen > kMaxRecord) {
      // Longer than the record buffer: refused before any of it is read.
      *mismatch = {false, 0, iRecLen};
      return kMismatch;
    }
    unsigned char* rec = writer.reserve();
    if (rec == nullptr) return kNoOutput;
    iRead = reader.read(rec, iRecLen);
    if (iRead != iRecLen) {
      if (reader.error()) return kNoInput;  // not the file's format: the file could not be read
      *mismatch = {false, static_cast<int32_t>(iRead), iRecLen};
      return kMismatch;
    }
    rec[iRead] = 0x0D;
    rec[iRead + 1] = 0x0A;
    writer.commit(iRead + 2);
    iRead = reader.read(word, 2);
  }
  if (reader.error()) return kNoInput;
  return writer.flush() ? kOk : kNoOutput;
}

void PrintUsage() {
  static const char* const kLines[] = {
      "\nkytfold - fold files with fixed or varable records length (insert CR/LF)\n",
      "\t\tuse VFTYP=SINIX for variable records\n",
      "\n\t-v \t\t\t-> use variable records\n",
      "\t-w foldwidth \t\t-> foldwidth for fixed records\n",
      "\t-i input-filename  \t-> input file\n",
      "\t-o output-filename \t-> output file\n",
      "\nexamples: kytfold -w 80 -i inputfile -o outputfile \n",
      "examples: kytfold -v -i inputfile -o outputfile \n",
  };
  std::printf("\n%s\n", version_banner());
  for (const char* line : kLines) std::fputs(line, stdout);
  std::fflush(stdout);
}

int ProcessCmdLine(int argc, char** argv, FoldArgs* args) {
  FOLD_TRACE(15, "ProcessCmdLine (%d args) entered.\n", argc);
  for (int i = 0; i < argc; ++i) {
    FOLD_TRACE(15, "ProcessCmdLine () arg (%d) is '%s'.\n", i, argv[i] != nullptr ? argv[i] : "");
  }
  args->variable = 0;
  args->width = 0;
  int result = kOk;
  bool stop = false;
  Getopt opts(argc, argv, "v?w:i:o:");
  for (int c = opts.next(); c != -1; c = opts.next()) {
    if (stop) break;
    FOLD_TRACE(15, "ProcessCmdLine (): got option '%c'/%d.\n", c, c);
    switch (c) {
      case '?':
        result = kStop;
        stop = true;
        break;
      case 'i':
      case 'o':
        if (!set_name(c == 'i' ? args->input : args->output, opts.optarg)) {
          result = kUsage;  // longer than the name field
          stop = true;
        }
        break;
      case 'v':
        args->variable = 1;
        break;
      case 'w':
        // Out of range leaves no width, as a text without digits does: a usage error for
        // fixed records, ignored when -v folds variable ones.
        if (!to_int(opts.optarg, &args->width)) {
          FOLD_TRACE(1, "fold width %s out of range\n", opts.optarg);
        }
        break;
      default:
        break;
    }
  }
  if (!stop && (args->input[0] == '\0' || args->output[0] == '\0' ||
                (args->variable == 0 && (args->width < 1 || args->width > kMaxRecord)))) {
    result = kUsage;
    stop = true;
  }
  if (stop) PrintUsage();
  FOLD_TRACE(15, "ProcessCmdLine (): returning %d.\n", result);
  return result;
}

int FoldFixed(const FoldArgs& args) {
  OpenFiles files;
  int rc = open_files(args, &files);
  if (rc != kOk) return rc;
  FileSource src(files.in);
  FileSink sink(files.out);
  return finish(args, &files, fold_fixed_stream(src, sink, args.width));
}

int FoldVariable(const FoldArgs& args) {
  OpenFiles files;
  int rc = open_files(args, &files);
  if (rc != kOk) return rc;
  FileSource src(files.in);
  FileSink sink(files.out);
  Mismatch m;
  rc = fold_variable_stream(src, sink, &m);
  if (rc == kMismatch) {
    char text[96];
    if (m.length_word) {
      std::snprintf(text, sizeof text, "format missmatch iRead=%d for read uRecLen\n", m.iRead);
    } else {
      std::snprintf(text, sizeof text, "format missmatch iRead=%d iRecLen=%d\n", m.iRead,
                    m.iRecLen);
    }
    FOLD_TRACE(1, "%s", text);
    std::fputs(text, stdout);
    std::fflush(stdout);
  }
  return finish(args, &files, rc);  // the records written so far are discarded
}

int kytfold_main(int argc, char** argv) {
  std::string lvl;
  if (platform::get_env("DBG_LVL", &lvl) && nonzero_number(lvl)) {
    trace_set_switch(1);
  }
  FoldArgs args;
  std::memset(&args, 0, sizeof args);
  FOLD_TRACE(15, "main (%d args) entered.\n", argc);
  int rc = ProcessCmdLine(argc, argv, &args);
  if (rc != kOk) return rc;
  return args.variable != 0 ? FoldVariable(args) : FoldFixed(args);
}

}  // namespace kyt::fold
