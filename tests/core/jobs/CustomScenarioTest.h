// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "JobHandlers/CustomScenarioJobHandler.h"
#include "JobTest.h"

#include <string>
#include <utility>
#include <vector>

/// Runs steps of scenarios. What a step fetches is served under http://10.0.0.5/prov/.
class CustomScenarioTest : public JobTest {
protected:
    using Step = Attributes;

    ovo::CustomScenarioJobHandler makeHandler() {
        return {node, store, configuration, downloader, security, server, bus, phoneBook, report};
    }

    ovo::ProvisioningContext run(const std::vector<Step>& steps) {
        node.children = childrenOf(steps);
        return makeHandler().runImpl();
    }

    ovo::ProvisioningStatus statusOf(const std::vector<Step>& steps) { return run(steps).status(); }

    /// Lines of the handler without the announcement of the step.
    std::vector<std::string> ownLines() const {
        std::vector<std::string> lines;
        for (const std::string& line : linesFrom(log, "CustomScenarioJobHandler"))
            if (line.find("Executing step: ") == std::string::npos)
                lines.push_back(line.substr(0, 2) + line.substr(line.find(": ") + 2));
        return lines;
    }

    ovo::ProvisioningNode node{"scenario", "step", {}};
};
