// SPDX-License-Identifier: Apache-2.0
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/process/ChildProcess.h"
#include "support/process/PhoneRoot.h"
#include "support/process/WaitUntil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

class OvoPropertyTest : public testing::Test {
protected:
    static Finished property(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), OVO_PROPERTY);
        return run(arguments);
    }

    PhoneRoot root_;
};

} // namespace

TEST_F(OvoPropertyTest, SetMakesTheStoreAndWritesABatch) {
    const Finished set = property({"set", "NET.MAC.Address", "02:00:5E:00:00:01", "Empty", ""});
    EXPECT_EQ(set.status, 0);
    EXPECT_EQ(set.output, "1 of 2 changed\n"); // the empty text is what Empty read as before
    const propertyapi::SqlitePropertyApi store;
    EXPECT_EQ(store.getValue("NET.MAC.Address"), "02:00:5E:00:00:01");
    EXPECT_TRUE(store.exists("Empty"));
}

TEST_F(OvoPropertyTest, GetPrintsValuesAndTellsAMissingKey) {
    property({"set", "A", "1", "B", "two words"});
    EXPECT_EQ(property({"get", "B", "A"}).output, "two words\n1\n");
    const Finished missing = property({"get", "A", "C"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.output, "1\n\n");
}

TEST_F(OvoPropertyTest, ListPrintsTheKeysOfAPrefixInOrder) {
    property({"set", "--origin", "factory", "SIP.B", "2", "SIP.A", "1"});
    property({"set", "SIPX", "3", "sip.c", "4", "S%P.D", "5"});
    EXPECT_EQ(property({"list", "SIP."}).output, "SIP.A=1\nSIP.B=2\n");
    EXPECT_EQ(property({"list", "S%"}).output, "S%P.D=5\n");
    EXPECT_EQ(property({"list"}).output, "S%P.D=5\nSIP.A=1\nSIP.B=2\nSIPX=3\nsip.c=4\n");
    EXPECT_EQ(property({"list", "SIP", "--origin"}).output,
              "SIP.A=1  (factory)\nSIP.B=2  (factory)\nSIPX=3\n");
}

TEST_F(OvoPropertyTest, RemoveTellsAMissingKey) {
    property({"set", "A", "1"});
    EXPECT_EQ(property({"remove", "A"}).status, 0);
    EXPECT_EQ(property({"remove", "A"}).status, 1);
    EXPECT_EQ(property({"get", "A"}).status, 1);
}

TEST_F(OvoPropertyTest, WatchPrintsChangesUntilItIsEnded) {
    const propertyapi::SqlitePropertyApi store;
    ChildProcess watch({OVO_PROPERTY, "watch", "A", "B"}, root_.host("/output"));
    int value = 0;
    // Changes count from the moment when the program watches, which nothing else tells.
    ASSERT_TRUE(waitUntil([&] {
        store.setValue("A", std::to_string(++value));
        return !root_.read("/output").empty();
    }));
    store.setValue("B", "last");
    EXPECT_TRUE(
        waitUntil([&] { return root_.read("/output").find("\nB=last\n") != std::string::npos; }));
    EXPECT_EQ(root_.read("/output").rfind("A=", 0), 0U);
    EXPECT_EQ(watch.terminate(), 0);
}

TEST_F(OvoPropertyTest, AKeyWithoutAValueIsRefusedAndNothingIsWritten) {
    const Finished set = property({"set", "A", "1", "B"});
    EXPECT_EQ(set.status, 2);
    EXPECT_EQ(set.output, "ovo-property: set: the last key has no value\n");
    EXPECT_FALSE(root_.exists("/data/properties.db"));
}

TEST_F(OvoPropertyTest, WrongCommandLinesAreOneClearLine) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{}, {"dance"}, {"get"}, {"set"}, {"list", "--dance"}}) {
        const Finished finished = property(arguments);
        EXPECT_EQ(finished.status, 2);
        EXPECT_EQ(finished.output.rfind("ovo-property: ", 0), 0U) << finished.output;
        EXPECT_EQ(std::count(finished.output.begin(), finished.output.end(), '\n'), 1)
            << finished.output;
    }
}

TEST_F(OvoPropertyTest, AStoreThatCannotBeOpenedIsNamed) {
    root_.write("/data", "a file where a directory should be");
    const Finished finished = property({"get", "A"});
    EXPECT_EQ(finished.status, 2);
    EXPECT_NE(finished.output.find("properties.db"), std::string::npos) << finished.output;
}
