// params: parameter lookup seam with the built-in defaults.
#include "runtime/params.h"

#include <cstdint>
#include <cstring>

#include "runtime/numtext.h"

namespace kyt {

namespace {

struct Default {
  const char* name;
  const char* value;
};
// Defaults of the parameters read by runtime modules (the parameter table's own defaults).
constexpr Default kDefaults[] = {
    {"TRACEOFF", "0"},      {"TRACEALWAYSTOFILE", "0"}, {"TRACEMAXITEM", "1024"},
    {"TRACEMAXSIZE", "1024"}, {"LITRACELVL", ""},
};

int builtin_lookup(const char* name, std::string* value) {
  for (const Default& d : kDefaults) {
    if (std::strcmp(d.name, name) == 0) {
      *value = d.value;
      return 0;
    }
  }
  return kParamNotFound;
}

ParamLookup g_lookup = builtin_lookup;

}  // namespace

void param_set_lookup(ParamLookup lookup) { g_lookup = lookup != nullptr ? lookup : builtin_lookup; }

int param_get(const char* name, std::string* value) {
  if (name == nullptr || value == nullptr) return kParamNotFound;
  return g_lookup(name, value);
}

long param_get_long(const char* name, long fallback) {
  std::string v;
  if (param_get(name, &v) != 0) return fallback;
  // As strtol reads it (blanks, a sign, the leading digits, 0 when there are none), but within
  // 32 bits on every platform; a value beyond them is refused and the fallback holds.
  int64_t x = 0;
  size_t used = 0;
  if (parse_int(v, INT32_MIN, INT32_MAX, &x, NumSyntax{true, true}, &used) == NumText::kOutOfRange)
    return fallback;
  return static_cast<long>(x);
}

}  // namespace kyt
