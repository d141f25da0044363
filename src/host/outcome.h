// What a step of the tool gives: its value, or the sentence that tells the administrator why not.
#pragma once

#include <string>
#include <tl/expected.hpp>
#include <utility>

namespace hdqadmin {

template <class T>
class [[nodiscard]] Outcome : public tl::expected<T, std::string> {  // UTF-8
  public:
    using tl::expected<T, std::string>::expected;
};

inline tl::unexpected<std::string> refuse(std::string sentence) {
    return tl::unexpected<std::string>(std::move(sentence));
}

enum ExitStatus : int {
    exitAnswered = 0,
    exitError = 1,        // the answer carries an error
    exitUsage = 2,        // the command line, or what it names, is wrong
    exitUnreachable = 3,  // the plug-in or host could not be reached
};

}  // namespace hdqadmin
