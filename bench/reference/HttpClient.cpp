// SPDX-License-Identifier: Apache-2.0
#include "HttpClient.h"

#include "Require.h"

#include <curl/curl.h>

#include <utility>

namespace {

std::size_t append(char* data, std::size_t size, std::size_t count, void* body) {
    static_cast<std::string*>(body)->append(data, size * count);
    return size * count;
}

} // namespace

HttpClient::HttpClient(std::string caBundle) : caBundle_(std::move(caBundle)) {}

HttpClient::~HttpClient() {
    if (curl_ != nullptr)
        curl_easy_cleanup(curl_);
}

std::string HttpClient::get(const std::string& url) {
    if (curl_ == nullptr) { // at the first use, which a start is measured without
        curl_ = curl_easy_init();
        curl_easy_setopt(curl_, CURLOPT_CAINFO, caBundle_.c_str());
    }
    std::string body;
    curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, append);
    curl_easy_setopt(curl_, CURLOPT_WRITEDATA, &body);
    curl_easy_setopt(curl_, CURLOPT_FAILONERROR, 1L);
    require(curl_easy_perform(curl_) == CURLE_OK, "get");
    return body;
}
