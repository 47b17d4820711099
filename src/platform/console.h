// console: what the commands need to know about their standard output.
#ifndef KYT_PLATFORM_CONSOLE_H
#define KYT_PLATFORM_CONSOLE_H

namespace kyt::platform {

// Whether standard output is an interactive terminal (a console on Windows), where a
// progress figure may be rewritten in place; false for a file or a pipe.
bool stdout_is_terminal();

}  // namespace kyt::platform

#endif  // KYT_PLATFORM_CONSOLE_H
