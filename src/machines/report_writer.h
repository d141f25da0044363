// Reports on what outlived an entitlement: findings, listed by user or by desktop.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "framework/core/property_bag.h"
#include "platform/ldap/sid.h"
#include "platform/result.h"

namespace wsadmin {

// Something that a user still has at a desktop; `item` is the writer's own number of it.
struct Finding {
    platform::Sid user;
    std::string desktop;  // distinguished name
    std::size_t item = 0;
};

struct ReportKeys {
    const wchar_t* report;    // of the whole
    const wchar_t* itemList;  // of a list of items
    const wchar_t* item;      // of one
};
// How the parts of a report are made. The first failure ends the report.
struct ReportWriter {
    ReportKeys keys;
    std::function<CORE::PropertyBag(const platform::Sid&)> user;
    std::function<Result<CORE::PropertyBag>(const std::string&)> desktop;
    std::function<Result<CORE::PropertyBag>(std::size_t)> item;
};

// Users are in the order of their SIDs' texts, desktops in that of their names; items keep theirs.
Result<CORE::PropertyBag> writeReport(const std::vector<Finding>& findings, bool byUser,
                                      const ReportWriter& writer);

}  // namespace wsadmin
