// SPDX-License-Identifier: Apache-2.0
#include "CryptCommand.h"

#include "Diagnosis.h"
#include "http/Secret.h"
#include "ovoctl/Failure.h"
#include "ovoctl/support/FileMode.h"
#include "ovoctl/support/InputFile.h"
#include "ovoctl/support/JsonLine.h"
#include "ovoctl/support/OutputFile.h"
#include "ovoctl/support/Words.h"
#include "paths/Paths.h"
#include "posix/FileStamp.h"
#include "security/openssl/SaltedText.h"
#include "text/Escape.h"
#include "text/Quote.h"

#include <openssl/rand.h>
#include <sys/stat.h>

#include <array>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>

namespace ovoctl {

namespace {

namespace salted = security::salted;

constexpr const char* KEY_FILE = "/etc/ovo.d/key";

struct Options {
    std::string input;
    std::string output;
    std::string keyFile;
    bool isForced = false;
    bool isJson = false;
};

/// Content of the key file, which only its owner may read.
http::Secret readKey(const Options& options) {
    const std::string path =
        options.keyFile.empty() ? paths::toHost(KEY_FILE).text() : options.keyFile;
    const auto stamp = posix::FileStamp::of(posix::HostPath(path));
    if (stamp.error != 0)
        throw Misuse("cannot read the key file " + quote(path) + ": " + std::strerror(stamp.error));
    if (!S_ISREG(stamp.mode))
        throw Misuse("the key file " + quote(path) + " is not a file");
    if (isOpenToOthers(stamp))
        throw Misuse("the key file " + quote(path) + " is open to others (mode " + modeOf(stamp) +
                     "); its mode has to be 0600");
    http::Secret content = readInput(path, salted::MAX_KEY_FILE_BYTES);
    if (salted::passwordOf(content.text()).empty())
        throw Misuse("the first line of the key file " + quote(path) + " is empty");
    return content;
}

/// Throws Misuse when the result cannot be put there.
OutputFile outputOf(const Options& options, unsigned int mode) {
    if (options.isJson && options.output == "-")
        throw Misuse("--json says what was written to a file, and that is the standard output");
    OutputFile output{options.output, mode, options.isForced};
    output.check();
    return output;
}

/// A path as a program may read it, whatever bytes it has.
std::string shown(const std::string& path) {
    return isText(path) ? path : escapeControls(path);
}

void write(const OutputFile& output, std::string_view content, const Options& options) {
    output.write(content);
    if (!options.isJson)
        return;
    Json::Value done(Json::objectValue);
    done["file"] = shown(output.path);
    done["bytes"] = static_cast<Json::UInt64>(content.size());
    std::cout << jsonLine(done);
}

std::string named(const std::string& path) {
    return path == "-" ? "the standard input" : quote(path);
}

void encrypt(const Options& options) {
    const OutputFile output = outputOf(options, 0666);
    const http::Secret key = readKey(options);
    const std::string plain = readInput(options.input, salted::MAX_PLAIN_BYTES);
    if (plain.starts_with(salted::MAGIC))
        throw Misuse(named(options.input) + " is encrypted already");
    write(output, salted::encrypt(plain, salted::passwordOf(key.text())), options);
}

Outcome decrypt(const Options& options) {
    const OutputFile output = outputOf(options, 0600);
    const http::Secret key = readKey(options);
    const Diagnosed found =
        Diagnoser(key.text()).diagnose(readInput(options.input, salted::MAX_BYTES));
    if (found.plain) {
        write(output, *found.plain, options);
        return Outcome::FINE;
    }
    if (options.isJson) {
        Json::Value object(Json::objectValue);
        object["file"] = Json::Value();
        object["cause"] = found.sentence;
        std::cout << jsonLine(object) << std::flush;
    }
    std::cerr << "ovoctl: cannot decrypt " << named(options.input) << ": " << found.sentence
              << "\n";
    return Outcome::FINDING;
}

void makeKey(const Options& options) {
    constexpr std::size_t KEY_BYTES = 32;
    const OutputFile output = outputOf(options, 0600);
    std::array<unsigned char, KEY_BYTES> bytes{};
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1)
        throw Unaskable("there are no random numbers");
    std::string line;
    constexpr std::string_view DIGITS = "0123456789abcdef";
    for (const unsigned char byte : bytes)
        line.append({DIGITS[byte >> 4U], DIGITS[byte & 0xfU]});
    const http::Secret key(line + "\n");
    write(output, key.text(), options);
}

void addWriting(CLI::App& command, Options& options) {
    command.add_flag("--force", options.isForced, "Replace a file that is there already");
    command.add_flag("--json", options.isJson, "Print what was written as one JSON object");
}

void addFiles(CLI::App& command, Options& options) {
    command.add_option("IN", options.input, "The file to read; - is the standard input")
        ->required()
        ->type_name("");
    command.add_option("OUT", options.output, "The file to write; - is the standard output")
        ->required()
        ->type_name("");
    command
        .add_option("--key", options.keyFile,
                    "The key file (default: /etc/ovo.d/key below the phone's root)")
        ->type_name("FILE");
    addWriting(command, options);
}

} // namespace

void addCryptCommand(CLI::App& app, Outcome& outcome) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand(
        "encrypt", "Encrypt a file as the phone reads it (openssl enc -aes-128-cbc -pbkdf2)");
    addFiles(*command, *options);
    setExample(*command, "ovoctl encrypt --key key phone.xml phone.xml.enc");
    command->callback([options] { encrypt(*options); });

    command = app.add_subcommand(
        "decrypt", "Decrypt a file, or say why the phone could not: a wrong key, damage, or other "
                   "options of the tool (status 1)");
    addFiles(*command, *options);
    setExample(*command, "ovoctl decrypt --key key phone.xml.enc phone.xml");
    command->callback([options, &outcome] { outcome = decrypt(*options); });

    command = app.add_subcommand("keygen", "Make a key file with a random key");
    command->add_option("FILE", options->output, "The file to write; - is the standard output")
        ->required()
        ->type_name("");
    addWriting(*command, *options);
    setExample(*command, "ovoctl keygen key");
    command->callback([options] { makeKey(*options); });
}

} // namespace ovoctl
