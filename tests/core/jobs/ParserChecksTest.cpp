// SPDX-License-Identifier: Apache-2.0
// The checks of a provisioning file's root where the XML reader itself fails, and what they read in
// which order. The reader is played by this file in place of the real one: a document has a root,
// and the root has nothing in it.

#include "JobHandlers/ProvisioningFileParser.h"
#include "JobTest.h"
#include "xml/Xml.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>

namespace {

constexpr char PATH[] = "/var/volatile/provisioning/p.xml";
constexpr char MAC_KEY[] = "NET.MAC.Address";

/// The root element.
struct Root {
    std::map<std::string, std::string, std::less<>> attributes;
    int tagsBeforeFailure = -1;   ///< so many calls of tag() go well, the next one throws
    std::string failingAttribute; ///< looking for this one throws
    std::function<void(const std::string& name)> beforeAttribute = [](const std::string&) {
    };
};

Root theRoot;

std::map<std::string, std::string, std::less<>>::const_iterator find(std::string_view name) {
    if (theRoot.failingAttribute == name)
        throw std::runtime_error("no memory");
    theRoot.beforeAttribute(std::string(name));
    return theRoot.attributes.find(name);
}

} // namespace

namespace common::xml {

std::string Node::tag() const {
    if (theRoot.tagsBeforeFailure-- == 0)
        throw std::runtime_error("no memory");
    return "settings";
}

std::string Node::attr(std::string_view name) const {
    const auto attribute = find(name);
    return attribute == theRoot.attributes.end() ? std::string() : attribute->second;
}

bool Node::hasAttr(std::string_view name) const {
    return find(name) != theRoot.attributes.end();
}

Node::AttributeRange Node::attrs() const {
    return AttributeRange(AttributeIterator());
}

Node::Attribute Node::AttributeIterator::operator*() const {
    return {};
}

Node::AttributeIterator& Node::AttributeIterator::operator++() {
    return *this;
}

Node::Iterator& Node::Iterator::operator++() {
    return *this;
}

Node::Iterator Node::begin() const {
    return Iterator();
}

bool Node::empty() const {
    return true;
}

std::size_t Node::offset() const {
    return 0;
}

struct Document::Impl {};

Document::Document(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Document::Document(Document&&) noexcept = default;
Document& Document::operator=(Document&&) noexcept = default;
Document::~Document() = default;

Node Document::root() const {
    return Node(nullptr);
}

Document parse(std::string) {
    return Document(std::make_unique<Document::Impl>());
}

} // namespace common::xml

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char EXCEPTION[] =
    "XML File doesn't meet provisioning requirements. Exception thrown: no memory";

class ParserChecksTest : public JobTest {
protected:
    void SetUp() override {
        theRoot = {};
        theRoot.attributes = {
            {"productID", "hd7k"}, {"macAddress", "02:11:22:AA:BB:CC"}, {"version", "1.1"}};
        store->setValue(MAC_KEY, "02:11:22:AA:BB:CC");
        GTEST_FLAG_SET(death_test_style, "threadsafe");
    }

    bool verify() { return parser.verifyMasterNode(common::xml::Node(nullptr)); }

    const std::shared_ptr<ovo::RunReport> runReport = std::make_shared<ovo::RunReport>();
    ovo::ProvisioningFileParser parser{store, runReport};
};

TEST_F(ParserChecksTest, AnExceptionWhileTheVerificationIsLoggedIsLoggedAndTheResultSoFarReturned) {
    theRoot.tagsBeforeFailure = 1; // it is one of the master nodes, and cannot be named then
    theRoot.beforeAttribute = [](const std::string& name) {
        ADD_FAILURE() << "nothing is checked, not even " << name;
    };
    EXPECT_FALSE(verify());
    EXPECT_EQ(log.count(3, EXCEPTION), 1U);
    EXPECT_EQ(log.texts().back(), std::string("3 ProvisioningFileParser: ") + EXCEPTION);
    EXPECT_FALSE(log.mentions("is verifiable"));
    EXPECT_EQ(store->readsOf(MAC_KEY), 0U);
}

TEST_F(ParserChecksTest, AFileWhoseVerificationCannotBeLoggedIsRefused) {
    theRoot.tagsBeforeFailure = 1;
    phone.write(PATH, "<settings/>");
    std::vector<ovo::ProvisioningNode> nodes;
    EXPECT_EQ(errorOf([&] { parser.parse(PATH, nodes); }),
              std::string("File ") + PATH + " verification failed");
    EXPECT_THAT(nodes, IsEmpty());
    EXPECT_EQ(log.count(3, EXCEPTION), 1U);
}

TEST_F(ParserChecksTest, ProductThenDeviceThenVersionAreCheckedWhateverTheResults) {
    for (const char* product : {"hd7k", "other"}) {
        SCOPED_TRACE(product);
        theRoot.attributes["productID"] = product;
        std::vector<std::string> reads;
        const auto note = [&](const std::string& name) {
            if (reads.empty() || reads.back() != name)
                reads.push_back(name);
        };
        theRoot.beforeAttribute = note;
        store->beforeRead = note;
        EXPECT_EQ(verify(), std::string(product) == "hd7k");
        EXPECT_THAT(reads, ElementsAre("productID", MAC_KEY, "macAddress", "version"));
    }
}

/// The attribute that cannot be read.
class ParserChecksDeathTest : public ParserChecksTest,
                              public testing::WithParamInterface<const char*> {};

TEST_P(ParserChecksDeathTest, AnExceptionOutOfACheckEndsTheProcess) {
    theRoot.failingAttribute = GetParam();
    EXPECT_EXIT(
        {
            verify();
            std::_Exit(0);
        },
        testing::KilledBySignal(SIGABRT), "");
}

INSTANTIATE_TEST_SUITE_P(Attributes, ParserChecksDeathTest,
                         testing::Values("productID", "macAddress", "version"),
                         [](const auto& attribute) { return std::string(attribute.param); });

} // namespace
