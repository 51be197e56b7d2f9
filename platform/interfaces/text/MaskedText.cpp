// SPDX-License-Identifier: Apache-2.0
#include "text/MaskedText.h"

#include <algorithm>

namespace {

constexpr std::string_view SCHEME_END = "://";
constexpr std::string_view BLANKS{" \t\r\n\v\f\0", 7};
constexpr std::size_t NONE = std::string_view::npos;

/// True for "HOST", "HOST:PORT" and "[ADDRESS]:PORT", also with punctuation after them: a URL
/// without credentials.
bool isHostAndPort(std::string_view authority) {
    constexpr std::string_view PUNCTUATION = "\"'.,;)]}>?!";
    if (!authority.empty() && authority.front() == '[')
        authority.remove_prefix(std::min(authority.find(']'), authority.size()));
    const std::size_t colon = authority.find(':');
    if (colon == NONE)
        return true;
    const std::string_view port = authority.substr(colon + 1);
    const std::size_t digits = std::min(port.find_first_not_of("0123456789"), port.size());
    return port.find_first_not_of(PUNCTUATION, digits) == NONE;
}

/// Finds the ends of credentials. It moves from front to back and reads each part of the text a
/// fixed number of times, whatever the text holds.
class CredentialsFinder {
public:
    explicit CredentialsFinder(std::string_view text) : text_(text) {}

    /// Position of the "@" after the credentials that begin there; NONE: there are none.
    std::size_t find(std::size_t begin) {
        moveTo(begin);
        const std::size_t slash = std::min(text_.find('/', begin), text_.size());
        const std::size_t end = std::min(wordEnd_, slash);
        if (const std::size_t at = lastAt(begin, end); at != NONE)
            return at;
        if (isHostAndPort(text_.substr(begin, end - begin)))
            return NONE;
        // The part after the colon is not a port: it is a password with a "/" or a blank in it.
        if (slash > wordEnd_)
            return lastAt(wordEnd_, slash);
        return wordAt_ == NONE || wordAt_ < slash ? NONE : wordAt_;
    }

private:
    std::size_t lastAt(std::size_t begin, std::size_t end) const {
        const std::size_t at = text_.substr(begin, end - begin).rfind('@');
        return at == NONE ? NONE : begin + at;
    }

    void moveTo(std::size_t begin) {
        if (begin < wordEnd_)
            return;
        wordEnd_ = std::min(text_.find_first_of(BLANKS, begin), text_.size());
        wordAt_ = lastAt(begin, wordEnd_);
    }

    std::string_view text_;
    std::size_t wordEnd_ = 0;
    std::size_t wordAt_ = NONE; ///< last "@" of the word
};

} // namespace

std::string withMaskedPasswords(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    CredentialsFinder credentials(text);
    std::size_t done = 0;
    for (std::size_t scheme = text.find(SCHEME_END); scheme != NONE;
         scheme = text.find(SCHEME_END, scheme)) {
        scheme += SCHEME_END.size();
        const std::size_t at = credentials.find(scheme);
        if (at == NONE)
            continue;
        const std::size_t colon = text.substr(0, at).find(':', scheme);
        if (colon != NONE) {
            result.append(text.substr(done, colon + 1 - done)).append("***");
            done = at;
        }
        scheme = at;
    }
    return result.append(text.substr(done));
}
