// SPDX-License-Identifier: Apache-2.0
#include "Ctl.h"

#include "support/process/PhoneRoot.h"

namespace {

CtlResult runApart(std::vector<std::string> arguments,
                   std::map<std::string, std::string> environment) {
    const TemporaryDirectory directory;
    const std::string errors = directory.path() + "/errors";
    environment["OVOCTL"] = OVOCTL;
    environment["ERRORS"] = errors;
    const Finished finished = run(std::move(arguments), environment);
    return {finished.status, finished.output, readHostFile(errors)};
}

} // namespace

CtlResult ctl(const std::vector<std::string>& arguments,
              const std::map<std::string, std::string>& environment) {
    std::vector<std::string> all{"sh", "-c", R"(exec "$OVOCTL" "$@" 2>"$ERRORS")", "sh"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return runApart(std::move(all), environment);
}

CtlResult shell(const std::string& line, const std::map<std::string, std::string>& environment) {
    return runApart({"bash", "-c", "exec 2>\"$ERRORS\"; " + line}, environment);
}
