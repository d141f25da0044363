// A directory as a network service: who may bind, what is asked of it, and which faults it shows.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "framework/core/corelock.h"
#include "framework/core/corestring.h"
#include "platform/lab/lab_directory.h"

namespace wsadmin::platform::lab {

struct Account {
    std::string name;
    std::string domain;     // NetBIOS name; may be empty
    std::string dnsDomain;  // may be empty
    CORE::secretstring password;
};

// What operations of replication end with where the server is down, as the system numbers it.
inline constexpr int serverUnavailable = 1722;

struct FailOrder {
    std::string operation;  // bind, search, add, modify, delete, rename, or one of replication
    int code = ldapOther;
    std::string dn;            // of an entry or a naming context; empty: any
    std::optional<int> times;  // nothing: always
    int skip = 0;              // so many succeed before the first that fails
};

struct Faults {
    bool refuseConnections = false;
    bool refuseBinds = false;
    bool refusePageCookies = false;
    std::chrono::milliseconds slow{0};  // before every answer
    std::optional<int> dieAfterOperations, dieAfterPages;
    std::vector<FailOrder> fail;
    // Of replication: how many operations wait, and the servers that get the schema master's role in place of
    // those that ask for it, one after the other.
    int pendingOperations = 0;
    std::vector<std::string> roleTakers;
};

// Any thread may use it.
class DirectoryServer {
  public:
    DirectoryServer(std::unique_ptr<Directory> directory, std::vector<Account> accounts, Faults faults,
                    std::shared_ptr<Clock> clock);

    Directory& directory() noexcept { return *directory_; }
    const Faults& faults() const noexcept { return faults_; }
    // From now on, in place of those before; a server that is down is up again. Not while it is being used.
    void setFaults(Faults faults);

    // Called before each operation; fails as the faults order, and when the service stops meanwhile.
    Result<void> arrive(std::string_view operation, std::string_view dn);
    Result<void> pageArrives();  // the same for each page of a search
    // Lets time pass; fails with 88 when the service stops before it has.
    Result<void> wait(std::chrono::milliseconds time) const;
    // The code that an operation of replication ends with; 0: it is carried out.
    int replicationCode(std::string_view operation, std::string_view namingContext);
    int pendingOperations();  // one less at each look
    std::optional<std::string> nextRoleTaker();
    void stop() { stopped_.set(); }
    bool reachable() const noexcept { return !faults_.refuseConnections && !dead_; }
    // Who has a password in the directory binds with that one. Beyond these the accounts may bind, and
    // without any everybody.
    bool admits(const LdapCredentials& credentials) const;
    const std::vector<Account>& accounts() const noexcept { return accounts_; }
    unsigned nextSession() noexcept { return ++sessions_; }

  private:
    Result<void> die();
    int ordered(std::string_view operation, std::string_view dn);

    std::shared_ptr<Clock> clock_;  // outlives the directory, which reads it
    std::unique_ptr<Directory> directory_;
    std::vector<Account> accounts_;
    Faults faults_;
    std::mutex ordersMutex_;  // guards what the faults count
    std::atomic<int> operations_{0}, pages_{0};
    std::atomic<bool> dead_{false};
    std::atomic<unsigned> sessions_{0};
    CORE::coreevent stopped_;
};

}  // namespace wsadmin::platform::lab
