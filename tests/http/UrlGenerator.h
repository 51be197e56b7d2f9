// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <random>
#include <string>
#include <vector>

/// Makes texts that are nearly URLs; the same ones in every run.
class UrlGenerator {
public:
    std::string next() {
        std::string text = pick({"http", "https", "HTTP", "ftp", "x+y", "", "1a"}) +
                           pick({"://", "://", "://", "://", ":/", "//"});
        if (chance(3))
            text += word() + pick({":", "", "::"}) + word() + "@";
        text += pick({"h", "10.0.0.1", "[::1]", "[fe80::1%25eth0]", "a.example", "", "[", word()});
        if (chance(3))
            text += ":" + pick({"80", "0", "65535", "65536", "", "8080", "x", word()});
        for (auto parts = random_() % 5; parts > 0; --parts)
            text += pick({"/", "//", "?", "#", "/../", "/..", "/.", "%2e%2e%2f", word(), word()});
        return text;
    }

private:
    bool chance(unsigned int ofHowMany) { return random_() % ofHowMany == 0; }

    std::string pick(const std::vector<std::string>& choices) {
        return choices[random_() % choices.size()];
    }

    std::string word() {
        static const std::string ALPHABET = "abzAZ019.-_~%:@?#[]&=+\\\xc3\xa4";
        std::string text;
        for (auto length = random_() % 6; length > 0; --length)
            text += ALPHABET[random_() % ALPHABET.size()];
        return text;
    }

    std::mt19937 random_{20240229}; // NOLINT(cert-msc51-cpp): the same texts in every run
};
