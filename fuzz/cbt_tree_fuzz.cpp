// Fuzz target: a damaged B-tree file, opened and walked with every cursor operation, a few
// inserts and deletes, and the structural check. Nothing may crash or read or write
// outside a block.
//
// Input: byte 0 chooses the form. Even: bytes 1..4 build a valid tree (block size, number
// and seed of its entries) and every further 3 bytes XOR one byte of the file image (two
// bytes of offset, one of value). Odd: the rest of the input is the file image itself.
// Bit 1 of byte 0 recomputes the header checksum after the damage, so that it reaches the
// nodes instead of stopping at the header check.
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

#include "cbt/cbt.h"
#include "platform/platform.h"

namespace {

const std::string& file_name() {
  static const std::string name =
      kyt::platform::make_temp_directory("cbtfuzz") + kyt::platform::path_separator() + "f.cbt";
  return name;
}

bool write_image(const std::string& img) {
  kyt::platform::File f;
  if (!f.open(file_name().c_str(), kyt::platform::OpenMode::kCreate)) return false;
  return img.empty() || f.write_at(img.data(), img.size(), 0) == static_cast<int64_t>(img.size());
}

std::string read_image() {
  kyt::platform::File f;
  std::string img;
  if (!f.open(file_name().c_str(), kyt::platform::OpenMode::kRead)) return img;
  int64_t n = f.size();
  if (n <= 0 || n > (1 << 22)) return img;
  img.resize(static_cast<size_t>(n));
  if (f.read_at(img.data(), img.size(), 0) != n) img.clear();
  return img;
}

std::string valid_tree(const uint8_t* p) {
  static const int sizes[] = {48, 64, 100, 128, 256, 512, 1024, 4096};
  int blk = sizes[p[0] % 8];
  int entries = p[1];
  std::mt19937 rng(p[2] | p[3] << 8);
  kyt::cb_reset_for_tests();
  if (kyt::cbinit(8, 8192) != 1) return {};
  kyt::CbCursor* c = kyt::cbcreate(file_name().c_str(), nullptr, blk);
  if (c == nullptr) return {};
  int maxkey = blk - 36 < 40 ? blk - 36 : 40;
  for (int i = 0; i < entries; ++i) {
    std::string k(rng() % (maxkey + 1), 'a');
    for (auto& ch : k) ch = static_cast<char>('a' + rng() % 4);
    int32_t d = static_cast<int32_t>(rng() % 7) - 3;
    if (rng() % 4 == 0 && i > 0) {
      kyt::cbdelete(c, k.data(), static_cast<int>(k.size()), d);
    } else {
      kyt::cbinsert(c, k.data(), static_cast<int>(k.size()), d, 1);
    }
  }
  kyt::cbclose(c);
  kyt::cb_reset_for_tests();
  return read_image();
}

void fix_checksum(std::string& img) {
  if (img.size() < 32) return;
  uint32_t x = 0;
  for (int i = 0; i < 28; i += 2) {
    x ^= static_cast<uint8_t>(img[i]) | static_cast<uint32_t>(static_cast<uint8_t>(img[i + 1])) << 8;
  }
  for (int i = 0; i < 4; ++i) img[28 + i] = static_cast<char>((x >> (8 * i)) & 0xFF);
}

void walk(const uint8_t* data, size_t size) {
  using namespace kyt;
  if (cbinit(4 + (size % 5), 8192) != 1) return;
  CbCursor* a = cbopen(file_name().c_str(), nullptr);
  CbCursor* b = cbopen(file_name().c_str(), nullptr);
  if (a == nullptr || b == nullptr) return;
  int32_t d = 0;
  char key[64];
  int len = 0;
  for (int i = 0; i < 400 && cbnext(a, &d) == 1; ++i) {
    cbkey(a, key, sizeof key);
    cbkeylen(a, &len);
    if (i == 7) cbmark(a);
  }
  cbcurr(a, &d);
  cbrestore(a, &d);
  for (int i = 0; i < 400 && cbprev(b, &d) == 1; ++i) cbkey(b, key, 3);
  cbtail(b, &d);
  cbprev(b, &d);
  std::string probe;
  cbcheck(a, &probe);
  // Keys out of the input: finds, then a few changes, then the moves again.
  for (size_t i = 0; i + 3 < size && i < 60; i += 3) {
    int klen = data[i] % 12;
    std::string k(klen, static_cast<char>('a' + data[i + 1] % 4));
    int32_t v = static_cast<int32_t>(data[i + 2] % 7) - 3;
    switch (data[i] % 5) {
      case 0: cbfind(a, k.data(), klen, &d); break;
      case 1: d = v; cbfindrec(b, k.data(), klen, &d); break;
      case 2: cbinsert(a, k.data(), klen, v, data[i + 1] & 1); break;
      case 3: cbdelete(a, k.data(), klen, v); break;
      default: cbmodify(b, k.data(), klen, v, k.data(), klen, v + 1, 1); break;
    }
    cbnext(a, &d);
    cbprev(b, &d);
  }
  for (int i = 0; i < 400 && cbnext(a, &d) == 1; ++i) cbkey(a, key, sizeof key);
  cbcheck(b, &probe);
  cbclose(a);
  cbclose(b);
  cbexit();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 5) return 0;
  std::string img;
  if ((data[0] & 1) == 0) {
    img = valid_tree(data + 1);
    for (size_t i = 5; i + 2 < size && !img.empty(); i += 3) {
      size_t off = (data[i] | static_cast<size_t>(data[i + 1]) << 8) % img.size();
      img[off] = static_cast<char>(img[off] ^ data[i + 2]);
    }
  } else {
    img.assign(reinterpret_cast<const char*>(data + 1), size - 1);
  }
  if (data[0] & 2) fix_checksum(img);
  kyt::cb_reset_for_tests();
  if (write_image(img)) walk(data + 1, size - 1);
  kyt::cb_reset_for_tests();
  return 0;
}
