// Names for Clang's thread-safety analysis (-Wthread-safety). Other compilers see nothing.
#pragma once

#if defined(__clang__)
#define HARBINET_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define HARBINET_THREAD_ATTRIBUTE(x)
#endif

#define CAPABILITY(x) HARBINET_THREAD_ATTRIBUTE(capability(x))
#define SCOPED_CAPABILITY HARBINET_THREAD_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(x) HARBINET_THREAD_ATTRIBUTE(guarded_by(x))
#define ACQUIRE(...) HARBINET_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) HARBINET_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define EXCLUDES(...) HARBINET_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
