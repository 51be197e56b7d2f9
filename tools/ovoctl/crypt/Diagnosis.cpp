// SPDX-License-Identifier: Apache-2.0
#include "Diagnosis.h"

#include "text/Utf8.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>
#include <vector>

namespace ovoctl {

namespace {

namespace salted = security::salted;
using salted::Options;

constexpr const char* AGAIN = "; encrypt it again with -aes-128-cbc -pbkdf2";
/// "Salted__" in Base64, as far as it does not depend on what follows.
constexpr std::string_view ENCODED_MAGIC = "U2FsdGVkX1";
/// Blocks at the beginning that decide whether a key fits.
constexpr std::size_t LOOKED_AT = salted::HEADER_BYTES + 4 * salted::BLOCK_BYTES;

constexpr std::array OTHER_DIGESTS = {"md5", "sha1", "sha384", "sha512"};
constexpr std::array OTHER_CIPHERS = {"aes-192-cbc", "aes-256-cbc"};
constexpr std::array OTHER_ROUNDS = {1,      1000,   2000,    4096,    5000,    20'000,
                                     50'000, 65'536, 100'000, 200'000, 310'000, 600'000};
/// Above it each further try takes long.
constexpr int MOST_ROUNDS_OF_OTHER_CIPHERS = 100'000;

/// Searches that find nothing, in one run: each of them takes long.
constexpr int MOST_SEARCHES = 8;

bool isControl(char character) {
    const auto code = static_cast<unsigned char>(character);
    return (code < 0x20 && character != '\t' && character != '\n' && character != '\r') ||
           code == 0x7f;
}

/// Takes padding off the end where there is some.
std::string_view withoutPadding(std::string_view blocks) {
    const auto count = static_cast<unsigned char>(blocks.back());
    if (count == 0 || count > salted::BLOCK_BYTES)
        return blocks;
    const std::string_view padding = blocks.substr(blocks.size() - count);
    const bool isPadding = std::all_of(padding.begin(), padding.end(),
                                       [&](char byte) { return byte == blocks.back(); });
    return isPadding ? blocks.substr(0, blocks.size() - count) : blocks;
}

/// True for what a wrong key does not give: readable text. The last character may be cut.
bool isReadable(std::string_view text) {
    constexpr std::size_t LONGEST_CHARACTER = 4;
    while (!text.empty()) {
        const std::size_t size = utf8::first(text).size;
        if (size == 0)
            return text.size() < LONGEST_CHARACTER && !isControl(text.front());
        if (size == 1 && isControl(text.front()))
            return false;
        text.remove_prefix(size);
    }
    return true;
}

std::string textOf(const Options& options) {
    std::string text = "-" + options.cipher;
    if (options.rounds > 0)
        text += " -pbkdf2";
    if (options.rounds > 0 && options.rounds != Options().rounds)
        text += " -iter " + std::to_string(options.rounds);
    if (options.digest != Options().digest)
        text += " -md " + options.digest;
    return text;
}

Diagnosis kindOf(const Options& options) {
    if (options.rounds == 0)
        return Diagnosis::NO_PBKDF2;
    if (options.rounds != Options().rounds)
        return Diagnosis::OTHER_ROUNDS;
    return options.digest != Options().digest ? Diagnosis::OTHER_DIGEST : Diagnosis::OTHER_CIPHER;
}

Diagnosed describe(const Options& options) {
    const Diagnosis kind = kindOf(options);
    const std::string made = textOf(options);
    if (kind == Diagnosis::NO_PBKDF2)
        return {kind, made, "the file was encrypted without -pbkdf2 (" + made + ")" + AGAIN};
    const char* what = kind == Diagnosis::OTHER_ROUNDS   ? "another number of rounds"
                       : kind == Diagnosis::OTHER_DIGEST ? "another digest"
                                                         : "another cipher";
    return {kind, made,
            std::string("the file was encrypted with ") + what + " (" + made + ")" + AGAIN};
}

/// Other options, those that take little time first.
std::vector<Options> otherOptions() {
    std::vector<std::string> ciphers{Options().cipher};
    ciphers.insert(ciphers.end(), OTHER_CIPHERS.begin(), OTHER_CIPHERS.end());
    std::vector<std::string> digests{Options().digest};
    digests.insert(digests.end(), OTHER_DIGESTS.begin(), OTHER_DIGESTS.end());
    std::vector<Options> all;
    for (const int rounds : {0, Options().rounds})
        for (const std::string& digest : digests)
            for (const std::string& cipher : ciphers)
                all.push_back({cipher, digest, rounds});
    for (const int rounds : OTHER_ROUNDS) {
        all.push_back({ciphers.front(), Options().digest, rounds});
        if (rounds <= MOST_ROUNDS_OF_OTHER_CIPHERS)
            all.push_back({ciphers.back(), Options().digest, rounds});
    }
    std::erase(all, Options());
    return all;
}

} // namespace

/// The beginning of a file, tried with a password and options.
class Diagnoser::Examination {
public:
    Examination(std::string_view content, std::string_view password)
        : begin_(content.substr(0, LOOKED_AT)), password_(password) {}

    /// The beginning becomes text with this password and these options.
    bool fits(const Options& options, std::string_view password) const {
        if (password.empty())
            return false;
        const std::optional<std::string> blocks = salted::decryptBlocks(begin_, password, options);
        return blocks && isReadable(withoutPadding(*blocks));
    }
    bool fits(const Options& options = {}) const { return fits(options, password_); }
    bool fitsWithOtherLineEnd() const {
        return password_.ends_with('\r') ? fits({}, password_.substr(0, password_.size() - 1))
                                         : fits({}, std::string(password_) + "\r");
    }

private:
    std::string_view begin_;
    std::string_view password_;
};

std::optional<Diagnosed> Diagnoser::findOtherOptions(const Examination& examination) {
    const auto fits = [&](const Options& options) {
        return examination.fits(options);
    };
    if (const auto known = std::find_if(found_.begin(), found_.end(), fits); known != found_.end())
        return describe(*known);
    if (searches_ == MOST_SEARCHES)
        return std::nullopt;
    const std::vector<Options> all = otherOptions();
    if (const auto other = std::find_if(all.begin(), all.end(), fits); other != all.end())
        return describe(found_.emplace_back(*other));
    ++searches_;
    return std::nullopt;
}

/// Not decrypted, or what came out is not text.
Diagnosed Diagnoser::explain(std::string_view content, std::string_view password) {
    const Examination examination(content, password);
    if (examination.fits())
        return {Diagnosis::DAMAGED, "",
                "the key is right, but the file is damaged or was cut; transfer it again"};
    if (examination.fitsWithOtherLineEnd())
        return {Diagnosis::OTHER_LINE_END, "",
                "the key of the file differs from this one by the carriage return at the end of "
                "the line; write "
                "the key file with a plain line feed"};
    if (std::optional<Diagnosed> found = findOtherOptions(examination))
        return *std::move(found);
    if (content.size() <= salted::HEADER_BYTES ||
        (content.size() - salted::HEADER_BYTES) % salted::BLOCK_BYTES != 0)
        return {Diagnosis::CUT, "",
                "the file was cut or changed on its way: no encrypted file has " +
                    std::to_string(content.size()) + " bytes"};
    return {Diagnosis::UNREADABLE, "", "the key is wrong or the file is damaged"};
}

Diagnosed Diagnoser::diagnose(std::string_view content) {
    if (content.starts_with(ENCODED_MAGIC))
        return {Diagnosis::ENCODED, "-a",
                "the file is encrypted, but written as text (-a); encrypt it again without -a"};
    if (!content.starts_with(salted::MAGIC))
        return {Diagnosis::PLAIN, "", "the file is not encrypted"};
    const std::string_view password = salted::passwordOf(key_);
    std::string text(content);
    if (!salted::decryptInPlace(text, password))
        return explain(content, password);
    if (isReadable(std::string_view(text).substr(0, LOOKED_AT)))
        return {Diagnosis::READABLE, "", "", std::move(text)};
    // What is not text may be meant so, unless another explanation fits.
    Diagnosed other = explain(content, password);
    if (!other.options.empty() || other.diagnosis == Diagnosis::OTHER_LINE_END)
        return other;
    return {Diagnosis::NO_TEXT, "",
            "what is encrypted is not text, or the key is wrong and the file fits it by chance",
            std::move(text)};
}

} // namespace ovoctl
