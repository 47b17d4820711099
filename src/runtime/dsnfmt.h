// dsnfmt: completing a dataset name pattern with a number.
//
// Patterns come from files that people write (the environment file), so they are never
// handed to printf: only the first integer conversion (%[-+ 0#]*[width][.prec][l|ll]{d,i,u,x,X})
// is filled in, "%%" becomes "%", and every other byte is copied as it stands.
#ifndef KYT_RUNTIME_DSNFMT_H
#define KYT_RUNTIME_DSNFMT_H

#include <string>

namespace kyt {

std::string dsn_complete(const std::string& pattern, long long value);

// Completes a composed dataset name (directory, separator, file pattern): only the part
// behind the last "/" or "\\" is a pattern; the directory before it is kept byte for byte,
// "%" and all. (No file pattern holds a separator, so the last one ends the directory.)
std::string dsn_complete_name(const std::string& name, long long value);

}  // namespace kyt

#endif  // KYT_RUNTIME_DSNFMT_H
