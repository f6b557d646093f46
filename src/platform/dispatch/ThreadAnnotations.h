#pragma once
// Clang thread-safety annotations; empty for other compilers. Checked with
// -Wthread-safety when the layer is built with clang.

#if defined(__clang__)
#define CORE_TSA(x) __attribute__((x))
#else
#define CORE_TSA(x)
#endif

#define CAPABILITY(x) CORE_TSA(capability(x))
#define SCOPED_CAPABILITY CORE_TSA(scoped_lockable)
#define GUARDED_BY(x) CORE_TSA(guarded_by(x))
#define REQUIRES(...) CORE_TSA(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) CORE_TSA(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) CORE_TSA(acquire_capability(__VA_ARGS__))
#define RELEASE(...) CORE_TSA(release_capability(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS CORE_TSA(no_thread_safety_analysis)
