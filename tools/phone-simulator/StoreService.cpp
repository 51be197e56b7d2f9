// SPDX-License-Identifier: Apache-2.0
#include "StoreService.h"

#include <exception>
#include <utility>

namespace simulator {

StoreService::StoreService(StoreServiceDescription description,
                           const propertyapi::IPropertyApi& store, EventPrinter& printer)
    : description_(std::move(description)), store_(store), printer_(printer) {
    subscription_ =
        store_.subscribeScoped(description_.key, [this](const propertyapi::Property& property) {
            onChange(property.value);
        });
}

void StoreService::onChange(const std::string& value) const {
    if (value != "request")
        return;
    printer_.print({description_.name, Event::Kind::RECEIVED, description_.key, value});
    const Outcome outcome = serve();
    printer_.print({description_.name, Event::Kind::NOTE, "", outcome.remark});
    store_.setValue(description_.key, outcome.value);
    printer_.print({description_.name, Event::Kind::ANSWERED, description_.key, outcome.value});
}

Outcome StoreService::serve() const {
    try {
        return description_.serve(store_);
    } catch (const std::exception& exception) {
        return {"fail", exception.what()};
    }
}

} // namespace simulator
