// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// One handle of libcurl, which keeps its connections. One thread at a time.
class HttpClient {
public:
    explicit HttpClient(std::string caBundle);
    ~HttpClient();
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;

    /// The body. Throws std::runtime_error.
    std::string get(const std::string& url);

private:
    std::string caBundle_;
    void* curl_ = nullptr;
};
