// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

struct mosquitto;

/// Takes requests from the topic "bench/steps" and publishes on "steps/bench"; the text "served"
/// first. The library's own thread serves the connection.
class StepsBus {
public:
    /// On the bus thread.
    using Handler = std::function<void(std::string request)>;

    /// Throws std::runtime_error when the broker cannot be reached.
    StepsBus(const std::string& socketPath, Handler handler);
    ~StepsBus();
    StepsBus(const StepsBus&) = delete;
    StepsBus& operator=(const StepsBus&) = delete;

    /// Any thread; the bus thread sends it.
    void publish(const std::string& payload);

private:
    Handler handler_;
    mosquitto* handle_;
};
