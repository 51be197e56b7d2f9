// SPDX-License-Identifier: Apache-2.0
#include "JobHandlers/NVMJobHandler.h"

#include "JobTest.h"

#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <future>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using enum ovo::ProvisioningStatus;

using Parameters = std::vector<std::pair<std::string, std::string>>;

class NVMJobHandlerTest : public JobTest {
protected:
    static Attributes param(const std::string& name, const std::string& value) {
        return {{"name", name}, {"value", value}};
    }

    ovo::ProvisioningStatus run(const std::vector<Attributes>& children) {
        node = {"settings", "param", childrenOf(children)};
        ovo::ProvisioningContext result =
            ovo::NVMJobHandler(node, store, progress, report).runImpl();
        EXPECT_TRUE(result.empty());
        return result.status();
    }

    /// The parameters written as one batch for "provisioning", in their order.
    Parameters batch() const {
        Parameters parameters;
        for (const FakePropertyApi::Write& write : store->writes())
            if (write.origin == "provisioning")
                parameters.emplace_back(write.key, write.value);
        return parameters;
    }

    /// True when progress is pending; consumes it.
    bool hasProgressed() {
        auto waiting =
            std::async(std::launch::async, [this] { progress.waitAndConsumeProgress(); });
        if (waiting.wait_for(std::chrono::seconds(10)) == std::future_status::ready)
            return true;
        progress.doProgress(); // lets the waiting thread go
        return false;
    }

    ovo::ProvisioningNode node;
};

TEST_F(NVMJobHandlerTest, HasItsName) {
    EXPECT_EQ(ovo::NVMJobHandler(node, store, progress, report).getName(), "NVMJobHandler");
}

TEST_F(NVMJobHandlerTest, WritesAllParametersInOrderInOneBatchOfProvisioning) {
    store->setValue("Old", "same");
    store->clearWrites();
    EXPECT_EQ(run({param("Time.Zone", "UTC"), param("Old", "same"), param("A.Empty", "")}),
              Success);
    const auto writes = store->writes();
    ASSERT_EQ(writes.size(), 3U);
    EXPECT_EQ(writes[0].batch, writes[2].batch);
    EXPECT_THAT(batch(),
                ElementsAre(Pair("Time.Zone", "UTC"), Pair("Old", "same"), Pair("A.Empty", "")));
    EXPECT_EQ(store->originOf("Time.Zone"), "provisioning");
    EXPECT_THAT(log.texts(), ElementsAre("1 NVMJobHandler: Parameters requested: 3, attempted: 3, "
                                         "new parameters applied: 1"));
}

TEST_F(NVMJobHandlerTest, SucceedsWhenNothingChanges) {
    store->setValue("Time.Zone", "UTC");
    EXPECT_EQ(run({param("Time.Zone", "UTC")}), Success);
    EXPECT_TRUE(log.has(1, "Parameters requested: 1, attempted: 1, new parameters applied: 0"));
}

TEST_F(NVMJobHandlerTest, FailsWithoutWritingWhenThereIsNothingToWrite) {
    EXPECT_EQ(run({}), Fail);
    EXPECT_THAT(store->writes(), IsEmpty());
    EXPECT_THAT(log.texts(), IsEmpty());
    EXPECT_TRUE(hasProgressed());
}

TEST_F(NVMJobHandlerTest, FailsAsAWholeWhenTheBatchCannotBeWritten) {
    store->failWrites("B");
    EXPECT_EQ(run({param("A", "1"), param("B", "2")}), Fail);
    EXPECT_THAT(store->writes(), IsEmpty());
    EXPECT_THAT(log.texts(), ElementsAre("1 NVMJobHandler: None of parameters set: " +
                                         errorOf([&] { store->setValue("B", "2"); })));
    EXPECT_TRUE(hasProgressed());
    EXPECT_EQ(reportedCause(), errorOf([&] { store->setValue("B", "2"); }));
}

TEST_F(NVMJobHandlerTest, SkipsRecordsWithoutNameOrValue) {
    EXPECT_EQ(run({{{"name", "A"}}, {{"value", "1"}}, param("B", "2")}), Success);
    EXPECT_THAT(batch(), ElementsAre(Pair("B", "2")));
    EXPECT_THAT(log.texts(),
                ElementsAre("3 NVMJobHandler: Parameter preparation failed: \"A\"=\"???\" "
                            "(exception attribute \"value\" is missing)",
                            "3 NVMJobHandler: Parameter preparation failed: \"???\"=\"???\" "
                            "(exception attribute \"name\" is missing)",
                            "1 NVMJobHandler: Parameters requested: 3, attempted: 1, new "
                            "parameters applied: 1"));
}

TEST_F(NVMJobHandlerTest, ACancelledRunWritesNothing) {
    // Cancelled between the second and the third parameter.
    store->setValue("FunctionKeys.1.LockProvisioning", "0");
    store->clearWrites();
    store->beforeRead = [this](const std::string&) {
        report.cancel();
    };
    EXPECT_EQ(run({param("A", "1"), param("PhoneUI.Keys.FunctionKeys.1.Label", "x"),
                   param("PhoneUI.Keys.FunctionKeys.1.Key", "x")}),
              Fail);
    EXPECT_THAT(store->writes(), IsEmpty());
    EXPECT_THAT(log.texts(), ElementsAre("1 NVMJobHandler: Preparing function key param: "
                                         "\"PhoneUI.Keys.FunctionKeys.1.Label\"=\"x\""));
}

TEST_F(NVMJobHandlerTest, ShowsProgressAfterEveryRecordAndAtItsEnd) {
    // Three signals of records, the failed one included, each pending by the time of the next step.
    int signals = 0;
    store->beforeRead = [&](const std::string& key) {
        if (key != "FunctionKeys.0.LockProvisioning")
            signals += hasProgressed() ? 1 : 0;
    };
    store->beforeBatch = [&] {
        signals += hasProgressed() ? 1 : 0;
    };
    store->setValue("FunctionKeys.0.LockProvisioning", "0");
    const std::string prefix = "PhoneUI.Keys.FunctionKeys.";
    store->failReads("FunctionKeys.1.LockProvisioning");
    EXPECT_EQ(run({param(prefix + "0.Label", "a"), param(prefix + "1.Label", "b"),
                   param(prefix + "2.Label", "c")}),
              Success);
    EXPECT_EQ(signals, 3);
    EXPECT_TRUE(hasProgressed());
}

TEST_F(NVMJobHandlerTest, ReportsARecordWithoutValueAsRequestedAndNotAsAttempted) {
    store->beforeBatch = [&] {
        EXPECT_TRUE(hasProgressed());
    };
    EXPECT_EQ(run({param("A", "1"), {{"name", "B"}}, param("C", "3")}), Success);
    EXPECT_TRUE(log.has(1, "Parameters requested: 3, attempted: 2, new parameters applied: 2"));
    EXPECT_TRUE(hasProgressed());
}

TEST_F(NVMJobHandlerTest, OpenFunctionKeyIsSetAndSaidSo) {
    store->setValue("FunctionKeys.2.LockProvisioning", "0");
    EXPECT_EQ(run({param("PhoneUI.Keys.FunctionKeys.2.Label", "Home")}), Success);
    EXPECT_THAT(batch(), ElementsAre(Pair("PhoneUI.Keys.FunctionKeys.2.Label", "Home")));
    EXPECT_EQ(log.texts().front(), "1 NVMJobHandler: Preparing function key param: "
                                   "\"PhoneUI.Keys.FunctionKeys.2.Label\"=\"Home\"");
}

TEST_F(NVMJobHandlerTest, FunctionKeyIsLockedUnlessItsLockReadsZero) {
    for (const char* lock : {"1", "", "2", "00", " 0", "false"}) {
        SCOPED_TRACE(lock);
        log.clear();
        store->setValue("FunctionKeys.2.LockProvisioning", lock);
        EXPECT_EQ(run({param("PhoneUI.Keys.FunctionKeys.2.Label", "Home")}), Fail);
        EXPECT_THAT(log.texts(),
                    ElementsAre("2 NVMJobHandler: This parameter can not be changed because it is "
                                "locked \"PhoneUI.Keys.FunctionKeys.2.Label\""));
    }
    log.clear();
    EXPECT_EQ(run({param("PhoneUI.Keys.FunctionKeys.7.Label", "never locked")}), Fail);
    EXPECT_THAT(batch(), IsEmpty());
}

TEST_F(NVMJobHandlerTest, TheLockOfAFunctionKeyIsReadOnceForAJob) {
    const std::string prefix = "PhoneUI.Keys.FunctionKeys.";
    store->setValue("FunctionKeys.2.LockProvisioning", "0");
    for (const std::size_t reads : {1U, 2U}) {
        store->clearWrites();
        EXPECT_EQ(run({param(prefix + "2.Label", "a"), param(prefix + "3.Label", "b"),
                       param(prefix + "2.Key", "c"), param(prefix + "3.Key", "d")}),
                  Success);
        EXPECT_THAT(batch(),
                    ElementsAre(Pair(prefix + "2.Label", "a"), Pair(prefix + "2.Key", "c")));
        for (const char* lock :
             {"FunctionKeys.2.LockProvisioning", "FunctionKeys.3.LockProvisioning"})
            EXPECT_EQ(store->readsOf(lock), reads) << lock;
    }
}

TEST_F(NVMJobHandlerTest, TheLockOfAFunctionKeyIsReadAgainWhenThatFailed) {
    constexpr char LOCK[] = "FunctionKeys.2.LockProvisioning";
    store->failReads(LOCK);
    EXPECT_EQ(run({param("PhoneUI.Keys.FunctionKeys.2.Label", "a"),
                   param("PhoneUI.Keys.FunctionKeys.2.Key", "b")}),
              Fail);
    EXPECT_EQ(store->readsOf(LOCK), 2U);
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST_F(NVMJobHandlerTest, FunctionKeysBeyondThoseThatAreRememberedAreLookedUpEachTime) {
    constexpr int REMEMBERED = 256;
    std::vector<Attributes> parameters;
    for (const char* field : {".Label", ".Key"})
        for (int key = 0; key <= REMEMBERED; ++key)
            parameters.push_back(
                param("PhoneUI.Keys.FunctionKeys." + std::to_string(key) + field, "a"));
    store->setValue("FunctionKeys.255.LockProvisioning", "0");
    store->setValue("FunctionKeys.256.LockProvisioning", "0");
    EXPECT_EQ(run(parameters), Success);
    EXPECT_EQ(batch().size(), 4U);
    EXPECT_EQ(store->readsOf("FunctionKeys.255.LockProvisioning"), 1U);
    EXPECT_EQ(store->readsOf("FunctionKeys.256.LockProvisioning"), 2U);
}

TEST_F(NVMJobHandlerTest, FunctionKeyLockCannotBeSetByAFile) {
    store->setValue("FunctionKeys.2.LockProvisioning", "0"); // not even of an open key
    store->clearWrites();
    EXPECT_EQ(run({param("PhoneUI.Keys.FunctionKeys.2.LockProvisioning", "0")}), Fail);
    EXPECT_THAT(store->writes(), IsEmpty());
    EXPECT_THAT(log.texts(),
                ElementsAre("2 NVMJobHandler: This parameter can not be set by provisioning "
                            "\"PhoneUI.Keys.FunctionKeys.2.LockProvisioning\""));
}

TEST_F(NVMJobHandlerTest, FunctionKeyLockInAFileIsRefusedWithoutLookingAtThatOfTheKey) {
    constexpr char LOCK[] = "FunctionKeys.2.LockProvisioning";
    store->failReads(LOCK);
    EXPECT_EQ(run({param("PhoneUI.Keys.FunctionKeys.2.LockProvisioning", "0")}), Fail);
    EXPECT_EQ(store->readsOf(LOCK), 0U);
    EXPECT_THAT(log.texts(),
                ElementsAre("2 NVMJobHandler: This parameter can not be set by provisioning "
                            "\"PhoneUI.Keys.FunctionKeys.2.LockProvisioning\""));
}

TEST_F(NVMJobHandlerTest, FunctionKeyLockIsKnownByItsWholeName) {
    store->setValue("FunctionKeys.12.LockProvisioning", "0");
    EXPECT_EQ(run({param("PhoneUI.Keys.FunctionKeys.12.LockProvisioning.x", "1"),
                   param("PhoneUI.Keys.FunctionKeys.12.lockprovisioning", "2")}),
              Success);
    EXPECT_THAT(batch(), ElementsAre(Pair("PhoneUI.Keys.FunctionKeys.12.LockProvisioning.x", "1"),
                                     Pair("PhoneUI.Keys.FunctionKeys.12.lockprovisioning", "2")));
}

TEST_F(NVMJobHandlerTest, FunctionKeyWithoutNumberIsDroppedAndNamed) {
    for (const char* rest : {"Label", "x.Label", ".Label", "99999999999.Label", "", "-.Label"}) {
        SCOPED_TRACE(rest);
        log.clear();
        const std::string key = std::string("PhoneUI.Keys.FunctionKeys.") + rest;
        EXPECT_EQ(run({param(key, "a")}), Fail);
        EXPECT_THAT(log.texts(), ElementsAre("2 NVMJobHandler: Function key parameter name invalid "
                                             "\"" +
                                             key + "\""));
    }
    EXPECT_THAT(store->writes(), IsEmpty());
}

TEST_F(NVMJobHandlerTest, FunctionKeyWhoseLockCannotBeReadIsSkippedAndTheOthersGoOn) {
    store->failReads("FunctionKeys.2.LockProvisioning");
    const std::string failure =
        errorOf([&] { store->getValue("FunctionKeys.2.LockProvisioning"); });
    EXPECT_EQ(run({param("PhoneUI.Keys.FunctionKeys.2.Label", "a"), param("B", "2")}), Success);
    EXPECT_THAT(batch(), ElementsAre(Pair("B", "2")));
    EXPECT_TRUE(log.has(3, "Parameter preparation failed: "
                           "\"PhoneUI.Keys.FunctionKeys.2.Label\"=\"a\" (exception " +
                               failure + ")"));
}

TEST_F(NVMJobHandlerTest, VlanParameterIsDroppedAndNamedWhileLocked) {
    store->setValue("NET.VLAN.Locked", "1");
    store->clearWrites();
    EXPECT_EQ(run({param("NET.VLAN.Id", "7")}), Fail);
    EXPECT_THAT(store->writes(), IsEmpty());
    EXPECT_THAT(log.texts(), ElementsAre("2 NVMJobHandler: Parameter \"NET.VLAN.Id\" left out: "
                                         "NET.VLAN.Locked is 1"));
}

TEST_F(NVMJobHandlerTest, VlanLockIsWrittenOpenAtOnceBeforeTheBatch) {
    for (const char* lock : {"0", "", "2", "true"}) {
        SCOPED_TRACE(lock);
        store->setValue("NET.VLAN.Locked", lock);
        store->clearWrites();
        EXPECT_EQ(run({param("NET.VLAN.Id", "7"), param("A", "1")}), Success);
        const auto writes = store->writes();
        ASSERT_EQ(writes.size(), 3U);
        EXPECT_EQ(writes[0].key, "NET.VLAN.Locked");
        EXPECT_EQ(writes[0].value, "0");
        EXPECT_EQ(writes[0].origin, "");
        EXPECT_LT(writes[0].batch, writes[1].batch);
        EXPECT_THAT(batch(), ElementsAre(Pair("NET.VLAN.Id", "7"), Pair("A", "1")));
    }
}

TEST_F(NVMJobHandlerTest, VlanParameterIsSkippedWhenTheLockCannotBeReadOrWritten) {
    store->failWrites("NET.VLAN.Locked");
    EXPECT_EQ(run({param("NET.VLAN.Id", "7")}), Fail);
    store->failReads("NET.VLAN.Locked");
    EXPECT_EQ(run({param("NET.VLAN.Id", "7")}), Fail);
    EXPECT_THAT(store->writes(), IsEmpty());
    EXPECT_THAT(log.texts(),
                ElementsAre(HasSubstr("Parameter preparation failed: \"NET.VLAN.Id\"=\"7\" "
                                      "(exception Cannot write"),
                            HasSubstr("Parameter preparation failed: \"NET.VLAN.Id\"=\"7\" "
                                      "(exception Cannot read")));
}

TEST_F(NVMJobHandlerTest, RingtoneIsCutDownToItsFileName) {
    const struct {
        const char* value;
        const char* written;
    } cases[] = {
        {"/a/b/Ring.wav", "Ring.mp3"},
        {"/usr/share/sounds/Bell.wav", "Bell.mp3"},
        {"tone.wav", "tone.mp3"},
        {"http://10.0.0.5/r/Alarm.mp3", "Alarm.mp3"}, // no ".wav": only the directory goes
        {"Alarm", "Alarm"},
        {"", ""},
        {"/a/", ""},
        {"/a/Ring.wav?x=1", "Ring.mp3"}, // what follows is dropped
        {"Ring.wav/b", "Ring.mp3"},      // a later slash does not count
        {"/a/Ring.wav/b.wav", "b.mp3"},  // the last one counts
        {"Ring.wav.wav", "Ring.wav.mp3"},
        {"/a/.wav", ".mp3"},
        {"/a/Ring.WAV", "Ring.WAV"},
    };
    for (const auto& [value, written] : cases) {
        store->clearWrites();
        EXPECT_EQ(run({param("SIP.Account.1.Ringtone", value)}), Success);
        EXPECT_THAT(batch(), ElementsAre(Pair("SIP.Account.1.Ringtone", written))) << value;
    }
}

TEST_F(NVMJobHandlerTest, RingtoneRuleAppliesToRingtonesOnly) {
    const struct {
        const char* name;
        bool cut;
    } cases[] = {
        {"SIP.Account.1.Ringtone", true},
        {"SIP.Account.1.InternalRingtoneFile", true},
        {"SIP.Account.1.OneMelody", true},
        {"PhoneUI.Audio.OneMelody.1", true},
        {"SIP.DefaultRingtone", true},
        {"SIP.DefaultRingtoneInternal", true}, // the whole key is a prefix, too
        {"SIP.Account.1.RingtoneHeader", false},
        {"SIP.Account.1.HeaderRingtone", false},
        {"PhoneUI.Audio.OneMelody.Header", false},
        {"SIP.DefaultRingtoneHeader", false},
        {"SIP.Account.1.Name", false},
        {"SIP.Account.1.ringtone", false},
        {"PhoneUI.Audio.Ringtone", false}, // a ringtone, but below no prefix
        {"x.SIP.DefaultRingtone", false},
    };
    for (const auto& [name, cut] : cases) {
        store->clearWrites();
        EXPECT_EQ(run({param(name, "/a/Ring.wav")}), Success);
        EXPECT_THAT(batch(), ElementsAre(Pair(name, cut ? "Ring.mp3" : "/a/Ring.wav"))) << name;
    }
}

TEST_F(NVMJobHandlerTest, PrefixesAreCaseSensitiveAndStandAtTheBeginning) {
    EXPECT_EQ(run({param("phoneui.Keys.FunctionKeys.2.Label", "a"),
                   param("PhoneUI.Keys.FunctionKeys", "b"), param("NET.VLAN", "c"),
                   param("net.VLAN.Id", "d"), param("X.NET.VLAN.Id", "e"), param("", "f")}),
              Success);
    EXPECT_EQ(batch().size(), 6U);
    EXPECT_EQ(store->readsOf("NET.VLAN.Locked"), 0U);
}

TEST_F(NVMJobHandlerTest, WhatIsNotAStandardExceptionPassesOutOfTheWritingOfTheBatch) {
    store->beforeBatch = [] {
        throw 7;
    };
    EXPECT_THROW(run({param("A", "1")}), int);
    EXPECT_THAT(log.texts(), IsEmpty());
}

using NVMJobHandlerDeathTest = NVMJobHandlerTest;

TEST_F(NVMJobHandlerDeathTest, WhatIsNotAStandardExceptionEndsTheProcessDuringThePreparation) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    store->beforeRead = [](const std::string&) {
        throw 7;
    };
    EXPECT_EXIT(
        {
            // Whoever catches it, it does not come that far.
            EXPECT_THROW(run({param("NET.VLAN.Id", "7")}), int);
            std::_Exit(0);
        },
        testing::KilledBySignal(SIGABRT), "");
}

TEST_F(NVMJobHandlerTest, KnowsRingtonesByTheirNames) {
    ovo::NVMJobHandler handler(node, store, progress, report);
    EXPECT_TRUE(handler.isRingtoneParam("AnyRingtoneAtAll"));
    EXPECT_TRUE(handler.isRingtoneParam("x.OneMelody"));
    EXPECT_TRUE(handler.isRingtoneParam("SIP.DefaultRingtone"));
    EXPECT_FALSE(handler.isRingtoneParam("RingtoneHeader"));
    EXPECT_FALSE(handler.isRingtoneParam("SIP.Account.1.Name"));
}

} // namespace
