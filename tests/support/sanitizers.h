// Whether this build runs under AddressSanitizer or ThreadSanitizer: TAVI_SANITIZED is defined then. GCC says it with a
// macro of its own, clang with a feature.
#pragma once

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TAVI_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TAVI_SANITIZED
#endif
#endif
