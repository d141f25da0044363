#include "host/described.h"

#include <algorithm>

namespace hdqadmin {

using CORE::PropertyBag;

namespace {

std::size_t longestCommonSubsequence(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);  // of a so far, with each beginning of b
    for (const char c : a) {
        std::size_t diagonal = 0;
        for (std::size_t i = 0; i < b.size(); ++i) {
            const std::size_t above = row[i + 1];
            row[i + 1] = c == b[i] ? diagonal + 1 : std::max(above, row[i]);
            diagonal = above;
        }
    }
    return row.back();
}

// 0 to 1. Unlike an edit distance it favours a name that was only cut short.
double likeness(std::string_view a, std::string_view b) {
    return 2.0 * static_cast<double>(longestCommonSubsequence(a, b)) /
           static_cast<double>(a.size() + b.size());
}

}  // namespace

std::vector<const PropertyBag*> bagsOf(const PropertyBag& bag, std::wstring_view name) {
    std::vector<const PropertyBag*> bags;
    std::size_t position = 0;
    while (const PropertyBag* found = bag.getNextBag(name, position)) bags.push_back(found);
    return bags;
}

const PropertyBag* operationNamed(const PropertyBag& operations, std::string_view name) {
    const auto all = bagsOf(operations, L"operation");
    const auto found = std::ranges::find_if(
        all, [&](const PropertyBag* operation) { return CORE::equalFolded(operation->utf8(L"name"), name); });
    return found == all.end() ? nullptr : *found;
}

std::string noOperation(const PropertyBag& operations, std::string_view name) {
    return "there is no operation \"" + std::string(name) + "\"" +
           suggestion(name, bagsOf(operations, L"operation")) + "; see hdqadmin --list";
}

std::string suggestion(std::string_view given, const std::vector<const PropertyBag*>& named) {
    constexpr double enough = 0.5;
    constexpr std::size_t longest = 100;  // nobody mistypes that much, and the comparison is quadratic
    const std::string folded = CORE::foldText(given.substr(0, longest));
    std::string_view nearest;
    double most = enough;
    for (const PropertyBag* one : named) {
        const std::string_view name = one->utf8(L"name");
        const double like = likeness(folded, CORE::foldText(name));
        if (like < most || (like == most && !nearest.empty())) continue;
        most = like;
        nearest = name;
    }
    return nearest.empty() ? std::string() : " (did you mean \"" + std::string(nearest) + "\"?)";
}

}  // namespace hdqadmin
