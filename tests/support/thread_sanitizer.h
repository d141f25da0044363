// What tests do less of under the thread sanitizer, which makes them twenty times slower and finds in a few
// rounds what it would find in all.
#pragma once

namespace wstest {

#ifdef __SANITIZE_THREAD__
inline constexpr bool underThreadSanitizer = true;
#else
inline constexpr bool underThreadSanitizer = false;
#endif

}  // namespace wstest
