// version: builds the version banner once into its static area.
#include "runtime/version.h"

#include <cstdio>

namespace kyt {

namespace {
constexpr const char* kProduct = "kyt";
constexpr const char* kEdition = "XP";
constexpr const char* kBuildSuffix = "";
constexpr const char* kVersion = "5.07.16";
constexpr const char* kPatchLevel = "";
constexpr const char* kTrailer = " OFTP station core";
}  // namespace

const char* version_banner() {
  static char banner[1024];
  if (banner[0] == '\0') {
    char patch[16];
    std::snprintf(patch, sizeof patch, "%s", kPatchLevel);
    std::snprintf(banner, sizeof banner, "%s%s%s%s%s%s", kProduct, kEdition, kBuildSuffix, kVersion,
                  patch, kTrailer);
  }
  return banner;
}

}  // namespace kyt
