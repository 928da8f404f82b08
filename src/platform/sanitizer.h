// sanitizer.h - which sanitizer looks on, and the mark of the few functions whose unlocked accesses are meant
// to be.
#pragma once

#if defined(__SANITIZE_THREAD__)
#define RINGMIX_TSAN
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define RINGMIX_TSAN
#endif
#endif

#if defined(__SANITIZE_ADDRESS__)
#define RINGMIX_ASAN
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define RINGMIX_ASAN
#endif
#endif

#ifdef RINGMIX_TSAN
#define RINGMIX_NO_TSAN __attribute__((no_sanitize("thread"), noinline))
#else
#define RINGMIX_NO_TSAN
#endif
