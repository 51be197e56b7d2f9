// SPDX-License-Identifier: Apache-2.0
#include "Backends.h"

#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/process/PhoneRoot.h"
#include "support/propertyapi/FakePropertyApi.h"

namespace {

class MemoryBackend : public Backend {
public:
    const propertyapi::IPropertyApi& api() const override { return *client_; }
    void end() override { client_.reset(); }

private:
    std::unique_ptr<FakePropertyApi> client_ = std::make_unique<FakePropertyApi>();
};

class DatabaseBackend : public Backend {
public:
    const propertyapi::IPropertyApi& api() const override { return *client_; }
    void end() override { client_.reset(); }

private:
    PhoneRoot root_;
    std::unique_ptr<propertyapi::SqlitePropertyApi> client_ =
        std::make_unique<propertyapi::SqlitePropertyApi>();
};

} // namespace

std::ostream& operator<<(std::ostream& stream, const BackendKind& kind) {
    return stream << kind.name;
}

BackendKind inMemory() {
    return {"Fake", [] {
                return std::make_unique<MemoryBackend>();
            }};
}

BackendKind inDatabase() {
    return {"Sqlite", [] {
                return std::make_unique<DatabaseBackend>();
            }};
}
