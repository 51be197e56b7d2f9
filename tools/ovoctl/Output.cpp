// SPDX-License-Identifier: Apache-2.0
#include "Output.h"

#include "ovoctl/Failure.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <iostream>
#include <streambuf>
#include <string>

namespace ovoctl {

class Output::Buffer : public std::streambuf {
public:
    Buffer() { setp(bytes_.data(), bytes_.data() + bytes_.size()); }

protected:
    int_type overflow(int_type character) override {
        write();
        if (!traits_type::eq_int_type(character, traits_type::eof()))
            sputc(traits_type::to_char_type(character));
        return traits_type::not_eof(character);
    }
    int sync() override {
        write();
        return 0;
    }

private:
    void write() {
        const char* data = pbase();
        auto size = static_cast<std::size_t>(pptr() - pbase());
        setp(bytes_.data(), bytes_.data() + bytes_.size()); // what fails is not tried again
        while (size > 0) {
            const ssize_t written = ::write(STDOUT_FILENO, data, size);
            if (written < 0 && errno == EPIPE)
                throw ReaderLeft();
            if (written < 0 && errno != EINTR)
                throw Unaskable("cannot write the output: " + std::string(std::strerror(errno)));
            if (written > 0) {
                data += written;
                size -= static_cast<std::size_t>(written);
            }
        }
    }

    std::array<char, 16384> bytes_{};
};

Output::Output()
    : buffer_(std::make_unique<Buffer>())
    , previous_(std::cout.rdbuf(buffer_.get()))
    , exceptions_(std::cout.exceptions()) {
    std::signal(SIGPIPE, SIG_IGN);
    std::cout.exceptions(std::ios::badbit);
}

Output::~Output() {
    std::cout.exceptions(std::ios::goodbit);
    std::cout.rdbuf(previous_);
    std::cout.exceptions(exceptions_);
}

void Output::flush() {
    std::cout.flush();
}

} // namespace ovoctl
