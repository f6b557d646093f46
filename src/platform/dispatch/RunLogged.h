#pragma once
// Blocks on asynchronous paths have nobody to throw to: what they throw is
// logged with where it happened and dropped, so the worker goes on.

#include <exception>
#include <string>

namespace platform::dispatch::internal {

// The message of a caught exception, or "unknown exception".
std::string describe(const std::exception_ptr& error);
// Logs "<context> threw: <message>".
void logThrown(const std::string& context, const std::exception_ptr& error);

template <class F>
void runLogged(const std::string& context, F&& f) {
    try {
        f();
    } catch (...) {
        logThrown(context, std::current_exception());
    }
}

}  // namespace platform::dispatch::internal
