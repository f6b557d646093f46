#include "Core/helper/internal/ChildProcess.h"

#include "support/Await.h"
#include "support/ScopedSimulatedClock.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <future>

using Core::internal::ChildProcess;

namespace {

platform::Clock::TimePoint later() {
    return platform::deadlineAfter(platform::clock().now(), std::chrono::seconds(60));
}

std::shared_ptr<ChildProcess> shell(const std::string& text) { return ChildProcess::start({"/bin/sh", "-c", text}); }

}  // namespace

TEST(ChildProcessTest, StartsCleanWhateverTheCallerCarries) {
    EXPECT_EQ(ChildProcess::start({"sh", "-c", "true"}), nullptr) << "a tool must be named by its absolute path";
    ASSERT_NE(shell("true"), nullptr);
    EXPECT_TRUE(shell("true")->wait(later()));
    EXPECT_FALSE(shell("exit 3")->wait(later()));

    ::setenv("CORE_TEST_LEAK", "1", 1);
    EXPECT_TRUE(shell("[ -z \"$CORE_TEST_LEAK\" ] && [ -n \"$PATH\" ]")->wait(later()));
    ::unsetenv("CORE_TEST_LEAK");

    // A SIGTERM ignored and blocked here still ends the child.
    sigset_t term;
    sigemptyset(&term);
    sigaddset(&term, SIGTERM);
    sigset_t previousMask;
    pthread_sigmask(SIG_BLOCK, &term, &previousMask);
    struct sigaction ignore {}, previousAction {};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGTERM, &ignore, &previousAction);
    auto child = shell("kill -TERM $$; exit 0");
    ::sigaction(SIGTERM, &previousAction, nullptr);
    pthread_sigmask(SIG_SETMASK, &previousMask, nullptr);
    ASSERT_NE(child, nullptr);
    EXPECT_FALSE(child->wait(later()));
}

TEST(ChildProcessTest, TerminateAndTheDeadlineEndTheWholeGroup) {
    auto child = shell("sleep 1000 & wait");
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(::getpgid(child->pid()), child->pid()) << "not in a group of its own";
    child->terminate();
    EXPECT_FALSE(child->wait(later()));

    auto late = shell("sleep 1000");
    ASSERT_NE(late, nullptr);
    EXPECT_FALSE(late->wait(platform::clock().now()));
}

TEST(ChildProcessTest, ADeadlineReachedWhileWaitingEndsTheChild) {
    testing_support::ScopedSimulatedClock clock;
    testing_support::Flag waiting;
    ChildProcess::setWaitingHookForTesting([&] { waiting.set(); });
    auto child = shell("sleep 1000");
    ASSERT_NE(child, nullptr);
    auto deadline = clock->now() + std::chrono::seconds(10);
    // However the test ends, the wait returns and the hook goes.
    struct Cleanup {
        ChildProcess& child;
        ~Cleanup() {
            child.terminate();
            ChildProcess::setWaitingHookForTesting({});
        }
    };
    auto result = std::async(std::launch::async, [&] { return child->wait(deadline); });
    Cleanup cleanup{*child};
    ASSERT_TRUE(waiting.await());
    // Short of the deadline the child runs on.
    clock->advance(std::chrono::seconds(9));
    EXPECT_EQ(result.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    EXPECT_EQ(::kill(child->pid(), 0), 0);
    clock->advance(std::chrono::seconds(1));
    ASSERT_EQ(result.wait_for(testing_support::kPatience), std::future_status::ready);
    EXPECT_FALSE(result.get());
}
