// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "SqliteSettings.h"
#include "propertyapi/IPropertyApi.h"

#include <memory>
#include <string>

namespace propertyapi {

class Patience;

/// Client of the property store in an SQLite database that all processes of the phone share.
///
/// The store is one table, property(key, value, origin); triggers note every change of a value, by
/// whatever program, in a bounded journal, from which each client's notification thread reads.
/// Files: the database and beside it, while a client has it open, "-wal" and "-shm". When they are
/// removed, or others put in their place, that is reported once, and what is there now is used;
/// subscribers are given the values there that differ from what they were told.
///
/// A key that is written twice in one batch counts twice, and is notified twice, where both writes
/// change its value. The empty text written to a key that does not exist makes it exist, which is
/// no change.
class SqlitePropertyApi : public IPropertyApi {
public:
    /// The phone's own store.
    static constexpr const char* STORE = "/data/properties.db";

    /// Opens the store, a phone path, and starts the notification thread. A missing store is made,
    /// and missing directories above it with mode 0775. A damaged store is kept beside as
    /// ".corrupt" and replaced by an empty one. Keys of an earlier boot are removed. One that is
    /// open to others is closed to them. patience: by which operations wait for the store; none:
    /// one of its own. Throws PropertyApiException.
    explicit SqlitePropertyApi(const std::string& path = STORE, const SqliteSettings& settings = {},
                               std::shared_ptr<Patience> patience = nullptr);
    /// Ends the notification thread; a callback that runs is waited for. Not from a callback.
    ~SqlitePropertyApi() override;
    SqlitePropertyApi(const SqlitePropertyApi&) = delete;
    SqlitePropertyApi& operator=(const SqlitePropertyApi&) = delete;

    bool exists(const std::string& key) const override;
    std::string getValue(const std::string& key) const override;
    std::string getValue(const std::string& key, const std::string& defaultValue) const override;
    void subscribe(const std::string& key, Callback callback) const override;
    [[nodiscard]] std::unique_ptr<ISubscription> subscribeScoped(const std::string& key,
                                                                 Callback callback) const override;
    bool setValue(const std::string& key, const std::string& value) const override;
    bool removeValue(const std::string& key) const override;
    unsigned int setValues(const Batch& batch, const std::string& origin) const override;

    /// Ends notifications for good, as the destructor does; reading and writing go on working.
    void stop();

private:
    class Client;

    const std::unique_ptr<Client> client_;
};

} // namespace propertyapi
