// Answers, printed.
#pragma once

#include <iosfwd>
#include <string>

#include "framework/core/property_bag.h"

namespace hdqadmin {

struct Answer {
    bool handled = false;
    CORE::PropertyBag response;

    bool failed() const noexcept { return !handled || response.getError() != 0; }
    std::string sentence() const;  // why it failed, for people
};

// {"handled": ..., "error": ..., "result": ...} on one line.
void printAnswerJson(std::ostream& out, const Answer& answer);
// The result as an indented tree of "name: value". Control characters are shown as \xNN.
void printTree(std::ostream& out, const CORE::PropertyBag& bag, int depth = 0);

}  // namespace hdqadmin
