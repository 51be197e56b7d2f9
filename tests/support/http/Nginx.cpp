// SPDX-License-Identifier: Apache-2.0
#include "Nginx.h"

#include "support/process/FreePort.h"
#include "support/process/TextReplacement.h"
#include "support/process/WaitUntil.h"

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <utility>

Nginx::Nginx(std::string locations, std::optional<Tls> tls)
    : locations_(std::move(locations)), tls_(std::move(tls)) {
    if (tls_) {
        put("server.pem", tls_->server.certificate);
        put("server.key", tls_->server.key);
        put("client-ca.pem", tls_->clientCa);
    }
    std::filesystem::create_directory(directory_.path() + "/root");
    start();
}

Nginx::~Nginx() = default;

void Nginx::start() {
    constexpr int ATTEMPTS = 5; // somebody else may take a free port first
    for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
        port_ = freePort();
        tlsPort_ = freePort();
        put("nginx.conf", configuration());
        process_ = std::make_unique<ChildProcess>(
            std::vector<std::string>{"nginx", "-p", directory_.path(), "-c", "nginx.conf"},
            directory_.path() + "/output");
        // Written when all ports are open, by the process that opened them.
        waitUntil([this] {
            return !process_->isRunning() || !readHostFile(directory_.path() + "/pid").empty();
        });
        if (process_->isRunning())
            return;
    }
    throw std::runtime_error(
        "nginx does not start: " + readHostFile(directory_.path() + "/output") +
        readHostFile(directory_.path() + "/error.log"));
}

std::string Nginx::configuration() const {
    // One process: none is left running when the test dies. "user": for a test run by root.
    std::string text = R"(
daemon off;
master_process off;
user root;
pid @DIR@/pid;
error_log @DIR@/error.log info;
events { worker_connections 64; }
http {
    log_format test '$connection $status $server_port $uri "$http_authorization" $server_protocol';
    access_log @DIR@/access.log test;
    client_body_temp_path @DIR@/client-body;
    proxy_temp_path @DIR@/proxy;
    fastcgi_temp_path @DIR@/fastcgi;
    uwsgi_temp_path @DIR@/uwsgi;
    scgi_temp_path @DIR@/scgi;
    root @DIR@/root;
    default_type application/octet-stream;
    server {
        listen 127.0.0.1:@PORT@;
@LOCATIONS@
    }
)";
    if (tls_) {
        text += R"(
    server {
        listen 127.0.0.1:@TLSPORT@ ssl http2;
        ssl_certificate @DIR@/server.pem;
        ssl_certificate_key @DIR@/server.key;
)";
        if (!tls_->clientCa.empty())
            text += "ssl_client_certificate @DIR@/client-ca.pem; ssl_verify_client on;\n";
        text += tls_->settings + "\n@LOCATIONS@\n    }\n";
    }
    return filled(replaced(text, "@LOCATIONS@", locations_) + "}\n");
}

std::string Nginx::filled(std::string text) const {
    text = replaced(std::move(text), "@DIR@", directory_.path());
    text = replaced(std::move(text), "@PORT@", std::to_string(port_));
    return replaced(std::move(text), "@TLSPORT@", std::to_string(tlsPort_));
}

std::string Nginx::url(const std::string& target) const {
    return "http://127.0.0.1:" + std::to_string(port_) + target;
}

std::string Nginx::tlsUrl(const std::string& target, const std::string& host) const {
    return "https://" + host + ":" + std::to_string(tlsPort_) + target;
}

void Nginx::publish(const std::string& target, const std::string& content) const {
    put("root" + target, content);
}

std::string Nginx::documentRoot() const {
    return directory_.path() + "/root";
}

void Nginx::put(const std::string& name, const std::string& content) const {
    writeHostFile(directory_.path() + "/" + name, content);
}

std::vector<Nginx::Access> Nginx::accesses(std::size_t count) const {
    // A line is written when the request is done with, which the client may know earlier.
    waitUntil([&] { return readAccesses().size() >= count; });
    return readAccesses();
}

std::size_t Nginx::requestCount() const {
    const std::string log = readHostFile(directory_.path() + "/access.log");
    return static_cast<std::size_t>(std::count(log.begin(), log.end(), '\n'));
}

std::vector<Nginx::Access> Nginx::readAccesses() const {
    std::vector<Access> result;
    std::istringstream log(readHostFile(directory_.path() + "/access.log"));
    for (std::string line; std::getline(log, line);) {
        std::istringstream words(line);
        Access access{};
        words >> access.connection >> access.status >> access.port >> access.uri;
        words.ignore(2);
        std::getline(words, access.authorization, '"');
        words >> access.protocol;
        result.push_back(access);
    }
    return result;
}

std::vector<std::string> pathsOf(const std::vector<Nginx::Access>& accesses) {
    std::vector<std::string> paths;
    paths.reserve(accesses.size());
    for (const Nginx::Access& access : accesses)
        paths.push_back(access.uri);
    return paths;
}
