// What a lock protects, said so that the compiler checks it: clang with -Wthread-safety refuses an
// access without the lock. Other compilers see nothing of it.
#pragma once

#if defined(__clang__)
#define LV_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define LV_THREAD_ANNOTATION(x)
#endif

// Of a class: it is a lock; an object of it holds a lock for as long as it lives.
#define CAPABILITY(name) LV_THREAD_ANNOTATION(capability(name))
#define SCOPED_CAPABILITY LV_THREAD_ANNOTATION(scoped_lockable)
// Of a variable: it, or what it points to, is only touched with the lock held.
#define GUARDED_BY(lock) LV_THREAD_ANNOTATION(guarded_by(lock))
#define PT_GUARDED_BY(lock) LV_THREAD_ANNOTATION(pt_guarded_by(lock))
// Of a function: the caller holds the lock; it must not hold it.
#define REQUIRES(...) LV_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) LV_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
// Of a function: it takes the lock, lets it go, takes it when it returns the value.
#define ACQUIRE(...) LV_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) LV_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) LV_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
// Of a function: from here on the lock counts as held.
#define ASSERT_CAPABILITY(x) LV_THREAD_ANNOTATION(assert_capability(x))
// Of a function that the check cannot follow; a comment says why it is right all the same.
#define NO_THREAD_SAFETY_ANALYSIS LV_THREAD_ANNOTATION(no_thread_safety_analysis)
