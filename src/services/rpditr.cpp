// rpditr: the exported import of the routing table (TR records); the reading and the store_TR
// handler are those of the station table import (rpdist.cpp).
#include "kyt/kyt.h"
#include "runtime/runtime.h"
#include "services/rpdist.h"

extern "C" int32_t rpditr(const char* path, kyt_msg_out out) {
  return kyt::api_guard("rpditr", [&]() -> int32_t {
    return kyt::import_routes(path, [out](const char* text) {
      if (out != nullptr) out(text);
    });
  });
}
