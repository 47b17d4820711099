// version: the version banner of the station's programs.
#ifndef KYT_RUNTIME_VERSION_H
#define KYT_RUNTIME_VERSION_H

namespace kyt {

// "kytXP5.07.16 OFTP station core": product word, edition, build suffix (empty), version,
// patch level (empty) and a trailer that begins with a blank, run together. The text lives
// in one static area of 1024 bytes.
const char* version_banner();

}  // namespace kyt

#endif  // KYT_RUNTIME_VERSION_H
