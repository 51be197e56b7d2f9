// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <string>

namespace simulator {

/// Something that happened on the bus, in the property store or to the simulator itself.
struct Event {
    enum class Kind {
        RECEIVED, ///< a neighbour got a message; data: its parameters
        ANSWERED, ///< a neighbour answers a message; data: the parameters of the answer
        SENT,     ///< a neighbour sent a message on its own account; data: its parameters
        CHANGED,  ///< a property took a value; data: the value
        NOTE      ///< a remark; data: its text
    };

    std::string who; ///< the neighbour's name on the bus; "store"; "simulator"
    Kind kind;
    std::string name; ///< the message's name or the property's key; empty for a remark
    Json::Value data; ///< an object of parameters, or a text
};

} // namespace simulator
