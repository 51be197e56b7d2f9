// SPDX-License-Identifier: Apache-2.0
#include "BusThread.h"

#include "ipc/mosquitto/MessageThread.h"

namespace simulator {

BusThread::BusThread() : thread_(std::make_shared<ipc::MessageThread>()) {}

BusThread::~BusThread() {
    thread_->stop();
}

std::shared_ptr<ipc::IMessageThreadStrategy> BusThread::strategy() const {
    return thread_;
}

} // namespace simulator
