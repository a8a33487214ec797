// Which lock guards what, in a form that clang checks (-Wthread-safety, part of the lint) and other
// compilers pass over. Waits use std::condition_variable_any on the mutex itself, in a loop: the
// check follows neither std::unique_lock nor a predicate.
#pragma once

#ifdef __clang__
#define GUARDED_BY(mutex) __attribute__((guarded_by(mutex)))
#define REQUIRES(mutex) __attribute__((requires_capability(mutex)))
#define ACQUIRE(mutex) __attribute__((acquire_capability(mutex)))
#define RELEASE(mutex) __attribute__((release_capability(mutex)))
#else
#define GUARDED_BY(mutex)
#define REQUIRES(mutex)
#define ACQUIRE(mutex)
#define RELEASE(mutex)
#endif
