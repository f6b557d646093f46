#include "platform/dispatch/RunLogged.h"

#include "platform/Analytics.h"

namespace platform::dispatch::internal {

std::string describe(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& e) {
        return e.what();
    } catch (...) {
        return "unknown exception";
    }
}

void logThrown(const std::string& context, const std::exception_ptr& error) {
    platform::log(context + " threw: " + describe(error));
}

}  // namespace platform::dispatch::internal
