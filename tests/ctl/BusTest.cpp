// SPDX-License-Identifier: Apache-2.0
#include "Ctl.h"
#include "support/ipc/Broker.h"
#include "support/ipc/BusPeer.h"
#include "support/process/PhoneRoot.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>

#include <csignal>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class BusCommand : public testing::Test {
protected:
    std::map<std::string, std::string> environment() const {
        return {{"HALDEN_BUS", broker_.address()}};
    }
    CtlResult bus(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "bus");
        return ctl(arguments, environment());
    }
    /// A neighbour that gives this answer to each message on a topic.
    void answer(BusPeer& peer, const std::string& payload) {
        const auto request = peer.waitFor([](const BusPeer::Message& message) {
            return message.topic == "watchdog/prov-client";
        });
        ASSERT_TRUE(request.has_value());
        peer.publish("prov-client/watchdog", "not the answer");
        peer.publish("prov-client/watchdog", R"({"name": "Other", "parameters": {}})");
        peer.publish("prov-client/watchdog", payload);
    }
    CtlResult request(const std::string& payload, const std::vector<std::string>& options = {}) {
        BusPeer peer(broker_.address());
        std::vector<std::string> arguments{OVOCTL,       "bus",
                                           "request",    "watchdog/prov-client",
                                           "AreYouBusy", "deep:={\"a\": [1, null]}"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const std::string output = root_.host("/output");
        ChildProcess process(arguments, output, environment());
        answer(peer, payload);
        EXPECT_EQ(peer.messages("watchdog/prov-client").at(0).payload,
                  R"({"flag":true,"name":"AreYouBusy","parameters":{"deep":{"a":[1,null]}}})");
        const int status = process.wait();
        return {status, readHostFile(output), ""};
    }

    const PhoneRoot root_;
    Broker broker_;
};

TEST_F(BusCommand, SendsAMessageInTheDocumentedForm) {
    const BusPeer peer(broker_.address());
    const CtlResult result = bus({"send", "auto-reboot/prov-client", "startProvisioning",
                                  "location=http://192.0.2.1/a=b", "count:=5", "list:=[1,2]",
                                  "text:=\"x\"", "empty=", "colon:x=:y", "[z]=[1,2]"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output, IsEmpty());
    ASSERT_TRUE(peer.waitForCount("auto-reboot/prov-client", 1));
    EXPECT_EQ(peer.messages().at(0).payload,
              R"({"flag":false,"name":"startProvisioning","parameters":{"[z]":"[1,2]",)"
              R"("colon:x":":y","count":5,"empty":"","list":[1,2],)"
              R"("location":"http://192.0.2.1/a=b","text":"x"}})");
}

TEST_F(BusCommand, SaysWhatWasSentInJson) {
    const BusPeer peer(broker_.address());
    const CtlResult result = bus({"send", "--json", "a/b", "A", "n:=1", "password=secret"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.output, R"({"flag":false,"name":"A","parameters":{"n":1,"password":"***"},)"
                             R"("topic":"a/b"})"
                             "\n");
    EXPECT_TRUE(peer.waitForCount("a/b", 1));
    broker_.stop();
    EXPECT_THAT(bus({"send", "--json", "a/b", "A"}).output, IsEmpty());
}

TEST_F(BusCommand, ARequestPrintsItsAnswer) {
    const CtlResult result =
        request(R"({"name": "AreYouBusyResponse", "parameters": {"isBusy": true}})");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, R"(prov-client/watchdog {"flag":false,"name":"AreYouBusyResponse",)"
                             R"("parameters":{"isBusy":true}})"
                             "\n");
}

TEST_F(BusCommand, AnErrorAsTheAnswerIsAFinding) {
    const CtlResult result =
        request(R"({"name": "AreYouBusyResponse", "parameters": {"error": "no"}})", {"--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, R"({"flag":false,"name":"AreYouBusyResponse",)"
                             R"("parameters":{"error":"no"},"topic":"prov-client/watchdog"})"
                             "\n");
}

TEST_F(BusCommand, ARequestWithoutAnAnswerCannotBeAsked) {
    const CtlResult result =
        bus({"request", "watchdog/prov-client", "AreYouBusy", "--timeout", "0.3"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.errors,
              "ovoctl: no answer to \"AreYouBusy\" from \"prov-client/watchdog\" in time\n");
}

TEST_F(BusCommand, AMissingBrokerIsNamed) {
    broker_.stop();
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"send", "a/b", "c"}, {"request", "a/b", "c"}, {"listen"}}) {
        const CtlResult result = bus(command);
        EXPECT_EQ(result.status, 3);
        EXPECT_THAT(result.errors,
                    StartsWith("ovoctl: the bus " + broker_.address() + " cannot be reached: "));
        EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1) << result.errors;
    }
}

TEST_F(BusCommand, TheBusIsThatOfTheRoot) {
    const CtlResult result = ctl({"bus", "send", "a/b", "c"}, {{"HALDEN_BUS", ""}});
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.errors, HasSubstr("unix:" + root_.host("/run/halden/bus.sock")));
}

TEST_F(BusCommand, WrongWordsAreNamed) {
    for (const auto& [words, text] : std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{"send", "a/#", "b"}, "the topic \"a/#\" is malformed"},
             {{"send", "", "b"}, "the topic \"\" is malformed"},
             {{"send", "a\xff/b", "b"}, "the topic \"a\\xff/b\" is malformed"},
             {{"request", "a", "b"}, "the topic \"a\" is not SENDER/RECEIVER"},
             {{"send", "ab", "x"}, "the topic \"ab\" is not SENDER/RECEIVER"},
             {{"send", "/b", "x"}, "the topic \"/b\" is not SENDER/RECEIVER"},
             {{"send", "a/", "x"}, "the topic \"a/\" is not SENDER/RECEIVER"},
             {{"send", "a/b/c", "x"}, "the topic \"a/b/c\" is not SENDER/RECEIVER"},
             {{"request", "a/b", "x", "--timeout", "nan"}, "\"nan\" is not a number of seconds"},
             {{"request", "a/b", "x", "--timeout", "-1"}, "\"-1\" is not a number of seconds"},
             {{"request", "a/b/c", "b"}, "the topic \"a/b/c\" is not SENDER/RECEIVER"},
             {{"listen", "a/#/b"}, "the topic filter \"a/#/b\" is malformed"},
             {{"send", "a/b", ""}, "the message's name is empty"},
             {{"send", "a/b", "c\xff"}, "the message's name \"c\\xff\" is not UTF-8"},
             {{"send", "a/b", "c", "d"}, "the parameter \"d\" is neither key=text nor key:=json"},
             {{"send", "a/b", "c", "=d"}, "a parameter has no name before its \"=\""},
             {{"send", "a/b", "c", ":=1"}, "a parameter has no name before its \"=\""},
             {{"send", "a/b", "c", "d:=x"}, "the value of the parameter \"d\" is not JSON: "},
             {{"send", "a/b", "c", "d:=1,2"}, "the value of the parameter \"d\" is not JSON\n"},
             {{"send", "a/b", "c", "d:="}, "the value of the parameter \"d\" is not JSON\n"},
             {{"send", "a/b", "c", "d=1", "d=2"}, "the parameter \"d\" is given twice"},
             {{"send", "a/b", "c", "d=\xff"}, "the value of the parameter \"d\" is not UTF-8"},
             {{"send", "a/b", "c", "\xff=d"}, "the parameter \"\\xff\" is not UTF-8"},
             {{"send", "a/b", "c", "d=" + std::string(70'000, 'x')}, "larger than 65536 bytes"},
             {{"listen", "a", "b"}, "\"b\": not known here"}}) {
        const CtlResult result = bus(words);
        EXPECT_EQ(result.status, 2) << text;
        EXPECT_THAT(result.errors, AllOf(StartsWith("ovoctl: "), HasSubstr(text)));
    }
    for (const char* word : {"password:={S3CRET", "=S3CRET", "password=S3CRET\xff", "psk:=1e999"})
        EXPECT_THAT(bus({"send", "a/b", "n", word}).errors,
                    AllOf(StartsWith("ovoctl: "), Not(HasSubstr("S3CRET")), Not(HasSubstr("999"))));
    const CtlResult address = ctl({"bus", "send", "a/b", "c"}, {{"HALDEN_BUS", "pigeon:1"}});
    EXPECT_EQ(address.status, 2);
    EXPECT_THAT(address.errors, HasSubstr("pigeon:1"));
}

TEST_F(BusCommand, ListensUntilItIsToldToEnd) {
    BusPeer peer(broker_.address());
    ChildProcess listen({OVOCTL, "bus", "listen", "prov-client/#"}, root_.host("/output"),
                        environment());
    // Nothing tells when the broker has the subscription.
    ASSERT_TRUE(waitUntil([&] {
        peer.publish("prov-client/a", R"({"name": "A", "flag": true})");
        return !root_.read("/output").empty();
    }));
    peer.publish("other/a", R"({"name": "Other"})");
    peer.publish("prov-client/a", "\xff");
    peer.publish("prov-client/b", R"({"name": "B", "parameters": {"password": "secret", "n": 1}})");
    EXPECT_TRUE(
        waitUntil([&] { return root_.read("/output").find("\"B\"") != std::string::npos; }));
    EXPECT_THAT(root_.read("/output"),
                AllOf(StartsWith(R"(prov-client/a {"flag":true,"name":"A","parameters":{}})"
                                 "\n"),
                      HasSubstr("prov-client/a not a bus message: it is not UTF-8\n"),
                      HasSubstr(R"(prov-client/b {"flag":false,"name":"B",)"
                                R"("parameters":{"n":1,"password":"***"}})"
                                "\n"),
                      testing::Not(HasSubstr("Other"))));
    listen.signal(SIGINT);
    EXPECT_EQ(listen.wait(), 0);
}

TEST_F(BusCommand, ListeningEndsWithTheReader) {
    BusPeer peer(broker_.address());
    ChildProcess listen({"bash", "-c",
                         "\"$0\" bus listen --json | head -n 1; exit "
                         "\"${PIPESTATUS[0]}\"",
                         OVOCTL},
                        root_.host("/output"), environment());
    ASSERT_TRUE(waitUntil([&] {
        peer.publish("a/b", R"({"name": "A"})");
        return !root_.read("/output").empty();
    }));
    EXPECT_EQ(listen.wait(), 0);
    EXPECT_EQ(root_.read("/output"), R"({"flag":false,"name":"A","parameters":{},"topic":"a/b"})"
                                     "\n");
}

TEST_F(BusCommand, ListeningEndsWithTheBroker) {
    BusPeer peer(broker_.address());
    ChildProcess listen({OVOCTL, "bus", "listen"}, root_.host("/output"), environment());
    ASSERT_TRUE(waitUntil([&] {
        peer.publish("a/b", R"({"name": "A"})");
        return !root_.read("/output").empty();
    }));
    broker_.stop();
    EXPECT_EQ(listen.wait(), 3);
    EXPECT_THAT(root_.read("/output"),
                HasSubstr("\novoctl: the bus " + broker_.address() + " cannot be reached: "));
}

} // namespace
