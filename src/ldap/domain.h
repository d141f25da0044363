// The domain map: which domains exist, how each is reached, and whether it can be contacted. Built by a timer
// and on demand. Reference counted; any thread may call.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <set>
#include <string>

#include "framework/core/corelock.h"
#include "framework/core/coretimer.h"
#include "framework/core/property_bag.h"
#include "framework/core/threads.h"
#include "ldap/directory_access.h"
#include "ldap/domain_map.h"

namespace wsadmin {

class Domain : public CORE::coretimer {
  public:
    static constexpr unsigned firstCheckMs = 1000;
    static constexpr unsigned checkMs = 900000;
    static constexpr int defaultMinimumInterval = 900;  // seconds
    static constexpr std::size_t contactsAtOnce = 8;

    // With initiateChecks the timer runs from now on. `threads` counts the threads of the map and outlives
    // it.
    Domain(DirectoryAccess access, CORE::ThreadGroup& threads, bool initiateChecks);
    ~Domain() override;

    // A copy of the map, built first where there is none yet or where it is forced. When the build fails, the
    // bag has its error and what the last build gave. The calling thread holds a DirectoryThread.
    CORE::PropertyBag getDomainMap(bool force);
    void setMinimumCheckInterval(int seconds);
    int minimumCheckInterval() const;
    // Whether the default domain is in mixed mode; also when that cannot be found out. The calling thread
    // holds a DirectoryThread.
    bool isMixedMode() const;
    // What the timer's thread does: rebuilds a map that is missing or too old.
    void check();
    // The service is going: the timer ends, and a build under way contacts no further domains and fails.
    void stop();

  protected:
    void OnTimer() override;

  private:
    // Sends a message and waits until its callback calls `answered`, or the map stops. False: it was not
    // sent.
    bool ask(const std::function<std::uint64_t(std::function<void()> answered)>& send);
    // The same for a message with an answer, which is an error when the map stops.
    CORE::PropertyBag askWinauth(
        const std::function<std::uint64_t(std::function<void(CORE::PropertyBag)> answered)>& send);
    bool awaitAuthentication();
    CORE::PropertyBag trustedDomains(std::wstring_view initialDomain);
    CORE::PropertyBag pushConfiguration();
    CORE::PropertyBag buildDomainMap();
    void contactAll(DomainSurvey& survey);
    void contact(DomainFacts& domain, const DomainSurvey& survey);
    std::string rootNamingContext(std::wstring_view domain) const;
    std::string defaultNamingContext() const;
    // A failure is logged.
    Result<std::unique_ptr<platform::DirectoryObject>> openObject(const std::string& path) const;

    DirectoryAccess access_;
    CORE::ThreadGroup& threads_;
    CreatorDirectoryThread creatorThread_;
    std::atomic<bool> stopping_{false};
    mutable CORE::corecritsec lock_;  // guards what follows
    CORE::PropertyBag map_;
    bool built_ = false;
    bool configurationPushed_ = false;
    std::chrono::steady_clock::time_point builtAt_{};
    int minimumInterval_ = defaultMinimumInterval;
    std::set<std::uint64_t> questions_;  // the messages that are waited for
};

}  // namespace wsadmin
