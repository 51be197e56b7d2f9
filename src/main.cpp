#include "OvoApplication.h"
#include "logger/Logger.h"

namespace {

constexpr char APPLICATION_NAME[] = "OVO";
constexpr char IPC_NAME[] = "prov-client";

} // namespace

int main() {
    try {
        ovo::OvoApplication application(APPLICATION_NAME, IPC_NAME);
        application.exec();
    } catch (const std::exception& exception) {
        // The phone goes on without provisioning.
        LOG(3) << exception.what();
    }
    return 0;
}
