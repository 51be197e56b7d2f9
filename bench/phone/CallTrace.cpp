// SPDX-License-Identifier: Apache-2.0
#include "CallTrace.h"

#include <sstream>

namespace bench {

CallTrace::CallTrace(BenchPhone& phone, const std::string& calls) {
    // -D: the daemon stays the child that is started here.
    phone.startDaemon({"strace", "-D", "-f", "-y", "-s", "0", "-e", "trace=" + calls, "-o",
                       directory_.path() + "/calls"});
}

std::size_t CallTrace::count(const std::function<bool(const std::string& line)>& condition) const {
    std::istringstream lines(readHostFile(directory_.path() + "/calls"));
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line);)
        // A call that another thread interrupts has a second line.
        if (line.find(" resumed>") == std::string::npos && condition(line))
            ++count;
    return count;
}

} // namespace bench
