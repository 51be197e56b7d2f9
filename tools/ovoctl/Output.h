// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <ios>
#include <memory>

namespace ovoctl {

/// The reader of the standard output has left, or the program was told to end: nobody wants more.
class ReaderLeft : public std::exception {
public:
    const char* what() const noexcept override { return "the reader left"; }
};

/// The standard output of the program while the object lives. What is written to std::cout throws
/// when it cannot be written: ReaderLeft, or Unaskable with the cause. SIGPIPE is ignored from then
/// on.
class Output {
public:
    Output();
    /// Writes nothing more: call flush() before.
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    /// Everything has been written once it returns. Throws.
    void flush();

private:
    class Buffer;

    std::unique_ptr<Buffer> buffer_;
    std::streambuf* previous_;
    std::ios::iostate exceptions_;
};

} // namespace ovoctl
