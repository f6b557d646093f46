#include "platform/SharedLibrary.h"

#include "support/LogLines.h"

#include <gtest/gtest.h>

#include <cmath>

// Declared only: no library has it, so a table that lists it is not loaded.
extern "C" double core_test_not_in_any_library(double);

namespace {

#define MATH_FUNCTIONS(X) X(cos) X(exp)
#define BROKEN_FUNCTIONS(X) X(cos) X(core_test_not_in_any_library)

struct Math {
    MATH_FUNCTIONS(CORE_FUNCTION_FIELD)
};
struct Broken {
    BROKEN_FUNCTIONS(CORE_FUNCTION_FIELD)
};

TEST(SharedLibrary, LoadsAWholeTableOrSaysOnceWhyNot) {
    testing_support::LogLines log;
    auto math = CORE_LOAD_FUNCTION_TABLE(Math, MATH_FUNCTIONS, "libm.so.6", "arithmetic");
    ASSERT_NE(math, nullptr);
    EXPECT_DOUBLE_EQ(math->cos(0.0), 1.0);
    EXPECT_DOUBLE_EQ(math->exp(0.0), 1.0);
    EXPECT_TRUE(log.taken().empty());

    EXPECT_EQ(CORE_LOAD_FUNCTION_TABLE(Broken, BROKEN_FUNCTIONS, "libm.so.6", "arithmetic"), nullptr);
    EXPECT_EQ(CORE_LOAD_FUNCTION_TABLE(Math, MATH_FUNCTIONS, "libnot-there.so.9", "magic"), nullptr);
    auto lines = log.taken();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "arithmetic unavailable: libm.so.6: it has no core_test_not_in_any_library");
    EXPECT_EQ(lines[1].rfind("magic unavailable: libnot-there.so.9: ", 0), 0u) << lines[1];
}

}  // namespace
