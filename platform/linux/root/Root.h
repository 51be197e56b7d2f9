#ifndef ROOT_ROOT_H
#define ROOT_ROOT_H

#include <string>

/// Where the phone's absolute paths lie on this machine: below the directory named by the
/// environment variable HALDEN_ROOT, "/" where it is not set. The variable is read at each call;
/// nobody may change it once threads run.
namespace root {

/// The directory, without a trailing "/"; empty for "/".
std::string directory();

/// The machine's path of a phone path. Refuses with std::runtime_error, whose text names the path
/// quoted, what is not absolute or holds a "." or ".." component, a NUL or another control
/// character.
std::string toHost(const std::string& phonePath);

/// The error of toHost without the translation.
void check(const std::string& phonePath);

} // namespace root

#endif
