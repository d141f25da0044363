// Answers, printed.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "framework/core/property_bag.h"

namespace hdqadmin {

// A bag inside the answer that carries an error, by the names that lead to it, with "/" between them.
struct NestedError {
    std::string path;
    int code = 0;
    std::string text;
};

struct Answer {
    bool handled = false;
    CORE::PropertyBag response;

    bool failed() const noexcept { return !handled || response.getError() != 0; }
    std::string sentence() const;  // why it failed, for people
    std::vector<NestedError> nested() const;
    bool empty() const;  // there is no text in it
};

// {"handled": ..., "error": ..., "nested": ..., "result": ...} on one line; "nested" only when there is one.
void printAnswerJson(std::ostream& out, const Answer& answer);
// The result as an indented tree of "name: value", with the error of a nested bag behind its name. Control
// characters are shown as \xNN.
void printTree(std::ostream& out, const CORE::PropertyBag& bag, int depth = 0);

}  // namespace hdqadmin
