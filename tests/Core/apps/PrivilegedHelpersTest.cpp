#include "Core/apps/PrivilegedHelpers.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <sys/xattr.h>

namespace {

TEST(PrivilegedHelpersTest, RootlessIsThePresenceOfTheUserAttribute) {
    testing_support::TempDir temp;
    testing_support::writeFile(temp / "App.app", "x");
    const auto url = platform::URL::fileURL(temp / "App.app");
    EXPECT_FALSE(Core::rootless(url));
    if (::setxattr(url.path().c_str(), "user.com.apple.rootless", "", 0, 0) != 0)
        GTEST_SKIP() << "this file system keeps no user attributes";
    EXPECT_TRUE(Core::rootless(url));
    EXPECT_FALSE(Core::rootless(platform::URL::fileURL(temp / "missing")));
}

}  // namespace
