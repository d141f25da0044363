// The pod of with-pod or with-slapd.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "cases/runner/judge.h"

namespace integration {

// What the test changes in the directory is put back at the end.
class ServerState {
  public:
    ServerState();
    ~ServerState();
    ServerState(const ServerState&) = delete;
    ServerState& operator=(const ServerState&) = delete;

    std::vector<std::string> options() const;  // the tool's, that choose this pod
    // The pod alone, reached as the tool's configuration file says.
    const wstest::Directories& directories() const noexcept { return directories_; }
    void expectStored(const wstest::Json& stored) const;

  private:
    using Entries = std::map<std::string, wsadmin::platform::LdapEntry>;
    Entries read() const;
    void putBack() const;

    wstest::Directories directories_;
    Entries before_;
};

}  // namespace integration
