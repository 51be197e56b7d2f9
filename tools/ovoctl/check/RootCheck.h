// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "DocumentContext.h"
#include "xml/Xml.h"

namespace ovoctl::check {

/// The name of the root element, and for which product, phone and format it is.
class RootCheck {
public:
    /// context: outlives the check.
    explicit RootCheck(const DocumentContext& context) : context_(context) {}

    /// False: the document is not a provisioning file, and the rest of it means nothing.
    bool check(const common::xml::Node& root);

private:
    bool checkName(const common::xml::Node& root);
    void checkProduct(const common::xml::Node& root);
    void checkMac(const common::xml::Node& root);
    void checkVersion(const common::xml::Node& root);

    const DocumentContext& context_;
};

} // namespace ovoctl::check
