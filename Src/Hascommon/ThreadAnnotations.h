/// @file
/// Lock annotations for clang's thread-safety analysis; they expand to nothing elsewhere.
///
/// A field that two threads touch carries `HAS_GUARDED_BY(lock)`; a function that expects its
/// caller to hold a lock carries `HAS_REQUIRES(lock)`. The clang builds of the project compile
/// with `-Wthread-safety -Werror`, so a forgotten lock does not build.
#pragma once

#if defined(__clang__)
#define HAS_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define HAS_THREAD_ATTRIBUTE(x)
#endif

/// The class is a lock.
#define HAS_CAPABILITY(name) HAS_THREAD_ATTRIBUTE(capability(name))
/// The class holds a lock from its construction to its destruction.
#define HAS_SCOPED_CAPABILITY HAS_THREAD_ATTRIBUTE(scoped_lockable)
/// The field may be touched only while the lock is held.
#define HAS_GUARDED_BY(lock) HAS_THREAD_ATTRIBUTE(guarded_by(lock))
/// What the pointer points to may be touched only while the lock is held.
#define HAS_PT_GUARDED_BY(lock) HAS_THREAD_ATTRIBUTE(pt_guarded_by(lock))
/// The caller holds the lock.
#define HAS_REQUIRES(...) HAS_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
/// The function takes the lock and returns with it held.
#define HAS_ACQUIRE(...) HAS_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
/// The function releases the lock.
#define HAS_RELEASE(...) HAS_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
/// The function takes the lock exactly when it returns the first argument.
#define HAS_TRY_ACQUIRE(...) HAS_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
/// The caller must not hold the lock.
#define HAS_EXCLUDES(...) HAS_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
/// Tells the analysis that the lock is held where it cannot see it.
#define HAS_ASSERT_CAPABILITY(lock) HAS_THREAD_ATTRIBUTE(assert_capability(lock))
/// The body is not analysed; each use says why.
#define HAS_NO_THREAD_SAFETY_ANALYSIS HAS_THREAD_ATTRIBUTE(no_thread_safety_analysis)
