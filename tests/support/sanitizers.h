// What tests do less of under a sanitizer, which makes them many times slower and finds in a few rounds what
// it would find in all.
#pragma once

namespace wstest {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool underSanitizer = true;
#else
inline constexpr bool underSanitizer = false;
#endif

}  // namespace wstest
