// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

struct mosquitto;

/// Takes requests from the topic "bench/reference" and publishes the answers on "reference/bench";
/// one more, "served", when it begins. One thread.
class ReferenceBus {
public:
    using Handler = std::function<std::string(const std::string& request)>;

    /// Throws std::runtime_error when the broker cannot be reached.
    ReferenceBus(const std::string& socketPath, Handler handler);
    ~ReferenceBus();
    ReferenceBus(const ReferenceBus&) = delete;
    ReferenceBus& operator=(const ReferenceBus&) = delete;

    /// Serves until the broker has gone.
    void serve();

private:
    void publish(const std::string& payload);

    Handler handler_;
    mosquitto* handle_;
};
