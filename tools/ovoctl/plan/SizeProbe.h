// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/IRestApi.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace ovoctl {

/// A web client that breaks large transfers off once their size is known. For one thread.
class SizeProbe : public http::IRestApi {
public:
    explicit SizeProbe(std::shared_ptr<http::IRestApi> client) : client_(std::move(client)) {}

    /// Bodies of more than so many bytes are broken off from now on; nothing: none is.
    void limitTo(std::optional<std::uint64_t> bytes);
    /// True when a body was broken off since the last limitTo().
    bool hasBrokenOff() const { return hasBrokenOff_; }
    /// Its size; nothing where the server did not say it.
    std::optional<std::uint64_t> size() const { return size_; }

    http::HttpResponse get(const http::HttpRequest& request) override;
    void shutdown() noexcept override { client_->shutdown(); }
    void proxyChanged() override { client_->proxyChanged(); }
    void setDnsCacheTimeout(std::chrono::seconds timeout) override {
        client_->setDnsCacheTimeout(timeout);
    }

private:
    [[noreturn]] void breakOff();

    std::shared_ptr<http::IRestApi> client_;
    std::optional<std::uint64_t> limit_;
    std::optional<std::uint64_t> size_;
    bool hasBrokenOff_ = false;
};

} // namespace ovoctl
