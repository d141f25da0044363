// What can be said of an operation's answer.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/property_bag.h"

namespace sweep {

using CORE::PropertyBag;

// The bag in one line, with the errors of nested bags.
inline std::string textOf(const PropertyBag& bag) {
    std::string text;
    if (bag.getError())
        text = "!" + std::to_string(bag.getError()) + " " + CORE::toUtf8(bag.getErrorText()) + ";";
    for (std::size_t i = 0; i < bag.size(); ++i) {
        text += (text.empty() ? "" : " ") + std::string(bag.nameUtf8(i));
        text += bag.isBag(i) ? "{" + textOf(bag.getBag(i)) + "}" : "=" + std::string(bag.utf8(i));
    }
    return text;
}

// The sentences of its errors, those of nested bags among them.
inline std::vector<std::string> errorsOf(const PropertyBag& bag) {
    std::vector<std::string> errors;
    if (bag.getError()) errors.push_back(CORE::toUtf8(bag.getErrorText()));
    for (std::size_t i = 0; i < bag.size(); ++i)
        if (bag.isBag(i)) std::ranges::move(errorsOf(bag.getBag(i)), std::back_inserter(errors));
    return errors;
}
inline bool hasError(const PropertyBag& bag) {
    return !errorsOf(bag).empty();
}

// Nothing but errors, and the directory's code or a federation's outcome code beside one.
inline bool isOnlyError(const PropertyBag& bag) {
    for (std::size_t i = 0; i < bag.size(); ++i) {
        const bool fits = bag.isBag(i) ? hasError(bag.getBag(i)) && isOnlyError(bag.getBag(i))
                                       : bag.nameUtf8(i) == "ldaperr" || bag.nameUtf8(i) == "QuorinLastError";
        if (!fits) return false;
    }
    return true;
}

// The texts of the bag with their paths, sorted.
inline std::vector<std::string> leavesOf(const PropertyBag& bag) {
    std::vector<std::string> leaves;
    for (std::size_t i = 0; i < bag.size(); ++i) {
        const std::string name(bag.nameUtf8(i));
        if (!bag.isBag(i)) leaves.push_back(name + "=" + std::string(bag.utf8(i)));
        for (const std::string& leaf : leavesOf(bag.getBag(i))) leaves.push_back(name + "/" + leaf);
    }
    std::ranges::sort(leaves);
    return leaves;
}

// Whether the whole has all texts of the part.
inline bool isPart(const PropertyBag& part, const PropertyBag& whole) {
    return std::ranges::includes(leavesOf(whole), leavesOf(part));
}

// A * in the pattern stands for any text.
inline bool matches(std::string_view text, std::string_view pattern) {
    if (pattern.empty()) return text.empty();
    if (pattern.front() != '*')
        return !text.empty() && text.front() == pattern.front() && matches(text.substr(1), pattern.substr(1));
    return matches(text, pattern.substr(1)) || (!text.empty() && matches(text.substr(1), pattern));
}

}  // namespace sweep
