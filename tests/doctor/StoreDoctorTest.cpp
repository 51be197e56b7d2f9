// SPDX-License-Identifier: Apache-2.0
#include "SickPhone.h"

#include <filesystem>
#include <fstream>

namespace {

class StoreDoctor : public SickPhone {};

TEST_F(StoreDoctor, NoStore) {
    std::filesystem::remove(root.host(STORE));
    expect(visit(), "store", "error", root.host(STORE) + " does not exist", "start the daemon");
}

TEST_F(StoreDoctor, ADamagedStore) {
    {
        std::fstream file(root.host(STORE), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(4096);
        file << std::string(8192, 'x');
    }
    const Visit damaged = visit();
    expect(damaged, "store integrity", "error", root.host(STORE), "restore");
    expectSkipped(damaged, {"store version", "store triggers", "server"});
}

TEST_F(StoreDoctor, AStoreThatIsOpenToOthers) {
    mode(STORE, 0640);
    expect(visit(), "store mode", "warning", "mode 0640", "set its mode to 0600");
}

TEST_F(StoreDoctor, ALogThatGrew) {
    writeHostFile(root.host(STORE) + "-wal", "");
    std::filesystem::resize_file(root.host(STORE) + "-wal", (16 << 20) + 1);
    expect(visit(), "store log", "warning", "16777217 bytes", "fuser");
}

TEST_F(StoreDoctor, OtherVersions) {
    sql("PRAGMA user_version = 2");
    expect(visit(), "store version", "warning", "2, which is older than 3", "start the daemon");
    sql("PRAGMA user_version = 17");
    expect(visit(), "store version", "warning", "17, which is newer than 3", "one version");
}

TEST_F(StoreDoctor, ForeignTriggers) {
    sql("CREATE TRIGGER audit AFTER INSERT ON property BEGIN SELECT 1; END");
    sql("CREATE TRIGGER on_journal AFTER INSERT ON property_journal BEGIN SELECT 1; END");
    expect(visit(), "store triggers", "warning", "audit, on_journal", "drop them");
}

TEST_F(StoreDoctor, TriggersOfAnotherTableDoNotMatter) {
    sql("CREATE TABLE audit(a); "
        "CREATE TRIGGER t AFTER INSERT ON audit BEGIN SELECT 1; END");
    expect(visit(), "store triggers", "ok", "");
}

TEST_F(StoreDoctor, TriggersThatAreMissing) {
    sql("DROP TRIGGER property_journal_update");
    expect(visit(), "store triggers", "error", "property_journal_update", "property dump");
}

} // namespace
