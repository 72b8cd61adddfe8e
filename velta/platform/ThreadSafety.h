// SPDX-License-Identifier: MIT
#pragma once

/// What a lock guards, said so that clang checks it (`-Wthread-safety`); nothing to other
/// compilers.
///
/// ```cpp
/// MMutex mutex;
/// std::int32_t count VELTA_GUARDED_BY(mutex) = 0;
///
/// void Grow() VELTA_REQUIRES(mutex);
/// ```
///
/// On a function they stand after `const`, `noexcept` and `override`, before the body or the
/// semicolon. The check sees one function at a time and trusts the declarations of the others. It
/// does not follow pointers to fields or functions, and misses a write through `?:`.
#if defined(__clang__)
#define VELTA_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define VELTA_THREAD_SAFETY(attribute)
#endif

/// A class whose objects are locks; `kind` is what clang's messages call them ("mutex").
#define VELTA_CAPABILITY(kind) VELTA_THREAD_SAFETY(capability(kind))

/// A class that takes a lock in its constructor and gives it back in its destructor.
#define VELTA_SCOPED_CAPABILITY VELTA_THREAD_SAFETY(scoped_lockable)

/// A field or variable that is read and written only under the lock.
#define VELTA_GUARDED_BY(lock) VELTA_THREAD_SAFETY(guarded_by(lock))

/// A pointer whose target is read and written only under the lock; also a smart one to one object.
#define VELTA_PT_GUARDED_BY(lock) VELTA_THREAD_SAFETY(pt_guarded_by(lock))

/// A function that is called only under these locks and leaves them held.
#define VELTA_REQUIRES(...) VELTA_THREAD_SAFETY(requires_capability(__VA_ARGS__))

/// A function that takes these locks itself: never called under them.
#define VELTA_EXCLUDES(...) VELTA_THREAD_SAFETY(locks_excluded(__VA_ARGS__))

/// A function that takes the locks, or without arguments its object, and returns with them held.
#define VELTA_ACQUIRE(...) VELTA_THREAD_SAFETY(acquire_capability(__VA_ARGS__))

/// A function that gives the locks back, or without arguments its object.
#define VELTA_RELEASE(...) VELTA_THREAD_SAFETY(release_capability(__VA_ARGS__))

/// A function that has taken the lock exactly when it returns the first argument:
/// `VELTA_TRY_ACQUIRE(true)`, `VELTA_TRY_ACQUIRE(true, lock)`.
#define VELTA_TRY_ACQUIRE(...) VELTA_THREAD_SAFETY(try_acquire_capability(__VA_ARGS__))

/// A function whose body is not checked: one that makes up a lock, or knows better. Say why.
#define VELTA_NO_THREAD_SAFETY_ANALYSIS VELTA_THREAD_SAFETY(no_thread_safety_analysis)
