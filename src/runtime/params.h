// params: how runtime modules read station parameters before and after the parameter
// service exists. The service installs its lookup; until then the built-in defaults of the
// few parameters that runtime modules read answer, and every other name is not found.
#ifndef KYT_RUNTIME_PARAMS_H
#define KYT_RUNTIME_PARAMS_H

#include <string>

namespace kyt {

constexpr int kParamNotFound = 12;

// Answers 0 and the value's text, or kParamNotFound.
using ParamLookup = int (*)(const char* name, std::string* value);
void param_set_lookup(ParamLookup lookup);  // nullptr goes back to the built-in defaults

int param_get(const char* name, std::string* value);
// The value read as a decimal integer (0 when it starts with none); `fallback` when the name
// is not found or the number lies beyond the 32-bit range.
long param_get_long(const char* name, long fallback);

}  // namespace kyt

#endif  // KYT_RUNTIME_PARAMS_H
