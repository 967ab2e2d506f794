// Clang thread-safety annotations; compiled away on other compilers.
#pragma once

#if defined(__clang__)
#define SYSACCESS_TSA(x) __attribute__((x))
#else
#define SYSACCESS_TSA(x)
#endif

#define SYSACCESS_CAPABILITY(x) SYSACCESS_TSA(capability(x))
#define SYSACCESS_SCOPED_CAPABILITY SYSACCESS_TSA(scoped_lockable)
#define SYSACCESS_GUARDED_BY(x) SYSACCESS_TSA(guarded_by(x))
#define SYSACCESS_PT_GUARDED_BY(x) SYSACCESS_TSA(pt_guarded_by(x))
#define SYSACCESS_REQUIRES(...) SYSACCESS_TSA(requires_capability(__VA_ARGS__))
#define SYSACCESS_ACQUIRE(...) SYSACCESS_TSA(acquire_capability(__VA_ARGS__))
#define SYSACCESS_RELEASE(...) SYSACCESS_TSA(release_capability(__VA_ARGS__))
#define SYSACCESS_EXCLUDES(...) SYSACCESS_TSA(locks_excluded(__VA_ARGS__))
#define SYSACCESS_NO_THREAD_SAFETY_ANALYSIS SYSACCESS_TSA(no_thread_safety_analysis)
