// The pod's directory as others see it: read and changed with OpenLDAP's own tools.
#pragma once

#include <string>
#include <vector>

namespace integration {

// The values of an attribute, in the server's order. Throws when there is no such entry.
std::vector<std::string> values(const std::string& dn, const std::string& attribute);
bool exists(const std::string& dn);

// Makes the attribute have this value alone; without one, removes it. Throws when the server refuses.
void put(const std::string& dn, const std::string& attribute, const std::string& value = {});

}  // namespace integration
