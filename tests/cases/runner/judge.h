// Compares what was answered and what stands in the directories with what a case says.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cases/runner/case_file.h"
#include "platform/ldap_session.h"

namespace wstest {

using Problems = std::vector<std::string>;  // empty: all is as the case says

// The answer is as the tool prints it.
Problems judgeAnswer(const Case& one, const Json& answer);
// The lines of "log" ("LEVEL text") in their order, and that there was nothing else where the case says so.
Problems judgeLog(const Case& one, std::vector<std::string> lines);

// Directories by the name that "in" gives them; without it, this server's on port 389.
struct Directories {
    std::shared_ptr<wsadmin::platform::LdapClient> client;
    std::map<std::string, wsadmin::platform::LdapEndpoint> endpoints;
};
// Each member of "stored".
Problems judgeStored(const Json& stored, const Directories& directories);
// What stands at the end: of two expectations about the same attribute the later one.
Json lastStored(const std::vector<Case>& cases);

}  // namespace wstest
