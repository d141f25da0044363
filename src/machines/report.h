// Reports on what outlived an entitlement: findings, listed by user or by desktop.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "framework/core/property_bag.h"
#include "platform/ldap/sid.h"

namespace wsadmin {

// Something of a user's at a desktop; `item` is the writer's own number of it.
struct Finding {
    platform::Sid user;
    std::string desktop;  // distinguished name
    std::size_t item = 0;
};

// How the parts of a report are made. A writer that fails has set an error, and ends the report.
struct ReportWriter {
    const wchar_t* report;    // the key of the whole
    const wchar_t* itemList;  // the key of a list of items
    const wchar_t* item;      // the key of one
    std::function<CORE::PropertyBag(const platform::Sid&)> user;
    std::function<CORE::PropertyBag(const std::string&)> desktop;
    std::function<CORE::PropertyBag(std::size_t)> render;
};

// The report, or a bag with the error alone. Users are in the order of their SIDs' texts, desktops in that of
// their names; items keep theirs.
CORE::PropertyBag writeReport(const std::vector<Finding>& findings, bool byUser, const ReportWriter& writer);

}  // namespace wsadmin
