// Just enough of LDIF to see what stands in a directory.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace integration {

// A record's name and its values of an attribute.
struct LdifRecord {
    std::string dn;
    std::vector<std::string> values;
};
// All records, in their order.
std::vector<LdifRecord> ldifRecords(const std::string& text, const std::string& attribute);

// The values of an attribute of the record with that name, which is spelled as in the text but for case;
// nothing when there is no such record.
std::optional<std::vector<std::string>> ldifValues(const std::string& text, const std::string& dn,
                                                   const std::string& attribute);

}  // namespace integration
