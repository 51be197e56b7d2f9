// SPDX-License-Identifier: Apache-2.0
#include "ProgramRun.h"

#include "ovoctl/Failure.h"
#include "ovoctl/Output.h"

#include <exception>
#include <iostream>

namespace program {

namespace {

using ovoctl::Outcome;

Outcome outcomeOf(const std::string& name, const std::function<Outcome()>& work) {
    const auto fail = [&name](Outcome outcome, const std::exception& failure) {
        std::cerr << name << ": " << failure.what() << "\n";
        return outcome;
    };
    Outcome outcome = Outcome::FINE;
    try {
        ovoctl::Output output;
        try {
            outcome = work();
        } catch (const ovoctl::Misuse&) {
            output.flush();
            throw;
        }
        output.flush();
        return outcome;
    } catch (const ovoctl::ReaderLeft&) {
        return outcome;
    } catch (const ovoctl::Misuse& misuse) {
        return fail(Outcome::MISUSE, misuse);
    } catch (const std::exception& failure) {
        return fail(Outcome::UNASKABLE, failure);
    }
}

} // namespace

int run(const std::string& name, const std::function<Outcome()>& work) {
    return static_cast<int>(outcomeOf(name, work));
}

} // namespace program
