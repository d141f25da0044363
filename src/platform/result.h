// A failure is a value with a sentence: what every function returns that can fail in an expected way.
// "Nothing found" is not a failure.
#pragma once

#include <optional>
#include <string>
#include <tl/expected.hpp>
#include <utility>

namespace wsadmin {

struct Failure {
    int code = 1;         // the native code (LDAP result, system error), or 1
    std::wstring text{};  // a sentence or the platform's text for the code; may be empty
    // The LDAP result where the session to the configuration directory could not be opened, which the caller
    // is told.
    std::optional<int> directoryCode{};
};

template <class T>
class [[nodiscard]] Result : public tl::expected<T, Failure> {
  public:
    using tl::expected<T, Failure>::expected;
};

inline tl::unexpected<Failure> fail(int code, std::wstring text) {
    return tl::unexpected<Failure>(Failure{code, std::move(text)});
}
inline tl::unexpected<Failure> fail(std::wstring sentence) {
    return fail(1, std::move(sentence));
}
inline tl::unexpected<Failure> fail(Failure failure) {
    return tl::unexpected<Failure>(std::move(failure));
}

}  // namespace wsadmin
