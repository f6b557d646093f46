#include "platform/SharedLibrary.h"

#include "support/LogLines.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

TEST(SharedLibrary, OpensAndLooksUpOrSaysOnceWhyNot) {
    testing_support::LogLines log;
    const std::string math = "libm.so.6";
    void* handle = platform::openSharedLibrary(math, "arithmetic");
    ASSERT_NE(handle, nullptr);
    decltype(&::cos) cosine = nullptr;
    ASSERT_TRUE(platform::lookUpFunction(handle, "cos", cosine, math, "arithmetic"));
    EXPECT_DOUBLE_EQ(cosine(0.0), 1.0);

    EXPECT_FALSE(platform::lookUpFunction(handle, "no_such_function", cosine, math, "arithmetic"));
    EXPECT_EQ(platform::openSharedLibrary("libnot-there.so.9", "magic"), nullptr);
    auto lines = log.taken();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "arithmetic unavailable: libm.so.6: it has no no_such_function");
    EXPECT_EQ(lines[1].rfind("magic unavailable: libnot-there.so.9: ", 0), 0u) << lines[1];
}

}  // namespace
