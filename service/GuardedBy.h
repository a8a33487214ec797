#pragma once

// Which mutex guards a member, in a form that clang checks (-Wthread-safety) and other compilers
// pass over. The checked std::mutex is libc++'s, with _LIBCPP_ENABLE_THREAD_SAFETY_ANNOTATIONS.
#ifdef __clang__
#define LUM_GUARDED_BY(mutex) __attribute__((guarded_by(mutex)))
#define LUM_REQUIRES(mutex) __attribute__((requires_capability(mutex)))
#else
#define LUM_GUARDED_BY(mutex)
#define LUM_REQUIRES(mutex)
#endif
