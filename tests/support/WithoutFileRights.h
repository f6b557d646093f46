#pragma once
// Runs `fn` on a thread of its own that has no right to pass file permission
// checks: root's CAP_DAC_OVERRIDE and CAP_DAC_READ_SEARCH are dropped from
// that thread alone (capabilities are per thread on Linux). A folder of mode
// 0 is then unreadable to `fn` whoever runs the tests. Gives false when the
// rights could not be dropped.
//
//   ::chmod(locked.c_str(), 0);
//   ASSERT_TRUE(testing_support::runWithoutFileRights([&] { root = scan(dir); }));

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <thread>

namespace testing_support {

template <class Fn>
bool runWithoutFileRights(Fn&& fn) {
    bool dropped = false;
    std::thread worker([&] {
        __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct data[2]{};
        if (::syscall(SYS_capget, &header, data) != 0) return;
        for (unsigned cap : {unsigned(CAP_DAC_OVERRIDE), unsigned(CAP_DAC_READ_SEARCH)})
            data[cap / 32].effective &= ~(1u << (cap % 32));
        if (::syscall(SYS_capset, &header, data) != 0) return;
        dropped = true;
        fn();
    });
    worker.join();
    return dropped;
}

}  // namespace testing_support
