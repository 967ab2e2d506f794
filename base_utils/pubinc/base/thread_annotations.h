// Clang thread-safety annotations; compiled away on other compilers.
#pragma once

#if defined(__clang__)
#define VELMORA_TSA(x) __attribute__((x))
#else
#define VELMORA_TSA(x)
#endif

#define CAPABILITY(x) VELMORA_TSA(capability(x))
#define SCOPED_CAPABILITY VELMORA_TSA(scoped_lockable)
#define GUARDED_BY(x) VELMORA_TSA(guarded_by(x))
#define PT_GUARDED_BY(x) VELMORA_TSA(pt_guarded_by(x))
#define REQUIRES(...) VELMORA_TSA(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) VELMORA_TSA(acquire_capability(__VA_ARGS__))
#define RELEASE(...) VELMORA_TSA(release_capability(__VA_ARGS__))
#define EXCLUDES(...) VELMORA_TSA(locks_excluded(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS VELMORA_TSA(no_thread_safety_analysis)
